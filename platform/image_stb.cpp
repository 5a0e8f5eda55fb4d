// Pictures through stb_image, compiled static here so that no other copy of the
// library in the same program clashes with this one.
#include <climits>

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wall"
#pragma GCC diagnostic ignored "-Wextra"
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"
#define STB_IMAGE_STATIC
#define STB_IMAGE_IMPLEMENTATION
#define STBI_NO_STDIO
#include <stb/stb_image.h>
#pragma GCC diagnostic pop

#include "platform/image_decode.h"

u8* image_decode(const u8* bytes, u64 size, u32* width, u32* height, u32* channels) {
    *width = *height = *channels = 0;
    if (!bytes || size == 0 || size > INT_MAX) return nullptr;
    int x = 0, y = 0, components = 0;
    if (!stbi_info_from_memory(bytes, (int)size, &x, &y, &components)) return nullptr;
    if (x <= 0 || y <= 0 || components <= 0) return nullptr;
    if ((u64)x * (u64)y * (u64)components > image_decode_max_bytes) return nullptr;
    // Workers decode side by side: the thread's own flag, not the global one.
    stbi_set_flip_vertically_on_load_thread(1);
    u8* pixels = stbi_load_from_memory(bytes, (int)size, &x, &y, &components, 0);
    if (!pixels) return nullptr;
    *width = (u32)x;
    *height = (u32)y;
    *channels = (u32)components;
    return pixels;
}

void image_decode_free(u8* pixels) {
    if (pixels) stbi_image_free(pixels);
}
