// Number text: every format flag, the parser's quirks and byte sizes.
#include <gtest/gtest.h>

#include <string>

#include "base/format.h"
#include "base/log.h"

static std::string u64_text(u64 value, u64 width, u8 pad, format_flags_t flags) {
    u8 buffer[64];
    u64 length = format_u64(buffer, sizeof(buffer), value, width, pad, flags);
    return std::string((char*)buffer, length);
}

static std::string i64_text(i64 value, u64 width, u8 pad, format_flags_t flags) {
    u8 buffer[64];
    u64 length = format_i64(buffer, sizeof(buffer), value, width, pad, flags);
    return std::string((char*)buffer, length);
}

static std::string f64_text(f64 value, u64 width, u8 pad, u32 decimals, format_flags_t flags) {
    u8 buffer[64];
    u64 length = format_f64(buffer, sizeof(buffer), value, width, pad, decimals, flags);
    return std::string((char*)buffer, length);
}

TEST(Format, UnsignedFlagTable) {
    const u32 hex = format_hex, bare = format_hex | format_no_prefix;
    struct {
        u64 value;
        u64 width;
        u8 pad;
        format_flags_t flags;
        const char* text;
    } cases[] = {
        {18446744073709551615ull, 0, ' ', 0, "18446744073709551615"},
        {0, 0, ' ', hex, "0x0"},
        {0, 0, ' ', bare | format_digits_2, "00"},
        {255, 0, ' ', hex, "0xff"},
        {0xABCD, 0, ' ', bare | format_group_2, "ab cd"},
        {0xABCDE, 0, ' ', bare | format_group_2, "a bc de"},
        {0x1, 0, ' ', bare | format_digits_8 | format_group_4, "0000 0001"},
        {0x1, 0, ' ', hex | format_digits_4 | format_digits_16, "0x0001"},  // the lowest bit wins
        {0x12345, 0, ' ', bare | format_digits_2, "12345"},                 // raised to the real count
        {0x1, 0, ' ', bare | format_digits_16 | format_group_8, "00000000 00000001"},
        {0xABCD, 0, ' ', bare | format_group_2 | format_group_8, "ab cd"},  // bit 3 is tested first
        {0xFFFFFFFFFFFFFFFFull, 0, ' ', hex, "0xffffffffffffffff"},
        {1234567, 0, ' ', format_group_3, "1 234 567"},
        {7, 5, ' ', format_left, "7    "},
        {7, 4, '0', format_sign, "00+7"},
        {7, 4, '0', format_sign | format_sign_first, "+007"},
        {7, 6, '.', hex, "...0x7"},
        {1234, 7, ' ', format_group_3, "  1 234"},
    };
    for (auto& c : cases) {
        EXPECT_EQ(u64_text(c.value, c.width, c.pad, c.flags), c.text) << c.value << " flags " << c.flags;
    }
}

TEST(Format, SignedFlagTable) {
    struct {
        i64 value;
        u64 width;
        u8 pad;
        format_flags_t flags;
        const char* text;
    } cases[] = {
        {-5, 4, '0', 0, "00-5"},
        {-5, 4, '0', format_sign_first, "-005"},
        {-5, 4, ' ', format_left, "-5  "},
        {5, 0, ' ', format_sign, "+5"},
        {0, 0, ' ', 0, "0"},
        {-1234567, 0, ' ', format_group_3, "-1 234 567"},
        {INT64_MIN, 0, ' ', 0, "-9223372036854775808"},
        {INT64_MIN, 0, ' ', format_hex, "-0x8000000000000000"},
        {-255, 0, ' ', format_hex | format_no_prefix, "-ff"},
    };
    for (auto& c : cases) {
        EXPECT_EQ(i64_text(c.value, c.width, c.pad, c.flags), c.text) << c.value << " flags " << c.flags;
    }
}

TEST(Format, DigitsNeedRoomForWhatIsLeft) {
    u8 buffer[8] = {};
    // Room 3 for "1234": the first digit is skipped, the rest fit.
    EXPECT_EQ(format_u64(buffer, 3, 1234, 0, ' ', 0), 3u);
    EXPECT_EQ(std::string((char*)buffer, 3), "234");
    // With no room a negative value isn't negative, and nothing is written.
    EXPECT_EQ(format_i64(buffer, 0, -5, 0, ' ', 0), 0u);
    // Padding stops at the end of the room.
    EXPECT_EQ(format_u64(buffer, 4, 7, 10, '.', format_left), 4u);
    EXPECT_EQ(std::string((char*)buffer, 4), "7...");
}

TEST(Format, FloatTable) {
    struct {
        f64 value;
        u64 width;
        u32 decimals;
        format_flags_t flags;
        const char* text;
    } cases[] = {
        {0.05, 0, 3, 0, "0.050"},
        {-1.5, 0, 1, 0, "-1.5"},
        {-0.5, 0, 1, 0, "0.5"},  // the truncated integer part is 0: no sign
        {1.9996, 0, 3, 0, "1.999"},
        {3.25, 0, 0, 0, "3"},
        {12.5, 6, 2, 0, "    12.50"},
        {12.5, 6, 2, format_left, "12.50    "},  // width less the integer part's bytes
        {1.5, 0, 1, format_sign, "+1.5"},
    };
    for (auto& c : cases) {
        EXPECT_EQ(f64_text(c.value, c.width, ' ', c.decimals, c.flags), c.text) << c.value;
    }
}

TEST(Format, ParseU64Table) {
    struct {
        const char* text;
        u64 value;
    } cases[] = {
        {"", 0},
        {" \t", 0},
        {"+ +7", 7},
        {"-+7", 0},
        {"+-7", 0ull - 7},
        {"-1", 18446744073709551615ull},
        {"18446744073709551615", 18446744073709551615ull},
        {"0x10", 16},
        {"12ab", 12},
    };
    for (auto& c : cases) {
        EXPECT_EQ(parse_u64((const u8*)c.text, strlen(c.text)), c.value) << c.text;
    }
}

TEST(Format, Sizes) {
    struct {
        u64 size;
        const char* text;
    } cases[] = {
        {0, "0 o"},
        {1023, "1023 o"},
        {1024, "1.000 Kio"},
        {1536, "1.500 Kio"},
        {0x40000000ull * 3, "3.000 Gio"},
        {0x10000000000ull * 5 / 2, "2.500 Tio"},
    };
    for (auto& c : cases) {
        u8 buffer[32];
        u64 length = format_size(c.size, buffer, sizeof(buffer));
        EXPECT_EQ(std::string((char*)buffer, length), c.text) << c.size;
    }

    u8 block_bytes[64];
    data_t block = data_make(sizeof(block_bytes), 2, block_bytes);
    data_t text = format_size_in_block(1536, &block);
    EXPECT_EQ(std::string((char*)text.bytes, text.used), "1.500 Kio");
    EXPECT_EQ(text.reserved, text.used);
    EXPECT_EQ(text.bytes, block_bytes + 2);
    EXPECT_EQ(block.used, 2 + text.used);  // the unused rest went back

    // Too small a buffer drops the unit and says so on the main log.
    u8 small[3];
    log_channel_t* log = log_channel(log_main);
    u8* log_before = log->text.bytes + log->text.used;
    EXPECT_EQ(format_size(12, small, sizeof(small)), 3u);
    EXPECT_EQ(std::string((char*)small, 3), "12 ");
    EXPECT_NE(log->text.bytes + log->text.used, log_before);
}
