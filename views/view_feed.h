// The feed view: a selected feed's address override, sorting and enclosure options,
// link target, and its delete or restore button.
#pragma once

#include "base/data.h"
#include "base/rect.h"

struct app_t;
struct reader_t;
struct feed_t;
struct feed_meta_t;

// A manual override, kept as typed: in place when it fits the old block, else a
// fresh copy in the reader's strings.
void feed_save_address(reader_t* reader, feed_t* feed, data_t text);
// The drop-down's row for the feed's target; a feed never given one shows row 0.
u32 feed_target_row(const reader_t* reader, const feed_meta_t* meta);

void draw_feed_rss(app_t* app, reader_t* reader, rect_t rect);
void draw_feed_atom(app_t* app, reader_t* reader, rect_t rect);
