// The scroll bars of a layout: at the head of each pass, the wheel and the bars
// that the layout decided it needs, along the right and bottom edges of its view.
#pragma once

#include "ui/ui_core.h"

struct layout_t;

// A view's scroll offsets, kept between frames.
struct scroll_offsets_t {
    f32 x, y;
};

// Sets the clip to `rect`; the bars write the layout's offsets and `offsets`. In the
// logic pass an axis without a bar goes back to 0.
void ui_layout_scroll_bars(scroll_offsets_t* offsets, ui_t* ui, layout_t* layout, rect_t rect);
// The same bars for the panels of the right side.
void view_scroll_bars(scroll_offsets_t* scroll, ui_t* ui, layout_t* layout, rect_t rect);
