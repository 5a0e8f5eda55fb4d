// Byte, ASCII and Unicode primitives. Decoders never fail hard: they report in the
// shared error value, and the converters replace what they can't read.
#include "base/text.h"

#include <string.h>

#include "profiler/profiler.h"

void bytes_zero(void* first, u64 size) {
    ASSERT(first || size == 0);
    if (size) memset(first, 0, size);
}

u8* bytes_copy(void* target, const void* source, u64 size) {
    ASSERT((target && source) || size == 0);
    if (size) memcpy(target, source, size);
    return (u8*)source + size;
}

void bytes_copy_backward(void* target, const void* source, u64 size) {
    ASSERT((target && source) || size == 0);
    u8* t = (u8*)target;
    const u8* s = (const u8*)source;
    for (u64 i = size; i > 0; i--) t[i - 1] = s[i - 1];
}

u32 text_length(const char* text) {
    if (!text) return 0;
    u32 length = 0;
    while (text[length]) length++;
    return length;
}

bool bytes_equal(const void* a, u64 a_size, const void* b, u64 b_size) {
    if (a_size != b_size) return false;
    ASSERT((a && b) || a_size == 0);
    return a_size == 0 || memcmp(a, b, a_size) == 0;
}

bool data_equal(data_t a, data_t b) { return bytes_equal(a.bytes, a.used, b.bytes, b.used); }

bool bytes_starts_with(const u8* first, const u8* end, const void* prefix, u64 prefix_size) {
    ASSERT(first && prefix);
    if ((u64)(end - first) < prefix_size || end < first) return false;
    return memcmp(first, prefix, prefix_size) == 0;
}

bool data_starts_with(data_t text, data_t prefix) {
    return bytes_starts_with(text.bytes, text.bytes + text.used, prefix.bytes, prefix.used);
}

static bool bytes_equal_folded(const u8* a, const u8* b, u64 size) {
    for (u64 i = 0; i < size; i++) {
        if (char_to_lower(a[i]) != char_to_lower(b[i])) return false;
    }
    return true;
}

bool bytes_starts_with_no_case(const u8* first, const u8* end, const void* prefix, u64 prefix_size) {
    ASSERT(first && prefix);
    if (end < first || (u64)(end - first) < prefix_size) return false;
    return bytes_equal_folded(first, (const u8*)prefix, prefix_size);
}

void data_to_lower(data_t text) {
    for (u64 i = 0; i < text.used; i++) {
        if (char_is_upper(text.bytes[i])) text.bytes[i] = (u8)char_to_lower(text.bytes[i]);
    }
}

u8* bytes_find(u8* first, u8* end, const void* needle, u64 needle_size) {
    if (!first || !end || first >= end || needle_size == 0 || needle_size > (u64)(end - first)) return end;
    u8* last_start = end + 1 - needle_size;
    for (u8* at = first; at < last_start; at++) {
        if (memcmp(at, needle, needle_size) == 0) return at;
    }
    return end;
}

u8* bytes_find_not_space(u8* first, u8* end) {
    for (u8* at = first; at < end; at++) {
        if (!char_is_space(*at)) return at;
    }
    return nullptr;
}

// FNV-1a at either width: only the offset basis and the prime differ.
template <typename hash_t> static hash_t hash_fnv1a(const void* bytes, u64 size, hash_t basis, hash_t prime) {
    const u8* b = (const u8*)bytes;
    hash_t hash = basis;
    for (u64 i = 0; i < size; i++) {
        hash ^= b[i];
        hash *= prime;
    }
    return hash;
}

u32 hash_fnv1a_32(const void* bytes, u64 size) { return hash_fnv1a<u32>(bytes, size, 0x811C9DC5u, 16777619u); }

void utf8_decode(const u8* first, const u8* end, u32* codepoint, u32* length, utf_error_t* error) {
    if (*error) return;
    *codepoint = codepoint_invalid;
    *length = 0;
    if (first >= end) {
        *error = utf_error_empty;
        return;
    }
    u8 lead = first[0];
    if (lead <= 0x7F) {
        *codepoint = lead;
        *length = 1;
        return;
    }
    u32 continuation_count;
    u32 value;
    u8 low = 0x80;
    u8 high = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF) {
        continuation_count = 1;
        value = lead & 0x1F;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        continuation_count = 2;
        value = lead & 0x0F;
        if (lead == 0xE0) low = 0xA0;  // overlong
        if (lead == 0xED) high = 0x9F; // surrogates
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        continuation_count = 3;
        value = lead & 0x07;
        if (lead == 0xF0) low = 0x90;  // overlong
        if (lead == 0xF4) high = 0x8F; // above U+10FFFF
    } else {
        *error = utf_error_invalid_lead_byte;
        return;
    }
    *length = continuation_count + 1;
    if (!(continuation_count < (u64)(end - first))) {
        *error = utf_error_truncated;
        return;
    }
    for (u32 i = 1; i <= continuation_count; i++) {
        u8 c = first[i];
        if (c < low || c > high) {
            *error = utf_error_invalid_continuation;
            return;
        }
        low = 0x80;
        high = 0xBF;
        value = (value << 6) | (c & 0x3F);
    }
    *codepoint = value;
}

void utf8_encode(u8* first, u8* end, u32 codepoint, u32* length, utf_error_t* error) {
    if (*error) return;
    if (!codepoint_is_valid(codepoint)) {
        *error = utf_error_invalid_codepoint;
        return;
    }
    // These bounds are the program's own: U+07FF takes the three-byte form, U+FFFF
    // the four-byte form and U+10FFFF nothing at all. Stored text depends on it.
    u32 count;
    if (codepoint <= 0x7F) {
        count = 1;
    } else if (codepoint < 0x7FF) {
        count = 2;
    } else if (codepoint < 0xFFFF) {
        count = 3;
    } else if (codepoint < 0x10FFFF) {
        count = 4;
    } else {
        count = 0;
    }
    *length = count;
    if (!first) return;
    if ((u64)(end - first) < count) {
        *error = utf_error_target_too_small;
        return;
    }
    switch (count) {
    case 1:
        first[0] = (u8)codepoint;
        break;
    case 2:
        first[0] = (u8)(0xC0 | (codepoint >> 6));
        first[1] = (u8)(0x80 | (codepoint & 0x3F));
        break;
    case 3:
        first[0] = (u8)(0xE0 | (codepoint >> 12));
        first[1] = (u8)(0x80 | ((codepoint >> 6) & 0x3F));
        first[2] = (u8)(0x80 | (codepoint & 0x3F));
        break;
    case 4:
        first[0] = (u8)(0xF0 | (codepoint >> 18));
        first[1] = (u8)(0x80 | ((codepoint >> 12) & 0x3F));
        first[2] = (u8)(0x80 | ((codepoint >> 6) & 0x3F));
        first[3] = (u8)(0x80 | (codepoint & 0x3F));
        break;
    }
}

u32 utf8_last_char_length(const u8* first, const u8* end) {
    if (first >= end) return 0;
    u64 size = (u64)(end - first);
    for (u64 back = 1;; back++) {
        if (back > size) return (u32)size;  // left the range without a whole character
        if (back >= 5) return 1;            // four tries in vain
        u32 codepoint, length;
        utf_error_t error = 0;
        utf8_decode(end - back, end, &codepoint, &length, &error);
        if (!error) return length;
    }
}

static u32 utf16_read_unit(const u8* at, u32 big_endian) {
    return big_endian ? (u32)(at[0] << 8 | at[1]) : (u32)(at[1] << 8 | at[0]);
}

static void utf16_write_unit(u8* at, u32 unit, u32 big_endian) {
    if (big_endian) {
        at[0] = (u8)(unit >> 8);
        at[1] = (u8)unit;
    } else {
        at[0] = (u8)unit;
        at[1] = (u8)(unit >> 8);
    }
}

void utf16_decode(const u8* first, const u8* end, u32* codepoint, u32* units, u32 big_endian, utf_error_t* error) {
    if (*error) return;
    *codepoint = codepoint_invalid;
    if (first >= end || end - first < 2) {
        *units = 1;
        *error = utf_error_empty;
        return;
    }
    u32 unit = utf16_read_unit(first, big_endian);
    if (unit < 0xD800 || unit > 0xDFFF) {
        *codepoint = unit;
        *units = 1;
        return;
    }
    *units = 2;
    if (end - first < 4) {
        *error = utf_error_truncated;
        return;
    }
    u32 second = utf16_read_unit(first + 2, big_endian);
    if (unit >= 0xDC00 || second < 0xDC00 || second > 0xDFFF) {
        *error = utf_error_invalid_surrogate;
        return;
    }
    *codepoint = (((unit - 0xD800) * 1024) | (second - 0xDC00)) + 0x10000;
}

void utf16_encode(u8* first, u8* end, u32 codepoint, u32* units, u32 big_endian, utf_error_t* error) {
    if (*error) return;
    if (!codepoint_is_valid(codepoint)) {
        *error = utf_error_invalid_codepoint;
        return;
    }
    u32 count = codepoint > 0xFFFF ? 2 : 1;
    *units = count;
    if (!first) return;
    if ((u64)(end - first) < 2 * count) {
        *error = utf_error_target_too_small;
        return;
    }
    if (count == 1) {
        utf16_write_unit(first, codepoint, big_endian);
    } else {
        u32 value = codepoint - 0x10000;
        utf16_write_unit(first, 0xD800 + (value >> 10), big_endian);
        utf16_write_unit(first + 2, 0xDC00 + (value & 0x3FF), big_endian);
    }
}

u64 utf16_to_utf8(const u16* source, u64 unit_count, u8* target, u64 target_size, utf_error_t* error) {
    if (*error) return 0;
    const u8* at = (const u8*)source;
    const u8* end = at + unit_count * 2;
    u64 written = 0;
    while (at < end) {
        // Fast paths for units outside the surrogates, with the same bounds as
        // utf8_encode (U+07FF and U+FFFF take the slow path and its longer forms).
        u32 unit = end - at >= 2 ? (u32)(at[1] << 8 | at[0]) : 0xD800;
        if (unit < 0x80 && written < target_size) {
            target[written++] = (u8)unit;
            at += 2;
            continue;
        }
        if (unit < 0x7FF && unit >= 0x80 && target_size - written >= 2 && written <= target_size) {
            target[written++] = (u8)(0xC0 | (unit >> 6));
            target[written++] = (u8)(0x80 | (unit & 0x3F));
            at += 2;
            continue;
        }
        if (unit > 0x7FF && unit < 0xFFFF && (unit < 0xD800 || unit > 0xDFFF) && written <= target_size &&
            target_size - written >= 3) {
            target[written++] = (u8)(0xE0 | (unit >> 12));
            target[written++] = (u8)(0x80 | ((unit >> 6) & 0x3F));
            target[written++] = (u8)(0x80 | (unit & 0x3F));
            at += 2;
            continue;
        }
        u32 codepoint, units, length = 0;
        utf16_decode(at, end, &codepoint, &units, 0, error);
        if (*error) {
            codepoint = codepoint_replacement;
            units = 1;
            *error = 0;
        }
        utf8_encode(target + written, target + target_size, codepoint, &length, error);
        if (*error) break;
        written += length;
        at += 2 * units;
    }
    return written;
}

u64 utf8_to_utf16(const u8* source, u64 size, u16* target, u64 target_size, utf_error_t* error) {
    if (*error) return 0;
    const u8* end = source + size;
    u8* out = (u8*)target;
    u8* out_end = out + target_size * 2;
    u64 written = 0;
    while (source < end) {
        if (*source < 0x80 && written < target_size) {
            out[written * 2] = *source++;  // ASCII, the bulk of most text
            out[written * 2 + 1] = 0;
            written++;
            continue;
        }
        u32 codepoint, length, units = 0;
        utf8_decode(source, end, &codepoint, &length, error);
        if (*error) {
            codepoint = codepoint_replacement;
            length = 1;
            *error = 0;
        }
        utf16_encode(out + written * 2, out_end, codepoint, &units, 0, error);
        if (*error) break;
        written += units;
        source += length;
    }
    return written;
}
