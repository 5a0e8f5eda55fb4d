// Text layout: breaking UTF-8 into lines inside a layout, measuring it and
// recording the visible runs for the text batch; and three measurements of a single
// line that need no layout.
#pragma once

#include "base/data.h"
#include "base/rect.h"
#include "gfx/font.h"

constexpr f32 layout_no_wrap = 3.4028235e38f;

// Layout flags (layout_set_flags).
enum : u32 {
    layout_flag_partly_visible = 1,  // partly visible glyphs count as visible
    layout_flag_keep_scroll = 2,     // layout_end leaves the scroll offsets alone
    layout_flag_no_vertical_bar = 4,
    layout_flag_no_horizontal_bar = 8,
    layout_flag_keep_lines = 16,
};

enum : u32 {
    layout_item_text = 1,
    layout_item_advance = 2,
    layout_item_set_wrap = 3,
    layout_item_new_line = 4,
    layout_item_set_font = 5,
    layout_item_push_colour = 6,
    layout_item_pop_colour = 7,
    layout_item_set_flags = 8,
    layout_item_box = 9,
    layout_item_mark = 10,
    layout_item_remaining = 11,
    layout_item_finish = 12,
};

// A whole line, or a visible run of one.
struct layout_line_t {
    rect_t rect;
    const u8* text;
    u64 bytes;
    u64 codepoints;
};
static_assert(sizeof(layout_line_t) == 40);

struct layout_text_t {
    layout_line_t* lines;  // only with layout_flag_keep_lines
    u32 line_count;
    layout_line_t* runs;
    u32* run_lines;  // per run, line_count when the run began
    u32 run_count;
    const u8* text;
    u64 length;
    rect_t bounds;
    f32 line_height;
    f32 line_gap;
    f32 baseline;
};

struct layout_item_t {
    u32 kind;
    union {
        layout_text_t text;
        struct {
            f32 dx, dy;
            u32 flags;
        } advance;
        struct {
            f32 start, width;
            u32 break_anywhere, eat_space;
        } wrap;
        u32 font;
        struct {
            colour_t colour;
            layout_item_t* previous;
        } colour;
        u32 flags;
        struct {
            u64 user;
            rect_t rect;
            u32 flags;
        } box;
        struct {
            u64 a, b;
        } mark;
        f32 remaining;
    };
};
static_assert(sizeof(layout_item_t) == 96);

struct layout_t {
    data_t* memory;
    data_t memory_start;
    font_set_t* fonts;
    f32 x, y, width, height;
    f32 scroll_x, scroll_y;
    f32 padding_top, padding_bottom, padding_left, padding_right;
    f32 max_x, max_y;
    f32 line_start_x, pen_x, pen_y;
    u32 font;
    colour_t colour;
    f32 wrap_width;
    u32 break_anywhere, eat_space;
    u32 finished;
    u32 flags;
    u32 state;
    u32 item_index;
    u32 vertical_bar, horizontal_bar;
    u32 restart, restart_keep_bars;
    f32 saved_scroll_x, saved_scroll_y;
    u32 pass_count;
    u32 positioned;
    layout_item_t* items;
    u32 item_count;
    layout_item_t null_item;
    layout_item_t* colour_stack;
};

struct layout_size_t {
    f32 width, height;
};

// rect is x0, y0, x1, y1 of the view; padding top, bottom, left, right.
void layout_create(layout_t* layout, data_t* memory, font_set_t* fonts, rect_t rect, f32 scroll_x,
                   f32 scroll_y, const f32* padding);
// record 0 measures; otherwise the visible runs are stored too, and with
// layout_flag_keep_lines every line.
void layout_text(layout_t* layout, layout_item_t* item, u32 record);
layout_size_t layout_get_single_line_size(const font_t* font, const u8* text, u64 length, u32 previous_codepoint);
u64 layout_get_byte_at_position(const font_t* font, const u8* text, u64 length, f32 x);
enum : u32 {
    layout_fit_no_ellipsis = 1,
};
// Cuts `text` to `width`, ending in an ellipsis unless flag 1. `out_text` (optional)
// must have room for text.used + 2 bytes; `out_size` (optional) gets width, height.
void layout_fit_single_line(const font_t* font, data_t text, u32 previous_codepoint, f32 width, data_t* out_text,
                            layout_size_t* out_size, u32 flags);
