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
#include "ui/ui_layout_bars.h"
#include "ui/ui_text_box.h"
#include "views/panel.h"
#include "views/panel_draw.h"
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
    if (error) log_file_failure("Could not write the list of feeds to ", path, error);
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

static void line_then_gap(layout_t* layout) {
    layout_new_line(layout);
    layout_advance(layout, 0, 5, 0);
}

// A row of a text box and the buttons after it, 2 apart, the box taking what the
// buttons leave; gives the box's item and puts the buttons' into `buttons`.
static layout_item_t* box_row(layout_t* layout, f32 height, const f32* widths, u32 count, layout_item_t** buttons) {
    f32 box = layout_remaining_floor(layout);
    for (u32 i = 0; i < count; i++) box -= 2 + widths[i];
    layout_item_t* text = layout_box(layout, box > 40 ? box : 40, height, 0, layout_box_pen_right | layout_box_ceil);
    for (u32 i = 0; i < count; i++) {
        layout_advance(layout, 2, 0, 0);
        buttons[i] = layout_box(layout, widths[i], height, 0, layout_box_pen_right | layout_box_ceil);
    }
    line_then_gap(layout);
    return text;
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
    const data_t add = data_literal("Add"), browse = data_literal("Browse"), export_label = data_literal("Export");
    const f32 add_width = button_width(ui, add, 1), browse_width = button_width(ui, browse, 1);
    const f32 export_width = button_width(ui, export_label, 1);
    const f32 height = ceilf(ui_font(ui, 1)->size + ui_theme.text_box.margin[0] + ui_theme.text_box.margin[1] +
                             ui_theme.text_box.padding[0] + ui_theme.text_box.padding[1]);
    const f32 one[1] = {add_width}, list[2] = {browse_width, add_width}, out[2] = {browse_width, export_width};
    static const f32 padding[4] = {4, 4, 4, 4};

    // The texts wrap and the boxes take what is left: only a view narrower than a
    // row's least width needs a horizontal bar.
    u32 flags = layout_flag_partly_visible;
    f32 least = padding[2] + padding[3] + 40 + 2 + browse_width + 2 + fmaxf(add_width, export_width);
    if (rect_width(rect) - layout_bar_size >= least) flags |= layout_flag_no_horizontal_bar;
    layout_t layout;
    layout_create(&layout, &app->scratch, ui->fonts, rect, panel->add_feed_scroll.x, panel->add_feed_scroll.y,
                  padding);
    while (layout_pass_start(&layout)) {
        ui_set_mode(ui, ui_mode_from_layout(&layout));
        view_scroll_bars(&panel->add_feed_scroll, ui, &layout, rect);
        if (layout_pass_ready(&layout, 0)) continue;
        layout_set_flags(&layout, flags);
        layout_set_wrap(&layout, 0, layout_remaining(&layout), layout_wrap_eat_space);
        layout_set_font(&layout, 2);
        layout_string(&layout, data_literal("Add feed"));
        layout_new_line(&layout);
        layout_set_font(&layout, 1);
        layout_advance(&layout, 0, 5, 0);
        layout_string(&layout, data_literal("URL to a RSS feed, Atom feed or youtube channel."));
        line_then_gap(&layout);
        layout_item_t* address_buttons[1];
        layout_item_t* address = box_row(&layout, height, one, 1, address_buttons);
        layout_string(&layout, data_literal("Path to a text file containing a list of URLs to RSS feed, Atom feed "
                                            "or youtube channel."));
        line_then_gap(&layout);
        layout_item_t* list_buttons[2];
        layout_item_t* list_path = box_row(&layout, height, list, 2, list_buttons);
        layout_string(&layout, data_literal("Path to a text file to export a list of URLs from the feed added in "
                                            "the application."));
        line_then_gap(&layout);
        layout_item_t* export_buttons[2];
        layout_item_t* export_path = box_row(&layout, height, out, 2, export_buttons);
        layout_string(&layout, data_literal(add_feed_help));
        layout_new_line(&layout);
        layout_finish(&layout);
        if (!ui_mode_is_live(ui)) continue;

        // There's no check on an empty address: the generation still advances.
        u32 key = ui_text_box(ui, UI_ID(), address->box.rect, &panel->add_feed_address, 1);
        bool clicked = ui_button(ui, UI_ID(), address_buttons[0]->box.rect, add, 1);
        if (clicked || key == 13 || key == 10) reader_add_address(app, reader, panel->add_feed_address);

        key = ui_text_box(ui, UI_ID(), list_path->box.rect, &panel->add_feed_list_path, 1);
        browse_button(ui, list_buttons[0]->box.rect, browse, UI_ID(), &panel->add_feed_list_path);
        clicked = ui_button(ui, UI_ID(), list_buttons[1]->box.rect, add, 1);
        if ((clicked || key == 13 || key == 10) && panel->add_feed_list_path.used) {
            reader_add_address_list(app, reader, panel->add_feed_list_path);
        }

        // Enter here does nothing: an export only on the button.
        ui_text_box(ui, UI_ID(), export_path->box.rect, &panel->add_feed_export_path, 1);
        browse_button(ui, export_buttons[0]->box.rect, browse, UI_ID(), &panel->add_feed_export_path);
        if (ui_button(ui, UI_ID(), export_buttons[1]->box.rect, export_label, 1)) {
            add_feed_export(app, reader, panel->add_feed_export_path);
        }
    }
    ui_set_mode(ui, ui_mode_both);
    panel_draw_items(app, panel, &layout);
}
