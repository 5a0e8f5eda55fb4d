// The feed view, drawn straight onto its rows: a handful of widgets need no layout
// pass.
#include "views/view_feed.h"

#include <cmath>

#include "app/app.h"
#include "base/log.h"
#include "base/text.h"
#include "profiler/profiler.h"
#include "store/reader.h"
#include "ui/ui_button.h"
#include "ui/ui_core.h"
#include "ui/ui_list.h"
#include "ui/ui_text_box.h"
#include "views/panel.h"
#include "views/window_content.h"

void feed_save_address(reader_t* reader, feed_t* feed, data_t text) {
    if (text.used <= feed->address.reserved && feed->address.bytes) {
        if (text.used) bytes_copy(feed->address.bytes, text.bytes, text.used);
        feed->address.used = text.used;
        return;
    }
    if (!reader_try_store_string(reader, text, &feed->address)) {
        log_write_c_string(log_user, "The feed's new address was not saved: the store holds no more text.\n");
    }
}

u32 feed_target_row(const reader_t* reader, const feed_meta_t* meta) {
    if (!meta || !meta->link_target) return 0;
    u64 row = (u64)(meta->link_target - reader->link_targets);
    return row < reader_link_target_count ? (u32)row : 0;
}

static void feed_text(ui_t* ui, f32 x, rect_t row, data_t text) {
    ui_layer_t layer = ui_layer(ui, UI_ID());
    const font_t* face = ui_font(ui, 1);
    f32 y = (row.y0 + row.y1) / 2 - face->size / 2 + font_baseline(face);
    ui_draw_text(layer, text, x, floorf(y), 1, 1, colour_white);
}

static f32 text_width(const ui_t* ui, data_t text) {
    return ceilf(layout_get_single_line_size(ui_font(ui, 1), text.bytes, text.used, codepoint_invalid).width);
}

static void draw_feed(app_t* app, reader_t* reader, rect_t rect, bool rss) {
    ui_t* ui = app->ui;
    panel_t* panel = app->panel;
    feed_t* feed = panel->selected_feed;
    if (!feed) return;
    feed_meta_t* meta = reader_find_meta(reader, feed->id);
    u32 requested = 0;
    f32 height = ceilf(button_height(ui, 1));
    f32 x0 = rect.x0 + 4, x1 = rect.x1 - 4;
    f32 top = floorf(rect.y1 - 4);

    // The address and its "Save".
    const data_t uri = data_literal("URI: "), save = data_literal("Save");
    rect_t row = {x0, top - height, x1, top};
    feed_text(ui, x0, row, uri);
    f32 save_width = button_width(ui, save, 1);
    f32 box_x = x0 + text_width(ui, uri) + 2;
    rect_t box = {box_x, row.y0, fmaxf(box_x + 40, x1 - 2 - save_width), row.y1};
    if (ui_dispatch_begin(ui, box)) ui_text_box(ui, pair_push(UI_ID(), (i64)(uintptr_t)feed), box, &panel->uri_buffer, 1);
    rect_t save_box = {box.x1 + 2, row.y0, box.x1 + 2 + save_width, row.y1};
    if (ui_dispatch_begin(ui, save_box) && ui_button(ui, UI_ID(), save_box, save, 1)) {
        feed_save_address(reader, feed, panel->uri_buffer);
    }
    top = row.y0 - 10;

    // The options, each a bit of the feed's record.
    static const data_t options[3] = {data_literal("Sort oldest to newest entries."), data_literal("Hide enclosure."),
                                      data_literal("Draw enclosure image.")};
    static const u32 bits[3] = {1, 2, 4};
    f32 box_size = ui_font(ui, 1)->size;
    for (u32 i = 0; i < (rss ? 3u : 1u); i++) {
        rect_t check = {x0, top - box_size, x0 + box_size + 4 + text_width(ui, options[i]), top};
        u32 value = meta && (meta->flags & bits[i]) ? 1 : 0;
        u32 before = value;
        if (meta && ui_dispatch_begin(ui, check)) {
            ui_check_box_label(ui, pair_push(UI_ID(), (i64)i + 1), check, &value, options[i], 1);
        }
        if (meta && value != before) {
            meta->flags = value ? meta->flags | bits[i] : meta->flags & ~bits[i];
            if (i == 0) {
                reader_sort_feed(reader, feed);
                requested = 1;
            }
        }
        top = check.y0 - 2;
    }
    top -= 8;

    // The link target.
    const data_t executable = data_literal("Executable: ");
    row = rect_t{x0, top - height, x1, top};
    feed_text(ui, x0, row, executable);
    data_t names[reader_link_target_count];
    for (u32 i = 0; i < reader_link_target_count; i++) names[i] = reader->link_targets[i].name;
    u64 target = feed_target_row(reader, meta);
    u64 chosen = target;
    f32 drop_x = x0 + text_width(ui, executable);
    rect_t drop = {drop_x, row.y0, fmaxf(drop_x + 60, x1), row.y1};
    if (meta && ui_dispatch_begin(ui, drop)) {
        ui_drop_down(ui, UI_ID(), drop, names, reader_link_target_count, &chosen, 1);
    }
    if (meta && chosen != target && chosen < reader_link_target_count) meta->link_target = &reader->link_targets[chosen];
    top = row.y0 - 10;

    // Delete or restore: restoring brings back the entries deleted one by one too.
    const data_t restore = data_literal("Restore feed");
    data_t label = feed_is_deleted(feed) ? restore : data_literal("Delete feed");
    rect_t button = {x0, top - height, x0 + button_width(ui, restore, 1), top};
    if (ui_dispatch_begin(ui, button) && ui_button(ui, UI_ID(), button, label, 1)) {
        if (feed_is_deleted(feed)) {
            feed_restore(reader, feed, true);
        } else {
            feed_mark_deleted(reader, feed);
        }
        requested = 1;
    }
    // The loop clears the request at each frame's start: this only adds to it.
    if (requested) panel->frame_requested = 1;
}

void draw_feed_rss(app_t* app, reader_t* reader, rect_t rect) {
    PROFILE_ZONE(draw_feed_rss);
    draw_feed(app, reader, rect, true);
}

void draw_feed_atom(app_t* app, reader_t* reader, rect_t rect) {
    PROFILE_ZONE(draw_feed_atom);
    draw_feed(app, reader, rect, false);
}
