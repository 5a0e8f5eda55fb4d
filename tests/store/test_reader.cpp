// The reader's operations on records: filters, soft delete, removal, walks,
// ordering, strings, and the assertions that guard its invariants.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "store_support.h"

namespace {

feed_t* add_feed(reader_t* reader, u32 kind) {
    feed_t* feed = reader_add_feed(reader, kind);
    reader_add_meta(reader, feed->id);
    return feed;
}

entry_t* add_entry(reader_t* reader, feed_t* feed, u32 generation, date_t date) {
    entry_t* entry = reader_new_entry(reader);
    entry->generation = generation;
    if (feed_kind(feed) == record_kind_rss) {
        entry->rss.pub_date = date;
    } else {
        entry->atom.published = date;
        entry->atom.updated = date;
    }
    reader_attach_entry(reader, feed, entry);
    return entry;
}

date_t day(u8 d) { return date_t{2020, 1, d, 0, 0, 0, 0}; }

std::vector<u32> feed_entry_ids(reader_t* reader, feed_t* feed) {
    std::vector<u32> ids;
    for (entry_t* e = feed_first_entry(reader, feed, 0, ~0u, 0, record_deleted_flag); e;
         e = feed_next_entry(reader, feed, e, 0, ~0u, 0, record_deleted_flag)) {
        ids.push_back(e->id);
    }
    return ids;
}

}  // namespace

TEST(Reader, SoftDeleteAndRestore) {
    store_fixture_t store;
    reader_t* reader = &store.reader;
    feed_t* feed = add_feed(reader, record_kind_atom);
    entry_t* a = add_entry(reader, feed, 0, day(1));
    entry_t* b = add_entry(reader, feed, 0, day(2));
    u32 entries_before = reader->entries.entry_count;

    feed_mark_deleted(reader, feed);
    EXPECT_TRUE(feed_is_alive(feed));
    EXPECT_TRUE(entry_is_deleted(a) && entry_is_deleted(b));
    EXPECT_EQ(reader->entries.entry_count, entries_before);
    reader_check(reader);
    // The three views of the left panel.
    EXPECT_EQ(reader_first_feed(reader, true, 0, ~0u, 0, 0, 0, 0), nullptr);
    EXPECT_EQ(reader_first_feed(reader, true, 0, ~0u, record_deleted_flag, 0, record_deleted_flag, 0), feed);
    EXPECT_EQ(reader_first_feed(reader, true, 0, ~0u, 0, record_deleted_flag, 0, record_deleted_flag), feed);

    feed_restore(reader, feed, false);
    EXPECT_FALSE(feed_is_deleted(feed));
    EXPECT_TRUE(entry_is_deleted(a));
    feed_mark_deleted(reader, feed);
    feed_restore(reader, feed, true);
    EXPECT_FALSE(entry_is_deleted(a) || entry_is_deleted(b));

    entry_mark_deleted(reader, a);
    reader_purge_deleted(reader);
    EXPECT_EQ(feed->entry_count, 1u);
    EXPECT_EQ(reader->entries.entry_count, 1u);
    feed_mark_deleted(reader, feed);
    reader_purge_deleted(reader);
    EXPECT_EQ(reader->feeds.entry_count, 0u);
    EXPECT_EQ(reader->metas.entry_count, 0u);
    reader_check(reader);
}

TEST(Reader, RemovingAnAtomEntryReturnsEverySlot) {
    store_fixture_t store;
    std::string document =
        "<feed><author><name>F</name></author><entry><id>1</id><updated>2020-01-01T00:00:00Z</updated>"
        "<author><name>A</name></author><contributor><name>C</name></contributor><category term=\"t\"/>"
        "<category term=\"u\"/><link href=\"1\"/><link href=\"2\"/></entry></feed>";
    feed_t* feed = store.merge(document, "http://example.com/a");
    reader_t* reader = &store.reader;
    ASSERT_EQ(reader->relations.entry_count, 5u);
    ASSERT_EQ(reader->atom_links.entry_count, 2u);
    entry_t* entry = reader_find_entry_by_unique_id(reader, feed->id, data_literal("1"));
    reader_remove_entry(reader, entry, feed);
    EXPECT_EQ(reader->relations.entry_count, 1u);  // the feed's author
    EXPECT_EQ(reader->atom_links.entry_count, 0u);
    EXPECT_EQ(feed->entry_count, 0u);
    EXPECT_EQ(reader->persons.entry_count, 3u);  // people stay until the next clean-up
    reader_remove_unused_persons(reader);
    reader_remove_unused_categories(reader);
    EXPECT_EQ(reader->persons.entry_count, 1u);
    EXPECT_EQ(reader->categories.entry_count, 0u);
    reader_check(reader);
    // A feed whose entries all went keeps its meta.
    EXPECT_TRUE(reader_find_meta(reader, feed->id));
}

TEST(Reader, SortKeepsEqualDatesAndFollowsTheFlag) {
    store_fixture_t store;
    reader_t* reader = &store.reader;
    feed_t* other = add_feed(reader, record_kind_rss);
    feed_t* feed = add_feed(reader, record_kind_rss);
    entry_t* a = add_entry(reader, feed, 0, day(1));
    entry_t* foreign = add_entry(reader, other, 0, day(9));
    add_entry(reader, feed, 0, day(3));
    add_entry(reader, feed, 0, day(2));
    add_entry(reader, feed, 0, day(2));
    u32 a_id = a->id;
    u32 foreign_id = foreign->id;
    reader_sort_feed(reader, feed);
    EXPECT_EQ(feed_entry_ids(reader, feed), (std::vector<u32>{3, 4, 5, a_id}));
    EXPECT_EQ(foreign->id, foreign_id) << "another feed's entry keeps its slot";
    reader_find_meta(reader, feed->id)->flags |= feed_meta_oldest_first;
    reader_sort_feed(reader, feed);
    // An exchange sort: equal dates don't keep their order once others pass them.
    EXPECT_EQ(feed_entry_ids(reader, feed), (std::vector<u32>{a_id, 5, 4, 3}));
    reader_check(reader);

    feed_t* pair = add_feed(reader, record_kind_atom);
    add_entry(reader, pair, 0, day(4));
    add_entry(reader, pair, 0, day(4));
    std::vector<u32> before = feed_entry_ids(reader, pair);
    reader_sort_feed(reader, pair);
    EXPECT_EQ(feed_entry_ids(reader, pair), before);

    // A deleted entry beside live ones takes its place by date like any other.
    entry_t* deleted = add_entry(reader, pair, 0, day(7));
    u32 deleted_id = deleted->id;
    entry_mark_deleted(reader, deleted);
    reader_sort_feed(reader, pair);
    EXPECT_EQ(feed_entry_ids(reader, pair)[0], deleted_id);
    EXPECT_TRUE(entry_is_deleted(reader_find_entry_by_id(reader, pair->id, deleted_id)));
}

TEST(Reader, GenerationWalks) {
    store_fixture_t store;
    reader_t* reader = &store.reader;
    feed_t* feed = add_feed(reader, record_kind_rss);
    reader->generation = 5;
    add_entry(reader, feed, 1, day(1));
    entry_t* deleted = add_entry(reader, feed, 3, day(2));
    entry_mark_deleted(reader, deleted);
    add_entry(reader, feed, 4, day(3));
    EXPECT_EQ(reader_previous_generation(reader, 1, 0, 0), 1u);
    EXPECT_EQ(reader_previous_generation(reader, 4, 0, 0), 1u);
    EXPECT_EQ(reader_previous_generation(reader, 4, 0, record_deleted_flag), 3u);
    EXPECT_EQ(reader_next_generation(reader, 1, 0, 0), 4u);
    EXPECT_EQ(reader_next_generation(reader, 4, 0, 0), 4u);
    EXPECT_TRUE(reader_has_entry_in_range(reader, 2, 3, record_deleted_flag, 0));
    EXPECT_FALSE(reader_has_entry_in_range(reader, 2, 3, 0, 0));
    EXPECT_EQ(feed_last_entry(reader, feed, 0, 5, 0, 0)->generation, 4u);
    // Without entries in range a feed doesn't show unless empty feeds are asked for.
    EXPECT_EQ(reader_first_feed(reader, false, 5, 5, 0, 0, 0, 0), nullptr);
    EXPECT_EQ(reader_first_feed(reader, true, 5, 5, 0, 0, 0, 0), feed);
}

TEST(Reader, StringsCommitAsTheyGrow) {
    store_fixture_t store;
    reader_t* reader = &store.reader;
    std::string text(700 * 1024, 'x');
    data_t first = reader_store_string(reader, data_from_size(text.size(), text.data()));
    EXPECT_EQ(reader->strings.reserved, reader_string_commit_step);
    data_t second = reader_store_string(reader, data_from_size(text.size(), text.data()));
    EXPECT_EQ(reader->strings.reserved, 2 * reader_string_commit_step);
    EXPECT_EQ(second.bytes, first.bytes + text.size());
    EXPECT_EQ(reader->strings.used, 2 * text.size());
    EXPECT_FALSE(reader_reserve_strings(reader, reader_string_region_size));
}

TEST(ReaderDeathTest, BrokenInvariantsStop) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    store_fixture_t store;
    reader_t* reader = &store.reader;
    feed_t* feed = add_feed(reader, record_kind_rss);
    entry_t* entry = add_entry(reader, feed, 0, day(1));
    EXPECT_DEATH(
        {
            feed->entry_count = 2;
            feed_mark_deleted(reader, feed);
        },
        "");
    EXPECT_DEATH(
        {
            reader->generation = 0;
            entry->generation = 7;
            reader_check(reader);
        },
        "");
}

TEST(ReaderDeathTest, RelationWithoutTargetFailsTheCheck) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    store_fixture_t store;
    std::string document =
        "<rss><channel><item><category>c</category><pubDate>Mon, 02 Jan 2006 10:00:00 GMT</pubDate></item>"
        "</channel></rss>";
    store.merge(document, "http://example.com/r");
    reader_check(&store.reader);
    EXPECT_TRUE(reader_is_consistent(&store.reader));
    category_t* category = reader_find_category(&store.reader, 1);
    ASSERT_TRUE(category);
    category->id = 99;
    EXPECT_FALSE(reader_is_consistent(&store.reader));
    EXPECT_DEATH(reader_check(&store.reader), "");
}

// Unused categories go in slot order, so the last one freed is the next one used;
// used ones stay whatever their number.
TEST(Reader, UnusedCategoriesAreReleasedInSlotOrder) {
    store_fixture_t store;
    reader_t* reader = &store.reader;
    std::string document = "<rss><channel><category>feedwide</category>";
    for (int i = 1; i <= 5; i++) {
        document += "<item><guid>" + std::to_string(i) + "</guid><category>c" + std::to_string(i) + "</category></item>";
    }
    document += "</channel></rss>";
    feed_t* feed = store.merge(document, "http://example.com/c");
    ASSERT_EQ(reader->categories.entry_count, 6u);
    for (const char* guid : {"2", "4"}) {
        entry_t* entry = reader_find_entry_by_unique_id(reader, feed->id, data_from_size(1, guid));
        reader_remove_entry(reader, entry, feed);
    }
    EXPECT_EQ(reader->categories.entry_count, 6u);  // they stay until a clean-up
    reader_remove_unused_categories(reader);
    EXPECT_EQ(reader->categories.entry_count, 4u);
    EXPECT_FALSE(reader_find_category(reader, 3));  // c2 was the third category made
    EXPECT_FALSE(reader_find_category(reader, 5));
    EXPECT_TRUE(reader_find_category(reader, 1));
    category_t* next = (category_t*)pool_alloc(&reader->categories, sizeof(category_t));
    EXPECT_EQ(pool_index_of(&reader->categories, sizeof(category_t), next), 4u);  // c4's slot, freed last
    pool_release(&reader->categories, next, sizeof(category_t));
    reader_check(reader);
}
