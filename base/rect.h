// The rectangle and the colour that layout, drawing and the widgets pass to each
// other. A rectangle is x0, y0, x1, y1 in pixels with y up and x1, y1 exclusive; a
// colour is four f32 r, g, b, a between 0 and 1.
#pragma once

#include "base/types.h"

struct rect_t {
    f32 x0, y0, x1, y1;
};

struct colour_t {
    f32 r, g, b, a;
};

constexpr colour_t colour_white = {1, 1, 1, 1};
constexpr colour_t colour_black = {0, 0, 0, 1};

inline bool rect_contains(rect_t r, f32 x, f32 y) { return r.x0 <= x && x < r.x1 && r.y0 <= y && y < r.y1; }
inline bool rect_overlaps(rect_t a, rect_t b) { return a.x0 < b.x1 && b.x0 < a.x1 && a.y0 < b.y1 && b.y0 < a.y1; }
inline bool rect_inside(rect_t inner, rect_t outer) {
    return inner.x0 >= outer.x0 && inner.x1 <= outer.x1 && inner.y0 >= outer.y0 && inner.y1 <= outer.y1;
}
inline bool rect_equal(rect_t a, rect_t b) { return a.x0 == b.x0 && a.y0 == b.y0 && a.x1 == b.x1 && a.y1 == b.y1; }
// The zero rectangle when they don't meet.
inline rect_t rect_intersect(rect_t a, rect_t b) {
    rect_t r = {max_of(a.x0, b.x0), max_of(a.y0, b.y0), min_of(a.x1, b.x1), min_of(a.y1, b.y1)};
    if (r.x0 >= r.x1 || r.y0 >= r.y1) return rect_t{};
    return r;
}
inline f32 rect_width(rect_t r) { return r.x1 - r.x0; }
inline f32 rect_height(rect_t r) { return r.y1 - r.y0; }
// Takes top, bottom, left, right off the edges.
inline rect_t rect_shrink(rect_t r, const f32* sides) {
    return rect_t{r.x0 + sides[2], r.y0 + sides[1], r.x1 - sides[3], r.y1 - sides[0]};
}
// Whole pixels on every edge.
inline bool rect_is_whole(rect_t r) {
    return __builtin_floorf(r.x0) == r.x0 && __builtin_floorf(r.y0) == r.y0 && __builtin_floorf(r.x1) == r.x1 &&
           __builtin_floorf(r.y1) == r.y1;
}
