// Entry point of the desktop program: builds the long-lived objects in one fixed
// order, runs the frame loop, and shuts down in order.
#include <cstdio>
#include <cstring>

#include "app/app.h"
#include "app/arguments.h"
#include "app/frame_loop.h"
#include "app/panel.h"
#include "base/data.h"
#include "base/log.h"
#include "net/block_storage.h"
#include "net/http_file.h"
#include "net/queries.h"
#include "net/work_queue.h"
#include "profiler/profiler.h"
#include "store/codepoint_set.h"
#include "store/reader.h"
#include "store/reader_file.h"

// The long-lived objects are too large for the stack of the entry function; they
// live here and nothing but main touches them by name.
static reader_t reader;
static window_t window;
static codepoint_set_t codepoints;
static panel_t panel;
static query_t queries[1024];
static font_set_t fonts;
static renderer_t render;
static frame_batches_t batches;

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

    // 5. Internet session; a failure shows up on each later download.
    http_error_t http_error = 0;
    http_session_open(data_literal("newsloom"), &http_error);

    // 6. The reader.
    reader = reader_t{};
    reader_init(&reader);

    // 7, 8. The window "Newsloom - 0.3" and swap interval 1. A failure leaves
    // `running` 0: the loop never starts and shutdown runs as usual.
    frame_window_create(&window);
    if (argument_find_text("-gfx_log", 0)) log_save(log_graphics, data_literal("win32_opengl.log"));

    // 9. app_memory.
    data_t app_memory = data_allocate(0x2000000);

    // 10. The code points that have glyphs, shared with the reader, which adds the
    // new ones of merged text.
    codepoint_set_init(&codepoints, &app_memory);
    reader.codepoints = &codepoints;

    // 11. font_memory.
    data_t font_memory = data_sub_block(&app_memory, 0x500000, 0);

    // 12. The context record for the views, its frame scratch and its two paths.
    app_t app = {};
    app.scratch = data_allocate(0xa00000);

    // 13. Where the store files live, and the newest store file. A damaged one
    // stops the start: a save would bury it under a newer, emptier file.
    storage_path_resolve(&app);
    reader_load_status_t load_status = {};
    if (!reader_load(&app, &reader, &load_status)) {
        char message[2048];
        u64 length = reader_load_message(&load_status, message, sizeof(message));
        fwrite(message, 1, length, stderr);
        if (argument_find_text("-log", 0)) log_save(log_main, data_literal("log.txt"));
        return 1;
    }

    // 14. The generation the run started with.
    app.start_generation = reader.generation;

    // 15, 16. The four faces, baked.
    frame_fonts_create(&fonts, font_memory, &codepoints);

    // 17-21. Sizes from the screen, the UI and its icon texture (to come), the
    // renderer and its batches.
    frame_render_create(&render, &batches, &window, &fonts, 0);

    // 22. The panel.
    panel = panel_t{};
    panel.generation_min = app.start_generation;
    panel.generation_max = app.start_generation;
    panel.right_panel = panel_right_add_feed;
    panel.log_auto_scroll = 1;

    // 23-25. Workers, the query table, block storage.
    thread_queue_create(&thread_queue, 6);
    memset(queries, 0, sizeof(queries));
    block_storage_create(&block_storage, 0x6400000, 0x100000, 128);

    // 26. The rest of app_t.
    app.window = &window;
    app.panel = &panel;
    app.render = &render;
    app.queries = queries;
    app.query_count = 1024;

    // 27-29 (composition, frame period, timer) are the loop's own start.
    frame_loop_t loop = {};
    loop.app = &app;
    loop.window = &window;
    loop.fonts = &fonts;
    loop.render = &render;
    loop.batches = &batches;
    loop.panel = &panel;
    loop.reader = &reader;
    loop.codepoints = &codepoints;
    loop.first_frame_png = argument_value_text("-first_frame_png", nullptr);
    frame_loop_run(&loop);

    // Shutdown, in order.
    thread_terminate(&thread_queue);
    reader_purge_deleted(&reader);
    profiler_stop();
    if (profile) profiler_write("profile.bin", true, &profiler_error);
    reader_check(&reader);
    reader_save(&app, &reader);
    if (argument_find_text("-log", 0)) log_save(log_main, data_literal("log.txt"));
    http_session_close(&http_error);
    return 0;
}
