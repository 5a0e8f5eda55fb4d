// The left side's drawing: the generation bar with its keys, and the feed list's
// blocks and rows, which act at the press of the mouse.
#include <cmath>

#include "app/app.h"
#include "base/text.h"
#include "profiler/profiler.h"
#include "store/reader.h"
#include "ui/ui_button.h"
#include "ui/ui_core.h"
#include "ui/ui_list.h"
#include "ui/ui_scroll_bar.h"
#include "views/panel.h"
#include "views/view_list.h"
#include "views/window_content.h"

// A bar key counts when it goes down or repeats and no widget holds the keyboard;
// its Shift must match the table.
static bool bar_key(const ui_t* ui, u32 key, bool shift) {
    if (ui_any_active(ui)) return false;
    if (input_down(&ui->input, key_shift) != shift) return false;
    return input_struck_or_repeated(&ui->input, key);
}

void draw_menu_left(app_t* app, reader_t* reader, rect_t rect) {
    PROFILE_ZONE(draw_menu_left);
    ui_t* ui = app->ui;
    panel_t* panel = app->panel;
    ui_set_clip(ui, rect);
    static const data_t labels[7] = {data_literal("|"),  data_literal("-]"), data_literal("-"), data_literal("All"),
                                     data_literal("+"),  data_literal("[+"), data_literal("|")};
    static const u32 keys[7] = {key_letter_s, key_subtract, key_subtract, key_letter_a, key_add, key_add, key_letter_e};
    static const bool shifts[7] = {false, true, false, false, false, true, false};
    f32 height = ceilf(button_height(ui, 1));
    f32 x = rect.x0;
    f32 y0 = floorf(rect.y0) + 2;
    for (u32 i = 0; i < 7; i++) {
        f32 width = button_width(ui, labels[i], 1);
        rect_t box = {x, y0, x + width, y0 + height};
        bool clicked = ui_dispatch_begin(ui, box) && ui_button(ui, pair_push(UI_ID(), (i64)i + 1), box, labels[i], 1);
        x += width + 2;
        if (clicked || bar_key(ui, keys[i], shifts[i])) list_generation_action(app, reader, i + 1);
    }
    // H works even while a text box is being typed in.
    if (input_struck(&ui->input, key_letter_h)) list_toggle_show_empty(app, reader);

    const data_t show_empty = data_literal("Show empty");
    const font_t* face = ui_font(ui, 1);
    f32 box_size = face->size;
    f32 text_width =
        ceilf(layout_get_single_line_size(face, show_empty.bytes, show_empty.used, codepoint_invalid).width);
    f32 check_x = x - 2 + 10;
    f32 check_y = roundf(y0 + (height - box_size) / 2);
    rect_t check = {check_x, check_y, check_x + box_size + 4 + text_width, check_y + box_size};
    if (ui_dispatch_begin(ui, check)) ui_check_box_label(ui, UI_ID(), check, &panel->show_empty, show_empty, 1);

    static const data_t filters[3] = {data_literal("Feeds"), data_literal("Deleted"), data_literal("Both")};
    f32 drop_width = ceilf(button_width(ui, filters[1], 1) + height);
    f32 drop_x = check.x1 + 2;
    if (rect.x1 - drop_width >= drop_x) drop_x = rect.x1 - drop_width;
    rect_t drop = {drop_x, y0, drop_x + drop_width, y0 + height};
    u64 filter = panel->deleted_filter;
    if (ui_dispatch_begin(ui, drop)) ui_drop_down(ui, UI_ID(), drop, filters, 3, &filter, 1);
    panel->deleted_filter = (u32)filter;
}

// ---------------------------------------------------------------------------
// The list

static const colour_t list_feed_colour = {0.25f, 0.25f, 0.27f, 1};
static const colour_t list_feed_selected_colour = {0, 0.48f, 0.8f, 1};
static const colour_t list_entry_colours[2] = {{0.35f, 0.35f, 0.35f, 1}, {0.45f, 0.45f, 0.45f, 1}};
static const colour_t list_entry_selected_colour = {0.79f, 0.32f, 0, 1};
static const colour_t list_selected_text_colour = {1, 1, 1, 1};

// A row acts at the press, not the release, so a click selects at once.
static bool list_row_pressed(ui_t* ui, pair_t id, rect_t rect) {
    if (ui_hit_test(ui, id, rect)) ui_hot_take(ui, id);
    if (ui_is_active(ui, id)) {
        if (!input_down(&ui->input, key_mouse_left)) ui_active_clear(ui);
        return false;
    }
    if (ui_is_hot(ui, id) && input_pressed(&ui->input, key_mouse_left)) {
        ui_active_take(ui, id, ui_kind_button);
        return true;
    }
    return false;
}

static void list_select(app_t* app, feed_t* feed, entry_t* entry) {
    panel_t* panel = app->panel;
    if (panel->selected_feed == feed && panel->selected_entry == entry) {
        // Clicking the selection again brings the right panel back to it.
        if (panel->right_panel != panel_right_selection) panel_reset(app);
        return;
    }
    panel->entry_scroll = panel_scroll_t{0, 0};
    panel->selected_feed = feed;
    panel->selected_entry = entry;
    panel_reset(app);
}

// The label and the title, cut to the row; gives the text's handle.
static draw_handle_t list_row_text(app_t* app, ui_layer_t layer, rect_t text_rect, bool deleted, bool updating,
                                   data_t title, u32 font) {
    ui_t* ui = app->ui;
    draw_handle_t none = {0, draw_handle_none};
    if (!layer.draw) return none;
    data_t text = title;
    if (deleted || updating) {
        u64 size = title.used + 32;
        u8* bytes = (u8*)data_push(&app->scratch, size, 1);
        if (!bytes) return none;
        text = data_make(size, 0, bytes);
        if (deleted) data_push_c_string(&text, "[Deleted] ");
        if (updating) data_push_c_string(&text, "Updating\xE2\x80\xA6 ");
        if (title.used) data_push_string(&text, title.bytes, title.used);
    }
    const font_t* face = ui_font(ui, font);
    f32 width = 0;
    data_t fitted = ui_fit_text(ui, face, text, rect_width(text_rect), &width);
    if (fitted.used == 0) return none;
    f32 y = (text_rect.y0 + text_rect.y1) / 2 - face->size / 2 + font_baseline(face);
    return ui_draw_text(layer, fitted, text_rect.x0, floorf(y), 1, font, colour_white);
}

// What a drawn row queued, kept until the pass is over and the selection is final.
struct list_drawn_row_t {
    const void* item;  // the feed of a feed row, the entry of an entry row
    draw_handle_t background, text;
};

void draw_left_panel(app_t* app, reader_t* reader, rect_t rect) {
    PROFILE_ZONE(draw_left_panel);
    ui_t* ui = app->ui;
    panel_t* panel = app->panel;
    ui_set_clip(ui, rect);
    list_handle_keys(app, reader, &ui->input);
    list_counts_t* counts = list_count(app, reader);

    f32 height = rect_height(rect);
    f32 total = list_total_height(counts);
    bool inside =
        ui->mouse[0] >= rect.x0 && ui->mouse[0] < rect.x1 && ui->mouse[1] >= rect.y0 && ui->mouse[1] < rect.y1;
    list_scroll_update(panel, counts, height, inside ? ui->input.wheel : 0);
    f32 right = rect.x1;
    if (total > height) {
        right = rect.x1 - list_scroll_bar_room;
        rect_t bar = {rect.x1 - list_scroll_bar_width, rect.y0, rect.x1, rect.y1};
        if (ui_dispatch_begin(ui, bar)) {
            ui_scroll_bar_vertical(ui, UI_ID(), bar, height, total, &panel->list_scroll, list_entry_row_height);
        }
    }

    // At most a panel's height of rows is drawn, and one partly cut row at each end;
    // a window lower than its bars leaves the list no height at all.
    u32 drawn_capacity = (u32)(height > 0 ? height / list_entry_row_height : 0) * 2 + 8;
    list_drawn_row_t* drawn = (list_drawn_row_t*)data_push(&app->scratch, drawn_capacity * sizeof(list_drawn_row_t), 8);
    u32 drawn_count = 0;
    ui_layer_t layer = ui_layer(ui, UI_ID());
    // The rows move with the scroll; the bar's thumb does not.
    if (layer.draw) draw_region(layer.draw, rect_t{rect.x0, rect.y0, right, rect.y1}, panel->list_scroll);
    f32 top = rect.y1 + panel->list_scroll;
    u32 feeds_seen = 0;
    for (u32 slot = 0; slot < counts->slots && feeds_seen < reader->feeds.entry_count && top > rect.y0; slot++) {
        feed_t* feed = (feed_t*)pool_at(&reader->feeds, sizeof(feed_t), slot);
        if (!feed_is_alive(feed)) continue;
        feeds_seen++;
        u32 rows = counts->feed_entry_rows[slot];
        u32 updating = counts->feed_updating[slot];
        if (!feed_is_shown(feed, panel, rows, updating)) continue;
        f32 block_height = list_feed_block_height + list_entry_row_height * (f32)rows;
        rect_t block = {rect.x0 + 2, top - block_height, right - 2, top};
        top -= block_height + list_block_gap;
        if (block.y1 <= rect.y0 || block.y0 >= rect.y1) continue;

        list_drawn_row_t feed_drawn = {feed, ui_draw_rect(layer, block, list_feed_colour), {0, draw_handle_none}};
        rect_t feed_row = {block.x0, block.y1 - list_feed_row_height, block.x1, block.y1};
        rect_t feed_text = {block.x0 + 3, block.y1 - 22, block.x1 - 3, block.y1 - 2};
        if (feed_text.y1 > rect.y0 && feed_text.y0 < rect.y1) {
            feed_drawn.text =
                list_row_text(app, layer, feed_text, feed_is_deleted(feed), updating != 0, feed_title(feed), 2);
        }
        if (drawn && drawn_count < drawn_capacity) drawn[drawn_count++] = feed_drawn;
        if (list_row_pressed(ui, pair_push(UI_ID(), (i64)(uintptr_t)feed), feed_row)) list_select(app, feed, nullptr);

        // Rows above the panel are walked over, rows below it end the walk.
        f32 row_top = block.y1 - list_feed_row_height;
        u32 index = 0, own = 0;
        pool_t* entries = &reader->entries;
        for (u32 i = counts->feed_first_entry_slot[slot];
             i < entries->max_entry_count && own < feed->entry_count && index < rows && row_top > rect.y0; i++) {
            entry_t* entry = (entry_t*)pool_at(entries, sizeof(entry_t), i);
            if (!entry_is_alive(entry) || entry->feed_id != feed->id) continue;
            own++;
            if (!entry_is_shown(entry, panel)) continue;
            rect_t row = {block.x0 + 2, row_top - list_entry_row_height, block.x1 - 2, row_top};
            row_top -= list_entry_row_height;
            u32 parity = index++ & 1;
            if (row.y0 >= rect.y1) continue;
            list_drawn_row_t entry_drawn = {entry, ui_draw_rect(layer, row, list_entry_colours[parity]),
                                            {0, draw_handle_none}};
            rect_t text_rect = {row.x0 + 3, row.y0 + 2, row.x1 - 3, row.y1 - 2};
            entry_drawn.text =
                list_row_text(app, layer, text_rect, entry_is_deleted(entry), false, entry_title(entry), 1);
            if (drawn && drawn_count < drawn_capacity) drawn[drawn_count++] = entry_drawn;
            if (list_row_pressed(ui, pair_push(UI_ID(), (i64)(uintptr_t)entry), row)) list_select(app, feed, entry);
        }
    }

    // The selection is final only now, after the rows' clicks: its colours go onto
    // what the rows queued, and no second pass is needed.
    for (u32 i = 0; i < drawn_count; i++) {
        const void* item = drawn[i].item;
        if (item == panel->selected_feed) {
            ui_draw_set_colour(layer, drawn[i].background, list_feed_selected_colour);
            ui_draw_set_colour(layer, drawn[i].text, list_selected_text_colour);
        } else if (item && item == panel->selected_entry) {
            ui_draw_set_colour(layer, drawn[i].background, list_entry_selected_colour);
            ui_draw_set_colour(layer, drawn[i].text, list_selected_text_colour);
        }
    }
}
