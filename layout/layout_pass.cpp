// The passes of a layout: items pushed by a panel's description, measured (more than
// once when a scroll bar takes room from wrapped text), fixed in screen space and
// replayed, so that a panel is described once and measured before it is drawn.
#include <cmath>

#include "base/log.h"
#include "layout/layout.h"
#include "profiler/profiler.h"

void layout_create(layout_t* layout, data_t* memory, font_set_t* fonts, rect_t rect, f32 scroll_x,
                   f32 scroll_y, const f32* padding) {
    *layout = layout_t{};
    layout->memory = memory;
    layout->memory_start = *memory;
    layout->fonts = fonts;
    layout->x = rect.x0;
    layout->y = rect.y0;
    layout->width = rect.x1 - rect.x0;
    layout->height = rect.y1 - rect.y0;
    layout->scroll_x = scroll_x;
    layout->scroll_y = scroll_y;
    if (padding) {
        layout->padding_top = padding[0];
        layout->padding_bottom = padding[1];
        layout->padding_left = padding[2];
        layout->padding_right = padding[3];
    }
    layout->pen_y = layout->max_y = layout->padding_top;
    layout->pen_x = layout->line_start_x = layout->max_x = layout->padding_left;
    layout->wrap_width = layout_no_wrap;
    layout->colour = colour_white;
    u8* end = memory->bytes + memory->used;
    layout->items = (layout_item_t*)(end + align_padding((u64)end, 8));
}

// What every building pass and the replay of layout_end start from.
static void pen_reset(layout_t* layout) {
    layout->pen_y = layout->max_y = layout->padding_top;
    layout->pen_x = layout->line_start_x = layout->max_x = layout->padding_left;
    layout->wrap_width = layout_no_wrap;
    layout->break_anywhere = 0;
    layout->eat_space = 0;
    layout->flags = 0;
}

static void style_reset(layout_t* layout) {
    layout->font = 0;
    layout->colour = colour_white;
    layout->colour_stack = nullptr;
}

static void building_reset(layout_t* layout) {
    pen_reset(layout);
    layout->finished = 0;
    layout->items_dropped = 0;
    *layout->memory = layout->memory_start;
    layout->item_count = 0;
    layout->resume = layout_resume_t{};
}

enum bar_axis_t : u32 { bar_vertical, bar_horizontal };

// A vertical bar takes its room from the view's width, a horizontal one from its
// height at the bottom (y up); `sign` 1 adds the bar, -1 takes it back.
static void bar_room(layout_t* layout, bar_axis_t axis, f32 sign) {
    if (axis == bar_vertical) {
        layout->width -= sign * layout_bar_size;
    } else {
        layout->height -= sign * layout_bar_size;
        layout->y += sign * layout_bar_size;
    }
}

// The bar of one axis, when the content overflows along it and the flags allow it.
// True when it was added now.
static bool bar_add(layout_t* layout, bar_axis_t axis) {
    bool vertical = axis == bar_vertical;
    u32* bar = vertical ? &layout->vertical_bar : &layout->horizontal_bar;
    u32 refused = layout->flags & (vertical ? layout_flag_no_vertical_bar : layout_flag_no_horizontal_bar);
    bool overflow = vertical ? layout_has_vertical_overflow(layout) : layout_has_horizontal_overflow(layout);
    if (refused || !overflow || *bar) return false;
    *bar = 1;
    bar_room(layout, axis, 1);
    return true;
}

// Adds the bars that the measured content calls for; false when the content must
// be measured again because a wrapped text may flow differently in the narrower
// view. A bar once added stays for the whole layout.
static bool bars_decide(layout_t* layout) {
    bool wrap_set = layout->wrap_width != layout_no_wrap;
    bool advance = true;
    for (;;) {
        bool vertical_overflow = layout_has_vertical_overflow(layout);
        if (bar_add(layout, bar_vertical)) advance = !wrap_set;
        if (bar_add(layout, bar_horizontal)) {
            advance = !wrap_set;
            // Without a wrap nothing is measured again, so the lost height is
            // looked at here.
            if (!wrap_set && !vertical_overflow) continue;
        }
        return advance;
    }
}

static void bars_take_back(layout_t* layout) {
    if (layout->vertical_bar) bar_room(layout, bar_vertical, -1);
    if (layout->horizontal_bar) bar_room(layout, bar_horizontal, -1);
    layout->vertical_bar = 0;
    layout->horizontal_bar = 0;
}

u32 layout_pass_start(layout_t* layout) {
    PROFILE_ZONE(layout_pass_start);
    if (layout->pass_count > 0) layout_pass_end(layout);
    u32 result = layout->state != layout_state_done;
    layout->pass_count += 1;
    layout->restart = 0;
    layout->restart_keep_bars = 0;
    if (layout_is_building(layout)) {
        building_reset(layout);
    } else if (layout->state == layout_state_logic) {
        layout->saved_scroll_x = layout->scroll_x;
        layout->saved_scroll_y = layout->scroll_y;
        layout->positioned = 0;
    }
    style_reset(layout);
    layout->item_index = 0;
    return result;
}

void layout_pass_end(layout_t* layout) {
    PROFILE_ZONE(layout_pass_end);
    switch (layout->state) {
    case layout_state_measure:
        if (bars_decide(layout)) layout->state = layout_state_logic;
        break;
    case layout_state_remeasure:
        if (bars_decide(layout)) {
            layout_end(layout, 0);
            layout->state = layout_state_draw;
        }
        break;
    case layout_state_logic:
        if (layout->restart) {
            if (!layout->restart_keep_bars) bars_take_back(layout);
            layout->state = layout_state_remeasure;
        } else {
            layout->state = layout_state_draw;
        }
        break;
    case layout_state_draw:
        layout->state = layout_state_done;
        break;
    default:
        break;
    }
}

u32 layout_pass_ready(layout_t* layout, u32 defer) {
    if (layout->state != layout_state_logic) return 0;
    ASSERT(!layout->positioned);
    layout->positioned = 1;
    u32 moved = layout->scroll_x != layout->saved_scroll_x || layout->scroll_y != layout->saved_scroll_y;
    if (moved) {
        layout->restart = 1;
        layout->restart_keep_bars = 1;
    }
    if (defer || !moved) layout_end(layout, 0);
    return moved;
}

u32 layout_pass_only_size(layout_t* layout) {
    PROFILE_ZONE(layout_pass_only_size);
    ASSERT(layout->state == layout_state_measure);
    if (layout->pass_count > 0 && bars_decide(layout)) {
        layout_end(layout, 0);
        return 0;
    }
    layout->pass_count += 1;
    layout->restart = 0;
    layout->restart_keep_bars = 0;
    building_reset(layout);
    style_reset(layout);
    layout->item_index = 0;
    return 1;
}

bool layout_would_overflow(const layout_t* layout) {
    if (layout->state != layout_state_measure) return false;
    return (layout->height - layout->padding_bottom < layout->max_y && !layout->vertical_bar) ||
           (layout->width - layout->padding_right < layout->max_x && !layout->horizontal_bar);
}

static u32 needs_bar(const layout_t* layout, u32 bar) {
    if (layout->state == layout_state_logic) {
        // After layout_pass_ready the bars may no longer be what was drawn.
        ASSERT(!layout->positioned);
        return bar;
    }
    return layout->state == layout_state_draw ? bar : 0;
}

u32 layout_needs_vertical_bar(const layout_t* layout) { return needs_bar(layout, layout->vertical_bar); }
u32 layout_needs_horizontal_bar(const layout_t* layout) { return needs_bar(layout, layout->horizontal_bar); }

void layout_request_remeasure(layout_t* layout, u32 keep_bars) {
    layout->restart = 1;
    layout->restart_keep_bars = keep_bars;
}

// Items.

// The item that stands for one that is not kept: zeroed for each use.
static layout_item_t* null_item(layout_t* layout, u32 kind) {
    layout->null_item = layout_item_t{};
    layout->null_item.kind = kind;
    return &layout->null_item;
}

// Content without end, such as an entry of a few hundred thousand elements, must
// not stop the program: what doesn't fit is left out, and said once a run.
void layout_report_full() {
    static bool reported = false;
    if (reported) return;
    reported = true;
    log_paragraph_start(log_user);
    log_write_c_string(log_user, "A view holds more than its memory can lay out; the rest of it is not shown.\n");
}

static void items_drop(layout_t* layout) {
    layout->items_dropped = 1;
    layout_report_full();
}

// A building pass with an item that was kept: only then do items take effect.
static bool item_builds(layout_t* layout, const layout_item_t* item) {
    return layout_is_building(layout) && item != &layout->null_item;
}

layout_item_t* layout_push_item(layout_t* layout, u32 kind) {
    if (layout_is_building(layout)) {
        if (layout->items_dropped) return null_item(layout, kind);
        layout_item_t* item = (layout_item_t*)data_push(layout->memory, sizeof(layout_item_t), 8);
        if (!item) {
            items_drop(layout);
            return null_item(layout, kind);
        }
        // Replay walks the items as an array: nothing may be pushed between them.
        ASSERT(item == layout->items + layout->item_count);
        *item = layout_item_t{};
        item->kind = kind;
        layout->item_count += 1;
        layout->item_index += 1;
        return item;
    }
    if (layout->restart) return null_item(layout, kind);
    ASSERT((layout->state == layout_state_logic && layout->positioned) || layout->state == layout_state_draw);
    if (layout->items_dropped && layout->item_index >= layout->item_count) return null_item(layout, kind);
    ASSERT(layout->item_index < layout->item_count);
    layout_item_t* item = &layout->items[layout->item_index];
    ASSERT(item->kind == kind);
    layout->item_index += 1;
    return item;
}

static void colour_push(layout_t* layout, layout_item_t* item) {
    item->colour.previous = layout->colour_stack;
    layout->colour_stack = item;
    layout->colour = item->colour.colour;
}

static void colour_pop(layout_t* layout) {
    ASSERT(layout->colour_stack);
    layout->colour_stack = layout->colour_stack->colour.previous;
    layout->colour = layout->colour_stack ? layout->colour_stack->colour.colour : colour_white;
}

static void pen_moved(layout_t* layout) {
    layout->max_x = max_of(layout->max_x, layout->pen_x);
    layout->max_y = max_of(layout->max_y, layout->pen_y);
}

static void advance_apply(layout_t* layout, const layout_item_t* item) {
    layout->pen_x += item->advance.dx;
    layout->pen_y += item->advance.dy;
    if (item->advance.flags & layout_advance_ceil_x) layout->pen_x = ceilf(layout->pen_x);
    if (item->advance.flags & layout_advance_ceil_y) layout->pen_y = ceilf(layout->pen_y);
    pen_moved(layout);
}

static void wrap_apply(layout_t* layout, const layout_item_t* item) {
    f32 start = item->wrap.start;
    if (start == 0) start = layout->padding_left;
    ASSERT(start >= layout->padding_left);
    layout->line_start_x = start;
    layout->wrap_width = item->wrap.width;
    layout->break_anywhere = item->wrap.break_anywhere;
    layout->eat_space = item->wrap.eat_space;
}

static void new_line_apply(layout_t* layout) {
    layout->pen_x = layout->line_start_x;
    layout->pen_y = layout->max_y;
}

// The box at the pen, in layout space; its width and height are the rectangle's.
static void box_apply(layout_t* layout, layout_item_t* item) {
    f32 width = item->box.rect.x1 - item->box.rect.x0;
    f32 height = item->box.rect.y1 - item->box.rect.y0;
    f32 x = layout->pen_x, y = layout->pen_y;
    if (item->box.flags & layout_box_ceil) {
        x = ceilf(x);
        y = ceilf(y);
    }
    item->box.rect = rect_t{x, y, x + width, y + height};
    layout->max_x = max_of(layout->max_x, item->box.rect.x1);
    layout->max_y = max_of(layout->max_y, item->box.rect.y1);
    if (item->box.flags & layout_box_pen_right) layout->pen_x = item->box.rect.x1;
    if (item->box.flags & layout_box_pen_below) layout->pen_y = item->box.rect.y1;
}

static void finish_apply(layout_t* layout) {
    layout->max_x += layout->padding_right;
    layout->max_y += layout->padding_bottom;
}

layout_item_t* layout_string_p(layout_t* layout, const u8* text, u64 length) {
    PROFILE_ZONE(layout_string_p);
    layout_item_t* item = layout_push_item(layout, layout_item_text);
    if (!item_builds(layout, item)) return item;
    item->text.text = text;
    item->text.length = length;
    layout_text(layout, item, 0);
    return item;
}

layout_item_t* layout_advance(layout_t* layout, f32 dx, f32 dy, u32 flags) {
    layout_item_t* item = layout_push_item(layout, layout_item_advance);
    if (!item_builds(layout, item)) return item;
    item->advance.dx = dx;
    item->advance.dy = dy;
    item->advance.flags = flags;
    advance_apply(layout, item);
    return item;
}

layout_item_t* layout_set_wrap(layout_t* layout, f32 start_x, f32 width, u32 flags) {
    layout_item_t* item = layout_push_item(layout, layout_item_set_wrap);
    if (!item_builds(layout, item)) return item;
    item->wrap.start = start_x;
    item->wrap.width = width;
    item->wrap.break_anywhere = (flags & layout_wrap_break_anywhere) ? 1 : 0;
    item->wrap.eat_space = (flags & layout_wrap_eat_space) ? 1 : 0;
    wrap_apply(layout, item);
    return item;
}

layout_item_t* layout_new_line(layout_t* layout) {
    layout_item_t* item = layout_push_item(layout, layout_item_new_line);
    if (item_builds(layout, item)) new_line_apply(layout);
    return item;
}

layout_item_t* layout_set_font(layout_t* layout, u32 font) {
    layout_item_t* item = layout_push_item(layout, layout_item_set_font);
    if (!item_builds(layout, item)) return item;
    ASSERT(font < layout->fonts->font_count);
    item->font = font;
    layout->font = font;
    return item;
}

layout_item_t* layout_push_colour(layout_t* layout, colour_t colour) {
    layout_item_t* item = layout_push_item(layout, layout_item_push_colour);
    if (!item_builds(layout, item)) return item;
    item->colour.colour = colour;
    colour_push(layout, item);
    return item;
}

layout_item_t* layout_pop_colour(layout_t* layout) {
    layout_item_t* item = layout_push_item(layout, layout_item_pop_colour);
    if (item_builds(layout, item)) colour_pop(layout);
    return item;
}

layout_item_t* layout_set_flags(layout_t* layout, u32 flags) {
    layout_item_t* item = layout_push_item(layout, layout_item_set_flags);
    if (!item_builds(layout, item)) return item;
    item->flags = flags;
    layout->flags = flags;
    return item;
}

layout_item_t* layout_box(layout_t* layout, f32 width, f32 height, u64 user, u32 flags) {
    layout_item_t* item = layout_push_item(layout, layout_item_box);
    if (!item_builds(layout, item)) return item;
    item->box.user = user;
    item->box.flags = flags;
    item->box.rect = rect_t{0, 0, width, height};
    box_apply(layout, item);
    return item;
}

layout_item_t* layout_mark(layout_t* layout, u64 a, u64 b) {
    layout_item_t* item = layout_push_item(layout, layout_item_mark);
    if (!item_builds(layout, item)) return item;
    item->mark.a = a;
    item->mark.b = b;
    return item;
}

// Measured when built and kept in the item, so that every pass sees the same width.
f32 layout_remaining(layout_t* layout) {
    layout_item_t* item = layout_push_item(layout, layout_item_remaining);
    if (!item_builds(layout, item)) return item->remaining;
    f32 left = layout->padding_left, right = layout->padding_right;
    f32 room = max_of(layout->max_x - left, layout->width - left - right);
    if (layout->wrap_width != layout_no_wrap) room = max_of(room, layout->line_start_x + layout->wrap_width - left);
    item->remaining = room - (layout->pen_x - left);
    return item->remaining;
}

f32 layout_remaining_floor(layout_t* layout) { return floorf(layout_remaining(layout)); }

layout_item_t* layout_finish(layout_t* layout) {
    layout_item_t* item = layout_push_item(layout, layout_item_finish);
    if (!layout_is_building(layout)) return item;
    ASSERT(!layout->finished);
    layout->finished = 1;
    // Without its item the replay can't add the paddings: neither does the measure.
    if (item_builds(layout, item)) finish_apply(layout);
    return item;
}

bool layout_item_visible(const layout_t* layout, const layout_item_t* item) {
    ASSERT(item->kind == layout_item_text || item->kind == layout_item_box);
    rect_t r = item->kind == layout_item_text ? item->text.bounds : item->box.rect;
    return rect_overlaps(r, rect_t{layout->x, layout->y, layout->x + layout->width, layout->y + layout->height});
}

void layout_replay_state(layout_t* layout, layout_item_t* item) {
    switch (item->kind) {
    case layout_item_set_font:
        layout->font = item->font;
        break;
    case layout_item_push_colour:
        colour_push(layout, item);
        break;
    case layout_item_pop_colour:
        colour_pop(layout);
        break;
    default:
        break;
    }
}

// Positions.

struct flip_t {
    f32 origin_x;
    f32 flip;
};

static rect_t flip_rect(flip_t f, rect_t r) {
    return rect_t{r.x0 + f.origin_x, f.flip - r.y1, r.x1 + f.origin_x, f.flip - r.y0};
}

static void text_flip(flip_t f, layout_text_t* text) {
    text->bounds = flip_rect(f, text->bounds);
    for (u32 i = 0; i < text->run_count; i++) text->runs[i].rect = flip_rect(f, text->runs[i].rect);
    for (u32 i = 0; i < text->line_count; i++) text->lines[i].rect = flip_rect(f, text->lines[i].rect);
}

static f32 scroll_clamp(f32 scroll, f32 extent, f32 view) {
    f32 limit = max_of(0.0f, extent - view);
    return roundf(min_of(max_of(scroll, 0.0f), limit));
}

void layout_end(layout_t* layout, u32 partial) {
    PROFILE_ZONE(layout_end);
    ASSERT(layout->finished);
    layout->finished = 0;

    // 1. The offsets, within the content and on whole pixels.
    if (!(layout->flags & layout_flag_keep_scroll)) {
        layout->scroll_x = scroll_clamp(layout->scroll_x, layout->max_x, layout->width);
        layout->scroll_y = scroll_clamp(layout->scroll_y, layout->max_y, layout->height);
    }
    // 2. From layout space, y down from the view's top, to the screen, y up.
    flip_t f = {layout->x - layout->scroll_x, layout->y + layout->height + layout->scroll_y};

    // 3. Replay, with the text recording its visible runs this time.
    f32 saved_max_x = layout->max_x, saved_max_y = layout->max_y;
    pen_reset(layout);
    style_reset(layout);
    bool finish_met = false;
    for (u32 i = 0; i < layout->item_count; i++) {
        layout_item_t* item = &layout->items[i];
        switch (item->kind) {
        case layout_item_text:
            layout_text_replay(layout, item);
            text_flip(f, &item->text);
            break;
        case layout_item_advance:
            advance_apply(layout, item);
            break;
        case layout_item_set_wrap:
            wrap_apply(layout, item);
            break;
        case layout_item_new_line:
            new_line_apply(layout);
            break;
        case layout_item_set_font:
        case layout_item_push_colour:
        case layout_item_pop_colour:
            layout_replay_state(layout, item);
            break;
        case layout_item_set_flags:
            layout->flags = item->flags;
            break;
        case layout_item_box:
            box_apply(layout, item);
            item->box.rect = flip_rect(f, item->box.rect);
            break;
        case layout_item_finish:
            finish_apply(layout);
            finish_met = true;
            break;
        case layout_item_mark:
        case layout_item_remaining:
            break;
        default:
            ASSERT(false);
        }
        // 4. What lies below the view needn't be placed.
        if (partial && f.flip - layout->pen_y < layout->y) return;
    }
    // 5. A description that pushed different items in different passes shows here.
    if (!partial) {
        ASSERT(finish_met || layout->items_dropped);
        ASSERT(fabsf(layout->max_x - saved_max_x) <= 0.001f && fabsf(layout->max_y - saved_max_y) <= 0.001f);
    }
}
