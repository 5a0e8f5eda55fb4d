// Drop-down and list box. The drop-down's list is its part: id + (-1), drawn on the
// overlay and made the modal region while open, so that it works outside the panel's
// clip and shields what lies under it. Rows are the list's parts (id + row + 1), its
// scroll bar id + (-2).
#include "ui/ui_list.h"

#include <cmath>

#include "ui/ui_scroll_bar.h"

f32 ui_list_row_height(const ui_t* ui, u32 font) {
    const ui_style_t* row = &ui_theme.list_row;
    return ceilf(font_line_height(ui_font(ui, font), 0)) + row->padding[0] + row->padding[1];
}

layout_size_t ui_list_size(const ui_t* ui, u32 font, f32 width, u64 count) {
    const ui_style_t* field = &ui_theme.list_field;
    f32 frame = field->margin[0] + field->margin[1] + field->padding[0] + field->padding[1];
    return layout_size_t{width, frame + (f32)count * ui_list_row_height(ui, font)};
}

namespace {

constexpr i64 list_part = -1;
constexpr i64 list_bar_part = -2;

// Where the rows of a list go, and how they scroll.
struct list_geometry_t {
    rect_t rect;
    rect_t rows;  // the area the rows show in, left of the bar
    rect_t bar;
    bool has_bar;
    f64 row_height;
    f64 view, content, range;
};

list_geometry_t list_geometry(const ui_t* ui, rect_t rect, u64 count, u32 font) {
    const ui_style_t* field = &ui_theme.list_field;
    list_geometry_t g = {};
    g.rect = rect;
    rect_t fill = rect_shrink(rect, field->margin);
    g.rows = rect_shrink(fill, field->padding);
    g.row_height = ui_list_row_height(ui, font);
    g.view = max_of(0.0f, rect_height(g.rows));
    g.content = (f64)count * g.row_height;
    g.range = max_of(0.0, g.content - g.view);
    g.has_bar = g.content > g.view;
    if (g.has_bar) {
        g.bar = rect_t{fill.x1 - ui_scroll_bar_thickness, fill.y0, fill.x1, fill.y1};
        g.rows.x1 = min_of(g.rows.x1, g.bar.x0);
    }
    return g;
}

// Row `row`'s rectangle, cut to the rows' area (zero when out of sight).
rect_t row_rect(const list_geometry_t* g, u64 row, f64 scroll) {
    f64 top = g->rows.y1 + scroll - (f64)row * g->row_height;
    rect_t r = {g->rows.x0, (f32)(top - g->row_height), g->rows.x1, (f32)top};
    return rect_intersect(r, g->rows);
}

pair_t row_id(pair_t list, u64 row) { return pair_push(list, (i64)row + 1); }

// The row that an id under the list names, or `count` for anything else.
u64 row_of(pair_t list, pair_t id, u64 count) {
    if (!pair_is_child(list, id)) return count;
    u64 row = pair_last(id) - 1;
    return row < count ? row : count;
}

void keep_in_view(const list_geometry_t* g, u64 row, f64* scroll) {
    f64 top = (f64)row * g->row_height;
    if (top < *scroll) *scroll = top;
    if (top + g->row_height > *scroll + g->view) *scroll = top + g->row_height - g->view;
    *scroll = min_of(max_of(*scroll, 0.0), g->range);
}

bool list_is_modal(const ui_t* ui, pair_t list) { return ui->modal_on && pair_equal(ui->modal_id, list); }

void list_close(ui_t* ui, pair_t list) {
    ui_active_clear(ui);
    if (list_is_modal(ui, list)) ui_modal_end(ui);
}

// The list's logic. `record` keeps the scroll and the keyboard's row; `opened` is the
// first frame of a drop-down's list; `press_on_field` the press that opened it,
// which chooses nothing. 1 when a row was chosen.
u32 list_logic(ui_t* ui, pair_t list, const list_geometry_t* g, u64 count, u64* selected, ui_widget_state_t* record,
               bool opened, bool press_on_field, bool keyboard) {
    const input_frame_t* input = &ui->input;
    f64* scroll = &record->list.scroll;
    u64 highlight = row_of(list, record->list.highlight, count);
    if (opened) {
        // The chosen row in the middle of the view.
        f64 half = floor(g->view / g->row_height / 2);
        u64 row = *selected < count ? *selected : 0;
        *scroll = min_of(max_of(((f64)row - half) * g->row_height, 0.0), g->range);
        highlight = *selected < count ? *selected : count;
    }
    *scroll = min_of(*scroll, g->range);

    if (input->wheel != 0 && rect_contains(g->rect, ui->mouse[0], ui->mouse[1])) {
        *scroll = input->wheel > 0 ? step_down(*scroll, g->row_height, g->range, 3)
                                   : step_up(*scroll, g->view, g->row_height, g->range, 3);
    }
    pair_t bar = pair_push(list, list_bar_part);
    if (g->has_bar) ui_scroll_bar_vertical(ui, bar, g->bar, g->view, g->content, scroll, g->row_height);

    u32 chosen = 0;
    if (keyboard && count > 0) {
        if (input_pressed_or_repeated(input, key_down)) {
            highlight = highlight < count ? min_of(highlight + 1, count - 1) : 0;
            keep_in_view(g, highlight, scroll);
        } else if (input_pressed_or_repeated(input, key_up)) {
            highlight = highlight < count && highlight > 0 ? highlight - 1 : 0;
            keep_in_view(g, highlight, scroll);
        } else if (input_pressed(input, key_return) && highlight < count) {
            *selected = highlight;
            chosen = 1;
        }
    }
    record->list.highlight = highlight < count ? row_id(list, highlight) : pair_t{};

    bool pressed = input_pressed(input, key_mouse_left);
    bool released = input_released(input, key_mouse_left);
    if (!press_on_field && !chosen) {
        for (u64 row = (u64)(*scroll / g->row_height); row < count; row++) {
            rect_t r = row_rect(g, row, *scroll);
            if (r.y1 <= r.y0) break;
            pair_t id = row_id(list, row);
            if (!ui_hit_test(ui, id, r)) continue;
            ui_hot_take_sibling(ui, id);
            if (pressed) ui_active_take_sibling(ui, id, ui_kind_list_box);
            // The release chooses the row it happens on.
            if (released && pair_is_sibling(ui->active, id) && pair_is_child(list, ui->active)) {
                ui_active_force(ui, id, ui_kind_list_box);
            }
            break;
        }
        bool bar_in_use = pair_starts_with(ui->active, bar);
        if (released && !bar_in_use) {
            u64 row = row_of(list, ui->active, count);
            if (row < count) {
                *selected = row;
                chosen = 1;
            }
        }
    }
    return chosen;
}

void list_render(ui_t* ui, pair_t list, const list_geometry_t* g, const data_t* items, u64 count, u32 font,
                 const ui_widget_state_t* record) {
    ui_layer_t layer = ui_layer(ui, list);
    const ui_style_t* field = &ui_theme.list_field;
    const ui_style_t* row_style = &ui_theme.list_row;
    ui_draw_frame(layer, field, ui_state_normal, g->rect);
    f64 scroll = record->list.scroll;
    const font_t* face = ui_font(ui, font);
    // Rows cut at the top and bottom show only what lies inside.
    ui_text_scissor(layer, g->rows);
    for (u64 row = (u64)(scroll / g->row_height); row < count; row++) {
        rect_t r = row_rect(g, row, scroll);
        if (r.y1 <= r.y0) break;
        pair_t id = row_id(list, row);
        bool lit = ui_is_hot(ui, id) || pair_equal(record->list.highlight, id);
        u32 state = lit ? ui_state_hot : ui_state_normal;
        ui_draw_rect(layer, r, row_style->fill[state]);
        f64 top = g->rows.y1 + scroll - (f64)row * g->row_height;
        f32 x = r.x0 + row_style->padding[2];
        f32 room = r.x1 - row_style->padding[3] - x;
        f32 width = 0;
        data_t text = ui_fit_text(ui, face, items[row], room, &width);
        f32 y = (f32)(top - g->row_height + row_style->padding[1]) + font_baseline(face);
        ui_draw_text(layer, text, x, y, 1, font, row_style->text[state]);
    }
    ui_text_scissor_restore(ui, layer);
    if (g->has_bar) {
        f64 offset = scroll;
        ui_scroll_bar_vertical(ui, pair_push(list, list_bar_part), g->bar, g->view, g->content, &offset,
                               g->row_height);
    }
}

// Below the field when the list fits there, else on the side with more room.
rect_t drop_down_list_rect(const ui_t* ui, rect_t field, u64 count, u32 font) {
    f32 height = ui_list_size(ui, font, rect_width(field), count).height;
    rect_t below = rect_intersect(rect_t{field.x0, field.y0 - 1 - height, field.x1, field.y0 - 1}, ui->screen);
    if (rect_height(below) >= height) return below;
    rect_t above = rect_intersect(rect_t{field.x0, field.y1 + 1, field.x1, field.y1 + 1 + height}, ui->screen);
    rect_t chosen = rect_height(above) > rect_height(below) ? above : below;
    // Whole rows of pixels, as every widget rectangle.
    return rect_t{floorf(chosen.x0), ceilf(chosen.y0), floorf(chosen.x1), floorf(chosen.y1)};
}

void drop_down_logic(ui_t* ui, pair_t id, rect_t rect, const data_t* items, u64 count, u64* selected, u32 font,
                     ui_widget_state_t* field_record, ui_widget_state_t* list_record) {
    pair_t list = pair_push(id, list_part);
    bool pressed = input_pressed(&ui->input, key_mouse_left);
    if (ui_hit_test(ui, id, rect)) ui_hot_take_group(ui, id);
    // Another widget holding the mouse keeps it, even one of the same group.
    bool taken = ui_any_active(ui) && !ui_kind_is_weak(ui->active_kind) && !pair_starts_with(ui->active, id);
    if (ui_is_hot(ui, id) && pressed && !taken) {
        if (ui_active_transfer(ui, id, ui_kind_drop_down)) {
            field_record->list.opened_now = 0;
            field_record->list.press_on_field = 1;
        } else if (list_is_modal(ui, list)) {
            ui_modal_end(ui);
        }
    }
    if (pair_starts_with(ui->active, id)) {
        rect_t list_rect = drop_down_list_rect(ui, rect, count, font);
        bool on_list = rect_contains(list_rect, ui->mouse[0], ui->mouse[1]);
        bool on_field = rect_contains(rect, ui->mouse[0], ui->mouse[1]);
        if (pressed && !on_list && !on_field) {
            list_close(ui, list);
        } else {
            ui_modal_begin(ui, list, list_rect);
            list_geometry_t g = list_geometry(ui, list_rect, count, font);
            bool opened = !field_record->list.opened_now;
            field_record->list.opened_now = 1;
            if (list_logic(ui, list, &g, count, selected, list_record, opened, field_record->list.press_on_field,
                           true)) {
                list_close(ui, list);
            }
        }
    }
    if (input_released(&ui->input, key_mouse_left)) field_record->list.press_on_field = 0;
}

void drop_down_render(ui_t* ui, pair_t id, rect_t rect, const data_t* items, u64 count, const u64* selected,
                      u32 font, ui_widget_state_t* list_record) {
    const ui_style_t* style = &ui_theme.list_field;
    ui_layer_t layer = ui_layer(ui, id);
    bool open = pair_starts_with(ui->active, id);
    rect_t inner = ui_draw_frame(layer, style, ui_style_state(ui, id), rect);
    f32 arrow_width = min_of(rect_height(inner), rect_width(inner));
    rect_t arrow = {inner.x1 - arrow_width, inner.y0, inner.x1, inner.y1};
    u32 icon = arrow_width == 16 ? icon_chevron_up_14 : icon_chevron_up_10;
    // The chevron points down while closed, up while open.
    ui_draw_icon(ui, layer, icon, arrow, style->text[ui_state_normal], !open);
    if (*selected < count && layer.draw) {
        const font_t* face = ui_font(ui, font);
        f32 width = 0;
        data_t text = ui_fit_text(ui, face, items[*selected], arrow.x0 - inner.x0, &width);
        f32 y = (inner.y0 + inner.y1) / 2 - face->size / 2 + font_baseline(face);
        ui_draw_text(layer, text, inner.x0, y, 1, font, style->text[ui_state_normal]);
    }
    if (open && list_record && list_is_modal(ui, pair_push(id, list_part))) {
        pair_t list = pair_push(id, list_part);
        list_geometry_t g = list_geometry(ui, ui->modal_rect, count, font);
        list_render(ui, list, &g, items, count, font, list_record);
    }
}

}  // namespace

void ui_drop_down(ui_t* ui, pair_t id, rect_t rect, const data_t* items, u64 count, u64* selected, u32 font) {
    if (!ui_dispatch_begin(ui, rect)) return;
    ui_widget_state_t* field_record = ui_widget_state(ui, id);
    ui_widget_state_t* list_record = field_record ? ui_widget_state(ui, pair_push(id, list_part)) : nullptr;
    u32 saved;
    if (ui_half_begin(ui, ui_mode_logic, &saved) && list_record) {
        drop_down_logic(ui, id, rect, items, count, selected, font, field_record, list_record);
    }
    ui_half_end(ui, saved);
    if (ui_half_begin(ui, ui_mode_render, &saved)) {
        if (list_record) {
            drop_down_render(ui, id, rect, items, count, selected, font, list_record);
        } else {
            ui_draw_frame(ui_layer(ui, id), &ui_theme.list_field, ui_state_normal, rect);
        }
    }
    ui_half_end(ui, saved);
}

u32 ui_list_box(ui_t* ui, pair_t id, rect_t rect, const data_t* items, u64 count, u64* selected, u32 font) {
    if (!ui_dispatch_begin(ui, rect)) return 0;
    ui_widget_state_t* record = ui_widget_state(ui, id);
    list_geometry_t g = list_geometry(ui, rect, count, font);
    u32 result = 0, saved;
    if (ui_half_begin(ui, ui_mode_logic, &saved) && record) {
        bool keyboard = pair_starts_with(ui->active, id);
        result = list_logic(ui, id, &g, count, selected, record, false, false, keyboard);
        if (result) {
            list_close(ui, id);
        } else if (ui_is_active(ui, id) && !input_down(&ui->input, key_mouse_left)) {
            // The bar gave the mouse back to the list, which has no use for it.
            ui_active_clear(ui);
        }
    }
    ui_half_end(ui, saved);
    if (ui_half_begin(ui, ui_mode_render, &saved)) {
        if (record) {
            list_render(ui, id, &g, items, count, font, record);
        } else {
            ui_draw_frame(ui_layer(ui, id), &ui_theme.list_field, ui_state_normal, rect);
        }
    }
    ui_half_end(ui, saved);
    return result;
}
