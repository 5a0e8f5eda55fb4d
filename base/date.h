// date_t, a packed UTC date, with its comparisons, the feed date parsers, file-name
// form and local text.
#pragma once

#include "base/data.h"

// All zero means no date.
struct date_t {
    u16 year;
    u8 month;
    u8 day;
    u8 hour;
    u8 minute;
    u8 second;
    u8 unused;
};
static_assert(sizeof(date_t) == 8, "a date is one 64-bit word");

bool date_is_leap_year(u32 year);
u32 date_month_length(u32 year, u32 month);
u64 date_to_number(date_t date);
bool date_is_after(date_t a, date_t b);
bool date_is_before(date_t a, date_t b);
bool date_is_zero(date_t date);
date_t date_now();
data_t date_to_file_name(date_t date, data_t* block);
date_t date_from_file_name(data_t string);
// flags bit 0: no date, bit 1: no time.
data_t date_to_string(date_t date, data_t* block, u32 flags, data_t separator);
// The feed parsers give the date in UTC, or zero when the text isn't a whole
// readable date: RFC 822 as RSS writes it (named and numeric zones, with or
// without day name, comma and seconds, whole month names, two-digit years), and
// RFC 3339 with the shorter forms of ISO 8601 that dc:date uses.
date_t date_parse_rfc822(data_t string);
date_t date_parse_rfc3339(data_t string);
