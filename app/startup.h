// program_t, everything long-lived that the program builds at start, and the one
// start-up and shutdown that the entry function and the tests share.
#pragma once

#include "app/app.h"
#include "app/frame_loop.h"
#include "views/demo_panel.h"
#include "views/panel.h"
#include "net/http_file.h"
#include "net/queries.h"
#include "platform/thread.h"
#include "store/reader.h"
#include "ui/ui_core.h"

// What start-up's loading thread is given, and what it hands back. The thread
// loads what the first frame shows, then waits for that frame to be on the screen
// before it sets up the rest.
struct start_loading_t {
    reader_t* reader;
    data_t* scratch;
    data_t storage_path;
    font_set_t* fonts;
    data_t font_memory;
    app_t* app;
    http_error_t* http_error;
    thread_event_t done;       // the store and the faces are loaded
    thread_event_t shown;      // the first frame is on the screen
    thread_event_t rest_done;  // the session is open and the desktop folder known
    u32 finished;              // the main thread waited for all of it
    bool store_whole;
    u8* user_log_mark;
};

struct program_t {
    app_t app;
    reader_t reader;
    window_t window;
    codepoint_set_t codepoints;
    panel_t panel;
    query_t queries[query_table_size];
    font_set_t fonts;
    renderer_t render;
    draw_t draw;
    ui_t ui;
    demo_panel_t demo;
    frame_loop_t loop;
    // What shutdown needs of the start.
    http_error_t http_error;
    u32 profiler_error;
    u32 profile;
    start_loading_t loading;
};

struct program_options_t {
    // A stub window of this size and the renderer's recording stub: no display, no GL.
    u32 headless;
    i32 width, height;
};

// Builds everything in its fixed order from the command line (`-path`, `-profile`
// and the rest). False when the storage folder's path is too long for the system:
// the message is on standard error and nothing was saved or started.
bool program_start(program_t* program, i32 argc, char** argv, const program_options_t* options);
// Workers stopped, the store checked and saved, the logs written on request.
void program_shutdown(program_t* program);
