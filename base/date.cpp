// Packed UTC dates: comparisons, the two feed date parsers, the file-name form and
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

// ---------------------------------------------------------------------------
// Feed dates. Both parsers read what feeds really write and give the date in UTC;
// a text that isn't a whole readable date gives no date (all zero), never a
// guessed part of one.

// Days from 1970-01-01 to a civil date, and back: the proleptic Gregorian
// calendar, so that an offset moves a date across month and year ends exactly.
static i64 date_days_from_civil(i64 year, i64 month, i64 day) {
    year -= month <= 2;
    i64 era = (year >= 0 ? year : year - 399) / 400;
    i64 year_of_era = year - era * 400;
    i64 day_of_year = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
    i64 day_of_era = year_of_era * 365 + year_of_era / 4 - year_of_era / 100 + day_of_year;
    return era * 146097 + day_of_era - 719468;
}

static void date_civil_from_days(i64 days, i64* year, i64* month, i64* day) {
    days += 719468;
    i64 era = (days >= 0 ? days : days - 146096) / 146097;
    i64 day_of_era = days - era * 146097;
    i64 year_of_era = (day_of_era - day_of_era / 1460 + day_of_era / 36524 - day_of_era / 146096) / 365;
    i64 day_of_year = day_of_era - (365 * year_of_era + year_of_era / 4 - year_of_era / 100);
    i64 mp = (5 * day_of_year + 2) / 153;
    *day = day_of_year - (153 * mp + 2) / 5 + 1;
    *month = mp < 10 ? mp + 3 : mp - 9;
    *year = year_of_era + era * 400 + (*month <= 2);
}

// The parts of a date as read, before they are checked and brought to UTC.
struct date_parts_t {
    i64 year, month, day, hour, minute, second;
    i64 offset_minutes;  // east of UTC
};

// A whole date in UTC, or zero when a part is out of range. A leap second is
// kept as the second before it.
static date_t date_from_parts(date_parts_t p) {
    if (p.year < 1 || p.year > 9999 || p.month < 1 || p.month > 12 || p.day < 1 ||
        p.day > date_month_length((u32)p.year, (u32)p.month) || p.hour > 23 || p.minute > 59 || p.second > 60) {
        return date_t{};
    }
    if (p.second == 60) p.second = 59;
    i64 seconds = date_days_from_civil(p.year, p.month, p.day) * 86400 + p.hour * 3600 + p.minute * 60 + p.second -
                  p.offset_minutes * 60;
    i64 days = seconds >= 0 ? seconds / 86400 : (seconds - 86399) / 86400;
    i64 rest = seconds - days * 86400;
    i64 year, month, day;
    date_civil_from_days(days, &year, &month, &day);
    if (year < 1 || year > 9999) return date_t{};
    return date_t{(u16)year, (u8)month, (u8)day, (u8)(rest / 3600), (u8)(rest / 60 % 60), (u8)(rest % 60), 0};
}

// The value of 1 to `most` digits at the start of [p, end), moving p behind them;
// -1 without a digit.
static i64 date_read_digits(const u8** p, const u8* end, u32 most) {
    i64 value = 0;
    u32 count = 0;
    while (*p < end && count < most && char_is_digit(**p)) {
        value = value * 10 + (**p - '0');
        (*p)++;
        count++;
    }
    return count ? value : -1;
}

static bool date_word_is(data_t word, const char* name, u64 at_least) {
    u64 length = text_length(name);
    if (word.used < at_least || word.used > length) return false;
    for (u64 i = 0; i < word.used; i++) {
        if (char_to_lower(word.bytes[i]) != (u8)name[i]) return false;
    }
    return true;
}

static const char* const date_month_names[12] = {"january", "february", "march",     "april",   "may",      "june",
                                                 "july",    "august",   "september", "october", "november", "december"};
static const char* const date_day_names[7] = {"monday", "tuesday", "wednesday", "thursday", "friday", "saturday",
                                              "sunday"};

// 1 to 12 for a month's name, whole or of at least three letters, in any case
// ("Jan", "JANUARY", "Sept"), with a dot behind it allowed; 0 for anything else.
static i64 date_month_of(data_t word) {
    if (word.used && word.bytes[word.used - 1] == '.') word.used--;
    for (u32 m = 0; m < 12; m++) {
        if (date_word_is(word, date_month_names[m], 3)) return m + 1;
    }
    if (date_word_is(word, "sept", 4)) return 9;
    return 0;
}

static bool date_is_day_name(data_t word) {
    if (word.used && word.bytes[word.used - 1] == '.') word.used--;
    for (u32 d = 0; d < 7; d++) {
        if (date_word_is(word, date_day_names[d], 3)) return true;
    }
    return date_word_is(word, "tues", 4) || date_word_is(word, "thur", 4) || date_word_is(word, "thurs", 5);
}

// A numeric zone, "+0200", "-08:00", "+02" or "+2": minutes east of UTC in
// *offset. False when the text isn't one.
static bool date_numeric_zone(const u8* p, const u8* end, i64* offset) {
    if (p >= end || (*p != '+' && *p != '-')) return false;
    i64 sign = *p == '-' ? -1 : 1;
    p++;
    const u8* digits = p;
    i64 hours = date_read_digits(&p, end, 2);
    if (hours < 0) return false;
    bool colon = p < end && *p == ':';
    if (p < end && !colon && p - digits == 1) return false;  // "+230" could be read two ways
    if (colon) p++;
    i64 minutes = 0;
    if (p < end) {
        const u8* start = p;
        minutes = date_read_digits(&p, end, 2);
        if (p - start != 2) return false;
    }
    if (p != end || hours > 23 || minutes > 59) return false;
    *offset = sign * (hours * 60 + minutes);
    return true;
}

struct date_zone_name_t {
    char name[5];
    i8 hours;
};
// Zones by name, in hours east of UTC; the North American ones first.
static const date_zone_name_t date_zone_names[] = {
    {"ut", 0},    {"utc", 0},   {"gmt", 0},   {"z", 0},    {"est", -5}, {"edt", -4}, {"cst", -6},
    {"cdt", -5},  {"mst", -7},  {"mdt", -6},  {"pst", -8}, {"pdt", -7}, {"ast", -4}, {"adt", -3},
    {"akst", -9}, {"akdt", -8}, {"hst", -10}, {"wet", 0},  {"west", 1}, {"cet", 1},  {"cest", 2},
    {"met", 1},   {"mest", 2},  {"eet", 2},   {"eest", 3}, {"jst", 9},
};
// The military letters from A: A to M are 1 to 12 hours west of UTC, N to Y 1 to
// 12 hours east, Z is UTC; J names no zone.
static const i8 date_letter_zones[26] = {-1, -2, -3, -4,  -5,  -6, -7, -8, -9, 0, -10, -11, -12,
                                         1,  2,  3,  4,   5,   6,  7,  8,  9,  10, 11, 12, 0};

// Minutes east of UTC of a zone word. A word that names no zone known here, or
// no zone at all, is taken as UTC: the time stays as written.
static i64 date_zone_offset(data_t word) {
    const u8* p = word.bytes;
    const u8* end = word.bytes + word.used;
    i64 offset = 0;
    if (date_numeric_zone(p, end, &offset)) return offset;
    // "GMT+0200", "UTC-05:00"
    if (word.used > 3 && (bytes_starts_with_no_case(p, end, "gmt", 3) || bytes_starts_with_no_case(p, end, "utc", 3)) &&
        date_numeric_zone(p + 3, end, &offset)) {
        return offset;
    }
    if (word.used == 1 && char_is_alpha(*p)) return date_letter_zones[char_to_lower(*p) - 'a'] * 60;
    for (const date_zone_name_t& zone : date_zone_names) {
        if (date_word_is(word, zone.name, text_length(zone.name))) return zone.hours * 60;
    }
    return 0;
}

// A clock "15:04", "15:04:05" or "15:04:05.123"; false when the word isn't one.
static bool date_read_clock(data_t word, date_parts_t* parts) {
    const u8* p = word.bytes;
    const u8* end = word.bytes + word.used;
    i64 hour = date_read_digits(&p, end, 2);
    if (hour < 0 || p >= end || *p != ':') return false;
    p++;
    i64 minute = date_read_digits(&p, end, 2);
    if (minute < 0) return false;
    i64 second = 0;
    if (p < end && *p == ':') {
        p++;
        second = date_read_digits(&p, end, 2);
        if (second < 0) return false;
        if (p < end && *p == '.') {
            p++;
            while (p < end && char_is_digit(*p)) p++;
        }
    }
    if (p != end) return false;
    parts->hour = hour;
    parts->minute = minute;
    parts->second = second;
    return true;
}

static bool date_word_is_number(data_t word, u64 most_digits) {
    if (word.used == 0 || word.used > most_digits) return false;
    for (u64 i = 0; i < word.used; i++) {
        if (!char_is_digit(word.bytes[i])) return false;
    }
    return true;
}

date_t date_parse_rfc822(data_t string) {
    // The words between blanks and commas, at most eight of them.
    data_t words[8];
    u32 count = 0;
    const u8* p = string.bytes;
    const u8* end = string.bytes + string.used;
    while (p < end) {
        while (p < end && (char_is_space(*p) || *p == ',')) p++;
        const u8* first = p;
        while (p < end && !char_is_space(*p) && *p != ',') p++;
        if (p == first) break;
        if (count == 8) return date_t{};
        words[count++] = data_from_range(first, p);
    }
    u32 at = 0;
    if (at < count && date_is_day_name(words[at])) at++;
    if (count - at < 3) return date_t{};

    date_parts_t parts = {};
    // "02 Jan", or "Jan 02" as some feeds write it.
    if (date_word_is_number(words[at], 2) && (parts.month = date_month_of(words[at + 1]))) {
        parts.day = parse_u64(words[at].bytes, words[at].used);
    } else if ((parts.month = date_month_of(words[at])) && date_word_is_number(words[at + 1], 2)) {
        parts.day = parse_u64(words[at + 1].bytes, words[at + 1].used);
    } else {
        return date_t{};
    }
    at += 2;
    // The year, and the clock before it in the form of C's asctime.
    bool clock_read = false;
    if (date_read_clock(words[at], &parts)) {
        clock_read = true;
        if (++at == count) return date_t{};
    }
    data_t year = words[at++];
    if (date_word_is_number(year, 4) && year.used == 4) {
        parts.year = parse_u64(year.bytes, 4);
    } else if (date_word_is_number(year, 2) && year.used == 2) {
        // Two digits: the nineties are 1990 to 1999, the rest this century.
        parts.year = parse_u64(year.bytes, 2);
        parts.year += parts.year >= 90 ? 1900 : 2000;
    } else {
        return date_t{};
    }
    if (!clock_read && at < count) {
        if (!date_read_clock(words[at], &parts)) return date_t{};
        at++;
    }
    if (at < count) parts.offset_minutes = date_zone_offset(words[at]);
    return date_from_parts(parts);
}

date_t date_parse_rfc3339(data_t string) {
    // Also the forms of ISO 8601 that feeds use for dc:date: the year alone, year
    // and month, a date without a clock, a blank for the 'T', a clock without
    // seconds, and a zone without its colon. No zone is taken as UTC.
    const u8* p = string.bytes;
    const u8* end = string.bytes + string.used;
    while (p < end && char_is_space(*p)) p++;
    while (end > p && char_is_space(end[-1])) end--;
    date_parts_t parts = {};
    const u8* year_start = p;
    parts.year = date_read_digits(&p, end, 4);
    if (p - year_start != 4) return date_t{};
    parts.month = 1;
    parts.day = 1;
    // "2020/1/10", as some feeds write it, takes one or two digits.
    if (p < end && (*p == '-' || *p == '/')) {
        u8 separator = *p++;
        u64 least = separator == '/' ? 1 : 2;
        const u8* start = p;
        parts.month = date_read_digits(&p, end, 2);
        if ((u64)(p - start) < least) return date_t{};
        if (p < end && *p == separator) {
            p++;
            start = p;
            parts.day = date_read_digits(&p, end, 2);
            if ((u64)(p - start) < least) return date_t{};
        } else if (separator == '/') {
            return date_t{};
        }
    }
    if (p < end && (*p == 'T' || *p == 't' || *p == ' ')) {
        p++;
        const u8* clock = p;
        while (p < end && (char_is_digit(*p) || *p == ':' || *p == '.')) p++;
        if (!date_read_clock(data_from_range(clock, p), &parts)) return date_t{};
        if (p < end && (*p == 'Z' || *p == 'z') && p + 1 == end) {
            p = end;
        } else if (p < end) {
            if (!date_numeric_zone(p, end, &parts.offset_minutes)) return date_t{};
            p = end;
        }
    }
    if (p != end) return date_t{};
    return date_from_parts(parts);
}
