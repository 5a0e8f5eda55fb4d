// image_resize: the area-averaging scaler of pictures and icons. Each target pixel
// is the mean of the source pixels that it covers, weighted by how much of each it
// covers, all in 32-bit floats in one pass without a temporary image.
#pragma once

#include "base/types.h"

enum : u32 {
    image_resize_error_no_size = 1,
    image_resize_error_channels = 2,
};

// `target_width` and `target_height` are in-out: the first one given wins and the
// other follows the source's aspect (both 0 is error 1). With `source` or `target`
// null only the sizes are worked out. `channels` 1 to 4 (else error 2); `swap`
// exchanges components 0 and 2 of each target pixel when there are 3 or more;
// `gamma` 1 means none and is applied to the mean. A call with `*error` set does
// nothing.
void image_resize(const u8* source, u32 source_width, u32 source_height, u8* target, u32* target_width,
                  u32* target_height, u32 channels, u32 swap, f32 gamma, u32* error);
