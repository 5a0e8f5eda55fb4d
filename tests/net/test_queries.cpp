// Query slots on real workers against the local server: the hand-over through
// state, the wake-up, failures with their reasons, and the guards for a full table
// and a full ring.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/log.h"
#include "base/text.h"
#include "log_support.h"
#include "net/block_storage.h"
#include "net/http_file.h"
#include "net/queries.h"
#include "net/work_queue.h"
#include "platform/wake.h"
#include "tests/net/feed_server.h"

static feed_server_t query_server;
static query_t query_table[query_table_size];

class Queries : public ::testing::Test {
protected:
    u64 table_count = query_table_size;
    static void SetUpTestSuite() {
        ASSERT_TRUE(query_server.start(NEWSLOOM_TEST_DATA "/feeds", false));
        ASSERT_EQ(downloads_prepare(), 0u);
    }
    static void TearDownTestSuite() {
        http_error_t error = 0;
        http_session_close(&error);
        query_server.stop();
    }
    void SetUp() override {
        for (query_t& q : query_table) q = query_t{};
    }
    bool submit(const std::string& address) {
        data_t copy = block_storage_copy(&block_storage, data_from_size(address.size(), address.data()));
        return query_submit(query_table, table_count, copy, query_new_feed);
    }
    // What the frame loop does while idle: sleep until a worker posts, look.
    void wait_until_finished(u32 count) {
        for (;;) {
            u32 finished = 0;
            for (u32 i = 0; i < count; i++) finished += atomic_load_acquire_u32(&query_table[i].state) == 2;
            if (finished == count) return;
            ASSERT_TRUE(wake_wait(30000));
        }
    }
};

TEST_F(Queries, WorkersDownloadIntoTheirSlots) {
    thread_queue_create(&thread_queue, 6);
    std::string good = query_server.address("/bytes/5000");
    const std::string addresses[] = {
        good,
        query_server.address("/bytes-nolength/100"),
        // Above the default block for a response without a length.
        query_server.address("/bytes-nolength/6000000"),
        "http://127.0.0.1:" + std::to_string(closed_port()) + "/feed",
        good,  // the same address twice: two slots, two downloads
    };
    u32 running = query_running_count;
    for (const std::string& address : addresses) ASSERT_TRUE(submit(address));
    wait_until_finished(5);
    thread_terminate(&thread_queue);
    // Every finished download lowered the count of running ones again.
    EXPECT_EQ(query_running_count, running);

    struct expected_t {
        u32 error;
        u64 used;
        u64 reserved;
    };
    const expected_t expected[] = {
        {http_error_none, 5000, 5000},
        {http_error_none, 100, query_default_block_size},
        {http_error_not_enough_storage, query_default_block_size, query_default_block_size},
        {http_error_internet_open_url, 0, query_default_block_size},
        {http_error_none, 5000, 5000},
    };
    for (u32 i = 0; i < 5; i++) {
        query_t* q = &query_table[i];
        EXPECT_EQ(q->error, expected[i].error) << i;
        EXPECT_EQ(q->data.used, expected[i].used) << i;
        EXPECT_EQ(q->data.reserved, expected[i].reserved) << i;
        // The address copy stays terminated for the HTTP layer.
        EXPECT_EQ(q->address.bytes[q->address.used], 0) << i;
        EXPECT_EQ(q->address.reserved, q->address.used + 1) << i;
        EXPECT_EQ(q->error_message[0] != 0, expected[i].error == http_error_internet_open_url) << i;
        data_free(&q->data);
        block_storage_free(&block_storage, q->address.bytes, q->address.reserved);
    }
    EXPECT_NE(std::string(query_table[3].error_message).find("127.0.0.1"), std::string::npos)
        << query_table[3].error_message;
}

TEST_F(Queries, AFullTableOrRingRefusesInsteadOfStopping) {
    // No workers: jobs stay in the ring.
    thread_queue_create(&thread_queue, 0);
    u8* log_start = log_test_mark(log_user);
    block_storage_node_t before = *block_storage.free_list;
    u32 running = query_running_count;

    table_count = 2;
    EXPECT_TRUE(submit("http://127.0.0.1:1/a"));
    EXPECT_TRUE(submit("http://127.0.0.1:1/b"));
    EXPECT_FALSE(submit("http://127.0.0.1:1/c"));
    EXPECT_NE(log_test_since(log_user, log_start).find("http://127.0.0.1:1/c"), std::string::npos);

    // The ring takes 1023 jobs; the table has a slot for the 1024th, which is given
    // back along with its address.
    table_count = query_table_size;
    for (u32 i = 2; i < 1023; i++) ASSERT_TRUE(submit("http://127.0.0.1:1/" + std::to_string(i))) << i;
    EXPECT_FALSE(submit("http://127.0.0.1:1/last"));
    EXPECT_EQ(query_table[1023].state, 0u);
    // The slot given back no longer counts as running; the 1023 queued do.
    EXPECT_EQ(query_running_count, running + 1023);
    EXPECT_NE(log_test_since(log_user, log_start).find("http://127.0.0.1:1/last"), std::string::npos);

    thread_terminate(&thread_queue);
    for (u32 i = 0; i < 1023; i++) {
        EXPECT_EQ(query_table[i].state, 1u);
        block_storage_free(&block_storage, query_table[i].address.bytes, query_table[i].address.reserved);
    }
    // Every address went back: one free range as at the start.
    EXPECT_EQ(block_storage.free_list->address, before.address);
    EXPECT_EQ(block_storage.free_list->size, before.size);
    EXPECT_EQ(block_storage.free_list->next, nullptr);

    // With block storage full the address can't be kept: nothing is queued.
    std::vector<std::pair<void*, u64>> taken;
    while (block_storage.free_list) {
        u64 size = block_storage.free_list->size;
        taken.push_back({block_storage_allocate(&block_storage, size), size});
    }
    log_start = log_test_mark(log_user);
    EXPECT_FALSE(submit("http://127.0.0.1:1/kept-nowhere"));
    EXPECT_NE(log_test_since(log_user, log_start).find("no memory left for the address"), std::string::npos);
    EXPECT_EQ(query_running_count, running + 1023);
    for (auto [address, size] : taken) block_storage_free(&block_storage, address, size);
}
