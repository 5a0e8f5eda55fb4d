// The icon atlas: images scaled side by side into one strip, with the texture
// coordinates of each; and the strip of the widgets' seven icons.
#pragma once

#include "base/types.h"

struct atlas_t {
    u8* pixels;  // rows of width x channels bytes, row 0 first
    u32 width, height;
    f32* images;  // per image: lower corner u, v and upper corner u, v; zeros for one that failed
    u64 channels;
    u64 block_size;  // of the one block that holds pixels and images
};

struct atlas_source_t {
    const u8* pixels;
    u32 width, height;                // of the source
    u32 target_width, target_height;  // in the strip
};

// The largest icon: what an image may take once scaled.
constexpr u32 atlas_image_capacity = 65536;

// The images stand on row 0 from x 0 in the order given. One that can't be scaled
// (no size, or more than atlas_image_capacity bytes) is left out and takes no room.
atlas_t atlas_create(const atlas_source_t* images, u32 count, u32 channels);

// Gives the strip's memory back; the atlas then holds no strip.
void atlas_free(atlas_t* atlas);

// The widgets' icons, in the atlas' order.
enum : u32 {
    icon_check_12 = 0,
    icon_check_10 = 1,
    icon_chevron_up_16 = 2,
    icon_chevron_up_14 = 3,
    icon_chevron_up_10 = 4,
    icon_chevron_left_14 = 5,
    icon_chevron_left_10 = 6,
    icon_count = 7,
};

// The seven icons scaled from their masks, one coverage byte per pixel.
atlas_t icon_atlas_create();
