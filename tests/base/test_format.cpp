// Number text: plain, padded and hexadecimal numbers, the parser's quirks and byte sizes.
#include <gtest/gtest.h>

#include <string>

#include "base/format.h"
#include "base/log.h"

static std::string u64_text(u64 value, u64 width, u8 pad, format_flags_t flags) {
    u8 buffer[64];
    u64 length = format_u64(buffer, sizeof(buffer), value, width, pad, flags);
    return std::string((char*)buffer, length);
}

static std::string i64_text(i64 value) {
    u8 buffer[64];
    u64 length = format_i64(buffer, sizeof(buffer), value);
    return std::string((char*)buffer, length);
}

static std::string f64_text(f64 value, u32 decimals) {
    u8 buffer[64];
    u64 length = format_f64(buffer, sizeof(buffer), value, decimals);
    return std::string((char*)buffer, length);
}

// Plain, padded and hexadecimal numbers.
TEST(Format, IntegerTable) {
    struct {
        i64 value;
        bool is_signed;
        u64 width;
        u8 pad;
        format_flags_t flags;
        const char* text;
    } cases[] = {
        {-1, false, 0, ' ', 0, "18446744073709551615"},
        {0, false, 0, ' ', format_hex, "0x0"},
        {-1, false, 0, ' ', format_hex, "0xffffffffffffffff"},
        {7, false, 6, '.', format_hex, "...0x7"},  // the width counts the prefix
        {42, false, 4, '0', 0, "0042"},
        {0, true, 0, ' ', 0, "0"},
        {INT64_MIN, true, 0, ' ', 0, "-9223372036854775808"},
    };
    for (auto& c : cases) {
        std::string text = c.is_signed ? i64_text(c.value)
                                       : u64_text((u64)c.value, c.width, c.pad, c.flags);
        EXPECT_EQ(text, c.text) << c.value << " flags " << c.flags;
    }
}

TEST(Format, DigitsNeedRoomForWhatIsLeft) {
    u8 buffer[8] = {};
    // Room 3 for "1234": the first digit is skipped, the rest fit.
    EXPECT_EQ(format_u64(buffer, 3, 1234, 0, ' ', 0), 3u);
    EXPECT_EQ(std::string((char*)buffer, 3), "234");
    // With no room a negative value isn't negative, and nothing is written.
    EXPECT_EQ(format_i64(buffer, 0, -5), 0u);
}

// Sizes print three decimals, cut rather than rounded.
TEST(Format, FloatTable) {
    struct {
        f64 value;
        const char* text;
    } cases[] = {
        {0.05, "0.050"},
        {1.9996, "1.999"},
    };
    for (auto& c : cases) {
        EXPECT_EQ(f64_text(c.value, 3), c.text) << c.value;
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
