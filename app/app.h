// app_t, the context record that the entry function hands to the views, and the
// start-up pieces shared by the program and the tool.
#pragma once

#include "base/data.h"

struct window_t;
struct panel_t;
struct ui_t;
struct draw_t;
struct query_t;

constexpr u64 app_path_capacity = 4096;

struct app_t {
    data_t scratch;  // 10 MiB, emptied at the end of each frame
    window_t* window;
    panel_t* panel;
    ui_t* ui;
    draw_t* draw;  // the frame's batches; views draw only through it
    query_t* queries;
    u64 query_count;
    u32 start_generation;
    data_t storage_path;  // over storage_path_buffer
    data_t desktop_path;  // over desktop_path_buffer
    u8 storage_path_buffer[app_path_capacity];
    u8 desktop_path_buffer[app_path_capacity];
};

// Points both paths at their buffers. `-path` replaces the default storage folder
// ($XDG_CONFIG_HOME/newsloom, else ~/.config/newsloom); nothing is created here.
// False, with an empty storage path, when the folder's path is longer than the
// system takes: the caller must not go on, for a cut path names another folder.
bool storage_path_resolve(app_t* app);
// The desktop folder, where exports go by default; empty when there is none.
void desktop_path_resolve(app_t* app);
constexpr u32 desktop_helper_limit_ms = 2000;
extern const char storage_path_too_long_message[];
