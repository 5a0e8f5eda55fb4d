// From what the user gives to queued downloads: the video service's channel pages,
// blanks, address lists with any line ends, and known addresses.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "app/panel.h"
#include "net/block_storage.h"
#include "net/queries.h"
#include "net/work_queue.h"
#include "store/feed_address.h"
#include "store_support.h"

TEST(FeedAddress, Normalisation) {
    const std::string feed = youtube_feed_address;
    struct case_t {
        const char* given;
        std::string queued;
    };
    const case_t cases[] = {
        {"https://www.youtube.com/channel/abc/videos", feed + "channel_id=abc"},
        {"https://www.youtube.com/user/abc?x=1", feed + "user=abc"},
        {"http://m.youtube.com/c/SomeName", feed + "user=SomeName"},
        {"youtube.com/channel/", feed + "channel_id="},
        // The first marker in the table's order counts, not the first in the text.
        {"https://youtube.com/channel/x?u=youtube.com/user/y", feed + "user=y"},
        {"https://www.youtube.com/feeds/videos.xml?channel_id=abc", feed + "channel_id=abc"},
        {"  \thttp://example.com/feed.xml ", "http://example.com/feed.xml "},
        {"   ", ""},
        {"", ""},
    };
    for (const case_t& c : cases) {
        u8 buffer[feed_address_capacity];
        data_t given = data_from_size(strlen(c.given), c.given);
        EXPECT_EQ(to_string(feed_address_normalise(given, buffer)), c.queued) << c.given;
    }
}

namespace {

struct queue_fixture_t : store_fixture_t {
    panel_t panel = {};
    data_t table = {};

    queue_fixture_t() {
        if (!block_storage.memory.bytes) {
            block_storage_create(&block_storage, block_storage_region_size, block_storage_commit_size,
                                 block_storage_block_size);
        }
        // No workers: the jobs wait in the ring and the slots keep what was queued.
        thread_queue_create(&thread_queue, 0);
        table = data_allocate(sizeof(query_t) * query_table_size);
        bytes_zero(table.bytes, table.reserved);
        app->queries = (query_t*)table.bytes;
        app->query_count = query_table_size;
        app->panel = &panel;
    }
    ~queue_fixture_t() {
        for (u64 i = 0; i < query_table_size; i++) {
            query_t* query = &app->queries[i];
            if (query->state) block_storage_free(&block_storage, query->address.bytes, query->address.reserved);
        }
        data_free(&table);
    }

    std::vector<std::pair<std::string, u32>> queued() {
        std::vector<std::pair<std::string, u32>> list;
        for (u64 i = 0; i < query_table_size; i++) {
            query_t* query = &app->queries[i];
            if (query->state == query_state_queued) list.push_back({to_string(query->address), query->feed_id});
        }
        return list;
    }
};

}  // namespace

TEST(FeedAddress, AddressListAndKnownFeeds) {
    queue_fixture_t fixture;
    std::string document = "<feed><title>known</title></feed>";
    feed_t* known = fixture.merge(document, "http://example.com/known");
    ASSERT_TRUE(known);

    std::string folder = make_temp_folder("newsloom_list_");
    std::string path = folder + "/list.txt";
    {
        std::ofstream out(path, std::ios::binary);
        out << "http://example.com/a\r\n\r\n   \r\n  http://example.com/known\r\nhttps://www.youtube.com/user/"
               "someone/videos\nhttp://example.com/b with blank \n";
    }
    fixture.app->start_generation = fixture.reader.generation;
    reader_add_address_list(fixture.app, &fixture.reader, data_from_size(path.size(), path.data()));
    EXPECT_EQ(fixture.reader.generation, 1u);
    EXPECT_EQ(fixture.panel.generation_min, 1u);
    std::vector<std::pair<std::string, u32>> expected = {
        {"http://example.com/a", query_new_feed},
        {"http://example.com/known", known->id},
        {std::string(youtube_feed_address) + "user=someone", query_new_feed},
        {"http://example.com/b with blank ", query_new_feed},
    };
    EXPECT_EQ(fixture.queued(), expected);
    for (u64 i = 0; i < query_table_size; i++) {
        query_t* query = &fixture.app->queries[i];
        if (query->state) {
            EXPECT_EQ(query->address.bytes[query->address.used], 0) << "a zero byte behind";
        }
    }

    // Only blanks: nothing queued, though the generation moved (once a run).
    reader_add_address(fixture.app, &fixture.reader, data_literal("   "));
    reader_add_address(fixture.app, &fixture.reader, data_t{});
    EXPECT_EQ(fixture.queued().size(), 4u);
    EXPECT_EQ(fixture.reader.generation, 1u);

    // A missing list does nothing.
    std::string missing = folder + "/none.txt";
    reader_add_address_list(fixture.app, &fixture.reader, data_from_size(missing.size(), missing.data()));
    EXPECT_EQ(fixture.queued().size(), 4u);
    std::filesystem::remove_all(folder);
}
