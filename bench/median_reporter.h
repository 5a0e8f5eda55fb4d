// The console's report of a benchmark run, keeping each benchmark's medians (real
// and processor time, in its unit, and its counters) by name, for the ratios
// against the peer that a bench prints after its run.
#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

struct median_reporter_t : benchmark::ConsoleReporter {
    std::map<std::string, double> real;
    std::map<std::string, double> cpu;
    std::map<std::string, std::map<std::string, double>> counters;

    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.aggregate_name != "median") continue;
            const std::string& name = run.run_name.function_name;
            real[name] = run.GetAdjustedRealTime();
            cpu[name] = run.GetAdjustedCPUTime();
            for (const auto& [key, counter] : run.counters) counters[name][key] = counter.value;
        }
        ConsoleReporter::ReportRuns(runs);
    }
    // 0 when the benchmark didn't run or set no such counter.
    double counter(const std::string& name, const char* key) {
        auto found = counters.find(name);
        if (found == counters.end()) return 0;
        auto value = found->second.find(key);
        return value == found->second.end() ? 0 : value->second;
    }
};
