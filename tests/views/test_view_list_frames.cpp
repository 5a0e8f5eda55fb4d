// The feed list in whole frames of the headless program: what it draws, and the
// mouse and keys acting on it through the real input path.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>

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
        const char* names[2] = {"feeds/EMarley.rss", "feeds/zones.rss"};
        for (u32 i = 0; i < 2; i++) {
            std::string document = read_test_file(names[i]);
            std::string address = std::string("http://example.test/") + names[i];
            u32 error = 0;
            feeds[i] = reader_merge_document(&program.app.scratch, &program.reader,
                                             data_from_size(document.size(), document.data()),
                                             data_from_size(address.size(), address.data()), nullptr, &error);
            ASSERT_NE(feeds[i], nullptr);
            reader_ensure_meta(&program.reader, feeds[i]);
            reader_sort_feed(&program.reader, feeds[i]);
            data_clear(&program.app.scratch);
        }
        program.panel.generation_min = program.panel.generation_max = program.reader.generation;
        program.panel.right_panel = panel_right_selection;
        frame();
    }
    const batch_command_t* drawn_starting(const std::string& text) {
        batch_t* b = gl_batch(&program.render, program.draw.text[draw_layer_normal]);
        for (u32 i = 0; i < b->command_count; i++) {
            const batch_command_t* c = &b->commands[i];
            if (c->kind != batch_type_text) continue;
            if (std::string((char*)b->text.bytes + c->text_offset, c->text_length).rfind(text, 0) == 0) return c;
        }
        return nullptr;
    }
    entry_t* entry_at_first_feed() {
        for (u32 i = 0; i < program.reader.entries.max_entry_count; i++) {
            entry_t* e = (entry_t*)pool_at(&program.reader.entries, sizeof(entry_t), i);
            if (entry_is_alive(e) && e->feed_id == feeds[0]->id) return e;
        }
        return nullptr;
    }
    std::string title(data_t text, u64 length) { return to_string(text).substr(0, length); }
};

TEST_F(ListFrames, FeedsAndEntriesAreDrawnAndAPressSelects) {
    std::string feed_title_start = title(feed_title(feeds[0]), 6);
    ASSERT_NE(drawn_starting(feed_title_start), nullptr) << feed_title_start;
    entry_t* second = nullptr;
    for (u32 i = 0, seen = 0; i < program.reader.entries.max_entry_count; i++) {
        entry_t* e = (entry_t*)pool_at(&program.reader.entries, sizeof(entry_t), i);
        if (entry_is_alive(e) && e->feed_id == feeds[0]->id && seen++ == 1) {
            second = e;
            break;
        }
    }
    ASSERT_NE(second, nullptr);
    const batch_command_t* row = drawn_starting(title(entry_title(second), 6));
    ASSERT_NE(row, nullptr);

    // The press alone selects: the release comes a frame later.
    program.window.mouse_x = (i32)row->x + 4, program.window.mouse_y = (i32)row->y + 2;
    frame();
    input_button(&program.window, key_mouse_left, true, (i32)row->x + 4, (i32)row->y + 2, 0, 1);
    frame();
    EXPECT_EQ(program.panel.selected_feed, feeds[0]);
    EXPECT_EQ(program.panel.selected_entry, second);
    input_button(&program.window, key_mouse_left, false, (i32)row->x + 4, (i32)row->y + 2, 0, 2);
    frame();

    // Delete under "Both" shows the label; the selection moved on.
    program.panel.deleted_filter = 2;
    tap(key_delete);
    EXPECT_TRUE(entry_is_deleted(second));
    frame();
    EXPECT_NE(drawn_starting("[Deleted] " + title(entry_title(second), 6)), nullptr);
}

TEST_F(ListFrames, AnUpdatingFeedSaysSoAndTheBarKeysMoveTheRange) {
    program.queries[3].state = query_state_queued;
    program.queries[3].feed_id = feeds[1]->id;
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
}

TEST_F(ListFrames, TheFeedViewsButtonRestoresEveryEntry) {
    tap(key_page_down);
    tap(key_page_up);  // back to the first feed, then to it alone
    program.panel.selected_entry = nullptr;
    frame();
    // One entry deleted by itself comes back with the feed too.
    entry_mark_deleted(entry_at_first_feed());
    const batch_command_t* button = drawn_starting("Delete feed");
    ASSERT_NE(button, nullptr);
    f32 x = button->x + 4, y = button->y + 2;
    for (u32 round = 0; round < 2; round++) {
        program.window.mouse_x = (i32)x, program.window.mouse_y = (i32)y;
        frame();
        input_button(&program.window, key_mouse_left, true, (i32)x, (i32)y, 0, 1);
        frame();
        input_button(&program.window, key_mouse_left, false, (i32)x, (i32)y, 0, 2);
        frame();
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
}

}  // namespace
