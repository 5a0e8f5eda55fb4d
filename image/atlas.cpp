// atlas_create: images scaled into one strip; and the strip of the widgets' icons,
// made once at start-up from the three masks.
#include "image/atlas.h"

#include "base/data.h"
#include "base/text.h"
#include "image/icon_masks.h"
#include "image/image_resize.h"
#include "profiler/profiler.h"

atlas_t atlas_create(const atlas_source_t* images, u32 count, u32 channels) {
    PROFILE_ZONE(atlas_create);
    atlas_t atlas = {};
    atlas.channels = channels;
    for (u32 i = 0; i < count; i++) {
        atlas.width += images[i].target_width;
        atlas.height = max_of(atlas.height, images[i].target_height);
    }
    u64 stride = (u64)atlas.width * channels;
    u64 pixel_bytes = align_up(stride * atlas.height, 4);
    data_t block = data_allocate(pixel_bytes + 16 * (u64)count);
    if (!block.bytes) return atlas_t{nullptr, 0, 0, nullptr, channels};  // no strip: its users draw none
    atlas.pixels = block.bytes;
    atlas.images = (f32*)(block.bytes + pixel_bytes);
    atlas.block_size = block.reserved;

    u8 scaled[atlas_image_capacity];
    bytes_zero(scaled, sizeof(scaled));
    u32 x = 0;
    for (u32 i = 0; i < count; i++) {
        const atlas_source_t* image = &images[i];
        u32 width = image->target_width, height = image->target_height, error = 0;
        image_resize(image->pixels, image->width, image->height, nullptr, &width, &height, channels, 0, 1, &error);
        if (error || (u64)width * height * channels > sizeof(scaled) || x + width > atlas.width) continue;
        image_resize(image->pixels, image->width, image->height, scaled, &width, &height, channels, 0, 1, &error);
        if (error) continue;
        u64 row_bytes = (u64)width * channels;
        for (u32 row = 0; row < height && row < atlas.height; row++) {
            bytes_copy(atlas.pixels + row * stride + (u64)x * channels, scaled + row * row_bytes, row_bytes);
        }
        f32* uv = atlas.images + 4 * i;
        uv[0] = (f32)x / (f32)atlas.width;
        uv[1] = 0;
        uv[2] = uv[0] + (f32)image->target_width / (f32)atlas.width;
        uv[3] = (f32)image->target_height / (f32)atlas.height;
        x += image->target_width;
    }
    return atlas;
}

void atlas_free(atlas_t* atlas) {
    data_t block = data_make(atlas->block_size, 0, atlas->pixels);
    data_free(&block);
    *atlas = atlas_t{nullptr, 0, 0, nullptr, atlas->channels, 0};
}

atlas_t icon_atlas_create() {
    struct icon_t {
        const u8* mask;
        u32 size;
    };
    static const icon_t icons[icon_count] = {
        {icon_mask_check, 12},        {icon_mask_check, 10},       {icon_mask_chevron_up, 16},
        {icon_mask_chevron_up, 14},   {icon_mask_chevron_up, 10},  {icon_mask_chevron_left, 14},
        {icon_mask_chevron_left, 10},
    };
    atlas_source_t sources[icon_count];
    for (u32 i = 0; i < icon_count; i++) {
        sources[i] = atlas_source_t{icons[i].mask, icon_mask_size, icon_mask_size, icons[i].size, icons[i].size};
    }
    return atlas_create(sources, icon_count, 1);
}
