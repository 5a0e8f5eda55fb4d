// The left side of the window: the generation bar above the feed list, the list's
// keyboard, its per-frame counts, its scrolling and its drawing. The list owns the
// selection that decides what the right panel shows.
#pragma once

#include "base/data.h"
#include "base/rect.h"
#include "base/types.h"

struct app_t;
struct reader_t;
struct feed_t;
struct entry_t;
struct panel_t;
struct input_frame_t;

// Geometry of the list, in pixels.
constexpr f32 list_feed_row_height = 24;
constexpr f32 list_feed_block_height = 26;  // the feed row and its bottom margin
constexpr f32 list_entry_row_height = 20;
constexpr f32 list_block_gap = 2;
constexpr f32 list_scroll_margin = 160;  // 8 entry rows kept around a keyboard selection
constexpr f32 list_scroll_bar_width = 16;
constexpr f32 list_scroll_bar_room = 18;
constexpr u32 list_not_recorded = 0xFFFFFFFFu;

// Built by the counting pass in the frame's memory.
struct list_counts_t {
    u32 feed_rows;
    u32 entry_rows;
    u32 selected_feed_row;
    u32 selected_feed_slot;
    u32 rows_before_selected_feed;
    u32 selected_entry_row;
    u32 selected_entry_index;
    u32* feed_entry_rows;  // per feed slot
    u32* feed_updating;    // per feed slot
    u32* feed_first_entry_slot;  // per feed slot: where the drawing starts its walk
    u64 slots;
};

// The masks that the deleted filter stands for; the feed's required mask is always 0.
struct list_masks_t {
    u32 entry_required;
    u32 entry_allowed;
    u32 feed_allowed;
};
list_masks_t list_masks(u32 deleted_filter);

bool feed_is_shown(const feed_t* feed, const panel_t* panel, u32 entry_rows, u32 updating);
bool entry_is_shown(const entry_t* entry, const panel_t* panel);

// After any change of the selection: back to the selection view, the entry to be
// parsed again, and a feed alone puts its address in the feed view's box.
void panel_reset(app_t* app);

// The list's keys for this frame: at most one acts.
void list_handle_keys(app_t* app, reader_t* reader, const input_frame_t* input);
// The counts of this frame, in the app's scratch memory.
list_counts_t* list_count(app_t* app, reader_t* reader);
f32 list_total_height(const list_counts_t* counts);
// Wheel, then the keyboard's selection kept in view, then the clamp.
void list_scroll_update(panel_t* panel, const list_counts_t* counts, f32 panel_height, f32 wheel_steps);

// The link that Return opens: an RSS entry's link, an Atom entry's first alternate.
data_t list_entry_link(reader_t* reader, const entry_t* entry);

// The generation bar's actions, by their order on the bar (1 to 7), and the H key.
void list_generation_action(app_t* app, reader_t* reader, u32 order);
void list_toggle_show_empty(app_t* app, reader_t* reader);

void draw_menu_left(app_t* app, reader_t* reader, rect_t rect);
void draw_left_panel(app_t* app, reader_t* reader, rect_t rect);
