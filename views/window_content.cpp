// The window's frame, the right side's strip of buttons and its panel switch, and
// the two simplest panels: help and the log.
#include "views/window_content.h"
#include "views/view_entry.h"
#include "views/view_feed.h"
#include "views/view_list.h"

#include <cfloat>
#include <cmath>
#include <cstring>

#include "app/app.h"
#include "app/update.h"
#include "base/log.h"
#include "base/text.h"
#include "gfx/draw.h"
#include "layout/layout.h"
#include "net/queries.h"
#include "platform/thread.h"
#include "profiler/profiler.h"
#include "store/reader.h"
#include "store/reader_file.h"
#include "ui/ui_button.h"
#include "ui/ui_core.h"
#include "ui/ui_layout_bars.h"
#include "views/add_feed.h"
#include "views/links.h"
#include "views/links_panel.h"
#include "views/panel.h"
#include "views/panel_draw.h"

extern const char help_text[] =
    "The left panel displays a list of feeds and their entries. They are grouped by «generations», which are more or "
    "less a run of the program. By default only the last generation will be displayed (any feeds or entries that were "
    "added in the last run of the program and that you didn't delete), and you can use the buttons at the top to "
    "configure the generation range.\n"
    "\n"
    "[ | ] Set the generation to the minimun <S>.\n"
    "[ -] ] Decrease the generation minimum, but keeps the generation maximum. <Shift + NumPad->.\n"
    "[ - ] Decrease the generation minimum and set the maximum to the same value. <NumPad->.\n"
    "[All] Display all generations. <A> .\n"
    "[ + ] Increase the generation maximum and set the minimum to the same value. <NumPad+>.\n"
    "[ [+ ] Increase the generation maximum, but keeps the generation minimum. <Shift + NumPad+>.\n"
    "[ | ] Set the generation to the maximum <E>.\n"
    "\n"
    "You can use [Show empty] to display feeds that don't contain any entries, and the dropdown list to display "
    "deleted entries.\n"
    "\n"
    "Use <Up arrow>, <Down arrow>, <Page up>, <Page down> to select a feed or entry, <Return> to open the link from "
    "the selected entry, <Delete> to remove the selected entry, <Shift + Delete> to remove the selected feed, "
    "<Backspace> to restore the selected entry or feed, <Shift + Backspace> to restore the selected feed and its "
    "entries.\n"
    "\n"
    "\n"
    "The right panel displays feed information, entry content or some configuration. The feed display gives some "
    "options (depending on the type of feed, RSS or Atom) and which configuration to use to open links. You can setup "
    "those configurations in the [Links F3] panel.\n"
    "\n"
    "Deleted feed and entries can be restored, but will be completly lost when the application closes. The application "
    "will not update the feed list on startup, you need to use one of the update button at the top. There is no need "
    "to manually save, the application will save on exit. The save button is there for testing.\n"
    "\n"
    "You can pass \"-path some_path\" as an argument to the program to use a different storage path. By default it's a "
    "\"newsloom\" folder in the $XDG_CONFIG_HOME folder, or in ~/.config when that isn't set.";

// The split between the sides, made on the first frame.
static splitter_t window_splitter;
static u32 window_splitter_made;

f32 button_height(const ui_t* ui, u32 font) {
    const ui_style_t* style = &ui_theme.button;
    return ui_font(ui, font)->size + style->margin[0] + style->margin[1] + style->padding[0] + style->padding[1];
}

f32 button_width(const ui_t* ui, data_t text, u32 font) {
    const ui_style_t* style = &ui_theme.button;
    f32 width = layout_get_single_line_size(ui_font(ui, font), text.bytes, text.used, codepoint_invalid).width;
    return ceilf(width + style->margin[2] + style->margin[3] + style->padding[2] + style->padding[3]);
}

f32 label_width(const ui_t* ui, data_t text) {
    return ceilf(layout_get_single_line_size(ui_font(ui, 1), text.bytes, text.used, codepoint_invalid).width);
}

void label_beside(layout_t* layout, data_t text, f32 gap, f32 drop) {
    layout_advance(layout, 0, drop, 0);
    layout_string(layout, text);
    layout_advance(layout, gap, -drop, layout_advance_ceil_x);
}

void show_log(app_t* app) { panel_show_log(app->panel); }

// The save numbers the generations that hold entries 1, 2 and on. A bound of the
// panel's range goes with the generation it names, or to the nearest one inside
// the range when no entry has it; the run's first generation likewise. Once the
// run's first request moved the generation on, that generation stays though no
// entry has come in yet: the save alone would drop it and give its number to the
// last run, which what the update still brings would then join.
struct generation_map_t {
    u32 min, max, start, current;
};
static generation_map_t generations_after_save(app_t* app, reader_t* reader) {
    panel_t* panel = app->panel;
    generation_map_t kept = {panel->generation_min, panel->generation_max, app->start_generation,
                             reader->generation};
    data_t table = data_free_view_64(&app->scratch);
    u64 size = (u64)reader->generation + 1;
    if (table.reserved < size) return kept;
    u8* present = table.bytes;
    bytes_zero(present, size);
    for (u32 i = 0; i < reader->entries.max_entry_count; i++) {
        entry_t* entry = (entry_t*)pool_at(&reader->entries, sizeof(entry_t), i);
        if (entry_is_alive(entry) && entry->generation < size) present[entry->generation] = 1;
    }
    if (app->start_generation != reader->generation) present[reader->generation] = 1;
    generation_map_t after = {1, 0, 0, 0};
    for (u64 g = 0; g < size; g++) {
        if (!present[g]) continue;
        after.min += g < kept.min;
        after.max += g <= kept.max;
        after.start += g <= kept.start;
        after.current += 1;
    }
    if (after.min > after.max) after.min = after.max;
    return after;
}

// The updates in flight name their feeds by id, which the save renumbers: the
// compaction's slot i takes id i + 1. Each is carried to its feed's new id, and
// one whose feed is gone to none, so that no document merges into another feed.
static void queries_feed_ids_after_save(app_t* app, reader_t* reader, u32* ids) {
    pool_t* feeds = &reader->feeds;
    for (u64 i = 0; i < app->query_count; i++) {
        query_t* query = &app->queries[i];
        ids[i] = query->feed_id;
        if (atomic_load_acquire_u32(&query->state) == query_state_free || query->feed_id == query_new_feed) continue;
        feed_t* feed = reader_find_feed_by_id(reader, query->feed_id);
        ids[i] = feed ? (u32)pool_compacted_slot(feeds, sizeof(feed_t), feed_is_alive,
                                                 pool_index_of(feeds, sizeof(feed_t), feed)) + 1
                      : 0;
    }
}

// A save in mid-run compacts the pools, moving records into the holes below and
// sorting each feed's entries back, and moves every string to the other region.
// The selection is carried to its new place, the generation range to the new
// numbers, and the entry view parses again from the moved text on its next frame.
static void save_in_run(app_t* app, reader_t* reader) {
    panel_t* panel = app->panel;
    pool_t* feeds = &reader->feeds;
    feed_t* feed = panel->selected_feed;
    u64 feed_slot = feed ? pool_compacted_slot(feeds, sizeof(feed_t), feed_is_alive,
                                               pool_index_of(feeds, sizeof(feed_t), feed))
                         : 0;
    // The sort within the save moves the selected entry among its feed's slots:
    // the save carries its id instead.
    reader->held_entry_id = panel->selected_entry ? panel->selected_entry->id : 0;
    generation_map_t generations = generations_after_save(app, reader);
    u32 query_feed_ids[query_table_size];
    ASSERT(app->query_count <= query_table_size);
    queries_feed_ids_after_save(app, reader, query_feed_ids);
    const u8* strings = reader->strings.bytes;
    reader_save(&app->scratch, app->storage_path, reader);
    u32 entry_id = reader->held_entry_id;
    reader->held_entry_id = 0;
    // A save that stopped before the compaction moved nothing.
    if (reader->strings.bytes == strings) return;
    panel->generation_min = generations.min;
    panel->generation_max = generations.max;
    app->start_generation = generations.start;
    if (reader->generation < generations.current) reader->generation = generations.current;
    for (u64 i = 0; i < app->query_count; i++) app->queries[i].feed_id = query_feed_ids[i];
    if (feed) panel->selected_feed = (feed_t*)pool_at(feeds, sizeof(feed_t), feed_slot);
    // After the save, slot i holds id i + 1.
    panel->selected_entry = entry_id ? (entry_t*)pool_at(&reader->entries, sizeof(entry_t), entry_id - 1) : nullptr;
    panel->content_parsed = 0;
}

// The right strip's buttons in reading order, each on the row where it still fits.
// The eight labels need about a thousand pixels in the default faces, more than the
// right side has at the window's first size: rather than cut the last buttons off,
// the strip grows a row for what doesn't fit.
struct menu_right_t {
    data_t labels[8];
    f32 x[8];      // from the strip's left edge
    f32 width[8];
    u32 row[8];    // 0 on top
    u32 rows;
    u8 queued_bytes[64];
};

static void menu_right_measure(const ui_t* ui, const reader_t* reader, f32 width, menu_right_t* menu) {
    data_t queued = data_make(sizeof(menu->queued_bytes), 0, menu->queued_bytes);
    data_push_c_string(&queued, "Open queued links (F4) (");
    queued.used += format_u64(queued.bytes + queued.used, queued.reserved - queued.used,
                              link_queue_count_all(reader), 0, ' ', 0);
    data_push_c_string(&queued, ")");
    const data_t labels[8] = {data_literal("Help (F1)"),       data_literal("Add feed (F2)"),
                              data_literal("Links (F3)"),      queued,
                              data_literal("Update all (F5)"), data_literal("Update selected (F6)"),
                              data_literal("Log (F7)"),        data_literal("Save (F8)")};
    f32 x = 0;
    u32 row = 0;
    for (u32 i = 0; i < 8; i++) {
        f32 button = button_width(ui, labels[i], 1);
        // A button wider than the whole strip keeps a row to itself and is cut there.
        if (x > 0 && x + button > width) x = 0, row++;
        menu->labels[i] = labels[i];
        menu->x[i] = x;
        menu->width[i] = button;
        menu->row[i] = row;
        x += button + 2;
    }
    menu->rows = row + 1;
}

f32 menu_right_height(const ui_t* ui, const reader_t* reader, f32 width) {
    menu_right_t menu;
    menu_right_measure(ui, reader, width, &menu);
    return (f32)menu.rows * (ceilf(button_height(ui, 1)) + 2);
}

void draw_menu_right(app_t* app, reader_t* reader, rect_t rect) {
    PROFILE_ZONE(draw_menu_right);
    ui_t* ui = app->ui;
    panel_t* panel = app->panel;
    menu_right_t menu;
    menu_right_measure(ui, reader, rect_width(rect), &menu);
    f32 height = ceilf(button_height(ui, 1));
    // Rows 2 apart, the lowest 2 above the strip's lower edge.
    f32 top = floorf(rect.y0) + (f32)menu.rows * (height + 2);
    for (u32 i = 0; i < 8; i++) {
        f32 x = rect.x0 + menu.x[i];
        f32 y1 = top - (f32)menu.row[i] * (height + 2);
        rect_t box = {x, y1 - height, x + menu.width[i], y1};
        bool clicked =
            ui_dispatch_begin(ui, box) && ui_button(ui, pair_push(UI_ID(), (i64)i + 1), box, menu.labels[i], 1);
        if (!clicked && !input_struck(&ui->input, key_f1 + i)) continue;
        switch (i) {
            case 0: panel->help_scroll = {}, panel->right_panel = panel_right_help; break;
            case 1: panel->add_feed_scroll = {}, panel->right_panel = panel_right_add_feed; break;
            case 2: panel->links_scroll = {}, panel->right_panel = panel_right_links; break;
            case 3: link_queue_open_all(reader, 1); break;
            case 4: reader_update_all(app, reader); break;
            case 5: reader_update_selected(app, reader); break;
            case 6: show_log(app); break;
            case 7: save_in_run(app, reader); break;
        }
    }
    // Saving by key shows where the save reports; the button leaves the panel be.
    if (input_struck(&ui->input, key_f8)) show_log(app);
}

static const f32 panel_padding[4] = {4, 4, 4, 4};

// The help's layout, kept while the panel's rectangle and the faces stay: its
// text never changes, so a frame that shows it again only draws. The block
// outlives a restart of the program in the same process; `help_valid` in the
// panel doesn't.
struct help_layout_t {
    data_t memory;
    layout_t layout;
    rect_t rect;
    const font_set_t* fonts;
    f32 scale[3];
};
static help_layout_t help_layout;

static bool help_layout_holds(const help_layout_t* kept, const ui_t* ui, rect_t rect) {
    if (kept->fonts != ui->fonts || memcmp(&kept->rect, &rect, sizeof(rect)) != 0) return false;
    for (u32 i = 0; i < 3; i++) {
        if (kept->scale[i] != ui_font(ui, i)->scale) return false;
    }
    return true;
}

// Measured once and drawn: no bars, so text past the panel's end is out of reach.
void draw_help(app_t* app, reader_t* reader, rect_t rect) {
    (void)reader;
    ui_t* ui = app->ui;
    panel_t* panel = app->panel;
    help_layout_t* kept = &help_layout;
    if (!panel->help_valid || !help_layout_holds(kept, ui, rect)) {
        if (!kept->memory.bytes) kept->memory = data_allocate(64 * 1024);
        data_clear(&kept->memory);
        // Without a block of its own the help is laid out in the frame's memory.
        data_t* memory = kept->memory.bytes ? &kept->memory : &app->scratch;
        layout_t* layout = &kept->layout;
        layout_create(layout, memory, ui->fonts, rect, 0, 0, panel_padding);
        layout_pass_start(layout);
        layout_set_flags(layout, layout_flag_partly_visible);
        layout_set_font(layout, 2);
        layout_set_wrap(layout, 0, layout->width - panel_padding[2] - panel_padding[3], layout_wrap_eat_space);
        layout_string(layout, data_literal("Help\n"));
        layout_new_line(layout);
        layout_set_font(layout, 1);
        layout_string(layout, data_literal(help_text));
        layout_new_line(layout);
        layout_finish(layout);
        layout_end(layout, 0);
        layout->state = layout_state_done;
        kept->rect = rect;
        kept->fonts = ui->fonts;
        for (u32 i = 0; i < 3; i++) kept->scale[i] = ui_font(ui, i)->scale;
        panel->help_valid = memory == &kept->memory && !layout->items_dropped;
    }
    panel_draw_items(app, panel, &kept->layout);
}

// The lines' block, kept over a restart of the program in the same process.
static data_t log_lines_kept;

// Lines ended since the last frame are measured once; the open last one each time.
static f32 log_lines_update(log_lines_t* lines, const font_t* font, data_t text, u64 wraps) {
    if (lines->text != text.bytes || lines->wraps != wraps || text.used < lines->scanned || !lines->count) {
        lines->text = text.bytes;
        lines->wraps = wraps;
        lines->scanned = 0;
        lines->count = 1;  // an empty text is one empty line to the layout too
        lines->widest = 0;
        if (!lines->starts.bytes) lines->starts = log_lines_kept;
        if (!lines->starts.bytes) lines->starts = log_lines_kept = data_allocate(64 * 1024 * sizeof(u32));
        if (!lines->starts.bytes) return 0;
        ((u32*)lines->starts.bytes)[0] = 0;
    }
    u64 at = lines->scanned;
    while (at < text.used) {
        const u8* end = (const u8*)memchr(text.bytes + at, '\n', text.used - at);
        if (!end) break;
        if ((u64)(lines->count + 1) * sizeof(u32) > lines->starts.reserved) {
            data_t grown = data_allocate(lines->starts.reserved * 2);
            if (!grown.bytes) break;  // the lines found so far still show
            memcpy(grown.bytes, lines->starts.bytes, (u64)lines->count * sizeof(u32));
            data_free(&lines->starts);
            lines->starts = log_lines_kept = grown;
        }
        u64 length = (u64)(end - (text.bytes + at));
        f32 width = layout_get_single_line_size(font, text.bytes + at, length, codepoint_invalid).width;
        lines->widest = fmaxf(lines->widest, width);
        at += length + 1;
        ((u32*)lines->starts.bytes)[lines->count++] = (u32)at;
    }
    lines->scanned = at;
    u64 open = text.used - at;
    return fmaxf(lines->widest, layout_get_single_line_size(font, text.bytes + at, open, codepoint_invalid).width);
}

void draw_log(app_t* app, reader_t* reader, rect_t rect) {
    (void)reader;
    ui_t* ui = app->ui;
    panel_t* panel = app->panel;
    f32 box_height = ceilf(ui_font(ui, 1)->size + 4);
    rect_t box = {rect.x0 + 4, rect.y1 - 4 - box_height, rect.x1 - 4, rect.y1 - 4};
    if (rect_width(box) > 0 && ui_dispatch_begin(ui, box)) {
        ui_check_box_label(ui, UI_ID(), box, &panel->log_auto_scroll, data_literal("Auto scroll."), 1);
    }
    rect_t area = {rect.x0, rect.y0, rect.x1, box.y0 - 5};
    if (area.y1 <= area.y0 || area.x1 <= area.x0) return;

    // The channel is read in place: its ring holds the text up to the write
    // position. A full channel is megabytes: the layout gets the lines in view
    // only, between two empty boxes as tall as the lines above and below them and
    // as wide as the widest, so that the bars span the whole text.
    log_channel_t* channel = log_channel(log_user);
    data_t text = data_from_size(channel->text.used, channel->text.bytes);
    const font_t* font = ui_font(ui, 3);
    log_lines_t* lines = &panel->log_lines;
    f32 widest = log_lines_update(lines, font, text, channel->wraps);
    const u32* starts = (const u32*)lines->starts.bytes;
    u32 count = starts ? lines->count : 0;
    f32 height = (f32)(font->ascent - font->descent) * font->scale;
    f32 pitch = height + (f32)font->line_gap * font->scale;
    if (pitch <= 0) pitch = fmaxf(font->size, 1);

    if (panel->log_auto_scroll) panel->log_scroll.y = FLT_MAX;
    layout_t layout;
    layout_create(&layout, &app->scratch, ui->fonts, area, panel->log_scroll.x, panel->log_scroll.y, panel_padding);
    u32 first = 0, last = count;
    while (layout_pass_start(&layout)) {
        ui_set_mode(ui, ui_mode_from_layout(&layout));
        if (panel->log_auto_scroll && layout_is_building(&layout)) layout.scroll_y = FLT_MAX;
        view_scroll_bars(&panel->log_scroll, ui, &layout, area);
        // A bar moved under auto scroll goes back to the end at once: no measure more.
        if (panel->log_auto_scroll && layout.state == layout_state_logic) layout.scroll_y = FLT_MAX;
        if (layout_pass_ready(&layout, 0)) continue;
        if (layout_is_building(&layout)) {
            // The lines in view, with one to spare at each end; the passes after the
            // measure replay the same ones.
            f32 bottom = panel_padding[0] + (f32)count * pitch + panel_padding[1];
            f32 top = fminf(layout.scroll_y, bottom - layout.height);
            f32 above = floorf((top - panel_padding[0]) / pitch) - 1;
            first = above > 0 ? (u32)fminf(above, (f32)count) : 0;
            f32 shown = ceilf(layout.height / pitch) + 3;
            last = (u32)fminf((f32)first + shown, (f32)count);
        }
        layout_set_flags(&layout, layout_flag_partly_visible);
        layout_set_font(&layout, 3);
        layout_box(&layout, widest, (f32)first * pitch, 0, 0);
        layout_new_line(&layout);
        u64 from = first < count ? starts[first] : text.used;
        u64 to = last < count ? starts[last] - 1 : text.used;
        layout_string_p(&layout, text.bytes + from, to > from ? to - from : 0);
        layout_new_line(&layout);
        layout_box(&layout, 0, (f32)(count - last) * pitch, 0, 0);
        layout_new_line(&layout);
        layout_finish(&layout);
    }
    ui_set_mode(ui, ui_mode_both);
    panel->log_scroll = {layout.scroll_x, layout.scroll_y};
    ui_set_clip(ui, rect_t{layout.x, layout.y, layout.x + layout.width, layout.y + layout.height});
    panel_draw_items(app, panel, &layout);
}

void draw_right_panel(app_t* app, reader_t* reader, rect_t rect) {
    ui_set_clip(app->ui, rect);
    switch (app->panel->right_panel) {
        // A feed alone shows its settings; the entry view takes entries once it
        // exists; with nothing selected it is the help.
        case panel_right_selection: {
            feed_t* feed = app->panel->selected_feed;
            entry_t* entry = app->panel->selected_entry;
            if (entry) {
                if (entry_kind(entry) == record_kind_atom) {
                    draw_entry_atom(app, reader, rect);
                } else {
                    draw_entry_rss(app, reader, rect);
                }
            } else if (feed) {
                if (feed_kind(feed) == record_kind_atom) {
                    draw_feed_atom(app, reader, rect);
                } else {
                    draw_feed_rss(app, reader, rect);
                }
            } else {
                draw_help(app, reader, rect);
            }
            break;
        }
        case panel_right_help: draw_help(app, reader, rect); break;
        case panel_right_add_feed: draw_add_feed(app, reader, rect); break;
        case panel_right_links: draw_links(app, reader, rect); break;
        case panel_right_log: draw_log(app, reader, rect); break;
        default: break;
    }
}


void window_content(app_t* app, reader_t* reader, const input_frame_t* input) {
    PROFILE_ZONE(window_content);
    ui_t* ui = app->ui;
    ui_frame_begin(ui, input);
    rect_t window = ui->screen;
    static const f32 first_padding[4] = {2, 2, 2, 4};
    static const f32 second_padding[4] = {2, 2, 4, 2};
    if (!window_splitter_made) {
        window_splitter = splitter_make(first_padding, second_padding, 450, 0);
        splitter_layout(&window_splitter, window);
        window_splitter_made = 1;
    }
    draw_rect(ui->draw, draw_layer_normal, window, colour_t{0.18f, 0.18f, 0.19f, 1});
    pair_t split_id = UI_ID();
    splitter_update(ui, split_id, &window_splitter, window, 1);
    static const f32 inset[4] = {2, 2, -1, -3};
    splitter_draw(ui, split_id, &window_splitter, inset);

    f32 strip = ceilf(button_height(ui, 1)) + 2;
    rect_t left = window_splitter.first, right = window_splitter.second;
    rect_t left_strip = {left.x0, left.y1 - strip, left.x1, left.y1};
    rect_t right_strip = {right.x0, right.y1 - menu_right_height(ui, reader, rect_width(right)), right.x1, right.y1};
    ui_set_clip(ui, left_strip);
    draw_menu_left(app, reader, left_strip);
    ui_set_clip(ui, rect_t{left.x0, left.y0, left.x1, left_strip.y0});
    draw_left_panel(app, reader, rect_t{left.x0, left.y0, left.x1, left_strip.y0});
    ui_set_clip(ui, right_strip);
    draw_menu_right(app, reader, right_strip);
    draw_right_panel(app, reader, rect_t{right.x0, right.y0, right.x1, right_strip.y0});
    ui_set_clip(ui, window);
    ui_apply_cursor(ui);
}
