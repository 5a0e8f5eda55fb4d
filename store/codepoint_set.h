// codepoint_set_t: the code points that glyphs are baked for, in order of first
// appearance, with a bitmap beside the list so that a membership test is one bit.
#pragma once

#include "base/data.h"

constexpr u32 codepoint_set_capacity = 0x10FFFF;
constexpr u32 codepoint_default_count = 193;

// The start list: printable ASCII, the Latin-1 letters and signs the fonts have,
// then a few single ones in a fixed order.
struct codepoint_default_list_t {
    u32 values[codepoint_default_count];
};
constexpr codepoint_default_list_t codepoint_defaults_make() {
    const u32 runs[][2] = {{0x20, 0x7E}, {0xA0, 0xA3}, {0xA5, 0xA5}, {0xA7, 0xA7}, {0xA9, 0xB3},
                           {0xB5, 0xB7}, {0xB9, 0xBB}, {0xBF, 0xFF}, {0x20AC, 0x20AC}, {0x160, 0x161},
                           {0x17D, 0x17E}, {0x152, 0x153}, {0x178, 0x178}, {0xFFFD, 0xFFFD},
                           {0x2026, 0x2026}};
    codepoint_default_list_t list{};
    u32 n = 0;
    for (auto& run : runs) {
        for (u32 c = run[0]; c <= run[1]; c++) list.values[n++] = c;
    }
    return list;
}
inline constexpr codepoint_default_list_t codepoint_defaults = codepoint_defaults_make();
static_assert(codepoint_defaults.values[codepoint_default_count - 1] == 0x2026, "193 defaults");

struct codepoint_set_t {
    u32 count;
    u32 capacity;
    u32* values;               // `capacity` words
    u8* present;               // one bit per code point 0 to 0x10FFFF, mirrors values[0..count)
    u32 replacement_position;  // where U+FFFD stands in values, for the font code
};

// Bytes that codepoint_set_init takes from its block.
u64 codepoint_set_size();
// Pushes the list and the bitmap into `block` and starts with the defaults.
void codepoint_set_init(codepoint_set_t* set, data_t* block);
// The same in a block of its own, made here, for what runs the store without the
// program's memory (the tool, benches, tests); data_free of the block ends it.
void codepoint_set_create(codepoint_set_t* set, data_t* block);
inline bool codepoint_set_contains(const codepoint_set_t* set, u32 codepoint) {
    return codepoint <= 0x10FFFF && (set->present[codepoint >> 3] & (1u << (codepoint & 7))) != 0;
}
// Appends a code point not yet in the set; a full set is an assertion.
void codepoint_set_add(codepoint_set_t* set, u32 codepoint);
// After values[0..count) were replaced wholesale (a load, a rebuild).
void codepoint_set_rebuild_index(codepoint_set_t* set);
