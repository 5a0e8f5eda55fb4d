// The feed view: the address override and its "Save", the options, the link
// target and the delete or restore button, laid out in passes with a scroll.
#include "views/view_feed.h"

#include <cmath>

#include "app/app.h"
#include "base/log.h"
#include "base/text.h"
#include "layout/layout.h"
#include "profiler/profiler.h"
#include "store/reader.h"
#include "ui/ui_button.h"
#include "ui/ui_core.h"
#include "ui/ui_layout_bars.h"
#include "ui/ui_list.h"
#include "ui/ui_text_box.h"
#include "views/panel.h"
#include "views/panel_draw.h"
#include "views/window_content.h"

void feed_save_address(reader_t* reader, feed_t* feed, data_t text) {
    if (text.used <= feed->address.reserved && feed->address.bytes) {
        if (text.used) bytes_copy(feed->address.bytes, text.bytes, text.used);
        feed->address.used = text.used;
        return;
    }
    if (!reader_try_store_string(reader, text, &feed->address)) {
        log_paragraph_start(log_user);
        log_write_c_string(log_user, "The feed's new address was not saved: the store holds no more text.\n");
    }
}

u32 feed_target_row(const reader_t* reader, const feed_meta_t* meta) {
    if (!meta || !meta->link_target) return 0;
    u64 row = (u64)(meta->link_target - reader->link_targets);
    return row < reader_link_target_count ? (u32)row : 0;
}

static layout_item_t* feed_slot(layout_t* layout, f32 width, f32 height) {
    return layout_box(layout, width, height, 0, layout_box_pen_right | layout_box_ceil);
}

static const data_t feed_options[3] = {data_literal("Sort oldest to newest entries."), data_literal("Hide enclosure."),
                                       data_literal("Draw enclosure image.")};
static const u32 feed_option_bits[3] = {feed_meta_oldest_first, feed_meta_hide_enclosure,
                                        feed_meta_draw_enclosure_picture};

// The widgets on their slots; gives 1 when the sort or the delete button acted.
static u32 feed_widgets(app_t* app, reader_t* reader, feed_t* feed, layout_item_t* const* slots, u32 options) {
    ui_t* ui = app->ui;
    panel_t* panel = app->panel;
    feed_meta_t* meta = reader_find_meta(reader, feed->id);
    u32 requested = 0;
    ui_text_box(ui, pair_push(UI_ID(), (i64)(uintptr_t)feed), slots[0]->box.rect, &panel->uri_buffer, 1);
    if (ui_button(ui, UI_ID(), slots[1]->box.rect, data_literal("Save"), 1)) {
        feed_save_address(reader, feed, panel->uri_buffer);
    }
    for (u32 i = 0; meta && i < options; i++) {
        u32 value = (meta->flags & feed_option_bits[i]) ? 1 : 0;
        if (!ui_check_box_label(ui, pair_push(UI_ID(), (i64)i + 1), slots[2 + i]->box.rect, &value, feed_options[i],
                                1)) {
            continue;
        }
        meta->flags = value ? meta->flags | feed_option_bits[i] : meta->flags & ~feed_option_bits[i];
        if (feed_option_bits[i] == feed_meta_oldest_first) {
            reader_sort_feed(reader, feed);
            requested = 1;
        }
    }
    if (meta) {
        data_t names[reader_link_target_count];
        for (u32 i = 0; i < reader_link_target_count; i++) names[i] = reader->link_targets[i].name;
        u64 target = feed_target_row(reader, meta);
        u64 chosen = target;
        ui_drop_down(ui, UI_ID(), slots[5]->box.rect, names, reader_link_target_count, &chosen, 1);
        if (chosen != target && chosen < reader_link_target_count) meta->link_target = &reader->link_targets[chosen];
    }
    // Restoring brings back the entries deleted one by one too.
    bool deleted = feed_is_deleted(feed);
    data_t label = deleted ? data_literal("Restore feed") : data_literal("Delete feed");
    if (ui_button(ui, UI_ID(), slots[6]->box.rect, label, 1)) {
        if (deleted) {
            feed_restore(reader, feed, true);
        } else {
            feed_mark_deleted(reader, feed);
        }
        requested = 1;
    }
    return requested;
}

static void draw_feed(app_t* app, reader_t* reader, rect_t rect, bool rss) {
    ui_t* ui = app->ui;
    panel_t* panel = app->panel;
    feed_t* feed = panel->selected_feed;
    if (!feed) return;
    const data_t uri = data_literal("URI: "), executable = data_literal("Executable: ");
    const f32 height = ceilf(button_height(ui, 1));
    const f32 drop = floorf((height - ui_font(ui, 1)->size) / 2);
    const f32 save_width = button_width(ui, data_literal("Save"), 1);
    // "Restore feed" is the wider label: the button keeps its size either way.
    const f32 button = button_width(ui, data_literal("Restore feed"), 1);
    const f32 check_height = ceilf(ui_font(ui, 1)->size);
    const u32 options = rss ? 3 : 1;
    static const f32 padding[4] = {4, 4, 4, 4};

    layout_t layout;
    layout_create(&layout, &app->scratch, ui->fonts, rect, panel->entry_scroll.x, panel->entry_scroll.y, padding);
    u32 requested = 0;
    while (layout_pass_start(&layout)) {
        ui_set_mode(ui, ui_mode_from_layout(&layout));
        view_scroll_bars(&panel->entry_scroll, ui, &layout, rect);
        if (layout_pass_ready(&layout, 0)) continue;
        layout_set_flags(&layout, layout_flag_partly_visible);
        layout_set_font(&layout, 1);
        layout_set_wrap(&layout, 0, layout_remaining(&layout), layout_wrap_eat_space);
        // Slots: the address box, "Save", three options, the drop-down, the button.
        layout_item_t* slots[7] = {};
        label_beside(&layout, uri, 2, drop);
        slots[0] = feed_slot(&layout, fmaxf(layout_remaining_floor(&layout) - 2 - save_width, 40), height);
        layout_advance(&layout, 2, 0, 0);
        slots[1] = feed_slot(&layout, save_width, height);
        layout_new_line(&layout);
        layout_advance(&layout, 0, 10, 0);
        for (u32 i = 0; i < options; i++) {
            if (i) layout_advance(&layout, 0, 2, 0);
            slots[2 + i] = feed_slot(&layout, check_height + 4 + label_width(ui, feed_options[i]), check_height);
            layout_new_line(&layout);
        }
        layout_advance(&layout, 0, 10, 0);
        label_beside(&layout, executable, 0, drop);
        slots[5] = feed_slot(&layout, fmaxf(layout_remaining_floor(&layout), 60), height);
        layout_new_line(&layout);
        layout_advance(&layout, 0, 10, 0);
        slots[6] = feed_slot(&layout, button, height);
        layout_new_line(&layout);
        layout_finish(&layout);
        if (ui_mode_is_live(ui) && !layout.restart) requested |= feed_widgets(app, reader, feed, slots, options);
    }
    ui_set_mode(ui, ui_mode_both);
    panel_draw_items(app, panel, &layout);
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
