// The one-line text box: moves, typing, deletion, the clipboard, the caret's place,
// and how it shares the mouse with other widgets.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "base/text.h"
#include "ui/ui_button.h"
#include "ui/ui_harness.h"
#include "ui/ui_text_box.h"

namespace {

TEST(TextMoves, WordsAndCodePoints) {
    const char* t = "h\xC3\xA9llo  w\xE2\x82\xACrld x";  // "héllo  w€rld x"
    const u8* text = (const u8*)t;
    u64 n = strlen(t);
    struct {
        u64 from, previous_word, next_word, previous, next;
    } cases[] = {
        {0, 0, 8, 0, 1},       // Ctrl Left at the start stays there
        {1, 0, 8, 0, 3},       // before the two-byte é
        {3, 0, 8, 1, 4},
        {6, 0, 8, 5, 7},       // at the end of the first word
        {8, 0, 16, 7, 9},      // at a word's start: to the previous word's start
        {12, 8, 16, 9, 13},    // after the three-byte €
        {15, 8, 16, 14, 16},
        {16, 8, 17, 15, 17},   // at the last word's start
        {17, 16, 17, 16, 17},  // at the end
    };
    for (auto& c : cases) {
        EXPECT_EQ(text_previous_word(text, n, c.from), c.previous_word) << c.from;
        EXPECT_EQ(text_next_word(text, n, c.from), c.next_word) << c.from;
        EXPECT_EQ(text_previous_codepoint(text, n, c.from), c.previous) << c.from;
        EXPECT_EQ(text_next_codepoint(text, n, c.from), c.next) << c.from;
    }
    // Bad bytes are characters of their own.
    const u8 bad[] = {'a', 0x80, 0xE2, 0x82, 'b'};
    EXPECT_EQ(text_next_codepoint(bad, 5, 1), 2u);
    EXPECT_EQ(text_next_codepoint(bad, 5, 2), 3u);
    EXPECT_EQ(text_previous_codepoint(bad, 5, 4), 3u);
    EXPECT_EQ(text_previous_codepoint(bad, 5, 2), 1u);
}

struct box_fixture_t {
    ui_harness_t h;
    char buffer[64] = {};
    data_t text = data_make(sizeof(buffer), 0, buffer);
    pair_t id = pair_from_value((u64)0x7B0C);
    rect_t rect = {100, 100, 300, 124};
    u32 result = 0;

    void set(const char* value, u64 capacity = 64) {
        memset(buffer, 0, sizeof(buffer));
        memcpy(buffer, value, strlen(value));
        text = data_make(capacity, strlen(value), buffer);
    }
    void frame(const std::function<void()>& more = [] {}) {
        h.frame([&] {
            more();
            result = ui_text_box(&h.ui, id, rect, &text, 0);
        });
    }
    std::string value() { return std::string(buffer, text.used); }
    ui_widget_state_t* state() { return ui_widget_state(&h.ui, id); }
    // A click into the box at x: it becomes active with the caret there.
    void click(f32 x = 290) {
        h.move(x, 110);
        h.press();
        frame();
        h.release();
        frame();
    }
    void key(u32 k, bool control = false, bool shift = false) {
        if (control) h.key(key_control, true);
        if (shift) h.key(key_shift, true);
        h.key(k, true);
        frame();
        h.key(k, false);
        if (control) h.key(key_control, false);
        if (shift) h.key(key_shift, false);
        frame();
    }
    void type(const char* utf8) {
        h.type(utf8);
        frame();
    }
};

TEST(UiTextBox, TypingMovesAndSelections) {
    struct {
        const char* name;
        const char* start;
        std::function<void(box_fixture_t&)> act;
        const char* expected;
        u32 caret;
    } cases[] = {
        {"type at the end", "ab", [](box_fixture_t& f) { f.type("c\xC3\xA9"); }, "abc\xC3\xA9", 5},
        {"home then type", "world", [](box_fixture_t& f) { f.key(key_home); f.type("a "); }, "a world", 2},
        {"select all and type", "old text",
         [](box_fixture_t& f) { f.key(key_home, false, true); f.type("new"); }, "new", 3},
        {"backspace a code point", "a\xE2\x82\xAC", [](box_fixture_t& f) { f.key(key_backspace); }, "a", 1},
        {"ctrl backspace a word", "one two  ", [](box_fixture_t& f) { f.key(key_backspace, true); }, "one ", 4},
        {"delete at the end does nothing", "abc", [](box_fixture_t& f) { f.key(key_delete); }, "abc", 3},
        {"ctrl delete a word", "one two", [](box_fixture_t& f) { f.key(key_home); f.key(key_delete, true); }, "two", 0},
        {"shift left then delete", "abc",
         [](box_fixture_t& f) { f.key(key_left, false, true); f.key(key_left, false, true); f.key(key_delete); }, "a", 1},
        {"control characters are skipped", "a", [](box_fixture_t& f) { f.type("\x01" "b\x7F"); }, "ab", 2},
        {"ctrl left and right", "one two",
         [](box_fixture_t& f) { f.key(key_left, true); f.key(key_left, true); f.key(key_right, true); f.type("x"); },
         "one xtwo", 5},
    };
    for (auto& c : cases) {
        SCOPED_TRACE(c.name);
        box_fixture_t f;
        f.set(c.start);
        f.click();
        c.act(f);
        EXPECT_EQ(f.value(), c.expected);
        EXPECT_EQ(f.state()->text_box.caret, c.caret);
        EXPECT_TRUE(ui_is_active(&f.h.ui, f.id));
    }
}

TEST(UiTextBox, AFullBufferLosesNothing) {
    box_fixture_t f;
    f.set("abcde", 5);
    f.click();
    f.type("f");
    EXPECT_EQ(f.value(), "abcde");
    f.set("abcd", 5);
    f.click();
    f.type("\xE2\x82\xAC");  // three bytes where one is free
    EXPECT_EQ(f.value(), "abcd");
    f.type("xy");  // the first fits, the second doesn't
    EXPECT_EQ(f.value(), "abcdx");
    // A selection makes room for what replaces it.
    f.key(key_left, false, true);
    f.type("\xC3\xA9");
    EXPECT_EQ(f.value(), "abcdx");
    EXPECT_EQ(f.state()->text_box.edited, 1u);
}

TEST(UiTextBox, PasteTurnsLineBreaksIntoSpacesAndIsCutAtTheCapacity) {
    struct {
        const char* clip;
        const char* start;
        u64 capacity;
        bool select_all;
        const char* expected;
        u32 caret;
    } cases[] = {
        {"a\r\nb", "[]", 64, false, "[a  b]", 5},
        {"x\ny", "", 64, false, "x y", 3},
        {"new", "old", 64, true, "new", 3},
        {"0123456789", "ab", 6, false, "a0123b", 5},
        {"\xE2\x82\xAC\xE2\x82\xAC", "ab", 6, false, "a\xE2\x82\xAC" "b", 4},  // never half a code point
        {"", "keep", 64, true, "keep", 0},  // an empty clipboard does nothing
    };
    for (auto& c : cases) {
        SCOPED_TRACE(c.clip);
        box_fixture_t f;
        f.set(c.start, c.capacity);
        clipboard_copy(data_from_size(strlen(c.clip), c.clip));
        f.click();
        if (c.select_all) {
            f.key(key_home, false, true);
        } else {
            f.key(key_left);
        }
        f.key(key_letter_v, true);
        EXPECT_EQ(f.value(), c.expected);
        if (c.clip[0]) {
            EXPECT_EQ(f.state()->text_box.caret, c.caret);
        }
    }
}

TEST(UiTextBox, CopyPutsTheSelectionOnTheClipboard) {
    box_fixture_t f;
    f.set("copy \xC3\xA9this");
    f.click();
    f.key(key_left, true, true);
    f.key(key_letter_c, true);
    char out[64];
    data_t target = data_make(sizeof(out), 0, out);
    data_t pasted = clipboard_paste(&target, false);
    EXPECT_EQ(std::string((char*)pasted.bytes, pasted.used), "\xC3\xA9this");
    EXPECT_EQ(f.value(), "copy \xC3\xA9this");
}

TEST(UiTextBox, ControlCharactersAreReturnedAndTheBoxStaysActive) {
    struct {
        u32 codepoint;
        u32 result;
    } cases[] = {{27, 27}, {13, 13}, {10, 10}, {9, 9}};
    for (auto& c : cases) {
        box_fixture_t f;
        f.set("abc");
        f.click();
        input_text(&f.h.window, 'x');
        input_text(&f.h.window, c.codepoint);
        input_text(&f.h.window, 'y');  // after the control character: not typed
        f.frame();
        EXPECT_EQ(f.result, c.result);
        EXPECT_EQ(f.value(), "abcx");
        EXPECT_TRUE(ui_is_active(&f.h.ui, f.id));
    }
}

TEST(UiTextBox, TheCaretNeverLandsInsideACodePoint) {
    box_fixture_t f;
    f.set("\xE2\x82\xAC\xC3\xA9\xE2\x82\xAC\xC3\xA9\xF0\x9F\x98\x80z");
    for (f32 x = 100; x < 200; x += 1) {
        f.click(x);
        u32 caret = f.state()->text_box.caret;
        const u8* t = (const u8*)f.buffer;
        EXPECT_TRUE(caret == f.text.used || (t[caret] & 0xC0) != 0x80) << x << " " << caret;
    }
    f.click(290);
    for (int i = 0; i < 12; i++) {
        f.key(key_left);
        u32 caret = f.state()->text_box.caret;
        EXPECT_TRUE(caret == f.text.used || (((const u8*)f.buffer)[caret] & 0xC0) != 0x80) << caret;
    }
    EXPECT_EQ(f.state()->text_box.caret, 0u);
}

TEST(UiTextBox, TheTextScrollsSoThatTheCaretKeepsOnePixelAtTheRightEdge) {
    box_fixture_t f;
    f.rect = rect_t{100, 100, 160, 124};  // inner box 103 to 157
    f.set("");
    f.click(150);
    f.type("a long text that runs past");
    // The caret is the last rectangle drawn, one pixel wide.
    rect_t caret = f.h.quad_rect(f.h.rectangles, f.h.quads(f.h.rectangles) - 1);
    EXPECT_EQ(rect_width(caret), 1);
    EXPECT_NEAR(caret.x0, 156, 0.01);
    EXPECT_GT(f.state()->text_box.scroll, 0);
    // Home brings the text's start back to the box's left edge.
    f.key(key_home);
    caret = f.h.quad_rect(f.h.rectangles, f.h.quads(f.h.rectangles) - 1);
    EXPECT_EQ(f.state()->text_box.scroll, 0);
    EXPECT_NEAR(caret.x0, 103, 0.01);
    // Deleting at the end pulls the text back so that no room opens at the right.
    f.key(key_end);
    f32 before = f.state()->text_box.scroll;
    f.key(key_backspace, true);
    EXPECT_LT(f.state()->text_box.scroll, before);
    caret = f.h.quad_rect(f.h.rectangles, f.h.quads(f.h.rectangles) - 1);
    EXPECT_NEAR(caret.x0, 156, 0.01);
}

TEST(UiTextBox, DraggingSelectsAndStopsAtTheBox) {
    box_fixture_t f;
    f.set("select me please");
    f.click(290);
    f.h.move(101, 110);
    f.h.press();
    f.frame();
    EXPECT_EQ(f.state()->text_box.caret, 0u);
    f.h.move(140, 110);
    f.frame();
    u32 caret = f.state()->text_box.caret;
    EXPECT_GT(caret, 0u);
    EXPECT_EQ(f.state()->text_box.anchor, 0u);
    f.h.move(140, 200);  // out of the box: the caret stays
    f.frame();
    EXPECT_EQ(f.state()->text_box.caret, caret);
    f.h.release();
    f.frame();
    // The selection is painted behind the text.
    const colour_t selection = {0.42f, 0.58f, 0.72f, 1};
    bool painted = false;
    for (u32 i = 0; i < f.h.quads(f.h.rectangles); i++) painted |= f.h.quad_colour(f.h.rectangles, i) == packed(selection);
    EXPECT_TRUE(painted);
}

TEST(UiTextBox, AWeakBoxKeepsTheKeyboardWhileOtherWidgetsAreHoveredAndClickedAtOnce) {
    for (bool box_first : {true, false}) {
        SCOPED_TRACE(box_first ? "box first" : "button first");
        box_fixture_t f;
        f.set("ab");
        pair_t button = UI_ID();
        u32 clicks = 0;
        auto frame = [&] {
            f.h.frame([&] {
                if (box_first) f.result = ui_text_box(&f.h.ui, f.id, f.rect, &f.text, 0);
                clicks += ui_button(&f.h.ui, button, rect_t{100, 200, 200, 230}, data_literal("Add"), 0);
                if (!box_first) f.result = ui_text_box(&f.h.ui, f.id, f.rect, &f.text, 0);
            });
        };
        f.h.move(290, 110);
        f.h.press();
        frame();
        f.h.release();
        frame();
        ASSERT_TRUE(ui_is_active(&f.h.ui, f.id));
        f.h.move(150, 215);
        f.h.type("c");
        frame();
        EXPECT_TRUE(ui_is_hot(&f.h.ui, button));
        EXPECT_TRUE(ui_is_active(&f.h.ui, f.id));
        EXPECT_EQ(f.value(), "abc");
        f.h.press();
        frame();
        EXPECT_TRUE(ui_is_active(&f.h.ui, button));
        f.h.release();
        frame();
        EXPECT_EQ(clicks, 1u);
    }
}

}  // namespace
