// The button and the check boxes: one click that fires at the release over the same
// widget, and a value that a click flips.
#pragma once

#include "ui/ui_core.h"

// 1 on the click.
u32 ui_button(ui_t* ui, pair_t id, rect_t rect, data_t text, u32 font);
// 1 when *value was flipped between 0 and 1.
u32 ui_check_box(ui_t* ui, pair_t id, rect_t rect, u32* value);
// The box is a square of the rectangle's height at its left, the label follows; the
// whole rectangle takes the click.
u32 ui_check_box_label(ui_t* ui, pair_t id, rect_t rect, u32* value, data_t text, u32 font);

// The logic that the button family shares: 1 on a click.
u32 ui_click_logic(ui_t* ui, pair_t id, rect_t rect, u32 kind);
