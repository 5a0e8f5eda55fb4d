// The code point set and its built-in start list.
#include "store/codepoint_set.h"

#include "base/text.h"

static constexpr u64 codepoint_bitmap_size = (0x10FFFF + 1) / 8;

u64 codepoint_set_size() { return (u64)codepoint_set_capacity * 4 + codepoint_bitmap_size + 8; }

void codepoint_set_init(codepoint_set_t* set, data_t* block) {
    set->capacity = codepoint_set_capacity;
    set->values = (u32*)data_push(block, (u64)codepoint_set_capacity * 4, 4);
    set->present = (u8*)data_push(block, codepoint_bitmap_size, 8);
    ASSERT(set->values && set->present);
    bytes_copy(set->values, codepoint_defaults.values, sizeof(u32) * codepoint_default_count);
    set->count = codepoint_default_count;
    codepoint_set_rebuild_index(set);
}

void codepoint_set_create(codepoint_set_t* set, data_t* block) {
    *block = data_allocate(codepoint_set_size());
    ASSERT(block->bytes);
    *set = codepoint_set_t{};
    codepoint_set_init(set, block);
}

void codepoint_set_add(codepoint_set_t* set, u32 codepoint) {
    ASSERT(set->count < set->capacity);
    ASSERT(codepoint <= 0x10FFFF);
    set->values[set->count++] = codepoint;
    set->present[codepoint >> 3] |= (u8)(1u << (codepoint & 7));
}

void codepoint_set_rebuild_index(codepoint_set_t* set) {
    bytes_zero(set->present, codepoint_bitmap_size);
    set->replacement_position = 0;
    for (u32 i = 0; i < set->count; i++) {
        u32 c = set->values[i];
        if (c > 0x10FFFF) continue;
        set->present[c >> 3] |= (u8)(1u << (c & 7));
        if (c == codepoint_replacement) set->replacement_position = i;
    }
}
