// layout_text and the single-line measurements on real fonts: wrapping, breaks,
// long words, kerning across items, visible runs, the ellipsis and the caret.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "layout/layout.h"
#include "layout/test_fonts.h"

namespace {

struct text_layout_t {
    data_t memory;
    layout_t layout;
    layout_item_t items[8];
    u32 item_count = 0;
};

std::unique_ptr<text_layout_t> layout_make(f32 width, f32 height, f32 wrap_width, u32 flags, u32 font = 1) {
    std::unique_ptr<text_layout_t> t(new text_layout_t{});
    t->memory = data_allocate(MIB(4));
    layout_create(&t->layout, &t->memory, &test_fonts()->set, rect_t{0, 0, width, height}, 0, 0, nullptr);
    t->layout.items = t->items;
    t->layout.wrap_width = wrap_width;
    t->layout.flags = flags;
    t->layout.font = font;
    return t;
}

layout_item_t* text_push(const std::unique_ptr<text_layout_t>& t, const std::string& text) {
    layout_item_t* item = &t->items[t->item_count++];
    *item = layout_item_t{};
    item->kind = layout_item_text;
    u8* copy = (u8*)data_push_bytes(&t->memory, text.data(), text.size(), 1);
    item->text.text = copy;
    item->text.length = text.size();
    return item;
}

std::vector<std::string> lines_of(const layout_item_t* item) {
    std::vector<std::string> lines;
    for (u32 i = 0; i < item->text.line_count; i++) {
        const layout_line_t* line = &item->text.lines[i];
        lines.emplace_back((const char*)line->text, line->bytes);
    }
    return lines;
}

const font_t* font_at(u32 index) { return &test_fonts()->set.fonts[index]; }

f32 width_of(const std::string& text, u32 font = 1) {
    return layout_get_single_line_size(font_at(font), (const u8*)text.data(), text.size(), codepoint_invalid).width;
}

TEST(LayoutText, LinesBreakWhereTheyShould) {
    const std::string word(40, 'w');
    struct case_t {
        const char* name;
        std::string text;
        f32 wrap;
        u32 eat_space, break_anywhere;
        std::vector<std::string> lines;
    } cases[] = {
        // The wrap width ends inside the space between the two words.
        {"eats the space at a wrap", "alpha beta", width_of("alpha") + 1, 1, 0, {"alpha", "beta"}},
        {"keeps it unless asked", "alpha beta", width_of("alpha") + 1, 0, 0, {"alpha", " beta"}},
        // A word that fits on a line of its own moves down whole; the space stays
        // behind on the first line.
        {"a word moves down whole", "abc wwwww", width_of("abc wwwww") - 1, 1, 0, {"abc ", "wwwww"}},
        // A word longer than a line doesn't move down whole: it starts behind "ab ".
        {"a long word fills the line", "ab " + word + " cd", width_of("wwwwwwww") + 2, 0, 0,
         {"ab wwwwww", "wwwwwwww", "wwwwwwww", "wwwwwwww", "wwwwwwww", "ww cd"}},
        // A wrap width below one glyph still makes progress: one code point a line.
        {"below one glyph", "xyz", 1, 0, 0, {"x", "y", "z"}},
        {"break anywhere cuts inside words", "abc abcdef", width_of("abc ab") + 0.5f, 0, 1, {"abc ab", "cdef"}},
        {"CR LF", "a\r\nb", layout_no_wrap, 0, 0, {"a", "b"}},
        {"LF CR", "a\n\rb", layout_no_wrap, 0, 0, {"a", "b"}},
        {"CR CR", "a\r\rb", layout_no_wrap, 0, 0, {"a", "", "b"}},
        {"LF LF", "a\n\nb", layout_no_wrap, 0, 0, {"a", "", "b"}},
        {"a break at the end", "a\n", layout_no_wrap, 0, 0, {"a", ""}},
        {"nothing", "", layout_no_wrap, 0, 0, {""}},
        {"only breaks", "\r\n\r\n", layout_no_wrap, 0, 0, {"", "", ""}},
    };
    for (const case_t& c : cases) {
        SCOPED_TRACE(c.name);
        auto t = layout_make(1000, 1000, c.wrap, layout_flag_keep_lines);
        t->layout.eat_space = c.eat_space;
        t->layout.break_anywhere = c.break_anywhere;
        layout_item_t* item = text_push(t, c.text);
        layout_text(&t->layout, item, 1);
        EXPECT_EQ(lines_of(item), c.lines);
        for (u32 i = 0; i < item->text.line_count; i++) {
            // Only a line of one code point may be wider than the wrap.
            if (item->text.lines[i].codepoints < 2) continue;
            EXPECT_LE(item->text.lines[i].rect.x1 - item->text.lines[i].rect.x0, c.wrap + 0.01f) << i;
        }
    }
    // Empty text keeps one line with the height of a line and its gap, for the caret.
    auto t = layout_make(1000, 1000, layout_no_wrap, layout_flag_keep_lines);
    layout_item_t* item = text_push(t, "");
    layout_text(&t->layout, item, 1);
    ASSERT_EQ(item->text.line_count, 1u);
    const layout_line_t& line = item->text.lines[0];
    EXPECT_FLOAT_EQ(line.rect.y1 - line.rect.y0, item->text.line_height + item->text.line_gap);
    EXPECT_GT(item->text.line_height, 0);
}

TEST(LayoutText, KerningJoinsAdjoiningItemsAcrossColourChanges) {
    const font_t* font = font_at(1);
    i32 kern = font_kerning(font, font_glyph(font, 'A'), 'V');
    ASSERT_NE(kern, 0) << "the test face has no A-V kerning";

    auto whole = layout_make(1000, 1000, layout_no_wrap, 0);
    layout_text(&whole->layout, text_push(whole, "AV"), 0);

    auto split = layout_make(1000, 1000, layout_no_wrap, 0);
    layout_text(&split->layout, text_push(split, "A"), 0);
    split->items[split->item_count++].kind = layout_item_push_colour;
    split->items[split->item_count++].kind = layout_item_mark;
    layout_text(&split->layout, text_push(split, "V"), 0);
    EXPECT_NEAR(split->layout.pen_x, whole->layout.pen_x, 0.001f);

    // Any other item between them ends the walk: no kerning.
    auto apart = layout_make(1000, 1000, layout_no_wrap, 0);
    layout_text(&apart->layout, text_push(apart, "A"), 0);
    apart->items[apart->item_count++].kind = layout_item_set_flags;
    layout_text(&apart->layout, text_push(apart, "V"), 0);
    EXPECT_NEAR(apart->layout.pen_x - whole->layout.pen_x, -(f32)kern * font->scale, 0.001f);

    // Kerning that pushes apart ("r" and a closing quote in an entry's "<em>r</em>”")
    // moves the second item's line and run with its glyph, in the lines kept and
    // in the runs drawn alike.
    std::string pair;
    for (const char* first : {"r", "f", "F", "T", "P", "L"}) {
        const std::pair<const char*, u32> seconds[] = {
            {"\xE2\x80\x9D", 0x201D}, {"\xE2\x80\x99", 0x2019}, {"\"", '"'}, {"'", '\''}, {")", ')'}};
        for (const auto& [second, codepoint] : seconds) {
            if (pair.empty() && font_kerning(font, font_glyph(font, (u8)first[0]), codepoint) > 0) {
                pair = std::string(first) + second;
            }
        }
    }
    ASSERT_FALSE(pair.empty()) << "the test face kerns no pair apart";
    for (u32 flags : {0u, (u32)layout_flag_keep_lines}) {
        auto pushed = layout_make(1000, 1000, layout_no_wrap, flags);
        layout_text(&pushed->layout, text_push(pushed, pair.substr(0, 1)), 1);
        f32 after_first = pushed->layout.pen_x;
        layout_item_t* second = text_push(pushed, pair.substr(1));
        layout_text(&pushed->layout, second, 1);
        ASSERT_EQ(second->text.run_count, 1u) << pair;
        const rect_t run = second->text.runs[0].rect;
        EXPECT_GT(run.x0, after_first) << pair;
        EXPECT_NEAR(second->text.bounds.x0, run.x0, 0.001f) << pair;
        EXPECT_NEAR(second->text.bounds.x1, run.x1, 0.001f) << pair;
        if (flags) {
            EXPECT_NEAR(second->text.lines[0].rect.x0, run.x0, 0.001f) << pair;
        }
    }
}

TEST(LayoutText, PartlyVisibleGlyphsAreInARunOnlyWithTheFlag) {
    // A glyph cut by the view's edge is in a run only with flag 1.
    f32 cut_at = width_of("abc") + 2;
    for (u32 flags : {0u, (u32)layout_flag_partly_visible}) {
        auto v = layout_make(cut_at, 100, layout_no_wrap, flags);
        layout_item_t* line = text_push(v, "abcdef");
        layout_text(&v->layout, line, 1);
        ASSERT_EQ(line->text.run_count, 1u);
        EXPECT_EQ(line->text.runs[0].bytes, flags ? 4u : 3u) << flags;
    }
}

TEST(LayoutText, RunsHoldOnlyTheVisibleLines) {
    std::string text;
    for (int i = 0; i < 200; i++) text += "line " + std::to_string(i) + "\n";
    auto t = layout_make(300, 100, layout_no_wrap, 0);
    t->layout.scroll_y = 500;
    layout_item_t* item = text_push(t, text);
    layout_text(&t->layout, item, 1);
    f32 pitch = item->text.line_height + item->text.line_gap;
    ASSERT_GT(item->text.run_count, 0u);
    EXPECT_LE(item->text.run_count, (u32)(100 / (i32)item->text.line_height + 2));
    for (u32 i = 0; i < item->text.run_count; i++) {
        const layout_line_t& run = item->text.runs[i];
        EXPECT_GE(run.rect.y0 - 500, 0);
        EXPECT_LE(run.rect.y1 - 500, 100);
        u32 line = (u32)lroundf(run.rect.y0 / pitch);
        EXPECT_EQ(std::string((const char*)run.text, run.bytes), "line " + std::to_string(line));
    }
    // Measuring the whole text covers all 200 lines and one empty line after them.
    EXPECT_NEAR(item->text.bounds.y1 - item->text.bounds.y0, item->text.line_height + 200 * pitch, 0.01f);
}

TEST(LayoutText, InvalidBytesAreOneReplacementEach) {
    auto t = layout_make(1000, 1000, layout_no_wrap, layout_flag_keep_lines);
    layout_item_t* item = text_push(t, "a\xFF\xC3z");
    layout_text(&t->layout, item, 1);
    ASSERT_EQ(item->text.line_count, 1u);
    EXPECT_EQ(item->text.lines[0].codepoints, 4u);
    EXPECT_NEAR(width_of("a\xFF\xC3z"), width_of("a\xEF\xBF\xBD\xEF\xBF\xBDz"), 0.001f);
}

TEST(LayoutSingleLine, FitKeepsTextThatJustFitsAndCutsOnePixelLess) {
    const font_t* font = font_at(0);
    std::string text = "Sphinx of black quartz";
    data_t source = data_from_size(text.size(), text.data());
    f32 exact = width_of(text, 0);
    u8 buffer[64];
    struct case_t {
        f32 width;
        u32 flags;
        bool whole;
        bool ellipsis;
    } cases[] = {
        {exact, 0, true, false},
        {exact - 1, 0, false, true},
        {exact - 1, layout_fit_no_ellipsis, false, false},
        {1, 0, false, false},  // not even the ellipsis fits: empty
    };
    for (const case_t& c : cases) {
        data_t out = data_make(sizeof(buffer), 0, buffer);
        layout_size_t size = {};
        layout_fit_single_line(font, source, codepoint_invalid, c.width, &out, &size, c.flags);
        std::string cut((const char*)out.bytes, out.used);
        EXPECT_EQ(cut == text, c.whole) << c.width;
        bool ends_in_ellipsis = cut.size() >= 3 && cut.substr(cut.size() - 3) == "\xE2\x80\xA6";
        EXPECT_EQ(ends_in_ellipsis, c.ellipsis) << c.width << " " << cut;
        EXPECT_LE(size.width, c.width + 0.001f);
        EXPECT_FLOAT_EQ(size.height, font_line_height(font, 0));
        if (c.ellipsis) {
            // The ellipsis is measured on its own, bearing off, no kerning.
            EXPECT_NEAR(size.width, width_of(cut.substr(0, cut.size() - 3), 0) + width_of("\xE2\x80\xA6", 0), 0.01f);
        }
    }
    // A line break is not the end: the text is treated as too long.
    data_t out = data_make(sizeof(buffer), 0, buffer);
    layout_fit_single_line(font, data_literal("ab\ncd"), codepoint_invalid, 1000, &out, nullptr, 0);
    EXPECT_EQ(std::string((const char*)out.bytes, out.used), "ab\xE2\x80\xA6");
}

TEST(LayoutSingleLine, CaretLandsOnTheNearerSide) {
    const font_t* font = font_at(1);
    const u8* text = (const u8*)"abc\ndef";
    f32 a = width_of("a");
    f32 ab = width_of("ab");
    f32 middle_b = rintf(a + (ab - a) / 2);
    struct case_t {
        f32 x;
        u64 offset;
    } cases[] = {
        {-5, 0},
        {rintf(a / 2) - 1, 0},
        {rintf(a / 2), 1},  // a tie stays before only when the rounded middle is above x
        {middle_b - 1, 1},
        {middle_b, 2},
        {1000, 3},  // beyond the end of the first line: the line break
    };
    for (const case_t& c : cases) {
        EXPECT_EQ(layout_get_byte_at_position(font, text, 7, c.x), c.offset) << c.x;
    }
    EXPECT_EQ(layout_get_byte_at_position(font, text, 2, 1000), 2u);
}

TEST(LayoutSingleLine, SizeTakesTheFirstBearingAndKerning) {
    const font_t* font = font_at(1);
    const glyph_t* a = font_glyph(font, 'A');
    const glyph_t* v = font_glyph(font, 'V');
    f32 kern = (f32)font_kerning(font, a, 'V') * font->scale;
    layout_size_t size = layout_get_single_line_size(font, (const u8*)"AV", 2, codepoint_invalid);
    EXPECT_NEAR(size.width, a->advance - a->offset_x0 + kern + v->advance, 0.001f);
    EXPECT_FLOAT_EQ(size.height, (f32)(font->ascent - font->descent) * font->scale);
    // With a previous code point there is no bearing to take off, only kerning.
    layout_size_t after = layout_get_single_line_size(font, (const u8*)"V", 1, 'A');
    EXPECT_NEAR(after.width, kern + v->advance, 0.001f);
    EXPECT_EQ(layout_get_single_line_size(font, (const u8*)"\nabc", 4, codepoint_invalid).height, 0);
    // The fixed-pitch face keeps its bearing.
    const font_t* mono = font_at(3);
    EXPECT_NEAR(layout_get_single_line_size(mono, (const u8*)"ii", 2, codepoint_invalid).width,
                2 * font_glyph(mono, 'i')->advance, 0.001f);
}

}  // namespace
