// Fixed pools: the free stack's order, exhaustion, walks and compaction.
#include <gtest/gtest.h>

#include <vector>

#include "base/log.h"
#include "base/pool.h"

struct record_t {
    u32 alive;
    u32 value;
};

static bool record_is_alive(void* entry) { return ((record_t*)entry)->alive != 0; }
static void record_mark_dead(void* entry) { ((record_t*)entry)->alive = 0; }

// A pool in a block of its own, freed with the test.
struct owned_pool_t {
    data_t block;
    pool_t pool;
    explicit owned_pool_t(u32 count) {
        block = data_allocate(pool_size(sizeof(record_t), 4, count));
        pool_create(&block, &pool, sizeof(record_t), 4, count);
    }
    ~owned_pool_t() { data_free(&block); }
};

static u64 index_of(pool_t* pool, void* entry) { return pool_index_of(pool, sizeof(record_t), entry); }

TEST(Pool, FreeStackHandsOutInOrderAndReusesTheLastReleased) {
    owned_pool_t owned_pool(4);
    pool_t& pool = owned_pool.pool;
    record_t* a = (record_t*)pool_alloc(&pool, sizeof(record_t));
    record_t* b = (record_t*)pool_alloc(&pool, sizeof(record_t));
    record_t* c = (record_t*)pool_alloc(&pool, sizeof(record_t));
    EXPECT_EQ(index_of(&pool, a), 0u);
    EXPECT_EQ(index_of(&pool, b), 1u);
    EXPECT_EQ(index_of(&pool, c), 2u);
    pool_release(&pool, b, sizeof(record_t));
    EXPECT_EQ(pool.entry_count, 2u);
    pool_release_index(&pool, 0);
    EXPECT_EQ(index_of(&pool, pool_alloc(&pool, sizeof(record_t))), 0u);
    EXPECT_EQ(index_of(&pool, pool_alloc(&pool, sizeof(record_t))), 1u);
    EXPECT_EQ(index_of(&pool, pool_alloc(&pool, sizeof(record_t))), 3u);
    EXPECT_EQ(pool_alloc(&pool, sizeof(record_t)), nullptr);  // full: null, nothing changes
    EXPECT_EQ(pool.entry_count, 4u);
    EXPECT_EQ(pool_at(&pool, sizeof(record_t), 2), (void*)c);

    owned_pool_t owned_empty(2);
    pool_t& empty = owned_empty.pool;
    EXPECT_DEATH(pool_release_index(&empty, 0), "");
}

TEST(Pool, IteratorStopsAfterCountFound) {
    owned_pool_t owned_pool(10);
    pool_t& pool = owned_pool.pool;
    for (u32 i = 0; i < 10; i++) *(record_t*)pool_at(&pool, sizeof(record_t), i) = record_t{0, i};
    pool_iterator_t walk = pool_iterator_start(&pool, sizeof(record_t), record_is_alive);
    EXPECT_EQ(pool_iterator_next(&walk), nullptr);  // empty pool

    for (u32 i = 0; i < 3; i++) ((record_t*)pool_alloc(&pool, sizeof(record_t)))->alive = 1;
    record_mark_dead(pool_at(&pool, sizeof(record_t), 1));
    ((record_t*)pool_at(&pool, sizeof(record_t), 7))->alive = 1;  // beyond what count allows
    walk = pool_iterator_start(&pool, sizeof(record_t), record_is_alive);
    std::vector<u32> seen;
    while (record_t* r = (record_t*)pool_iterator_next(&walk)) seen.push_back(r->value);
    EXPECT_EQ(seen, (std::vector<u32>{0, 2, 7}));
    ((record_t*)pool_at(&pool, sizeof(record_t), 1))->alive = 1;
    walk = pool_iterator_start(&pool, sizeof(record_t), record_is_alive);
    seen.clear();
    while (record_t* r = (record_t*)pool_iterator_next(&walk)) seen.push_back(r->value);
    EXPECT_EQ(seen, (std::vector<u32>{0, 1, 2}));  // three found: slot 7 is never reached
}

TEST(Pool, CompactionFillsHolesFromTheTop) {
    owned_pool_t owned_pool(10);
    pool_t& pool = owned_pool.pool;
    for (u32 i = 0; i < 10; i++) *(record_t*)pool_at(&pool, sizeof(record_t), i) = record_t{0, i};
    for (u32 i : {0u, 5u, 9u}) ((record_t*)pool_at(&pool, sizeof(record_t), i))->alive = 1;
    pool.entry_count = 3;
    // Where each record will land is known before the move.
    u64 landing[10] = {};
    for (u32 i : {0u, 5u, 9u}) landing[i] = pool_compacted_slot(&pool, sizeof(record_t), record_is_alive, i);
    pool_compact(&pool, sizeof(record_t), record_is_alive, record_mark_dead);
    for (u32 i : {0u, 5u, 9u}) EXPECT_EQ(((record_t*)pool_at(&pool, sizeof(record_t), landing[i]))->value, i);
    std::vector<u32> values;
    for (u32 i = 0; i < 10; i++) {
        record_t* r = (record_t*)pool_at(&pool, sizeof(record_t), i);
        if (r->alive) values.push_back(r->value);
    }
    EXPECT_EQ(values, (std::vector<u32>{0, 9, 5}));  // 9 to slot 1, 5 to slot 2
    EXPECT_EQ(index_of(&pool, pool_alloc(&pool, sizeof(record_t))), 3u);  // just behind the packed ones
    pool.entry_count = 3;
    for (u32 i = 0; i < 10; i++) pool.free_slots[i] = 0;
    pool_compact(&pool, sizeof(record_t), record_is_alive, record_mark_dead);  // nothing moves
    EXPECT_EQ(((record_t*)pool_at(&pool, sizeof(record_t), 1))->value, 9u);
    EXPECT_EQ(pool.free_slots[9], 0u);
    EXPECT_EQ(pool.free_slots[0], 9u);
    EXPECT_EQ(index_of(&pool, pool_alloc(&pool, sizeof(record_t))), 3u);
}
