// The named reference table: its ends, pairs and case-sensitive lookup.
#include <gtest/gtest.h>

#include <cstring>

#include "html/named_references.h"

static u32 lookup(const char* name, u32* first, u32* second) {
    return named_reference_lookup((const u8*)name, strlen(name), first, second);
}

TEST(NamedReferences, Lookup) {
    struct {
        const char* name;
        u32 count, first, second;
    } cases[] = {
        {"amp", 1, '&', 0xFFFFFFFF},
        {"lt", 1, '<', 0xFFFFFFFF},
        {"agrave", 1, 0xE0, 0xFFFFFFFF},
        {"Agrave", 1, 0xC0, 0xFFFFFFFF},
        {"AGRAVE", 0, 0xFFFFFFFF, 0xFFFFFFFF},
        {"acE", 2, 0x223E, 0x0333},
        {"NotEqualTilde", 2, 0x2242, 0x0338},
        {"zwnj", 1, 0x200C, 0xFFFFFFFF},
        {"Aacute", 1, 0xC1, 0xFFFFFFFF},
        {"CounterClockwiseContourIntegral", 1, 0x2233, 0xFFFFFFFF},
        {"CounterClockwiseContourIntegralX", 0, 0xFFFFFFFF, 0xFFFFFFFF},
        {"fjlig", 2, 'f', 'j'},
        {"agravenonsense", 0, 0xFFFFFFFF, 0xFFFFFFFF},
        {"agrav", 0, 0xFFFFFFFF, 0xFFFFFFFF},
        {"", 0, 0xFFFFFFFF, 0xFFFFFFFF},
        {"amp;", 0, 0xFFFFFFFF, 0xFFFFFFFF},
    };
    for (const auto& c : cases) {
        u32 first = 1, second = 1;
        EXPECT_EQ(lookup(c.name, &first, &second), c.count) << c.name;
        EXPECT_EQ(first, c.first) << c.name;
        EXPECT_EQ(second, c.second) << c.name;
    }
    // The second row of a pair is never a match of its own, whatever its length.
    EXPECT_EQ(named_reference_find((const u8*)"", 0), named_reference_row_count);
}
