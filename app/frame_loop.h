// The parts of start-up that build the window, the fonts and the renderer, and the
// frame loop itself: one frame at a time, so that tests can drive it.
#pragma once

#include "app/app.h"
#include "gfx/font.h"
#include "gfx/draw.h"
#include "image/atlas.h"
#include "platform/window.h"
#include "store/codepoint_set.h"

struct panel_t;
struct reader_t;
struct ui_t;
struct demo_panel_t;

struct frame_loop_t {
    app_t* app;
    window_t* window;
    font_set_t* fonts;
    draw_t* draw;
    panel_t* panel;
    reader_t* reader;
    ui_t* ui;
    // With -demo the window shows the demonstration panel of the widgets instead of
    // the views (null otherwise): the widget tests under a real X server use it.
    demo_panel_t* demo;
    // A debug aid for the window tests: the first frame is written there as PNG.
    data_t first_frame_png;
    // For the start-up benchmark: the monotonic clock in nanoseconds once the first
    // frame was swapped, as decimal text.
    data_t first_frame_time;
    // Called once, when the loop's first frame is on the screen: start-up finishes
    // what that frame didn't need before the next one runs.
    void (*first_frame_shown)(void* context);
    void* first_frame_context;

    // The loop's own state, set by frame_loop_start. Time stamps are in ticks.
    u32 composition_enabled;
    u64 frame_period_ms;
    f64 timer_frequency;
    u64 frame_start, messages_end, work_start, frame_end;
};

extern u64 frame_counter;

// "Newsloom - 0.3", 1280 by 720, centred, swap interval 1.
void frame_window_create(window_t* window);
// Finds the four faces (Verdana, or DejaVu Sans, at 14, 16 and 20; Lucida Console,
// or DejaVu Sans Mono, at 12), loads and bakes them. A face that isn't found is an
// empty font.
void frame_fonts_create(font_set_t* fonts, data_t font_memory);
// Renderer for the client size with alpha blending (on the stub that records when
// there is no window), and the frame's batches in it, the icon batches on a texture
// of the UI's icon strip. Without that texture the strip's pixels are let go of, so
// that no icon is drawn, and the log panel says so.
void frame_render_create(renderer_t* render, draw_t* draw, window_t* window, font_set_t* fonts, atlas_t* icons);
// Composition, frame period and timer: the last steps of start-up.
void frame_loop_start(frame_loop_t* loop);
// One whole frame: messages (a stub window has none; its input is whatever a test
// wrote since its input_frame_begin), drain, content, bake, render, swap.
void frame_run(frame_loop_t* loop);
// Runs frames until the window closes.
void frame_loop_run(frame_loop_t* loop);
