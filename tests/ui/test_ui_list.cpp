// The drop-down and the list box, frame after frame.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "ui/ui_button.h"
#include "ui/ui_harness.h"
#include "ui/ui_list.h"
#include "ui/ui_scroll_bar.h"

namespace {

struct list_fixture_t {
    ui_harness_t h;
    std::vector<std::string> names;
    std::vector<data_t> items;
    u64 selected = 0;
    pair_t id = pair_from_value((u64)0xD0D0);
    rect_t field = {100, 300, 250, 324};
    f32 row = 0;

    explicit list_fixture_t(u32 count = 5, i32 height = 480) : h(640, height) {
        static const char* const words[] = {"One", "Two", "Three", "Four", "Five"};
        for (u32 i = 0; i < count; i++) names.push_back(i < 5 ? words[i] : "Item " + std::to_string(i));
        for (auto& n : names) items.push_back(data_from_size(n.size(), n.data()));
        row = ui_list_row_height(&h.ui, 0);
    }
    void frame(const std::function<void()>& more = [] {}) {
        h.frame([&] {
            ui_drop_down(&h.ui, id, field, items.data(), items.size(), &selected, 0);
            more();
        });
    }
    pair_t list() { return pair_push(id, -1); }
    bool open() { return pair_starts_with(h.ui.active, id); }
    // The middle of a row of the open list, from the modal rectangle.
    void move_to_row(u64 r) {
        rect_t l = h.ui.modal_rect;
        h.move(l.x0 + 20, l.y1 - 3 - (f32)r * row - row / 2);
    }
    void click(const std::function<void()>& more = [] {}) {
        h.press();
        frame(more);
        h.release();
        frame(more);
    }
};

TEST(UiDropDown, TheOpeningClickChoosesNothingAndARowClickChoosesAndCloses) {
    list_fixture_t f;
    f.selected = 1;
    f.h.move(175, 312);
    f.h.press();
    f.frame();
    EXPECT_TRUE(f.open());
    EXPECT_TRUE(f.h.ui.modal_on);
    EXPECT_EQ(f.h.ui.modal_rect.y1, 299);  // below the field, a pixel apart
    EXPECT_GT(f.h.commands(f.h.overlay_rectangles), 5u);  // the list lies over everything
    EXPECT_EQ(f.h.all_text(f.h.overlay_text), "One|Two|Three|Four|Five");
    f.h.release();
    f.frame();
    EXPECT_TRUE(f.open());
    EXPECT_EQ(f.selected, 1u);
    // Hovering a row lights it; a click chooses it and closes the list.
    f.move_to_row(3);
    f.frame();
    EXPECT_TRUE(ui_is_hot(&f.h.ui, pair_push(f.list(), 4)));
    f.click();
    EXPECT_EQ(f.selected, 3u);
    EXPECT_FALSE(f.open());
    EXPECT_FALSE(f.h.ui.modal_on);
    EXPECT_EQ(f.h.quads(f.h.overlay_rectangles), 0u);
    EXPECT_EQ(f.h.text_of(f.h.text, 0), "Four");
}

TEST(UiDropDown, AClickOnTheOpenFieldClosesWithoutChoosing) {
    list_fixture_t f;
    f.selected = 2;
    f.h.move(175, 312);
    f.click();
    ASSERT_TRUE(f.open());
    f.move_to_row(0);
    f.frame();
    f.h.move(175, 312);
    f.click();
    EXPECT_FALSE(f.open());
    EXPECT_FALSE(f.h.ui.modal_on);
    EXPECT_EQ(f.selected, 2u);
}

TEST(UiDropDown, AtTheWindowsBottomItOpensUpward) {
    list_fixture_t f;
    f.field = rect_t{100, 10, 250, 34};
    f.h.move(175, 20);
    f.click();
    ASSERT_TRUE(f.open());
    EXPECT_EQ(f.h.ui.modal_rect.y0, 35);
    EXPECT_EQ(f.h.ui.modal_rect.y1, 35 + ui_list_size(&f.h.ui, 0, 150, 5).height);
    f.move_to_row(0);
    f.click();
    EXPECT_EQ(f.selected, 0u);
    EXPECT_FALSE(f.open());
}

TEST(UiDropDown, ThePressThatClosesItReachesNoOtherWidget) {
    list_fixture_t f;
    pair_t under = UI_ID(), beside = UI_ID();
    rect_t under_rect = {110, 250, 200, 270};   // covered by the open list
    rect_t beside_rect = {400, 250, 500, 270};  // clear of it
    u32 clicks = 0;
    auto buttons = [&] {
        clicks += ui_button(&f.h.ui, under, under_rect, data_literal("Under"), 0);
        clicks += ui_button(&f.h.ui, beside, beside_rect, data_literal("Beside"), 0);
    };
    f.h.move(175, 312);
    f.click(buttons);
    f.h.move(150, 260);
    f.frame(buttons);
    EXPECT_FALSE(ui_is_hot(&f.h.ui, under));  // shielded by the list
    f.h.move(450, 260);
    f.h.press();
    f.frame(buttons);
    EXPECT_FALSE(f.open());
    EXPECT_FALSE(f.h.ui.modal_on);
    EXPECT_FALSE(ui_any_active(&f.h.ui));
    f.h.release();
    f.frame(buttons);
    EXPECT_EQ(clicks, 0u);
    f.click(buttons);  // the next click works again
    EXPECT_EQ(clicks, 1u);
}

TEST(UiDropDown, ARowPressedOutsideThePanelsClipKeepsTheMouse) {
    list_fixture_t f;
    auto content = [&] {
        ui_set_clip(&f.h.ui, rect_t{0, 280, 640, 480});  // the panel holds the field, not the list
        ui_drop_down(&f.h.ui, f.id, f.field, f.items.data(), f.items.size(), &f.selected, 0);
    };
    auto frame = [&] { f.h.frame(content); };
    f.h.move(175, 312);
    f.h.click(content);
    f.move_to_row(1);
    f.h.press();
    frame();
    EXPECT_TRUE(ui_is_active(&f.h.ui, pair_push(f.list(), 2)));
    f.h.move(600, 20);  // far away, still held
    frame();
    EXPECT_TRUE(ui_is_active(&f.h.ui, pair_push(f.list(), 2)));
    f.move_to_row(4);
    f.h.release();
    frame();
    EXPECT_EQ(f.selected, 4u);
    EXPECT_FALSE(f.open());
}

TEST(UiDropDown, KeysMoveTheHighlightAndReturnChooses) {
    list_fixture_t f;
    f.selected = 3;
    f.h.move(175, 312);
    f.click();
    struct {
        u32 key;
        u64 selected;
        bool open;
    } steps[] = {
        {key_down, 3, true}, {key_down, 3, true},  // stops at the last row
        {key_up, 3, true},   {key_up, 3, true},   {key_up, 3, true}, {key_return, 1, false},
    };
    for (auto& s : steps) {
        f.h.key(s.key, true);
        f.frame();
        f.h.key(s.key, false);
        f.frame();
        EXPECT_EQ(f.selected, s.selected);
        EXPECT_EQ(f.open(), s.open);
    }
}

TEST(UiDropDown, ALongListIsCutToTheWindowAndOpensOnTheChosenRow) {
    list_fixture_t f(60, 480);
    f.selected = 40;
    f.field = rect_t{100, 200, 250, 224};
    f.h.move(175, 212);
    f.click();
    ASSERT_TRUE(f.open());
    rect_t list = f.h.ui.modal_rect;
    EXPECT_EQ(list.y0, 225);  // more room above than below
    EXPECT_EQ(list.y1, 480);
    // The chosen row in the middle: half the rows that show above it.
    f64 view = 255 - 6;
    f64 scroll = (40 - floor(view / f.row / 2)) * f.row;
    EXPECT_EQ(f.h.text_of(f.h.overlay_text, 0), "Item " + std::to_string((int)(scroll / f.row)));
    EXPECT_NE(f.h.all_text(f.h.overlay_text).find("Item 40"), std::string::npos);
    // The wheel moves three rows, so that the view's bottom lands on a row.
    f.move_to_row(0);
    f.h.window.wheel = -1;
    f.frame();
    scroll = (floor((scroll + view) / f.row) + 3) * f.row - view;
    EXPECT_EQ(f.h.text_of(f.h.overlay_text, 0), "Item " + std::to_string((int)(scroll / f.row)));
}

TEST(UiListBox, AClickChoosesAndTheWheelScrolls) {
    list_fixture_t f(30);
    pair_t id = UI_ID();
    rect_t rect = {10, 10, 210, 110};
    u32 chosen = 0;
    auto content = [&] { chosen += ui_list_box(&f.h.ui, id, rect, f.items.data(), f.items.size(), &f.selected, 0); };
    auto frame = [&] { f.h.frame(content); };
    frame();
    EXPECT_EQ(f.h.text_of(f.h.text, 0), "One");
    f.h.move(50, 60);
    f.h.window.wheel = -1;
    frame();
    // Rows show between 13 and 107: a view of 94.
    f64 scroll = step_up(0, 94, f.row, 30 * f.row - 94, 3);
    EXPECT_EQ(f.h.text_of(f.h.text, 0), f.names[(u64)(scroll / f.row)]);
    f32 y = 97;
    f.h.move(50, y);
    f.h.click(content);
    EXPECT_EQ(chosen, 1u);
    EXPECT_EQ(f.selected, (u64)((107 + scroll - y) / f.row));
    EXPECT_FALSE(ui_any_active(&f.h.ui));
    // Its bar gives the mouse back to the list, which lets it go.
    f.h.move(200, 105);
    f.h.click(content);
    EXPECT_FALSE(ui_any_active(&f.h.ui));
}

TEST(UiDropDown, WithoutARecordItDrawsItsFrameAndDoesNothing) {
    ui_harness_t h(640, 480, sizeof(ui_widget_state_t));
    data_t items[2] = {data_literal("a"), data_literal("b")};
    u64 selected = 0;
    pair_t taken = UI_ID(), id = UI_ID();
    ui_widget_state(&h.ui, taken);
    h.move(175, 312);
    h.press();
    h.frame([&] { ui_drop_down(&h.ui, id, rect_t{100, 300, 250, 324}, items, 2, &selected, 0); });
    EXPECT_FALSE(ui_any_active(&h.ui));
    EXPECT_EQ(h.quads(h.rectangles), 2u);
    EXPECT_EQ(h.commands(h.text), 0u);
}

}  // namespace

namespace {

// A window so low that the open list is cut to a sliver: its bar's parts stay inside
// the modal region, and nothing stops.
TEST(UiDropDown, AListCutToASliverStillWorks) {
    for (i32 height : {60, 64, 70, 80}) {
        list_fixture_t f(40, height);
        f32 middle = (f32)(height / 2);
        f.field = rect_t{100, middle - 10, 250, middle + 10};
        f.h.move(175, (f32)height / 2);
        f.click();
        for (f32 y = 0; y < (f32)height; y += 3) {
            f.h.move(245, y);
            f.click();
            f.h.window.wheel = -1;
            f.frame();
        }
    }
}

}  // namespace
