// Lookup in the named character reference table. Linear with a length test first:
// references are rare in text and the table is small, so an index isn't worth its
// memory.
#include "html/named_references.h"

u32 named_reference_find(const u8* name, u64 length) {
    if (!name || length == 0 || length > named_reference_name_capacity) return named_reference_row_count;
    for (u32 row = 0; row < named_reference_row_count; row++) {
        const char* candidate = named_reference_names[row];
        if (!candidate || named_reference_lengths[row] != length) continue;
        u64 i = 0;
        while (i < length && (u8)candidate[i] == name[i]) i++;
        if (i == length) return row;
    }
    return named_reference_row_count;
}

u32 named_reference_lookup(const u8* name, u64 length, u32* first, u32* second) {
    if (first) *first = 0xFFFFFFFF;
    if (second) *second = 0xFFFFFFFF;
    u32 row = named_reference_find(name, length);
    if (row == named_reference_row_count) return 0;
    if (first) *first = named_reference_codepoints[row];
    u32 next = row + 1;
    if (next < named_reference_row_count && !named_reference_names[next]) {
        if (second) *second = named_reference_codepoints[next];
        return 2;
    }
    return 1;
}
