// An entry's HTML in the right panel: the tree walked into layout items (text,
// links, headings, pictures), the logic of links and pictures over those items in
// the widget pass, and the placeholder that stands for a picture not yet shown.
// Nothing is styled: a handful of elements matter, the rest flows as text.
#pragma once

#include "base/data.h"
#include "base/rect.h"

struct app_t;
struct ui_t;
struct pair_t;
struct panel_t;
struct reader_t;
struct layout_t;
struct layout_item_t;
struct image_query_t;
struct hp_tree_walk_t;
struct html_node_t;

constexpr colour_t html_link_colour = {0.94f, 0.46f, 0.14f, 1};
constexpr colour_t html_link_hover_colour = {0, 0.48f, 0.8f, 1};
constexpr colour_t html_error_colour = {1, 0, 0, 1};

// Marks in the items: a (html_mark_link, pointer to the link's data_t) opens a link,
// (html_mark_link, 0) closes it. Kind 2 is kept free and ignored.
enum : u64 {
    html_mark_link = 1,
    html_mark_reserved = 2,
};

// What a parse has already said on the log panel (panel_t::html_reported), so that
// the passes of every frame don't repeat it.
enum : u32 {
    html_report_image_without_source = 1,
};

// Where the size pass may take up its walk without the content before it: a block
// element about to start, its line's top `y` below the HTML's first line, and
// what the walk carried there.
struct html_checkpoint_t {
    html_node_t* node;  // the walk's
    u32 index, depth;
    u64 stack;  // the walk's stack, copied at html_cache_t::stacks + stack
    f32 y;
    u32 font;
    const data_t* link;
    u32 skip_text;
};

// What a whole walk measured, for the frames after it: a long entry is then laid out
// only around the view, with advances standing for what lies above and below. It
// holds while the wrap, the font and the entry's pictures stay as they were.
struct html_cache_t {
    u32 valid;
    f32 wrap_width;
    u32 font;
    u64 pictures;  // a digest of the entry's picture slots and their states
    f32 height;    // of the whole HTML part
    f32 max_x;
    html_checkpoint_t* checkpoints;
    u32 checkpoint_count, checkpoint_capacity;
    u32* stacks;
    u64 stack_used, stack_capacity;
};
// Made after each parse in the parse's memory; without room the cache stays off.
void html_cache_create(panel_t* panel);

// In a building pass the size pass pushes the items and html_end is noted; in the
// widget pass the interact pass acts on them; in the drawing pass they are only
// stepped over.
void html_pass(panel_t* panel, layout_t* layout, hp_tree_walk_t* walk, u32 font, app_t* ctx, reader_t* reader);
// Stops early in a first measure that already went past the view: the measures
// that follow, with the bars known, do the whole.
void html_size_pass(panel_t* panel, layout_t* layout, hp_tree_walk_t* walk, u32 font);
void html_interact_pass(ui_t* ui, panel_t* panel, reader_t* reader, layout_t* layout);
void html_skip_pass(panel_t* panel, layout_t* layout);

// A picture at the pen: the box of its size once it is ready, else its placeholder.
// `url` stays valid for the frame; it is the boxes' user value. `start` asks for
// the download, `resize` for the size once it has loaded; the size is asked for in
// the widget pass only.
void html_picture(layout_t* layout, u32 entry_id, const data_t* url, data_t alternate, bool start, bool resize);
// "[img]", the alternate text, what the query is doing, "[/img]", behind a box of
// 1 by 1 whose user value is `url` (0 when there is none: nothing will load).
void image_placeholder_text(layout_t* layout, data_t alternate, const data_t* url, image_query_t* query);
// The state of a query as this frame sees it; 0 without a query.
u32 html_image_state(image_query_t* query);

// One rectangle of a link: true on a click, which comes at the release over it.
bool link_logic(ui_t* ui, pair_t id, rect_t rect);
// link_logic over each visible run of a text item, in the logic halves only.
bool link_text_logic(ui_t* ui, pair_t id, const layout_item_t* text_item);
// Hands a clicked link to the feed's link target and asks for one more frame.
void html_link_use(panel_t* panel, reader_t* reader, data_t link);
