// A text laid out in one piece inside a rectangle, wrapped or not, and drawn
// from its visible runs: the help and log panels are only this.
#pragma once

#include "base/data.h"
#include "base/rect.h"

struct ui_t;

struct text_view_t {
    f32 content_width, content_height;  // with the padding
};

// Lays out `text` in `font` with `padding` (top, bottom, left, right) at the
// scroll offsets and draws what is visible into the UI's text batch. `wrap` 0
// keeps lines whole. `memory` holds the runs for the frame.
text_view_t text_view_draw(ui_t* ui, data_t* memory, rect_t rect, const f32* padding, u32 font, data_t text,
                           colour_t colour, u32 wrap, f32 scroll_x, f32 scroll_y);
// Only the size, for the scroll bars.
text_view_t text_view_measure(ui_t* ui, data_t* memory, rect_t rect, const f32* padding, u32 font, data_t text,
                              u32 wrap);
