// Scroll bars: two arrows that step by lines and repeat while held, a thumb to drag,
// a track that pages; the wheel; and the line arithmetic that keeps text lines
// aligned with the view's edges.
#pragma once

#include "ui/ui_core.h"

constexpr f32 ui_scroll_bar_thickness = 16;

// Sub-ids of a bar's parts.
enum : i64 {
    ui_scroll_first_arrow = -4,
    ui_scroll_second_arrow = -5,
    ui_scroll_thumb = -6,
    ui_scroll_track = -7,
};

// Both give the change of *offset, which stays within 0 and content - view.
// `step` is the pixels of one arrow click. The vertical offset grows downward on
// screen, the horizontal one rightward.
f64 ui_scroll_bar_vertical(ui_t* ui, pair_t id, rect_t rect, f64 view, f64 content, f64* offset, f64 step);
f32 ui_scroll_bar_vertical(ui_t* ui, pair_t id, rect_t rect, f32 view, f32 content, f32* offset, f32 step);
f32 ui_scroll_bar_horizontal(ui_t* ui, pair_t id, rect_t rect, f32 view, f32 content, f32* offset, f32 step);

// A position just past a line counts as on it; `lines` back from there.
f64 step_down(f64 offset, f64 step, f64 range, f64 lines);
// `lines` forward, so that the view's bottom edge lands on a line.
f64 step_up(f64 offset, f64 view, f64 step, f64 range, f64 lines);

// The wheel, in the logic pass, while `id` holds active (the empty id while nothing
// does) and the mouse lies in the clip. Gives the change of *offset.
f32 ui_scroll_wheel(ui_t* ui, pair_t id, f32 view, f32 content, f32 step, f32 lines, f32* offset);
