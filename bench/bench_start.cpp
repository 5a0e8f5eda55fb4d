// Start to first frame under Xvfb with a full store (100 feeds, 10000 entries),
// against the floor of this machine: a bare GLFW program that opens a 1280x720
// OpenGL 3.3 window and swaps once. Each run is timed from just before the program
// is started to the monotonic time it writes after its first swap; the runs of the
// two take turns. Prints medians and the ratio; the goal is at most 1.5 times the
// floor.
//
// Both programs run in the caller's own environment, so Mesa's on-disk shader cache
// and Newsloom's kept programs are the user's: warm, as they are from a user's second
// start on. With llvmpipe (Mesa 22) that cache holds the fragment and vertex code of
// each program and state, but not the code that sets up a program's triangles: the
// first draw of each program still compiles that (4 to 5 ms of processor time), which
// is why the first frame draws with one. A first shader compile in a process sets up
// the whole compiler (some 4 ms), which the kept programs skip. With the cache off,
// each variant takes some 40 ms.
//
// On a shared machine the wall time mostly measures the wait for a processor, so
// the processor time of each program's main thread up to its first frame is shown
// too (a counter of each run, from the kernel's scheduler statistics), and the
// ratio of the two.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "bench/full_store.h"
#include "bench/median_reporter.h"
#include "tests/window/x_server.h"

namespace {

std::string folder;
std::string store_folder;

u64 monotonic_ns() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (u64)now.tv_sec * 1000000000ull + (u64)now.tv_nsec;
}

pid_t spawn(const std::vector<std::string>& arguments) {
    pid_t pid = fork();
    if (pid == 0) {
        if (chdir(folder.c_str()) != 0) _exit(126);
        int null = open("/dev/null", O_WRONLY);
        dup2(null, 1);
        dup2(null, 2);
        std::vector<char*> argv;
        for (const std::string& argument : arguments) argv.push_back((char*)argument.c_str());
        argv.push_back(nullptr);
        execv(argv[0], argv.data());
        _exit(127);
    }
    return pid;
}

// Nanoseconds the thread `task` of process `pid` has run on a processor, or 0.
u64 thread_run_ns(pid_t pid, pid_t task) {
    std::string text = file_text("/proc/" + std::to_string(pid) + "/task/" + std::to_string(task) + "/schedstat");
    return strtoull(text.c_str(), nullptr, 10);
}

// Seconds from the start of the program to its first frame, or a negative value
// when it showed none; `main_seconds` is the processor time its main thread took
// until then. The program is ended at once: its shutdown isn't measured.
double start_to_first_frame(const std::vector<std::string>& arguments, const std::string& time_file,
                            double* main_seconds) {
    unlink(time_file.c_str());
    u64 start = monotonic_ns();
    pid_t pid = spawn(arguments);
    u64 first_frame = 0;
    for (int i = 0; i < 60000 && !first_frame; i++) {
        std::string text = file_text(time_file);
        if (!text.empty()) first_frame = strtoull(text.c_str(), nullptr, 10);
        if (!first_frame) usleep(1000);
    }
    *main_seconds = (double)thread_run_ns(pid, pid) / 1e9;
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
    return first_frame > start ? (double)(first_frame - start) / 1e9 : -1;
}

void BM_GlfwWindowFloor(benchmark::State& state) {
    std::string time_file = folder + "/floor_time.txt";
    for (auto _ : state) {
        double main_seconds = 0;
        double seconds =
            start_to_first_frame({NEWSLOOM_BINARY_DIR "/bench/peer_first_frame", time_file}, time_file, &main_seconds);
        if (seconds < 0) state.SkipWithError("the floor program showed no frame");
        state.SetIterationTime(seconds);
        state.counters["main_thread_ms"] = main_seconds * 1e3;
    }
}

void BM_NewsloomFullStore(benchmark::State& state) {
    std::string time_file = folder + "/newsloom_time.txt";
    for (auto _ : state) {
        double main_seconds = 0;
        double seconds = start_to_first_frame(
            {NEWSLOOM_BINARY_DIR "/newsloom", "-path", store_folder, "-first_frame_time", time_file}, time_file,
            &main_seconds);
        if (seconds < 0) state.SkipWithError("newsloom showed no frame");
        state.SetIterationTime(seconds);
        state.counters["main_thread_ms"] = main_seconds * 1e3;
    }
}

}  // namespace

int main(int argc, char** argv) {
    memory_query_system(nullptr, nullptr, nullptr, nullptr);
    char pattern[] = "/tmp/newsloom_bench_start_XXXXXX";
    folder = mkdtemp(pattern);
    store_folder = folder + "/store";
    if (!full_store_save(store_folder)) {
        fprintf(stderr, "bench_start: the full store could not be saved\n");
        return 1;
    }
    x_server_t server;
    if (!x_server_start(&server)) {
        fprintf(stderr, "bench_start: Xvfb could not start\n");
        return 1;
    }

    // The two programs' runs take turns in a random order, so that a machine
    // whose load changes during the run weighs on both alike.
    std::vector<char*> arguments(argv, argv + argc);
    char interleave[] = "--benchmark_enable_random_interleaving=true";
    arguments.insert(arguments.begin() + 1, interleave);
    int argument_count = (int)arguments.size();
    arguments.push_back(nullptr);
    benchmark::Initialize(&argument_count, arguments.data());
    benchmark::RegisterBenchmark("start/glfw_window_floor", BM_GlfwWindowFloor)
        ->UseManualTime()
        ->Iterations(1)
        ->Repetitions(15)
        ->ReportAggregatesOnly(true)
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("start/newsloom_full_store", BM_NewsloomFullStore)
        ->UseManualTime()
        ->Iterations(1)
        ->Repetitions(15)
        ->ReportAggregatesOnly(true)
        ->Unit(benchmark::kMillisecond);
    median_reporter_t reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();

    double floor = reporter.real["start/glfw_window_floor"];
    double newsloom = reporter.real["start/newsloom_full_store"];
    if (floor > 0 && newsloom > 0) {
        printf("start to first frame, medians: newsloom with a full store %.1f ms, bare GLFW window %.1f ms: "
               "%.2fx the floor (goal: at most 1.5x)\n",
               newsloom, floor, newsloom / floor);
    }
    double floor_main = reporter.counter("start/glfw_window_floor", "main_thread_ms");
    double newsloom_main = reporter.counter("start/newsloom_full_store", "main_thread_ms");
    if (floor_main > 0 && newsloom_main > 0) {
        printf("processor time of the main thread to the first frame, medians: newsloom %.1f ms, bare GLFW "
               "window %.1f ms: %.2fx\n",
               newsloom_main, floor_main, newsloom_main / floor_main);
    }
    x_server_stop(&server);
    if (system(("rm -rf '" + folder + "'").c_str()) != 0) fprintf(stderr, "could not remove %s\n", folder.c_str());
    return 0;
}
