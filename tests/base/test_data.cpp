// data_t blocks: alignment and exhaustion of pushes, carving, reserve and commit,
// and the assertions that guard them.
#include <gtest/gtest.h>

#include <string.h>

#include "base/data.h"
#include "base/log.h"

TEST(Data, PushAlignsTheAddressAndCountsThePadding) {
    alignas(64) u8 buffer[64];
    data_t block = data_make(sizeof(buffer), 3, buffer);
    // Size 0 at an unaligned end gives the aligned end; used grows by the padding.
    u8* zero = (u8*)data_push(&block, 0, 0);
    EXPECT_EQ(zero, buffer + 8);
    EXPECT_EQ(block.used, 8u);
    block.used = 5;
    EXPECT_EQ((u8*)data_push(&block, 2, 2), buffer + 6);
    EXPECT_EQ((u8*)data_push(&block, 4, 4), buffer + 8);
    EXPECT_EQ((u8*)data_push(&block, 1, 1), buffer + 12);
    EXPECT_EQ((u8*)data_push(&block, 8, 0), buffer + 16);  // 0 means 8
    EXPECT_EQ(block.used, 24u);
}

TEST(Data, PushThatFillsSucceedsAndTheNextFailsWithALogLine) {
    alignas(8) u8 buffer[16];
    data_t block = data_make(sizeof(buffer), 0, buffer);
    EXPECT_NE(data_push(&block, 16, 1), nullptr);
    EXPECT_EQ(block.used, 16u);

    log_channel_t* log = log_channel(log_main);
    u64 before = log->text.used;
    EXPECT_EQ(data_push(&block, 1, 1), nullptr);
    EXPECT_EQ(block.used, 16u);
    const char message[] = "***Out of memory in the data_t block.***\n";
    ASSERT_GE(log->text.used, sizeof(message) - 1);
    EXPECT_EQ(memcmp(log->text.bytes + log->text.used - (sizeof(message) - 1), message, sizeof(message) - 1), 0);
    EXPECT_GT(log->text.used, before);

    // The typed helpers say nothing of their own and give null.
    EXPECT_EQ(data_push_u8(&block, 1), nullptr);
}

TEST(Data, BadAlignmentStops) {
    alignas(64) u8 buffer[128];
    data_t block = data_make(sizeof(buffer), 0, buffer);
    EXPECT_DEATH(data_push(&block, 8, 3), "");
    data_t sub = data_sub_block(&block, 8, 16);  // legal for carving
    EXPECT_EQ(sub.bytes, buffer);
    EXPECT_DEATH(data_sub_block(&block, 1000, 1), "");  // overflowing carve
}

TEST(Data, SubBlocksAndViews) {
    alignas(64) u8 buffer[256];
    data_t parent = data_make(sizeof(buffer), 1, buffer);
    data_t sub = data_sub_block(&parent, 10, 0);
    EXPECT_EQ(sub.bytes, buffer + 8);
    EXPECT_EQ(sub.reserved, 10u);
    EXPECT_EQ(parent.used, 18u);

    data_t view = data_free_view(&parent);
    EXPECT_EQ(view.bytes, buffer + 18);
    EXPECT_EQ(view.reserved, 238u);
    data_t view_64 = data_free_view_64(&parent);
    EXPECT_EQ(view_64.bytes, buffer + 64);
    EXPECT_EQ(view_64.reserved, 192u);
    EXPECT_EQ(parent.used, 18u);  // views don't take anything

    data_t rest = data_sub_block_rest(&parent, 32);
    EXPECT_EQ(rest.bytes, buffer + 32);
    EXPECT_EQ(rest.reserved, 224u);
    EXPECT_EQ(parent.used, parent.reserved);
    // A full parent only takes a push of nothing at an aligned end.
    EXPECT_NE(data_push(&parent, 0, 1), nullptr);
    EXPECT_EQ(data_push(&parent, 1, 1), nullptr);
    EXPECT_EQ(data_sub_block_rest(&parent, 0).bytes, buffer + 256);

    data_t over = data_make(4, 5, buffer);
    EXPECT_EQ(data_free_view(&over).bytes, nullptr);
}

TEST(Data, SubBlockThatMayFailTakesNothingOnceItFailed) {
    alignas(64) u8 buffer[64];
    struct case_t {
        u64 used, size, alignment;
        bool fits;
    } cases[] = {
        {0, 64, 8, true},
        {1, 56, 8, true},   // padding 7 and the size fill the block exactly
        {1, 57, 8, false},  // one byte over, by the padding alone
        {60, 8, 1, false},
        {0, ~(u64)0, 1, false},  // a size that would wrap the sums
        {65, 0, 1, false},       // a parent already over its end
    };
    for (const case_t& c : cases) {
        data_t parent = data_make(sizeof(buffer), c.used, buffer);
        bool ok = true;
        data_t sub = data_sub_block_try(&parent, c.size, c.alignment, &ok);
        EXPECT_EQ(ok, c.fits) << c.used << " " << c.size;
        EXPECT_EQ(sub.bytes != nullptr, c.fits) << c.used << " " << c.size;
        EXPECT_EQ(parent.used, c.fits ? sizeof(buffer) : c.used) << c.used << " " << c.size;
    }
    // After a failure, even a block that fits is refused.
    data_t parent = data_make(sizeof(buffer), 0, buffer);
    bool ok = true;
    data_sub_block_try(&parent, 100, 1, &ok);
    EXPECT_EQ(data_sub_block_try(&parent, 8, 1, &ok).bytes, nullptr);
    EXPECT_EQ(parent.used, 0u);
    data_t none = {};
    ok = true;
    EXPECT_EQ(data_sub_block_try(&none, 0, 1, &ok).bytes, nullptr);
    EXPECT_FALSE(ok);
}

TEST(Data, ShrinkGivesBackWhatTheSubBlockLeftUnused) {
    u8 buffer[32];
    data_t parent = data_make(sizeof(buffer), 0, buffer);
    data_t sub = data_sub_block(&parent, 20, 1);
    sub.used = 6;
    u64 given_up = data_shrink_to_used(&sub);
    EXPECT_EQ(given_up, 14u);
    data_pop(&parent, given_up);
    EXPECT_EQ(parent.used, 6u);
    EXPECT_EQ(sub.reserved, 6u);
}

TEST(Data, ReserveThenCommitInPages) {
    u32 page_size = 0, granularity = 0;
    void* lowest = nullptr;
    void* highest = nullptr;
    memory_query_system(&page_size, &granularity, &lowest, &highest);

    data_t region = data_reserve(granularity + 1);
    EXPECT_EQ(region.reserved, 2ull * granularity);
    EXPECT_EQ(region.used, 0u);

    u8* first = data_commit(&region, 1);  // one byte takes a page
    ASSERT_EQ(first, region.bytes);
    EXPECT_EQ(region.used, page_size);
    first[page_size - 1] = 7;
    u8* second = data_commit(&region, page_size + 1);
    EXPECT_EQ(second, region.bytes + page_size);
    EXPECT_EQ(region.used, 3ull * page_size);
    second[2 * page_size - 1] = 9;

    EXPECT_EQ(data_commit(&region, region.reserved), nullptr);  // past the reservation
    EXPECT_EQ(region.used, 3ull * page_size);
    data_free(&region);
}
