// pool_t: a fixed array of equally sized slots with a stack of free indices. It
// never grows and knows neither its slot size nor which slots are alive.
#pragma once

#include "base/data.h"

struct pool_t {
    data_t block;
    u32* free_slots;
    u8* entries;
    u32 entry_count;
    u32 max_entry_count;
};

typedef bool (*pool_filter_t)(void* entry);
typedef void (*pool_mark_dead_t)(void* entry);

struct pool_iterator_t {
    pool_t* pool;
    u64 entry_size;
    u64 index;
    u64 found;
    u64 count;
    u8* entry;
    pool_filter_t filter;
};

u64 pool_size(u64 entry_size, u64 alignment, u64 max_entry_count);
void pool_create(data_t* parent, pool_t* pool, u64 entry_size, u64 alignment, u32 max_entry_count);
// Fills the free stack in its fresh order: slots come out 0, 1, 2, ...
void pool_reset_free_stack(pool_t* pool);
void* pool_alloc(pool_t* pool, u64 entry_size);
// Inline: the store's walks call it once per slot.
inline void* pool_at(pool_t* pool, u64 entry_size, u64 index) {
    ASSERT(pool);
    return pool->entries + index * entry_size;
}
u64 pool_index_of(pool_t* pool, u64 entry_size, void* entry);
void pool_release(pool_t* pool, void* entry, u64 entry_size);
void pool_release_index(pool_t* pool, u32 index);
pool_iterator_t pool_iterator_start(pool_t* pool, u64 entry_size, pool_filter_t filter);
void* pool_iterator_next(pool_iterator_t* iterator);
void pool_compact(pool_t* pool, u64 entry_size, pool_filter_t is_alive, pool_mark_dead_t mark_dead);
// The slot that the live record at `slot` will have after pool_compact: its own
// when it lies below the live count, else the hole it fills. For keeping a pointer
// over the compaction.
u64 pool_compacted_slot(pool_t* pool, u64 entry_size, pool_filter_t is_alive, u64 slot);
