// The update road as the program walks it, on real workers and a local server:
// address lists, download, drain and merge, save and load; failures in the log
// panel; an address queued twice; a feed removed while it downloads; F5 twice.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <fstream>
#include <string>
#include <vector>

#include "app/app.h"
#include "app/update.h"
#include "base/log.h"
#include "base/text.h"
#include "net/block_storage.h"
#include "net/http_file.h"
#include "net/queries.h"
#include "net/work_queue.h"
#include "platform/wake.h"
#include "store/codepoint_set.h"
#include "store/feed_address.h"
#include "store/feed_merge.h"
#include "store/reader.h"
#include "store/reader_file.h"
#include "tests/net/feed_server.h"
#include "views/panel.h"

static feed_server_t update_server;
static query_t update_table[query_table_size];
static codepoint_set_t update_codepoints;
static data_t update_codepoint_block;

class Update : public ::testing::Test {
protected:
    app_t app = {};
    panel_t panel = {};
    reader_t* reader = nullptr;
    temp_folder_t temp{"newsloom_update_"};
    std::string folder = temp.path;

    static void SetUpTestSuite() {
        ASSERT_TRUE(update_server.start(NEWSLOOM_TEST_DATA "/feeds", true));
        downloads_prepare();
        if (!update_codepoint_block.bytes) {
            codepoint_set_create(&update_codepoints, &update_codepoint_block);
        }
    }
    static void TearDownTestSuite() {
        http_error_t error = 0;
        http_session_close(&error);
        update_server.stop();
    }
    void SetUp() override {
        for (query_t& q : update_table) q = query_t{};
        app.scratch = data_allocate(0xa00000);
        app.storage_path = data_make(app_path_capacity, 0, app.storage_path_buffer);
        data_push_string(&app.storage_path, folder.data(), folder.size());
        app.panel = &panel;
        app.queries = update_table;
        app.query_count = query_table_size;
        reader = new_reader();
        thread_queue_create(&thread_queue, 6);
    }
    void TearDown() override {
        thread_terminate(&thread_queue);
        reader_release(reader);
        delete reader;
        data_free(&app.scratch);
    }
    static reader_t* new_reader() {
        reader_t* r = new reader_t{};
        reader_init(r);
        r->codepoints = &update_codepoints;
        return r;
    }
    void add(const std::string& address) {
        reader_add_address(&app, reader, data_from_size(address.size(), address.data()));
    }
    // The frame loop while downloads run: sleep until woken, drain. Every slot the
    // drain let go, whether merged, failed or dropped, gave back its memory.
    void drain_until_idle() {
        for (;;) {
            bool pending = false;
            for (query_t& q : update_table) pending = pending || atomic_load_acquire_u32(&q.state) != 0;
            if (!pending) {
                for (query_t& q : update_table) {
                    EXPECT_EQ(q.address.bytes, nullptr) << std::string((char*)q.address.bytes, q.address.used);
                    EXPECT_EQ(q.data.bytes, nullptr);
                }
                return;
            }
            wake_wait(1000);
            queries_drain(&app, reader);
            data_clear(&app.scratch);
        }
    }
    // What the table holds queued: address and feed id, in slot order.
    std::vector<std::pair<std::string, u32>> queued() {
        std::vector<std::pair<std::string, u32>> list;
        for (query_t& q : update_table) {
            if (q.state == query_state_queued) list.push_back({std::string((char*)q.address.bytes, q.address.used), q.feed_id});
        }
        return list;
    }
    u32 feed_count() { return reader->feeds.entry_count; }
    feed_t* feed_at(const std::string& address) {
        return reader_find_feed_by_address(reader, data_from_size(address.size(), address.data()));
    }
    static std::string dump(reader_t* r) {
        log_channel_t* listing = log_channel(log_reader_dump);
        listing->text.used = 0;
        reader_dump_to_log(r);
        return std::string((char*)listing->text.bytes, listing->text.used);
    }
    static std::string user_log_since(u64 start) {
        log_channel_t* user = log_channel(log_user);
        return std::string((char*)user->text.bytes + start, user->text.used - start);
    }
};

TEST_F(Update, AddressDownloadMergeSaveLoadGivesEqualRecords) {
    const std::string addresses[] = {
        update_server.address("/feed/DaringFireball.atom"),
        update_server.address("/feed-nolength/scriptingNews.rss"),
        update_server.address("/redirect/feed/qemu.atom"),
        update_server.address("/feed/monkeydom.rss"),
    };
    u64 log_start = log_channel(log_user)->text.used;
    for (const std::string& a : addresses) add(a);
    EXPECT_EQ(reader->generation, 1u);
    EXPECT_EQ(panel.generation_min, 1u);
    drain_until_idle();
    EXPECT_EQ(feed_count(), 4u);
    // Downloads that went well leave the log panel as it was.
    EXPECT_EQ(user_log_since(log_start), "");
    EXPECT_NE(panel.right_panel, panel_right_log);
    for (const std::string& a : addresses) {
        feed_t* feed = feed_at(a);
        ASSERT_NE(feed, nullptr) << a;
        EXPECT_GT(feed->entry_count, 0u) << a;
        EXPECT_NE(reader_find_meta(reader, feed->id), nullptr) << a;
    }
    ASSERT_TRUE(reader_save(&app.scratch, app.storage_path, reader));
    std::string saved = dump(reader);
    EXPECT_GT(saved.size(), 10000u);

    reader_t* loaded = new_reader();
    reader_load_status_t status = {};
    ASSERT_TRUE(reader_load(&app.scratch, app.storage_path, loaded, &status));
    EXPECT_EQ(dump(loaded), saved);
    reader_release(loaded);
    delete loaded;
}

TEST_F(Update, ANewAddressQueuedTwiceMergesIntoOneFeed) {
    std::string address = update_server.address("/feed/atp.rss");
    u64 log_start = log_channel(log_user)->text.used;
    add(address);
    add(address);
    drain_until_idle();
    EXPECT_EQ(feed_count(), 1u);
    feed_t* feed = feed_at(address);
    ASSERT_NE(feed, nullptr);
    u32 entries = feed->entry_count;
    EXPECT_EQ(entries, reader->entries.entry_count);
    EXPECT_NE(user_log_since(log_start).find("Queued twice"), std::string::npos);
    // Updating again brings nothing new.
    reader_update_all(&app, reader);
    drain_until_idle();
    EXPECT_EQ(feed_at(address)->entry_count, entries);
}

TEST_F(Update, EachFailedAddressIsOneParagraphAndNoFeed) {
    struct case_t {
        std::string address;
        const char* returned;
        const char* reason;  // in the system's words, on the paragraph's last line
    };
    const case_t cases[] = {
        {"http://127.0.0.1:" + std::to_string(closed_port()) + "/feed.rss", "(5) http_error_internet_open_url",
         "connect"},
        {update_server.tls_address("/feed/atp.rss"), "(5) http_error_internet_open_url",
         "certificate"},  // self-signed
        {update_server.address("/cut/1000/500"), "(6) http_error_internet_read_file", "500 bytes remaining"},
        {update_server.address("/stall-body/1000"), "(6) http_error_internet_read_file", "nothing received for 1 s"},
        {update_server.address("/stall"), "(5) http_error_internet_open_url", "nothing received for 1 s"},
        // A byte each 100 ms is never silent: the overall limit ends it.
        {update_server.address("/trickle/1000/100"), "(6) http_error_internet_read_file",
         "the download took more than 2 s"},
        {update_server.address("/declared/67108865"), "(8) http_error_not_enough_storage",
         "The server declares a length of 67108865 bytes, more than the 64 MiB a download may take."},
    };
    os_http_set_time_outs(1000, 1000, 2000);
    log_channel_t* user = log_channel(log_user);
    u64 log_start = user->text.used;
    u64 main_start = log_channel(log_main)->text.used;
    panel.right_panel = panel_right_add_feed;
    for (const case_t& c : cases) add(c.address);
    drain_until_idle();
    os_http_set_time_outs(30000, 60000);
    EXPECT_EQ(feed_count(), 0u);
    // One paragraph each, and nothing else, in the order the drain found them
    // finished: the address, the error's number and name, and the reason.
    std::string text = user_log_since(log_start);
    if (log_start) {
        ASSERT_EQ(text.rfind("\n\n", 0), 0u);
        text.erase(0, 2);
    }
    std::vector<std::string> written;
    for (size_t start = 0; start <= text.size();) {
        size_t end = text.find("\n\n", start);
        if (end == std::string::npos) end = text.size();
        written.push_back(text.substr(start, end - start));
        start = end + 2;
    }
    EXPECT_EQ(written.size(), std::size(cases)) << text;
    for (const case_t& c : cases) {
        std::string head = "Error while retrieving feed: " + c.address + "\n    Returned " + c.returned + "\n    ";
        auto paragraph = std::find_if(written.begin(), written.end(),
                                      [&](const std::string& p) { return p.rfind(head, 0) == 0; });
        ASSERT_NE(paragraph, written.end()) << head << "\n" << text;
        std::string reason = paragraph->substr(head.size());
        EXPECT_EQ(reason.find('\n'), std::string::npos) << reason;
        EXPECT_NE(reason.find(c.reason), std::string::npos) << reason;
    }
    EXPECT_EQ(panel.right_panel, panel_right_log);
    // The system's reason and the error line stay in the main log.
    log_channel_t* main_log = log_channel(log_main);
    std::string main_text((char*)main_log->text.bytes + main_start, main_log->text.used - main_start);
    EXPECT_NE(main_text.find("http_get_file error: " + cases[0].address + " returned (5) http_error_internet_open_url"),
              std::string::npos)
        << main_text;
    EXPECT_NE(main_text.find("certificate"), std::string::npos) << main_text;
}

// A body that ends early, or a Content-Length shorter than the body, leaves the
// feed's root open: that download fails like any other, and nothing is merged.
TEST_F(Update, ACutDocumentIsAFailedDownload) {
    const std::string addresses[] = {update_server.address("/feed-cut/4000/atp.rss"),
                                     update_server.address("/feed-short/4000/atp.rss")};
    u64 log_start = log_channel(log_user)->text.used;
    panel.right_panel = panel_right_add_feed;
    for (const std::string& address : addresses) add(address);
    drain_until_idle();
    EXPECT_EQ(feed_count(), 0u);
    std::string text = user_log_since(log_start);
    for (const std::string& address : addresses) {
        EXPECT_NE(text.find("Error while retrieving feed: " + address +
                            "\n    the document ends before its root element is closed"),
                  std::string::npos)
            << text;
    }
    EXPECT_EQ(panel.right_panel, panel_right_log);
}

// The response's charset reaches the merge, where it comes before what the
// document itself says.
TEST_F(Update, TheResponsesCharsetDecidesTheEncoding) {
    std::string address = update_server.address("/typed/windows-1251/encoding_undeclared_1252.rss");
    add(address);
    drain_until_idle();
    feed_t* feed = feed_at(address);
    ASSERT_TRUE(feed);
    EXPECT_EQ(std::string((char*)feed->rss.title.bytes, feed->rss.title.used),
              "Caf\xd0\xb9 \xe2\x80\x9cquoted\xe2\x80\x9d \xd0\x82");
}

TEST_F(Update, UpdateAllTwiceAndARemovedFeed) {
    const std::string addresses[] = {
        update_server.address("/feed/EMarley.rss"),
        update_server.address("/feed/russcox.atom"),
        update_server.address("/feed/medscape.rss"),
    };
    for (const std::string& a : addresses) add(a);
    drain_until_idle();
    ASSERT_EQ(feed_count(), 3u);
    u32 entries = reader->entries.entry_count;

    // A new run: its first update moves the generation on, the second doesn't.
    app.start_generation = reader->generation;
    reader_update_all(&app, reader);
    reader_update_all(&app, reader);
    EXPECT_EQ(reader->generation, app.start_generation + 1);
    u32 queued = 0;
    for (query_t& q : update_table) queued += q.state != 0;
    EXPECT_EQ(queued, 6u);
    drain_until_idle();
    EXPECT_EQ(reader->entries.entry_count, entries);

    // A feed removed while it downloads: its result is dropped.
    feed_t* feed = feed_at(addresses[1]);
    feed_update(&app, reader, feed);
    reader_remove_feed(reader, feed);
    drain_until_idle();
    EXPECT_EQ(feed_count(), 2u);
    EXPECT_EQ(feed_at(addresses[1]), nullptr);
}

// An address typed over a feed's own is a manual override, kept as typed: one
// that is empty or no URL at all fails at the next update with its paragraph, and
// the feed keeps its entries.
TEST_F(Update, AnAddressTypedOverAFeedsOwnFailsVisiblyAndTheFeedStays) {
    std::string address = update_server.address("/feed/atp.rss");
    add(address);
    drain_until_idle();
    feed_t* feed = feed_at(address);
    ASSERT_TRUE(feed);
    u32 entries = feed->entry_count;
    for (std::string typed : {"not a url", ""}) {
        feed->address = reader_store_string(reader, data_from_size(typed.size(), typed.data()));
        u64 log_start = log_channel(log_user)->text.used;
        feed_update(&app, reader, feed);
        drain_until_idle();
        EXPECT_NE(user_log_since(log_start).find("Error while retrieving feed: " + typed +
                                                 "\n    Returned (5) http_error_internet_open_url"),
                  std::string::npos)
            << "'" << typed << "': " << user_log_since(log_start);
        EXPECT_EQ(feed_count(), 1u);
        EXPECT_EQ(feed->entry_count, entries);
        EXPECT_EQ(std::string((char*)feed->address.bytes, feed->address.used), typed);
    }
}

TEST_F(Update, TheSelectedEntryStaysSelectedAcrossItsFeedsUpdate) {
    std::string address = update_server.address("/feed/neverworkintheory.atom");
    add(address);
    drain_until_idle();
    feed_t* feed = feed_at(address);
    ASSERT_NE(feed, nullptr);
    entry_t* entry = feed_first_entry(reader, feed, 0, 0xffffffff, 0, 0x80000000);
    ASSERT_NE(entry, nullptr);
    std::string unique_id((char*)entry_unique_id(entry).bytes, entry_unique_id(entry).used);
    panel.selected_feed = feed;
    panel.selected_entry = entry;
    reader_update_selected(&app, reader);
    drain_until_idle();
    ASSERT_NE(panel.selected_entry, nullptr);
    data_t now = entry_unique_id(panel.selected_entry);
    EXPECT_EQ(std::string((char*)now.bytes, now.used), unique_id);
}

TEST_F(Update, AnAddressListQueuesEachLineOnceAndKnownAddressesAsUpdates) {
    // No workers: the jobs wait in the ring and the slots keep what was queued.
    thread_terminate(&thread_queue);
    thread_queue_create(&thread_queue, 0);
    std::string document = "<feed><title>known</title></feed>";
    feed_t* known = reader_merge_document(&app.scratch, reader, data_from_size(document.size(), document.data()),
                                          data_literal("http://example.com/known"), nullptr);
    ASSERT_TRUE(known);

    std::string path = folder + "/list.txt";
    std::ofstream(path, std::ios::binary)
        << "http://example.com/a\r\n\r\n   \r\n  http://example.com/known\r\nhttps://www.youtube.com/user/"
           "someone/videos\nhttp://example.com/b with blank \n";
    reader_add_address_list(&app, reader, data_from_size(path.size(), path.data()));
    EXPECT_EQ(reader->generation, 1u);
    EXPECT_EQ(panel.generation_min, 1u);
    EXPECT_EQ(panel.generation_max, 1u);
    std::vector<std::pair<std::string, u32>> expected = {
        {"http://example.com/a", query_new_feed},
        {"http://example.com/known", known->id},
        {std::string(youtube_feed_address) + "user=someone", query_new_feed},
        {"http://example.com/b with blank ", query_new_feed},
    };
    EXPECT_EQ(queued(), expected);
    for (query_t& q : update_table) {
        if (!q.state) continue;
        EXPECT_EQ(q.address.bytes[q.address.used], 0) << "a zero byte behind";
    }

    // Only blanks, or a missing list: nothing queued, and the generation moved only
    // once in the run.
    add("   ");
    reader_add_address(&app, reader, data_t{});
    std::string missing = folder + "/none.txt";
    reader_add_address_list(&app, reader, data_from_size(missing.size(), missing.data()));
    EXPECT_EQ(queued().size(), 4u);
    EXPECT_EQ(reader->generation, 1u);
    for (query_t& q : update_table) {
        if (q.state) block_storage_free(&block_storage, q.address.bytes, q.address.reserved);
    }
}
