// The icons as the widgets draw them: each icon at its own size from its own place
// in the strip that ui_create makes (86 by 16), upright or turned.
#include <gtest/gtest.h>

#include <cmath>

#include "ui/ui_harness.h"

namespace {

struct corner_t {
    f32 x, y, u, v;
};

// The quad's first (top left) and last (bottom right) corners.
void icon_corners(ui_harness_t& h, u32 command, corner_t* top_left, corner_t* bottom_right) {
    batch_t* b = h.batch(h.icons);
    u32 index = b->commands[command].first_index;
    u32 vertex = b->index_size == 2 ? ((u16*)b->indices)[index] : ((u32*)b->indices)[index];
    for (u32 i = 0; i < 2; i++) {
        const f32* v = (const f32*)(b->vertices + (u64)(vertex + 3 * i) * b->vertex_size);
        *(i ? bottom_right : top_left) = corner_t{v[0], v[1], v[3], v[4]};
    }
}

TEST(UiIcons, EachIconIsDrawnFromItsPlaceUprightOrTurned) {
    ui_harness_t h;
    const f32 width = 86, height = 16;
    struct case_t {
        u32 icon;
        bool turned;
        f32 size, u0;
    } cases[] = {
        {icon_check_12, false, 12, 0},
        {icon_check_10, false, 10, 12},
        {icon_chevron_up_16, true, 16, 22},
        {icon_chevron_left_10, false, 10, 76},
    };
    ASSERT_EQ(h.ui.icon_atlas.width, width);
    ASSERT_EQ(h.ui.icon_atlas.height, height);
    for (const case_t& c : cases) {
        pair_t id = pair_from_value((u64)100 + c.icon);
        h.frame([&] { ui_draw_icon(&h.ui, ui_layer(&h.ui, id), c.icon, rect_t{100, 100, 120, 120}, colour_white, c.turned); });
        ASSERT_EQ(h.commands(h.icons), 1u) << c.icon;
        corner_t top_left, bottom_right;
        icon_corners(h, 0, &top_left, &bottom_right);
        // Centred in the box at its own size.
        EXPECT_EQ(bottom_right.x - top_left.x, c.size) << c.icon;
        EXPECT_EQ(top_left.y - bottom_right.y, c.size) << c.icon;
        EXPECT_EQ(top_left.x, std::floor(100 + (20 - c.size) / 2)) << c.icon;
        // The mask's first row is the icon's top unless turned.
        f32 u1 = (c.u0 + c.size) / width, v1 = c.size / height;
        corner_t expected_top = c.turned ? corner_t{0, 0, u1, v1} : corner_t{0, 0, c.u0 / width, 0};
        corner_t expected_bottom = c.turned ? corner_t{0, 0, c.u0 / width, 0} : corner_t{0, 0, u1, v1};
        EXPECT_FLOAT_EQ(top_left.u, expected_top.u) << c.icon;
        EXPECT_FLOAT_EQ(top_left.v, expected_top.v) << c.icon;
        EXPECT_FLOAT_EQ(bottom_right.u, expected_bottom.u) << c.icon;
        EXPECT_FLOAT_EQ(bottom_right.v, expected_bottom.v) << c.icon;
    }
}

}  // namespace
