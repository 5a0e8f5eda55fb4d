// Button, check box and labelled check box: the logic is the click, the render a
// frame, a fill and a text or a tick.
#include "ui/ui_button.h"

u32 ui_click_logic(ui_t* ui, pair_t id, rect_t rect, u32 kind) {
    if (ui_hit_test(ui, id, rect)) ui_hot_take(ui, id);
    u32 clicked = 0;
    if (ui_is_active(ui, id)) {
        // A press that slid off fires nothing, but still lets go.
        if (input_released(&ui->input, key_mouse_left)) {
            clicked = ui_is_hot(ui, id) ? 1 : 0;
            ui_active_clear(ui);
        }
    } else if (ui_is_hot(ui, id) && input_pressed(&ui->input, key_mouse_left)) {
        ui_active_take(ui, id, kind);
    }
    return clicked;
}

// Text centred in `inner`, or from its left edge when it fills it.
static void text_centred(ui_t* ui, ui_layer_t layer, rect_t inner, data_t text, u32 font, colour_t colour) {
    if (!layer.draw || text.used == 0 || rect_width(inner) <= 0) return;
    const font_t* face = ui_font(ui, font);
    f32 width = 0;
    data_t fitted = ui_fit_text(ui, face, text, rect_width(inner), &width);
    if (fitted.used == 0) return;
    f32 x = width < rect_width(inner) ? inner.x0 + (rect_width(inner) - width) / 2 : inner.x0;
    f32 y = (inner.y0 + inner.y1) / 2 - face->size / 2 + font_baseline(face);
    ui_draw_text(layer, fitted, x, y, 1, font, colour);
}

static void button_render(ui_t* ui, pair_t id, rect_t rect, data_t text, u32 font) {
    const ui_style_t* style = &ui_theme.button;
    ui_layer_t layer = ui_layer(ui, id);
    rect_t inner = ui_draw_frame(layer, style, ui_style_state(ui, id), rect);
    text_centred(ui, layer, inner, text, font, style->text[ui_state_normal]);
}

u32 ui_button(ui_t* ui, pair_t id, rect_t rect, data_t text, u32 font) {
    if (!ui_dispatch_begin(ui, rect)) return 0;
    u32 result = 0, saved;
    if (ui_half_begin(ui, ui_mode_logic, &saved)) result = ui_click_logic(ui, id, rect, ui_kind_button);
    ui_half_end(ui, saved);
    if (ui_half_begin(ui, ui_mode_render, &saved)) button_render(ui, id, rect, text, font);
    ui_half_end(ui, saved);
    return result;
}

static void check_box_render(ui_t* ui, pair_t id, rect_t box, u32 value) {
    const ui_style_t* style = &ui_theme.check_box;
    ui_layer_t layer = ui_layer(ui, id);
    rect_t inner = ui_draw_frame(layer, style, ui_style_state(ui, id), box);
    if (value) {
        u32 icon = rect_width(inner) >= 12 ? icon_check_12 : icon_check_10;
        ui_draw_icon(ui, layer, icon, inner, style->text[ui_state_normal], false);
    }
}

static u32 check_box_logic(ui_t* ui, pair_t id, rect_t rect, u32* value) {
    if (!ui_click_logic(ui, id, rect, ui_kind_check_box)) return 0;
    *value = *value ? 0 : 1;
    return 1;
}

u32 ui_check_box(ui_t* ui, pair_t id, rect_t rect, u32* value) {
    if (!ui_dispatch_begin(ui, rect)) return 0;
    u32 result = 0, saved;
    if (ui_half_begin(ui, ui_mode_logic, &saved)) result = check_box_logic(ui, id, rect, value);
    ui_half_end(ui, saved);
    if (ui_half_begin(ui, ui_mode_render, &saved)) check_box_render(ui, id, rect, *value);
    ui_half_end(ui, saved);
    return result;
}

static void check_box_label_render(ui_t* ui, pair_t id, rect_t rect, u32 value, data_t text, u32 font) {
    f32 height = rect_height(rect);
    if (height <= 0 || rect_width(rect) <= 0) return;
    rect_t box = {rect.x0, rect.y0, min_of(rect.x0 + height, rect.x1), rect.y1};
    check_box_render(ui, id, box, value);
    f32 x = box.x1 + 4;
    f32 room = rect.x1 - x;
    ui_layer_t layer = ui_layer(ui, id);
    if (room <= 0 || text.used == 0 || !layer.draw) return;
    const font_t* face = ui_font(ui, font);
    f32 width = 0;
    data_t fitted = ui_fit_text(ui, face, text, room, &width);
    ui_draw_text(layer, fitted, x, rect.y0 + font_baseline(face), 1, font, ui_theme.check_box.text[ui_state_normal]);
}

u32 ui_check_box_label(ui_t* ui, pair_t id, rect_t rect, u32* value, data_t text, u32 font) {
    if (!ui_dispatch_begin(ui, rect)) return 0;
    u32 result = 0, saved;
    if (ui_half_begin(ui, ui_mode_logic, &saved)) result = check_box_logic(ui, id, rect, value);
    ui_half_end(ui, saved);
    if (ui_half_begin(ui, ui_mode_render, &saved)) check_box_label_render(ui, id, rect, *value, text, font);
    ui_half_end(ui, saved);
    return result;
}
