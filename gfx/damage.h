// What changed on the window since the last frame. When the back buffer keeps its
// pixels between frames, the window is cut into tiles, and each tile gets a hash of
// everything that draws into it: the frame's state, and every command of every
// batch, in order, whose area touches the tile. A tile with the hash it had last
// frame holds the right pixels already; the others are merged into a few rectangles
// that the frame draws, cut to them, and that the window is shown.
#pragma once

#include "base/data.h"

constexpr i32 damage_tile_width = 64;
constexpr i32 damage_tile_height = 32;
constexpr u32 damage_rect_capacity = 8;
// A scrolled region is hashed in bands of this many content rows.
constexpr i32 damage_band_height = 32;
constexpr u32 damage_band_capacity = 128;

// A scrolled region as a frame hashed it: its screen rectangle, whole pixels, its
// whole offset, and the hash of each content band in sight, from `first_band` up.
struct damage_region_t {
    i32 rect[4];  // x0, y0, x1, y1
    i64 offset;
    i64 first_band;
    u32 band_count;  // 0: no region this frame
    u64 hashes[damage_band_capacity];
};

struct renderer_t;

struct damage_t {
    // The back buffer keeps its pixels from frame to frame (the window says so).
    u32 enabled;
    // The back buffer's pixels are gone (a resize): the next frame draws them all.
    u32 lost;
    // 1: `hashes` describe what the back buffer holds; 2: `next` holds this
    // frame's, which take over once it is drawn.
    u32 valid;
    i32 width, height;
    u32 columns, rows;
    u64* hashes;  // per tile, row by row from the bottom
    u64* next;    // this frame's, until they replace them
    data_t memory;
    // This frame: drawn whole, or only the rectangles (x, y, width, height, y up).
    u32 whole;
    u32 rect_count;
    i32 rects[damage_rect_capacity][4];
    // What the window is shown of the frame: the rectangles drawn, and a region
    // whose rows moved.
    u32 shown_count;
    i32 shown[damage_rect_capacity + 1][4];
    // The region's rows that stay move first, before any rectangle is drawn: the
    // rectangle they were in (x, y, width, height) and their new y.
    u32 moving;
    i32 move[5];
    // The scrolled region on the back buffer, and this frame's.
    damage_region_t regions[2];
    // Frames whose region's rows moved, and frames drawn in part, since the start.
    u64 frames_moved, frames_partial;
};

// The tiles' hashes for the frame queued in `renderer` (its text expanded, its
// atlases uploaded), with `epoch` the count of texture changes so far; sets `whole`
// or the rectangles to draw. Anything it can't judge is drawn whole. `can_move`:
// the backend can move the region's kept rows this frame.
void damage_frame(damage_t* damage, const renderer_t* renderer, u64 epoch, bool can_move);
// The frame was drawn as damage_frame said: its hashes now describe the back buffer.
void damage_frame_drawn(damage_t* damage);
void damage_free(damage_t* damage);
