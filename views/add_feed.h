// The add feed panel: one address, a file of addresses, and the export of every
// feed's address to a file.
#pragma once

#include "base/data.h"
#include "ui/ui_core.h"
#include "base/rect.h"

struct app_t;
struct reader_t;

void draw_add_feed(app_t* app, reader_t* reader, rect_t rect);
// A button that puts the path chosen in the desktop's file dialog into `text`; a
// cancelled dialog keeps the text.
void browse_button(ui_t* ui, rect_t box, data_t label, pair_t id, data_t* text);
// Every feed's address and a line feed, in pool order, deleted feeds too, to
// `path`, or to list.txt in the desktop folder when `path` is empty.
void add_feed_export(app_t* app, reader_t* reader, data_t path);
