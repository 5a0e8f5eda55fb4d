// Entry point of the desktop program: builds the long-lived objects in one fixed
// order, runs (once the window exists) the frame loop, and shuts down in order.
#include "app/app.h"
#include "app/arguments.h"
#include "base/data.h"
#include "base/log.h"
#include "net/work_queue.h"
#include "profiler/profiler.h"

int main(int argc, char** argv) {
    // Start-up. The order matters: each step may use what the steps above built.

    // 1. Arguments.
    arguments_store(argc, argv);

    // 2. The scratch block that link opening borrows.
    temp_memory_create(temp_memory_size);

    // 3. Page size and allocation granularity, before anything is reserved.
    memory_query_system(nullptr, nullptr, nullptr, nullptr);

    // 4. Profiler: the empty functions unless -profile asks for zones.
    bool profile = argument_find_text("-profile", 0) != 0;
    if (!profile) profiler_install_empty(0);
    u32 profiler_error = 0;
    profiler_start(1, 10000000, &profiler_error);

    // 5-11. Internet session, reader, window, code points and fonts come here.

    // 12. The context record for the views, its frame scratch and its two paths.
    app_t app = {};
    app.scratch = data_allocate(0xa00000);

    // 13. Where the store files live.
    storage_path_resolve(&app);

    // 14-29. Loading, UI, renderer, panel, workers and queries, then the frame loop.

    // Shutdown, in order.
    profiler_stop();
    if (profile) profiler_write("profile.bin", true, &profiler_error);
    if (argument_find_text("-log", 0)) log_save(log_main, data_literal("log.txt"));
    return 0;
}
