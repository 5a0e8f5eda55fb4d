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

void pool_create_alone(pool_t* pool, u64 entry_size, u64 alignment, u32 max_entry_count) {
    pool->block = data_allocate(pool_size(entry_size, alignment, max_entry_count), nullptr);
    ASSERT(pool->block.bytes || pool->block.reserved == 0);
    pool_lay_out(pool, entry_size, alignment, max_entry_count);
}

void pool_destroy(pool_t* pool) {
    data_free(&pool->block);
    data_zero(&pool->block);
    pool->free_slots = nullptr;
    pool->entries = nullptr;
    pool->entry_count = 0;
    pool->max_entry_count = 0;
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

void pool_sort(pool_t* pool, u64 entry_size, bool descending, u64 filter_value, pool_filter_t is_alive,
               pool_sort_filter_t filter, pool_compare_t compare, pool_swap_t swap) {
    if (pool->entry_count == 0) return;
    u64 outer_alive = 0;
    for (u64 i = 0; i < pool->max_entry_count && outer_alive < (u64)pool->entry_count - 1; i++) {
        u8* first = pool->entries + i * entry_size;
        if (!is_alive(first)) continue;
        outer_alive++;
        if (!filter(first, filter_value)) continue;
        u64 inner_alive = outer_alive;
        for (u64 j = i + 1; j < pool->max_entry_count && inner_alive < pool->entry_count; j++) {
            u8* later = pool->entries + j * entry_size;
            if (!is_alive(later)) continue;
            inner_alive++;
            if (!filter(later, filter_value)) continue;
            i32 order = descending ? compare(later, first) : compare(first, later);
            if (order != 0) swap(first, later);
        }
    }
}

void pool_print(pool_t* pool, u64 entry_size) {
    log_write_c_string(log_main, "{\n");
    log_indent_more(log_main);
    log_write_value(log_main, pool->max_entry_count, true, "max_entry_count: ", true);
    log_write_value(log_main, pool->entry_count, true, "entry_count: ", true);
    u64 position = (u64)pool->max_entry_count - ((u64)pool->entry_count + 1);
    log_write_indentation(log_main);
    log_write_c_string(log_main, "first free: [ ");
    log_write_u64(log_main, position);
    log_write_c_string(log_main, " ] ");
    // A full pool has no first free slot; its position wraps and isn't read.
    bool has_free = pool->entry_count < pool->max_entry_count;
    u32 index = has_free ? pool->free_slots[position] : 0;
    log_write_u64(log_main, index);
    log_write_c_string(log_main, " first byte: ");
    log_write_u64(log_main, has_free ? pool->entries[(u64)index * entry_size] : 0);
    log_write_c_string(log_main, "\n");
    log_indent_less(log_main);
    log_write_c_string(log_main, "}\n");
}
