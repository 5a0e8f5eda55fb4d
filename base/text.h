// Byte, ASCII and Unicode primitives: classes, compare, search, UTF-8 and UTF-16
// coding and converters. No locale, no allocation unless a block is given.
// Ranges are a first and an end pointer, the end exclusive.
#pragma once

#include "base/data.h"

inline bool char_is_upper(u32 c) { return c >= 65 && c <= 90; }
inline bool char_is_lower(u32 c) { return c >= 97 && c <= 122; }
inline bool char_is_alpha(u32 c) { return char_is_upper(c) || char_is_lower(c); }
inline bool char_is_digit(u32 c) { return c >= 48 && c <= 57; }
inline bool char_is_hex(u32 c) { return char_is_digit(c) || (c >= 97 && c <= 102) || (c >= 65 && c <= 70); }
inline bool char_is_alnum(u32 c) { return char_is_digit(c) || char_is_alpha(c); }
inline bool char_is_space(u32 c) { return c == 32 || c == 9 || c == 11 || c == 12 || c == 10 || c == 13; }
inline bool char_is_control(u32 c) { return c < 32 || (c >= 128 && c <= 159); }
inline bool codepoint_is_valid(u32 c) { return c < 0xD800 || (c >= 0xE000 && c <= 0x10FFFF); }
inline u32 char_to_lower(u32 c) { return char_is_upper(c) ? c + 32 : c; }
inline u8 char_digit_value(u32 c) { return (u8)(c - 48); }
inline u32 char_hex_value(u32 c) {
    if (c >= 48 && c <= 57) return c - 48;
    if (c >= 97 && c <= 102) return c - 87;
    return c - 55;
}

constexpr u32 codepoint_invalid = 0xFFFFFFFF;
constexpr u32 codepoint_replacement = 0xFFFD;

// Shared error value of the Unicode routines: zeroed by the caller, and a routine
// entered with it set does nothing.
typedef u32 utf_error_t;
enum : u32 {
    utf_error_none = 0,
    utf_error_empty = 1,
    utf_error_truncated = 2,
    utf_error_target_too_small = 3,
    utf_error_invalid_codepoint = 4,
    utf_error_invalid_lead_byte = 5,
    utf_error_invalid_continuation = 6,
    utf_error_invalid_surrogate = 7,
};

void bytes_zero(void* first, u64 size);
u8* bytes_copy(void* target, const void* source, u64 size);  // returns the source's end
void bytes_copy_backward(void* target, const void* source, u64 size);
u32 text_length(const char* text);

bool bytes_equal(const void* a, u64 a_size, const void* b, u64 b_size);
bool data_equal(data_t a, data_t b);
bool bytes_starts_with(const u8* first, const u8* end, const void* prefix, u64 prefix_size);
bool data_starts_with(data_t text, data_t prefix);
bool bytes_starts_with_no_case(const u8* first, const u8* end, const void* prefix, u64 prefix_size);
void data_to_lower(data_t text);

// Gives `end` when nothing is found.
u8* bytes_find(u8* first, u8* end, const void* needle, u64 needle_size);
// Gives null when nothing is found.
u8* bytes_find_not_space(u8* first, u8* end);

inline bool char_is_any(u32 c, const void* set, u64 set_size) {
    const u8* s = (const u8*)set;
    for (u64 i = 0; i < set_size; i++) {
        if (c == s[i]) return true;
    }
    return false;
}

u32 hash_fnv1a_32(const void* bytes, u64 size);

void utf8_decode(const u8* first, const u8* end, u32* codepoint, u32* length, utf_error_t* error);
// A null `first` asks for the length alone.
void utf8_encode(u8* first, u8* end, u32 codepoint, u32* length, utf_error_t* error);
u32 utf8_last_char_length(const u8* first, const u8* end);

// big_endian 0 means little-endian.
void utf16_decode(const u8* first, const u8* end, u32* codepoint, u32* units, u32 big_endian, utf_error_t* error);
void utf16_encode(u8* first, u8* end, u32 codepoint, u32* units, u32 big_endian, utf_error_t* error);

// Bad input is replaced by U+FFFD, never fatal; the error is then cleared.
u64 utf16_to_utf8(const u16* source, u64 unit_count, u8* target, u64 target_size, utf_error_t* error);
// target_size counts 16-bit units.
u64 utf8_to_utf16(const u8* source, u64 size, u16* target, u64 target_size, utf_error_t* error);
