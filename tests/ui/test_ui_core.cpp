// Ids, claims, the hit test with its modal region, widget records, the half-passes,
// the splitter and the cursor.
#include <gtest/gtest.h>

#include <cstring>

#include "base/log.h"
#include "ui/ui_harness.h"

namespace {

pair_t id_of(std::initializer_list<i64> parts) {
    pair_t p = {};
    u32 i = 0;
    for (i64 part : parts) p.parts[i++] = (u64)part;
    return p;
}

TEST(Pair, Relations) {
    pair_t a = id_of({7});
    pair_t a1 = id_of({7, 1});
    pair_t a2 = id_of({7, 2});
    pair_t a11 = id_of({7, 1, 1});
    pair_t b1 = id_of({8, 1});
    struct {
        pair_t x, y;
        bool starts, child, sibling;
    } cases[] = {
        {a, a, true, false, true},       {a1, a, true, false, false},  {a, a1, false, true, false},
        {a1, a2, false, false, true},    {a11, a, true, false, false}, {a, a11, false, false, false},
        {a1, b1, false, false, false},    {a2, a2, true, false, true},  {a, pair_t{}, false, false, false},
        {pair_t{}, pair_t{}, false, false, false},
    };
    for (auto& c : cases) {
        EXPECT_EQ(pair_starts_with(c.x, c.y), c.starts);
        EXPECT_EQ(pair_is_child(c.x, c.y), c.child);
        EXPECT_EQ(pair_is_sibling(c.x, c.y), c.sibling);
    }
    EXPECT_TRUE(pair_equal(pair_parent(pair_push(a1, 1)), a1));
    EXPECT_TRUE(pair_is_empty(pair_parent(a)));
    // Call-site ids: equal for one site in every frame, different between sites.
    pair_t sites[3];
    for (int i = 0; i < 2; i++) sites[i] = UI_ID();
    sites[2] = UI_ID();
    EXPECT_TRUE(pair_equal(sites[0], sites[1]));
    EXPECT_FALSE(pair_equal(sites[0], sites[2]));
    EXPECT_FALSE(pair_is_empty(sites[2]));
}

// A minimal widget in the shape of the button's logic.
u32 clickable(ui_t* ui, pair_t id, rect_t rect) {
    if (ui_hit_test(ui, id, rect)) ui_hot_take(ui, id);
    u32 clicked = 0;
    if (ui_is_active(ui, id)) {
        if (input_released(&ui->input, key_mouse_left)) {
            clicked = ui_is_hot(ui, id);
            ui_active_clear(ui);
        }
    } else if (ui_is_hot(ui, id) && input_pressed(&ui->input, key_mouse_left)) {
        ui_active_take(ui, id, ui_kind_button);
    }
    return clicked;
}

TEST(UiClaims, NoHotForOthersWhileActiveNorInTheReleaseFrame) {
    ui_harness_t h;
    pair_t a = id_of({1}), b = id_of({2});
    rect_t ra = {0, 0, 100, 100}, rb = {100, 0, 200, 100};
    bool b_hot = false;
    auto both = [&] {
        clickable(&h.ui, a, ra);
        clickable(&h.ui, b, rb);
        b_hot = ui_is_hot(&h.ui, b);
    };
    h.move(50, 50);
    h.press();
    h.frame(both);
    EXPECT_TRUE(ui_is_active(&h.ui, a));
    h.move(150, 50);
    h.frame(both);
    EXPECT_FALSE(b_hot);  // a holds the mouse
    h.release();
    h.frame(both);
    EXPECT_FALSE(ui_any_active(&h.ui));
    EXPECT_FALSE(b_hot);  // active changed hands in this frame
    h.frame(both);
    EXPECT_TRUE(b_hot);
}

TEST(UiClaims, TransferOpensAndCloses) {
    ui_harness_t h;
    pair_t field = id_of({5});
    h.frame([&] {
        ui_hot_force(&h.ui, field);
        EXPECT_EQ(ui_active_transfer(&h.ui, field, ui_kind_drop_down), 1u);
        EXPECT_EQ(h.ui.active_kind, (u32)ui_kind_drop_down);
        // A row of its list holds the claim; the field's press still closes.
        ui_active_force(&h.ui, pair_push(pair_push(field, -1), 3), ui_kind_list_box);
        EXPECT_EQ(ui_active_transfer(&h.ui, field, ui_kind_drop_down), 0u);
        EXPECT_FALSE(ui_any_active(&h.ui));
        EXPECT_EQ(h.ui.active_kind, 0u);
    });
}

TEST(UiClaimsDeathTest, ClaimsThatWereNotEarnedTrap) {
    ui_harness_t h;
    pair_t a = id_of({1}), b = id_of({2});
    h.frame();
    // Active held by another, non-weak widget.
    EXPECT_DEATH(
        {
            ui_active_force(&h.ui, a, ui_kind_button);
            ui_hot_force(&h.ui, b);
            ui_active_take(&h.ui, b, ui_kind_button);
        },
        "");
    EXPECT_DEATH(
        {
            ui_active_force(&h.ui, a, ui_kind_button);
            ui_hot_force(&h.ui, b);
            ui_active_transfer(&h.ui, b, ui_kind_drop_down);
        },
        "");
    EXPECT_DEATH(ui_active_transfer(&h.ui, b, 15), "");
    EXPECT_DEATH(ui_hot_take(&h.ui, pair_t{}), "");
    // Not hot: no claim, no trap.
    EXPECT_EQ(ui_active_take(&h.ui, b, ui_kind_button), 0u);
}

TEST(UiHitTest, ClipAndModalRegion) {
    ui_harness_t h;
    pair_t list = id_of({9, -1});
    pair_t row = pair_push(list, 2);
    pair_t under = id_of({3});
    rect_t modal = {100, 100, 200, 300};
    h.frame([&] {
        ui_set_clip(&h.ui, rect_t{0, 0, 150, 150});
        f32 inside_clip[2] = {120, 120}, outside_clip[2] = {180, 250}, edge[2] = {150, 120};
        EXPECT_TRUE(ui_hit_test(&h.ui, under, rect_t{100, 100, 200, 200}, inside_clip));
        EXPECT_FALSE(ui_hit_test(&h.ui, under, rect_t{100, 100, 200, 300}, outside_clip));
        EXPECT_FALSE(ui_hit_test(&h.ui, under, rect_t{100, 100, 200, 200}, edge));  // x1 is exclusive
        ui_modal_begin(&h.ui, list, modal);
        // The region's rows escape the panel's clip; what lies under it is shielded.
        EXPECT_TRUE(ui_hit_test(&h.ui, row, rect_t{100, 200, 200, 300}, outside_clip));
        EXPECT_FALSE(ui_hit_test(&h.ui, under, rect_t{100, 100, 200, 200}, inside_clip));
        EXPECT_TRUE(ui_modal_contains(&h.ui, row));
        EXPECT_FALSE(ui_modal_contains(&h.ui, under));
        ui_modal_begin(&h.ui, list, rect_t{100, 100, 200, 310});  // the same id moves it
        ui_modal_end(&h.ui);
        EXPECT_TRUE(ui_hit_test(&h.ui, under, rect_t{100, 100, 200, 200}, inside_clip));
    });
}

TEST(UiHitTestDeathTest, ModalMisuseTraps) {
    ui_harness_t h;
    h.frame();
    EXPECT_DEATH(ui_modal_end(&h.ui), "");
    EXPECT_DEATH(
        {
            ui_modal_begin(&h.ui, id_of({1}), rect_t{0, 0, 10, 10});
            ui_modal_begin(&h.ui, id_of({2}), rect_t{0, 0, 10, 10});
        },
        "");
    f32 mouse[2] = {5, 5};
    EXPECT_DEATH(
        {
            ui_modal_begin(&h.ui, id_of({1}), rect_t{0, 0, 10, 10});
            ui_hit_test(&h.ui, id_of({1, 1}), rect_t{0, 0, 20, 10}, mouse);
        },
        "");
}

TEST(UiWidgetState, ExactIdsEmptyRecordsAndAFullMemory) {
    u64 room = sizeof(ui_widget_state_t) * 3;
    ui_harness_t h(640, 480, room);
    ui_t* ui = &h.ui;
    ui_widget_state_t* a = ui_widget_state(ui, id_of({1}));
    ui_widget_state_t* b = ui_widget_state(ui, id_of({2}));
    ASSERT_TRUE(a && b);
    a->text_box.caret = 5;
    EXPECT_EQ(ui_widget_state(ui, id_of({1})), a);
    EXPECT_EQ(ui_widget_state(ui, id_of({1}))->text_box.caret, 5u);
    // A record whose id was emptied is taken again, zeroed.
    a->id = pair_t{};
    ui_widget_state_t* c = ui_widget_state(ui, id_of({3}));
    EXPECT_EQ(c, a);
    EXPECT_EQ(c->text_box.caret, 0u);
    EXPECT_NE(ui_widget_state(ui, id_of({4})), nullptr);

    log_channel_t* main_log = log_channel(log_main);
    u64 before = main_log->text.used;
    EXPECT_EQ(ui_widget_state(ui, id_of({5})), nullptr);
    EXPECT_EQ(ui_widget_state(ui, id_of({6})), nullptr);
    std::string written((char*)main_log->text.bytes + before, main_log->text.used - before);
    EXPECT_EQ(written, "Widget memory is full: widgets without a record do nothing.\n");
    EXPECT_EQ(ui->widget_state_count, 3u);
}

TEST(UiModes, HalfPassesRunOnlyInTheirMode) {
    ui_harness_t h;
    struct {
        u32 mode;
        bool logic, render;
    } cases[] = {{0, true, true}, {1, true, false}, {2, false, true}, {3, false, false}};
    for (auto& c : cases) {
        ui_set_mode(&h.ui, c.mode);
        u32 saved;
        EXPECT_EQ(ui_half_begin(&h.ui, ui_mode_logic, &saved), c.logic);
        if (c.logic) {
            EXPECT_EQ(h.ui.mode, (u32)ui_mode_logic);
        }
        ui_half_end(&h.ui, saved);
        EXPECT_EQ(h.ui.mode, c.mode);
        EXPECT_EQ(ui_half_begin(&h.ui, ui_mode_render, &saved), c.render);
        ui_half_end(&h.ui, saved);
        EXPECT_EQ(ui_mode_is_live(&h.ui), c.mode < 3);
    }
}

TEST(UiOwners, DuplicatesAndAnEleventhAreDropped) {
    ui_harness_t h;
    for (i64 i = 1; i <= 12; i++) ui_owner_add(&h.ui, id_of({i}));
    ui_owner_add(&h.ui, id_of({1}));
    EXPECT_EQ(h.ui.owner_count, 10u);
    ui_owner_remove(&h.ui, id_of({4}));
    EXPECT_EQ(h.ui.owner_count, 9u);
    h.frame();
    EXPECT_EQ(h.ui.owner_count, 0u);
}

TEST(Splitter, LayoutOfTheWindowsSplit) {
    const f32 a[4] = {2, 2, 2, 4}, b[4] = {2, 2, 4, 2};
    splitter_t v = splitter_make(a, b, 450, 0);
    splitter_layout(&v, rect_t{0, 0, 1280, 700});
    EXPECT_TRUE(rect_equal(v.first, rect_t{2, 2, 452, 698}));
    EXPECT_EQ(v.bar.x0, 452);
    EXPECT_EQ(v.bar.x1, 460);
    EXPECT_EQ(v.second.x0, 460);
    EXPECT_EQ(v.second.x1, 1278);
}

TEST(Splitter, DragsOnlyOnceTheMouseHasPassedAndStopsAtTheLimit) {
    ui_harness_t h(800, 400);
    const f32 pad[4] = {0, 0, 0, 2};
    const f32 pad2[4] = {0, 0, 2, 0};
    splitter_t s = splitter_make(pad, pad2, 100, 0);
    pair_t id = id_of({77});
    rect_t whole = {0, 0, 800, 400};
    const f32 inset[4] = {0, 0, 0, 0};
    auto run = [&] {
        splitter_update(&h.ui, id, &s, whole, 1);
        splitter_draw(&h.ui, id, &s, inset);
    };
    h.move(101, 200);  // on the bar, 100 to 104
    h.frame(run);
    EXPECT_EQ(h.ui.cursor, (u32)ui_cursor_resize_we);
    EXPECT_EQ(h.window.cursor_current, h.window.cursors[ui_cursor_resize_we]);
    h.press();
    h.frame(run);
    h.move(131, 200);
    h.frame(run);
    EXPECT_EQ(s.position, 130);
    // Against the limit the bar stays; back inside it, it only follows once passed.
    h.move(900, 200);
    h.frame(run);
    EXPECT_EQ(s.position, 796);
    h.move(798, 200);  // still right of the bar: no move
    h.frame(run);
    EXPECT_EQ(s.position, 796);
    h.move(700, 200);
    h.frame(run);
    EXPECT_EQ(s.position, 698);
    h.release();
    h.frame(run);
    EXPECT_FALSE(ui_any_active(&h.ui));
}

TEST(UiCursor, OnlyWhileTheMouseIsOverTheWindow) {
    ui_harness_t h(200, 100);
    h.move(50, 50);
    h.frame([&] { h.ui.cursor = ui_cursor_ibeam; });
    EXPECT_EQ(h.window.cursor_current, h.window.cursors[ui_cursor_ibeam]);
    h.move(200, 50);  // x1 is outside
    h.frame([&] { h.ui.cursor = ui_cursor_hand; });
    EXPECT_EQ(h.window.cursor_current, h.window.cursors[ui_cursor_ibeam]);
    h.move(0, 0);
    h.frame();  // frames start with the arrow
    EXPECT_EQ(h.window.cursor_current, h.window.cursors[ui_cursor_arrow]);
}

}  // namespace
