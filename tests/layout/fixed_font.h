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
    font_t fonts[4] = {};
    glyph_t glyph = {};

    fixed_font_t() {
        glyph.advance = advance;
        glyph.x1 = glyph.y1 = 1;
        glyph.offset_x1 = advance;
        glyph.offset_y1 = 16;
        for (font_t& font : fonts) {
            font.glyphs = &glyph;  // the direct table is all zeros: glyph 0 for each
            font.size = 16;
            font.scale = 1;
            font.ascent = 16;
            font.descent = -4;
            font.fixed_pitch = 1;
            font.first_codepoint = 0;
        }
        set.fonts = fonts;
        set.font_count = 4;
    }
    fixed_font_t(const fixed_font_t&) = delete;
    fixed_font_t& operator=(const fixed_font_t&) = delete;
};
