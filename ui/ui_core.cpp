// Ids, claims, the hit test, per-widget records and the frame's protocol.
#include "ui/ui_core.h"

#include <cmath>

#include "base/log.h"
#include "base/text.h"
#include "layout/layout.h"
#include "platform/os.h"
#include "ui/ui_scroll_bar.h"

// Ids.

u32 pair_length(pair_t pair) {
    u32 length = 0;
    while (length < 4 && pair.parts[length] != 0) length += 1;
    return length;
}

pair_t pair_push(pair_t pair, i64 component) {
    u32 length = pair_length(pair);
    ASSERT(length > 0 && length < 4 && component != 0);
    pair.parts[length] = (u64)component;
    return pair;
}

bool pair_starts_with(pair_t a, pair_t b) {
    u32 length = pair_length(b);
    if (length == 0) return false;
    for (u32 i = 0; i < length; i++) {
        if (a.parts[i] != b.parts[i]) return false;
    }
    return true;
}

pair_t pair_parent(pair_t pair) {
    u32 length = pair_length(pair);
    if (length > 0) pair.parts[length - 1] = 0;
    return pair;
}

u64 pair_last(pair_t pair) {
    u32 length = pair_length(pair);
    return length ? pair.parts[length - 1] : 0;
}

pair_t pair_first(pair_t pair) { return pair_from_value(pair.parts[0]); }

bool pair_is_child(pair_t a, pair_t b) {
    u32 length = pair_length(a);
    return length > 0 && pair_length(b) == length + 1 && pair_starts_with(b, a);
}

bool pair_is_sibling(pair_t a, pair_t b) {
    u32 length = pair_length(a);
    if (length == 0 || pair_length(b) != length) return false;
    for (u32 i = 0; i + 1 < length; i++) {
        if (a.parts[i] != b.parts[i]) return false;
    }
    return true;
}

// The record.

void ui_create(ui_t* ui, data_t memory, window_t* window) {
    *ui = ui_t{};
    ui_theme_init();
    ui->icon_atlas = icon_atlas_create();
    ui->window = window;
    ui->widget_memory = memory;
    ui->widget_memory.used = 0;
    ui->widget_states = (ui_widget_state_t*)(memory.bytes + align_padding((u64)(uintptr_t)memory.bytes, 8));
    ui->frame_memory = data_allocate(ui_frame_memory_size);
    ui->memory = &ui->frame_memory;
    ui->counter_frequency = (i64)os_tick_frequency();
    ui->repeat_delay = 0.5f;
    ui->repeat_interval = 0.1f;
    if (window) {
        window_input_frame(window, &ui->input);
        ui->mouse[0] = (f32)ui->input.mouse_x;
        ui->mouse[1] = (f32)ui->input.mouse_y;
    }
    ui->previous_mouse[0] = ui->mouse[0];
    ui->previous_mouse[1] = ui->mouse[1];
}

void ui_bind_draw(ui_t* ui, draw_t* draw) {
    ui->draw = draw;
    ui->fonts = draw->fonts;
}

static bool held_while_pressed(const ui_t* ui) {
    if (ui->active_kind == ui_kind_button || ui->active_kind == ui_kind_check_box) return true;
    i64 part = (i64)pair_last(ui->active);
    return ui->active_kind == ui_kind_scroll_part && part <= ui_scroll_first_arrow && part >= ui_scroll_track;
}

void ui_frame_begin(ui_t* ui, const input_frame_t* input) {
    data_clear(ui->memory);
    ui->input = *input;
    ui->previous_mouse[0] = ui->mouse[0];
    ui->previous_mouse[1] = ui->mouse[1];
    ui->mouse[0] = (f32)input->mouse_x;
    ui->mouse[1] = (f32)input->mouse_y;
    ui->screen = rect_t{0, 0, (f32)input->width, (f32)input->height};
    ui->clip = ui->screen;
    ui->mode = ui_mode_both;
    ui->hot = pair_t{};
    // An open list whose widget went unseen for a frame (a key showed another panel)
    // would shield its rectangle and keep the mouse for good: it is closed.
    if (ui->modal_on && !ui->modal_seen) {
        if (pair_starts_with(ui->active, pair_parent(ui->modal_id))) ui_active_clear(ui);
        ui_modal_end(ui);
    }
    ui->modal_seen = 0;
    // A button or a part of a scroll bar holds the mouse only while it is down, and
    // lets go at the release it sees. One that missed its release (a key showed
    // another panel while it was pressed) would keep the mouse from every other
    // widget: it lets go here, as it would have.
    if (held_while_pressed(ui) && !input_down(input, key_mouse_left) && !input_released(input, key_mouse_left)) {
        if (ui->active_kind == ui_kind_scroll_part) {
            ui_active_to_parent(ui, pair_parent(ui->active));
        } else {
            ui_active_clear(ui);
        }
    }
    ui->previous_active = ui->active;
    ui->previous_active_kind = ui->active_kind;
    if (ui->draw) draw_clip(ui->draw, draw_layer_overlay, nullptr);
    ui->cursor = ui_cursor_arrow;
    ui->owner_count = 0;
}

void ui_apply_cursor(ui_t* ui) {
    rect_t client = {0, 0, (f32)ui->input.width, (f32)ui->input.height};
    if (ui->window && rect_contains(client, ui->mouse[0], ui->mouse[1])) window_apply_cursor(ui->window, ui->cursor);
}

void ui_set_clip(ui_t* ui, rect_t rect) {
    // Each pass of a layout sets its clip again; the batches need it once.
    if (rect_equal(rect, ui->clip)) return;
    ui->clip = rect;
    if (ui->draw) draw_clip(ui->draw, draw_layer_normal, &rect);
}

void ui_set_mode(ui_t* ui, u32 mode) {
    ASSERT(mode <= ui_mode_none);
    ui->mode = mode;
}

u32 ui_mode_from_layout(const layout_t* layout) {
    if (layout->state == layout_state_logic) return ui_mode_logic;
    if (layout->state == layout_state_draw) return ui_mode_render;
    return ui_mode_none;
}

ui_widget_state_t* ui_widget_state(ui_t* ui, pair_t id) {
    ASSERT(!pair_is_empty(id));
    ui_widget_state_t* free_record = nullptr;
    for (u64 i = 0; i < ui->widget_state_count; i++) {
        ui_widget_state_t* record = &ui->widget_states[i];
        if (pair_equal(record->id, id)) return record;
        if (!free_record && pair_is_empty(record->id)) free_record = record;
    }
    if (free_record) {
        *free_record = ui_widget_state_t{};
        free_record->id = id;
        return free_record;
    }
    u8* end = (u8*)(ui->widget_states + ui->widget_state_count + 1);
    if (end > ui->widget_memory.bytes + ui->widget_memory.reserved) {
        if (!ui->widget_memory_full_reported) {
            ui->widget_memory_full_reported = 1;
            log_write_c_string(log_main, "Widget memory is full: widgets without a record do nothing.\n");
        }
        return nullptr;
    }
    ui_widget_state_t* record = &ui->widget_states[ui->widget_state_count];
    ui->widget_state_count += 1;
    ui->widget_memory.used = (u64)(end - ui->widget_memory.bytes);
    *record = ui_widget_state_t{};
    record->id = id;
    return record;
}

// Queries.

bool ui_is_active(const ui_t* ui, pair_t id) { return pair_equal(ui->active, id); }
bool ui_any_active(const ui_t* ui) { return !pair_is_empty(ui->active); }
bool ui_is_hot(const ui_t* ui, pair_t id) { return pair_equal(ui->hot, id); }
bool ui_became_active(const ui_t* ui, pair_t id) {
    return pair_starts_with(ui->active, id) && !pair_starts_with(ui->previous_active, id);
}

// Claims. A widget on the path of `active` (the active widget itself, a widget that
// contains it, or one of its parts) is free to claim; the sibling and group forms
// widen that to the rows of one list and to the parts of one compound widget.

enum claim_form_t : u32 {
    claim_plain,
    claim_sibling,
    claim_group,
};

static bool claim_is_free(const ui_t* ui, pair_t id, claim_form_t form) {
    if (pair_is_empty(ui->active)) return true;
    if (pair_starts_with(ui->active, id) || pair_starts_with(id, ui->active)) return true;
    if (form == claim_sibling) return pair_is_sibling(id, ui->active);
    if (form == claim_group) return pair_starts_with(id, pair_first(ui->active));
    return false;
}

// A weak holder lets others claim over it, also in the frame in which it let go
// because of the very press that another widget takes: a click on a button right
// after typing works whichever of the two is called first.
static bool active_is_weak(const ui_t* ui) {
    if (ui_kind_is_weak(ui->active_kind)) return true;
    return pair_is_empty(ui->active) && ui_kind_is_weak(ui->previous_active_kind);
}

static u32 hot_take(ui_t* ui, pair_t id, claim_form_t form) {
    ASSERT(!pair_is_empty(id));
    bool weak = active_is_weak(ui);
    // Nothing changed hands this frame: no widget claims hot in the frame in which
    // active was released.
    bool steady = pair_is_empty(ui->previous_active) || pair_equal(ui->previous_active, ui->active);
    if (weak || (steady && claim_is_free(ui, id, form))) {
        ui->hot = id;
        return 1;
    }
    return 0;
}

u32 ui_hot_take(ui_t* ui, pair_t id) { return hot_take(ui, id, claim_plain); }
u32 ui_hot_take_sibling(ui_t* ui, pair_t id) { return hot_take(ui, id, claim_sibling); }
u32 ui_hot_take_group(ui_t* ui, pair_t id) { return hot_take(ui, id, claim_group); }

static u32 active_take(ui_t* ui, pair_t id, u32 kind, claim_form_t form) {
    ASSERT(!pair_is_empty(id));
    if (!pair_equal(ui->hot, id)) return 0;
    // Hot was earned against the same `active`, so a claim that isn't free here is a
    // fault of the calling widget.
    ASSERT(active_is_weak(ui) || claim_is_free(ui, id, form));
    ui->active = id;
    ui->active_kind = kind;
    return 1;
}

u32 ui_active_take(ui_t* ui, pair_t id, u32 kind) { return active_take(ui, id, kind, claim_plain); }
u32 ui_active_take_sibling(ui_t* ui, pair_t id, u32 kind) { return active_take(ui, id, kind, claim_sibling); }
u32 ui_active_take_group(ui_t* ui, pair_t id, u32 kind) { return active_take(ui, id, kind, claim_group); }

u32 ui_active_transfer(ui_t* ui, pair_t id, u32 kind) {
    ASSERT(kind >= 1 && kind <= ui_kind_last);
    if (pair_starts_with(ui->active, id)) {
        ui_active_clear(ui);
        return 0;
    }
    if (!ui_kind_is_weak(ui->active_kind)) ASSERT(pair_is_empty(ui->active));
    ASSERT(pair_equal(ui->hot, id));
    ui->active = id;
    ui->active_kind = kind;
    return 1;
}

void ui_active_force(ui_t* ui, pair_t id, u32 kind) {
    ui->active = id;
    ui->active_kind = pair_is_empty(id) ? ui_kind_none : kind;
}

void ui_hot_force(ui_t* ui, pair_t id) { ui->hot = id; }

void ui_active_clear(ui_t* ui) {
    ui->active = pair_t{};
    ui->active_kind = ui_kind_none;
}

void ui_active_to_parent(ui_t* ui, pair_t id) {
    if (!pair_starts_with(ui->active, id)) return;
    ui->active = pair_parent(id);
    if (pair_is_empty(ui->active)) ui->active_kind = ui_kind_none;
}

// Hit test and modal region.

bool ui_modal_contains(const ui_t* ui, pair_t id) { return ui->modal_on && pair_starts_with(id, ui->modal_id); }

bool ui_hit_test(const ui_t* ui, pair_t id, rect_t rect, const f32* mouse) {
    f32 x = mouse[0], y = mouse[1];
    // The modal region's own parts escape the clip; everything else is shielded by it.
    if (ui_modal_contains(ui, id)) {
        ASSERT(rect.x0 >= ui->modal_rect.x0 && rect.y0 >= ui->modal_rect.y0 && rect.x1 <= ui->modal_rect.x1 &&
               rect.y1 <= ui->modal_rect.y1);
        return rect_contains(rect, x, y);
    }
    if (!rect_contains(rect_intersect(rect, ui->clip), x, y)) return false;
    if (ui->modal_on && rect_contains(ui->modal_rect, x, y)) return false;
    return true;
}

void ui_modal_begin(ui_t* ui, pair_t id, rect_t rect) {
    ASSERT(!ui->modal_on || pair_equal(ui->modal_id, id));
    ui->modal_on = 1;
    ui->modal_seen = 1;
    ui->modal_id = id;
    ui->modal_rect = rect;
}

void ui_modal_end(ui_t* ui) {
    ASSERT(ui->modal_on);
    ui->modal_on = 0;
    ui->modal_id = pair_t{};
    ui->modal_rect = rect_t{};
}

void ui_owner_add(ui_t* ui, pair_t id) {
    for (u64 i = 0; i < ui->owner_count; i++) {
        if (pair_equal(ui->owners[i], id)) return;
    }
    if (ui->owner_count == ui_owner_capacity) return;
    ui->owners[ui->owner_count++] = id;
}

void ui_owner_remove(ui_t* ui, pair_t id) {
    for (u64 i = 0; i < ui->owner_count; i++) {
        if (pair_equal(ui->owners[i], id)) {
            ui->owners[i] = ui->owners[ui->owner_count - 1];
            ui->owner_count -= 1;
            return;
        }
    }
}

// Dispatch.

bool ui_dispatch_begin(const ui_t* ui, rect_t rect) {
    ASSERT(rect_is_whole(rect));
    return rect_overlaps(rect, ui->clip);
}

bool ui_half_begin(ui_t* ui, u32 half, u32* saved) {
    *saved = ui->mode;
    bool runs = ui->mode == ui_mode_both || ui->mode == half;
    if (runs) ui->mode = half;
    return runs;
}

// Drawing.

ui_layer_t ui_layer(const ui_t* ui, pair_t id) {
    return ui_layer_t{ui->draw, ui_modal_contains(ui, id) ? (u32)draw_layer_overlay : (u32)draw_layer_normal};
}

u32 ui_style_state(const ui_t* ui, pair_t id) {
    bool hot = ui_is_hot(ui, id);
    if (hot && pair_starts_with(ui->active, id)) return ui_state_active;
    return hot ? ui_state_hot : ui_state_normal;
}

draw_handle_t ui_draw_rect(ui_layer_t layer, rect_t rect, colour_t colour) {
    if (!layer.draw) return draw_handle_t{0, draw_handle_none};
    return draw_rect(layer.draw, layer.layer, rect, colour);
}

draw_handle_t ui_draw_text(ui_layer_t layer, data_t text, f32 x, f32 y, u32 trim_first, u32 font, colour_t colour) {
    if (!layer.draw || text.used == 0) return draw_handle_t{0, draw_handle_none};
    return draw_text(layer.draw, layer.layer, text.bytes, text.used, x, y, trim_first, font, colour);
}

void ui_draw_set_colour(ui_layer_t layer, draw_handle_t handle, colour_t colour) {
    if (layer.draw) draw_set_colour(layer.draw, handle, colour);
}

rect_t ui_draw_frame(ui_layer_t layer, const ui_style_t* style, u32 state, rect_t rect) {
    rect_t fill = rect_shrink(rect, style->margin);
    ui_draw_rect(layer, rect, style->frame[state]);
    ui_draw_rect(layer, fill, style->fill[state]);
    return rect_shrink(fill, style->padding);
}

void ui_draw_icon(const ui_t* ui, ui_layer_t layer, u32 icon, rect_t box, colour_t colour, bool turned) {
    const atlas_t* atlas = &ui->icon_atlas;
    if (!layer.draw || !atlas->pixels || icon >= icon_count) return;
    const f32* uv = atlas->images + 4 * icon;
    f32 w = roundf((uv[2] - uv[0]) * (f32)atlas->width), h = roundf((uv[3] - uv[1]) * (f32)atlas->height);
    f32 x = floorf(box.x0 + (rect_width(box) - w) / 2), y = floorf(box.y0 + (rect_height(box) - h) / 2);
    rect_t r = {x, y, x + w, y + h};
    // The masks are stored top row first, so upright means the texture's first row at
    // the quad's top.
    rect_t upright = {uv[0], uv[3], uv[2], uv[1]};
    rect_t upside_down = {uv[2], uv[1], uv[0], uv[3]};
    draw_icon(layer.draw, layer.layer, r, turned ? upside_down : upright, colour);
}

const font_t* ui_font(const ui_t* ui, u32 font) {
    ASSERT(ui->fonts && font < ui->fonts->font_count);
    return &ui->fonts->fonts[font];
}

data_t ui_fit_text(ui_t* ui, const font_t* font, data_t text, f32 width, f32* fitted_width) {
    data_t out = {};
    *fitted_width = 0;
    if (text.used == 0) return out;
    u64 room = text.used + 2;
    // The ellipsis is three bytes and replaces at least one character.
    if (ui->memory->used + room + 4 > ui->memory->reserved) return out;
    out = data_make(room + 4, 0, ui->memory->bytes + ui->memory->used);
    layout_size_t size = {};
    layout_fit_single_line(font, text, codepoint_invalid, width, &out, &size, 0);
    ui->memory->used += out.used;
    *fitted_width = size.width;
    return out;
}

void ui_text_scissor(ui_layer_t layer, rect_t rect) {
    if (layer.draw) draw_text_clip(layer.draw, layer.layer, &rect);
}

void ui_text_scissor_restore(const ui_t* ui, ui_layer_t layer) {
    if (layer.draw) draw_text_clip(layer.draw, layer.layer, layer.layer == draw_layer_overlay ? nullptr : &ui->clip);
}
