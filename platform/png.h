// Writing RGBA pixels as a PNG file (stb_image_write), for debug images.
#pragma once

#include "base/data.h"

// `bottom_up` for rows as GL reads them. Written under a temporary name and
// renamed, so that a reader never sees half a file. False on failure.
bool png_write(data_t path, const u8* pixels, i32 width, i32 height, bool bottom_up);
