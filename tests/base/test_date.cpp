// Dates: the two feed parsers' tables, the file-name form and local text.
#include <gtest/gtest.h>

#include <stdlib.h>
#include <string.h>
#include <time.h>

#include <string>

#include "base/date.h"

static date_t make_date(u16 year, u8 month, u8 day, u8 hour = 0, u8 minute = 0, u8 second = 0) {
    return date_t{year, month, day, hour, minute, second, 0};
}

static std::string text_of(date_t d) {
    char buffer[64];
    snprintf(buffer, sizeof(buffer), "%04u-%02u-%02u %02u:%02u:%02u", d.year, d.month, d.day, d.hour, d.minute,
             d.second);
    return buffer;
}

static data_t view(const char* text) { return data_from_size(strlen(text), text); }

TEST(Date, Rfc822Table) {
    struct {
        const char* text;
        const char* expected;
    } cases[] = {
        {"Mon, 02 Jan 2006 15:04:05 GMT", "2006-01-02 15:04:05"},
        {"Mon, 02 Jan 2006 15:04:05 +0200", "2006-01-02 13:04:05"},
        {"Mon, 02 Jan 2006 15:04:05 +0530", "2006-01-02 09:34:05"},
        {"Mon, 02 Jan 2006 15:04:05 -08:00", "2006-01-02 23:04:05"},
        {"Mon, 02 Jan 2006 15:04:05 GMT+01:00", "2006-01-02 14:04:05"},
        // Named zones, in any case, and the military letters.
        {"Mon, 02 Jan 2006 15:04:05 EST", "2006-01-02 20:04:05"},
        {"Sun, 02 Jul 2006 09:00:00 PDT", "2006-07-02 16:00:00"},
        {"Mon, 02 Jan 2006 15:04:05 Z", "2006-01-02 15:04:05"},
        {"Mon, 02 Jan 2006 15:04:05 A", "2006-01-02 16:04:05"},
        {"Mon, 02 Jan 2006 15:04:05 N", "2006-01-02 14:04:05"},
        {"Mon, 02 Jan 2006 15:04:05 XYZ", "2006-01-02 15:04:05"},  // unknown: as written
        {"Mon, 02 Jan 2006 15:04:05 -0800 (PST)", "2006-01-02 23:04:05"},
        // The zone is found with or without seconds.
        {"02 Jan 2006 15:04 GMT", "2006-01-02 15:04:00"},
        {"Mon, 02 Jan 2006 15:04 EST", "2006-01-02 20:04:00"},
        // Day names without a comma, whole names, months in full, one-digit days.
        {"Mon 02 Jan 2006 15:04:05 GMT", "2006-01-02 15:04:05"},
        {"Monday, 02 January 2006 15:04:05 GMT", "2006-01-02 15:04:05"},
        {"Thu, 7 Sept 2006 08:00:00 GMT", "2006-09-07 08:00:00"},
        {"Mon, 2 jan 2006 15:04:05 GMT", "2006-01-02 15:04:05"},
        {"Jan 02 2006 15:04:05 GMT", "2006-01-02 15:04:05"},
        {"Mon Jan  2 15:04:05 2006", "2006-01-02 15:04:05"},
        {"02 Jan 2006", "2006-01-02 00:00:00"},
        // Two-digit years: the nineties, else this century.
        {"  Tue, 10 Feb 99 08:00:00 GMT", "1999-02-10 08:00:00"},
        {"Tue, 10 Feb 09 08:00:00 GMT", "2009-02-10 08:00:00"},
        // Offsets cross days, months and years exactly.
        {"Mon, 02 Jan 2006 23:30:00 -0100", "2006-01-03 00:30:00"},
        {"Sun, 01 Jan 2006 00:30:00 +0100", "2005-12-31 23:30:00"},
        {"Tue, 28 Feb 2006 22:00:00 EST", "2006-03-01 03:00:00"},
        {"Sat, 31 Dec 2005 23:59:60 GMT", "2005-12-31 23:59:59"},
        // Unreadable: no date at all, never a part of one.
        {"10 Foo 2006 08:00:00 GMT", "0000-00-00 00:00:00"},
        {"Mon, 02 Jan 201 15:04:05 GMT", "0000-00-00 00:00:00"},
        {"Mon, 02 Jan 2006 24:00:00 GMT", "0000-00-00 00:00:00"},
        {"Mon, 31 Feb 2006 10:00:00 GMT", "0000-00-00 00:00:00"},
        {"Mon, 02 Jan 2006 15:4x GMT", "0000-00-00 00:00:00"},
        {"yesterday", "0000-00-00 00:00:00"},
        {"", "0000-00-00 00:00:00"},
        {"2006-01-02T15:04:05Z", "0000-00-00 00:00:00"},
    };
    for (auto& c : cases) {
        EXPECT_EQ(text_of(date_parse_rfc822(view(c.text))), c.expected) << c.text;
    }
}

TEST(Date, Rfc3339Table) {
    struct {
        const char* text;
        const char* expected;
    } cases[] = {
        {"2006-01-02T15:04:05Z", "2006-01-02 15:04:05"},
        {"2006-01-02T15:04:05.999999999-0800", "2006-01-02 23:04:05"},
        {"2006-01-02t15:04:05z", "2006-01-02 15:04:05"},
        {"2006-01-02 15:04:05+01", "2006-01-02 14:04:05"},
        {" 2006-01-02T15:04:05 ", "2006-01-02 15:04:05"},
        {"2006-01-02T15:04", "2006-01-02 15:04:00"},
        {"2006-01-02T15:04+05:30", "2006-01-02 09:34:00"},
        {"2006-12-31T23:30:00-01:00", "2007-01-01 00:30:00"},
        // The shorter forms of dc:date.
        {"2006-01-02", "2006-01-02 00:00:00"},
        {"2006-01", "2006-01-01 00:00:00"},
        {"2006", "2006-01-01 00:00:00"},
        {"2020/1/10 14:33:00", "2020-01-10 14:33:00"},
        // Unreadable.
        {"2006-01-02T", "0000-00-00 00:00:00"},
        {"2006-13-02T15:04:05Z", "0000-00-00 00:00:00"},
        {"2006-01-02T15:04:05 junk", "0000-00-00 00:00:00"},
        {"2006-1-2", "0000-00-00 00:00:00"},
        {"2020/1", "0000-00-00 00:00:00"},
        {"2020-01/10", "0000-00-00 00:00:00"},
        {"06-01-02", "0000-00-00 00:00:00"},
        {"Mon, 02 Jan 2006 15:04:05 GMT", "0000-00-00 00:00:00"},
        {"", "0000-00-00 00:00:00"},
    };
    for (auto& c : cases) {
        EXPECT_EQ(text_of(date_parse_rfc3339(view(c.text))), c.expected) << c.text;
    }
}

TEST(Date, FileNames) {
    u8 buffer[64];
    data_t block = data_make(sizeof(buffer), 3, buffer);
    data_t name = date_to_file_name(make_date(2006, 1, 2, 15, 4, 5), &block);
    EXPECT_EQ(std::string((char*)name.bytes, name.used), "20060102_150405");
    EXPECT_EQ(name.bytes, buffer + 3);
    EXPECT_EQ(block.used, 18u);

    EXPECT_EQ(text_of(date_from_file_name(view("20060102_150405"))), "2006-01-02 15:04:05");
    EXPECT_EQ(text_of(date_from_file_name(view("feed_data_x"))), "0000-00-00 00:00:00");
    // Out of range fields are given back as they stand.
    EXPECT_EQ(text_of(date_from_file_name(view("20061345_996666.bin"))), "2006-13-45 99:66:66");
    EXPECT_EQ(text_of(date_from_file_name(view("20060102-150405"))), "0000-00-00 00:00:00");
    EXPECT_EQ(text_of(date_from_file_name(view("20060102_15040"))), "0000-00-00 00:00:00");
    EXPECT_EQ(text_of(date_from_file_name(view("2006a102_150405"))), "0000-00-00 00:00:00");
}

TEST(Date, LocalText) {
    // In UTC and the C locale the text is predictable.
    setenv("TZ", "UTC", 1);
    tzset();
    u8 buffer[256];
    data_t block = data_make(sizeof(buffer), 0, buffer);
    date_t date = make_date(2006, 1, 2, 15, 4, 5);
    data_t both = date_to_string(date, &block, 0, data_literal(" - "));
    std::string text((char*)both.bytes, both.used);
    EXPECT_NE(text.find("Monday"), std::string::npos) << text;
    EXPECT_NE(text.find(" - "), std::string::npos) << text;
    EXPECT_NE(text.find("15:04:05"), std::string::npos) << text;
    data_t time_only = date_to_string(date, &block, 1, data_literal(" - "));
    EXPECT_EQ(std::string((char*)time_only.bytes, time_only.used), "15:04:05");
    data_t date_only = date_to_string(date, &block, 2, data_t{});
    std::string date_text((char*)date_only.bytes, date_only.used);
    EXPECT_EQ(date_text.find("15:04"), std::string::npos) << date_text;
    EXPECT_EQ(date_text.find("Monday"), 0u) << date_text;
    EXPECT_EQ(block.used, both.used + time_only.used + date_only.used);
}
