// Character references: the quick name lookup agrees with a walk over the whole
// table, and the tokenizer's runs of plain text agree with reading one character
// at a time.
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "base/text.h"
#include "html/character_reference.h"
#include "html/named_references.h"
#include "html_parse_support.h"

TEST(CharacterReference, QuickLookupAgreesWithTheTable) {
    auto check = [](const std::string& name) {
        u32 a1, a2, b1, b2;
        u32 a = hp_named_reference_lookup((const u8*)name.data(), (u32)name.size(), &a1, &a2);
        u32 b = named_reference_lookup((const u8*)name.data(), name.size(), &b1, &b2);
        ASSERT_EQ(a, b) << name;
        ASSERT_EQ(a1, b1) << name;
        ASSERT_EQ(a2, b2) << name;
    };
    u32 named = 0;
    for (u32 row = 0; row < named_reference_row_count; row++) {
        const char* name = named_reference_names[row];
        if (!name) continue;
        named++;
        std::string text(name, named_reference_lengths[row]);
        check(text);
        // Case matters: the flipped first letter is another name or none.
        std::string flipped = text;
        flipped[0] = (char)(char_is_upper((u8)flipped[0]) ? flipped[0] + 32 : flipped[0] - 32);
        check(flipped);
        check(text.substr(0, text.size() - 1));
        check(text + "x");
    }
    EXPECT_EQ(named, named_reference_name_count);
    for (const char* other : {"", "0", "9lives", "zzzz", "Zfr", "zwnj", "Aacute", "[", "~"}) check(other);
}

static std::string per_character_lines(const std::string& input, html_parser_error_t* error, std::string* report) {
    data_t memory = data_allocate(hp_predict_memory(parse_input(input)));
    u8* mark = log_test_mark(log_main);
    html_tokens_t tokens = hp_tokenizer(&memory, parse_input(input), hp_flag_per_character, error);
    *report = log_test_since(log_main, mark);
    mark = log_test_mark(log_main);
    html_tokens_print(&tokens);
    std::string lines = log_test_since(log_main, mark);
    data_free(&memory);
    return lines;
}

// Text, quoted values, line ends and the characters that end a run, shuffled.
TEST(CharacterReference, TextRunsAgreeWithOneCharacterAtATime) {
    const char* pieces[] = {"a",     "text ", "\n",     "\r",      "\r\n",   "\t",    "<p>",     "</p>",
                            "&amp;", "&",     "&lt",    "<b c=\"", "\">",    "'",     "\"",      "<i d='",
                            "'>",    "\xc3\xa9", "\x01", "\xff",    "<!--",   "-->",   "<",       ">",
                            "=",     " ",     "<br/>",  "&#65;",   "\xe2\x80\x94", "<textarea>", "</textarea>",
                            "<a href=x>", "<p a=b/c>", "<div e f>", "</div >", "<td colspan=2 ", "h\xc3\xa9=v", "x`y",
                            "\xdf\xbf", "\xdf\xbe", "\xef\xb7\x90", "\xef\xbf\xbe", "\xf0\x9f\x98\x80", "\xf4\x8f\xbf\xbf",
                            "\xf4\x8f\xbf\xbe", "\xc2\x80", "\xc2\xa0", "\xed\xa0\x80", "\xe0\x80\x80", "\xe2\x80", "\xf0\x90"};
    std::mt19937 random(12345);
    for (int round = 0; round < 3000; round++) {
        std::string input;
        int count = 1 + (int)(random() % 20);
        for (int i = 0; i < count; i++) input += pieces[random() % (sizeof(pieces) / sizeof(pieces[0]))];
        parse_run_t fast(input);
        html_parser_error_t error = 0;
        std::string report;
        std::string slow = per_character_lines(input, &error, &report);
        ASSERT_EQ(fast.lines, slow) << input;
        ASSERT_EQ(fast.error, error) << input;
        ASSERT_EQ(fast.report, report) << input;
    }
}
