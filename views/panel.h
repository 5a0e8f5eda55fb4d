// panel_t: the view state that lasts between frames, zeroed at start and never
// saved. The views own it; of what lies below them, nothing reads it. The fields
// that the drain of finished downloads and the start-up read come first; each
// view's own follow, with a line on what they are for.
#pragma once

#include "base/data.h"
#include "html/tree.h"
#include "views/html_view.h"
#include "ui/ui_layout_bars.h"

struct feed_t;
struct entry_t;

// Values of right_panel.
enum : u32 {
    panel_right_selection = 0,  // the selected entry or feed, help when nothing is
    panel_right_help = 1,
    panel_right_add_feed = 2,
    panel_right_links = 3,
    panel_right_log = 4,
};

typedef scroll_offsets_t panel_scroll_t;

// The log panel's lines, found as the channel grows: where each begins, and the
// widest of those ended so far. The layout then takes only the lines in view.
struct log_lines_t {
    const u8* text;  // the channel's block and its wraps when the lines were found
    u64 wraps;
    u64 scanned;     // the start of the last line, which is still open
    data_t starts;   // u32 offsets, one a line
    u32 count;
    f32 widest;
};

struct panel_t {
    // The selection: pointers into the reader, valid until the next merge, sort or
    // save; the drain finds them again by id after each merge.
    feed_t* selected_feed;
    entry_t* selected_entry;
    u32 right_panel;
    // Set by a view that knows the next frame differs though no input will come.
    u32 frame_requested;
    // The generations the left panel shows, both inclusive.
    u32 generation_min;
    u32 generation_max;
    u32 log_auto_scroll;  // the log panel's "Auto scroll." box
    // Scroll offsets of the right panels, in pixels from the content's top left.
    panel_scroll_t help_scroll, add_feed_scroll, links_scroll, log_scroll;
    log_lines_t log_lines;
    u32 help_valid;  // the help's kept layout may be drawn as it is
    // The add feed panel's three paths, kept while the panel is closed.
    data_t add_feed_address, add_feed_list_path, add_feed_export_path;
    u8 add_feed_address_bytes[1024];
    u8 add_feed_list_path_bytes[1024];
    u8 add_feed_export_path_bytes[1024];
    // The feed list.
    f32 list_scroll;      // pixels from the list's top, never negative
    panel_scroll_t entry_scroll;  // the entry and feed views' scroll
    u32 content_parsed;   // the selected entry's HTML is parsed
    u32 keyboard_moved;   // the keyboard moved the selection in this frame
    u32 show_empty;       // "Show empty"
    u32 deleted_filter;   // 0 "Feeds", 1 "Deleted", 2 "Both"
    // The entry view's HTML, parsed once per selection (content_parsed). All of it
    // lies in html_memory, pushed into the part of html_region committed so far.
    data_t html_region;  // 100 MiB reserved; used counts the committed bytes
    data_t html_memory;  // the committed part; used counts what the parse took
    html_tokens_t html_tokens;
    html_tree_t html_tree;
    hp_tree_walk_t html_walk;  // stack null: no tree, the description shows as text
    u64 html_end;              // items at the end of the HTML part of the layout
    u32 html_reported;         // html_report_* bits said on the log panel since the parse
    html_cache_t html_cache;
    // The feed view's "URI: " box, filled with the feed's address on selection.
    data_t uri_buffer;
    u8 uri_buffer_bytes[4096];
};

// The log panel, as F7 shows it, from its left edge.
inline void panel_show_log(panel_t* panel) {
    panel->log_scroll.x = 0;
    panel->right_panel = panel_right_log;
}
