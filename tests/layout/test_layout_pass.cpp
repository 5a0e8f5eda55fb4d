// The pass loop on a fixed-advance font: which states a description goes through,
// when the bars come and stay, where items land on the screen, the clamped and
// rounded offsets, and the traps of a description that differs between passes.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "base/log.h"
#include "layout/fixed_font.h"
#include "layout/layout.h"
#include "log_support.h"

namespace {

using describe_t = std::function<void(layout_t*)>;

struct passes_t {
    fixed_font_t font;
    data_t memory = data_allocate(MIB(1));
    layout_t layout = {};
    std::vector<u32> states;  // at the start of each pass that ran
    std::vector<f32> widths;  // the view's width at the start of each pass

    passes_t(rect_t rect, f32 scroll_x = 0, f32 scroll_y = 0, const f32* padding = nullptr) {
        layout_create(&layout, &memory, &font.set, rect, scroll_x, scroll_y, padding);
    }
    ~passes_t() { data_free(&memory); }

    // The loop of a view. `bars` runs where the scroll bars would, before the
    // positions are fixed.
    void run(const describe_t& describe, const describe_t& bars = nullptr) {
        while (layout_pass_start(&layout)) {
            states.push_back(layout.state);
            widths.push_back(layout.width);
            if (bars) bars(&layout);
            if (layout_pass_ready(&layout, 0)) continue;
            describe(&layout);
            layout_finish(&layout);
        }
    }
};

// `count` words of four letters, each with its space: 50 pixels a word.
std::string words(u32 count) {
    std::string text;
    for (u32 i = 0; i < count; i++) text += "abcd ";
    return text;
}

// Text wrapped `margin` short of the view's width, as a view does in each pass.
describe_t wrapped(const std::string& text, f32 margin = 0) {
    return [&text, margin](layout_t* l) {
        layout_set_wrap(l, 0, l->width - l->padding_left - l->padding_right - margin, layout_wrap_eat_space);
        layout_string_p(l, (const u8*)text.data(), text.size());
    };
}

describe_t unwrapped(const std::string& text) {
    return [&text](layout_t* l) { layout_string_p(l, (const u8*)text.data(), text.size()); };
}

// A box of the given size and nothing else.
describe_t block(f32 width, f32 height, u32 flags = 0) {
    return [=](layout_t* l) { layout_box(l, width, height, 0, flags); };
}

TEST(LayoutPass, StatesAndBarsFollowTheContent) {
    const std::string short_text = words(3);
    const std::string tall_text = words(40);  // 10 lines or more, 200 pixels or more
    const std::string long_line = std::string(30, 'x');  // 300 pixels on one line
    struct case_t {
        const char* name;
        describe_t describe;
        u32 flags;
        std::vector<u32> states;
        std::vector<f32> widths;
        u32 vertical_bar, horizontal_bar;
    } cases[] = {
        {"shorter than the view", wrapped(short_text), 0, {0, 1, 3}, {200, 200, 200}, 0, 0},
        // Three words to a line, 150 wide.
        {"taller with a wrap measures again narrower", wrapped(tall_text, 20), 0, {0, 0, 1, 3}, {200, 184, 184, 184},
         1, 0},
        // Lines as wide as the view are compared with the narrower view before
        // they flow again, so the horizontal bar comes too, and stays.
        {"a wrap as wide as the view gets both bars", wrapped(tall_text), 0, {0, 0, 1, 3}, {200, 184, 184, 184}, 1,
         1},
        {"taller without a wrap needs no second measure", block(50, 150), 0, {0, 1, 3}, {200, 184, 184}, 1, 0},
        {"wider without a wrap", unwrapped(long_line), 0, {0, 1, 3}, {200, 200, 200}, 0, 1},
        // 90 high fits 100 but not the 84 left beside a horizontal bar.
        {"the horizontal bar calls for the vertical one", block(300, 90), 0, {0, 1, 3}, {200, 184, 184}, 1, 1},
        // 190 wide fits 200 but not the 184 left beside a vertical bar.
        {"the vertical bar calls for the horizontal one", block(190, 150), 0, {0, 1, 3}, {200, 184, 184}, 1, 1},
        {"no vertical bar when the flag says so", block(50, 150), layout_flag_no_vertical_bar, {0, 1, 3},
         {200, 200, 200}, 0, 0},
        {"no horizontal bar when the flag says so", block(300, 50), layout_flag_no_horizontal_bar, {0, 1, 3},
         {200, 200, 200}, 0, 0},
    };
    for (const case_t& c : cases) {
        passes_t p(rect_t{0, 0, 200, 100});
        p.run([&](layout_t* l) {
            layout_set_flags(l, c.flags);
            c.describe(l);
        });
        EXPECT_EQ(p.states, c.states) << c.name;
        EXPECT_EQ(p.widths, c.widths) << c.name;
        EXPECT_EQ(p.layout.state, (u32)layout_state_done) << c.name;
        EXPECT_EQ(p.layout.vertical_bar, c.vertical_bar) << c.name;
        EXPECT_EQ(p.layout.horizontal_bar, c.horizontal_bar) << c.name;
        // A horizontal bar takes its room from the bottom of the view.
        EXPECT_EQ(p.layout.y, c.horizontal_bar ? 16.0f : 0.0f) << c.name;
        EXPECT_EQ(p.layout.height, c.horizontal_bar ? 84.0f : 100.0f) << c.name;
    }
}

TEST(LayoutPass, BarsAreAskedForOnlyWhileTheyCanBeDrawn) {
    passes_t p(rect_t{0, 0, 200, 100});
    std::vector<u32> asked;
    p.run(block(50, 150), [&](layout_t* l) { asked.push_back(layout_needs_vertical_bar(l)); });
    // Measuring passes know no bar yet; the logic and draw passes see it.
    EXPECT_EQ(asked, (std::vector<u32>{0, 1, 1}));
}

TEST(LayoutPass, AMovedBarCostsOneMoreMeasureAndKeepsTheBars) {
    const std::string text = words(40);
    passes_t p(rect_t{0, 0, 200, 100});
    bool moved = false;
    p.run(wrapped(text), [&](layout_t* l) {
        if (l->state == layout_state_logic && !moved) {
            l->scroll_y = 20;  // as a dragged thumb would
            moved = true;
        }
    });
    EXPECT_EQ(p.states, (std::vector<u32>{0, 0, 1, 2, 3}));
    EXPECT_EQ(p.widths, (std::vector<f32>{200, 184, 184, 184, 184}));
    EXPECT_EQ(p.layout.scroll_y, 20);
    // The text's first line went up by the offset.
    const layout_item_t* item = &p.layout.items[1];
    ASSERT_EQ(item->kind, (u32)layout_item_text);
    EXPECT_EQ(item->text.bounds.y1, 120);
}

TEST(LayoutPass, ARemeasureWithoutKeepingBarsDecidesThemAgain) {
    // The widget pass shortens the content, as a folded section would.
    const std::string tall = words(40), short_text = words(3);
    const std::string* shown = &tall;
    passes_t p(rect_t{0, 0, 200, 100});
    p.run([&](layout_t* l) {
        wrapped(*shown)(l);
        if (l->state == layout_state_logic && shown == &tall) {
            shown = &short_text;
            layout_request_remeasure(l, 0);
        }
    });
    EXPECT_EQ(p.states, (std::vector<u32>{0, 0, 1, 2, 3}));
    EXPECT_EQ(p.widths, (std::vector<f32>{200, 184, 184, 200, 200}));
    EXPECT_EQ(p.layout.vertical_bar, 0u);
}

TEST(LayoutPass, OffsetsAreClampedToTheContentAndRounded) {
    // 300 pixels of content in a view of 100: offsets from 0 to 200.
    struct case_t {
        f32 scroll, expected;
        u32 flags;
    } cases[] = {
        {0, 0, 0},        {1000, 200, 0},  {200, 200, 0}, {-30, 0, 0},   {10.4f, 10, 0},
        {10.5f, 11, 0},   {2.5f, 3, 0},    {199.6f, 200, 0},
        {1000, 1000, layout_flag_keep_scroll}, {10.5f, 10.5f, layout_flag_keep_scroll},
    };
    for (const case_t& c : cases) {
        passes_t p(rect_t{0, 0, 200, 100}, 0, c.scroll);
        p.run([&](layout_t* l) {
            layout_set_flags(l, c.flags | layout_flag_no_vertical_bar);
            layout_box(l, 50, 300, 0, 0);
        });
        EXPECT_EQ(p.layout.scroll_y, c.expected) << c.scroll << " flags " << c.flags;
        // The box's top stands above the view's top by the offset.
        EXPECT_EQ(p.layout.items[1].box.rect.y1, 100 + c.expected) << c.scroll << " flags " << c.flags;
    }
    // Content narrower than the view: no horizontal room at all.
    passes_t narrow(rect_t{0, 0, 200, 100}, 35, 0);
    narrow.run(block(50, 50));
    EXPECT_EQ(narrow.layout.scroll_x, 0);
}

TEST(LayoutPass, PositionsTurnToScreenSpace) {
    const f32 padding[4] = {5, 6, 7, 8};  // top, bottom, left, right
    passes_t p(rect_t{50, 30, 250, 130}, 0, 0, padding);
    layout_item_t* first = nullptr;
    layout_item_t* second = nullptr;
    layout_item_t* text = nullptr;
    const std::string hello = "hello";
    p.run([&](layout_t* l) {
        first = layout_box(l, 20, 10, 0, layout_box_pen_right);
        second = layout_box(l, 30, 15, 0, layout_box_pen_below);
        layout_new_line(l);
        text = layout_string_p(l, (const u8*)hello.data(), hello.size());
    });
    // The view's top is at y 130; y grows upward on the screen.
    EXPECT_EQ(first->box.rect.x0, 57);
    EXPECT_EQ(first->box.rect.x1, 77);
    EXPECT_EQ(first->box.rect.y1, 125);
    EXPECT_EQ(first->box.rect.y0, 115);
    EXPECT_EQ(second->box.rect.x0, 77);
    EXPECT_EQ(second->box.rect.y0, 110);
    // The new line starts at the left padding below the taller box.
    EXPECT_EQ(text->text.bounds.x0, 57);
    EXPECT_EQ(text->text.bounds.y1, 110);
    ASSERT_EQ(text->text.run_count, 1u);
    EXPECT_EQ(text->text.runs[0].rect.x1, 57 + 50);
    EXPECT_EQ(text->text.runs[0].rect.y0, 90);
    // The content's extent keeps its paddings.
    EXPECT_EQ(p.layout.max_x, 7 + 50 + 8);
    EXPECT_EQ(p.layout.max_y, 5 + 15 + 20 + 6);
}

TEST(LayoutPass, NewLineGoesBelowTheTallestBoxOfTheRow) {
    passes_t p(rect_t{0, 0, 400, 400});
    layout_item_t* below = nullptr;
    p.run([&](layout_t* l) {
        layout_box(l, 10, 30, 0, layout_box_pen_right);
        layout_box(l, 10, 50, 0, layout_box_pen_right);
        layout_box(l, 10, 20, 0, layout_box_pen_right);
        layout_new_line(l);
        below = layout_box(l, 10, 10, 0, 0);
    });
    EXPECT_EQ(below->box.rect.x0, 0);
    EXPECT_EQ(below->box.rect.y1, 400 - 50);
}

TEST(LayoutPass, PenMovesAndRoomOnTheRow) {
    const f32 padding[4] = {0, 0, 10, 10};
    passes_t p(rect_t{0, 0, 200, 400}, 0, 0, padding);
    std::vector<f32> room;
    layout_item_t* ceiled = nullptr;
    layout_item_t* moved = nullptr;
    p.run([&](layout_t* l) {
        room.push_back(layout_remaining(l));                  // 180: the view less its paddings
        layout_box(l, 30, 10, 0, layout_box_pen_right);
        room.push_back(layout_remaining(l));                  // 150
        layout_set_wrap(l, 20, 300, 0);
        room.push_back(layout_remaining(l));                  // to the wrap's end, past the view
        layout_advance(l, 0.25f, 0.5f, 0);
        room.push_back(layout_remaining_floor(l));
        ceiled = layout_box(l, 5, 5, 0, layout_box_ceil);
        layout_advance(l, 0, 0.5f, layout_advance_ceil_x | layout_advance_ceil_y);
        moved = layout_box(l, 5, 5, 0, 0);
    });
    // Each pass reads the width that the measure found.
    ASSERT_EQ(room.size(), 12u);
    for (u32 pass = 0; pass < 3; pass++) {
        EXPECT_EQ(room[pass * 4 + 0], 180) << pass;
        EXPECT_EQ(room[pass * 4 + 1], 150) << pass;
        EXPECT_EQ(room[pass * 4 + 2], 20 + 300 - 10 - 30) << pass;
        EXPECT_EQ(room[pass * 4 + 3], 279) << pass;
    }
    EXPECT_EQ(ceiled->box.rect.x0, 41);
    EXPECT_EQ(ceiled->box.rect.y1, 400 - 1);
    EXPECT_EQ(moved->box.rect.x0, 41);
    EXPECT_EQ(moved->box.rect.y1, 400 - 1);
}

TEST(LayoutPass, VisibilityAndEarlyOverflow) {
    passes_t p(rect_t{0, 0, 200, 100}, 0, 0);
    layout_item_t* top = nullptr;
    layout_item_t* bottom = nullptr;
    std::vector<int> overflow;
    p.run([&](layout_t* l) {
        layout_set_flags(l, layout_flag_no_vertical_bar);
        top = layout_box(l, 10, 10, 0, layout_box_pen_below);
        overflow.push_back(layout_would_overflow(l));
        layout_advance(l, 0, 200, 0);
        bottom = layout_box(l, 10, 10, 0, 0);
        overflow.push_back(layout_would_overflow(l));
    });
    EXPECT_TRUE(layout_item_visible(&p.layout, top));
    EXPECT_FALSE(layout_item_visible(&p.layout, bottom));
    // Only a first measure past the view says so.
    EXPECT_EQ(overflow, (std::vector<int>{0, 1, 0, 0, 0, 0}));
}

TEST(LayoutPass, ColoursAndFontsReplayAsBuilt) {
    passes_t p(rect_t{0, 0, 200, 100});
    const colour_t red = {1, 0, 0, 1};
    const colour_t blue = {0, 0, 1, 1};
    p.run([&](layout_t* l) {
        layout_set_font(l, 2);
        layout_push_colour(l, red);
        layout_push_colour(l, blue);
        layout_pop_colour(l);
        layout_mark(l, 1, 2);
    });
    layout_t* l = &p.layout;
    l->font = 0;
    l->colour = colour_white;
    l->colour_stack = nullptr;
    std::vector<f32> reds;
    for (u32 i = 0; i < l->item_count; i++) {
        layout_replay_state(l, &l->items[i]);
        reds.push_back(l->colour.r + l->colour.b * 10);
    }
    EXPECT_EQ(l->font, 2u);
    EXPECT_EQ(reds, (std::vector<f32>{1 + 10, 1, 10, 1, 1, 1}));
}

TEST(LayoutPass, OnlySizeMeasuresUntilTheBarsAreKnown) {
    const std::string text = words(40);
    fixed_font_t font;
    data_t memory = data_allocate(MIB(1));
    layout_t layout;
    layout_create(&layout, &memory, &font.set, rect_t{0, 0, 220, 100}, 0, 0, nullptr);
    std::vector<f32> widths;
    layout_item_t* item = nullptr;
    while (layout_pass_only_size(&layout)) {
        widths.push_back(layout.width);
        layout_set_flags(&layout, layout_flag_keep_lines);
        layout_set_wrap(&layout, 0, layout.width, layout_wrap_eat_space);
        item = layout_string_p(&layout, (const u8*)text.data(), text.size());
        layout_finish(&layout);
    }
    EXPECT_EQ(widths, (std::vector<f32>{220, 204}));
    EXPECT_EQ(layout.vertical_bar, 1u);
    EXPECT_EQ(layout.horizontal_bar, 0u);
    // Four words of 50 to a line of 204: 10 lines, all kept, the visible ones as runs.
    EXPECT_EQ(item->text.line_count, 10u);
    EXPECT_EQ(item->text.run_count, 5u);
    EXPECT_EQ(item->text.lines[0].rect.y1, 100);
    data_free(&memory);
}

TEST(LayoutPass, ContentBeyondTheMemoryIsLeftOutWithOneLine) {
    const std::string message = "more than its memory can lay out";
    log_channel_t* user = log_channel(log_user);
    std::string before((const char*)user->text.bytes, user->text.used);
    const std::string text = "first line\nsecond line\nthird line\nfourth";
    alignas(8) static u8 bytes[4096];
    fixed_font_t font;
    struct case_t {
        const char* name;
        u64 room;
        u32 boxes;
        u32 items, runs, lines;
    } cases[] = {
        // 96 bytes an item: the flags, the text and 30 of the boxes fit, and then
        // nothing for the text's runs.
        {"items", 96 * 32, 100, 32, 0, 0},
        // The items fit, the text's runs (7 of 40 bytes and their line numbers) don't.
        {"runs", 96 * 3 + 200, 0, 3, 0, 0},
        // Runs fit, and two lines of four.
        {"lines", 96 * 3 + 280 + 28 + 4 + 80, 0, 3, 4, 2},
    };
    for (const case_t& c : cases) {
        data_t memory = data_make(c.room, 0, bytes);
        layout_t l;
        layout_create(&l, &memory, &font.set, rect_t{0, 0, 200, 100}, 0, 0, nullptr);
        layout_item_t* last = nullptr;
        layout_item_t* item = nullptr;
        while (layout_pass_start(&l)) {
            if (layout_pass_ready(&l, 0)) continue;
            layout_set_flags(&l, layout_flag_keep_lines | layout_flag_no_vertical_bar);
            item = layout_string_p(&l, (const u8*)text.data(), text.size());
            for (u32 i = 0; i < c.boxes; i++) last = layout_box(&l, 10, 10, 0, layout_box_pen_below);
            layout_finish(&l);
        }
        EXPECT_EQ(l.state, (u32)layout_state_done) << c.name;
        EXPECT_EQ(l.item_count, c.items) << c.name;
        EXPECT_EQ(l.items_dropped, c.boxes ? 1u : 0u) << c.name;
        if (c.boxes) {
            EXPECT_EQ(last, &l.null_item) << c.name;
        }
        EXPECT_EQ(item->text.run_count, c.runs) << c.name;
        EXPECT_EQ(item->text.line_count, c.lines) << c.name;
    }
    std::string after((const char*)user->text.bytes, user->text.used);
    EXPECT_EQ(text_count(after, message), text_count(before, message) + 1);
}

TEST(LayoutPassDeath, ADescriptionThatChangesBetweenPassesTraps) {
    struct case_t {
        const char* name;
        describe_t describe;
    } cases[] = {
        {"an item more when drawing",
         [](layout_t* l) {
             layout_box(l, 10, 10, 0, 0);
             if (l->state == layout_state_draw) layout_box(l, 10, 10, 0, 0);
         }},
        {"an item more in the widget pass",
         [](layout_t* l) {
             layout_box(l, 10, 10, 0, 0);
             if (l->state == layout_state_logic) layout_advance(l, 0, 5, 0);
         }},
        {"another kind at the same place",
         [](layout_t* l) {
             if (l->state == layout_state_draw) layout_advance(l, 0, 5, 0);
             else layout_box(l, 10, 10, 0, 0);
         }},
        {"a finish twice", [](layout_t* l) { layout_finish(l); }},
        {"a colour popped from an empty stack", [](layout_t* l) { layout_pop_colour(l); }},
        {"a wrap that starts left of the padding", [](layout_t* l) { layout_set_wrap(l, 2, 100, 0); }},
    };
    const f32 padding[4] = {4, 4, 4, 4};
    for (const case_t& c : cases) {
        EXPECT_DEATH(
            {
                passes_t p(rect_t{0, 0, 200, 100}, 0, 0, padding);
                p.run(c.describe);
            },
            "")
            << c.name;
    }
}

TEST(LayoutPassDeath, TextChangedAfterItsMeasureTrapsInTheReplay) {
    // The text is kept by pointer: a line break written into it after the measure
    // gives the replay other maxima than the measure found, also when the text lies
    // below the view, where the replay would otherwise take the measure as it was.
    auto run = [](bool change, f32 above) {
        char text[] = "short";
        passes_t p(rect_t{0, 0, 200, 100});
        while (layout_pass_start(&p.layout)) {
            if (layout_pass_ready(&p.layout, 0)) continue;
            layout_box(&p.layout, 10, above, 0, layout_box_pen_below);
            layout_string_p(&p.layout, (const u8*)text, 5);
            layout_finish(&p.layout);
            if (change) text[1] = '\n';
        }
        return p.layout.state;
    };
    for (f32 above : {0.0f, 300.0f}) {
        EXPECT_EQ(run(false, above), (u32)layout_state_done);
        EXPECT_DEATH(run(true, above), "") << above;
    }
}

TEST(LayoutPass, TextsOutOfTheViewReplayAsAFullReplayWould) {
    // A wrapped text where the bar narrows the view after the first measure, as
    // paragraphs and as one text. Kept lines make the replay lay out every text in
    // full; without them the replay reuses the measure for the texts and lines that
    // don't show. Both must agree at every offset, down to the runs of what does.
    std::vector<std::string> paragraphs;
    for (u32 i = 0; i < 14; i++) paragraphs.push_back(words(3 + i * 5 % 11) + "x\n");
    paragraphs[5] = "";
    std::string joined;
    for (const std::string& paragraph : paragraphs) joined += paragraph;
    auto positions = [&](const std::vector<std::string>& texts, f32 scroll, u32 flags) {
        passes_t p(rect_t{0, 0, 220, 100}, 0, scroll);
        std::vector<layout_item_t*> items;
        p.run([&](layout_t* l) {
            items.clear();
            layout_set_flags(l, flags);
            layout_set_wrap(l, 0, l->width, layout_wrap_eat_space);
            for (const std::string& text : texts) {
                items.push_back(layout_string_p(l, (const u8*)text.data(), text.size()));
            }
        });
        std::vector<f32> seen = {p.layout.scroll_y, p.layout.max_x, p.layout.max_y};
        for (layout_item_t* item : items) {
            const layout_text_t& t = item->text;
            seen.insert(seen.end(), {t.bounds.x0, t.bounds.y0, t.bounds.x1, t.bounds.y1, (f32)t.run_count});
            for (u32 i = 0; i < t.run_count; i++) {
                const layout_line_t& run = t.runs[i];
                seen.insert(seen.end(), {run.rect.x0, run.rect.y0, run.rect.x1, run.rect.y1, (f32)run.bytes,
                                         (f32)(run.text - t.text)});
            }
        }
        return seen;
    };
    for (const std::vector<std::string>& texts : {paragraphs, std::vector<std::string>{joined}}) {
        for (f32 scroll : {0.0f, 35.0f, 170.0f, 1e6f}) {
            for (u32 flags : {0u, (u32)layout_flag_partly_visible}) {
                EXPECT_EQ(positions(texts, scroll, flags), positions(texts, scroll, flags | layout_flag_keep_lines))
                    << texts.size() << " texts at " << scroll;
            }
        }
    }
}

}  // namespace
