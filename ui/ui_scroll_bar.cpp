// One scroll bar for both axes: positions are measured along the bar from its first
// arrow (the top of a vertical bar, the left end of a horizontal one), so that the
// logic is written once.
#include "ui/ui_scroll_bar.h"

#include <cmath>

f64 step_down(f64 offset, f64 step, f64 range, f64 lines) {
    i64 n = (i64)(offset / step);
    if (n != 0 && offset - (f64)n * step < 0.5) n -= 1;
    f64 value = (f64)n < lines - 1 ? 0 : ((f64)n - (lines - 1)) * step;
    return min_of(max_of(value, 0.0), range);
}

f64 step_up(f64 offset, f64 view, f64 step, f64 range, f64 lines) {
    i64 n = (i64)((offset + view) / step) + (i64)lines;
    f64 value = (f64)n * step - view;
    return min_of(max_of(value, 0.0), range);
}

namespace {

struct bar_t {
    rect_t rect;
    bool vertical;
    f64 length;  // along the bar
    f64 range, offset;
    f64 track;  // free track once the thumb is taken off
    f64 thumb, thumb_offset;
    pair_t first, second, thumb_id, track_id;
};

bar_t bar_make(pair_t id, rect_t rect, bool vertical, f64 view, f64 content, f64 offset) {
    const f64 t = ui_scroll_bar_thickness;
    bar_t bar = {};
    bar.rect = rect;
    bar.vertical = vertical;
    bar.length = vertical ? rect_height(rect) : rect_width(rect);
    bar.range = max_of(0.0, content - view);
    bar.offset = min_of(offset, bar.range);
    bar.track = bar.length - 2 * t;
    f64 thumb = content > 0 ? bar.track * (view / content) : bar.track;
    // Content that fits: the thumb fills the track.
    bar.thumb = max_of(min_of(thumb, bar.track), t);
    bar.track -= bar.thumb;
    bar.thumb_offset = bar.range > 0 && bar.track > 0 ? bar.track * (bar.offset / bar.range) : 0;
    bar.first = pair_push(id, ui_scroll_first_arrow);
    bar.second = pair_push(id, ui_scroll_second_arrow);
    bar.thumb_id = pair_push(id, ui_scroll_thumb);
    bar.track_id = pair_push(id, ui_scroll_track);
    return bar;
}

// The rectangle of [a0, a1) along the bar, never outside it: a bar shorter than its
// two arrows and a thumb still has its parts inside (a list's bar in the modal
// region must).
rect_t bar_span(const bar_t* bar, f64 a0, f64 a1) {
    const rect_t& r = bar->rect;
    rect_t span = bar->vertical ? rect_t{r.x0, (f32)(r.y1 - a1), r.x1, (f32)(r.y1 - a0)}
                                : rect_t{(f32)(r.x0 + a0), r.y0, (f32)(r.x0 + a1), r.y1};
    return rect_intersect(span, r);
}

f64 bar_along(const bar_t* bar, const f32* mouse) {
    return bar->vertical ? (f64)bar->rect.y1 - mouse[1] : (f64)mouse[0] - bar->rect.x0;
}

rect_t first_rect(const bar_t* bar) { return bar_span(bar, 0, ui_scroll_bar_thickness); }
rect_t second_rect(const bar_t* bar) { return bar_span(bar, bar->length - ui_scroll_bar_thickness, bar->length); }
rect_t thumb_rect(const bar_t* bar) {
    f64 a0 = ui_scroll_bar_thickness + bar->thumb_offset;
    return bar_span(bar, a0, a0 + bar->thumb);
}

bool too_small(rect_t rect) {
    return rect_width(rect) < ui_scroll_bar_thickness || rect_height(rect) < ui_scroll_bar_thickness;
}

// Hot for a part, and on a press the part takes active and the bar becomes an owner.
void part_claim(ui_t* ui, pair_t id, pair_t part, bool pressed) {
    ui_hot_take_group(ui, part);
    if (pressed && ui_is_hot(ui, part) && ui_active_take_group(ui, part, ui_kind_scroll_part)) ui_owner_add(ui, id);
}

void part_let_go(ui_t* ui, pair_t id) {
    ui_active_to_parent(ui, id);
    ui_owner_remove(ui, id);
}

// An arrow held down steps at once, again after the delay, then at each interval.
bool arrow_repeat_due(ui_t* ui, ui_widget_state_t* state, bool pressed_now) {
    i64 now = (i64)ui->input.ticks;
    if (pressed_now) {
        state->bar.last_repeat = now;
        state->bar.repeat_wait = ui->repeat_delay;
    }
    f64 elapsed = (f64)(now - state->bar.last_repeat) / (f64)ui->counter_frequency;
    if (!(elapsed == 0 || elapsed > state->bar.repeat_wait)) return false;
    if (state->bar.last_repeat != now) state->bar.repeat_wait = ui->repeat_interval;
    state->bar.last_repeat = now;
    return true;
}

f64 bar_logic(ui_t* ui, pair_t id, bar_t* bar, f64 view, f64 step, ui_widget_state_t* state) {
    bool pressed = input_pressed(&ui->input, key_mouse_left);
    bool released = input_released(&ui->input, key_mouse_left);
    f64 value = bar->offset;
    if (ui_hit_test(ui, bar->first, first_rect(bar))) {
        part_claim(ui, id, bar->first, pressed);
        if (released) part_let_go(ui, id);
        if (ui_is_active(ui, bar->first) && arrow_repeat_due(ui, state, pressed)) {
            value = step_down(value, step, bar->range, 1);
        }
    } else if (ui_hit_test(ui, bar->second, second_rect(bar))) {
        part_claim(ui, id, bar->second, pressed);
        if (released) part_let_go(ui, id);
        if (ui_is_active(ui, bar->second) && arrow_repeat_due(ui, state, pressed)) {
            value = step_up(value, view, step, bar->range, 1);
        }
    } else if (ui_hit_test(ui, bar->thumb_id, thumb_rect(bar))) {
        part_claim(ui, id, bar->thumb_id, pressed);
        if (released) part_let_go(ui, id);
    } else if (ui_hit_test(ui, bar->track_id, bar->rect)) {
        part_claim(ui, id, bar->track_id, pressed);
        if (released) part_let_go(ui, id);
        if (ui_is_active(ui, bar->track_id)) {
            // A page per frame towards the mouse, until the thumb comes under it.
            f64 along = bar_along(bar, ui->mouse);
            f64 direction = along >= ui_scroll_bar_thickness + bar->thumb_offset + bar->thumb ? 1 : -1;
            value = min_of(max_of(value + view * direction, 0.0), bar->range);
        }
    }
    // Not in the press frame: the mouse may have come from anywhere (a click that
    // focuses the window), and the thumb would jump by that distance.
    if (ui_is_active(ui, bar->thumb_id) && !pressed) {
        f64 along = bar_along(bar, ui->mouse);
        f64 d = along - bar_along(bar, ui->previous_mouse);
        // Only while the mouse is between the arrows, so the thumb doesn't run away
        // from a mouse that went past the bar's end.
        bool counts = (d > 0 && along > ui_scroll_bar_thickness) ||
                      (d < 0 && along < bar->length - ui_scroll_bar_thickness);
        if (counts && bar->track > 0) value = min_of(max_of(value + d * (bar->range / bar->track), 0.0), bar->range);
    }
    if (released && pair_starts_with(ui->active, id)) part_let_go(ui, id);
    return value;
}

u32 part_state(const ui_t* ui, pair_t part) {
    if (ui_is_active(ui, part)) return ui_state_active;
    return ui_is_hot(ui, part) ? ui_state_hot : ui_state_normal;
}

void part_render(ui_t* ui, ui_layer_t layer, pair_t part, rect_t rect, i32 icon, bool turned) {
    const ui_style_t* style = &ui_theme.scroll_button;
    u32 state = part_state(ui, part);
    rect_t inner = ui_draw_frame(layer, style, state, rect);
    if (icon < 0) return;
    colour_t colour = style->frame[state == ui_state_active ? ui_state_normal : state];
    ui_draw_icon(ui, layer, (u32)icon, inner, colour, turned);
}

void bar_render(ui_t* ui, pair_t id, const bar_t* bar) {
    ui_layer_t layer = ui_layer(ui, id);
    ui_draw_rect(layer, bar->rect, ui_theme.scroll_track.fill[ui_state_normal]);
    u32 icon = bar->vertical ? icon_chevron_up_10 : icon_chevron_left_10;
    part_render(ui, layer, bar->first, first_rect(bar), (i32)icon, false);
    part_render(ui, layer, bar->second, second_rect(bar), (i32)icon, true);
    f64 a0 = round_half_away((f32)(ui_scroll_bar_thickness + bar->thumb_offset));
    f64 size = round_half_away((f32)bar->thumb);
    part_render(ui, layer, bar->thumb_id, bar_span(bar, a0, a0 + size), -1, false);
}

f64 scroll_bar(ui_t* ui, pair_t id, rect_t rect, bool vertical, f64 view, f64 content, f64* offset, f64 step) {
    if (!ui_dispatch_begin(ui, rect) || too_small(rect)) return 0;
    f64 before = *offset;
    bar_t bar = bar_make(id, rect, vertical, view, content, *offset);
    ui_widget_state_t* state = ui_widget_state(ui, id);
    u32 saved;
    if (ui_half_begin(ui, ui_mode_logic, &saved) && state) {
        *offset = bar_logic(ui, id, &bar, view, step, state);
        bar = bar_make(id, rect, vertical, view, content, *offset);
    }
    ui_half_end(ui, saved);
    if (ui_half_begin(ui, ui_mode_render, &saved)) {
        if (state) {
            bar_render(ui, id, &bar);
        } else {
            ui_draw_rect(ui_layer(ui, id), rect, ui_theme.scroll_track.fill[ui_state_normal]);
        }
    }
    ui_half_end(ui, saved);
    return *offset - before;
}

}  // namespace

f64 ui_scroll_bar_vertical(ui_t* ui, pair_t id, rect_t rect, f64 view, f64 content, f64* offset, f64 step) {
    return scroll_bar(ui, id, rect, true, view, content, offset, step);
}

f32 ui_scroll_bar_vertical(ui_t* ui, pair_t id, rect_t rect, f32 view, f32 content, f32* offset, f32 step) {
    f64 value = *offset;
    f64 change = scroll_bar(ui, id, rect, true, view, content, &value, step);
    *offset = (f32)value;
    return (f32)change;
}

f32 ui_scroll_bar_horizontal(ui_t* ui, pair_t id, rect_t rect, f32 view, f32 content, f32* offset, f32 step) {
    f64 value = *offset;
    f64 change = scroll_bar(ui, id, rect, false, view, content, &value, step);
    *offset = (f32)value;
    return (f32)change;
}

f32 ui_scroll_wheel(ui_t* ui, pair_t id, f32 view, f32 content, f32 step, f32 lines, f32* offset) {
    if (ui->mode != ui_mode_logic || !pair_equal(ui->active, id)) return 0;
    f32 wheel = ui->input.wheel;
    if (wheel == 0 || !rect_contains(ui->clip, ui->mouse[0], ui->mouse[1])) return 0;
    f64 range = max_of(0.0f, content - view);
    f32 before = *offset;
    if (wheel > 0) {
        *offset = (f32)step_down(*offset, step, range, lines);
    } else {
        *offset = (f32)step_up(*offset, view, step, range, lines);
    }
    return *offset - before;
}
