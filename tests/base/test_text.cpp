// Text primitives: UTF-8 and UTF-16 coding with their errors, search, compares and
// copies.
#include <gtest/gtest.h>

#include <string.h>

#include <string>
#include <vector>

#include "base/text.h"

static data_t view(const std::string& s) { return data_from_size(s.size(), s.data()); }

TEST(Text, ClassesAtTheirBorders) {
    EXPECT_TRUE(char_is_space(11));  // the vertical tab counts here
    EXPECT_FALSE(char_is_space(0));
    EXPECT_FALSE(char_is_control(127));
    EXPECT_TRUE(char_is_control(159));
    EXPECT_FALSE(char_is_control(160));
    EXPECT_TRUE(codepoint_is_valid(0xD7FF));
    EXPECT_FALSE(codepoint_is_valid(0xDFFF));
    EXPECT_TRUE(codepoint_is_valid(0x10FFFF));
    EXPECT_FALSE(codepoint_is_valid(0x110000));
    EXPECT_EQ(char_hex_value('F'), 15u);
    EXPECT_EQ(char_to_lower('['), (u32)'[');
}

TEST(Text, Utf8DecodeTable) {
    struct {
        std::vector<u8> bytes;
        u32 codepoint;
        u32 length;
        utf_error_t error;
    } cases[] = {
        {{}, codepoint_invalid, 0, 1},
        {{0x41}, 0x41, 1, 0},
        {{0xC3, 0xA9}, 0xE9, 2, 0},
        {{0xE2, 0x82, 0xAC}, 0x20AC, 3, 0},  // last byte is the range's last
        {{0xF0, 0x9F, 0x98, 0x80}, 0x1F600, 4, 0},
        {{0xF4, 0x8F, 0xBF, 0xBF}, 0x10FFFF, 4, 0},
        {{0xC0, 0x80}, codepoint_invalid, 0, 5},
        {{0xF5, 0x80, 0x80, 0x80}, codepoint_invalid, 0, 5},
        {{0x80}, codepoint_invalid, 0, 5},
        {{0xE0, 0x80, 0x80}, codepoint_invalid, 3, 6},
        {{0xED, 0xA0, 0x80}, codepoint_invalid, 3, 6},
        {{0xF4, 0x90, 0x80, 0x80}, codepoint_invalid, 4, 6},
        {{0xF0, 0x8F, 0x80, 0x80}, codepoint_invalid, 4, 6},
        {{0xE2, 0x82, 0x41}, codepoint_invalid, 3, 6},
        {{0xE2}, codepoint_invalid, 3, 2},
        {{0xE2, 0x82}, codepoint_invalid, 3, 2},
    };
    for (auto& c : cases) {
        u32 codepoint = 0, length = 99;
        utf_error_t error = 0;
        utf8_decode(c.bytes.data(), c.bytes.data() + c.bytes.size(), &codepoint, &length, &error);
        EXPECT_EQ(codepoint, c.codepoint) << testing::PrintToString(c.bytes);
        EXPECT_EQ(length, c.length) << testing::PrintToString(c.bytes);
        EXPECT_EQ(error, c.error) << testing::PrintToString(c.bytes);
    }
    // A set error makes the call do nothing.
    u8 a = 'a';
    u32 codepoint = 5, length = 5;
    utf_error_t error = 3;
    utf8_decode(&a, &a + 1, &codepoint, &length, &error);
    EXPECT_EQ(codepoint, 5u);
    EXPECT_EQ(error, 3u);
}

TEST(Text, Utf8EncodeKeepsItsOwnBounds) {
    struct {
        u32 codepoint;
        std::vector<u8> bytes;
        utf_error_t error;
    } cases[] = {
        {0x7F, {0x7F}, 0},
        {0x80, {0xC2, 0x80}, 0},
        {0x7FE, {0xDF, 0xBE}, 0},
        {0x7FF, {0xE0, 0x9F, 0xBF}, 0},
        {0x20AC, {0xE2, 0x82, 0xAC}, 0},
        {0xFFFF, {0xF0, 0x8F, 0xBF, 0xBF}, 0},
        {0x1F600, {0xF0, 0x9F, 0x98, 0x80}, 0},
        {0x10FFFF, {}, 0},
        {0xD800, {}, 4},
        {0x110000, {}, 4},
    };
    for (auto& c : cases) {
        u8 out[8] = {};
        u32 length = 0;
        utf_error_t error = 0;
        utf8_encode(out, out + sizeof(out), c.codepoint, &length, &error);
        EXPECT_EQ(error, c.error) << c.codepoint;
        EXPECT_EQ(std::vector<u8>(out, out + length), c.bytes) << c.codepoint;
    }
    // Length only, and a target that is too small.
    u32 length = 0;
    utf_error_t error = 0;
    utf8_encode(nullptr, nullptr, 0x20AC, &length, &error);
    EXPECT_EQ(length, 3u);
    EXPECT_EQ(error, 0u);
    u8 small[2] = {1, 1};
    utf8_encode(small, small + 2, 0x20AC, &length, &error);
    EXPECT_EQ(error, 3u);
    EXPECT_EQ(small[0], 1);
}

TEST(Text, Utf8LastCharLength) {
    std::string mixed = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80";
    const u8* first = (const u8*)mixed.data();
    const u8* end = first + mixed.size();
    EXPECT_EQ(utf8_last_char_length(first, end), 4u);
    EXPECT_EQ(utf8_last_char_length(first, end - 4), 3u);
    EXPECT_EQ(utf8_last_char_length(first, first + 1), 1u);
    EXPECT_EQ(utf8_last_char_length(first, first), 0u);
    std::string tails = "\x80\x80";  // leaves the range without a character
    EXPECT_EQ(utf8_last_char_length((const u8*)tails.data(), (const u8*)tails.data() + 2), 2u);
    std::string many = "a\x80\x80\x80\x80\x80";  // four tries in vain
    EXPECT_EQ(utf8_last_char_length((const u8*)many.data(), (const u8*)many.data() + many.size()), 1u);
}

TEST(Text, Utf16DecodeTable) {
    struct {
        std::vector<u8> bytes;
        u32 big_endian;
        u32 codepoint;
        u32 units;
        utf_error_t error;
    } cases[] = {
        {{0x41, 0x00}, 0, 0x41, 1, 0},
        {{0x00, 0x41}, 1, 0x41, 1, 0},
        {{0x3D, 0xD8, 0x00, 0xDE}, 0, 0x1F600, 2, 0},
        {{0xD8, 0x3D, 0xDE, 0x00}, 1, 0x1F600, 2, 0},
        {{0x41}, 0, codepoint_invalid, 1, 1},
        {{0x00, 0xD8}, 0, codepoint_invalid, 2, 2},
        {{0x00, 0xDC, 0x00, 0xD8}, 0, codepoint_invalid, 2, 7},
        {{0x00, 0xD8, 0x41, 0x00}, 0, codepoint_invalid, 2, 7},
    };
    for (auto& c : cases) {
        u32 codepoint = 0, units = 0;
        utf_error_t error = 0;
        utf16_decode(c.bytes.data(), c.bytes.data() + c.bytes.size(), &codepoint, &units, c.big_endian, &error);
        EXPECT_EQ(codepoint, c.codepoint) << testing::PrintToString(c.bytes);
        EXPECT_EQ(units, c.units) << testing::PrintToString(c.bytes);
        EXPECT_EQ(error, c.error) << testing::PrintToString(c.bytes);
    }
}

TEST(Text, CompareAndFold) {
    EXPECT_TRUE(data_equal(data_t{}, data_t{}));
    EXPECT_TRUE(data_starts_with(data_literal("<?xml"), data_literal("<?")));
    EXPECT_FALSE(data_starts_with(data_literal("<"), data_literal("<?")));
    std::string mixed = "MiXeD 1";
    data_to_lower(view(mixed));
    EXPECT_EQ(mixed, "mixed 1");
}

TEST(Text, SearchTable) {
    std::string hay = "abcabc";
    u8* first = (u8*)hay.data();
    u8* end = first + hay.size();
    EXPECT_EQ(bytes_find(first, end, "bc", 2), first + 1);
    EXPECT_EQ(bytes_find(first, end, "abcabc", 6), first);
    EXPECT_EQ(bytes_find(first, end, "", 0), end);
    EXPECT_EQ(bytes_find(first, end, "abcabca", 7), end);
    EXPECT_EQ(bytes_find(first, first, "a", 1), first);

    std::string spaced = " a b ";
    u8* s = (u8*)spaced.data();
    u8* s_end = s + spaced.size();
    EXPECT_EQ(bytes_find_not_space(s, s_end), s + 1);
    EXPECT_EQ(bytes_find_not_space(s, s + 1), nullptr);
}

TEST(Text, EditingAndHashes) {
    EXPECT_EQ(hash_fnv1a_32("", 0), 0x811C9DC5u);
    EXPECT_EQ(hash_fnv1a_32("a", 1), 0xE40C292Cu);

    u8 buffer[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    bytes_copy_backward(buffer + 2, buffer, 6);
    EXPECT_EQ(std::vector<u8>(buffer, buffer + 8), (std::vector<u8>{1, 2, 1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(bytes_copy(buffer, buffer + 4, 2), buffer + 6);
}
