// newsloom-tool html run as a program: tokens, tree and report in that order, and
// its exit status.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "tool_support.h"

static std::string run_html_tool(const std::string& arguments, int* status) {
    return tool_run("html " + arguments, status);
}

TEST(ToolHtml, TokensTreeAndReport) {
    temp_folder_t folder;
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

    run_html_tool(folder.path + "/missing.html 2>/dev/null", &status);
    EXPECT_NE(status, 0);
}

static std::string repeat(const std::string& piece, int count) {
    std::string text;
    for (int i = 0; i < count; i++) text += piece;
    return text;
}

static size_t count_lines(const std::string& text) { return (size_t)std::count(text.begin(), text.end(), '\n'); }

// Past 32 levels a line keeps 128 blanks and names its level, so that the print of
// a deep tree grows with its nodes, not with their depth.
TEST(ToolHtml, DeepTreesIndentAtMost32Levels) {
    temp_folder_t folder;
    const int depth = 5000;
    std::string deep = folder.write("deep.html", repeat("<div>", depth) + repeat("</div>", depth));
    int status = -1;
    std::string output = run_html_tool("-tree " + deep, &status);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(count_lines(output), 4u * depth);  // tokens, then the tree
    std::string blanks(128, ' ');
    EXPECT_NE(output.find("\n" + std::string(124, ' ') + "div\n" + blanks + "div\n" + blanks + "[33] div\n"),
              std::string::npos);
    EXPECT_NE(output.find("\n" + blanks + "[4999] /div\n" + blanks + "[4998] /div\n"), std::string::npos);
    EXPECT_TRUE(output.ends_with("    /div\n/div\n"));
    EXPECT_LT(output.size(), 4u * depth * 140);
}

// A print longer than the 5 MiB log comes out whole.
TEST(ToolHtml, PrintsLongerThanTheLogComeOutWhole) {
    temp_folder_t folder;
    const int divisions = 200;
    std::string many = folder.write("many.html", repeat("<div>" + repeat("<p>x</p>", 1000) + "</div>", divisions));
    int status = -1;
    std::string output = run_html_tool("-tree " + many, &status);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(count_lines(output), 2u * divisions * (2 + 3 * 1000));
    EXPECT_EQ(output.find("##"), std::string::npos);
    EXPECT_TRUE(output.starts_with("<div self_closing=false\n<p self_closing=false\ntext: x\n"));
    EXPECT_TRUE(output.ends_with("    p\n        text_node: x\n    /p\n/div\n"));
}

// One line of more than the log holds can't come out whole: the output says so.
TEST(ToolHtml, OutputCutByALineLongerThanTheLogSaysSo) {
    temp_folder_t folder;
    std::string value(1 << 20, 'v');
    std::string tag = "<p";
    for (char name = 'a'; name <= 'f'; name++) tag += std::string(" ") + name + "=\"" + value + "\"";
    std::string wide = folder.write("wide.html", tag + ">x</p>");
    int status = -1;
    std::string output = run_html_tool(wide + " 2>/dev/null", &status);
    EXPECT_NE(output.find("## Output cut here"), std::string::npos);
    EXPECT_NE(output.find("text: x\n</ p\n"), std::string::npos);
}
