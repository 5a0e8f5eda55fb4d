// The frame's batches and the only way the widgets and views draw: rectangles, text,
// icons and images, on the normal layer or on the overlay that lies above it. What
// is pushed here is queued and drawn at the frame's end, in batch order.
#pragma once

#include "base/rect.h"
#include "gfx/renderer.h"

enum : u32 {
    draw_layer_normal = 0,
    draw_layer_overlay = 1,
};

// Batch handles of each layer, in creation (and drawing) order: rectangles, text,
// icons of the normal layer, the same of the overlay, then the images above all.
struct draw_t {
    renderer_t* renderer;
    font_set_t* fonts;
    u32 rectangles[2], text[2], icons[2];
    u32 images;
};

// The seven batches, sized from the screen: text room for a screenful of 2-pixel
// glyphs in 14-pixel rows. `icon_texture` is the icon atlas (0 until there is one).
void draw_create(draw_t* draw, renderer_t* renderer, font_set_t* fonts, i32 screen_width, i32 screen_height,
                 u32 icon_texture);
// Empties the batches, follows a new client size, and clears to black.
void draw_frame_begin(draw_t* draw, i32 width, i32 height, bool resized);
void draw_frame_end(draw_t* draw);

// What a rectangle or a text was queued as, so that its colour can still change
// in the same frame; `command` is draw_handle_none when the batch had no room.
struct draw_handle_t {
    u32 batch;
    u32 command;
};
constexpr u32 draw_handle_none = 0xFFFFFFFF;

draw_handle_t draw_rect(draw_t* draw, u32 layer, rect_t rect, colour_t colour);
// (x, y) is the pen on the baseline; `trim_first` puts the first glyph's ink at the pen.
draw_handle_t draw_text(draw_t* draw, u32 layer, const u8* text, u64 length, f32 x, f32 y, u32 trim_first, u32 font,
                        colour_t colour);
void draw_set_colour(draw_t* draw, draw_handle_t handle, colour_t colour);
// A part of the icon atlas; `uv` may run backwards to mirror it.
void draw_icon(draw_t* draw, u32 layer, rect_t rect, rect_t uv, colour_t colour);
void draw_image(draw_t* draw, rect_t rect, colour_t colour, u32 texture, u32 bytes_per_pixel);
// Declares that what is drawn inside `rect` this frame moves with a scroll of
// `offset` pixels (content y is screen y - offset): the GL backend then moves the
// pixels it kept there and draws again only what changed.
void draw_region(draw_t* draw, rect_t rect, f32 offset);
// Limits what follows on a layer to `clip` (null: no limit): rectangles, text and
// icons, or with draw_text_clip the text alone.
void draw_clip(draw_t* draw, u32 layer, const rect_t* clip);
void draw_text_clip(draw_t* draw, u32 layer, const rect_t* clip);
