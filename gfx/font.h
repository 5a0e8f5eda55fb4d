// Fonts: faces loaded from memory with stb_truetype, one glyph atlas for all of
// them baked for a shared code point list, kerning pairs per glyph, and the lookup
// from a code point to its glyph.
#pragma once

#include "base/data.h"
#include "platform/truetype.h"

// Atlas box in pixels (y bottom-up, as GL reads the turned bitmap), the box's
// offsets from the pen in pixels (y up), the advance, and the glyph's kerning pairs.
struct glyph_t {
    u16 x0, y0, x1, y1;
    f32 offset_x0, offset_y0, offset_x1, offset_y1;  // offset_x0 is the left bearing
    f32 advance;
    u32 kerning_count;
    u32 kerning_offset;  // from the font's `kerning` base
};
static_assert(sizeof(glyph_t) == 36);

struct kerning_pair_t {
    u32 second;
    i32 amount;  // font units
};

constexpr u32 font_no_glyph = 0xFFFFFFFF;
constexpr u32 font_codepoint_limit = 1024;

struct font_t {
    stbtt_fontinfo info;
    u32* codepoints;  // shared by all fonts of the set, sorted by font_build
    glyph_t* glyphs;
    kerning_pair_t* kerning;
    u32 codepoint_count;
    f32 size;   // pixels
    f32 scale;  // font units to pixels
    i32 ascent, descent, line_gap;  // font units
    u8 direct[256];                 // glyph index by codepoint - first_codepoint
    u32 first_codepoint;
    u32 first_indirect;
    u32 fixed_pitch;
    u32 fallback;  // glyph of U+FFFD
    u32 empty;     // no font file was found: no glyphs, a line height of `size`
    u32 kerning_count;
    // The pairs of the first glyphs (below font_kerning_table_glyphs) with a second
    // code point below 128, by table: running text asks for these all the time.
    i16* kerning_table;
};
constexpr u32 font_kerning_table_glyphs = 128;

struct font_set_t {
    data_t memory;  // the arena: font records first, then what font_build makes
    u64 atlas_size;
    u8* atlas;  // one byte per pixel, rows bottom-up
    font_t* fonts;
    u16 atlas_width, atlas_height;
    u8 font_count;
    u64 fixed_size;  // the arena's used size after the font records
    data_t atlas_block;
};

void font_set_create(font_set_t* set, data_t memory);
// An empty `file` gives an empty font, which measures but draws nothing.
font_t* font_load(font_set_t* set, data_t file, f32 size, u32* codepoints, u32 count, u32 fixed_pitch);
void font_build(font_set_t* set);
// After the code point list grew: the arena goes back to the font records and all
// faces are baked again for the new list.
void font_set_codepoints(font_set_t* set, u32* codepoints, u32 count);

u32 font_glyph_search(const font_t* font, u32 codepoint);
// The direct table for the 256 code points from the first one (absent ones give
// glyph 0), a binary search for the rest, the U+FFFD glyph when not found.
inline u32 font_glyph_index(const font_t* font, u32 codepoint) {
    u32 offset = codepoint - font->first_codepoint;
    return offset < 256 ? font->direct[offset] : font_glyph_search(font, codepoint);
}
inline const glyph_t* font_glyph(const font_t* font, u32 codepoint) {
    return &font->glyphs[font_glyph_index(font, codepoint)];
}
// Font units; callers multiply by `scale`. Most glyphs kern with nothing, so that
// case stays out of the call.
i32 font_kerning_search(const font_t* font, const glyph_t* glyph, u32 second_codepoint);
inline i32 font_kerning(const font_t* font, const glyph_t* glyph, u32 second_codepoint) {
    if (!glyph->kerning_count) return 0;
    u32 first = (u32)(glyph - font->glyphs);
    if (first < font_kerning_table_glyphs && second_codepoint < 128 && font->kerning_table) {
        return font->kerning_table[first * 128 + second_codepoint];
    }
    return font_kerning_search(font, glyph, second_codepoint);
}
f32 font_line_height(const font_t* font, u32 with_gap);
f32 font_baseline(const font_t* font);
