// The drop-down and the list box: a field that opens a list of rows over everything
// else, and the list itself, with the keyboard, the wheel and a scroll bar.
#pragma once

#include "ui/ui_core.h"

// *selected takes the row chosen in the list.
void ui_drop_down(ui_t* ui, pair_t id, rect_t rect, const data_t* items, u64 count, u64* selected, u32 font);
// 1 when a row is chosen (by a click or Return); *selected takes it.
u32 ui_list_box(ui_t* ui, pair_t id, rect_t rect, const data_t* items, u64 count, u64* selected, u32 font);

// Rows are a whole number of pixels high: the font's line and the row padding.
f32 ui_list_row_height(const ui_t* ui, u32 font);
// Width and height of a list that shows all `count` rows.
layout_size_t ui_list_size(const ui_t* ui, u32 font, f32 width, u64 count);
