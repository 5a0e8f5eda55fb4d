// Start-up in its fixed order, each step using what the steps above it built, and
// shutdown in its own order.
#include "app/startup.h"

#include <cstdio>
#include <cstring>

#include "app/arguments.h"
#include "base/log.h"
#include "image/image_query.h"
#include "net/block_storage.h"
#include "net/work_queue.h"
#include "platform/os.h"
#include "platform/signals.h"
#include "platform/thread.h"
#include "profiler/profiler.h"
#include "store/reader_file.h"

// What log channel 2 received since `mark`, as a line on `stream`.
static void program_copy_user_log(u8* mark, FILE* stream) {
    data_t copy = data_allocate(log_block_size);
    log_copy_since(log_user, mark, &copy);
    if (copy.used) {
        fwrite(copy.bytes, 1, copy.used, stream);
        fputc('\n', stream);
    }
    data_free(&copy);
}

// Start-up's steps that need no window and that the first frame shows: the store
// file and the faces.
static void start_load_shown(start_loading_t* loading) {
    loading->user_log_mark = data_end(log_channel(log_user)->text);
    loading->store_whole = reader_load_or_recover(loading->scratch, loading->storage_path, loading->reader);
    frame_fonts_create(loading->fonts, loading->font_memory);
}

// The internet session (its libraries take their time to set up) and the desktop
// folder (a helper program is asked): nothing in the first frame needs them.
static void start_load_rest(start_loading_t* loading) {
    // 5. A failure shows up on each later download.
    http_session_open(data_literal("newsloom"), loading->http_error);
    desktop_path_resolve(loading->app);
}

// The rest waits until the first frame is on the screen: on a busy machine its
// processor time would come out of the window's making.
static u32 start_load(void* argument) {
    start_loading_t* loading = (start_loading_t*)argument;
    start_load_shown(loading);
    thread_event_set(loading->done);
    thread_event_wait(loading->shown);
    start_load_rest(loading);
    thread_event_set(loading->rest_done);
    return 0;
}

// Lets the loading thread go on with the rest and waits for it; once, from the
// first frame or, when none ran, from shutdown.
static void start_load_finish(void* argument) {
    start_loading_t* loading = (start_loading_t*)argument;
    // A start refused before the thread ran has nothing to wait for.
    if (loading->finished || !loading->rest_done) return;
    loading->finished = 1;
    thread_event_set(loading->shown);
    thread_event_wait(loading->rest_done);
    thread_event_close(loading->done);
    thread_event_close(loading->shown);
    thread_event_close(loading->rest_done);
}

bool program_start(program_t* program, i32 argc, char** argv, const program_options_t* options) {
    app_t* app = &program->app;
    reader_t* reader = &program->reader;

    // 1. Arguments.
    arguments_store(argc, argv);

    // 2. The scratch block that link opening borrows, made once per process: tests
    // start the program more than once.
    if (!temp_memory.bytes) temp_memory_create(temp_memory_size);

    // 3. Page size and allocation granularity, before anything is reserved.
    memory_query_system(nullptr, nullptr, nullptr, nullptr);

    // 4. Profiler: the empty functions unless -profile asks for zones.
    program->profile = argument_find_text("-profile", 0) != 0;
    if (!program->profile) profiler_install_empty(0);
    program->profiler_error = 0;
    profiler_start(1, 10000000, &program->profiler_error);

    program->http_error = 0;

    // 6. The reader.
    *reader = reader_t{};
    reader_init(reader);

    // 9. app_memory.
    data_t app_memory = data_allocate(0x2000000);

    // 10. The code points that have glyphs, shared with the reader, which adds the
    // new ones of merged text.
    codepoint_set_init(&program->codepoints, &app_memory);
    reader->codepoints = &program->codepoints;

    // 11. font_memory.
    data_t font_memory = data_sub_block(&app_memory, 0x500000, 0);

    // 12. The context record for the views, its frame scratch and its two paths.
    *app = app_t{};
    app->scratch = data_allocate(0xa00000);

    // 13. Where the store files live. A path too long for the system is refused
    // before any window shows.
    if (!storage_path_resolve(app)) {
        fputs(storage_path_too_long_message, stderr);
        return false;
    }

    // The newest store file that loads (13), the four faces (15, 16), the internet
    // session (5) and the desktop folder need no window, and the window (7, 8) waits
    // mostly on the X server and the GL driver: they are made side by side, and
    // start-up takes the longer of the two, not the sum. The connection to the
    // display comes first, alone: sharing the processor with the loading thread
    // slows it by more than the loading costs. Until the wait below, the loading
    // thread alone touches the reader, the fonts and the frame scratch; the session
    // and the desktop path it sets up once the first frame shows, and the main
    // thread waits for them before the next frame.
    bool headless = options && options->headless;
    if (!headless) window_system_start();
    start_loading_t& loading = program->loading;
    loading = start_loading_t{};
    loading.reader = reader;
    loading.scratch = &app->scratch;
    loading.storage_path = app->storage_path;
    loading.fonts = &program->fonts;
    loading.font_memory = font_memory;
    loading.app = app;
    loading.http_error = &program->http_error;
    loading.done = thread_event_create();
    loading.shown = thread_event_create();
    loading.rest_done = thread_event_create();
    http_session_expect();
    if (!thread_start(start_load, &loading)) {
        // No thread to be had: the same work in order, on this one.
        start_load_shown(&loading);
        start_load_rest(&loading);
        thread_event_set(loading.done);
        thread_event_set(loading.rest_done);
    }

    // 7, 8. The window "Newsloom - 0.3" and swap interval 1. A failure leaves
    // `running` 0: no frame runs and shutdown follows as usual.
    program->window = window_t{};
    if (headless) {
        window_create_stub(&program->window, options->width, options->height);
    } else {
        // SIGTERM and SIGINT close the window as its close button does; armed before
        // the window shows, so that no signal finds the program unprepared.
        signal_close_install(window_close_request);
        frame_window_create(&program->window);
    }
    if (argument_find_text("-gfx_log", 0)) log_save(log_graphics, data_literal("win32_opengl.log"));

    thread_event_wait(loading.done);
    // A damaged store was kept aside under its own name, and the log panel says so
    // (step 22): a person who started the program from a menu sees no terminal.
    bool store_whole = loading.store_whole;
    if (!store_whole) program_copy_user_log(loading.user_log_mark, stderr);

    // 14. The generation the run started with.
    app->start_generation = reader->generation;

    // 17, 18. Sizes from the screen; the UI's record with its block.
    ui_create(&program->ui, data_allocate(0x100000), &program->window);

    // 19-21. The renderer, the icon texture from the UI's atlas, and the batches;
    // the UI draws into the six of the two layers.
    frame_render_create(&program->render, &program->draw, &program->window, &program->fonts,
                        &program->ui.icon_atlas);
    ui_bind_draw(&program->ui, &program->draw);

    // 22. The panel.
    panel_t* panel = &program->panel;
    *panel = panel_t{};
    panel->generation_min = app->start_generation;
    panel->generation_max = app->start_generation;
    panel->right_panel = panel_right_add_feed;
    if (!store_whole) panel_show_log(panel);

    // 23-25. Workers, the query table, block storage (one per process, like
    // temp_memory). The image slots are a global too; they let go of a removed
    // entry's pictures.
    thread_queue_create(&thread_queue, 6);
    memset(program->queries, 0, sizeof(program->queries));
    reader_entry_removed_hook = image_queries_remove_entry;
    image_reports_reset();
    if (!block_storage.memory.bytes) {
        block_storage_create(&block_storage, block_storage_region_size, block_storage_commit_size,
                             block_storage_block_size);
    }

    // 26. The rest of app_t.
    app->window = &program->window;
    app->panel = panel;
    app->draw = &program->draw;
    app->ui = &program->ui;
    app->queries = program->queries;
    app->query_count = query_table_size;

    // 27-29. Composition, frame period, timer.
    frame_loop_t* loop = &program->loop;
    *loop = frame_loop_t{};
    loop->app = app;
    loop->window = &program->window;
    loop->fonts = &program->fonts;
    loop->draw = &program->draw;
    loop->panel = panel;
    loop->reader = reader;
    loop->ui = &program->ui;
    if (argument_find_text("-demo", 0)) {
        demo_panel_init(&program->demo, &program->app.scratch);
        // The demo's text lives as long as the program: keep it out of the frame's reach.
        program->app.scratch = data_sub_block_rest(&program->app.scratch, 8);
        loop->demo = &program->demo;
    }
    loop->first_frame_shown = start_load_finish;
    loop->first_frame_context = &loading;
    loop->first_frame_png = argument_value_text("-first_frame_png", nullptr);
    loop->first_frame_time = argument_value_text("-first_frame_time", nullptr);
    frame_loop_start(loop);
    return true;
}

// profile.bin in the working folder; a profile that can't be had is told on standard
// error, and the shutdown goes on to save the store.
static void profile_save(u32 error) {
    profiler_write("profile.bin", true, &error);
    if (error == profiler_error_memory) {
        fputs("Newsloom: no profile.bin, the profiler had no memory for its events.\n", stderr);
    } else if (error) {
        char reason[256] = "out of memory";
        if (error == profiler_error_file_write) os_error_text(os_last_error(), reason, sizeof(reason));
        fprintf(stderr, "Newsloom: could not write profile.bin in the working folder: %s.\n", reason);
    }
}

void program_shutdown(program_t* program) {
    start_load_finish(&program->loading);
    thread_terminate(&thread_queue);
    reader_purge_deleted(&program->reader);
    profiler_stop();
    if (program->profile) profile_save(program->profiler_error);
    profiler_free();
    reader_check(&program->reader);
    // After the window is gone standard error is the one place left to say why.
    u8* user_log_mark = data_end(log_channel(log_user)->text);
    if (!reader_save(&program->app.scratch, program->app.storage_path, &program->reader)) {
        program_copy_user_log(user_log_mark, stderr);
    }
    if (argument_find_text("-log", 0)) log_save(log_main, data_literal("log.txt"));
    http_session_close(&program->http_error);
}
