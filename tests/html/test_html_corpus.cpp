// Entry HTML taken from real feeds: every one tokenizes without an error and builds
// a tree the entry view can use; the strict tree rejects some, and each rejection
// is a true fault of that HTML against the parser's vocabulary.
#include <gtest/gtest.h>

#include <string>

#include "file_support.h"
#include "html_parse_support.h"

static std::string read_entry(const std::string& name) { return read_test_file(("html/" + name).c_str()); }

static const char* const accepted_whole[] = {
    "russcox_content_15.html",        "cloudblog_description_2.html",    "cloudblog_description_6.html",
    "DaringFireball_content_43.html", "DaringFireball_content_45.html",  "monkeydom_description_7.html",
    "atp_description_62.html",        "qemu_content_0.html",             "neverworkintheory_content_0.html",
    "aktuality_description_0.html",   "489_encoded_0.html",              "EMarley_description_0.html",
    "manton_encoded_0.html",          "scriptingNews_description_0.html", "theomnishow_description_0.html",
    "medscape_description_0.html",
};

TEST(HtmlCorpus, EntriesParseWhole) {
    for (const char* name : accepted_whole) {
        std::string html = read_entry(name);
        ASSERT_GT(html.size(), 100u) << name;
        tree_run_t run(html, false);
        EXPECT_EQ(run.parse.error, 0u) << name << "\n" << run.parse.report;
        EXPECT_EQ(run.error, 0u) << name;
        EXPECT_EQ(run.parse.tokens.encoding, 1u) << name;
        EXPECT_GT(run.tree.node_count, 1u) << name;
        // Every text node has content; white space has collapsed outside pre.
        for (u64 i = 0; i < run.tree.node_count; i++) {
            html_node_t* node = run.tree.nodes + i;
            if (node->kind == html_node_kind_text) {
                ASSERT_GT(node->text.used, 0u) << name;
            }
        }
    }
}

TEST(HtmlCorpus, StrictRejectionsNameTrueFaults) {
    struct {
        const char* name;
        html_parser_error_t error;
        const char* fault;  // the construct that the error is about
    } cases[] = {
        // An excerpt cut inside a list: </p> while li and ul are open.
        {"donthitsave_description_1.html", html_tree_construction_error_element_unexpected_end,
         "<ul>\n\t<li>A decade ago"},
        // Obsolete presentational attributes.
        {"scriptingNews_description_10.html", html_tree_construction_error_attribute_not_allowed_in_element,
         "<img src=\"http://scripting.com/images/2017/06/25/humor.png\" width=\"300\" height=\"285\" border=\"0\""},
        {"draw-down_summary_0.html", html_tree_construction_error_attribute_not_allowed_in_element,
         "<td width=\"200\">"},
        {"russcox_content_1.html", html_tree_construction_error_attribute_not_allowed_in_element, "<img name="},
        // Attributes the vocabulary doesn't have at all.
        {"scriptingNews_description_34.html", html_tree_construction_error_attribute_invalid_name, "frameborder="},
        {"489_encoded_6.html", html_tree_construction_error_attribute_invalid_name, "data-conversation="},
    };
    for (auto& c : cases) {
        std::string html = read_entry(c.name);
        EXPECT_NE(html.find(c.fault), std::string::npos) << c.name;
        tree_run_t strict(html, false);
        EXPECT_EQ(strict.parse.error, 0u) << c.name << "\n" << strict.parse.report;
        EXPECT_EQ(strict.error, c.error) << c.name;
        // As the entry view builds it, the tree keeps what it knows.
        tree_run_t forgiving(html, true);
        EXPECT_EQ(forgiving.error, 0u) << c.name;
        EXPECT_GE(forgiving.tree.node_count, strict.tree.node_count) << c.name;
    }
}

// A real entry stays readable when a fault is put into it: the report names the
// line and the place of the fault and nothing after it is tokenized.
TEST(HtmlCorpus, AFaultInARealEntryIsReportedWhereItIs) {
    std::string html = read_entry("qemu_content_0.html");
    size_t second_line = html.find('\n') + 1;
    ASSERT_GT(second_line, 1u);
    std::string broken = html.substr(0, second_line) + "<p a=\"x\"b>" + html.substr(second_line);
    parse_run_t run(broken);
    EXPECT_EQ(run.error, html_tokenizer_error_attribute_value_not_followed_by_a_valid_character);
    EXPECT_EQ(run.report.rfind("Error( 2, 9 ): ", 0), 0u) << run.report;
    EXPECT_NE(run.report.find("\n    <p a=\"x\"b>"), std::string::npos) << run.report;
    EXPECT_NE(run.report.find("\n            ^\n"), std::string::npos) << run.report;
}
