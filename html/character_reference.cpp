// Numeric and named character references on the table of named references.
#include "html/character_reference.h"

#include "base/text.h"
#include "html/named_references.h"
#include "profiler/profiler.h"

// Rows by first letter ignoring case and by length, each bucket in table order:
// the walk over one bucket keeps the table's rule that the first exact match wins
// and compares the bytes of only the names that could match.
constexpr u32 hp_reference_letters = 26;
constexpr u32 hp_reference_lengths = named_reference_name_capacity + 1;
constexpr u32 hp_reference_buckets = hp_reference_letters * hp_reference_lengths;

struct hp_reference_index_t {
    u16 starts[hp_reference_buckets + 1];
    u16 rows[named_reference_name_count];
};

static u32 hp_reference_bucket(u8 first_byte, u32 length) {
    return (u32)(char_to_lower(first_byte) - 'a') * hp_reference_lengths + length;
}

static hp_reference_index_t hp_reference_index_make() {
    hp_reference_index_t index = {};
    u32 counts[hp_reference_buckets + 1] = {};
    for (u32 row = 0; row < named_reference_row_count; row++) {
        const char* name = named_reference_names[row];
        if (!name) continue;
        ASSERT(char_is_alpha((u8)name[0]));
        counts[hp_reference_bucket((u8)name[0], named_reference_lengths[row])]++;
    }
    u32 total = 0;
    for (u32 bucket = 0; bucket < hp_reference_buckets; bucket++) {
        index.starts[bucket] = (u16)total;
        total += counts[bucket];
        counts[bucket] = index.starts[bucket];
    }
    index.starts[hp_reference_buckets] = (u16)total;
    for (u32 row = 0; row < named_reference_row_count; row++) {
        const char* name = named_reference_names[row];
        if (!name) continue;
        index.rows[counts[hp_reference_bucket((u8)name[0], named_reference_lengths[row])]++] = (u16)row;
    }
    return index;
}

u32 hp_named_reference_lookup(const u8* name, u32 length, u32* first, u32* second) {
    *first = codepoint_invalid;
    *second = codepoint_invalid;
    if (length == 0 || length > named_reference_name_capacity || !char_is_alpha(name[0])) return 0;
    static const hp_reference_index_t index = hp_reference_index_make();
    u32 bucket = hp_reference_bucket(name[0], length);
    for (u32 i = index.starts[bucket]; i < index.starts[bucket + 1]; i++) {
        u32 row = index.rows[i];
        if (!bytes_equal(named_reference_names[row], length, name, length)) continue;
        *first = named_reference_codepoints[row];
        if (row + 1 < named_reference_row_count && !named_reference_names[row + 1]) {
            *second = named_reference_codepoints[row + 1];
            return 2;
        }
        return 1;
    }
    return 0;
}

u32 hp_parse_character_reference(hp_t* hp, u32* first, u32* second, u32* ambiguous) {
    PROFILE_ZONE(hp_parse_character_reference);
    *first = codepoint_invalid;
    *second = codepoint_invalid;
    *ambiguous = 0;
    // The end of the input behaves as a character that isn't ';': the look-ahead's
    // error is its own and is dropped.
    html_parser_error_t error = 0;
    hp_peek_start(hp);
    u32 c = hp_peek(hp, &error);

    if (c == '#') {
        c = hp_peek(hp, &error);
        u32 value = 0;  // wraps at 32 bits: an over-long number can't pass the tests below
        if (c == 'x' || c == 'X') {
            c = hp_peek(hp, &error);
            while (char_is_hex(c)) {
                value = value * 16 + char_hex_value(c);
                c = hp_peek(hp, &error);
            }
        } else if (char_is_digit(c)) {
            while (char_is_digit(c)) {
                value = value * 10 + char_digit_value(c);
                c = hp_peek(hp, &error);
            }
        }
        if (!error && value != 0 && c == ';' && codepoint_is_valid(value) && !hp_is_invalid_reference(value)) {
            *first = value;
            hp_peek_commit(hp);
            return 1;
        }
        return 0;
    }

    if (char_is_alnum(c)) {
        u8 name[named_reference_name_capacity];
        u32 length = 0;
        while (char_is_alnum(c) && length < named_reference_name_capacity) {
            name[length++] = (u8)c;
            c = hp_peek(hp, &error);
        }
        if (c == ';') {
            u32 count = hp_named_reference_lookup(name, length, first, second);
            if (count) {
                hp_peek_commit(hp);
                return count;
            }
            *ambiguous = 1;
            return 0;
        }
        // Too long for the table: ambiguous if a ';' closes it after all.
        while (char_is_alnum(c)) c = hp_peek(hp, &error);
        if (c == ';') *ambiguous = 1;
        return 0;
    }
    return 0;
}
