// The update of 100 feeds from a local server into a fresh store by
// `newsloom-tool update`, against newsboat's `-x reload` with six reload threads on
// the same 100 addresses: wall time and peak memory of each process, as ratios.
// (The save and load of a full store are measured by bench_store.)
#include <benchmark/benchmark.h>
#include <dirent.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <algorithm>

#include "base/types.h"
#include "bench/median_reporter.h"
#include "tests/net/feed_server.h"

static feed_server_t bench_server;
static std::string bench_folder;
static std::vector<std::string> bench_addresses;

static void write_text(const std::string& path, const std::string& text) {
    FILE* file = fopen(path.c_str(), "wb");
    if (!file) abort();
    fwrite(text.data(), 1, text.size(), file);
    fclose(file);
}

static void remove_tree(const std::string& path) {
    std::string command = "rm -rf '" + path + "'";
    if (system(command.c_str()) != 0) abort();
}

struct run_t {
    double seconds;
    long peak_kib;
    int status;
};

// Runs a program with its output thrown away; wall time and the peak resident set
// of the process as the kernel counted it.
static run_t run_program(const std::vector<std::string>& arguments, const std::string& home) {
    std::vector<char*> argv;
    for (const std::string& a : arguments) argv.push_back((char*)a.c_str());
    argv.push_back(nullptr);
    auto start = std::chrono::steady_clock::now();
    pid_t pid = fork();
    if (pid == 0) {
        if (!home.empty()) setenv("HOME", home.c_str(), 1);
        freopen("/dev/null", "w", stdout);
        freopen("/dev/null", "w", stderr);
        execvp(argv[0], argv.data());
        _exit(127);
    }
    int status = 0;
    rusage usage = {};
    wait4(pid, &status, 0, &usage);
    auto end = std::chrono::steady_clock::now();
    return run_t{std::chrono::duration<double>(end - start).count(), usage.ru_maxrss, status};
}

static void report(benchmark::State& state, double seconds, long peak_kib) {
    state.SetIterationTime(seconds);
    state.counters["peak_MiB"] = benchmark::Counter((double)peak_kib / 1024.0);
}

static void BM_update_newsloom(benchmark::State& state) {
    std::string tool = std::string(NEWSLOOM_BINARY_DIR) + "/newsloom-tool";
    std::string list = bench_folder + "/list.txt";
    for (auto _ : state) {
        std::string store = bench_folder + "/store";
        remove_tree(store);
        run_t run = run_program({tool, "update", "-path", store, "-list", list}, "");
        if (run.status != 0) state.SkipWithError("newsloom-tool update failed");
        report(state, run.seconds, run.peak_kib);
    }
}

static void BM_update_newsboat(benchmark::State& state) {
    for (auto _ : state) {
        std::string home = bench_folder + "/home";
        remove_tree(home);
        mkdir(home.c_str(), 0700);
        std::string urls;
        for (const std::string& a : bench_addresses) urls += a + "\n";
        write_text(home + "/urls", urls);
        write_text(home + "/config", "reload-threads 6\n");
        run_t run = run_program({"newsboat", "-C", home + "/config", "-u", home + "/urls", "-c", home + "/cache.db",
                                 "-x", "reload"},
                                home);
        if (run.status != 0) state.SkipWithError("newsboat -x reload failed");
        report(state, run.seconds, run.peak_kib);
    }
}

BENCHMARK(BM_update_newsloom)->Iterations(1)->Repetitions(5)->UseManualTime()->Unit(benchmark::kMillisecond)->ReportAggregatesOnly(true);
BENCHMARK(BM_update_newsboat)->Iterations(1)->Repetitions(5)->UseManualTime()->Unit(benchmark::kMillisecond)->ReportAggregatesOnly(true);

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    bench_folder = temporary_folder("newsloom_bench_update_");
    if (bench_folder.empty()) return 1;
    if (!bench_server.start(NEWSLOOM_TEST_DATA "/feeds", false)) return 1;

    std::vector<std::string> names;
    DIR* directory = opendir(NEWSLOOM_TEST_DATA "/feeds");
    while (dirent* entry = readdir(directory)) {
        if (entry->d_name[0] != '.') names.push_back(entry->d_name);
    }
    closedir(directory);
    std::sort(names.begin(), names.end());
    std::string list;
    for (u32 i = 0; i < 100; i++) {
        std::string path = "/copy/" + std::to_string(i) + "/" + names[i % names.size()];
        bench_addresses.push_back(bench_server.address(path.c_str()));
        list += bench_addresses.back() + "\n";
    }
    write_text(bench_folder + "/list.txt", list);

    median_reporter_t reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    bench_server.stop();
    remove_tree(bench_folder);

    auto& t = reporter.real;
    auto m = [&](const char* name) { return reporter.counter(name, "peak_MiB"); };
    if (t.count("BM_update_newsloom") && t.count("BM_update_newsboat")) {
        printf("update of 100 feeds, medians: newsloom %.1f ms, %.1f MiB; newsboat %.1f ms, %.1f MiB\n",
               t["BM_update_newsloom"], m("BM_update_newsloom"), t["BM_update_newsboat"], m("BM_update_newsboat"));
        printf("ratio newsloom/newsboat: wall time %.2f (goal <= 0.50), peak memory %.2f (goal <= 1.00)\n",
               t["BM_update_newsloom"] / t["BM_update_newsboat"], m("BM_update_newsloom") / m("BM_update_newsboat"));
    }
    return 0;
}
