// Block storage: first fit, rounding, merging on free with its quirk, lazy commit.
#include <gtest/gtest.h>

#include "net/block_storage.h"

class BlockStorage : public ::testing::Test {
protected:
    block_storage_t storage = {};
    u8* start = nullptr;
    void SetUp() override {
        memory_query_system(nullptr, nullptr, nullptr, nullptr);
        block_storage_create(&storage, block_storage_region_size, block_storage_commit_size, block_storage_block_size);
        start = storage.memory.bytes;
    }
    void TearDown() override {
        data_free(&storage.memory);
        data_free(&storage.node_memory);
    }
    u32 node_count() {
        u32 count = 0;
        for (block_storage_node_t* node = storage.free_list; node; node = node->next) count++;
        return count;
    }
    bool has_range(u64 offset, u64 size) {
        for (block_storage_node_t* node = storage.free_list; node; node = node->next) {
            if (node->address == start + offset && node->size == size) return true;
        }
        return false;
    }
    u8* take(u64 size) { return (u8*)block_storage_allocate(&storage, size); }
};

TEST_F(BlockStorage, AllocationsAreRoundedAndFirstFit) {
    EXPECT_EQ(take(1), start);
    u8* a = take(100);
    u8* b = take(100);
    EXPECT_EQ(a, start + 128);
    EXPECT_EQ(b, start + 256);
    block_storage_free(&storage, a, 100);
    // The newest free range comes first, so the freed place is taken again.
    EXPECT_EQ(take(100), a);
    EXPECT_EQ(take(129), start + 384);
    EXPECT_EQ(take(1), start + 640);
    // Zero bytes: an address, and the list as it was.
    u8* before = storage.free_list->address;
    EXPECT_EQ(take(0), before);
    EXPECT_EQ(storage.free_list->address, before);
    EXPECT_EQ(node_count(), 1u);
    // Nothing fits: null, the list untouched.
    EXPECT_EQ(take(block_storage_region_size), nullptr);
}

TEST_F(BlockStorage, FreeMergesNeighbours) {
    u8* block[4];
    for (u8*& b : block) b = take(128);
    // a, then d (joins the rest), then c (joins it too), then b closes the gap.
    block_storage_free(&storage, block[0], 128);
    EXPECT_EQ(node_count(), 2u);
    block_storage_free(&storage, block[3], 128);
    EXPECT_TRUE(has_range(384, block_storage_region_size - 384));
    block_storage_free(&storage, block[2], 128);
    EXPECT_TRUE(has_range(256, block_storage_region_size - 256));
    EXPECT_EQ(node_count(), 2u);
    block_storage_free(&storage, block[1], 128);
    EXPECT_EQ(node_count(), 1u);
    EXPECT_TRUE(has_range(0, block_storage_region_size));
    // Each free counts once, merged or not.
    EXPECT_EQ(storage.frees, 4u);
}

TEST_F(BlockStorage, ClosingAGapDropsTheRangesListedBetween) {
    u8* block[8];
    for (u8*& b : block) b = take(128);
    block_storage_free(&storage, block[0], 128);  // [a, rest]
    block_storage_free(&storage, block[6], 128);  // [g, a, rest]
    block_storage_free(&storage, block[2], 128);  // [c, g, a, rest]
    // b joins c, and c then joins a: c is linked straight to a's follower, and g,
    // listed between them, is gone until the next run.
    block_storage_free(&storage, block[1], 128);
    EXPECT_EQ(node_count(), 2u);
    EXPECT_TRUE(has_range(0, 384));
    EXPECT_FALSE(has_range(768, 128));
    EXPECT_EQ(take(384), start);
    EXPECT_EQ(take(128), start + 1024);
}

TEST_F(BlockStorage, CommitsInSteps) {
    EXPECT_EQ(storage.memory.used, block_storage_commit_size);
    u8* big = take(block_storage_commit_size + 1000);
    EXPECT_EQ(big, start);
    EXPECT_EQ(storage.memory.used, 2 * block_storage_commit_size);
    big[block_storage_commit_size + 999] = 1;
    EXPECT_TRUE(block_storage_contains(&storage, big + block_storage_commit_size + 999));
    EXPECT_FALSE(block_storage_contains(&storage, start + 2 * block_storage_commit_size));
    EXPECT_FALSE(block_storage_contains(&storage, "literal"));
    // More than a commit step of nodes: the node region grows too.
    u64 node_step = block_storage_commit_size / block_storage_block_size;
    static u8* taken[8192 + 10];
    ASSERT_EQ(node_step + 10, ARRAY_COUNT(taken));
    for (u8*& t : taken) t = take(128);
    for (u8* t : taken) block_storage_add_free(&storage, t, 128);
    EXPECT_EQ(node_count(), node_step + 11);
    EXPECT_GT(storage.node_memory.used, node_step * sizeof(block_storage_node_t));
}

TEST_F(BlockStorage, FreeingForeignMemoryStops) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    static u8 foreign[128];
    EXPECT_DEATH(block_storage_free(&storage, foreign, 128), "");
}
