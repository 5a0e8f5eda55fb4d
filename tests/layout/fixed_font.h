// A font set made by hand for tests that count pixels: every code point is one
// glyph of a fixed advance with no bearing and no kerning, and a line is 20 pixels
// (ascent 16, descent 4, no gap), in each of the four faces.
#pragma once

#include "gfx/font.h"

struct fixed_font_t {
    static constexpr f32 advance = 10;
    static constexpr f32 line_height = 20;
    static constexpr f32 baseline = 4;
    font_set_t set = {};
    glyph_t page[256] = {};
    glyph_t* pages[font_page_count] = {};

    fixed_font_t() {
        for (glyph_t& glyph : page) {
            glyph.advance = advance;
            glyph.x1 = glyph.y1 = 1;  // a box, but no bitmap to bake
            glyph.offset_x1 = advance;
            glyph.offset_y1 = 16;
            glyph.state = glyph_measured;
        }
        for (glyph_t*& p : pages) p = page;  // every code point finds the same glyph
        for (u32 f = 0; f < 4; f++) {
            font_t& font = set.fonts[f];
            font.set = &set;
            font.pages = pages;
            font.size = 16;
            font.scale = 1;
            font.ascent = 16;
            font.descent = -4;
            font.fixed_pitch = 1;
        }
        set.font_count = 4;
    }
    fixed_font_t(const fixed_font_t&) = delete;
    fixed_font_t& operator=(const fixed_font_t&) = delete;
};
