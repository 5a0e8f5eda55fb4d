// The strict tokenizer on tables of input and the token lines that it prints:
// doctype, comments, CDATA, attributes, raw elements, references, the byte order
// mark, and the memory prediction's worst cases.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "html_parse_support.h"

struct token_case_t {
    const char* input;
    const char* lines;  // html_tokens_print's output
    html_parser_error_t error;
};

static void expect_tokens(const token_case_t* cases, size_t count) {
    for (size_t i = 0; i < count; i++) {
        parse_run_t run(cases[i].input);
        EXPECT_EQ(run.lines, cases[i].lines) << "input: " << cases[i].input;
        EXPECT_EQ(run.error, cases[i].error) << "input: " << cases[i].input << "\nreport: " << run.report;
        if (cases[i].error == 0) {
            EXPECT_EQ(run.report, "") << "input: " << cases[i].input;
        }
    }
}

TEST(Tokenizer, Doctype) {
    const html_parser_error_t bad = html_tokenizer_error_invalid_doctype;
    const token_case_t cases[] = {
        {"<!doctype html>", "doctype legacy=false\n", 0},
        {"<!dOctYpe html>", "doctype legacy=false\n", 0},
        {"<!doctype\n\r\t\fhtml\n\r\t\f>", "doctype legacy=false\n", 0},
        {"<!doctype html system \"about:legacy-compat\">", "doctype legacy=true\n", 0},
        {"<!doctype html system 'about:legacy-compat'>", "doctype legacy=true\n", 0},
        {"<!doctype html SyStEm \"about:legacy-compat\">", "doctype legacy=true\n", 0},
        {"<!DOCTYPE html PUBLIC \"-//W3C//DTD XHTML 1.0 Strict//EN\" "
         "\"http://www.w3.org/TR/xhtml1/DTD/xhtml1-strict.dtd\">",
         "doctype legacy=false\n", 0},
        {"<!doctypehtml>", "", html_tokenizer_error_doctype_not_followed_by_a_space},
        {"<! doctype html>", "", html_tokenizer_error_invalid_markup_syntax},
        {"< !doctype html>", "", html_tokenizer_error_invalid_text_character_in_tag_name},
        {"<!doctype>", "", html_tokenizer_error_doctype_not_followed_by_a_space},
        {"<!doctype >", "", bad},
        {"<!doctype nonsense>", "", bad},
        {"<!doctype\vhtml>", "", html_tokenizer_error_doctype_not_followed_by_a_space},
        {"<!doctype html\v>", "", bad},
        {"<!doctype html system \"About:legacy-compat\">", "", bad},
        {"<!doctype system \"about:legacy-compat\">", "", bad},
        {"<!doctype html system about:legacy-compat>", "", bad},
        {"<!doctype html system \"about:legacy-compat'>", "", bad},
        {"<!doctype html \"about:legacy-compat\" system>", "", bad},
        {"<doctype html system \"about:legacy-compat\" >", "", html_tokenizer_error_invalid_text_character_in_attribute_name},
        {"<!doctype &#x68;tml>", "", bad},
        {"<!doctype html", "", bad},
    };
    expect_tokens(cases, sizeof(cases) / sizeof(cases[0]));
}

TEST(Tokenizer, Comment) {
    const html_parser_error_t starts = html_tokenizer_error_comment_starts_with_invalid_character_sequence;
    const html_parser_error_t contains = html_tokenizer_error_comment_contains_invalid_character_sequence;
    const token_case_t cases[] = {
        {"<!---->", "comment: \n", 0},
        {"<!--Comment<!-->", "comment: Comment<!\n", 0},
        {"<!--text<!-text-->", "comment: text<!-text\n", 0},
        {"<!-- a -- b -->", "comment:  a -- b \n", 0},
        {"<!--&#65;-->", "comment: A\n", 0},
        {"<!--&agrave-->", "comment: &agrave\n", 0},
        {"<!-->-->", "", starts},
        {"<!--->-->", "", starts},
        {"<!-->", "", starts},
        {"<!-->comment-->", "", starts},
        {"<!--<!--->", "", contains},
        {"<!--text<!--text-->", "", contains},
        {"<!--a--!>b-->", "", contains},
        {"<!--a\x01-->", "", html_tokenizer_error_invalid_text_character_in_comment},
        {"<!--open", "", html_tokenizer_error_eof},
        {"<!-x-->", "", html_tokenizer_error_invalid_markup_syntax},
        {"a<!--c-->b", "text: a\ncomment: c\ntext: b\n", 0},
    };
    expect_tokens(cases, sizeof(cases) / sizeof(cases[0]));
}

TEST(Tokenizer, CdataAndProcessingInstructions) {
    const token_case_t cases[] = {
        {"<![CDATA[]]>", "cdata: \n", 0},
        {"<![CDATA[<![CDATA[]]>", "cdata: <![CDATA[\n", 0},
        {"<![CDATA[data]]>data]]>", "cdata: data\ntext: data]]>\n", 0},
        {"<![CDATA[&#65;]]>", "cdata: &#65;\n", 0},
        {"<![CDATA[a]]b]>c]]>", "cdata: a]]b]>c\n", 0},
        {"<![cdata[]]>", "", html_tokenizer_error_invalid_markup_syntax},
        {"<![CDATA[\x7f]]>", "", html_tokenizer_error_invalid_text_character_in_cdata},
        {"<![CDATA[open", "", html_tokenizer_error_eof},
        // A processing instruction leaves no token at all.
        {"a<?xml version=\"1.0\"?>b", "text: a\ntext: b\n", 0},
        {"<?" "?>x", "text: x\n", 0},
        {"<?php ?" "? ?>", "", 0},
        {"<?open", "", html_tokenizer_error_eof},
    };
    expect_tokens(cases, sizeof(cases) / sizeof(cases[0]));
}

TEST(Tokenizer, Attributes) {
    const token_case_t cases[] = {
        {"<div empty_1 empty_2 >", "<div self_closing=false empty_1 empty_2\n", 0},
        {"<div unquoted_syntax =unquoted_value>", "<div self_closing=false unquoted_syntax=\"unquoted_value\"\n", 0},
        {"<div single_quote_syntax= 'single quote'>",
         "<div self_closing=false single_quote_syntax=\"single quote\"\n", 0},
        {"<div \n\r\t\fa\n\r\t\f=\n\r\t\f\"b\"\n\r\t\f>", "<div self_closing=false a=\"b\"\n", 0},
        {"<div name=\"value \n\r\t\fvalue\">", "<div self_closing=false name=\"value \n\r\t\fvalue\"\n", 0},
        {"<div NAME=\"Value\">", "<div self_closing=false name=\"Value\"\n", 0},
        {"<DIV>", "<DIV self_closing=false\n", 0},
        {"<div a=\"\">", "<div self_closing=false a\n", 0},
        {"<div a=''b=c>", "", html_tokenizer_error_attribute_value_not_followed_by_a_valid_character},
        {"<div €attribute_name>", "<div self_closing=false €attribute_name\n", 0},
        {"<div a<b`c>", "<div self_closing=false a<b`c\n", 0},
        {"<div/>", "<div self_closing=true\n", 0},
        {"<div unquoted_attribute=value />", "<div self_closing=true unquoted_attribute=\"value\"\n", 0},
        {"<div double_quoted_attribute=\"value\"/>", "<div self_closing=true double_quoted_attribute=\"value\"\n", 0},
        {"<div unquoted_attribute=value/>", "<div self_closing=false unquoted_attribute=\"value/\"\n", 0},
        {"<div double_quote_syntax=\"double>", "", html_tokenizer_error_eof_quoted_attribute_value},
        {"<div double_quote_syntax=double\">", "",
         html_tokenizer_error_invalid_character_in_unquoted_attribute_value},
        {"<div double_quote_syntax=double quote\">", "",
         html_tokenizer_error_empty_attribute_not_followed_by_a_valid_character},
        {"<div name_start/name_end>", "", html_tokenizer_error_expected_greater_than},
        {"<div name_start\"name_end>", "",
         html_tokenizer_error_empty_attribute_not_followed_by_a_valid_character},
        {"<div name_start=name_end=value>", "",
         html_tokenizer_error_invalid_character_in_unquoted_attribute_value},
        {"<div name_start=name_end = value>", "",
         html_tokenizer_error_invalid_text_character_in_attribute_name},
        {"<div€attribute_name>", "", html_tokenizer_error_invalid_text_character_in_tag_name},
        {"<div /a", "", html_tokenizer_error_expected_greater_than},
        {"<div a=\"x\x01\">", "", html_tokenizer_error_quoted_attribute_value_missing_the_closing_quote},
        {"<div ", "", html_tokenizer_error_invalid_text_character_in_attribute_name},
        {"<div a=\"b\"", "", html_tokenizer_error_attribute_value_not_followed_by_a_valid_character},
        // A '<' that ends the input ends the loop before the tag state runs.
        {"<", "", 0},
        {"a<", "text: a\n", 0},
        {"<p", "", html_tokenizer_error_invalid_text_character_in_tag_name},
    };
    expect_tokens(cases, sizeof(cases) / sizeof(cases[0]));
}

TEST(Tokenizer, EndTags) {
    const token_case_t cases[] = {
        {"</p>", "</ p\n", 0},
        {"</p \n>", "</ p\n", 0},
        {"</>", "</ \n", 0},
        {"</P>", "</ P\n", 0},
        // End tags carry no attributes.
        {"</p class=a>", "", html_tokenizer_error_expected_greater_than},
        {"</p/>", "", html_tokenizer_error_expected_greater_than},
        {"</p", "", html_tokenizer_error_expected_greater_than},
    };
    expect_tokens(cases, sizeof(cases) / sizeof(cases[0]));
}

TEST(Tokenizer, TextAndReferences) {
    const token_case_t cases[] = {
        {"&#65;&#x41;&#X41;&#x5a;&#x5A;", "text: AAAZZ\n", 0},
        {"&agrave;&Agrave;&AGRAVE;", "text: àÀ&AGRAVE;\n", 0},
        {"&acE;", "text: \xe2\x88\xbe\xcc\xb3\n", 0},
        {"&amp;#65;", "text: &#65;\n", 0},
        {"&65;&#65&amp;", "text: &65;&#65&\n", 0},
        {"& #65;", "text: & #65;\n", 0},
        {"&# 65;", "text: &# 65;\n", 0},
        {"&#65 ;", "text: &#65 ;\n", 0},
        {"&x41;", "text: &x41;\n", 0},
        {"&#5a;&#5A;&5A;&#x5w;", "text: &#5a;&#5A;&5A;&#x5w;\n", 0},
        {"& agrave;&agrave ;&agrave", "text: & agrave;&agrave ;&agrave\n", 0},
        {"&agravenonsense;&agravenonsense", "text: &agravenonsense;&agravenonsense\n", 0},
        {"&#0;&#x0;", "text: &#0;&#x0;\n", 0},
        {"&#13;&#xd;&#Xd;", "text: &#13;&#xd;&#Xd;\n", 0},
        {"&#x1;&#127;&#x9F;&#xFDD0;&#xFFFE;&#x10FFFF;", "text: &#x1;&#127;&#x9F;&#xFDD0;&#xFFFE;&#x10FFFF;\n", 0},
        {"&#xD800;&#xDFFF;&#55296;&#57343;", "text: &#xD800;&#xDFFF;&#55296;&#57343;\n", 0},
        {"&#xD7ff;&#xE000;&#55295;&#57344;", "text: \xed\x9f\xbf\xee\x80\x80\xed\x9f\xbf\xee\x80\x80\n", 0},
        {"&#123456789123456789123456789;", "text: &#123456789123456789123456789;\n", 0},
        {"&CounterClockwiseContourIntegral;", "text: \xe2\x88\xb3\n", 0},
        {"&", "text: &\n", 0},
        {"a&#", "text: a&#\n", 0},
        // Attribute values decode references when quoted, and an unknown name is an error.
        {"<a title=\"&lt;&#x41;&agrave\">", "<a self_closing=false title=\"<A&agrave\"\n", 0},
        {"<a title=\"&abcdefghijklmn;\">", "", html_tokenizer_error_ambiguous_ampersand_in_attribute_value},
        {"<a title=\"&verylongnamethatisnotinthetableatall;\">", "",
         html_tokenizer_error_ambiguous_ampersand_in_attribute_value},
        {"<a title=&amp;>", "<a self_closing=false title=\"&amp;\"\n", 0},
        // Text keeps CR and LF as they are; controls and NUL are errors, not replaced.
        {"a\r\nb\rc", "text: a\r\nb\rc\n", 0},
        {"a\x00" "b", "", html_tokenizer_error_invalid_text_character},
        {"a\x0b", "", html_tokenizer_error_invalid_text_character},
        {"a\xc2\x80", "", html_tokenizer_error_invalid_text_character},
        {"a\xef\xbf\xbf", "", html_tokenizer_error_invalid_text_character},
        // A bad byte of UTF-8 becomes U+FFFD and reading goes on.
        {"a\xff" "b", "text: a\xef\xbf\xbd" "b\n", 0},
    };
    for (const token_case_t& c : cases) {
        // The NUL case needs its length told.
        std::string input = c.input;
        if (input == "a") input = std::string("a\x00" "b", 3);
        parse_run_t run(input);
        EXPECT_EQ(run.lines, c.lines) << "input: " << c.input;
        EXPECT_EQ(run.error, c.error) << "input: " << c.input << "\nreport: " << run.report;
    }
}

TEST(Tokenizer, RawElements) {
    for (const char* name : {"script", "style", "textarea", "title"}) {
        std::string n = name;
        const bool escapable = n == "textarea" || n == "title";
        const html_parser_error_t bad_close = escapable ? html_tokenizer_error_invalid_string_in_escapable_raw_element
                                                        : html_tokenizer_error_invalid_string_in_raw_element;
        std::string start = "<" + n + " self_closing=false\n";
        std::string end = "</ " + n + "\n";
        struct {
            std::string input, lines;
            html_parser_error_t error;
        } cases[] = {
            {"<" + n + "></" + n + ">", start + end, 0},
            {"<" + n + ">sometext</" + n + ">", start + "text: sometext\n" + end, 0},
            {"<" + n + "><</" + n + ">", start + "text: <\n" + end, 0},
            {"<" + n + ">></" + n + ">", start + "text: >\n" + end, 0},
            {"<" + n + "><p></p></" + n + ">", start + "text: <p></p>\n" + end, 0},
            {"<" + n + "></" + n + "x></" + n + ">", start + "text: </" + n + "x>\n" + end, 0},
            {"<" + n + ">", start, 0},
            {"<" + n + ">text", start + "text: text\n", 0},
            {"<" + n + ">text</" + n, start + "text: text</" + n + "\n", 0},
            {"<" + n + "></" + n + " >", start, bad_close},
            {"<" + n + "></" + n + " ", start, bad_close},
            {"<" + n + "></" + n + "/>", start, bad_close},
        };
        for (auto& c : cases) {
            parse_run_t run(c.input);
            EXPECT_EQ(run.lines, c.lines) << "input: " << c.input;
            EXPECT_EQ(run.error, c.error) << "input: " << c.input << "\nreport: " << run.report;
        }
    }
    const token_case_t cases[] = {
        {"<script>&anrstanrastusie;</script>", "<script self_closing=false\ntext: &anrstanrastusie;\n</ script\n", 0},
        {"<script>&amp;</script>", "<script self_closing=false\ntext: &amp;\n</ script\n", 0},
        {"<textarea>&amp;</textarea>", "<textarea self_closing=false\ntext: &\n</ textarea\n", 0},
        {"<title>&agrave</title>", "<title self_closing=false\ntext: &agrave\n</ title\n", 0},
        {"<textarea>&anrstanrastusie;</textarea>", "<textarea self_closing=false\n",
         html_tokenizer_error_ambiguous_ampersand_in_escapable_raw_element},
        {"<script>\x01</script>", "<script self_closing=false\n", html_tokenizer_error_invalid_text_character},
        // Upper case isn't a raw element: names keep their case.
        {"<SCRIPT><b></SCRIPT>", "<SCRIPT self_closing=false\n<b self_closing=false\n</ SCRIPT\n", 0},
        {"<script>a</SCRIPT></script>", "<script self_closing=false\ntext: a</SCRIPT>\n</ script\n", 0},
        // A mismatch on '<' doesn't move the end of the text: it stays in front of
        // "</scr", and the default state then meets "</scr<".
        {"<script></scr</script>", "<script self_closing=false\n", html_tokenizer_error_expected_greater_than},
        {"<script><<</script>", "<script self_closing=false\ntext: <<\n</ script\n", 0},
        {"<script></scr<x</script>", "<script self_closing=false\ntext: </scr<x\n</ script\n", 0},
    };
    expect_tokens(cases, sizeof(cases) / sizeof(cases[0]));
}

// Bytes at the end that decode to no code point: an escape sequence of
// ISO-2022-JP, a lone last byte of UTF-16. In a raw element they end the input
// like any end, with no text token of no bytes for the tree to meet.
TEST(Tokenizer, RawElementEndingInsideADecodeHasNoEmptyText) {
    const std::string meta = "<meta charset=\"iso-2022-jp\" />";
    const std::string meta_line = "<meta self_closing=true charset=\"iso-2022-jp\"\n";
    auto utf16 = [](const std::string& ascii, const std::string& tail) {
        std::string bytes = "\xff\xfe";
        for (char c : ascii) bytes += std::string(1, c) + std::string(1, '\0');
        return bytes + tail;
    };
    struct {
        std::string input, lines;
    } cases[] = {
        {meta + "<script>\x1b(B", meta_line + "<script self_closing=false\n"},
        {meta + "<title>\x1b(B", meta_line + "<title self_closing=false\n"},
        {meta + "<style>a\x1b(B", meta_line + "<style self_closing=false\ntext: a\n"},
        {utf16("<textarea>", "x"), "<textarea self_closing=false\n"},
        {utf16("<script>a", "x"), "<script self_closing=false\ntext: a\n"},
    };
    for (auto& c : cases) {
        tree_run_t run(c.input, true);
        EXPECT_EQ(run.parse.lines, c.lines);
        EXPECT_EQ(run.parse.error, 0u);
        for (u64 i = 0; i < run.parse.tokens.token_count; i++) {
            const html_token_t& token = run.parse.tokens.tokens[i];
            if (token.kind == html_token_text) {
                EXPECT_GT(token.text.used, 0u);
            }
        }
    }
}

TEST(Tokenizer, ByteOrderMarkGivesTheSameText) {
    const std::string euro_utf8 = "\xe2\x82\xac";
    const std::string inputs[] = {
        euro_utf8,
        "\xef\xbb\xbf" + euro_utf8,
        std::string("\xfe\xff\x20\xac", 4),
        std::string("\xff\xfe\xac\x20", 4),
    };
    const u32 encodings[] = {1, 1, 38, 39};
    for (int i = 0; i < 4; i++) {
        parse_run_t run(inputs[i]);
        EXPECT_EQ(run.lines, "text: " + euro_utf8 + "\n") << i;
        EXPECT_EQ(run.error, 0u);
        EXPECT_EQ(run.tokens.encoding, encodings[i]);
    }
    // An odd last byte of UTF-16 is the end of the input.
    for (const std::string& odd : {std::string("\xff\xfe\x05", 3), std::string("\xff\xfex\0y", 5)}) {
        parse_run_t run(odd);
        EXPECT_EQ(run.error, 0u);
        EXPECT_EQ(run.lines, odd.size() == 3 ? "" : "text: x\n");
    }
    // UTF-16 markup reads like any other.
    parse_run_t run(std::string("\xff\xfe<\0p\0>\0x\0", 10));
    EXPECT_EQ(run.lines, "<p self_closing=false\ntext: x\n");
}

TEST(Tokenizer, MemoryPredictionHoldsForTheWorstCases) {
    const char* inputs[] = {
        "<p><p><p><p>", "<p>a", "<p>aa", "<p>aaa", "<p>aaaa", "<p>a<p>a<p>a<p>a", "<p a b c d>", "<p a b c d ",
        "<p a=b c=d>", "</></></>", "a<p>", "&acE;&acE;", "\xff\xff\xff\xff", "<p \xff=\xff>",
        // Text at both ends: one token more than half the bytes.
        "a<b>c", "x<b>y<i>z", "a<?" "?>b", "a<b>c<i>d<u>e", "a<br/>b",
    };
    for (const char* input : inputs) {
        u8* mark = log_test_mark(log_main);
        u8* user_mark = log_test_mark(log_user);
        parse_run_t run(input);
        std::string channel = log_test_since(log_main, mark);
        EXPECT_EQ(channel.find("Out of memory"), std::string::npos) << input;
        EXPECT_EQ(log_test_since(log_user, user_mark), "") << input;
        EXPECT_NE(run.error, html_tokenizer_error_not_enough_memory) << input;
        EXPECT_LE(run.tokens.token_count, hp_predict_max_tokens(strlen(input))) << input;
        // What the text didn't use went back to the block.
        EXPECT_EQ(run.tokens.text_block.reserved, run.tokens.text_block.used) << input;
        EXPECT_LE(run.memory.used, hp_predict_memory(parse_input(input))) << input;
    }
    parse_run_t both_ends("x<b>y<i>z");
    EXPECT_EQ(both_ends.lines, "text: x\n<b self_closing=false\ntext: y\n<i self_closing=false\ntext: z\n");
}

// The prediction leaves no room for it, but should a token block be full the
// token is dropped, not written past the block.
TEST(Tokenizer, AFullTokenBlockDropsTheToken) {
    html_token_t room[1];
    html_tokens_t tokens = {};
    tokens.token_block = data_make(sizeof(room), 0, room);
    tokens.tokens = room;
    hp_t hp = hp_init((const u8*)"", 0, 0);
    hp_token_create(&hp, html_token_text);
    EXPECT_EQ(hp_token_emit(&hp, &tokens), 0u);
    hp_token_create(&hp, html_token_text);
    EXPECT_NE(hp_token_emit(&hp, &tokens), 0u);
    EXPECT_EQ(tokens.token_count, 1u);
    EXPECT_EQ(hp.token.kind, html_token_none);
}

TEST(Tokenizer, TooSmallBlockIsAnErrorNotAStop) {
    std::string input = "<p>text</p>";
    data_t memory = data_allocate(hp_predict_memory(parse_input(input)) - 40);
    html_parser_error_t error = 0;
    html_tokens_t tokens = hp_tokenizer(&memory, parse_input(input), 0, &error);
    EXPECT_EQ(error, html_tokenizer_error_not_enough_memory);
    EXPECT_EQ(tokens.token_count, 0u);
    EXPECT_EQ(memory.used, 0u);
    data_free(&memory);
}
