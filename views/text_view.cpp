#include "views/text_view.h"

#include "gfx/draw.h"
#include "layout/layout.h"
#include "ui/ui_core.h"

static text_view_t text_view_run(ui_t* ui, data_t* memory, rect_t rect, const f32* padding, u32 font, data_t text,
                                 colour_t colour, u32 wrap, f32 scroll_x, f32 scroll_y, u32 record) {
    data_t saved = *memory;
    layout_t layout;
    layout_create(&layout, memory, ui->fonts, rect, scroll_x, scroll_y, padding);
    layout.font = font;
    layout.flags = layout_flag_partly_visible;
    if (wrap) {
        layout.wrap_width = rect_width(rect) - padding[2] - padding[3];
        layout.eat_space = 1;
    }
    // The text layout looks back through the items for the code point before it: the
    // item must be the layout's first.
    layout_item_t* pushed = (layout_item_t*)data_push(memory, sizeof(layout_item_t), 8);
    ASSERT(pushed == layout.items);
    *pushed = layout_item_t{};
    layout.item_count = 1;
    layout_item_t& item = *pushed;
    item.kind = layout_item_text;
    item.text.text = text.bytes;
    item.text.length = text.used;
    layout_text(&layout, &item, record);
    text_view_t size = {item.text.bounds.x1 + padding[3], item.text.bounds.y1 + padding[1]};
    if (record && ui->draw) {
        const font_t* face = ui_font(ui, font);
        f32 baseline = font_baseline(face);
        for (u32 i = 0; i < item.text.run_count; i++) {
            const layout_line_t* run = &item.text.runs[i];
            // Runs are placed from the view's top edge downward; the batches count
            // from the bottom of the window upward.
            f32 x = rect.x0 + run->rect.x0;
            f32 bottom = rect.y1 - run->rect.y1;
            draw_text(ui->draw, draw_layer_normal, run->text, run->bytes, run->codepoints, x, bottom + baseline, 0, font,
                      colour);
        }
    }
    *memory = saved;
    return size;
}

text_view_t text_view_draw(ui_t* ui, data_t* memory, rect_t rect, const f32* padding, u32 font, data_t text,
                           colour_t colour, u32 wrap, f32 scroll_x, f32 scroll_y) {
    return text_view_run(ui, memory, rect, padding, font, text, colour, wrap, scroll_x, scroll_y, 1);
}

text_view_t text_view_measure(ui_t* ui, data_t* memory, rect_t rect, const f32* padding, u32 font, data_t text,
                              u32 wrap) {
    return text_view_run(ui, memory, rect, padding, font, text, colour_white, wrap, 0, 0, 0);
}
