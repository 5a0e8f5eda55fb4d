// Drawing a finished layout, read back from what the recording backend drew: one
// text per visible run, on the baseline, in the colour and font in force where it
// was pushed.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "app/app.h"
#include "gfx/draw.h"
#include "layout/fixed_font.h"
#include "layout/layout.h"
#include "views/panel_draw.h"

namespace {

struct drawn_t {
    std::string text;
    f32 x, y;
    u32 font;
    u32 colour;
    bool operator==(const drawn_t&) const = default;
};

std::ostream& operator<<(std::ostream& out, const drawn_t& d) {
    return out << "\"" << d.text << "\" at " << d.x << ", " << d.y << " font " << d.font << " colour " << std::hex
               << d.colour << std::dec;
}

struct panel_draw_test_t {
    fixed_font_t font;
    renderer_t render = {};
    draw_t draw = {};
    app_t app = {};
    data_t memory = data_allocate(MIB(1));
    layout_t layout = {};

    panel_draw_test_t() {
        gl_renderer_create(&render, 640, 480, renderer_alpha_blending, render_backend_stub);
        draw_create(&draw, &render, &font.set, 640, 480, 0);
        app.draw = &draw;
        gl_frame_begin(&render);
    }
    ~panel_draw_test_t() { data_free(&memory); }

    // Ends the frame and gives the text that the recording backend drew.
    std::vector<drawn_t> drawn() {
        gl_frame_end(&render);
        std::vector<drawn_t> result;
        const render_record_t* records = render_records(&render);
        for (u32 i = 0; i < render.record_count; i++) {
            const render_record_t* r = &records[i];
            if (r->kind != batch_type_text) continue;
            EXPECT_EQ(r->batch, draw.text[draw_layer_normal]);
            result.push_back(drawn_t{std::string((const char*)r->text.bytes, r->text.used), r->x, r->y, r->font,
                                     r->colour});
        }
        return result;
    }
};

TEST(PanelDraw, EachVisibleRunIsDrawnInItsColourAndFont) {
    const colour_t red = {1, 0, 0, 1};
    const std::string first = "abc def ghi", second = "xy", third = "mono";
    const u32 white = color_pack(colour_white), packed_red = color_pack(red);
    // Lines of 20 pixels with the baseline 4 above their foot, three of them in a
    // view of 40 whose top is at y 40; a run must lie wholly in the view to be kept.
    struct case_t {
        f32 scroll_y;
        std::vector<drawn_t> drawn;
    } cases[] = {
        {0, {{"abc def ", 0, 24, 0, white}, {"ghi", 0, 4, 0, white}, {"xy", 30, 4, 0, packed_red}}},
        {20, {{"ghi", 0, 24, 0, white}, {"xy", 30, 24, 0, packed_red}, {"mono", 0, 4, 3, white}}},
    };
    for (const case_t& c : cases) {
        panel_draw_test_t t;
        layout_create(&t.layout, &t.memory, &t.font.set, rect_t{0, 0, 200, 40}, 0, c.scroll_y, nullptr);
        while (layout_pass_start(&t.layout)) {
            if (layout_pass_ready(&t.layout, 0)) continue;
            layout_set_flags(&t.layout, layout_flag_no_vertical_bar);
            layout_set_wrap(&t.layout, 0, 100, layout_wrap_eat_space);
            layout_string_p(&t.layout, (const u8*)first.data(), first.size());
            layout_push_colour(&t.layout, red);
            layout_string_p(&t.layout, (const u8*)second.data(), second.size());
            layout_pop_colour(&t.layout);
            layout_set_font(&t.layout, 3);
            layout_new_line(&t.layout);
            layout_string_p(&t.layout, (const u8*)third.data(), third.size());
            layout_finish(&t.layout);
        }
        panel_draw_items(&t.app, nullptr, &t.layout);
        EXPECT_EQ(t.drawn(), c.drawn) << "scroll " << c.scroll_y;
    }
}

TEST(PanelDrawDeath, ALayoutStillInItsPassesTraps) {
    panel_draw_test_t t;
    layout_create(&t.layout, &t.memory, &t.font.set, rect_t{0, 0, 200, 60}, 0, 0, nullptr);
    layout_pass_start(&t.layout);
    layout_finish(&t.layout);
    EXPECT_DEATH(panel_draw_items(&t.app, nullptr, &t.layout), "");
}

}  // namespace
