// The feed view: an address saved as typed, and its options acting on the feed in
// whole frames of the headless program.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/log.h"
#include "log_support.h"
#include "store/store_support.h"
#include "views/program_frames.h"
#include "views/view_feed.h"

namespace {

// The address box's capacity, as the panel's buffer has it.
struct address_box_t {
    u8 bytes[1024];
    data_t typed(const std::string& text) {
        bytes_copy(bytes, text.data(), text.size());
        return data_make(sizeof(bytes), text.size(), bytes);
    }
};

// A longer address is a fresh copy that owns only its own bytes: saved longer
// again it is copied anew, never over the strings stored behind it. With no room
// left the feed keeps its address, and the log panel says so.
TEST(FeedView, SavedAddressesNeverWriteOverOtherStrings) {
    store_fixture_t store;
    reader_t* reader = &store.reader;
    feed_t* feed = store.merge_file("zones.rss");
    ASSERT_NE(feed, nullptr);
    address_box_t box;
    std::string longer = "http://example.test/a/much/longer/address/of/zones.rss";
    feed_save_address(reader, feed, box.typed(longer));
    EXPECT_EQ(to_string(feed->address), longer);
    EXPECT_EQ(feed->address.reserved, longer.size());
    data_t behind = reader_store_string(reader, data_literal("stored behind the address"));

    std::string longest = longer + "?and=more";
    feed_save_address(reader, feed, box.typed(longest));
    EXPECT_EQ(to_string(feed->address), longest);
    EXPECT_EQ(to_string(behind), "stored behind the address");
    u8* copy = feed->address.bytes;
    feed_save_address(reader, feed, box.typed("x"));  // shorter: in place
    EXPECT_EQ(feed->address.bytes, copy);
    EXPECT_EQ(to_string(feed->address), "x");
    feed_save_address(reader, feed, data_t{});
    EXPECT_EQ(feed->address.used, 0u);
    feed_save_address(reader, feed, box.typed("x"));

    // Strings as full as the region takes.
    u64 used = reader->strings.used;
    reader->strings.used = reader_string_region_size - 4;
    // After a line left open by the one before, the report starts a line of its own.
    log_paragraph_start(log_user);
    log_write_c_string(log_user, "An open line");
    u8* mark = log_test_mark(log_user);
    feed_save_address(reader, feed, box.typed(longest + "/past/its/old/room"));
    reader->strings.used = used;
    EXPECT_EQ(to_string(feed->address), "x");
    EXPECT_EQ(log_test_since(log_user, mark),
              "\n\nThe feed's new address was not saved: the store holds no more text.\n");
    reader_check(reader);
}

class FeedViewFrames : public ProgramFrames {
protected:
    feed_t* feeds[2] = {};

    void SetUp() override {
        start(1280, 720);
        merge_corpus({"feeds/EMarley.rss", "feeds/qemu.atom"}, feeds);
    }
    void show(feed_t* feed) {
        program.panel.selected_feed = feed;
        program.panel.selected_entry = nullptr;
        frame();
    }
    // Clicks on the text, as a person does: move there, press, release.
    void click(const std::string& text) {
        const batch_command_t* drawn = drawn_starting(text);
        ASSERT_NE(drawn, nullptr) << text;
        click_at((i32)drawn->x + 4, (i32)drawn->y + 2);
    }
    std::vector<u64> dates(feed_t* feed) {
        std::vector<u64> found;
        for (u32 i = 0; entry_t* e = entry_of(feed, i); i++) found.push_back(date_to_number(e->rss.pub_date));
        return found;
    }
};

// The sort option resorts at once and asks for a frame; the enclosure options
// only set their bits. An Atom feed has no enclosures to offer.
TEST_F(FeedViewFrames, OptionsActOnTheFeedAndOnlyTheSortAsksForAFrame) {
    show(feeds[1]);
    EXPECT_NE(drawn_starting("Sort oldest to newest entries."), nullptr);
    EXPECT_EQ(drawn_starting("Hide enclosure."), nullptr);
    EXPECT_EQ(drawn_starting("Draw enclosure image."), nullptr);

    show(feeds[0]);
    feed_meta_t* meta = reader_find_meta(&program.reader, feeds[0]->id);
    std::vector<u64> newest_first = dates(feeds[0]);
    ASSERT_GE(newest_first.size(), 3u);
    ASSERT_LT(newest_first.back(), newest_first.front());

    click("Sort oldest to newest entries.");
    EXPECT_EQ(meta->flags, (u32)feed_meta_oldest_first);
    EXPECT_EQ(program.panel.frame_requested, 1u);
    std::vector<u64> oldest_first = dates(feeds[0]);
    EXPECT_LT(oldest_first.front(), oldest_first.back());
    frame();
    EXPECT_EQ(program.panel.frame_requested, 0u);

    click("Hide enclosure.");
    click("Draw enclosure image.");
    EXPECT_EQ(meta->flags, (u32)feed_meta_oldest_first | 2u | 4u);
    EXPECT_EQ(program.panel.frame_requested, 0u);
    EXPECT_EQ(dates(feeds[0]).front(), oldest_first.front());
}

// The drop-down lists the link targets by name, and a pick stores the chosen
// target.
TEST_F(FeedViewFrames, TheDropDownStoresTheChosenLinkTarget) {
    static char name[] = "Reader at home";
    program.reader.link_targets[3].name = data_make(sizeof(name) - 1, sizeof(name) - 1, name);
    show(feeds[0]);
    feed_meta_t* meta = reader_find_meta(&program.reader, feeds[0]->id);
    EXPECT_EQ(feed_target_row(&program.reader, meta), 0u);
    EXPECT_EQ(drawn_starting(name), nullptr);
    const batch_command_t* label = drawn_starting("Executable: ");
    ASSERT_NE(label, nullptr);
    click_at((i32)label->x + 200, (i32)label->y + 2);
    click(name);
    EXPECT_EQ(meta->link_target, &program.reader.link_targets[3]);
    frame();
    EXPECT_NE(drawn_starting(name), nullptr);  // the field shows the pick
    program.reader.link_targets[3].name = data_t{};
}

// A key that shows another panel while the list is open closes it: the mouse
// is free again for the rest of the window.
TEST_F(FeedViewFrames, AnotherPanelLetsGoOfTheMouse) {
    show(feeds[0]);
    const batch_command_t* label = drawn_starting("Executable: ");
    ASSERT_NE(label, nullptr);
    click_at((i32)label->x + 200, (i32)label->y + 2);
    ASSERT_TRUE(program.ui.modal_on);
    tap(key_f3);
    EXPECT_EQ(program.panel.right_panel, (u32)panel_right_links);
    click("Help (F1)");
    EXPECT_EQ(program.panel.right_panel, (u32)panel_right_help);
    EXPECT_FALSE(program.ui.modal_on);

    // So does a button pressed when the key comes, whose release nobody sees.
    program.panel.right_panel = panel_right_selection;
    show(feeds[0]);
    const batch_command_t* button = drawn_starting("Delete feed");
    ASSERT_NE(button, nullptr);
    i32 x = (i32)button->x + 4, y = (i32)button->y + 2;
    press(x, y);
    tap(key_f3);
    release(x, y);
    EXPECT_FALSE(feed_is_deleted(feeds[0]));
    click("Help (F1)");
    EXPECT_EQ(program.panel.right_panel, (u32)panel_right_help);

    // And an arrow of the links panel's scroll bar.
    tap(key_f3);
    press(1270, 668);
    ASSERT_EQ(program.ui.active_kind, (u32)ui_kind_scroll_part);
    tap(key_f7);
    release(1270, 668);
    click("Help (F1)");
    EXPECT_EQ(program.panel.right_panel, (u32)panel_right_help);
}

// In a window too low for the whole view the wheel scrolls it, and the button
// that was out of reach can be clicked.
TEST_F(FeedViewFrames, AViewLowerThanItsContentScrollsTheButtonIntoReach) {
    program.window.height = 120;
    program.window.resized = 1;
    show(feeds[0]);
    show(feeds[0]);
    const batch_command_t* uri = drawn_starting("URI: ");
    ASSERT_NE(uri, nullptr);
    i32 x = (i32)uri->x + 200, y = (i32)uri->y + 2;
    for (u32 notch = 0; notch < 10; notch++) {
        program.window.mouse_x = x, program.window.mouse_y = y;
        program.window.wheel = -1;
        frame();
    }
    EXPECT_GT(program.panel.entry_scroll.y, 0.0f);
    click("Delete feed");
    EXPECT_TRUE(feed_is_deleted(feeds[0]));
}

}  // namespace
