// PNG files through the one compiled copy of stb_image_write.
#include <cstdio>
#include <cstring>

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wall"
#pragma GCC diagnostic ignored "-Wextra"
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"
#define STB_IMAGE_WRITE_IMPLEMENTATION
#define STBI_WRITE_NO_STDIO_UNUSED
#include <stb/stb_image_write.h>
#pragma GCC diagnostic pop

#include "platform/png.h"

bool png_write(data_t path, const u8* pixels, i32 width, i32 height, bool bottom_up) {
    char name[4096];
    char temporary[4100];
    if (path.used == 0 || path.used >= sizeof(name)) return false;
    memcpy(name, path.bytes, path.used);
    name[path.used] = 0;
    snprintf(temporary, sizeof(temporary), "%s.tmp", name);
    i32 stride = width * 4;
    const u8* first = bottom_up ? pixels + (u64)(height - 1) * stride : pixels;
    if (!stbi_write_png(temporary, width, height, 4, first, bottom_up ? -stride : stride)) return false;
    return rename(temporary, name) == 0;
}
