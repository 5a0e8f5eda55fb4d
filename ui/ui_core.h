// The immediate-mode UI's core: widget ids (pair_t), the ui_t record with its hot and
// active claims, the half-passes that split a widget into logic and render, the hit
// test with the modal region, per-widget records, and the drawing helpers that the
// widgets share. Widgets have no objects: each frame a view calls them with an id, a
// rectangle and its own value, and only what ui_t keeps survives the frame.
#pragma once

#include "base/data.h"
#include "gfx/draw.h"
#include "image/atlas.h"
#include "layout/layout.h"
#include "platform/window.h"

// A widget id: a path of up to four components, unused ones zero, a zero never
// before a used one. Compared bytewise, never hashed.
struct pair_t {
    u64 parts[4];
};

inline pair_t pair_from_value(u64 value) { return pair_t{{value, 0, 0, 0}}; }
inline pair_t pair_from_pointer(const void* pointer) { return pair_from_value((u64)(uintptr_t)pointer); }
inline pair_t pair_from_value(i64 value) { return pair_from_value((u64)value); }
u32 pair_length(pair_t pair);
inline bool pair_is_empty(pair_t pair) { return pair.parts[0] == 0; }
inline bool pair_equal(pair_t a, pair_t b) {
    return a.parts[0] == b.parts[0] && a.parts[1] == b.parts[1] && a.parts[2] == b.parts[2] &&
           a.parts[3] == b.parts[3];
}
// Traps on an empty or full pair, and on a zero component.
pair_t pair_push(pair_t pair, i64 component);
// b non-empty and a's leading components are b's (equal pairs included).
bool pair_starts_with(pair_t a, pair_t b);
pair_t pair_parent(pair_t pair);
u64 pair_last(pair_t pair);
pair_t pair_first(pair_t pair);
// b is a's direct child.
bool pair_is_child(pair_t a, pair_t b);
// Same length, all but the last component equal.
bool pair_is_sibling(pair_t a, pair_t b);

// An id for a call site: the address of a static object that belongs to the site, the
// same in every frame and different from every other site.
#define UI_ID() ([] {                      \
    static const char ui_id_site = 0;      \
    return pair_from_pointer(&ui_id_site); \
}())

// Kinds of interaction of `active`.
enum : u32 {
    ui_kind_none = 0,
    ui_kind_button = 1,
    ui_kind_check_box = 2,
    ui_kind_text_box = 3,
    ui_kind_text_area = 4,
    ui_kind_drop_down = 5,
    ui_kind_scroll_part = 7,
    ui_kind_list_box = 9,
    ui_kind_splitter = 10,
    ui_kind_list_field = 11,
    ui_kind_list_list = 12,
    ui_kind_combo_box = 13,
    ui_kind_last = 14,
};
// Weak kinds keep the keyboard while other widgets take hot and active over them.
inline bool ui_kind_is_weak(u32 kind) { return kind == ui_kind_text_box || kind == ui_kind_list_field; }

// Modes of the half-passes: 0 logic then render, 1 logic only, 2 render only, 3 none.
enum : u32 {
    ui_mode_both = 0,
    ui_mode_logic = 1,
    ui_mode_render = 2,
    ui_mode_none = 3,
};

// Cursor kinds, indexes of the window's five cursors.
enum : u32 {
    ui_cursor_arrow = 0,
    ui_cursor_hand = 1,
    ui_cursor_ibeam = 2,
    ui_cursor_resize_ns = 3,
    ui_cursor_resize_we = 4,
};

// Colour states of a style.
enum : u32 {
    ui_state_normal = 0,
    ui_state_hot = 1,
    ui_state_active = 2,
};

// Margin is taken off a widget's rectangle for its fill box, padding off the fill box
// for its inner box; both top, bottom, left, right.
struct ui_style_t {
    f32 margin[4];
    f32 padding[4];
    colour_t frame[3];  // normal, hot, active
    colour_t fill[3];
    colour_t text[3];
};

struct ui_theme_t {
    ui_style_t button;
    ui_style_t check_box;
    ui_style_t text_box;
    ui_style_t text_area;
    ui_style_t list_field;
    ui_style_t list_row;
    ui_style_t scroll_button;
    ui_style_t scroll_track;
    ui_style_t splitter;
    ui_style_t light_list_field;
    ui_style_t light_list_row;
    colour_t background;
};
extern ui_theme_t ui_theme;
void ui_theme_init();


// The record a stateful widget keeps behind its id. Zeroed when made.
struct ui_widget_state_t {
    pair_t id;
    union {
        struct {
            i64 last_repeat;  // clock ticks
            f32 repeat_wait;  // seconds
        } bar;
        struct {
            u32 opened_now;
            u32 press_on_field;
            pair_t highlight;  // the row the keyboard moved to
            f64 scroll;
            u32 was_open;
        } list;
        struct {
            u32 initialised;
            f32 scroll;
            u32 caret, anchor;  // byte offsets; the selection lies between them
            u32 edited;         // since the box became active
            u32 edited_now;     // in this frame's logic
            u32 dragging;
        } text_box;
    };
};


constexpr u32 ui_owner_capacity = 10;
constexpr u64 ui_widget_memory_size = 0x100000;
constexpr u64 ui_frame_memory_size = 0x100000;

struct ui_t {
    data_t* memory;  // the frame's memory, cleared by ui_frame_begin
    window_t* window;  // only handed back to the window's doors (cursor)
    draw_t* draw;  // null: the widgets work but draw nothing
    atlas_t icon_atlas;  // the seven icons; the icon batches draw its texture
    pair_t active, hot, previous_active;
    u32 active_kind;
    f32 mouse[2], previous_mouse[2];  // pixels, origin bottom left
    rect_t screen;
    data_t widget_memory;
    ui_widget_state_t* widget_states;
    u64 widget_state_count;
    u32 modal_on;
    u32 modal_seen;  // its widget renewed the modal region in this frame
    rect_t modal_rect;
    pair_t modal_id;
    rect_t clip;
    u32 mode;
    u32 cursor;
    i64 counter_frequency;
    pair_t owners[ui_owner_capacity];
    u64 owner_count;
    f32 repeat_delay;     // seconds before an arrow held down repeats
    f32 repeat_interval;  // seconds between repeats

    u32 previous_active_kind;
    input_frame_t input;  // this frame's input
    font_set_t* fonts;
    data_t frame_memory;
    u32 widget_memory_full_reported;
};

// `memory` holds the widget records (ui_widget_memory_size is what the program gives).
void ui_create(ui_t* ui, data_t memory, window_t* window);
void ui_bind_draw(ui_t* ui, draw_t* draw);
void ui_frame_begin(ui_t* ui, const input_frame_t* input);
// Shows the cursor that the widgets asked for while the mouse is over the window.
void ui_apply_cursor(ui_t* ui);
void ui_set_clip(ui_t* ui, rect_t rect);
void ui_set_mode(ui_t* ui, u32 mode);
struct layout_t;
u32 ui_mode_from_layout(const layout_t* layout);
inline bool ui_mode_is_live(const ui_t* ui) { return ui->mode < ui_mode_none; }

// Null when widget memory is full: the widget then does nothing and draws its frame.
ui_widget_state_t* ui_widget_state(ui_t* ui, pair_t id);

bool ui_is_active(const ui_t* ui, pair_t id);
bool ui_any_active(const ui_t* ui);
bool ui_is_hot(const ui_t* ui, pair_t id);
bool ui_became_active(const ui_t* ui, pair_t id);

u32 ui_hot_take(ui_t* ui, pair_t id);
u32 ui_hot_take_sibling(ui_t* ui, pair_t id);
u32 ui_hot_take_group(ui_t* ui, pair_t id);
u32 ui_active_take(ui_t* ui, pair_t id, u32 kind);
u32 ui_active_take_sibling(ui_t* ui, pair_t id, u32 kind);
u32 ui_active_take_group(ui_t* ui, pair_t id, u32 kind);
// Opens (1) or, when id already holds active or lies above it, closes (0).
u32 ui_active_transfer(ui_t* ui, pair_t id, u32 kind);
void ui_active_force(ui_t* ui, pair_t id, u32 kind);
void ui_hot_force(ui_t* ui, pair_t id);
void ui_active_clear(ui_t* ui);
void ui_active_to_parent(ui_t* ui, pair_t id);

bool ui_hit_test(const ui_t* ui, pair_t id, rect_t rect, const f32* mouse);
inline bool ui_hit_test(const ui_t* ui, pair_t id, rect_t rect) { return ui_hit_test(ui, id, rect, ui->mouse); }
void ui_modal_begin(ui_t* ui, pair_t id, rect_t rect);
void ui_modal_end(ui_t* ui);
bool ui_modal_contains(const ui_t* ui, pair_t id);

void ui_owner_add(ui_t* ui, pair_t id);
void ui_owner_remove(ui_t* ui, pair_t id);

// The dispatch of a widget: traps on a rectangle that isn't whole pixels; false when
// it lies outside the clip (the widget does nothing).
bool ui_dispatch_begin(const ui_t* ui, rect_t rect);
// A half: true when the mode runs it; `mode` is then the half's until ui_half_end.
bool ui_half_begin(ui_t* ui, u32 half, u32* saved);
inline void ui_half_end(ui_t* ui, u32 saved) { ui->mode = saved; }

// Drawing, on the normal layer or, for what lies under the modal id, the overlay.
struct ui_layer_t {
    draw_t* draw;  // null when the UI draws nothing
    u32 layer;
};
ui_layer_t ui_layer(const ui_t* ui, pair_t id);
u32 ui_style_state(const ui_t* ui, pair_t id);
// Both give the handle to recolour what they queued (draw_handle_none: nothing queued).
draw_handle_t ui_draw_rect(ui_layer_t layer, rect_t rect, colour_t colour);
// Text cut to nothing or without a layer draws nothing.
draw_handle_t ui_draw_text(ui_layer_t layer, data_t text, f32 x, f32 y, u32 trim_first, u32 font, colour_t colour);
void ui_draw_set_colour(ui_layer_t layer, draw_handle_t handle, colour_t colour);
// The rectangle in the frame colour, the fill box in the fill colour; gives the inner
// box.
rect_t ui_draw_frame(ui_layer_t layer, const ui_style_t* style, u32 state, rect_t rect);
// The icon at its own size, centred in `box`; `turned` shows it upside down.
void ui_draw_icon(const ui_t* ui, ui_layer_t layer, u32 icon, rect_t box, colour_t colour, bool turned);
const font_t* ui_font(const ui_t* ui, u32 font);
// Text cut to `width` with an ellipsis, in the frame's memory.
data_t ui_fit_text(ui_t* ui, const font_t* font, data_t text, f32 width, f32* fitted_width);
void ui_text_scissor(ui_layer_t layer, rect_t rect);
// Back to the layer's own: the clip on the normal layer, none on the overlay.
void ui_text_scissor_restore(const ui_t* ui, ui_layer_t layer);

// Half away from zero.
inline f32 round_half_away(f32 value) { return value < 0 ? -__builtin_floorf(-value + 0.5f) : __builtin_floorf(value + 0.5f); }

// The splitter between two panes.
struct splitter_t {
    rect_t first, second, bar;
    f32 first_padding[4];   // top, bottom, left, right
    f32 second_padding[4];  // top, bottom, left, right
    f32 position;           // extent of the first pane
    u32 horizontal;         // 0 a vertical bar moving along x, 1 a horizontal bar moving along y
};

splitter_t splitter_make(const f32* first_padding, const f32* second_padding, f32 position, u32 horizontal);
void splitter_layout(splitter_t* splitter, rect_t rect);
void splitter_update(ui_t* ui, pair_t id, splitter_t* splitter, rect_t rect, u32 limit);
// `inset` grows the bar: top, bottom, left, right.
void splitter_draw(ui_t* ui, pair_t id, splitter_t* splitter, const f32* inset);
