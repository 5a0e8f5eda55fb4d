// The kerning table of the first glyphs answers as the pairs' search does.
#include <gtest/gtest.h>

#include "layout/test_fonts.h"

namespace {

TEST(FontKerning, TheTableAgreesWithTheSearchForEveryPair) {
    font_set_t* set = &test_fonts()->set;
    u32 kerned = 0;
    for (u32 f = 0; f < set->font_count; f++) {
        const font_t* font = &set->fonts[f];
        for (u32 g = 0; g < font->codepoint_count; g++) {
            const glyph_t* glyph = &font->glyphs[g];
            for (u32 second = 0; second < 0x180; second++) {
                i32 searched = glyph->kerning_count ? font_kerning_search(font, glyph, second) : 0;
                ASSERT_EQ(font_kerning(font, glyph, second), searched) << f << " " << g << " " << second;
                kerned += searched != 0;
            }
        }
    }
    EXPECT_GT(kerned, 100u);  // the faces do kern
}

}  // namespace
