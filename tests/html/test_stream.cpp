// The input stream: line counting, the undo that needs a consume, the UTF-8 push,
// the character sets, the <meta> prescan with its asymmetries, and declared
// encodings (a Big5 pair among them) decoding the text.
#include <gtest/gtest.h>

#include <string>

#include "html/encoding.h"
#include "html/stream.h"
#include "html_parse_support.h"

static hp_t stream_over(const std::string& bytes, u32 encoding) {
    hp_t hp = hp_init((const u8*)bytes.data(), bytes.size(), 0);
    hp.encoding = encoding;
    return hp;
}

TEST(Stream, LineCountingQuirk) {
    struct {
        std::string input;
        u32 lines;
        u64 line_start;  // offset of the position after the last counted line end
    } cases[] = {
        {"a\nb\nc", 2, 4},
        {"a\r\nb", 1, 3},
        {"a\r\rb", 2, 3},
        // After the first CR of a document a lone LF no longer counts, but it
        // still moves the line start.
        {"\rx\n\ny", 1, 4},
        {"", 0, 0},
    };
    for (auto& c : cases) {
        hp_t hp = stream_over(c.input, encoding_utf_8);
        html_parser_error_t error = 0;
        while (!error) hp_consume(&hp, &error);
        EXPECT_EQ(error, html_tokenizer_error_eof);
        EXPECT_EQ(hp.input.line, c.lines) << c.input;
        EXPECT_EQ((u64)(hp.input.line_start - (const u8*)c.input.data()), c.line_start) << c.input;
    }
}

TEST(StreamDeathTest, UndoWithoutAConsumeStops) {
    std::string input = "ab";
    hp_t hp = stream_over(input, encoding_utf_8);
    html_parser_error_t error = 0;
    hp_consume(&hp, &error);
    hp_peek_start(&hp);
    EXPECT_DEATH(hp_unconsume(&hp), "");
}

TEST(Stream, UnknownEncodingIsAnErrorNotAStop) {
    std::string input = "abc";
    hp_t hp = stream_over(input, 41);
    html_parser_error_t error = 0;
    EXPECT_EQ(hp_consume(&hp, &error), 0u);
    EXPECT_EQ(error, html_tokenizer_error_invalid_encoding_name);
    u8* mark = log_test_mark(log_main);
    hp_report_error(&hp, error);
    EXPECT_EQ(log_test_since(log_main, mark), "Error: The encoding of the document is unknown.\n\n");
    EXPECT_EQ(hp.input.position, hp.input.end);
}

TEST(Stream, PushCodepointBoundaries) {
    struct {
        u32 codepoint;
        std::string bytes;
    } cases[] = {
        {0x41, "A"},
        {0x7F, "\x7f"},
        {0x80, "\xc2\x80"},
        {0x7FE, "\xdf\xbe"},
        {0x7FF, "\xe0\x9f\xbf"},        // the three-byte form
        {0xFFFF, "\xf0\x8f\xbf\xbf"},   // the four-byte form
        {0x10FFFF, ""},                 // nothing at all
        {0x10FFFE, "\xf4\x8f\xbf\xbe"},
        {0xD800, "\xef\xbf\xbd"},       // invalid: U+FFFD
        {0x110000, "\xef\xbf\xbd"},
    };
    u8 bytes[64];
    for (auto& c : cases) {
        data_t block = data_make(sizeof(bytes), 3, bytes);
        data_t string = {};
        hp_push_codepoint(&block, &string, c.codepoint);
        EXPECT_EQ(string.bytes, bytes + 3);
        EXPECT_EQ(std::string((const char*)string.bytes, string.used), c.bytes) << std::hex << c.codepoint;
        EXPECT_EQ(string.reserved, string.used);
        EXPECT_EQ(block.used, 3 + c.bytes.size());
    }
}

static bool in_set(u32 c, const u32* set, u32 count) {
    for (u32 i = 0; i < count; i++) {
        if (set[i] == c) return true;
    }
    return false;
}

TEST(Stream, CharacterSetPredicatesMatchTheirTables) {
    for (u32 c = 0; c <= 0x110010; c++) {
        ASSERT_EQ(hp_is_space(c), in_set(c, char_set_space, char_set_space_count)) << c;
        ASSERT_EQ(hp_is_invalid_text(c), in_set(c, char_set_invalid_text, char_set_invalid_text_count)) << c;
        ASSERT_EQ(hp_is_attribute_name_stop(c),
                  in_set(c, char_set_attribute_name_stop, char_set_attribute_name_stop_count))
            << c;
        ASSERT_EQ(hp_is_invalid_reference(c), in_set(c, char_set_invalid_reference, char_set_invalid_reference_count))
            << c;
    }
    EXPECT_FALSE(hp_is_space(11));  // no vertical tab
}

TEST(Stream, MetaPrescan) {
    struct {
        std::string input;
        u32 encoding;
    } cases[] = {
        {"<meta charset=utf-8>", encoding_utf_8},
        {"<meta charset=\"big5\" />", encoding_big5},
        {"<meta charset=utf-16>", encoding_utf_8},
        {"<meta charset=x-user-defined>", encoding_windows_1252},
        {"<meta http-equiv=content-type content=\"text/html; charset=big5\">", encoding_big5},
        {"<META HTTP-EQUIV=\"Content-Type\" CONTENT=\"TEXT/HTML;  CHARSET=big5\">", encoding_big5},
        {"<meta http-equiv=content-type content=\"text/html;charset=iso-8859-2\">", encoding_iso_8859_2},
        // A content charset needs http-equiv before it: the scan stops at the result.
        {"<meta content=\"text/html; charset=big5\">", encoding_utf_8},
        {"<meta content=\"text/html; charset=big5\" http-equiv=content-type>", encoding_utf_8},
        {"<meta content=\"text/html; charset=nonsense\" charset=koi8-r>", encoding_koi8_r},
        // Names fold only in tokens: CHARSET is not charset, while HTTP-EQUIV is.
        {"<meta CHARSET=big5>", encoding_none},
        {"<meta/charset=big5>", encoding_none},
        {"<meta charset=nonsense charset=big5>", encoding_none},
        {"<meta charset=nonsense><meta charset=big5>", encoding_big5},
        {"<meta name=x charset=big5 charset=koi8-r>", encoding_big5},
        {"<meta charset=\"&#98;ig5\">", encoding_big5},
        {"<!--<meta charset=big5>--><meta charset=koi8-r>", encoding_koi8_r},
        {"<p title=\"<meta charset=big5>\"><meta charset=koi8-r>", encoding_koi8_r},
        {"<!doctype html><html><head><title>x</title><meta charset=euc-jp></head>", encoding_euc_jp},
        {"<?xml <meta charset=big5> ?><meta charset=koi8-r>", encoding_koi8_r},
        {"</p <meta charset=big5>><meta charset=koi8-r>", encoding_koi8_r},
        {"<p>no declaration</p>", encoding_none},
        // Cut by the limit: what the cut text gives.
        {std::string(1024 - 18, ' ') + "<meta charset=koi8-r>", encoding_koi8_r},
        {std::string(1024 - 19, ' ') + "<meta charset=koi8-r>", encoding_none},
        {std::string(1200, ' ') + "<meta charset=big5>", encoding_none},
    };
    for (auto& c : cases) {
        EXPECT_EQ(hp_detect_encoding(parse_input(c.input)), c.encoding) << c.input;
    }
}

TEST(Stream, DeclaredEncodingsDecodeTheText) {
    {
        parse_run_t run("<meta charset=\"big5\" />\xa4\x40\x88\x62\x88\x64!");
        EXPECT_EQ(run.tokens.encoding, encoding_big5);
        EXPECT_EQ(run.lines, "<meta self_closing=true charset=\"big5\"\n"
                             "text: \xe4\xb8\x80\xc3\x8a\xcc\x84\xc3\x8a\xcc\x8c!\n");
    }
    {
        parse_run_t run("<meta charset=\"iso-2022-jp\" />\x1b(Ba\x1b(B");
        EXPECT_EQ(run.tokens.encoding, encoding_iso_2022_jp);
        EXPECT_EQ(run.lines, "<meta self_closing=true charset=\"iso-2022-jp\"\ntext: a\n");
        EXPECT_EQ(run.error, 0u);
    }
    {
        parse_run_t run("<meta charset=\"iso-2022-jp\" />\x1b(J\x5c");
        EXPECT_EQ(run.lines, "<meta self_closing=true charset=\"iso-2022-jp\"\ntext: \xc2\xa5\n");
    }
    {
        // A declared single-byte encoding, and its bytes above 127.
        parse_run_t run("<meta charset=windows-1252>\x80\xe9");
        EXPECT_EQ(run.lines, "<meta self_closing=false charset=\"windows-1252\"\ntext: \xe2\x82\xac\xc3\xa9\n");
    }
}
