// One frame of ours against the same frame drawn by Dear ImGui: both are run nine
// times, and the medians are printed side by side with their ratio.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

struct median_reporter_t : benchmark::ConsoleReporter {
    std::map<std::string, double> cpu;
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.aggregate_name == "median") cpu[run.run_name.function_name] = run.GetAdjustedCPUTime();
        }
        ConsoleReporter::ReportRuns(runs);
    }
};

inline void frame_repeat(benchmark::internal::Benchmark* bench) {
    bench->Unit(benchmark::kMicrosecond)->Repetitions(9)->ReportAggregatesOnly(true);
}

// Runs what was registered as "newsloom/NAME" and "imgui/NAME" and prints the medians.
inline int frame_pair_run(int argc, char** argv, const std::string& name, const char* what) {
    benchmark::Initialize(&argc, argv);
    median_reporter_t reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    double ours = reporter.cpu["newsloom/" + name], peer = reporter.cpu["imgui/" + name];
    if (ours > 0 && peer > 0) {
        printf("\nmedian cpu time of one %s: newsloom %.1f us  imgui %.1f us  ratio newsloom/imgui %.2f\n", what,
               ours, peer, ours / peer);
    }
    return 0;
}
