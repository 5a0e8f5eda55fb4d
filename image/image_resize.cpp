// The area-averaging scaler: target pixels as ranges of the unit square, the
// source pixels they overlap weighted by the overlap, gamma on the mean.
#include "image/image_resize.h"

#include <cmath>

#include "profiler/profiler.h"

// Toward zero; what no u32 holds saturates rather than wraps.
static u32 size_cut(f32 value) {
    if (!(value > 0)) return 0;
    if (value >= 4294967040.0f) return 0xFFFFFF00u;
    return (u32)value;
}

// The axis that follows the source: its size, and its step as the inverse of the
// exact quotient corrected by how much the cut took off.
static u32 size_follow(u32 source_size, f32 ratio, f32* step) {
    f32 exact = (f32)source_size * ratio;
    u32 size = size_cut(exact);
    if (size) *step = (1.0f / exact) / ((f32)size / exact);
    return size;
}

static u8 component_store(f32 sum, f32 gamma) {
    f32 value = sum;
    if (gamma != 1.0f) value = expf(gamma * logf(max_of(sum, 0.0f) / 255.0f)) * 255.0f;
    value = roundf(value);
    if (!(value > 0)) return 0;
    return value >= 255 ? 255 : (u8)value;
}

void image_resize(const u8* source, u32 source_width, u32 source_height, u8* target, u32* target_width,
                  u32* target_height, u32 channels, u32 swap, f32 gamma, u32* error) {
    PROFILE_ZONE(image_resize);
    if (*error) return;

    // 1. Sizes: the aspect always follows the source.
    f32 step_x = 0, step_y = 0;
    if (*target_width) {
        *target_height = size_follow(source_height, (f32)*target_width / (f32)source_width, &step_y);
        step_x = 1.0f / (f32)*target_width;
    } else if (*target_height) {
        *target_width = size_follow(source_width, (f32)*target_height / (f32)source_height, &step_x);
        step_y = 1.0f / (f32)*target_height;
    } else {
        *error = image_resize_error_no_size;
        return;
    }
    // 2. Only the size was asked for.
    if (!source || !target) return;
    // 3.
    if (channels == 0 || channels > 4) {
        *error = image_resize_error_channels;
        return;
    }

    const u32 width = *target_width, height = *target_height;
    const f32 source_w = (f32)source_width, source_h = (f32)source_height;
    const u64 source_stride = (u64)source_width * channels;
    u8* out = target;
    // 4. Each edge is the previous pixel's, so rounding can't open gaps.
    f32 y0 = 0;
    for (u32 ty = 0; ty < height; ty++) {
        f32 y1 = (f32)(ty + 1) / (f32)height;
        f32 x0 = 0;
        for (u32 tx = 0; tx < width; tx++) {
            f32 x1 = (f32)(tx + 1) / (f32)width;
            f32 sum[4] = {0, 0, 0, 0};
            // 5. The source rows that overlap.
            for (u32 row = size_cut(source_h * y0); row < source_height; row++) {
                f32 r0 = (f32)row / source_h, r1 = (f32)(row + 1) / source_h;
                if (r0 >= y1) break;
                f32 weight_y = (min_of(r1, y1) - max_of(r0, y0)) / step_y;
                const u8* line = source + row * source_stride;
                // 6. And the pixels of the row.
                for (u32 column = size_cut(source_w * x0); column < source_width; column++) {
                    f32 c0 = (f32)column / source_w, c1 = (f32)(column + 1) / source_w;
                    if (c0 >= x1) break;
                    f32 weight = weight_y * ((min_of(c1, x1) - max_of(c0, x0)) / step_x);
                    const u8* pixel = line + (u64)column * channels;
                    for (u32 k = 0; k < channels; k++) sum[k] += (f32)pixel[k] * weight;
                }
            }
            // 7. The mean, then the gamma.
            for (u32 k = 0; k < channels; k++) out[k] = component_store(sum[k], gamma);
            // 8.
            if (swap && channels >= 3) {
                u8 first = out[0];
                out[0] = out[2];
                out[2] = first;
            }
            out += channels;
            x0 = x1;
        }
        y0 = y1;
    }
}
