// Drawing a finished layout: its items replayed from the first, so that each text
// run takes the colour and font in force where it was pushed, and each picture box
// shows its picture once it is ready. Picture textures are made here and nowhere
// else, on the thread that holds the GL context.
#include "views/panel_draw.h"

#include "app/app.h"
#include "app/frame_loop.h"
#include "base/log.h"
#include "gfx/draw.h"
#include "image/image_query.h"
#include "layout/layout.h"
#include "platform/thread.h"
#include "store/reader.h"
#include "ui/ui_core.h"
#include "views/html_view.h"
#include "views/panel.h"

// The renderer that made the pictures' textures, which a released slot gives back.
static renderer_t* picture_renderer = nullptr;

static void picture_texture_delete(u32 texture) {
    if (picture_renderer) render_texture_delete(picture_renderer, &texture);
}

void panel_pictures_attach(renderer_t* renderer) {
    picture_renderer = renderer;
    image_texture_delete_hook = renderer ? picture_texture_delete : nullptr;
    image_texture_size_limit = renderer ? renderer->max_texture_size : 1024;
}

// Ready pixels that a texture can't take (a size that the limit didn't catch when
// the resize was asked for) end as a resize error, said once, rather than in a
// failed upload.
static bool picture_fits_texture(const renderer_t* renderer, const image_query_t* query) {
    u32 width = query->requested_width, height = query->requested_height;
    u32 limit = renderer->max_texture_size;
    return query->pixels.bytes && width && height && width <= limit && height <= limit && query->channels >= 1 &&
           query->channels <= 4 && query->pixels.used >= (u64)width * height * query->channels;
}

// Ready pixels that won't be shown: one line says why, and the slot's error
// takes the picture's place from the next frame on.
static void picture_refuse(image_query_t* query, const char* reason, u32 state) {
    log_paragraph_start(log_user);
    log_write_c_string(log_user, reason);
    log_write(log_user, query->url);
    atomic_store_release_u32(&query->state, state);
}

// A box whose user value names a picture: the picture, once it's ready. The
// address is the view's, valid for this frame.
static void picture_draw(app_t* ctx, u32 entry_id, const layout_t* layout, const layout_item_t* item) {
    if (!layout_item_visible(layout, item)) return;
    const data_t* url = (const data_t*)item->box.user;
    image_query_t* query = image_query_get(entry_id, *url, false);
    if (!query || image_query_frame_state(query, frame_counter) != image_state_ready) return;
    renderer_t* renderer = ctx->draw->renderer;
    if (!query->texture) {
        if (!picture_fits_texture(renderer, query)) {
            picture_refuse(query, "A picture is larger than a texture can hold and is not shown: ",
                           image_state_resize_error);
            return;
        }
        query->texture = render_texture_create(renderer, query->pixels.bytes, (i32)query->requested_width,
                                               (i32)query->requested_height, query->channels, texture_linear);
        if (!query->texture) {
            // A failure of the picture, not of its download, which went well.
            query->error = image_error_local;
            picture_refuse(query, "A picture could not be made into a texture and is not shown: ",
                           image_state_load_error);
            return;
        }
    }
    draw_image(ctx->draw, item->box.rect, colour_white, query->texture, query->channels);
}

static void text_draw(app_t* ctx, layout_t* layout, const layout_item_t* item, colour_t colour) {
    const layout_text_t* text = &item->text;
    for (u32 i = 0; i < text->run_count; i++) {
        const layout_line_t* run = &text->runs[i];
        // A run starts at its first glyph's ink already: nothing to trim.
        draw_text(ctx->draw, draw_layer_normal, run->text, run->bytes, run->rect.x0, run->rect.y0 + text->baseline, 0,
                  layout->font, colour);
    }
}

void panel_draw_items(app_t* ctx, panel_t* panel, layout_t* layout) {
    ASSERT(layout->state == layout_state_done);
    // Pictures belong to the entry on show; without one no box names a picture.
    entry_t* entry = panel ? panel->selected_entry : nullptr;
    layout->font = 0;
    layout->colour = colour_white;
    layout->colour_stack = nullptr;
    // The link that the marks say the items belong to: under the mouse or pressed,
    // all of its text takes the hover colour.
    bool link_lit = false;
    for (u32 i = 0; i < layout->item_count; i++) {
        layout_item_t* item = &layout->items[i];
        switch (item->kind) {
        case layout_item_text:
            text_draw(ctx, layout, item, link_lit ? html_link_hover_colour : layout->colour);
            break;
        case layout_item_mark:
            if (item->mark.a == html_mark_link) {
                pair_t id = pair_from_pointer((const void*)(uintptr_t)item->mark.b);
                link_lit = item->mark.b && ctx->ui && (ui_is_hot(ctx->ui, id) || ui_is_active(ctx->ui, id));
            }
            break;
        case layout_item_box:
            if (item->box.user && entry) picture_draw(ctx, entry->id, layout, item);
            break;
        default:
            layout_replay_state(layout, item);
            break;
        }
    }
}
