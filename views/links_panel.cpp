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
#include "ui/ui_text_box.h"
#include "views/links.h"
#include "views/links_panel.h"
#include "views/panel.h"
#include "views/text_view.h"
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

// The box edits a copy; the text goes back at once.
static void target_text_box(ui_t* ui, pair_t id, rect_t box, data_t* text, u64 capacity) {
    u8 buffer[1024];
    data_t edit = data_make(capacity < sizeof(buffer) ? capacity : sizeof(buffer), 0, buffer);
    data_push_string(&edit, text->bytes, text->used < edit.reserved ? text->used : edit.reserved);
    ui_text_box(ui, id, box, &edit, 1);
    target_text_store(text, edit);
}

// The desktop's handler of http links, or an empty executable when there is none.
static void executable_from_default(link_target_t* target) {
    char command[1024];
    i32 found = os_default_http_command(command, sizeof(command));
    if (found < 0) {
        log_paragraph_start(log_user);
        log_write_c_string(log_user, "xdg-mime was not found: the default program for links is unknown.\n");
    }
    target_text_store(&target->executable, data_from_size(found > 0 ? text_length(command) : 0, command));
}

// One row per queued link, from `top` down while above `bottom`; gives the lowest
// edge drawn. A row under the mouse takes the hover colour as a whole.
static f32 links_rows(app_t* app, link_target_t* target, pair_t id, f32 x0, f32 x1, f32 top, f32 bottom) {
    ui_t* ui = app->ui;
    const font_t* font = ui_font(ui, 1);
    f32 row = ceilf(font->size + 6);
    f32 open = button_width(ui, data_literal("Open"), 1), remove = button_width(ui, data_literal("X"), 1);
    data_t* queue = &target->queue;
    u64 i = 0;
    u32 index = 0;
    while (i < queue->used && top - row >= bottom) {
        while (i < queue->used && queue->bytes[i] == ' ') i++;
        if (i == queue->used) break;
        u64 start = i;
        while (i < queue->used && queue->bytes[i] != ' ') i++;
        data_t link = data_from_size(i - start, queue->bytes + start);
        index += 1;
        pair_t row_id = pair_push(id, 16 + (i64)index);
        rect_t box = {x0, top - row, x1, top};
        rect_t open_box = {x1 - 1 - remove - 2 - open, box.y0, x1 - 1 - remove - 2, box.y1};
        rect_t remove_box = {x1 - 1 - remove, box.y0, x1 - 1, box.y1};
        bool hot = ui_hit_test(ui, row_id, box) || ui_is_hot(ui, pair_push(row_id, 1)) ||
                   ui_is_hot(ui, pair_push(row_id, 2));
        if (hot) draw_rect(ui->draw, draw_layer_normal, box, colour_t{0.79f, 0.32f, 0, 1});
        f32 room = rect_width(box) - 1 - 2 - open - 2 - remove - 1;
        u8 fitted_bytes[1024];
        data_t fitted = data_make(sizeof(fitted_bytes), 0, fitted_bytes);
        data_t shown = data_from_size(link.used < sizeof(fitted_bytes) - 8 ? link.used : sizeof(fitted_bytes) - 8,
                                      link.bytes);
        layout_fit_single_line(font, shown, codepoint_invalid, room, &fitted, nullptr, layout_fit_no_ellipsis);
        if (fitted.used < link.used) data_push_c_string(&fitted, "\xE2\x80\xA6");
        static const f32 padding[4] = {3, 0, 1, 0};
        text_view_draw(ui, &app->scratch, box, padding, 1, fitted, colour_white, 0, 0, 0);
        bool opened = ui_button(ui, pair_push(row_id, 1), open_box, data_literal("Open"), 1);
        bool removed = ui_button(ui, pair_push(row_id, 2), remove_box, data_literal("X"), 1);
        top -= row;
        if (opened) link_open(link, target);
        // The queue moved under the rows still to come: they follow next frame.
        if (removed) {
            link_queue_remove(target, link);
            break;
        }
    }
    return top;
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
    static const f32 padding[4] = {0, 0, 0, 0};
    // The wheel moves the panel by rows; the content's height is known from the
    // frame before.
    static f32 content_height;
    f32 view_height = rect_height(rect);
    if (ui->input.wheel != 0 && rect_contains(rect, ui->mouse[0], ui->mouse[1])) {
        panel->links_scroll.y -= ui->input.wheel * 60;
    }
    f32 range = content_height > view_height ? content_height - view_height : 0;
    panel->links_scroll.y = floorf(panel->links_scroll.y < 0 ? 0 : panel->links_scroll.y > range ? range : panel->links_scroll.y);
    rect_t rest = {floorf(rect.x0) + 4, floorf(rect.y0) + 4, floorf(rect.x1) - 4,
                   floorf(rect.y1) - 4 + panel->links_scroll.y};
    f32 start = rest.y1;
    text_view_t title = text_view_draw(ui, &app->scratch, rest, padding, 2, data_literal("Links"), colour_white, 1, 0, 0);
    rest.y1 = floorf(rest.y1 - title.content_height);
    text_view_t help = text_view_draw(ui, &app->scratch, rest, padding, 1, data_literal(links_help), colour_white, 1, 0, 0);
    rest.y1 = floorf(rest.y1 - help.content_height + 10);
    f32 row = ceilf(ui_font(ui, 1)->size + 8);
    f32 label = ceilf(layout_get_single_line_size(ui_font(ui, 1), (const u8*)"Executable:", 11, codepoint_invalid).width) + 4;
    f32 os_default = button_width(ui, data_literal("Get OS default"), 1);
    f32 open_all = button_width(ui, data_literal("Open all"), 1), remove_all = button_width(ui, data_literal("Remove all"), 1);
    for (u32 i = 0; i < reader_link_target_count; i++) {
        link_target_t* target = &reader->link_targets[i];
        pair_t id = pair_push(UI_ID(), (i64)i + 1);
        rect_t line = {rest.x0, rest.y1 - row, rest.x1, rest.y1};
        text_view_draw(ui, &app->scratch, line, padding, 1, data_literal("Name:"), colour_white, 0, 0, 0);
        target_text_box(ui, pair_push(id, 1), rect_t{line.x0 + label, line.y0, line.x1, line.y1}, &target->name, 128);
        line.y1 = line.y0 - 5, line.y0 = line.y1 - row;
        text_view_draw(ui, &app->scratch, line, padding, 1, data_literal("Executable:"), colour_white, 0, 0, 0);
        rect_t box = {line.x0 + label, line.y0, line.x1 - 2 - os_default, line.y1};
        target_text_box(ui, pair_push(id, 2), box, &target->executable, 1024);
        if (ui_button(ui, pair_push(id, 3), rect_t{box.x1 + 2, line.y0, line.x1, line.y1},
                      data_literal("Get OS default"), 1)) {
            executable_from_default(target);
        }
        line.y1 = line.y0 - 5, line.y0 = line.y1 - row;
        ui_check_box_label(ui, pair_push(id, 4), rect_t{line.x0, line.y0, line.x1, line.y1}, &target->queue_enabled,
                           data_literal("Queue links and open them all later."), 1);
        line.y1 = line.y0 - 5, line.y0 = line.y1 - row;
        u8 count_bytes[48];
        data_t count = data_make(sizeof(count_bytes), 0, count_bytes);
        count.used += format_u64(count.bytes, count.reserved, link_queue_count(target), 0, ' ', 0);
        data_push_c_string(&count, " queued links");
        text_view_t counted = text_view_draw(ui, &app->scratch, line, padding, 1, count, colour_white, 0, 0, 0);
        f32 x = ceilf(line.x0 + counted.content_width + 10);
        if (ui_button(ui, pair_push(id, 5), rect_t{x, line.y0, x + open_all, line.y1}, data_literal("Open all"), 1)) {
            link_queue_open(target, 0);
        }
        x += open_all + 2;
        if (ui_button(ui, pair_push(id, 6), rect_t{x, line.y0, x + remove_all, line.y1}, data_literal("Remove all"), 1)) {
            link_queue_clear(target);
        }
        line.y1 = line.y0 - 5;
        line.y0 = links_rows(app, target, id, line.x0, line.x1, line.y1, rect.y0 - content_height - 1000);
        rest.y1 = line.y0 - 20;
        if (i + 1 < reader_link_target_count) {
            draw_rect(ui->draw, draw_layer_normal, rect_t{rest.x0, rest.y1 - 2, rest.x1, rest.y1},
                      colour_t{0.5f, 0.5f, 0.5f, 1});
            rest.y1 -= 22;
        }
    }
    content_height = start - rest.y1 + 8;
}
