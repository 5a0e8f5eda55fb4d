// The feed list in whole frames of the headless program: what it draws, and the
// mouse and keys acting on it through the real input path.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "app/startup.h"
#include "views/program_frames.h"
#include "store/feed_merge.h"
#include "store/store_support.h"
#include "views/view_list.h"

namespace {

class ListFrames : public ProgramFrames {
protected:
    feed_t* feeds[2] = {};

    void SetUp() override {
        start(1280, 720);
        merge_corpus({"feeds/EMarley.rss", "feeds/zones.rss"}, feeds);
        frame();
    }
    std::string title(data_t text, u64 length) { return to_string(text).substr(0, length); }
    // The colours of the queued rectangles that hold the point, smallest first.
    std::vector<u32> colours_under(f32 x, f32 y) {
        batch_t* b = gl_batch(&program.render, program.draw.rectangles[draw_layer_normal]);
        std::vector<std::pair<f32, u32>> found;
        for (u32 i = 0; i < b->command_count; i++) {
            const batch_command_t* c = &b->commands[i];
            if (c->kind != batch_type_quads || x < c->rect.x0 || x >= c->rect.x1 || y < c->rect.y0 || y >= c->rect.y1) continue;
            found.push_back({rect_width(c->rect) * rect_height(c->rect), c->colour});
        }
        std::sort(found.begin(), found.end());
        std::vector<u32> colours;
        for (auto& f : found) colours.push_back(f.second);
        return colours;
    }
};

TEST_F(ListFrames, FeedsAndEntriesAreDrawnAndAPressSelects) {
    std::string feed_title_start = title(feed_title(feeds[0]), 6);
    ASSERT_NE(drawn_starting(feed_title_start), nullptr) << feed_title_start;
    entry_t* second = entry_of(feeds[0], 1);
    ASSERT_NE(second, nullptr);
    const batch_command_t* row = drawn_starting(title(entry_title(second), 6));
    ASSERT_NE(row, nullptr);

    // The second feed's entry is selected; a press on the first feed's row, drawn
    // before the press was seen, still shows the new selection in the same frame.
    entry_t* other = entry_of(feeds[1], 0);
    program.panel.selected_feed = feeds[1];
    program.panel.selected_entry = other;
    i32 x = (i32)row->x + 4, y = (i32)row->y + 2;
    press(x, y);
    EXPECT_EQ(program.panel.selected_feed, feeds[0]);
    EXPECT_EQ(program.panel.selected_entry, second);
    const u32 entry_colour = color_pack({0.79f, 0.32f, 0, 1}), feed_colour = color_pack({0, 0.48f, 0.8f, 1});
    std::vector<u32> under = colours_under(x, y);
    ASSERT_GE(under.size(), 2u);
    EXPECT_EQ(under[0], entry_colour);
    EXPECT_EQ(under[1], feed_colour);
    const batch_command_t* old_row = drawn_starting(title(entry_title(other), 6));
    ASSERT_NE(old_row, nullptr);
    under = colours_under(old_row->x + 4, old_row->y + 2);
    ASSERT_GE(under.size(), 2u);
    EXPECT_NE(under[0], entry_colour);
    EXPECT_NE(under[1], feed_colour);
    release(x, y);

    // Delete under "Both" shows the label; the selection moved on.
    program.panel.deleted_filter = 2;
    tap(key_delete);
    EXPECT_TRUE(entry_is_deleted(second));
    frame();
    EXPECT_NE(drawn_starting("[Deleted] " + title(entry_title(second), 6)), nullptr);
}

TEST_F(ListFrames, AnUpdatingFeedSaysSoAndTheBarKeysMoveTheRange) {
    query_fill(&program.queries[3], data_t{}, feeds[1]->id);
    frame();
    EXPECT_NE(drawn_starting("Updating\xE2\x80\xA6 " + title(feed_title(feeds[1]), 4)), nullptr);
    program.queries[3].state = query_state_free;

    tap(key_down);
    ASSERT_NE(program.panel.selected_entry, nullptr);
    // A range step with S clears the selection; H shows empty feeds.
    tap(key_letter_s);
    EXPECT_EQ(program.panel.selected_feed, nullptr);
    tap(key_letter_h);
    EXPECT_EQ(program.panel.show_empty, 1u);
    EXPECT_NE(drawn_starting("Show empty"), nullptr);

    // A window made lower than the bars leaves the list no room: no row, no fault.
    program.window.height = 1;
    program.window.resized = 1;
    tap(key_down);
    EXPECT_EQ(drawn_starting(title(feed_title(feeds[0]), 6)), nullptr);
}

TEST_F(ListFrames, TheFeedViewsButtonRestoresEveryEntry) {
    tap(key_page_down);
    tap(key_page_up);  // back to the first feed, then with Shift to it alone
    input_key(&program.window, key_shift, true, 0, 0, 1);
    tap(key_page_up);
    input_key(&program.window, key_shift, false, 0, 0, 2);
    frame();
    ASSERT_EQ(program.panel.selected_feed, feeds[0]);
    ASSERT_EQ(program.panel.selected_entry, nullptr);
    // One entry deleted by itself comes back with the feed too.
    entry_mark_deleted(&program.reader, entry_of(feeds[0], 0));
    const batch_command_t* button = drawn_starting("Delete feed");
    ASSERT_NE(button, nullptr);
    i32 x = (i32)button->x + 4, y = (i32)button->y + 2;
    for (u32 round = 0; round < 2; round++) {
        click_at(x, y);
        EXPECT_EQ(program.panel.frame_requested, 1u);  // the button acts at release
        frame();
        EXPECT_EQ(program.panel.frame_requested, 0u);
        feed_t* feed = program.panel.selected_feed;
        ASSERT_NE(feed, nullptr);
        if (round == 0) {
            EXPECT_TRUE(feed_is_deleted(feed));
            EXPECT_NE(drawn_starting("Restore feed"), nullptr);
        } else {
            EXPECT_FALSE(feed_is_deleted(feed));
            for (u32 i = 0; i < program.reader.entries.max_entry_count; i++) {
                entry_t* e = (entry_t*)pool_at(&program.reader.entries, sizeof(entry_t), i);
                if (entry_is_alive(e) && e->feed_id == feed->id) {
                    EXPECT_FALSE(entry_is_deleted(e));
                }
            }
        }
    }

    // Typing in the address box: H still toggles "Show empty" and its letter goes
    // into the box, while the list's keys wait.
    const batch_command_t* uri = drawn_starting("URI: ");
    ASSERT_NE(uri, nullptr);
    click_at((i32)uri->x + 60, (i32)uri->y + 2);
    u64 typed = program.panel.uri_buffer.used;
    u32 show_empty = program.panel.show_empty;
    input_key(&program.window, key_letter_h, true, 0, 0, 3);
    input_text(&program.window, 'h');
    input_key(&program.window, key_letter_h, false, 0, 0, 4);
    frame();
    EXPECT_NE(program.panel.show_empty, show_empty);
    EXPECT_EQ(program.panel.uri_buffer.used, typed + 1);
    tap(key_down);
    EXPECT_EQ(program.panel.selected_feed, feeds[0]);
    EXPECT_EQ(program.panel.selected_entry, nullptr);
}

}  // namespace
