// Draws Newsloom's icon and writes it as a PNG: a woven orange square with the
// feed sign in white. Run by the build for each size the desktop wants:
//   newsloom-icon FILE SIZE
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/data.h"
#include "platform/png.h"

struct colour_t {
    f64 r, g, b, a;
};

// Inside a square of side 1 inset by `inset`, whose corners are rounded by `radius`.
static bool in_rounded_square(f64 x, f64 y, f64 inset, f64 radius) {
    f64 low = inset + radius, high = 1 - inset - radius;
    f64 dx = x < low ? low - x : x > high ? x - high : 0;
    f64 dy = y < low ? low - y : y > high ? y - high : 0;
    if (x < inset || x > 1 - inset || y < inset || y > 1 - inset) return false;
    return dx * dx + dy * dy <= radius * radius;
}

// The feed sign: a dot in the lower left and two quarter rings around it.
static bool in_feed_sign(f64 x, f64 y) {
    const f64 cx = 0.27, cy = 0.73;
    f64 dx = x - cx, dy = cy - y;
    f64 distance = sqrt(dx * dx + dy * dy);
    if (distance <= 0.085) return true;
    if (dx < 0 || dy < 0) return false;
    return (distance >= 0.25 && distance <= 0.345) || (distance >= 0.46 && distance <= 0.555);
}

// The colour at a point, y down, before coverage.
static colour_t icon_colour(f64 x, f64 y) {
    if (!in_rounded_square(x, y, 0.04, 0.18)) return colour_t{0, 0, 0, 0};
    if (in_feed_sign(x, y)) return colour_t{1, 1, 1, 1};
    // Orange from top to bottom, woven: crossing threads a shade apart.
    f64 r = 0.96 - 0.10 * y, g = 0.58 - 0.24 * y, b = 0.16 - 0.06 * y;
    int column = (int)floor(x * 9), row = (int)floor(y * 9);
    f64 shade = ((column + row) % 2) ? 0.93 : 1.0;
    return colour_t{r * shade, g * shade, b * shade, 1};
}

int main(int argc, char** argv) {
    if (argc != 3) {
        fprintf(stderr, "usage: newsloom-icon FILE SIZE\n");
        return 2;
    }
    int size = atoi(argv[2]);
    if (size < 16 || size > 1024) {
        fprintf(stderr, "newsloom-icon: a size from 16 to 1024, not '%s'\n", argv[2]);
        return 2;
    }
    memory_query_system(nullptr, nullptr, nullptr, nullptr);
    data_t pixels = data_allocate((u64)size * size * 4);
    if (!pixels.bytes) return 1;
    // Sixteen samples a pixel smooth the edges at every size.
    const int samples = 4;
    for (int py = 0; py < size; py++) {
        for (int px = 0; px < size; px++) {
            colour_t sum = {0, 0, 0, 0};
            for (int sy = 0; sy < samples; sy++) {
                for (int sx = 0; sx < samples; sx++) {
                    f64 x = (px + (sx + 0.5) / samples) / size;
                    f64 y = (py + (sy + 0.5) / samples) / size;
                    colour_t c = icon_colour(x, y);
                    sum.r += c.r * c.a, sum.g += c.g * c.a, sum.b += c.b * c.a, sum.a += c.a;
                }
            }
            u8* out = pixels.bytes + ((u64)py * size + px) * 4;
            f64 alpha = sum.a / (samples * samples);
            f64 unpremultiply = sum.a > 0 ? 1 / sum.a : 0;
            out[0] = (u8)lround(255 * sum.r * unpremultiply);
            out[1] = (u8)lround(255 * sum.g * unpremultiply);
            out[2] = (u8)lround(255 * sum.b * unpremultiply);
            out[3] = (u8)lround(255 * alpha);
        }
    }
    data_t path = data_from_size(strlen(argv[1]), argv[1]);
    if (!png_write(path, pixels.bytes, size, size, false)) {
        fprintf(stderr, "newsloom-icon: could not write '%s'\n", argv[1]);
        return 1;
    }
    data_free(&pixels);
    return 0;
}
