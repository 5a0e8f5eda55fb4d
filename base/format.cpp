// Number text: the parser and the integer, float and size formatters. Text is
// written into the caller's buffer without a terminator.
#include "base/format.h"

#include "base/text.h"

static bool format_digit_is_valid(u8 c, u64 base) { return base == 16 ? char_is_hex(c) : char_is_digit(c); }

// Digits from `at` on, with an optional "0x" when at least three bytes remain.
static u64 parse_digits(const u8* bytes, u64 size, u64 at) {
    u64 base = 10;
    if (size - at >= 3 && bytes[at] == '0' && bytes[at + 1] == 'x') {
        at += 2;
        base = 16;
    }
    u64 value = 0;
    for (; at < size && format_digit_is_valid(bytes[at], base); at++) {
        value = value * base + (base == 16 ? char_hex_value(bytes[at]) : char_digit_value(bytes[at]));
    }
    return value;
}

u64 parse_u64(const u8* bytes, u64 size) {
    // Any number of '+' may stand among the leading blanks, and a '-' only after
    // them: "+ +7" is 7 while "-+7" is 0.
    u64 at = 0;
    while (at < size && (char_is_space(bytes[at]) || bytes[at] == '+')) at++;
    if (at == size) return 0;
    bool negative = false;
    if (bytes[at] == '-') {
        negative = true;
        at++;
    }
    u64 value = parse_digits(bytes, size, at);
    return negative ? 0 - value : value;
}

// Padding and digits are written only where there is room: a digit only when all
// that follow it fit too.
u64 format_u64(u8* buffer, u64 size, u64 value, u64 width, u8 pad, format_flags_t flags) {
    bool hex = flags & format_hex;
    // The digits, lowest first, by constant divisors that compile to multiplies.
    u8 digits[20];
    u64 digit_count = 0;
    u64 rest = value;
    if (hex) {
        do {
            digits[digit_count++] = (u8)(rest & 15);
            rest >>= 4;
        } while (rest);
    } else {
        do {
            digits[digit_count++] = (u8)(rest % 10);
            rest /= 10;
        } while (rest);
    }

    if (flags == 0 && width <= digit_count && size >= digit_count) {
        // The plain case, as logs ask for it: the same bytes without the steps.
        for (u64 i = 0; i < digit_count; i++) buffer[i] = (u8)('0' + digits[digit_count - 1 - i]);
        return digit_count;
    }

    u64 extras = hex ? 2 : 0;
    u64 padding = width > digit_count + extras ? width - digit_count - extras : 0;

    u64 at = 0;
    for (u64 i = 0; i < padding && at < size; i++) buffer[at++] = pad;
    if (hex) {
        for (const char* p = "0x"; *p && at < size; p++) buffer[at++] = (u8)*p;
    }
    static const char digit_chars[] = "0123456789abcdef";
    for (u64 remaining = digit_count; remaining > 0; remaining--) {
        if (size > at && size - at >= remaining) buffer[at++] = (u8)digit_chars[digits[remaining - 1]];
    }
    return at;
}

u64 format_i64(u8* buffer, u64 size, i64 value) {
    // The magnitude of the most negative value still fits an unsigned word.
    if (size == 0 || value >= 0) return format_u64(buffer, size, (u64)value, 0, ' ', 0);
    buffer[0] = '-';
    return 1 + format_u64(buffer + 1, size - 1, 0 - (u64)value, 0, ' ', 0);
}

u64 format_f64(u8* buffer, u64 size, f64 value, u32 decimals) {
    // Out of range of a 64-bit integer (and NaN) there is no integer part to write.
    bool in_range = value > -9.2e18 && value < 9.2e18;
    u64 at = format_i64(buffer, size, in_range ? (i64)value : 0);
    if (value < 0) value = -value;
    if (decimals != 0 && at < size) buffer[at++] = '.';
    f64 fraction = in_range ? value - (f64)(i64)value : 0.0;
    for (u32 i = 0; i < decimals; i++) {
        fraction *= 10.0;
        if (fraction < 1.0 && at < size) buffer[at++] = '0';
    }
    // Truncated, never rounded: 1.9996 with three decimals is 1.999.
    u64 digits = fraction < 1.8e19 ? (u64)fraction : 0;
    if (digits != 0) at += format_u64(buffer + at, size - at, digits, 0, ' ', 0);
    return at;
}

u64 format_size(u64 size_in_bytes, u8* buffer, u64 buffer_size) {
    static const struct {
        u64 limit;
        u64 divisor;
        const char* unit;
    } units[] = {
        {0x100000ull, 0x400ull, "Kio"},
        {0x40000000ull, 0x100000ull, "Mio"},
        {0x10000000000ull, 0x40000000ull, "Gio"},
        {~0ull, 0x10000000000ull, "Tio"},
    };
    data_t text = data_make(buffer_size, 0, buffer);
    const char* unit = "o";
    if (size_in_bytes < 1024) {
        text.used += format_u64(text.bytes, text.reserved, size_in_bytes, 0, ' ', 0);
    } else {
        for (u64 i = 0; i < ARRAY_COUNT(units); i++) {
            if (size_in_bytes < units[i].limit || i == ARRAY_COUNT(units) - 1) {
                f64 number = (f64)size_in_bytes / (f64)units[i].divisor;
                text.used += format_f64(text.bytes, text.reserved, number, 3);
                unit = units[i].unit;
                break;
            }
        }
    }
    data_push_string(&text, " ", 1);
    data_push_c_string(&text, unit);
    return text.used;
}

data_t format_size_in_block(u64 size_in_bytes, data_t* block) {
    data_t room = data_sub_block(block, 16, 1);
    u64 length = format_size(size_in_bytes, room.bytes, room.reserved);
    data_pop(block, room.reserved - length);
    return data_from_size(length, room.bytes);
}
