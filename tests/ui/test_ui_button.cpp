// The button and the check boxes, driven frame after frame.
#include <gtest/gtest.h>

#include "ui/ui_button.h"
#include "ui/ui_harness.h"

namespace {

const rect_t button_rect = {100, 100, 200, 130};

TEST(UiButton, AClickFiresAtTheReleaseOverTheSameButton) {
    struct step_t {
        f32 x;          // where the mouse is in this frame
        int button;     // 1 press, -1 release, 0 nothing
        u32 clicks;     // clicks seen so far
        bool active;    // the button holds the mouse after the frame
    };
    struct {
        const char* name;
        std::vector<step_t> steps;
    } cases[] = {
        {"click", {{150, 1, 0, true}, {150, -1, 1, false}}},
        {"slide off", {{150, 1, 0, true}, {250, 0, 0, true}, {250, -1, 0, false}}},
        {"slide off and back", {{150, 1, 0, true}, {250, 0, 0, true}, {160, 0, 0, true}, {160, -1, 1, false}}},
        {"press outside, release over", {{250, 1, 0, false}, {150, -1, 0, false}}},
    };
    for (auto& c : cases) {
        SCOPED_TRACE(c.name);
        ui_harness_t h;
        pair_t id = UI_ID();
        u32 clicks = 0;
        for (const step_t& s : c.steps) {
            h.move(s.x, 110);
            if (s.button == 1) h.press();
            if (s.button == -1) h.release();
            h.frame([&] { clicks += ui_button(&h.ui, id, button_rect, data_literal("OK"), 0); });
            EXPECT_EQ(clicks, s.clicks);
            EXPECT_EQ(ui_is_active(&h.ui, id), s.active);
        }
    }
}

TEST(UiButton, ColoursFollowHotAndActive) {
    ui_harness_t h;
    pair_t id = UI_ID();
    const ui_style_t* style = &ui_theme.button;
    auto fill = [&] { return h.quad_colour(h.rectangles, 1); };
    auto frame = [&] { return h.quad_colour(h.rectangles, 0); };
    auto run = [&] { ui_button(&h.ui, id, button_rect, data_literal("OK"), 0); };
    h.move(10, 10);
    h.frame(run);
    EXPECT_EQ(frame(), packed(style->frame[0]));
    EXPECT_EQ(fill(), packed(style->fill[0]));
    h.move(150, 110);
    h.frame(run);
    EXPECT_EQ(frame(), packed(style->frame[1]));
    EXPECT_EQ(fill(), packed(style->fill[1]));
    h.press();
    h.frame(run);
    EXPECT_EQ(fill(), packed(style->fill[2]));
    h.move(10, 10);  // active without hot looks normal
    h.frame(run);
    EXPECT_EQ(fill(), packed(style->fill[0]));
    EXPECT_EQ(frame(), packed(style->frame[0]));
}

TEST(UiButton, TextIsCentredOrCutWithAnEllipsisAndAnEmptyTextStillDrawsTheBox) {
    ui_harness_t h;
    pair_t id = UI_ID();
    h.frame([&] { ui_button(&h.ui, id, button_rect, data_t{}, 0); });
    EXPECT_EQ(h.commands(h.rectangles), 2u);
    EXPECT_EQ(h.commands(h.text), 0u);

    h.frame([&] { ui_button(&h.ui, id, button_rect, data_literal("OK"), 1); });
    ASSERT_EQ(h.text_of(h.text, 0), "OK");
    const batch_command_t* text = &h.batch(h.text)->commands[0];
    f32 width = layout_get_single_line_size(ui_font(&h.ui, 1), (const u8*)"OK", 2, codepoint_invalid).width;
    // Inner box: the rectangle less margin 1 and padding 10 at each side.
    EXPECT_NEAR(text->x, 111 + (78 - width) / 2, 0.01);
    EXPECT_EQ(text->trim_first, 1u);

    h.frame([&] { ui_button(&h.ui, id, button_rect, data_literal("A label far too long for the button"), 0); });
    std::string shown = h.text_of(h.text, 0);
    EXPECT_LT(shown.size(), 20u);
    EXPECT_EQ(shown.substr(shown.size() - 3), "\xE2\x80\xA6");
    EXPECT_NEAR(h.batch(h.text)->commands[0].x, 111, 1);  // a text cut to the box nearly fills it
}

TEST(UiButton, HalfPassesAndTheClip) {
    ui_harness_t h;
    pair_t id = UI_ID();
    h.move(150, 110);
    h.press();
    // Render only: no claim; logic only: a claim and nothing drawn.
    h.frame([&] {
        ui_set_mode(&h.ui, ui_mode_render);
        ui_button(&h.ui, id, button_rect, data_literal("OK"), 0);
    });
    EXPECT_FALSE(ui_any_active(&h.ui));
    EXPECT_EQ(h.commands(h.rectangles), 2u);
    h.release();
    h.frame();
    h.press();
    h.frame([&] {
        ui_set_mode(&h.ui, ui_mode_logic);
        ui_button(&h.ui, id, button_rect, data_literal("OK"), 0);
        EXPECT_EQ(h.ui.mode, (u32)ui_mode_logic);
    });
    EXPECT_TRUE(ui_is_active(&h.ui, id));
    EXPECT_EQ(h.commands(h.rectangles), 0u);
    // Outside the clip a widget does nothing and draws nothing.
    h.release();
    u32 clicks = 0;
    h.frame([&] {
        ui_set_clip(&h.ui, rect_t{300, 300, 400, 400});
        clicks = ui_button(&h.ui, id, button_rect, data_literal("OK"), 0);
    });
    EXPECT_EQ(clicks, 0u);
    EXPECT_EQ(h.quads(h.rectangles), 0u);
}

TEST(UiCheckBox, AClickFlipsTheValueAndTheTickFollowsTheBoxSize) {
    ui_harness_t h;
    pair_t id = UI_ID();
    u32 value = 0;
    struct {
        rect_t rect;
        f32 tick_size;
    } sizes[] = {{{100, 100, 116, 116}, 12}, {{100, 100, 114, 114}, 10}};
    for (auto& s : sizes) {
        value = 0;
        h.move(105, 105);
        h.press();
        h.frame([&] { ui_check_box(&h.ui, id, s.rect, &value); });
        EXPECT_EQ(h.commands(h.icons), 0u);
        h.release();
        u32 toggled = 0;
        h.frame([&] { toggled = ui_check_box(&h.ui, id, s.rect, &value); });
        EXPECT_EQ(toggled, 1u);
        EXPECT_EQ(value, 1u);
        ASSERT_EQ(h.commands(h.icons), 1u);
        rect_t tick = h.quad_rect(h.icons, 0);
        EXPECT_EQ(rect_width(tick), s.tick_size);
        EXPECT_EQ(tick.x0, 102);
    }
    value = 7;  // any non-zero value is on and flips to 0
    h.press();
    h.frame([&] { ui_check_box(&h.ui, id, sizes[0].rect, &value); });
    h.release();
    h.frame([&] { ui_check_box(&h.ui, id, sizes[0].rect, &value); });
    EXPECT_EQ(value, 0u);
}

TEST(UiCheckBox, TheLabelTakesTheClickAndFitsTheRoomLeft) {
    ui_harness_t h;
    pair_t id = UI_ID();
    u32 value = 0;
    rect_t rect = {100, 100, 300, 116};
    h.move(250, 108);  // over the label, far from the box
    h.press();
    h.frame([&] { ui_check_box_label(&h.ui, id, rect, &value, data_literal("Auto scroll."), 0); });
    h.release();
    h.frame([&] { ui_check_box_label(&h.ui, id, rect, &value, data_literal("Auto scroll."), 0); });
    EXPECT_EQ(value, 1u);
    EXPECT_EQ(h.quad_rect(h.rectangles, 0).x1, 116);  // the box is a square of the height
    ASSERT_EQ(h.text_of(h.text, 0), "Auto scroll.");
    EXPECT_EQ(h.batch(h.text)->commands[0].x, 120);
    // A label with no room draws no text but the box.
    h.frame([&] { ui_check_box_label(&h.ui, id, rect_t{100, 100, 118, 116}, &value, data_literal("Label"), 0); });
    EXPECT_EQ(h.commands(h.text), 0u);
    EXPECT_EQ(h.commands(h.rectangles), 2u);
}

}  // namespace
