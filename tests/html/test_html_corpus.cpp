// Entry HTML taken from real feeds: every one tokenizes without an error and builds
// a strict tree whose text nodes all hold text. Each kind of rejection is pinned on
// a small input by the tree's own test.
#include <gtest/gtest.h>

#include <string>

#include "file_support.h"
#include "html_corpus_entries.h"
#include "html_parse_support.h"

static std::string read_entry(const std::string& name) { return read_test_file(("html/" + name).c_str()); }

TEST(HtmlCorpus, EntriesParseWhole) {
    for (const char* name : html_corpus_entries) {
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
