// The font set on real faces: glyph lookup through the direct table and the
// search, the fallback, the rebake when code points are added, and empty fonts.
#include <gtest/gtest.h>

#include <cstring>

#include "gfx/font.h"
#include "gfx/renderer.h"
#include "store/codepoint_set.h"
#include "layout/layout.h"
#include "layout/test_fonts.h"

namespace {

u32 position_of(const font_t* font, u32 codepoint) {
    for (u32 i = 0; i < font->codepoint_count; i++) {
        if (font->codepoints[i] == codepoint) return i;
    }
    return font_no_glyph;
}

TEST(Font, GlyphLookupByTableSearchAndFallback) {
    const font_t* font = &test_fonts()->set.fonts[1];
    ASSERT_EQ(font->first_codepoint, 0x20u);
    u32 fallback = position_of(font, 0xFFFD);
    struct case_t {
        u32 codepoint;
        u32 index;
    } cases[] = {
        {'A', position_of(font, 'A')},
        {0xFF, position_of(font, 0xFF)},      // the last one the direct table reaches
        {0x152, position_of(font, 0x152)},    // found by the search
        {0x2026, position_of(font, 0x2026)},
        {0x4E00, fallback},                   // unknown: U+FFFD
        {0x10, fallback},                     // below the first code point: searched, not found
        {0x100, 0},                           // inside the table's range but absent: glyph 0, the space
        {0xA4, 0},
    };
    for (const case_t& c : cases) {
        EXPECT_EQ(font_glyph_index(font, c.codepoint), c.index) << std::hex << c.codepoint;
    }
    EXPECT_EQ(font->codepoints[0], (u32)' ');
    // An unknown code point measures with the advance of U+FFFD.
    EXPECT_FLOAT_EQ(layout_get_single_line_size(font, (const u8*)"\xE4\xB8\x80", 3, 'x').width,
                    font->glyphs[fallback].advance);
}

TEST(Font, AllFacesBakeIntoOneAtlasWithKerning) {
    font_set_t* set = &test_fonts()->set;
    ASSERT_EQ(set->font_count, 4);
    EXPECT_GE(set->atlas_width, 256);
    for (u32 f = 0; f < set->font_count; f++) {
        const font_t* font = &set->fonts[f];
        EXPECT_EQ(font->empty, 0u);
        const glyph_t* g = font_glyph(font, 'g');
        EXPECT_GT(g->x1, g->x0);
        EXPECT_GT(g->y1, g->y0);
        EXPECT_LT(g->offset_y0, 0);  // g descends below the baseline
        EXPECT_LE(g->x1, set->atlas_width);
        EXPECT_LE(g->y1, set->atlas_height);
    }
    // Ink in the atlas where the glyph's box is.
    const font_t* font = &set->fonts[2];
    const glyph_t* m = font_glyph(font, 'M');
    u32 ink = 0;
    for (u32 y = m->y0; y < m->y1; y++) {
        for (u32 x = m->x0; x < m->x1; x++) ink += set->atlas[(u64)y * set->atlas_width + x] > 128;
    }
    EXPECT_GT(ink, 20u);
    EXPECT_NE(font_kerning(font, font_glyph(font, 'T'), 'o'), 0);
    EXPECT_EQ(font_kerning(font, font_glyph(font, 'o'), 'o'), 0);
}

TEST(Font, RebakeTakesNewCodePointsAndReusesTheArena) {
    test_fonts_t* base = test_fonts();
    static u32 codepoints[400];
    u32 count = codepoint_default_count;
    memcpy(codepoints, codepoint_defaults.values, sizeof(codepoint_defaults.values));
    font_set_t set;
    font_set_create(&set, data_allocate(0x500000));
    font_load(&set, base->sans, 16, codepoints, count, 0);
    font_load(&set, base->mono, 12, codepoints, count, 1);
    font_build(&set);
    u64 used_after_first = set.memory.used;
    u32 fallback = font_glyph_index(&set.fonts[0], 0xFFFD);
    EXPECT_EQ(font_glyph_index(&set.fonts[0], 0x416), fallback);

    // Cyrillic Zhe arrives with a merged feed; the list is unsorted as the reader
    // keeps it, in order of first appearance.
    codepoints[count++] = 0x416;
    codepoints[count++] = 0x3A9;
    font_set_codepoints(&set, codepoints, count);
    for (u32 f = 0; f < 2; f++) {
        const font_t* font = &set.fonts[f];
        u32 index = font_glyph_index(font, 0x416);
        EXPECT_NE(index, font_glyph_index(font, 0xFFFD));
        EXPECT_EQ(font->codepoints[index], 0x416u);
        EXPECT_GT(font->glyphs[index].x1, font->glyphs[index].x0);
    }
    // A second rebake of the same list doesn't grow the arena.
    font_set_codepoints(&set, codepoints, count);
    u64 used_after_second = set.memory.used;
    font_set_codepoints(&set, codepoints, count);
    EXPECT_EQ(set.memory.used, used_after_second);
    EXPECT_GE(used_after_second, used_after_first);
}

TEST(Font, NoFontFileIsAnEmptyFontThatStillLaysOut) {
    static u32 codepoints[200];
    u32 count = codepoint_default_count;
    memcpy(codepoints, codepoint_defaults.values, sizeof(codepoint_defaults.values));
    font_set_t set;
    font_set_create(&set, data_allocate(0x200000));
    font_load(&set, data_t{}, 14, codepoints, count, 0);
    font_load(&set, data_literal("not a font at all"), 12, codepoints, count, 1);
    font_build(&set);
    for (u32 f = 0; f < 2; f++) {
        EXPECT_EQ(set.fonts[f].empty, 1u);
        EXPECT_GT(font_line_height(&set.fonts[f], 0), 0);
    }
    data_t memory = data_allocate(0x10000);
    layout_t layout;
    layout_create(&layout, &memory, &set, rect_t{0, 0, 200, 200}, 0, 0, nullptr);
    layout_item_t item = {};
    item.kind = layout_item_text;
    item.text.text = (const u8*)"nothing to see";
    item.text.length = 14;
    layout.items = &item;
    layout_text(&layout, &item, 1);
    EXPECT_FLOAT_EQ(item.text.bounds.y1 - item.text.bounds.y0, 14);

    // The renderer queues and expands it to no quads at all.
    renderer_t render;
    gl_renderer_create(&render, 200, 200, renderer_alpha_blending, render_backend_stub);
    u32 text = gl_batch_create(&render, batch_type_text, gl_format(2, 1, 1, 2), 100, 10, &set, 0);
    gl_frame_begin(&render);
    gl_batch_text(gl_batch(&render, text), (const u8*)"abc", 3, 0, 10, 10, 1, 0, colour_white);
    gl_frame_end(&render);
    EXPECT_EQ(gl_batch(&render, text)->vertex_count, 0u);
}

}  // namespace
