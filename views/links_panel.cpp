// The links panel: the ten targets with their names, command lines and queues.
#include <cmath>
#include <cstring>

#include "app/app.h"
#include "base/format.h"
#include "base/log.h"
#include "base/text.h"
#include "gfx/draw.h"
#include "layout/layout.h"
#include "net/block_storage.h"
#include "platform/os.h"
#include "profiler/profiler.h"
#include "store/reader.h"
#include "ui/ui_button.h"
#include "ui/ui_layout_bars.h"
#include "ui/ui_text_box.h"
#include "views/links.h"
#include "views/links_panel.h"
#include "views/panel.h"
#include "views/panel_draw.h"
#include "views/window_content.h"

// Into the text's own block when it is large enough, else into a new one from
// block storage; a block that the reader's strings hold is never freed.
static void target_text_store(data_t* text, data_t edit) {
    if (edit.used == text->used && (edit.used == 0 || memcmp(edit.bytes, text->bytes, edit.used) == 0)) return;
    if (text->reserved < edit.used || !block_storage_contains(&block_storage, text->bytes)) {
        u64 size = edit.used + 1;
        u8* block = (u8*)block_storage_allocate(&block_storage, size);
        if (!block) return;
        if (text->bytes && block_storage_contains(&block_storage, text->bytes)) {
            block_storage_free(&block_storage, text->bytes, text->reserved);
        }
        *text = data_make(size, 0, block);
    }
    memcpy(text->bytes, edit.bytes, edit.used);
    text->used = edit.used;
}

// The box edits a temporary of `capacity` bytes; an edit goes back at once. A
// longer text (a reader file written elsewhere) shows cut but stays whole until
// the user types in it.
static void target_text_box(ui_t* ui, pair_t id, rect_t box, data_t* text, u64 capacity) {
    u8 buffer[1024];
    data_t edit = data_make(capacity < sizeof(buffer) ? capacity : sizeof(buffer), 0, buffer);
    data_push_string(&edit, text->bytes, text->used < edit.reserved ? text->used : edit.reserved);
    ui_text_box(ui, id, box, &edit, 1);
    const ui_widget_state_t* state = ui_widget_state(ui, id);
    if (state && state->text_box.edited_now) target_text_store(text, edit);
}

// The desktop's handler of http links, or an empty executable when there is none.
// Without xdg-mime nothing is known, and the line the user had stays.
static void executable_from_default(link_target_t* target) {
    char command[1024];
    i32 found = os_default_http_command(command, sizeof(command));
    if (found < 0) {
        log_paragraph_start(log_user);
        log_write_c_string(log_user, "xdg-mime was not found: the default program for links is unknown.\n");
        return;
    }
    target_text_store(&target->executable, data_from_size(found > 0 ? text_length(command) : 0, command));
}

struct links_measures_t {
    f32 height;  // of a text box, a button and a queue's row
    f32 label;   // the wider of "Name:" and "Executable:"
    f32 name_label, executable_label;
    f32 os_default, open_all, remove_all, check, open, remove;
    f32 text_drop;  // a text beside a widget, level with the widget's own text
};

// One row per queued link: the link cut to the room that its "Open" and "X" leave,
// the row under the mouse in the hover colour. Links are runs of non-blanks.
static void queue_rows(app_t* app, layout_t* layout, link_target_t* target, pair_t id, const links_measures_t* m) {
    ui_t* ui = app->ui;
    const font_t* font = ui_font(ui, 1);
    const data_t queue = target->queue;
    u64 i = 0;
    u32 index = 0;
    while (i < queue.used) {
        while (i < queue.used && queue.bytes[i] == ' ') i++;
        if (i == queue.used) break;
        u64 start = i;
        while (i < queue.used && queue.bytes[i] != ' ') i++;
        data_t link = data_from_size(i - start, queue.bytes + start);
        index += 1;
        pair_t row_id = pair_push(id, 16 + (i64)index);

        layout_item_t* row = layout_box(layout, layout_remaining_floor(layout), m->height, 0, layout_box_ceil);
        f32 room = row->box.rect.x1 - row->box.rect.x0 - 1 - 2 - m->open - 2 - m->remove - 1;
        u64 fitted = link.used;
        if (layout_is_building(layout)) {
            // No row is wide enough to show this much of a link.
            u8 bytes[2048 + 2];
            u64 shown = link.used;
            if (shown > 2048) {
                shown = 2048;
                while (shown && (link.bytes[shown] & 0xC0) == 0x80) shown--;
            }
            data_t cut = data_make(sizeof(bytes), 0, bytes);
            layout_fit_single_line(font, data_from_size(shown, link.bytes), codepoint_invalid, room, &cut, nullptr,
                                   layout_fit_no_ellipsis);
            fitted = cut.used;
        }
        layout_advance(layout, 1, 2, 0);
        layout_item_t* text = layout_string_p(layout, link.bytes, fitted);
        layout_string(layout, text->text.length < link.used ? data_literal("\xE2\x80\xA6") : data_t{});
        layout_new_line(layout);
        if (!ui_mode_is_live(ui) || layout->restart) continue;

        rect_t box = row->box.rect;
        rect_t open_box = {box.x1 - 1 - m->remove - 2 - m->open, box.y0, box.x1 - 1 - m->remove - 2, box.y1};
        rect_t remove_box = {box.x1 - 1 - m->remove, box.y0, box.x1 - 1, box.y1};
        if (layout->state == layout_state_draw &&
            (ui_hit_test(ui, row_id, box) || ui_is_hot(ui, pair_push(row_id, 1)) ||
             ui_is_hot(ui, pair_push(row_id, 2)))) {
            draw_rect(ui->draw, draw_layer_normal, box, colour_t{0.79f, 0.32f, 0, 1});
        }
        bool opened = ui_button(ui, pair_push(row_id, 1), open_box, data_literal("Open"), 1);
        bool removed = ui_button(ui, pair_push(row_id, 2), remove_box, data_literal("X"), 1);
        if (opened) link_open(link, target);
        // The rows move: measure again; the rest of this pass comes back empty.
        if (removed) {
            link_queue_remove(target, link);
            layout_request_remeasure(layout, 0);
            return;
        }
    }
}

static const char links_help[] =
    "\nThis panel is used to configure how links are opened, and visualize queued links.\n\nAfter setting up an "
    "executable and configuration name here, you need to assign it to the desired feeds by clicking on a feed in the "
    "left panel and selecting the desired configuration.\n\nAn empty executable line means that the configuration "
    "will use the default application from the operating system.\n\n[Get OS default] retrieves the default "
    "operating system executable path, file name and parameters used to open links. However, this application "
    "doesn't use the \"%u\" or \"%U\" notation (you can/should remove it), and will only append links at the end, "
    "separated by spaces.\n\nQueuing links prevents the application to loose focus each time you open a link and "
    "waits to open all links at the same time. If you don't open the links manually, they will be opened when the "
    "application closes.\n\nIf you want to use queued links, you'll most likely need to set up an executable, by "
    "clicking [Get OS default] and removing everything after the executable name.\n\n";

void draw_links(app_t* app, reader_t* reader, rect_t rect) {
    PROFILE_ZONE(draw_links);
    ui_t* ui = app->ui;
    panel_t* panel = app->panel;
    const data_t name = data_literal("Name:"), executable = data_literal("Executable:");
    const data_t os_default = data_literal("Get OS default"), open_all = data_literal("Open all");
    const data_t remove_all = data_literal("Remove all");
    const data_t queue_label = data_literal("Queue links and open them all later.");
    links_measures_t m = {};
    m.height = ceilf(button_height(ui, 1));
    m.name_label = label_width(ui, name);
    m.executable_label = label_width(ui, executable);
    m.label = (m.name_label > m.executable_label ? m.name_label : m.executable_label) + 4;
    m.os_default = button_width(ui, os_default, 1);
    m.open_all = button_width(ui, open_all, 1);
    m.remove_all = button_width(ui, remove_all, 1);
    m.check = ceilf(ui_font(ui, 1)->size) + 4 + label_width(ui, queue_label);
    m.open = button_width(ui, data_literal("Open"), 1);
    m.remove = button_width(ui, data_literal("X"), 1);
    m.text_drop = floorf((m.height - ui_font(ui, 1)->size) / 2);
    const f32 box_minimum = 40;
    static const f32 padding[4] = {4, 4, 4, 4};

    // Wrapped, the panel is never wider than its view, unless the view is narrower
    // than the rows' least width.
    u32 flags = layout_flag_partly_visible;
    if (rect_width(rect) - layout_bar_size >= 340 + padding[2] + padding[3]) flags |= layout_flag_no_horizontal_bar;
    layout_t layout;
    layout_create(&layout, &app->scratch, ui->fonts, rect, panel->links_scroll.x, panel->links_scroll.y, padding);
    u8 counts[reader_link_target_count][32];
    while (layout_pass_start(&layout)) {
        ui_set_mode(ui, ui_mode_from_layout(&layout));
        view_scroll_bars(&panel->links_scroll, ui, &layout, rect);
        if (layout_pass_ready(&layout, 0)) continue;
        layout_advance(&layout, 340, 0, 0);
        layout_new_line(&layout);
        layout_set_flags(&layout, flags);
        layout_set_font(&layout, 2);
        layout_set_wrap(&layout, 0, layout_remaining(&layout), layout_wrap_eat_space);
        layout_string(&layout, data_literal("Links"));
        layout_new_line(&layout);
        layout_set_font(&layout, 1);
        layout_string(&layout, data_literal(links_help));
        bool live = ui_mode_is_live(ui);
        for (u32 i = 0; i < reader_link_target_count; i++) {
            link_target_t* target = &reader->link_targets[i];
            pair_t id = pair_push(UI_ID(), (i64)i + 1);
            if (i == 0) {
                layout_advance(&layout, 0, 10, 0);
            } else {
                layout_advance(&layout, 0, 20, 0);
                layout_item_t* line = layout_box(&layout, layout_remaining_floor(&layout), 2, 0, layout_box_ceil);
                if (layout.state == layout_state_draw) draw_rect(ui->draw, draw_layer_normal, line->box.rect,
                                                                 colour_t{0.5f, 0.5f, 0.5f, 1});
                layout_advance(&layout, 0, 22, 0);
            }
            layout_new_line(&layout);

            label_beside(&layout, name, m.label - m.name_label, m.text_drop);
            f32 width = layout_remaining_floor(&layout);
            layout_item_t* name_box = layout_box(&layout, width > box_minimum ? width : box_minimum, m.height, 0,
                                                 layout_box_pen_right | layout_box_ceil);
            layout_new_line(&layout);
            layout_advance(&layout, 0, 5, 0);
            label_beside(&layout, executable, m.label - m.executable_label, m.text_drop);
            width = layout_remaining_floor(&layout) - 2 - m.os_default;
            layout_item_t* executable_box = layout_box(&layout, width > box_minimum ? width : box_minimum, m.height,
                                                       0, layout_box_pen_right | layout_box_ceil);
            layout_advance(&layout, 2, 0, 0);
            layout_item_t* default_button =
                layout_box(&layout, m.os_default, m.height, 0, layout_box_pen_right | layout_box_ceil);
            layout_new_line(&layout);
            layout_advance(&layout, 0, 5, 0);
            layout_item_t* check = layout_box(&layout, m.check, ceilf(ui_font(ui, 1)->size), 0,
                                              layout_box_pen_right | layout_box_ceil);
            layout_new_line(&layout);
            if (live && !layout.restart) {
                target_text_box(ui, pair_push(id, 1), name_box->box.rect, &target->name, 128);
                ui_check_box_label(ui, pair_push(id, 4), check->box.rect, &target->queue_enabled, queue_label, 1);
                target_text_box(ui, pair_push(id, 2), executable_box->box.rect, &target->executable, 1024);
                if (ui_button(ui, pair_push(id, 3), default_button->box.rect, os_default, 1)) {
                    executable_from_default(target);
                }
            }
            // A measure that went past the view needs no more: the bar comes next.
            if (layout_would_overflow(&layout)) break;

            layout_advance(&layout, 0, 5, 0);
            layout_new_line(&layout);
            data_t count = data_make(sizeof(counts[i]), 0, counts[i]);
            count.used += format_u64(count.bytes, count.reserved, link_queue_count(target), 0, ' ', 0);
            data_push_c_string(&count, " queued links");
            label_beside(&layout, count, 10, m.text_drop);
            layout_item_t* open_button =
                layout_box(&layout, m.open_all, m.height, 0, layout_box_pen_right | layout_box_ceil);
            layout_advance(&layout, 2, 0, 0);
            layout_item_t* remove_button =
                layout_box(&layout, m.remove_all, m.height, 0, layout_box_pen_right | layout_box_ceil);
            layout_new_line(&layout);
            if (live && !layout.restart) {
                if (ui_button(ui, pair_push(id, 5), open_button->box.rect, open_all, 1)) link_queue_open(target, 0);
                if (ui_button(ui, pair_push(id, 6), remove_button->box.rect, remove_all, 1)) {
                    link_queue_clear(target);
                    layout_request_remeasure(&layout, 0);
                }
            }
            if (target->queue.used) {
                layout_advance(&layout, 0, 5, 0);
                layout_new_line(&layout);
                queue_rows(app, &layout, target, id, &m);
            }
        }
        layout_finish(&layout);
    }
    ui_set_mode(ui, ui_mode_both);
    panel_draw_items(app, panel, &layout);
}
