// The window's frame: a movable split into a left and a right side, a strip of
// buttons on top of each, and below the strip the side's panel.
#pragma once

#include "base/rect.h"
#include "platform/window.h"

struct app_t;
struct reader_t;

// One frame of the whole window, with the input of this frame.
void window_content(app_t* app, reader_t* reader, const input_frame_t* input);
struct ui_t;
// A button's size for its label in the strips' style, in whole pixels for the width.
f32 button_height(const ui_t* ui, u32 font);
f32 button_width(const ui_t* ui, data_t text, u32 font);
// A label's width in the text font, in whole pixels.
f32 label_width(const ui_t* ui, data_t text);
struct layout_t;
// A label at the pen, dropped to stand level with the widget beside it, then the pen
// `gap` to its right and back up.
void label_beside(layout_t* layout, data_t text, f32 gap, f32 drop);
// The right strip's height: a row of buttons, or more where the side is too narrow
// for all eight in one.
f32 menu_right_height(const ui_t* ui, const reader_t* reader, f32 width);
void draw_menu_right(app_t* app, reader_t* reader, rect_t rect);
void draw_right_panel(app_t* app, reader_t* reader, rect_t rect);
void draw_help(app_t* app, reader_t* reader, rect_t rect);
void draw_log(app_t* app, reader_t* reader, rect_t rect);
// The help panel's long text.
extern const char help_text[];
// The log panel with its view at the left edge.
void show_log(app_t* app);
