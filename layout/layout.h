// A panel's layout: the items that its description pushes, the passes that measure
// them, decide the scroll bars, fix their positions and replay them for widgets and
// drawing; the text layout that breaks UTF-8 into lines and records the visible runs;
// and three measurements of a single line that need no layout.
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
    // What the last measure found, for the replay to reuse (in the holes between the
    // pointers): a key of the text and everything its lines depend on, 0 when there
    // is no measure to reuse; the pen's x at the end; the line breaks taken.
    u32 measure_key;
    layout_line_t* runs;
    u32* run_lines;  // per run, line_count when the run began
    u32 run_count;
    f32 measure_end_x;
    const u8* text;
    u64 length;
    rect_t bounds;
    f32 line_height;
    f32 line_gap;
    f32 baseline;
    u32 measure_breaks;
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

// The metrics of a font's ASCII glyphs as the text layout's common case reads them:
// advances, the kerning row of each as a first glyph, and what the loop does with it.
struct layout_ascii_t {
    const font_t* font;  // null: not built
    f32 advance[128];
    const i16* kerning[128];
    u8 kind[256];  // by byte: the bytes above 127 leave the loop
};

// Where the replay of a measured text may start instead of at its first byte: the
// first line of the text that reaches into the view from above that isn't wholly
// above it, with what the measure had found up to there.
struct layout_resume_t {
    const layout_item_t* item;  // null: none
    f32 scroll_y;               // the offset that the lines before were above
    u32 breaks;
    u64 offset;
    f32 pen_x, pen_y;
    rect_t bounds;
};

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
    // The memory ran out in the last building pass: the items after that point are
    // left out of every pass, and the replay passes past the count get null_item.
    u32 items_dropped;
    layout_ascii_t ascii;
    layout_resume_t resume;  // from the last building pass
};

struct layout_size_t {
    f32 width, height;
};

// Pass states.
enum : u32 {
    layout_state_measure = 0,
    layout_state_logic = 1,
    layout_state_remeasure = 2,
    layout_state_draw = 3,
    layout_state_done = 4,
};

// layout_advance flags.
enum : u32 {
    layout_advance_ceil_x = 1,
    layout_advance_ceil_y = 2,
};
// layout_set_wrap flags.
enum : u32 {
    layout_wrap_break_anywhere = 1,
    layout_wrap_eat_space = 2,
};
// layout_box flags.
enum : u32 {
    layout_box_pen_right = 1,
    layout_box_pen_below = 2,
    layout_box_ceil = 4,
};

// The width of a scroll bar, taken from the view when the content needs one.
constexpr f32 layout_bar_size = 16;

// rect is x0, y0, x1, y1 of the view; padding top, bottom, left, right (null: none).
// Items are pushed at the end of `memory`, which every measuring pass empties back
// to what it held here.
void layout_create(layout_t* layout, data_t* memory, font_set_t* fonts, rect_t rect, f32 scroll_x,
                   f32 scroll_y, const f32* padding);

// The pass loop of a view:
//     while (layout_pass_start(&layout)) {
//         ui_set_mode(ui, ui_mode_from_layout(&layout)); scroll bars;
//         if (layout_pass_ready(&layout, 0)) continue;
//         push the items; layout_finish(&layout);
//         if (ui_mode_is_live(ui)) widgets on the items' rectangles;
//     }
// The description must push the same items in every pass.
u32 layout_pass_start(layout_t* layout);
void layout_pass_end(layout_t* layout);
// Non-zero: a scroll bar moved the view, measure again at once.
u32 layout_pass_ready(layout_t* layout, u32 defer);
// Fixes the positions in screen space (y up). `partial` stops after the first item
// that ends below the view.
void layout_end(layout_t* layout, u32 partial);
// For a widget that lays out its own text in one call: push the items for as long as
// this returns 1; the positions are then final.
u32 layout_pass_only_size(layout_t* layout);
inline bool layout_is_building(const layout_t* layout) {
    return layout->state == layout_state_measure || layout->state == layout_state_remeasure;
}
// A measuring pass that already went past the view, before its bars are known.
bool layout_would_overflow(const layout_t* layout);
inline bool layout_has_vertical_overflow(const layout_t* layout) { return layout->height < layout->max_y; }
inline bool layout_has_horizontal_overflow(const layout_t* layout) { return layout->width < layout->max_x; }
u32 layout_needs_vertical_bar(const layout_t* layout);
u32 layout_needs_horizontal_bar(const layout_t* layout);
// Widgets that changed what the description pushes ask for another measure.
void layout_request_remeasure(layout_t* layout, u32 keep_bars);

// Items. In a building pass each is made and takes effect; in the others the same
// item comes back, with its final position, and nothing else happens.
layout_item_t* layout_push_item(layout_t* layout, u32 kind);
// The text is kept by pointer: it must outlive the layout.
layout_item_t* layout_string_p(layout_t* layout, const u8* text, u64 length);
inline layout_item_t* layout_string(layout_t* layout, data_t text) {
    return layout_string_p(layout, text.bytes, text.used);
}
layout_item_t* layout_advance(layout_t* layout, f32 dx, f32 dy, u32 flags);
// start_x 0 means the left padding.
layout_item_t* layout_set_wrap(layout_t* layout, f32 start_x, f32 width, u32 flags);
// To the row's start, below everything pushed so far.
layout_item_t* layout_new_line(layout_t* layout);
layout_item_t* layout_set_font(layout_t* layout, u32 font);
layout_item_t* layout_push_colour(layout_t* layout, colour_t colour);
layout_item_t* layout_pop_colour(layout_t* layout);
layout_item_t* layout_set_flags(layout_t* layout, u32 flags);
layout_item_t* layout_box(layout_t* layout, f32 width, f32 height, u64 user, u32 flags);
layout_item_t* layout_mark(layout_t* layout, u64 a, u64 b);
// Room to the right of the pen on this row.
f32 layout_remaining(layout_t* layout);
f32 layout_remaining_floor(layout_t* layout);
layout_item_t* layout_finish(layout_t* layout);

// One line on the log panel, once a run, when a layout's memory ran out.
void layout_report_full();

// Text and boxes only: the item lies at least partly in the view.
bool layout_item_visible(const layout_t* layout, const layout_item_t* item);
// Font and colour items change the layout as they did when built; others are
// ignored. For code that walks the items of a finished layout itself.
void layout_replay_state(layout_t* layout, layout_item_t* item);

// record 0 measures; otherwise the visible runs are stored too, and with
// layout_flag_keep_lines every line. When the memory can't hold them the text is
// only measured, or its lines are kept as far as they fit.
void layout_text(layout_t* layout, layout_item_t* item, u32 record);
// layout_text with record 1 for the replay of a measured item: a text that the
// measure saw with the same start and that has no line in the view only moves the
// pen as it did then, without a second scan.
void layout_text_replay(layout_t* layout, layout_item_t* item);
layout_size_t layout_get_single_line_size(const font_t* font, const u8* text, u64 length, u32 previous_codepoint);
u64 layout_get_byte_at_position(const font_t* font, const u8* text, u64 length, f32 x);
enum : u32 {
    layout_fit_no_ellipsis = 1,
};
// Cuts `text` to `width`, ending in an ellipsis unless flag 1. `out_text` (optional)
// must have room for text.used + 2 bytes; `out_size` (optional) gets width, height.
void layout_fit_single_line(const font_t* font, data_t text, u32 previous_codepoint, f32 width, data_t* out_text,
                            layout_size_t* out_size, u32 flags);
