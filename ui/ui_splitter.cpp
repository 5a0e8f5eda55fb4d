// The divider between two panes: its three rectangles, the drag that moves it, and
// the bar as it is drawn.
#include <cmath>

#include "profiler/profiler.h"
#include "ui/ui_core.h"

splitter_t splitter_make(const f32* first_padding, const f32* second_padding, f32 position, u32 horizontal) {
    splitter_t s = {};
    for (u32 i = 0; i < 4; i++) {
        s.first_padding[i] = first_padding[i];
        s.second_padding[i] = second_padding[i];
    }
    s.position = position;
    s.horizontal = horizontal;
    return s;
}

enum : u32 { pad_top = 0, pad_bottom = 1, pad_left = 2, pad_right = 3 };

void splitter_layout(splitter_t* s, rect_t rect) {
    const f32* a = s->first_padding;
    const f32* b = s->second_padding;
    if (!s->horizontal) {
        s->first.y0 = rect.y0 + a[pad_bottom];
        s->first.y1 = rect.y1 - a[pad_top];
        s->second.y0 = rect.y0 + b[pad_bottom];
        s->second.y1 = rect.y1 - b[pad_top];
        s->first.x0 = rect.x0 + a[pad_left];
        s->first.x1 = s->first.x0 + s->position;
        s->bar = rect_t{s->first.x1, rect.y0, s->first.x1 + a[pad_right] + b[pad_left], rect.y1};
        s->second.x0 = s->bar.x1;
        s->second.x1 = rect.x1 - b[pad_right];
    } else {
        s->first.y1 = rect.y1 - a[pad_top];
        s->first.y0 = s->first.y1 - s->position;
        s->bar = rect_t{rect.x0, s->first.y0 - a[pad_bottom] - b[pad_top], rect.x1, s->first.y0};
        s->second.y1 = s->bar.y0;
        s->second.y0 = rect.y0 + b[pad_bottom];
        s->first.x0 = rect.x0 + a[pad_left];
        s->first.x1 = rect.x1 - a[pad_right];
        s->second.x0 = rect.x0 + b[pad_left];
        s->second.x1 = rect.x1 - b[pad_right];
    }
}

void splitter_update(ui_t* ui, pair_t id, splitter_t* s, rect_t rect, u32 limit) {
    splitter_layout(s, rect);
    if (rect_contains(s->bar, ui->mouse[0], ui->mouse[1])) ui_hot_take(ui, id);
    if (ui_is_hot(ui, id) && input_pressed(&ui->input, key_mouse_left)) ui_active_take(ui, id, ui_kind_splitter);
    if (ui_is_active(ui, id) && !input_down(&ui->input, key_mouse_left)) ui_active_clear(ui);

    if (ui_is_active(ui, id)) {
        // The bar follows only once the mouse has really passed it, so that a drag
        // against a limit doesn't leave the bar behind the mouse.
        u32 axis = s->horizontal ? 1 : 0;
        f32 mouse = ui->mouse[axis];
        f32 d = floorf(mouse - ui->previous_mouse[axis]);
        f32 low = s->horizontal ? s->bar.y0 : s->bar.x0;
        f32 high = s->horizontal ? s->bar.y1 : s->bar.x1;
        bool passed = (d > 0 && mouse >= low + d) || (d < 0 && mouse <= high + d);
        if (passed) {
            s->position += s->horizontal ? -d : d;
            f32 most = 3.4028235e38f;
            if (limit) {
                most = s->horizontal ? rect_height(rect) - rect_height(s->bar) - s->first_padding[pad_top]
                                     : rect_width(rect) - rect_width(s->bar) - s->first_padding[pad_left];
            }
            s->position = min_of(max_of(s->position, 0.0f), most);
        }
    }
    splitter_layout(s, rect);
    ASSERT(rect_is_whole(s->first) && rect_is_whole(s->second) && rect_is_whole(s->bar));
}

void splitter_draw(ui_t* ui, pair_t id, splitter_t* s, const f32* inset) {
    rect_t bar = {s->bar.x0 - inset[pad_left], s->bar.y0 - inset[pad_bottom], s->bar.x1 + inset[pad_right],
                  s->bar.y1 + inset[pad_top]};
    const ui_style_t* style = &ui_theme.splitter;
    u32 cursor = s->horizontal ? ui_cursor_resize_ns : ui_cursor_resize_we;
    colour_t colour = style->frame[ui_state_normal];
    if (ui_is_active(ui, id)) {
        PROFILE_ZONE(pair_active_set_cursor);
        colour = style->frame[ui_state_active];
        ui->cursor = cursor;
    } else if (ui_is_hot(ui, id)) {
        PROFILE_ZONE(pair_hot_set_cursor);
        colour = style->frame[ui_state_hot];
        ui->cursor = cursor;
    }
    ui_draw_rect(ui_layer(ui, id), bar, colour);
}
