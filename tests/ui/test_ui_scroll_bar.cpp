// Scroll bars, the wheel and the line steps.
#include <gtest/gtest.h>

#include <cmath>

#include "ui/ui_harness.h"
#include "ui/ui_scroll_bar.h"

namespace {

TEST(ScrollSteps, LinesStayAlignedWithTheViewEdges) {
    const f64 big = 1e9;
    struct {
        f64 offset, step, range, lines, expected;
    } down[] = {
        {21, 20, big, 1, 20}, {20.4, 20, big, 1, 0}, {20, 20, big, 1, 0},  {40.6, 20, big, 1, 40},
        {0, 20, big, 1, 0},   {100, 20, big, 3, 40}, {30, 20, big, 3, 0},  {500, 20, 300, 1, 300},
    };
    for (auto& c : down) {
        EXPECT_EQ(step_down(c.offset, c.step, c.range, c.lines), c.expected) << c.offset << " " << c.lines;
    }
    struct {
        f64 offset, view, step, range, lines, expected;
    } up[] = {
        {0, 100, 20, 1000, 1, 20},  {15, 100, 20, 1000, 1, 20}, {0, 110, 20, 1000, 1, 10},
        {0, 100, 20, 1000, 3, 60},  {990, 100, 20, 1000, 1, 1000}, {0, 100, 20, 0, 1, 0},
    };
    for (auto& c : up) {
        EXPECT_EQ(step_up(c.offset, c.view, c.step, c.range, c.lines), c.expected) << c.offset << " " << c.lines;
    }
}

// A vertical bar 16 by 232 from (200, 0): a track of 200 between the arrows; with a
// view of 100 over 1000 the thumb is 20 and the free track 180.
struct bar_fixture_t {
    ui_harness_t h;
    pair_t id = pair_from_value((u64)0x5C0);
    rect_t rect = {200, 0, 216, 232};
    f64 offset = 0;
    f64 view = 100, content = 1000;
    void frame() {
        h.frame([&] { ui_scroll_bar_vertical(&h.ui, id, rect, view, content, &offset, 20.0); });
    }
    rect_t thumb() { return h.quad_rect(h.rectangles, 5); }
};

TEST(ScrollBar, ThumbSizeAndPlace) {
    bar_fixture_t f;
    struct {
        f64 content, offset;
        f32 thumb_y0, thumb_y1;
        f64 offset_after;
    } cases[] = {
        {1000, 0, 196, 216, 0},       // at the top
        {1000, 900, 16, 36, 900},     // at the bottom
        {1000, 450, 106, 126, 450},   // half way
        {1000, 5000, 16, 36, 900},    // beyond the content: clamped
        {50, 30, 16, 216, 0},         // content that fits: the thumb fills the track
        {100000, 0, 200, 216, 0},     // a thumb never gets thinner than the bar
    };
    for (auto& c : cases) {
        f.content = c.content;
        f.offset = c.offset;
        f.frame();
        EXPECT_EQ(f.thumb().y0, c.thumb_y0) << c.content << " " << c.offset;
        EXPECT_EQ(f.thumb().y1, c.thumb_y1) << c.content << " " << c.offset;
        EXPECT_EQ(f.offset, c.offset_after);
    }
}

TEST(ScrollBar, AnArrowStepsAtOnceThenRepeatsAfterTheDelayThenAtEachInterval) {
    bar_fixture_t f;
    f.offset = 200;
    f.h.move(208, 225);  // the first arrow, at the top
    f.h.press();
    f.frame();
    EXPECT_EQ(f.offset, 180);
    struct {
        f64 after;  // seconds since the previous frame
        f64 offset;
    } held[] = {{0.4, 180}, {0.09, 180}, {0.02, 160}, {0.05, 160}, {0.06, 140}, {0.11, 120}, {0.2, 100}};
    for (auto& s : held) {
        f.h.seconds(s.after);
        f.frame();
        EXPECT_EQ(f.offset, s.offset);
    }
    // Off the arrow, nothing repeats; back on it, it goes on.
    f.h.move(208, 100);
    f.h.seconds(0.2);
    f.frame();
    EXPECT_EQ(f.offset, 100);
    f.h.release();
    f.h.seconds(0.2);
    f.frame();
    EXPECT_FALSE(ui_any_active(&f.h.ui));
    // The second arrow steps so that the view's bottom lands on a line.
    f.offset = 5;
    f.h.move(208, 8);
    f.h.press();
    f.frame();
    EXPECT_EQ(f.offset, 20);
    f.h.release();
    f.frame();
}

TEST(ScrollBar, AReleaseGivesActiveBackToTheParentOfTheBar) {
    bar_fixture_t f;
    f.id = pair_push(f.id, -2);  // a bar that belongs to a list, say
    pair_t parent = pair_parent(f.id);
    f.h.move(208, 225);
    f.h.press();
    f.frame();
    EXPECT_TRUE(ui_is_active(&f.h.ui, pair_push(f.id, ui_scroll_first_arrow)));
    EXPECT_EQ(f.h.ui.owner_count, 1u);
    f.h.move(400, 400);  // released away from the bar
    f.h.release();
    f.frame();
    EXPECT_TRUE(ui_is_active(&f.h.ui, parent));
    EXPECT_EQ(f.h.ui.owner_count, 0u);
}

TEST(ScrollBar, TheTrackPagesUntilTheThumbComesUnderTheMouse) {
    bar_fixture_t f;
    f.h.move(208, 60);  // below the thumb (196 to 216)
    f.h.press();
    f.frame();
    EXPECT_EQ(f.offset, 100);
    f.frame();
    EXPECT_EQ(f.offset, 200);
    for (int i = 0; i < 10; i++) f.frame();
    rect_t thumb = f.thumb();
    EXPECT_TRUE(thumb.y0 <= 60 && 60 < thumb.y1) << thumb.y0 << " " << thumb.y1;
    f64 reached = f.offset;
    f.frame();
    EXPECT_EQ(f.offset, reached);
    f.h.release();
    f.frame();
}

TEST(ScrollBar, DraggingTheThumbFollowsTheMouseAndStopsPastTheEnds) {
    bar_fixture_t f;
    f.h.move(208, 205);
    f.h.press();
    f.frame();
    f.h.move(208, 187);  // 18 pixels down: 18 * 900 / 180
    f.frame();
    EXPECT_EQ(f.offset, 90);
    f.h.move(208, -300);  // far past the bottom: clamped
    f.frame();
    EXPECT_EQ(f.offset, 900);
    f.h.move(208, 10);  // back up but still beside the second arrow: no move
    f.frame();
    EXPECT_EQ(f.offset, 900);
    f.h.move(208, 26);  // above the arrow: moves by what the mouse moved
    f.frame();
    EXPECT_EQ(f.offset, 820);
    f.h.release();
    f.frame();
    EXPECT_FALSE(ui_any_active(&f.h.ui));
}

TEST(ScrollBar, TooSmallToShowDoesNothing) {
    ui_harness_t h;
    pair_t id = UI_ID();
    f32 offset = 50;
    h.move(5, 5);
    h.press();
    h.frame([&] { ui_scroll_bar_vertical(&h.ui, id, rect_t{0, 0, 15, 200}, 100.0f, 1000.0f, &offset, 20.0f); });
    h.frame([&] { ui_scroll_bar_vertical(&h.ui, id, rect_t{0, 0, 16, 15}, 100.0f, 1000.0f, &offset, 20.0f); });
    EXPECT_EQ(h.commands(h.rectangles), 0u);
    EXPECT_EQ(offset, 50);
    EXPECT_FALSE(ui_any_active(&h.ui));
}

TEST(ScrollWheel, OnlyInTheLogicPassWithTheMouseInTheClip) {
    ui_harness_t h;
    struct {
        f32 wheel;
        u32 mode;
        f32 mouse_x;
        bool someone_active;
        f32 expected;
    } cases[] = {
        {1, ui_mode_logic, 50, false, 40},     // towards the top: three lines
        {-1, ui_mode_logic, 50, false, 160},   // towards the bottom: three lines
        {-2.5f, ui_mode_logic, 50, false, 160},
        {1, ui_mode_both, 50, false, 100},
        {1, ui_mode_logic, 150, false, 100},   // mouse outside the clip
        {1, ui_mode_logic, 50, true, 100},     // a widget holds the mouse
    };
    for (auto& c : cases) {
        f32 offset = 100;
        h.move(c.mouse_x, 50);
        h.window.wheel = c.wheel;
        h.frame([&] {
            ui_set_clip(&h.ui, rect_t{0, 0, 100, 100});
            ui_set_mode(&h.ui, c.mode);
            if (c.someone_active) ui_active_force(&h.ui, pair_from_value((u64)3), ui_kind_button);
            ui_scroll_wheel(&h.ui, pair_t{}, 100, 1000, 20, 3, &offset);
            ui_active_clear(&h.ui);
        });
        EXPECT_EQ(offset, c.expected) << c.wheel << " " << c.mode << " " << c.mouse_x;
    }
}

}  // namespace
