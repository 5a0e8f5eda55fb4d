// The bars of a layout through its real passes: they show when the content needs
// them, the wheel and the arrows move the view in the same frame, and an axis
// without a bar goes back to 0.
#include <gtest/gtest.h>

#include <string>

#include "layout/layout.h"
#include "ui/ui_harness.h"
#include "ui/ui_layout_bars.h"
#include "ui/ui_scroll_bar.h"

namespace {

struct bars_fixture_t {
    ui_harness_t h{640, 480};
    std::string text;
    data_t memory = data_allocate(MIB(4));
    scroll_offsets_t offsets = {};
    rect_t rect = {100, 100, 400, 300};
    layout_t layout = {};
    u32 wrap = 1;

    explicit bars_fixture_t(u32 words) {
        for (u32 i = 0; i < words; i++) text += (i % 7 == 6) ? "paragraph\n" : "word ";
    }
    ~bars_fixture_t() { data_free(&memory); }

    void view() {
        data_clear(&memory);
        layout_create(&layout, &memory, &test_fonts()->set, rect, offsets.x, offsets.y, nullptr);
        while (layout_pass_start(&layout)) {
            ui_set_mode(&h.ui, ui_mode_from_layout(&layout));
            ui_layout_scroll_bars(&offsets, &h.ui, &layout, rect);
            if (layout_pass_ready(&layout, 0)) continue;
            layout_set_font(&layout, 1);
            if (wrap) layout_set_wrap(&layout, 0, layout.width, layout_wrap_eat_space);
            layout_string(&layout, data_from_size(text.size(), text.data()));
            layout_finish(&layout);
        }
        ui_set_mode(&h.ui, ui_mode_both);
    }
    void frame() { h.frame([&] { view(); }); }
};

TEST(UiLayoutBars, ShortContentHasNoBarsAndResetsItsOffsets) {
    bars_fixture_t f(5);
    f.offsets = scroll_offsets_t{30, 40};
    f.frame();
    EXPECT_FALSE(f.layout.vertical_bar || f.layout.horizontal_bar);
    EXPECT_EQ(f.offsets.x, 0);
    EXPECT_EQ(f.offsets.y, 0);
    EXPECT_EQ(f.layout.width, 300);
}

TEST(UiLayoutBars, TallContentGetsAVerticalBarThatTheWheelAndArrowsMove) {
    bars_fixture_t f(400);
    f.h.move(200, 200);
    f.frame();
    ASSERT_TRUE(f.layout.vertical_bar);
    EXPECT_FALSE(f.layout.horizontal_bar);  // wrapped at the narrower width
    EXPECT_EQ(f.layout.width, 284);
    EXPECT_EQ(f.offsets.y, 0);
    f64 view = f.layout.height;
    // Towards the end: three lines of 20 pixels from the view's bottom edge.
    f.h.window.wheel = -1;
    f.frame();
    EXPECT_EQ(f.offsets.y, (f32)step_up(0, view, 20, f.layout.max_y - view, 3));
    EXPECT_EQ(f.layout.scroll_y, f.offsets.y);  // the layout drew at the new place
    // The bottom arrow moves the view in the frame of the press.
    f32 before = f.offsets.y;
    f.h.move(395, 105);
    f.h.press();
    f.frame();
    EXPECT_GT(f.offsets.y, before);
    EXPECT_EQ(f.layout.scroll_y, f.offsets.y);
    f.h.release();
    f.frame();
    EXPECT_FALSE(ui_any_active(&f.h.ui));
}

TEST(UiLayoutBars, UnwrappedWideContentGetsBothBars) {
    bars_fixture_t f(0);
    for (int i = 0; i < 40; i++) f.text += "a line far wider than the view, as an address list may be\n";
    f.wrap = 0;
    f.frame();
    EXPECT_TRUE(f.layout.vertical_bar);
    EXPECT_TRUE(f.layout.horizontal_bar);
    EXPECT_EQ(f.layout.height, 184);
    // The horizontal bar's right arrow moves the view rightward, so that its right
    // edge lands on a step of 20.
    f.h.move(375, 105);
    f.h.press();
    f.frame();
    EXPECT_EQ(f.offsets.x, (f32)step_up(0, f.layout.width, 20, f.layout.max_x - f.layout.width, 1));
    EXPECT_GT(f.offsets.x, 0);
    f.h.release();
    f.frame();
}

}  // namespace
