// The add feed panel, laid out top down in fixed rows.
#include "views/add_feed.h"

#include <cmath>

#include "app/app.h"
#include "app/update.h"
#include "base/file.h"
#include "base/log.h"
#include "base/text.h"
#include "layout/layout.h"
#include "platform/os.h"
#include "profiler/profiler.h"
#include "store/reader.h"
#include "ui/ui_button.h"
#include "ui/ui_text_box.h"
#include "views/panel.h"
#include "views/text_view.h"
#include "views/window_content.h"

static const char add_feed_help[] =
    "\nWhen specifying a youtube link, it's recommended to use a link specifying a channel id. They look like: \n\n"
    "https://www.youtube.com/channel/a_bunch_of_characters"
    "\n\nLinks using the user name (https://www.youtube.com/user/user_name or https://www.youtube.com/c/user_name) "
    "work too but some channels display a different user name than their actual user name, and that name will not "
    "provide a feed.\n\nYoutube provided feeds contain only the last 10 videos posted on a channel, so if the channel "
    "posts more than 10 videos between two updates of the feed in the newsloom, some videos will be missing.";

void add_feed_export(app_t* app, reader_t* reader, data_t path) {
    // Grows with the list: an export is never cut.
    u64 size = 8192;
    pool_iterator_t walk = pool_iterator_start(&reader->feeds, sizeof(feed_t), feed_is_alive);
    while (feed_t* feed = (feed_t*)pool_iterator_next(&walk)) size += feed->address.used + 1;
    data_t list = data_allocate(size);
    if (!list.bytes) return;
    walk = pool_iterator_start(&reader->feeds, sizeof(feed_t), feed_is_alive);
    while (feed_t* feed = (feed_t*)pool_iterator_next(&walk)) {
        data_push_string(&list, feed->address.bytes, feed->address.used);
        data_push_string(&list, "\n", 1);
    }
    u8 default_path[app_path_capacity + 16];
    if (path.used == 0) {
        data_t name = data_make(sizeof(default_path), 0, default_path);
        data_push_string(&name, app->desktop_path.bytes, app->desktop_path.used);
        data_push_c_string(&name, "/list.txt");
        path = name;
    }
    file_error_t error = 0;
    file_write_all(path, list.bytes, list.used, true, &error);
    if (error) {
        log_paragraph_start(log_user);
        log_write_c_string(log_user, "Could not write the list of feeds to ");
        log_write(log_user, path);
        log_write_c_string(log_user, "\n");
    }
    data_free(&list);
}

void browse_button(ui_t* ui, rect_t box, data_t label, pair_t id, data_t* text) {
    if (!ui_button(ui, id, box, label, 1)) return;
    char chosen[2048];
    i32 result = os_file_choose(chosen, sizeof(chosen));
    if (result < 0) {
        log_paragraph_start(log_user);
        log_write_c_string(log_user, "No file chooser was found: install zenity or kdialog.\n");
    } else if (result > 0) {
        text->used = 0;
        u64 length = 0;
        while (chosen[length] && length + 1 < text->reserved) length++;
        data_push_string(text, chosen, length);
        if (text->used < text->reserved) text->bytes[text->used] = 0;
    }
}

static void path_field_init(data_t* field, u8* bytes, u64 size) {
    if (field->reserved == 0) *field = data_make(size - 1, 0, bytes);
}

// A line of text at the top of `*rest`, which loses it and 5 below.
static void text_line(app_t* app, rect_t* rest, u32 font, data_t text) {
    static const f32 padding[4] = {0, 0, 0, 0};
    text_view_t size = text_view_draw(app->ui, &app->scratch, *rest, padding, font, text, colour_white, 1, 0, 0);
    rest->y1 = floorf(rest->y1 - size.content_height - 5);
}

void draw_add_feed(app_t* app, reader_t* reader, rect_t rect) {
    PROFILE_ZONE(draw_add_feed);
    ui_t* ui = app->ui;
    panel_t* panel = app->panel;
    path_field_init(&panel->add_feed_address, panel->add_feed_address_bytes, sizeof(panel->add_feed_address_bytes));
    path_field_init(&panel->add_feed_list_path, panel->add_feed_list_path_bytes,
                    sizeof(panel->add_feed_list_path_bytes));
    path_field_init(&panel->add_feed_export_path, panel->add_feed_export_path_bytes,
                    sizeof(panel->add_feed_export_path_bytes));
    f32 add = button_width(ui, data_literal("Add"), 1), browse = button_width(ui, data_literal("Browse"), 1);
    f32 export_width = button_width(ui, data_literal("Export"), 1);
    f32 row = ceilf(ui_font(ui, 1)->size + ui_theme.text_box.margin[0] + ui_theme.text_box.margin[1] +
                    ui_theme.text_box.padding[0] + ui_theme.text_box.padding[1]);
    rect_t rest = {floorf(rect.x0) + 4, floorf(rect.y0) + 4, floorf(rect.x1) - 4, floorf(rect.y1) - 4};
    if (rest.x1 - rest.x0 < add + browse + export_width + 40) return;
    text_line(app, &rest, 2, data_literal("Add feed"));
    text_line(app, &rest, 1, data_literal("URL to a RSS feed, Atom feed or youtube channel."));

    rect_t line = {rest.x0, rest.y1 - row, rest.x1, rest.y1};
    rect_t box = {line.x0, line.y0, line.x1 - 2 - add, line.y1};
    u32 key = ui_text_box(ui, UI_ID(), box, &panel->add_feed_address, 1);
    bool clicked = ui_button(ui, UI_ID(), rect_t{box.x1 + 2, line.y0, line.x1, line.y1}, data_literal("Add"), 1);
    if (clicked || key == 13 || key == 10) reader_add_address(app, reader, panel->add_feed_address);
    rest.y1 = line.y0 - 5;

    text_line(app, &rest, 1,
              data_literal("Path to a text file containing a list of URLs to RSS feed, Atom feed or youtube channel."));
    line = rect_t{rest.x0, rest.y1 - row, rest.x1, rest.y1};
    box = rect_t{line.x0, line.y0, line.x1 - 2 - browse - 2 - add, line.y1};
    key = ui_text_box(ui, UI_ID(), box, &panel->add_feed_list_path, 1);
    browse_button(ui, rect_t{box.x1 + 2, line.y0, box.x1 + 2 + browse, line.y1}, data_literal("Browse"), UI_ID(),
                  &panel->add_feed_list_path);
    clicked = ui_button(ui, UI_ID(), rect_t{line.x1 - add, line.y0, line.x1, line.y1}, data_literal("Add"), 1);
    if ((clicked || key == 13 || key == 10) && panel->add_feed_list_path.used) {
        reader_add_address_list(app, reader, panel->add_feed_list_path);
    }
    rest.y1 = line.y0 - 5;

    text_line(app, &rest, 1,
              data_literal("Path to a text file to export a list of URLs from the feed added in the application."));
    line = rect_t{rest.x0, rest.y1 - row, rest.x1, rest.y1};
    box = rect_t{line.x0, line.y0, line.x1 - 2 - browse - 2 - export_width, line.y1};
    // Enter here does nothing: an export only on the button.
    ui_text_box(ui, UI_ID(), box, &panel->add_feed_export_path, 1);
    browse_button(ui, rect_t{box.x1 + 2, line.y0, box.x1 + 2 + browse, line.y1}, data_literal("Browse"), UI_ID(),
                  &panel->add_feed_export_path);
    if (ui_button(ui, UI_ID(), rect_t{line.x1 - export_width, line.y0, line.x1, line.y1}, data_literal("Export"), 1)) {
        add_feed_export(app, reader, panel->add_feed_export_path);
    }
    rest.y1 = line.y0 - 5;
    if (rest.y1 > rest.y0) text_line(app, &rest, 1, data_literal(add_feed_help));
}
