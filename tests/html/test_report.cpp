// The tokenizer's error report on log channel 0: message texts, line and byte
// column, the line as characters and the caret under the byte.
#include <gtest/gtest.h>

#include <string>

#include "html_parse_support.h"

TEST(Report, ExactTextColumnAndCaret) {
    struct {
        std::string input;
        std::string report;
    } cases[] = {
        {"a\nb\ncde< f",
         "Error( 3, 5 ): Invalid character in tag name. Only ascii alphanumeric character are allowed.\n"
         "    cde< f\n"
         "        ^\n\n"},
        // The column counts bytes and the line shows characters: after non-ASCII
        // text the caret stands to the right of the character.
        {"\xc3\xa9< x",
         "Error( 1, 4 ): Invalid character in tag name. Only ascii alphanumeric character are allowed.\n"
         "    \xc3\xa9< x\n"
         "       ^\n\n"},
        // CR LF is one line end.
        {"a\r\n< b",
         "Error( 2, 2 ): Invalid character in tag name. Only ascii alphanumeric character are allowed.\n"
         "    < b\n"
         "     ^\n\n"},
        // The line ends at the next line end.
        {"<p a=b\"c>\nnext line",
         "Error( 1, 7 ): An unquoted attribute value contains an invalid character.\n"
         "    <p a=b\"c>\n"
         "          ^\n\n"},
        // An unclosed value points to its start.
        {"<a href=\"abc",
         "Error( 1, 10 ): The end of the file was reached while parsing a quoted attirbute value.\n"
         "    <a href=\"abc\n"
         "             ^\n\n"},
        // Error 17 has no blank line of its own.
        {"<!--\x01-->",
         "Error( 1, 5 ): A comment contains an invalid character.\n"
         "    <!--\x01-->\n"
         "        ^\n"},
        {"<!--open", "Error: The end of the file has been reached.\n\n"},
        // A byte order mark counts: the column is the byte offset from the input's
        // start plus one, and the line shows the mark.
        {"\xef\xbb\xbf" "ab< c",
         "Error( 1, 7 ): Invalid character in tag name. Only ascii alphanumeric character are allowed.\n"
         "    \xef\xbb\xbf" "ab< c\n"
         "          ^\n\n"},
        {std::string("\xff\xfe" "a\0<\0 \0b\0", 10),
         "Error( 1, 7 ): Invalid character in tag name. Only ascii alphanumeric character are allowed.\n"
         "    \xef\xbb\xbf" "a< b\n"
         "          ^\n\n"},
    };
    for (auto& c : cases) {
        parse_run_t run(c.input);
        EXPECT_NE(run.error, 0u) << c.input;
        EXPECT_EQ(run.report, c.report) << c.input;
    }
}

TEST(Report, EveryTokenizerErrorHasItsText) {
    for (u32 error = 1; error <= html_tokenizer_error_ambiguous_ampersand_in_escapable_raw_element; error++) {
        ASSERT_NE(html_parser_error_messages[error], nullptr) << error;
    }
}

TEST(ReportDeathTest, TreeErrorsNeverReachTheReport) {
    std::string input = "x";
    hp_t hp = hp_init((const u8*)input.data(), input.size(), 0);
    EXPECT_DEATH(hp_report_error(&hp, html_tree_construction_error_unclosed_tags), "");
}
