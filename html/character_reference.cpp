// Numeric and named character references on the table of named references.
#include "html/character_reference.h"

#include "base/text.h"
#include "html/named_references.h"
#include "profiler/profiler.h"

// The first row at or after which every name begins with a letter above `letter`,
// ignoring case, or with `letter` itself when `or_equal`.
static u32 hp_named_reference_bound(u32 letter, bool or_equal) {
    u32 low = 0;
    u32 high = named_reference_row_count;
    while (low < high) {
        u32 middle = low + (high - low) / 2;
        u32 row = middle;
        while (!named_reference_names[row]) row--;  // the second row of a pair follows its first
        u32 first = char_to_lower((u8)named_reference_names[row][0]);
        if (first < letter || (!or_equal && first == letter)) {
            low = middle + 1;
        } else {
            high = middle;
        }
    }
    return low;
}

// The table is in order of name ignoring case, so the names that begin with one
// letter, in either case, stand together: two binary searches on the first letter
// find them, and the walk over them keeps the table's rule that the first exact
// match wins.
u32 hp_named_reference_lookup(const u8* name, u32 length, u32* first, u32* second) {
    *first = codepoint_invalid;
    *second = codepoint_invalid;
    if (length == 0) return 0;
    u32 letter = char_to_lower(name[0]);
    u32 end = hp_named_reference_bound(letter, false);
    for (u32 row = hp_named_reference_bound(letter, true); row < end; row++) {
        // Lengths first: they sit together, and most rows differ there.
        if (named_reference_lengths[row] != length) continue;
        const char* candidate = named_reference_names[row];
        if (!candidate || !bytes_equal(candidate, length, name, length)) continue;
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
