// The main thread's frame time while the list scrolls: newsloom with a full store
// (100 feeds, 10000 entries) under Xvfb and -profile, the mouse wheel turned over
// the left panel every millisecond, then closed; the frames of profile.bin between
// the quiet second before the first notch and the one after the last give the
// median and the 99th percentile of the first 600. Without a compositing manager
// the program paces its frames to the display's period by itself, and the figures
// would be that period; the benchmark owns the compositor's selection instead, as
// a desktop's compositor would, and Xvfb's swap doesn't wait, so a frame is its
// own work. Notches come faster than frames, so that no frame waits for input and
// its time is its work. The last frames keep their zones: the medians of the work,
// the views, the renderer and the buffer swap tell the program's share from the GL
// driver's. The processor time of all the program's threads (the driver's
// rasterising threads among them) per frame is steadier than wall time on a busy
// machine.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "bench/full_store.h"
#include "base/file.h"
#include "profiler/profile_file.h"
#include "tests/window/x_server.h"

namespace {

constexpr u32 frames_wanted = 600;
// Before the first notch and after the last: a frame about this long waited for input.
constexpr f64 quiet_seconds = 1;

// Zones whose time the report splits the last frames into.
const char* const zones_reported[4] = {"not_messages", "window_content", "render", "window_swap_buffers"};

struct frames_t {
    std::vector<f64> frames;  // each frame of the thread that has frames, in order
    // The last frames keep their zones: the time of each of zones_reported.
    std::vector<f64> zones[4];
};

frames_t frames_read(const std::string& path) {
    frames_t result;
    data_t name = data_from_size(path.size(), path.data());
    file_error_t error = 0;
    data_t file = file_read_all(name, false, &error);
    if (error) return result;
    data_t memory = data_allocate(file.used * 8 + 4096);
    profile_t profile = {};
    if (!profile_read(file, &memory, &profile)) {
        std::vector<i32> reported(profile.zone_count, -1);
        for (u32 z = 0; z < profile.zone_count; z++) {
            std::string zone((const char*)profile.zone_names[z].bytes, profile.zone_names[z].used);
            for (i32 r = 0; r < 4; r++) {
                if (zone == zones_reported[r]) reported[z] = r;
            }
        }
        for (u32 t = 0; t < profile.thread_count && result.frames.empty(); t++) {
            const profile_thread_t* thread = &profile.threads[t];
            u64 frame_begin = 0, zone_begin[4] = {};
            for (u64 i = 0; i < thread->event_count; i++) {
                const profiler_event_t* event = &thread->events[i];
                u32 kind = event->kind & ~(u32)profiler_event_collapsed;
                auto seconds = [&](u64 begin) { return profile_seconds(&profile.time, event->time - begin); };
                if (kind == profiler_event_frame_begin) frame_begin = event->time;
                if (kind == profiler_event_frame_end) result.frames.push_back(seconds(frame_begin));
                i32 r = event->zone < profile.zone_count ? reported[event->zone] : -1;
                if (r >= 0 && kind == profiler_event_zone_begin) zone_begin[r] = event->time;
                if (r >= 0 && kind == profiler_event_zone_end) result.zones[r].push_back(seconds(zone_begin[r]));
            }
        }
    }
    data_free(&memory);
    data_free(&file);
    return result;
}

f64 percentile(std::vector<f64> values, f64 share) {
    std::sort(values.begin(), values.end());
    u64 index = (u64)(share * (f64)(values.size() - 1) + 0.5);
    return values[index];
}

// Seconds of processor time a process has used so far, all its threads.
f64 cpu_seconds(pid_t pid) {
    FILE* file = fopen(("/proc/" + std::to_string(pid) + "/stat").c_str(), "r");
    if (!file) return 0;
    char line[2048];
    size_t size = fread(line, 1, sizeof(line) - 1, file);
    fclose(file);
    line[size] = 0;
    const char* p = strrchr(line, ')');
    unsigned long long user = 0, system = 0;
    if (!p || sscanf(p + 2, "%*c %*d %*d %*d %*d %*d %*u %*u %*u %*u %*u %llu %llu", &user, &system) != 2) return 0;
    return (f64)(user + system) / (f64)sysconf(_SC_CLK_TCK);
}

}  // namespace

int main() {
    memory_query_system(nullptr, nullptr, nullptr, nullptr);
    char pattern[] = "/tmp/newsloom_bench_scroll_XXXXXX";
    std::string folder = mkdtemp(pattern);
    std::string store_folder = folder + "/store";
    if (!full_store_save(store_folder)) {
        fprintf(stderr, "bench_scroll: the full store could not be saved\n");
        return 1;
    }
    x_server_t server;
    if (!x_server_start(&server)) {
        fprintf(stderr, "bench_scroll: Xvfb could not start\n");
        return 1;
    }
    // The stand-in for a compositing manager: the owner of its selection.
    Display* compositor = XOpenDisplay(nullptr);
    if (compositor) {
        Window owner = XCreateSimpleWindow(compositor, DefaultRootWindow(compositor), 0, 0, 1, 1, 0, 0, 0);
        std::string selection = "_NET_WM_CM_S" + std::to_string(DefaultScreen(compositor));
        XSetSelectionOwner(compositor, XInternAtom(compositor, selection.c_str(), False), owner, CurrentTime);
        XSync(compositor, False);
    }
    std::string first_frame = folder + "/first_frame.txt";
    program_t program = program_start(folder, {"-path", store_folder, "-profile", "-first_frame_time", first_frame});
    Window window = 0;
    for (int i = 0; i < 500 && !window; i++) {
        if (access(first_frame.c_str(), F_OK) == 0) window = window_find("Newsloom - 0.3");
        if (!window) usleep(20000);
    }
    int status = 1;
    if (window) {
        // Notches faster than frames come, for longer than the frames wanted take.
        std::string id = std::to_string(window);
        usleep(quiet_seconds * 1e6);
        f64 cpu_program = cpu_seconds(program.pid), cpu_server = cpu_seconds(server.pid);
        std::string wheel = "xdotool mousemove --window " + id + " 200 360 click --repeat " +
                            std::to_string(frames_wanted * 5) + " --delay 1 5";
        if (system(wheel.c_str()) != 0) fprintf(stderr, "bench_scroll: xdotool failed\n");
        usleep(quiet_seconds * 1e6);
        cpu_program = cpu_seconds(program.pid) - cpu_program;
        cpu_server = cpu_seconds(server.pid) - cpu_server;
        window_send_close(window);
        if (program_wait(&program, 60)) {
            frames_t read = frames_read(folder + "/profile.bin");
            // The frames after the quiet wait before the first notch, up to the one after the last.
            std::vector<f64>& frames = read.frames;
            auto waited = [](f64 s) { return s >= quiet_seconds * 0.8; };
            auto start = std::find_if(frames.begin() + std::min<size_t>(1, frames.size()), frames.end(), waited);
            std::vector<f64> scrolling;
            u64 scrolled = 0;  // every frame while the wheel turned
            for (auto it = start == frames.end() ? start : start + 1; it != frames.end(); ++it) {
                if (waited(*it)) break;
                scrolled++;
                if (scrolling.size() < frames_wanted) scrolling.push_back(*it);
            }
            if (scrolling.size() >= 100 && !read.zones[0].empty()) {
                printf("scrolling the full list: %zu frames, main thread frame time median %.2f ms, "
                       "99th percentile %.2f ms (goal: median at most 2 ms)\n",
                       scrolling.size(), percentile(scrolling, 0.5) * 1e3, percentile(scrolling, 0.99) * 1e3);
                printf("the last %zu frames, medians in ms:", read.zones[0].size());
                for (u32 r = 0; r < 4; r++) {
                    if (!read.zones[r].empty()) printf(" %s %.2f", zones_reported[r], percentile(read.zones[r], 0.5) * 1e3);
                }
                printf("\n");
                printf("processor time per frame over all %llu frames of scrolling, every thread: newsloom %.2f ms, "
                       "X server %.2f ms\n",
                       (unsigned long long)scrolled, cpu_program * 1e3 / (f64)scrolled, cpu_server * 1e3 / (f64)scrolled);
                status = 0;
            } else {
                fprintf(stderr, "bench_scroll: only %zu frames of scrolling in %zu\n", scrolling.size(),
                        frames.size());
            }
        } else {
            fprintf(stderr, "bench_scroll: newsloom did not end after its window closed\n");
        }
    } else {
        fprintf(stderr, "bench_scroll: newsloom showed no window\n");
    }
    program_kill(&program);
    if (compositor) XCloseDisplay(compositor);
    x_server_stop(&server);
    if (system(("rm -rf '" + folder + "'").c_str()) != 0) fprintf(stderr, "could not remove %s\n", folder.c_str());
    return status;
}
