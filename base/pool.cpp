// Fixed pools: slots in one block and a stack of free indices that grows down
// from the array's high end, so that a fresh pool hands out 0, 1, 2, ...
#include "base/pool.h"

#include "base/log.h"
#include "base/text.h"

u64 pool_size(u64 entry_size, u64 alignment, u64 max_entry_count) {
    u64 stack_size = max_entry_count * 4;
    return stack_size + align_padding(stack_size, alignment) + entry_size * max_entry_count;
}

void pool_reset_free_stack(pool_t* pool) {
    for (u32 i = 0; i < pool->max_entry_count; i++) pool->free_slots[i] = pool->max_entry_count - 1 - i;
}

static void pool_lay_out(pool_t* pool, u64 entry_size, u64 alignment, u32 max_entry_count) {
    pool->free_slots = (u32*)data_push(&pool->block, (u64)max_entry_count * 4, 4);
    pool->entries = (u8*)data_push(&pool->block, entry_size * max_entry_count, alignment);
    // The size was computed from the stack's length alone; the block's start has to
    // agree with it, or the slots would run past the block.
    ASSERT(pool->block.used == pool->block.reserved);
    pool->entry_count = 0;
    pool->max_entry_count = max_entry_count;
    pool_reset_free_stack(pool);
}

void pool_create(data_t* parent, pool_t* pool, u64 entry_size, u64 alignment, u32 max_entry_count) {
    pool->block = data_sub_block(parent, pool_size(entry_size, alignment, max_entry_count), 4);
    pool_lay_out(pool, entry_size, alignment, max_entry_count);
}

void* pool_alloc(pool_t* pool, u64 entry_size) {
    ASSERT(pool);
    if (pool->entry_count >= pool->max_entry_count) return nullptr;
    pool->entry_count++;
    return pool->entries + (u64)pool->free_slots[pool->max_entry_count - pool->entry_count] * entry_size;
}

u64 pool_index_of(pool_t* pool, u64 entry_size, void* entry) {
    return (u64)((u8*)entry - pool->entries) / entry_size;
}

void pool_release_index(pool_t* pool, u32 index) {
    ASSERT(pool && pool->entry_count != 0);
    pool->free_slots[pool->max_entry_count - pool->entry_count] = index;
    pool->entry_count--;
}

void pool_release(pool_t* pool, void* entry, u64 entry_size) {
    ASSERT(entry && pool);
    pool_release_index(pool, (u32)pool_index_of(pool, entry_size, entry));
}

pool_iterator_t pool_iterator_start(pool_t* pool, u64 entry_size, pool_filter_t filter) {
    return pool_iterator_t{pool, entry_size, ~0ull, 0, pool->entry_count, nullptr, filter};
}

void* pool_iterator_next(pool_iterator_t* iterator) {
    iterator->entry = nullptr;
    iterator->index++;
    // Stops once `count` slots were accepted, so a walk over a nearly empty pool
    // of low indices is cheap; slots added during the walk can be missed.
    while (iterator->index < iterator->pool->max_entry_count && iterator->found < iterator->count) {
        u8* slot = iterator->pool->entries + iterator->index * iterator->entry_size;
        if (iterator->filter(slot)) {
            iterator->found++;
            iterator->entry = slot;
            break;
        }
        iterator->index++;
    }
    return iterator->entry;
}

void pool_compact(pool_t* pool, u64 entry_size, pool_filter_t is_alive, pool_mark_dead_t mark_dead) {
    u64 last = pool->max_entry_count - 1;
    u64 visited = 0;
    u64 slot = 0;
    while (visited < pool->entry_count) {
        u8* hole = pool->entries + slot * entry_size;
        if (is_alive(hole)) {
            visited++;
            slot++;
            continue;
        }
        // Fill the hole from the top: order among slots isn't kept.
        while (last > slot) {
            u8* source = pool->entries + last * entry_size;
            last--;
            if (is_alive(source)) {
                bytes_copy(hole, source, entry_size);
                mark_dead(source);
                visited++;
                break;
            }
        }
        slot++;
        if (slot >= pool->max_entry_count) break;
    }
    pool_reset_free_stack(pool);
}

// pool_compact fills the holes below the live count in ascending order with the
// live records above it in descending order: the n-th record from the top takes
// the n-th hole from the bottom.
u64 pool_compacted_slot(pool_t* pool, u64 entry_size, pool_filter_t is_alive, u64 slot) {
    u64 live = pool->entry_count;
    if (slot < live) return slot;
    u64 above = 0;
    for (u64 i = pool->max_entry_count; i-- > slot;) above += is_alive(pool->entries + i * entry_size);
    for (u64 i = 0; i < live; i++) {
        if (is_alive(pool->entries + i * entry_size)) continue;
        if (--above == 0) return i;
    }
    return slot;  // not reached while the count agrees with the slots
}
