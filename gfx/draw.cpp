// The frame's batches and the calls that push into them.
#include "gfx/draw.h"

#include <cmath>

void draw_create(draw_t* draw, renderer_t* renderer, font_set_t* fonts, i32 screen_width, i32 screen_height,
                 u32 icon_texture) {
    *draw = draw_t{renderer, fonts};
    u32 lines_per_screen = (u32)ceil((f64)screen_height / 14.0);
    u32 glyph_capacity = lines_per_screen * (u32)(screen_width / 2);
    // A run is a piece of text in one colour: a line of highlighted code in an
    // entry is a run a word, or more.
    u32 run_capacity = lines_per_screen * 40;
    u8 colour_only = gl_format(2, 1, 0, 2);
    u8 textured = gl_format(2, 1, 1, 2);
    // Large screens need more glyph vertices than two-byte indices can name.
    u8 text_format = gl_format(2, 1, 1, glyph_capacity * 4 > 0xFFFE ? 4 : 2);
    for (u32 layer = 0; layer < 2; layer++) {
        draw->rectangles[layer] = gl_batch_create(renderer, batch_type_quads, colour_only, 1000, 1000, nullptr, 0);
        draw->text[layer] =
            gl_batch_create(renderer, batch_type_text, text_format, glyph_capacity, run_capacity, fonts, 0);
        draw->icons[layer] = gl_batch_create(renderer, batch_type_quads, textured, 100, 100, nullptr, icon_texture);
    }
    draw->images = gl_batch_create(renderer, batch_type_images, textured, 1000, 1000, nullptr, 0);
}

void draw_frame_begin(draw_t* draw, i32 width, i32 height, bool resized) {
    renderer_t* renderer = draw->renderer;
    gl_frame_begin(renderer);
    if (resized) gl_resize(renderer, 0, 0, width, height);
    gl_renderer_scissor(renderer, false, 0, 0, 0, 0);
    gl_clear(renderer, colour_black);
}

void draw_frame_end(draw_t* draw) { gl_frame_end(draw->renderer); }


// The handle of the command that a push made, if it made one.
static draw_handle_t handle_after(const draw_t* draw, u32 batch, u32 count_before) {
    u32 count = draw->renderer->batches[batch].command_count;
    return draw_handle_t{batch, count > count_before ? count - 1 : draw_handle_none};
}

draw_handle_t draw_rect(draw_t* draw, u32 layer, rect_t rect, colour_t colour) {
    batch_t* batch = gl_batch(draw->renderer, draw->rectangles[layer]);
    u32 before = batch->command_count;
    gl_batch_rectangle(batch, rect, nullptr, nullptr, colour);
    return handle_after(draw, draw->rectangles[layer], before);
}

draw_handle_t draw_text(draw_t* draw, u32 layer, const u8* text, u64 length, f32 x, f32 y, u32 trim_first, u32 font,
                        colour_t colour) {
    batch_t* batch = gl_batch(draw->renderer, draw->text[layer]);
    u32 before = batch->command_count;
    gl_batch_text(batch, text, length, x, y, trim_first, font, colour);
    return handle_after(draw, draw->text[layer], before);
}

void draw_set_colour(draw_t* draw, draw_handle_t handle, colour_t colour) {
    if (handle.command == draw_handle_none) return;
    gl_batch_command_colour(gl_batch(draw->renderer, handle.batch), handle.command, colour);
}

void draw_icon(draw_t* draw, u32 layer, rect_t rect, rect_t uv, colour_t colour) {
    gl_batch_rectangle(gl_batch(draw->renderer, draw->icons[layer]), rect, &uv, nullptr, colour);
}

void draw_image(draw_t* draw, rect_t rect, colour_t colour, u32 texture, u32 bytes_per_pixel) {
    gl_batch_image(gl_batch(draw->renderer, draw->images), rect, nullptr, nullptr, colour, texture, bytes_per_pixel);
}

void draw_region(draw_t* draw, rect_t rect, f32 offset) { gl_region(draw->renderer, rect, offset); }

static void batch_clip(draw_t* draw, u32 handle, const rect_t* clip) {
    batch_t* batch = gl_batch(draw->renderer, handle);
    if (!clip) {
        gl_scissor(batch, false, 0, 0, 0, 0);
        return;
    }
    gl_scissor(batch, true, (i32)clip->x0, (i32)clip->y0, (i32)rect_width(*clip), (i32)rect_height(*clip));
}

void draw_clip(draw_t* draw, u32 layer, const rect_t* clip) {
    batch_clip(draw, draw->rectangles[layer], clip);
    batch_clip(draw, draw->text[layer], clip);
    batch_clip(draw, draw->icons[layer], clip);
}

void draw_text_clip(draw_t* draw, u32 layer, const rect_t* clip) { batch_clip(draw, draw->text[layer], clip); }
