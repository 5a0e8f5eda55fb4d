// The feed list's keyboard, counts, scrolling and generation bar over a store built
// from real feed documents, driven by synthetic key frames.
#include <gtest/gtest.h>

#include <vector>

#include "app/app.h"
#include "net/block_storage.h"
#include "net/queries.h"
#include "platform/window.h"
#include "store/store_support.h"
#include "views/panel.h"
#include "views/links.h"
#include "views/view_list.h"

namespace {

struct list_test_t : ::testing::Test {
    store_fixture_t store;
    reader_t* reader = &store.reader;
    panel_t panel = {};
    app_t app = {};
    std::vector<query_t> queries = std::vector<query_t>(8);
    feed_t* feeds[4] = {};

    list_test_t() {
        app.scratch = data_allocate(MIB(1));
        app.panel = &panel;
        app.queries = queries.data();
        app.query_count = queries.size();
    }
    ~list_test_t() override { data_free(&app.scratch); }

    // Three feeds of generation 1 (10, 9 and 3 entries) and one of one entry in generation 2.
    void build() {
        const char* names[4] = {"EMarley.rss", "donthitsave.xml", "zones.rss", "encoding_latin1.rss"};
        for (u32 i = 0; i < 4; i++) {
            reader->generation = i < 3 ? 1 : 2;
            feeds[i] = store.merge_file(names[i]);
            ASSERT_NE(feeds[i], nullptr) << names[i];
        }
        ASSERT_EQ(feeds[3]->entry_count, 1u);
        panel.generation_min = panel.generation_max = 1;
    }

    entry_t* entry_at(feed_t* feed, u32 index) {
        for (u32 i = 0; i < reader->entries.max_entry_count; i++) {
            entry_t* entry = (entry_t*)pool_at(&reader->entries, sizeof(entry_t), i);
            if (entry_is_alive(entry) && entry->feed_id == feed->id && index-- == 0) return entry;
        }
        return nullptr;
    }
    entry_t* last_entry(feed_t* feed) { return entry_at(feed, feed->entry_count - 1); }

    void press(u32 key, bool shift = false) {
        input_frame_t input = {};
        input.keys[key] = key_set(1, 0, 1);
        if (shift) input.keys[key_shift] = key_set(1, 0, 0);
        list_handle_keys(&app, reader, &input);
    }
    list_counts_t* count() {
        data_clear(&app.scratch);
        return list_count(&app, reader);
    }
    void select(feed_t* feed, entry_t* entry) {
        panel.selected_feed = feed;
        panel.selected_entry = entry;
    }
};

TEST_F(list_test_t, keys_in_an_empty_list_find_nothing) {
    u32 keys[] = {key_up, key_down, key_page_up, key_page_down, key_home, key_end, key_delete, key_return, key_backspace};
    for (u32 key : keys) {
        for (bool shift : {false, true}) {
            press(key, shift);
            EXPECT_EQ(panel.selected_feed, nullptr) << key;
            EXPECT_EQ(panel.selected_entry, nullptr) << key;
        }
    }
    list_counts_t* counts = count();
    EXPECT_EQ(counts->feed_rows, 0u);
    EXPECT_EQ(list_total_height(counts), 0.0f);
    panel.list_scroll = 50;
    list_scroll_update(&panel, counts, 400, 0);
    EXPECT_EQ(panel.list_scroll, 0.0f);
}

TEST_F(list_test_t, up_and_down_walk_entries_across_feeds) {
    build();
    press(key_down);
    EXPECT_EQ(panel.selected_feed, feeds[0]);
    EXPECT_EQ(panel.selected_entry, entry_at(feeds[0], 0));
    EXPECT_EQ(panel.keyboard_moved, 1u);
    EXPECT_EQ(panel.right_panel, (u32)panel_right_selection);

    select(feeds[0], last_entry(feeds[0]));
    press(key_down);
    EXPECT_EQ(panel.selected_feed, feeds[1]);
    EXPECT_EQ(panel.selected_entry, entry_at(feeds[1], 0));
    press(key_up);
    EXPECT_EQ(panel.selected_feed, feeds[0]);
    EXPECT_EQ(panel.selected_entry, last_entry(feeds[0]));

    // At the ends nothing moves.
    select(feeds[2], last_entry(feeds[2]));
    press(key_down);
    EXPECT_EQ(panel.selected_entry, last_entry(feeds[2]));
    select(feeds[0], entry_at(feeds[0], 0));
    press(key_up);
    EXPECT_EQ(panel.selected_entry, entry_at(feeds[0], 0));

    // From a feed alone the arrows go into that same feed.
    select(feeds[1], nullptr);
    press(key_up);
    EXPECT_EQ(panel.selected_feed, feeds[1]);
    EXPECT_EQ(panel.selected_entry, last_entry(feeds[1]));
    select(feeds[1], nullptr);
    press(key_down);
    EXPECT_EQ(panel.selected_entry, entry_at(feeds[1], 0));

    press(key_end);
    EXPECT_EQ(panel.selected_entry, last_entry(feeds[1]));
    press(key_home);
    EXPECT_EQ(panel.selected_entry, entry_at(feeds[1], 0));
}

TEST_F(list_test_t, one_key_a_frame_in_order) {
    build();
    select(feeds[1], entry_at(feeds[1], 3));
    input_frame_t input = {};
    input.keys[key_down] = key_set(1, 0, 1);
    input.keys[key_up] = key_set(1, 0, 1);
    input.keys[key_delete] = key_set(1, 0, 1);
    list_handle_keys(&app, reader, &input);
    EXPECT_EQ(panel.selected_entry, entry_at(feeds[1], 2));
    EXPECT_FALSE(entry_is_deleted(entry_at(feeds[1], 3)));

    // Return and Backspace don't act on repeat alone.
    entry_mark_deleted(reader, entry_at(feeds[1], 2));
    input = {};
    input.keys[key_backspace] = key_set(1, 1, 0);
    list_handle_keys(&app, reader, &input);
    EXPECT_TRUE(entry_is_deleted(entry_at(feeds[1], 2)));
    press(key_backspace);
    EXPECT_FALSE(entry_is_deleted(entry_at(feeds[1], 2)));
}

TEST_F(list_test_t, arrows_ignore_show_empty_and_page_keys_respect_it) {
    build();
    // feeds[3] has no entry in generation 1; with a query running it is still listed.
    panel.show_empty = 1;
    select(feeds[2], last_entry(feeds[2]));
    press(key_down);
    EXPECT_EQ(panel.selected_feed, feeds[2]);
    select(feeds[2], nullptr);
    press(key_page_down);
    EXPECT_EQ(panel.selected_feed, feeds[3]);
    EXPECT_EQ(panel.selected_entry, nullptr);

    panel.show_empty = 0;
    select(feeds[2], nullptr);
    press(key_page_down);
    EXPECT_EQ(panel.selected_feed, feeds[2]);  // nothing after it

    // Shift+PageDown wraps; Shift+PageUp from an entry steps back to its feed.
    press(key_page_down, true);
    EXPECT_EQ(panel.selected_feed, feeds[0]);
    EXPECT_EQ(panel.selected_entry, nullptr);
    select(feeds[1], entry_at(feeds[1], 4));
    press(key_page_up, true);
    EXPECT_EQ(panel.selected_feed, feeds[1]);
    EXPECT_EQ(panel.selected_entry, nullptr);
    select(nullptr, nullptr);
    press(key_page_up);
    EXPECT_EQ(panel.selected_feed, feeds[2]);
    EXPECT_EQ(panel.selected_entry, entry_at(feeds[2], 0));
}

TEST_F(list_test_t, each_filter_lists_updating_and_deleted_feeds) {
    build();
    // feeds[3] has no entry in range but a query runs for it; feeds[1] is deleted.
    query_fill(&queries[5], data_t{}, feeds[3]->id);
    feed_mark_deleted(reader, feeds[1]);
    const u32 listed[3] = {3, 1, 4};
    for (u32 filter = 0; filter < 3; filter++) {
        panel.deleted_filter = filter;
        EXPECT_EQ(count()->feed_rows, listed[filter]) << filter;
    }
    panel.deleted_filter = 0;
    list_counts_t* counts = count();
    EXPECT_EQ(counts->entry_rows, feeds[0]->entry_count + feeds[2]->entry_count);
    EXPECT_EQ(counts->feed_updating[pool_index_of(&reader->feeds, sizeof(feed_t), feeds[3])], 1u);
    EXPECT_EQ(list_total_height(counts), 3 * 26 + 2 * 2 + counts->entry_rows * 20.0f);
    // Navigation knows nothing of queries: Down from the last entry stays.
    select(feeds[2], last_entry(feeds[2]));
    press(key_down);
    EXPECT_EQ(panel.selected_feed, feeds[2]);
}

TEST_F(list_test_t, delete_moves_the_selection_then_destroys) {
    build();
    // The last entry of the last feed goes to the one before it.
    select(feeds[2], last_entry(feeds[2]));
    entry_t* before = entry_at(feeds[2], feeds[2]->entry_count - 2);
    entry_t* gone = panel.selected_entry;
    press(key_delete, true);
    EXPECT_TRUE(entry_is_deleted(gone));
    EXPECT_EQ(panel.selected_entry, before);

    // Under "Both" the deleted entry stays listed; a second Delete destroys it.
    panel.deleted_filter = 2;
    u32 count_before = feeds[2]->entry_count;
    select(feeds[2], gone);
    press(key_delete);
    EXPECT_EQ(feeds[2]->entry_count, count_before - 1);
    EXPECT_EQ(panel.selected_entry, before);

    // The only entry of the list: nothing stays selected.
    panel.deleted_filter = 0;
    panel.generation_min = panel.generation_max = 2;
    select(feeds[3], entry_at(feeds[3], 0));
    press(key_delete);
    EXPECT_EQ(panel.selected_feed, nullptr);
    EXPECT_EQ(panel.selected_entry, nullptr);
}

TEST_F(list_test_t, delete_of_a_feed_needs_shift) {
    build();
    select(feeds[1], nullptr);
    press(key_delete);
    EXPECT_FALSE(feed_is_deleted(feeds[1]));
    EXPECT_EQ(panel.keyboard_moved, 0u);
    EXPECT_EQ(panel.selected_feed, feeds[1]);

    press(key_delete, true);
    EXPECT_TRUE(feed_is_deleted(feeds[1]));
    EXPECT_TRUE(entry_is_deleted(entry_at(feeds[1], 0)));
    EXPECT_EQ(panel.selected_feed, feeds[2]);
    EXPECT_EQ(panel.selected_entry, entry_at(feeds[2], 0));

    // Backspace on one entry of the deleted feed brings the feed back with it alone.
    select(feeds[1], entry_at(feeds[1], 1));
    press(key_backspace);
    EXPECT_FALSE(feed_is_deleted(feeds[1]));
    EXPECT_FALSE(entry_is_deleted(entry_at(feeds[1], 1)));
    EXPECT_TRUE(entry_is_deleted(entry_at(feeds[1], 0)));
    select(feeds[1], nullptr);
    press(key_backspace, true);
    EXPECT_FALSE(entry_is_deleted(entry_at(feeds[1], 0)));
}

TEST_F(list_test_t, counts_follow_the_pools_in_any_slot_order) {
    build();
    // Destroyed entries leave holes in the first feed's run of slots, which the next
    // merge fills with a new feed's entries.
    for (u32 i = 0; i < 3; i++) reader_remove_entry(reader, entry_at(feeds[0], 2), feeds[0]);
    reader->generation = 1;
    feed_t* late = store.merge_file("manton.rss");
    ASSERT_NE(late, nullptr);
    ASSERT_GT(late->entry_count, 3u);

    select(late, last_entry(late));
    panel.keyboard_moved = 1;
    list_counts_t* counts = count();
    u32 rows_before = 0;
    for (feed_t* feed : {feeds[0], feeds[1], feeds[2], late}) {
        u64 slot = pool_index_of(&reader->feeds, sizeof(feed_t), feed);
        EXPECT_EQ(counts->feed_entry_rows[slot], feed->entry_count);
        EXPECT_EQ(counts->feed_first_entry_slot[slot], pool_index_of(&reader->entries, sizeof(entry_t), entry_at(feed, 0)));
        if (feed != late) rows_before += feed->entry_count;
    }
    EXPECT_EQ(counts->entry_rows, rows_before + late->entry_count);
    EXPECT_EQ(counts->selected_entry_row, rows_before + late->entry_count - 1);
    EXPECT_EQ(counts->selected_feed_row, 3u);
    // A deleted entry before the selection is no row; without the keyboard nothing is recorded.
    entry_mark_deleted(reader, entry_at(late, 0));
    EXPECT_EQ(count()->selected_entry_index, late->entry_count - 2);
    panel.keyboard_moved = 0;
    EXPECT_EQ(count()->selected_entry_row, list_not_recorded);
    panel.generation_min = 2;  // a range upside down holds nothing
    EXPECT_EQ(count()->entry_rows, 0u);
    panel.generation_min = 1;

    // A feed whose count disagrees with its entries is a broken store.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    feeds[1]->entry_count++;
    EXPECT_DEATH(count(), "");
    feeds[1]->entry_count--;
}

TEST_F(list_test_t, return_hands_the_entrys_link_to_its_feeds_target) {
    if (!block_storage.memory.bytes) {
        block_storage_create(&block_storage, block_storage_region_size, block_storage_commit_size,
                             block_storage_block_size);
    }
    build();
    reader->generation = 1;
    feed_t* atom = store.merge_file("DaringFireball.atom");
    ASSERT_NE(atom, nullptr);
    entry_t* talk_show = nullptr;
    for (u32 i = 0; i < atom->entry_count && !talk_show; i++) {
        if (to_string(entry_title(entry_at(atom, i))).rfind("The Talk Show: ", 0) == 0) talk_show = entry_at(atom, i);
    }
    ASSERT_NE(talk_show, nullptr);
    // A queueing target keeps what would have opened.
    link_target_t* target = &reader->link_targets[1];
    target->queue_enabled = 1;
    reader_find_meta(reader, feeds[0]->id)->link_target = target;
    reader_find_meta(reader, atom->id)->link_target = target;
    select(feeds[0], entry_at(feeds[0], 0));
    press(key_return);
    EXPECT_EQ(to_string(target->queue), to_string(entry_at(feeds[0], 0)->rss.link));
    link_queue_clear(target);
    // An Atom entry opens its alternate link, not its short or related one.
    select(atom, talk_show);
    press(key_return);
    EXPECT_EQ(to_string(target->queue), "https://daringfireball.net/thetalkshow/2017/06/26/ep-195");
    link_queue_clear(target);
    // With a feed alone Return has nothing to open.
    select(atom, nullptr);
    press(key_return);
    EXPECT_EQ(link_queue_count(target), 0u);
}

TEST_F(list_test_t, a_feed_selection_fills_the_address_box) {
    build();
    panel.right_panel = panel_right_help;
    press(key_page_down, true);
    EXPECT_EQ(panel.right_panel, (u32)panel_right_selection);
    EXPECT_EQ(to_string(panel.uri_buffer), to_string(feeds[0]->address));
}

TEST_F(list_test_t, the_keyboard_keeps_a_margin_and_the_wheel_is_left_alone) {
    build();
    f32 height = 200;
    // Ten entries of the first feed; the ninth row's top lies at 24 + 8 x 20 = 184.
    select(feeds[0], entry_at(feeds[0], 7));
    press(key_down);
    list_counts_t* counts = count();
    ASSERT_EQ(counts->selected_entry_row, 8u);
    list_scroll_update(&panel, counts, height, 0);
    EXPECT_EQ(panel.list_scroll, 184 - height + 20 + 160);

    // Without keyboard movement nothing is recorded and a wheel scroll stays.
    panel.keyboard_moved = 0;
    counts = count();
    EXPECT_EQ(counts->selected_entry_row, list_not_recorded);
    panel.list_scroll = 0;
    list_scroll_update(&panel, counts, height, -2);
    EXPECT_EQ(panel.list_scroll, 120.0f);
    list_scroll_update(&panel, counts, height, 10);
    EXPECT_EQ(panel.list_scroll, 0.0f);
    panel.list_scroll = 1e6f;
    list_scroll_update(&panel, counts, height, 0);
    EXPECT_EQ(panel.list_scroll, list_total_height(counts) - height);
}

TEST_F(list_test_t, generation_buttons_and_the_selection) {
    build();
    reader->generation = 3;  // a run with nothing new
    struct {
        u32 order;
        u32 min_before, max_before;
        u32 min_after, max_after;
        bool keeps;
    } cases[] = {
        {1, 2, 2, 1, 1, false}, {2, 2, 2, 1, 2, true}, {3, 2, 2, 1, 1, false}, {4, 2, 2, 1, 2, false},
        {5, 1, 1, 2, 2, false}, {6, 1, 1, 1, 2, true}, {7, 1, 1, 2, 2, false}, {5, 2, 2, 2, 2, false},
        {6, 1, 2, 1, 2, true},  {2, 1, 1, 1, 1, true},
    };
    for (auto c : cases) {
        panel.generation_min = c.min_before;
        panel.generation_max = c.max_before;
        select(feeds[0], entry_at(feeds[0], 0));
        list_generation_action(&app, reader, c.order);
        EXPECT_EQ(panel.generation_min, c.min_after) << c.order;
        EXPECT_EQ(panel.generation_max, c.max_after) << c.order;
        EXPECT_EQ(panel.selected_feed != nullptr, c.keeps) << c.order;
    }
}

}  // namespace
