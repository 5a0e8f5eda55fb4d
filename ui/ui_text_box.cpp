// The one-line text box: caret moves, selection, typing, deletion and the clipboard
// in the logic half; the text, the selection and the caret in the render half.
#include "ui/ui_text_box.h"

#include <cmath>

#include "base/text.h"

u64 text_next_codepoint(const u8* text, u64 length, u64 offset) {
    if (offset >= length) return length;
    u32 codepoint = 0, size = 0;
    utf_error_t error = 0;
    utf8_decode(text + offset, text + length, &codepoint, &size, &error);
    // A bad byte is a character of its own.
    if (error || size == 0) size = 1;
    return min_of(offset + size, length);
}

u64 text_previous_codepoint(const u8* text, u64 length, u64 offset) {
    if (offset == 0) return 0;
    offset = min_of(offset, length);
    u64 start = offset - 1;
    while (start > 0 && offset - start < 4 && (text[start] & 0xC0) == 0x80) start -= 1;
    // Only a lead byte whose sequence ends exactly here makes one character.
    if (text_next_codepoint(text, length, start) == offset) return start;
    return offset - 1;
}

static bool space_at(const u8* text, u64 length, u64 offset) {
    return offset < length && char_is_space(text[offset]);
}

u64 text_previous_word(const u8* text, u64 length, u64 offset) {
    offset = min_of(offset, length);
    while (offset > 0 && space_at(text, length, text_previous_codepoint(text, length, offset))) {
        offset = text_previous_codepoint(text, length, offset);
    }
    while (offset > 0 && !space_at(text, length, text_previous_codepoint(text, length, offset))) {
        offset = text_previous_codepoint(text, length, offset);
    }
    return offset;
}

u64 text_next_word(const u8* text, u64 length, u64 offset) {
    while (offset < length && !space_at(text, length, offset)) offset = text_next_codepoint(text, length, offset);
    while (offset < length && space_at(text, length, offset)) offset = text_next_codepoint(text, length, offset);
    return min_of(offset, length);
}

namespace {

const colour_t selection_colour = {0.42f, 0.58f, 0.72f, 1};

struct box_t {
    ui_t* ui;
    pair_t id;
    rect_t rect, fill, inner;
    data_t* text;
    const font_t* face;
    u32 font;
    ui_widget_state_t* state;
};

u64 selection_start(const box_t* b) { return min_of(b->state->text_box.caret, b->state->text_box.anchor); }
u64 selection_end(const box_t* b) { return max_of(b->state->text_box.caret, b->state->text_box.anchor); }

// The x of a byte offset from the text's start.
f32 text_x(const box_t* b, u64 offset) {
    return layout_get_single_line_size(b->face, b->text->bytes, offset, codepoint_invalid).width;
}

u32 byte_at_mouse(const box_t* b) {
    f32 x = b->ui->mouse[0] - b->fill.x0 + b->state->text_box.scroll + 2;
    return (u32)layout_get_byte_at_position(b->face, b->text->bytes, b->text->used, x);
}

void place_caret(box_t* b, u64 offset, bool keep_anchor) {
    b->state->text_box.caret = (u32)offset;
    if (!keep_anchor) b->state->text_box.anchor = (u32)offset;
}

// Takes out [first, end) and closes the gap.
void bytes_remove(data_t* text, u64 first, u64 end) {
    if (end <= first) return;
    bytes_copy(text->bytes + first, text->bytes + end, text->used - end);
    text->used -= end - first;
}

// Opens a gap of `size` bytes at `at`; the caller checked the room.
void bytes_open(data_t* text, u64 at, u64 size) {
    bytes_copy_backward(text->bytes + at + size, text->bytes + at, text->used - at);
    text->used += size;
}

void edited(box_t* b) {
    b->state->text_box.edited = 1;
    b->state->text_box.edited_now = 1;
}

void selection_delete(box_t* b) {
    u64 first = selection_start(b);
    bytes_remove(b->text, first, selection_end(b));
    place_caret(b, first, false);
}

// After a deletion the text's end shouldn't leave empty room at the right while
// some of it lies scrolled out at the left.
void scroll_after_deletion(box_t* b) {
    f32 end = text_x(b, b->text->used) - b->state->text_box.scroll;
    f32 gap = rect_width(b->inner) - end;
    if (gap > 0) {
        b->state->text_box.scroll -= gap;
        b->state->text_box.scroll += 0.001f;
        if (b->state->text_box.scroll < 0) b->state->text_box.scroll = 0;
    }
}

void bytes_reverse(u8* first, u8* end) {
    while (first + 1 < end) {
        u8 t = *first;
        *first++ = *--end;
        *end = t;
    }
}

// The clipboard's text replaces the selection, line breaks turned to spaces, cut
// where the capacity ends.
void paste(box_t* b) {
    data_t* text = b->text;
    auto& s = b->state->text_box;
    u64 first = selection_start(b), end = selection_end(b);
    // The selection makes room for the paste, but comes back if nothing arrives.
    u64 selected = end - first;
    data_t* frame = b->ui->memory;
    if (frame->used + selected > frame->reserved) return;
    u8* kept = frame->bytes + frame->used;
    bytes_copy(kept, text->bytes + first, selected);
    u32 caret = s.caret, anchor = s.anchor;
    selection_delete(b);
    u64 before = text->used;
    data_t pasted = clipboard_paste(text, false);
    if (pasted.used == 0) {
        text->used = before;
        bytes_open(text, first, selected);
        bytes_copy(text->bytes + first, kept, selected);
        s.caret = caret, s.anchor = anchor;
        return;
    }
    // One line: a CR LF pair is two spaces, a lone CR or LF one.
    for (u64 i = 0; i < pasted.used; i++) {
        if (pasted.bytes[i] == '\r' || pasted.bytes[i] == '\n') pasted.bytes[i] = ' ';
    }
    // The new bytes went to the end; three reversals turn them into place.
    u8* at = text->bytes + first;
    bytes_reverse(at, text->bytes + before);
    bytes_reverse(text->bytes + before, text->bytes + text->used);
    bytes_reverse(at, text->bytes + text->used);
    place_caret(b, first + pasted.used, false);
    edited(b);
}

void copy(box_t* b) {
    u64 first = selection_start(b), end = selection_end(b);
    if (end > first) clipboard_copy(data_from_size(end - first, b->text->bytes + first));
}

// Typed characters replace the selection while there is room. Gives the first of
// Return, line feed, Escape and Tab, which ends the list.
u32 type_characters(box_t* b) {
    const input_frame_t* input = &b->ui->input;
    u64 offset = 0;
    for (u32 i = 0; i < input->text_count; i++) {
        u32 size = input->text_sizes[i];
        const u8* bytes = input->text_bytes + offset;
        offset += size;
        if (offset > input->text_bytes_used) break;
        u32 codepoint = bytes[0];
        if (codepoint == 13 || codepoint == 10 || codepoint == 27 || codepoint == 9) return codepoint;
        if (size == 1 && (char_is_control(codepoint) || codepoint == 127)) continue;
        if (size == 2 && bytes[0] == 0xC2 && bytes[1] >= 0x80 && bytes[1] <= 0x9F) continue;  // C1 controls
        u64 selected = selection_end(b) - selection_start(b);
        if (b->text->used - selected + size > b->text->reserved) continue;
        selection_delete(b);
        u64 at = b->state->text_box.caret;
        bytes_open(b->text, at, size);
        bytes_copy(b->text->bytes + at, bytes, size);
        place_caret(b, at + size, false);
        edited(b);
    }
    return 0;
}

// One action a frame, in this order; the rest waits.
u32 editing(box_t* b) {
    ui_t* ui = b->ui;
    const input_frame_t* input = &ui->input;
    auto& s = b->state->text_box;
    data_t* text = b->text;
    s.caret = (u32)min_of((u64)s.caret, text->used);
    s.anchor = (u32)min_of((u64)s.anchor, text->used);
    bool shift = input_down(input, key_shift);
    bool control = input_down(input, key_control);
    const u8* t = text->bytes;
    u64 n = text->used;

    if (input_pressed_or_repeated(input, key_left)) {
        place_caret(b, control ? text_previous_word(t, n, s.caret) : text_previous_codepoint(t, n, s.caret), shift);
    } else if (input_pressed_or_repeated(input, key_right)) {
        place_caret(b, control ? text_next_word(t, n, s.caret) : text_next_codepoint(t, n, s.caret), shift);
    } else if (input_pressed_or_repeated(input, key_home)) {
        place_caret(b, 0, shift);
    } else if (input_pressed_or_repeated(input, key_end)) {
        place_caret(b, n, shift);
    } else if (control && input_pressed(input, key_letter_v)) {
        paste(b);
    } else if (control && input_pressed(input, key_letter_c)) {
        copy(b);
    } else if (input_pressed_or_repeated(input, key_backspace)) {
        if (s.caret == s.anchor) {
            s.anchor = (u32)(control ? text_previous_word(t, n, s.caret) : text_previous_codepoint(t, n, s.caret));
        }
        selection_delete(b);
        edited(b);
        scroll_after_deletion(b);
    } else if (input_pressed_or_repeated(input, key_delete)) {
        if (s.caret == s.anchor) {
            s.anchor = (u32)(control ? text_next_word(t, n, s.caret) : text_next_codepoint(t, n, s.caret));
        }
        selection_delete(b);
        edited(b);
        scroll_after_deletion(b);
    } else if (input->text_count > 0) {
        return type_characters(b);
    } else if (!ui_became_active(ui, b->id)) {
        // Selecting by dragging stops at the box's edges.
        if (input_pressed(input, key_mouse_left) && ui_is_hot(ui, b->id)) {
            place_caret(b, byte_at_mouse(b), false);
        } else if ((input_down(input, key_mouse_left) || input_released(input, key_mouse_left)) &&
                   ui_is_hot(ui, b->id)) {
            place_caret(b, byte_at_mouse(b), true);
        }
    }
    return 0;
}

u32 text_box_logic(box_t* b) {
    ui_t* ui = b->ui;
    auto& s = b->state->text_box;
    s.edited_now = 0;
    if (ui_hit_test(ui, b->id, b->fill)) ui_hot_take(ui, b->id);
    bool pressed = input_pressed(&ui->input, key_mouse_left);
    if (ui_is_active(ui, b->id)) {
        u32 result = editing(b);
        if (pressed && !ui_is_hot(ui, b->id)) ui_active_clear(ui);
        return result;
    }
    if (ui_is_hot(ui, b->id) && pressed) {
        s.edited = 0;
        if (ui_active_take(ui, b->id, ui_kind_text_box)) place_caret(b, byte_at_mouse(b), false);
    }
    return 0;
}

void text_box_render(box_t* b) {
    ui_t* ui = b->ui;
    auto& s = b->state->text_box;
    const ui_style_t* style = &ui_theme.text_box;
    f32 width = rect_width(b->inner);
    u64 caret = min_of((u64)s.caret, b->text->used);
    // The caret keeps a place of one pixel at the right edge.
    f32 c = text_x(b, caret) - s.scroll;
    if (c >= 0 && c + 1 >= width) s.scroll += c + 1 - width;
    if (c < 0) s.scroll += c;
    if (s.scroll < 0) s.scroll = 0;

    bool active = pair_starts_with(ui->active, b->id);
    bool hot = ui_is_hot(ui, b->id);
    u32 state = active ? ui_state_active : hot ? ui_state_hot : ui_state_normal;
    if (hot) ui->cursor = ui_cursor_ibeam;
    ui_layer_t layer = ui_layer(ui, b->id);
    ui_draw_rect(layer, b->rect, style->frame[state]);
    ui_draw_rect(layer, b->fill, style->fill[state]);

    u64 first = min_of(selection_start(b), b->text->used), end = min_of(selection_end(b), b->text->used);
    f32 origin = b->inner.x0 - s.scroll;
    f32 x_first = origin + text_x(b, first), x_end = origin + text_x(b, end);
    f32 line = font_line_height(b->face, 0);
    f32 top = b->inner.y1, bottom = top - line;
    rect_t visible = rect_intersect(b->inner, ui->clip);
    if (end > first) {
        rect_t selection = rect_intersect(rect_t{x_first, bottom, x_end, top}, visible);
        if (rect_width(selection) > 0) ui_draw_rect(layer, selection, selection_colour);
    }
    if (layer.draw && rect_width(visible) > 0) {
        ui_text_scissor(layer, visible);
        f32 y = bottom + font_baseline(b->face);
        colour_t colour = style->text[state];
        const u8* t = b->text->bytes;
        ui_draw_text(layer, data_from_size(first, t), origin, y, 1, b->font, colour);
        ui_draw_text(layer, data_from_size(end - first, t + first), x_first, y, first == 0, b->font, colour);
        ui_draw_text(layer, data_from_size(b->text->used - end, t + end), x_end, y, end == 0, b->font, colour);
        ui_text_scissor_restore(ui, layer);
    }
    if (active) {
        f32 x = end > first ? (caret == end ? x_end : x_first) : origin + text_x(b, caret);
        rect_t bar = rect_intersect(rect_t{x, bottom, x + 1, top}, visible);
        if (rect_width(bar) > 0) ui_draw_rect(layer, bar, style->text[ui_state_normal]);
    }
}

}  // namespace

u32 ui_text_box(ui_t* ui, pair_t id, rect_t rect, data_t* text, u32 font) {
    if (!ui_dispatch_begin(ui, rect)) return 0;
    const ui_style_t* style = &ui_theme.text_box;
    box_t b = {};
    b.ui = ui;
    b.id = id;
    b.rect = rect;
    b.fill = rect_shrink(rect, style->margin);
    b.inner = rect_shrink(b.fill, style->padding);
    b.text = text;
    b.font = font;
    b.face = ui_font(ui, font);
    b.state = ui_widget_state(ui, id);
    // A text that says it holds more than it can is taken at its capacity.
    if (text->used > text->reserved) text->used = text->reserved;
    if (b.state && !b.state->text_box.initialised) {
        b.state->text_box.initialised = 1;
        place_caret(&b, text->used, false);
    }
    u32 result = 0, saved;
    if (ui_half_begin(ui, ui_mode_logic, &saved) && b.state) result = text_box_logic(&b);
    ui_half_end(ui, saved);
    if (ui_half_begin(ui, ui_mode_render, &saved)) {
        if (b.state) {
            text_box_render(&b);
        } else {
            ui_draw_frame(ui_layer(ui, id), style, ui_state_normal, rect);
        }
    }
    ui_half_end(ui, saved);
    return result;
}
