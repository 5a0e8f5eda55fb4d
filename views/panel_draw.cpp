// Drawing a finished layout: its items replayed from the first, so that each text
// run takes the colour and font in force where it was pushed.
#include "views/panel_draw.h"

#include "app/app.h"
#include "gfx/draw.h"
#include "layout/layout.h"

static void text_draw(app_t* ctx, layout_t* layout, const layout_item_t* item) {
    const layout_text_t* text = &item->text;
    for (u32 i = 0; i < text->run_count; i++) {
        const layout_line_t* run = &text->runs[i];
        // A run starts at its first glyph's ink already: nothing to trim.
        draw_text(ctx->draw, draw_layer_normal, run->text, run->bytes, run->codepoints, run->rect.x0,
                  run->rect.y0 + text->baseline, 0, layout->font, layout->colour);
    }
}

void panel_draw_items(app_t* ctx, panel_t* panel, layout_t* layout) {
    ASSERT(layout->state == layout_state_done);
    layout->font = 0;
    layout->colour = colour_white;
    layout->colour_stack = nullptr;
    for (u32 i = 0; i < layout->item_count; i++) {
        layout_item_t* item = &layout->items[i];
        switch (item->kind) {
        case layout_item_text:
            text_draw(ctx, layout, item);
            break;
        default:
            layout_replay_state(layout, item);
            break;
        }
    }
    (void)panel;  // its entry will name the pictures of boxes
}
