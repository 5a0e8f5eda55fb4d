// The demonstration panel: the widgets in a row at the top, a line that says what
// they did, and below a long text laid out through the passes, wrapped to the view
// or not, with its scroll bars.
#include "views/demo_panel.h"

#include <cstring>

#include "base/format.h"
#include "base/text.h"
#include "app/app.h"
#include "layout/layout.h"
#include "ui/ui_button.h"
#include "ui/ui_list.h"
#include "ui/ui_text_box.h"
#include "views/panel_draw.h"

static const char* const demo_buttons[] = {"Count a click"};
static const char* const demo_choices[] = {"Small text", "Body text", "Titles", "Fixed pitch"};

void demo_panel_init(demo_panel_t* panel, data_t* memory) {
    *panel = demo_panel_t{};
    panel->buttons = demo_buttons;
    panel->button_count = 1;
    panel->choices = demo_choices;
    panel->choice_count = 4;
    panel->with_text_box = 1;
    panel->wrap = 1;
    panel->font = 1;
    panel->line = data_make(sizeof(panel->line_bytes), 0, panel->line_bytes);
    static const char* const words[] = {"feeds",  "arrive", "in",     "the",   "reader", "and",   "every",
                                        "entry",  "is",     "laid",   "out",   "by",     "its",   "own",
                                        "passes", "which",  "measure", "first", "then",  "draw", "Newsloom"};
    panel->text = data_make(memory->reserved - memory->used, 0, memory->bytes + memory->used);
    u32 seed = 2026;
    for (u32 i = 0; i < 3000 && panel->text.used + 16 < panel->text.reserved; i++) {
        seed = seed * 1103515245 + 12345;
        const char* word = words[(seed >> 16) % (sizeof(words) / sizeof(words[0]))];
        data_push_string(&panel->text, word, text_length(word));
        data_push_string(&panel->text, i % 80 == 79 ? "\n\n" : " ", i % 80 == 79 ? 2 : 1);
    }
    memory->used += panel->text.used;
    panel->text.reserved = panel->text.used;
}

// Text in the window's own colours, straight into the normal layer.
static void label(ui_t* ui, rect_t box, data_t text, u32 font) {
    if (!ui->draw || text.used == 0) return;
    const font_t* face = ui_font(ui, font);
    f32 width = 0;
    data_t fitted = ui_fit_text(ui, face, text, rect_width(box), &width);
    f32 y = (box.y0 + box.y1) / 2 - face->size / 2 + font_baseline(face);
    ui_draw_text(ui_layer_t{ui->draw, draw_layer_normal}, fitted, box.x0, y, 1, font, colour_white);
}

// The widgets' row; gives what is left below it.
static rect_t widget_row(ui_t* ui, demo_panel_t* panel, rect_t rect) {
    const f32 row_height = 26, gap = 8;
    f32 top = rect.y1 - 10;
    rect_t row = {rect.x0 + 10, top - row_height, rect.x1 - 10, top};
    f32 x = row.x0;
    for (u32 i = 0; i < panel->button_count; i++) {
        data_t text = data_from_size(text_length(panel->buttons[i]), panel->buttons[i]);
        f32 width = 24 + layout_get_single_line_size(ui_font(ui, 0), text.bytes, text.used, codepoint_invalid).width;
        width = (f32)(i32)(width + 1);
        if (ui_button(ui, pair_push(UI_ID(), (i64)i + 1), rect_t{x, row.y0, x + width, row.y1}, text, 0) && i == 0) {
            panel->clicks += 1;
        }
        x += width + gap;
    }
    rect_t check = {x, row.y0 + 5, x + 130, row.y0 + 21};
    ui_check_box_label(ui, UI_ID(), check, &panel->wrap, data_literal("Wrap the text"), 0);
    x = check.x1 + gap;
    data_t rows[8];
    u32 count = panel->choice_count < 8 ? panel->choice_count : 8;
    for (u32 i = 0; i < count; i++) rows[i] = data_from_size(text_length(panel->choices[i]), panel->choices[i]);
    ui_drop_down(ui, UI_ID(), rect_t{x, row.y0, x + 160, row.y1}, rows, count, &panel->font, 0);
    x += 160 + gap;
    if (panel->with_text_box) {
        u32 key = ui_text_box(ui, UI_ID(), rect_t{x, row.y0, x + 260, row.y1}, &panel->line, 0);
        if (key) panel->last_key = key;
        x += 260 + gap;
    }

    // What the widgets did, in one line under them.
    u8 buffer[512];
    data_t status = data_make(sizeof(buffer), 0, buffer);
    data_push_c_string(&status, "Clicks: ");
    status.used += format_u64(status.bytes + status.used, status.reserved - status.used, panel->clicks, 0, ' ', 0);
    data_push_c_string(&status, panel->wrap ? "   Wrapped" : "   Not wrapped");
    if (panel->font < count) {
        data_push_c_string(&status, "   Font: ");
        data_push_string(&status, rows[panel->font].bytes, rows[panel->font].used);
    }
    if (panel->with_text_box) {
        data_push_c_string(&status, "   Typed: ");
        u64 room = status.reserved - status.used;
        data_push_string(&status, panel->line.bytes, panel->line.used < room ? panel->line.used : room);
        if (panel->last_key == 27) data_push_c_string(&status, "   (Escape)");
        if (panel->last_key == 13 && status.used + 11 < status.reserved) data_push_c_string(&status, "   (Return)");
    }
    rect_t line = {row.x0, row.y0 - 28, row.x1, row.y0 - 6};
    label(ui, line, status, 0);
    return rect_t{rect.x0 + 10, rect.y0 + 10, rect.x1 - 10, line.y0 - 6};
}

// The long text through the passes: measured, then the bars decide and take input,
// then it is drawn.
static void text_view(ui_t* ui, demo_panel_t* panel, data_t* memory, rect_t rect) {
    ui_draw_rect(ui_layer_t{ui->draw, draw_layer_normal}, rect, ui_theme.text_box.fill[ui_state_normal]);
    const f32 padding[4] = {8, 8, 8, 8};
    layout_t layout;
    layout_create(&layout, memory, ui->fonts, rect, panel->scroll.x, panel->scroll.y, padding);
    u32 font = panel->font < 4 ? (u32)panel->font : 1;
    while (layout_pass_start(&layout)) {
        ui_set_mode(ui, ui_mode_from_layout(&layout));
        ui_layout_scroll_bars(&panel->scroll, ui, &layout, rect);
        if (layout_pass_ready(&layout, 0)) continue;
        layout_set_font(&layout, font);
        // Wrapped text never needs a horizontal bar, even in the pass that measured it
        // wider, before the vertical bar took its room.
        if (panel->wrap) {
            layout_set_flags(&layout, layout_flag_no_horizontal_bar);
            layout_set_wrap(&layout, 0, layout.width - padding[2] - padding[3], layout_wrap_eat_space);
        }
        // A paragraph an item: the first measure, which doesn't know about the
        // bar yet, stops as soon as the text overflows; with a wrap the bar then
        // makes a second measure, of all of it, anyway.
        const u8* p = panel->text.bytes;
        const u8* end = p + panel->text.used;
        while (p < end) {
            if (panel->wrap && layout_would_overflow(&layout)) break;
            const u8* paragraph = p;
            for (;;) {
                const u8* line_end = (const u8*)memchr(p, '\n', (u64)(end - p));
                if (!line_end) {
                    p = end;
                    break;
                }
                p = line_end + 1;
                if (p < end && *p == '\n') {
                    p += 1;
                    break;
                }
            }
            layout_string_p(&layout, paragraph, (u64)(p - paragraph));
        }
        layout_finish(&layout);
    }
    ui_set_mode(ui, ui_mode_both);
    app_t context = {};
    context.ui = ui;
    context.draw = ui->draw;
    if (ui->draw) panel_draw_items(&context, nullptr, &layout);
    ui_set_clip(ui, ui->screen);
}

void demo_panel_draw(ui_t* ui, demo_panel_t* panel, data_t* memory, rect_t rect) {
    ui_draw_rect(ui_layer_t{ui->draw, draw_layer_normal}, rect, ui_theme.background);
    rect_t rest = widget_row(ui, panel, rect);
    if (rect_width(rest) > 40 && rect_height(rest) > 40) text_view(ui, panel, memory, rest);
}
