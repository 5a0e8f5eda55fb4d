// data_t: every memory block, sub-block, view and string of the program, and the
// operations that reserve, commit, carve and push into blocks.
#pragma once

#include "base/types.h"

// A string is a data_t whose `used` is its length in bytes, UTF-8, with no
// terminator. A literal has reserved = length + 1.
struct data_t {
    u64 reserved;
    u64 used;
    u8* bytes;
};

extern u32 memory_page_size;               // 4096 until memory_query_system runs
extern u32 memory_allocation_granularity;  // 65536 until memory_query_system runs
constexpr u64 memory_default_alignment = 8;
extern u64 memory_total;                   // only ever rises; nothing reads it

// A string literal as a data_t: reserved counts the terminating zero, used doesn't.
template <u64 N> inline data_t data_literal(const char (&text)[N]) {
    return data_t{N, N - 1, (u8*)text};
}

inline u64 align_padding(u64 value, u64 alignment) { return (0 - value) & (alignment - 1); }
inline u64 align_up(u64 value, u64 alignment) { return (value + alignment - 1) & ~(alignment - 1); }

// Fills whichever outputs are non-null and stores the first two in the globals.
void memory_query_system(u32* page_size, u32* allocation_granularity, void** lowest_address,
                         void** highest_address);

data_t data_allocate(u64 size, void* address = nullptr);
data_t data_reserve(u64 size, void* address = nullptr);
u8* data_commit(data_t* block, u64 size);
void data_decommit(data_t* block, u64 size);
// For a reservation that is committed, filled and decommitted in bulk.
void data_advise_large_pages(data_t* block);
void data_free(data_t* block);

data_t data_sub_block(data_t* parent, u64 size, u64 alignment);
data_t data_sub_block_rest(data_t* parent, u64 alignment);
// A sub-block if it fits, else a zero block, nothing taken, and *ok false. Once *ok
// is false the later calls of a sequence take nothing either, so that the caller
// tests once at the end: for blocks sized by a prediction, which may fall short.
data_t data_sub_block_try(data_t* parent, u64 size, u64 alignment, bool* ok);
data_t data_free_view_64(data_t* parent);
data_t data_free_view(data_t* parent);

inline data_t data_make(u64 reserved, u64 used, void* bytes) { return data_t{reserved, used, (u8*)bytes}; }
inline data_t data_from_size(u64 size, const void* bytes) { return data_t{size, size, (u8*)bytes}; }
inline data_t data_from_range(const void* first, const void* end) {
    u64 size = (u64)((const u8*)end - (const u8*)first);
    return data_t{size, size, (u8*)first};
}
inline void data_zero(data_t* block) { *block = data_t{}; }
inline void data_clear(data_t* block) { block->used = 0; }
inline u8* data_end(data_t block) { return block.bytes + block.used; }
u64 data_shrink_to_used(data_t* block);
inline void data_pop(data_t* block, u64 size) { block->used -= size; }

// The allocator of the whole program. alignment is 0 (meaning 8), 1, 2, 4 or 8.
// A full block logs one line on channel 0 and gives null, the block unchanged.
void* data_push(data_t* block, u64 size, u64 alignment);
u8* data_push_u8(data_t* block, u8 value);
void* data_push_bytes(data_t* block, const void* bytes, u64 size, u64 alignment);
u8* data_push_string(data_t* block, const void* bytes, u64 size);
u8* data_push_c_string(data_t* block, const char* text);
