// Packed UTC dates: arithmetic, the two feed date parsers, the file-name form and
// local text. Parsers never fail: they give what they could read.
#include "base/date.h"

#include "base/format.h"
#include "base/text.h"
#include "platform/os.h"
#include "profiler/profiler.h"

static const u8 date_month_lengths[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};

bool date_is_leap_year(u32 year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

u32 date_month_length(u32 year, u32 month) {
    // A partial date has month 0; treat any month out of range as a long one
    // rather than read outside the table.
    if (month < 1 || month > 12) return 31;
    return date_month_lengths[month - 1] + (month == 2 && date_is_leap_year(year) ? 1 : 0);
}

u64 date_to_number(date_t date) {
    return date.second + date.minute * 100ull + date.hour * 10000ull + date.day * 1000000ull +
           date.month * 100000000ull + date.year * 10000000000ull;
}

bool date_is_after(date_t a, date_t b) { return date_to_number(a) > date_to_number(b); }
bool date_is_before(date_t a, date_t b) { return date_to_number(a) < date_to_number(b); }

bool date_is_zero(date_t date) {
    return date.year == 0 && date.month == 0 && date.day == 0 && date.hour == 0 && date.minute == 0 &&
           date.second == 0;
}

// Adds `amount` to `value` and carries whole `base`s, up or down, into `carry`.
static i64 date_carry(i64 value, i64 amount, i64 base, i64* carry) {
    i64 sum = value + amount;
    i64 quotient = sum / base;
    i64 rest = sum % base;
    if (rest < 0) {
        rest += base;
        quotient--;
    }
    *carry += quotient;
    return rest;
}

date_t date_add(date_t date, i64 years, i64 months, i64 days, i64 hours, i64 minutes, i64 seconds) {
    i64 year = date.year;
    i64 month = date.month;
    i64 day = date.day;
    date.second = (u8)date_carry(date.second, seconds, 60, &minutes);
    date.minute = (u8)date_carry(date.minute, minutes, 60, &hours);
    date.hour = (u8)date_carry(date.hour, hours, 24, &days);

    // The test includes equality, so a carry that reaches a month's last day lands
    // on the 1st of the next: January 31 plus one day is February 2. Stored dates
    // were made this way, and comparisons between them depend on it.
    while (days > 0) {
        i64 length = date_month_length((u32)year, (u32)month);
        if (day + days >= length) {
            days = days + day - length;
            day = 1;
            if (++month > 12) {
                month = 1;
                year++;
            }
        } else {
            day += days;
            days = 0;
        }
    }
    for (i64 back = -days; back > 0;) {
        if (back >= day) {
            back -= day;
            if (--month < 1) {
                month = 12;
                year--;
            }
            day = date_month_length((u32)year, (u32)month);
        } else {
            day -= back;
            back = 0;
        }
    }

    while (months > 0) {
        if (month + months > 12) {
            months -= 13 - month;
            month = 1;
            year++;
        } else {
            month += months;
            months = 0;
            day = min_of<i64>(day, date_month_length((u32)year, (u32)month));
        }
    }
    for (i64 back = -months; back > 0;) {
        if (back >= month) {
            back -= month;
            month = 12;
            year--;
        } else {
            month -= back;
            back = 0;
            day = min_of<i64>(day, date_month_length((u32)year, (u32)month));
        }
    }

    year += years;
    year = max_of<i64>(0, min_of<i64>(65535, year));
    if (month == 2 && day == 29 && !date_is_leap_year((u32)year)) day = 28;
    date.year = (u16)year;
    date.month = (u8)month;
    date.day = (u8)day;
    return date;
}

date_t date_now() {
    os_utc_time_t now = os_utc_now();
    return date_t{(u16)now.year, (u8)now.month, (u8)now.day, (u8)now.hour, (u8)now.minute, (u8)now.second, 0};
}

data_t date_to_file_name(date_t date, data_t* block) {
    u8 text[16];
    u64 at = 0;
    at += format_u64(text + at, 4, date.year, 4, '0', 0);
    at += format_u64(text + at, 2, date.month, 2, '0', 0);
    at += format_u64(text + at, 2, date.day, 2, '0', 0);
    text[at++] = '_';
    at += format_u64(text + at, 2, date.hour, 2, '0', 0);
    at += format_u64(text + at, 2, date.minute, 2, '0', 0);
    at += format_u64(text + at, 2, date.second, 2, '0', 0);
    u8* copy = data_push_string(block, text, at);
    return copy ? data_from_size(at, copy) : data_t{};
}

static bool date_digits(const u8* bytes, u64 count) {
    for (u64 i = 0; i < count; i++) {
        if (!char_is_digit(bytes[i])) return false;
    }
    return true;
}

date_t date_from_file_name(data_t string) {
    const u8* b = string.bytes;
    if (string.used < 15 || !date_digits(b, 8) || b[8] != '_' || !date_digits(b + 9, 6)) return date_t{};
    date_t date = {};
    date.year = (u16)parse_u64(b, 4);
    date.month = (u8)parse_u64(b + 4, 2);
    date.day = (u8)parse_u64(b + 6, 2);
    date.hour = (u8)parse_u64(b + 9, 2);
    date.minute = (u8)parse_u64(b + 11, 2);
    date.second = (u8)parse_u64(b + 13, 2);
    // The ranges are looked at and nothing follows from it: a name out of range
    // gives its numbers back, which is how listed files have always been read.
    bool in_range = date.month >= 1 && date.month <= 12 && date.day <= date_month_length(date.year, date.month) &&
                    date.hour < 24 && date.minute < 60 && date.second < 60;
    (void)in_range;
    return date;
}

data_t date_to_string(date_t date, data_t* block, u32 flags, data_t separator) {
    PROFILE_ZONE(date_to_string);
    char separator_text[256];
    u64 separator_size = min_of<u64>(separator.used, sizeof(separator_text) - 1);
    bytes_copy(separator_text, separator.bytes, separator_size);
    separator_text[separator_size] = 0;
    char text[2048];
    os_utc_time_t time = {date.year, date.month, date.day, date.hour, date.minute, date.second};
    u64 length = os_local_date_time_text(time, flags, separator_text, text, sizeof(text));
    u8* copy = data_push_string(block, text, length);
    return copy ? data_from_size(length, copy) : data_t{};
}

static const char date_day_names[7][4] = {"Mon", "Tue", "Wed", "Thu", "Fri", "Sat", "Sun"};
static const char date_month_names[12][4] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                             "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
// Military zone letters from 'A': A to M rising, N to Y falling, Z zero; J isn't a zone.
static const i8 date_letter_zones[26] = {1,  2,  3,  4,  5,  6,  7,  8,  9,   127, 10,  11,  12,
                                         -1, -2, -3, -4, -5, -6, -7, -8, -9, -10, -11, -12, 0};
// North American zones. Their third byte is a zero that a real zone's third letter
// never equals, so EST and the others add no offset and keep their local hour:
// dates already stored were read this way.
static const u8 date_named_zones[8][3] = {{'E', 'S', 0}, {'E', 'D', 0}, {'C', 'S', 0}, {'C', 'D', 0},
                                          {'M', 'S', 0}, {'M', 'D', 0}, {'P', 'S', 0}, {'P', 'D', 0}};
static const i8 date_named_zone_hours[8] = {5, 4, 6, 5, 7, 6, 8, 7};

date_t date_parse_rfc822(data_t string) {
    date_t date = {};
    const u8* b = string.bytes;
    u64 n = string.used;
    u64 i = 0;
    auto left = [&]() { return n - i; };
    auto advance = [&](u64 count) { i = min_of(i + count, n); };
    auto number = [&](u64 at, u64 count) { return at < n ? parse_u64(b + at, min_of(count, n - at)) : 0; };

    while (i < n && char_is_space(b[i])) i++;
    if (left() >= 4) {
        for (u32 d = 0; d < 7; d++) {
            if (bytes_equal(b + i, 3, date_day_names[d], 3)) {
                advance(5);  // the name, its comma and the blank
                break;
            }
        }
    }
    // Two bytes for the day: a one-digit day is read with the blank it stops on.
    if (left() >= 2) {
        date.day = (u8)number(i, 2);
        advance(2);
        if (i < n && b[i] == ' ') i++;
    }
    if (left() >= 4) {
        for (u32 m = 0; m < 12; m++) {
            if (bytes_equal(b + i, 3, date_month_names[m], 3)) {
                date.month = (u8)(m + 1);
                advance(4);
                break;
            }
        }
    }
    if (left() >= 3 && b[i + 2] == ' ') {
        date.year = (u16)number(i, 2);  // two digits as written: "99" is the year 99
        advance(3);
    } else if (left() >= 4) {
        date.year = (u16)number(i, 4);
        advance(5);
    } else {
        date.year = 65535;
    }
    date.hour = (u8)number(i, 2);
    advance(3);
    date.minute = (u8)number(i, 2);
    advance(2);
    if (left() >= 3 && b[i] == ':') {
        date.second = (u8)number(i + 1, 2);
        advance(4);
    }

    while (i < n && char_is_space(b[i])) i++;
    u64 zone_length = 0;
    while (i + zone_length < n && !char_is_space(b[i + zone_length])) zone_length++;
    const u8* zone = b + i;
    if (zone_length == 1) {
        u32 letter = zone[0];
        if (letter != 'J' && letter >= 'A' && letter - 'A' < 26) {
            date = date_add(date, 0, 0, 0, date_letter_zones[letter - 'A'], 0, 0);
        }
    } else if (zone_length == 2) {
        // UT: already universal time.
    } else if (zone_length == 3) {
        if (!bytes_equal(zone, 3, "GMT", 3)) {
            for (u32 z = 0; z < 8; z++) {
                if (bytes_equal(zone, 3, date_named_zones[z], 3)) {
                    date = date_add(date, 0, 0, 0, date_named_zone_hours[z], 0, 0);
                    break;
                }
            }
        }
    } else if (left() >= 5) {
        // +0200 is two hours ahead of UTC, so two hours come off.
        i64 sign = zone[0] == '+' ? -1 : 1;
        i64 hours = parse_i64(zone + 1, 2);
        i64 minutes = parse_i64(zone + 3, 2);
        date = date_add(date, 0, 0, 0, hours * sign, minutes * sign, 0);
    }
    return date;
}

date_t date_parse_rfc3339(data_t string) {
    // The zone isn't applied: Atom dates stay in the zone they were written in.
    date_t date = {};
    const u8* b = string.bytes;
    u64 n = string.used;
    if (n < 11) return date;
    date.year = (u16)parse_u64(b, 4);
    date.month = (u8)parse_u64(b + 5, 2);
    date.day = (u8)parse_u64(b + 8, 2);
    if (n - 11 >= 8) {
        date.hour = (u8)parse_u64(b + 11, 2);
        date.minute = (u8)parse_u64(b + 14, 2);
        date.second = (u8)parse_u64(b + 17, 2);
    }
    return date;
}

f64 seconds_between(u64 start, u64 end, u64 frequency) { return (f64)(i64)(end - start) / (f64)frequency; }
