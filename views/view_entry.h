// The entry view: the head of the selected entry (title, date line, link,
// enclosure) and its description below it.
#pragma once

#include "base/data.h"
#include "base/rect.h"

struct app_t;
struct reader_t;
struct feed_t;
struct entry_t;

// What the head shows, computed at the start of each frame from the entry. The
// texts point into the reader's strings or into `block`.
struct entry_head_t {
    data_t title, link, date_text, author_text, contributor_text, description;
    data_t enclosure_url, enclosure_name, enclosure_size;
    u32 contributor_count;
    u32 video_feed;  // the description is the video's markup, the summary its thumbnail
    u32 show_enclosure;
    u32 show_enclosure_picture;
};

// A feed from the video service: its thumbnails come in the entries' summaries.
bool entry_feed_is_video(data_t feed_address);
// The part of an address behind its last "/" up to the first "?" behind that,
// or the whole address when it has no "/".
data_t entry_enclosure_name(data_t url);
// Whether a picture enclosure may be shown: the extension of the address's path is
// png, jpg or jpeg, in lower case only.
bool entry_enclosure_is_picture(data_t url);

entry_head_t entry_head_rss(reader_t* reader, const feed_t* feed, const entry_t* entry, data_t* block);
entry_head_t entry_head_atom(reader_t* reader, const feed_t* feed, const entry_t* entry, data_t* block);

struct panel_t;
// The selected entry's description parsed into the panel's html_memory, once per
// selection; a description that doesn't parse leaves no walk, and the parser's
// report goes to the log panel. `scratch` lends room for the report's copy.
void entry_content_parse(panel_t* panel, data_t description, data_t* scratch);
// Bytes from the panel's html_memory, committed as needed up to its reservation;
// empty when the reservation can't hold them.
data_t html_memory_push(panel_t* panel, u64 size);
constexpr u64 html_memory_reserve_size = MIB(100);
constexpr u64 html_memory_commit_step = 0x100000;

void draw_entry_rss(app_t* app, reader_t* reader, rect_t rect);
void draw_entry_atom(app_t* app, reader_t* reader, rect_t rect);
