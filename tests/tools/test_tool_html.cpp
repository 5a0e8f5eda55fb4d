// newsloom-tool html run as a program: tokens, tree and report in that order, and
// its exit status.
#include <gtest/gtest.h>

#include <string>

#include "tool_support.h"

static std::string run_html_tool(const std::string& arguments, int* status) {
    return tool_run("html " + arguments, status);
}

TEST(ToolHtml, TokensTreeAndReport) {
    tool_folder_t folder;
    std::string good = folder.write("good.html", "<p class=a>x <b>y</b></p>");
    int status = -1;
    EXPECT_EQ(run_html_tool(good, &status),
              "<p self_closing=false class=\"a\"\ntext: x \n<b self_closing=false\ntext: y\n</ b\n</ p\n");
    EXPECT_EQ(status, 0);
    EXPECT_EQ(run_html_tool("-tree " + good, &status),
              "<p self_closing=false class=\"a\"\ntext: x \n<b self_closing=false\ntext: y\n</ b\n</ p\n"
              "p class=\"a\"\n    text_node: x \n    b\n        text_node: y\n    /b\n/p\n");
    EXPECT_EQ(status, 0);

    // The report comes after the tokens that were emitted before the error.
    std::string bad = folder.write("bad.html", "<p>x</p>\n<p a=\"b\"c>");
    EXPECT_EQ(run_html_tool(bad, &status),
              "<p self_closing=false\ntext: x\n</ p\ntext: \n\n"
              "Error( 2, 9 ): An attribute value was not followed by a space (' ', '\\n', '\\r', '\\t', '\\f'), "
              "a slash ('/') or a greater than sign ('>').\n"
              "    <p a=\"b\"c>\n"
              "            ^\n\n");
    EXPECT_NE(status, 0);

    // The tree forgives unknown elements unless -strict is given.
    std::string unknown = folder.write("unknown.html", "<blink>x</blink>");
    run_html_tool("-tree " + unknown, &status);
    EXPECT_EQ(status, 0);
    std::string strict = run_html_tool("-tree -strict " + unknown, &status);
    EXPECT_NE(status, 0);
    EXPECT_NE(strict.find("html_tree_construction_error_element_invalid_start_name"), std::string::npos) << strict;

    // The encoding comes from the document's own declaration.
    std::string big5 = folder.write("big5.html", "<meta charset=big5>\xa4\x40");
    EXPECT_EQ(run_html_tool(big5, &status), "<meta self_closing=false charset=\"big5\"\ntext: \xe4\xb8\x80\n");

    run_html_tool(folder.path + "/missing.html 2>/dev/null", &status);
    EXPECT_NE(status, 0);
}
