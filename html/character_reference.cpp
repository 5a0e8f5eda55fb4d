// Numeric and named character references on the table of named references.
#include "html/character_reference.h"

#include "base/text.h"
#include "html/named_references.h"
#include "profiler/profiler.h"

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
            u32 count = named_reference_lookup(name, length, first, second);
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
