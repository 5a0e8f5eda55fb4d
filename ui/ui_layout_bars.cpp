// The bars of a layout. The wheel comes first, with an empty id, so that it scrolls
// the view while no widget holds the mouse.
#include "ui/ui_layout_bars.h"

#include "layout/layout.h"
#include "ui/ui_scroll_bar.h"

static const f32 line_step = 20;
static const f32 wheel_lines = 3;

// The bars' ids belong to the caller's site: two views that show at once must not
// share a thumb.
static void layout_bars(scroll_offsets_t* offsets, ui_t* ui, layout_t* layout, rect_t rect, pair_t vertical_id,
                        pair_t horizontal_id) {
    ui_set_clip(ui, rect);
    bool vertical = layout_needs_vertical_bar(layout);
    bool horizontal = layout_needs_horizontal_bar(layout);
    const f32 t = ui_scroll_bar_thickness;
    if (vertical) {
        ui_scroll_wheel(ui, pair_t{}, layout->height, layout->max_y, line_step, wheel_lines, &layout->scroll_y);
        rect_t bar = {rect.x1 - t, horizontal ? rect.y0 + t : rect.y0, rect.x1, rect.y1};
        ui_scroll_bar_vertical(ui, vertical_id, bar, layout->height, layout->max_y, &layout->scroll_y, line_step);
        offsets->y = layout->scroll_y;
    }
    if (horizontal) {
        rect_t bar = {rect.x0, rect.y0, vertical ? rect.x1 - t : rect.x1, rect.y0 + t};
        ui_scroll_bar_horizontal(ui, horizontal_id, bar, layout->width, layout->max_x, &layout->scroll_x, line_step);
        offsets->x = layout->scroll_x;
    }
    if (layout->state == layout_state_logic) {
        if (!vertical) offsets->y = 0;
        if (!horizontal) offsets->x = 0;
    }
}

void ui_layout_scroll_bars(scroll_offsets_t* offsets, ui_t* ui, layout_t* layout, rect_t rect) {
    layout_bars(offsets, ui, layout, rect, UI_ID(), UI_ID());
}

void view_scroll_bars(scroll_offsets_t* scroll, ui_t* ui, layout_t* layout, rect_t rect) {
    layout_bars(scroll, ui, layout, rect, UI_ID(), UI_ID());
}
