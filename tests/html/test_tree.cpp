// Tree construction in both modes, white-space collapsing, preformatted text,
// attributes on their nodes and the walk.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "html_parse_support.h"

struct tree_case_t {
    const char* input;
    bool ignore_errors;
    const char* printed;  // html_tree_print's lines
    html_parser_error_t error;
};

template <size_t count> static void expect_trees(const tree_case_t (&cases)[count]) {
    for (const tree_case_t& c : cases) {
        tree_run_t run(c.input, c.ignore_errors);
        ASSERT_EQ(run.parse.error, 0u) << c.input;
        EXPECT_EQ(run.printed, c.printed) << c.input;
        EXPECT_EQ(run.error, c.error) << c.input;
    }
}

TEST(Tree, Construction) {
    const tree_case_t cases[] = {
        {"<p>a</p>", false, "p\n    text_node: a\n/p\n", 0},
        {"<nonsense>a</nonsense>", true, "text_node: a\n", 0},
        {"<p nonsense=1 class=a class=b>", true, "p class=\"a\"\n/p\n", 0},
        {"<p>", false, "p\n/p\n", html_tree_construction_error_unclosed_tags},
        {"<br>", false, "br\n", 0},
        {"<img src=a>", false, "img src=\"a\"\n", 0},
        {"<div/>", false, "div\n/div\n", 0},
        {"<DIV></DIV>", false, "", html_tree_construction_error_element_invalid_start_name},
        {"</p>", false, "", html_tree_construction_error_element_unexpected_end},
        {"</nonsense>", false, "", html_tree_construction_error_element_invalid_end_name},
        {"<p nonsense=1></p>", false, "", html_tree_construction_error_attribute_invalid_name},
        {"<p href=x></p>", false, "", html_tree_construction_error_attribute_not_allowed_in_element},
        {"<p class=a class=b></p>", false, "", html_tree_construction_error_attribute_name_already_present},
        {"<a href=x target=_blank class=c>l</a>", false, "a href=\"x\" target=\"_blank\" class=\"c\"\n    text_node: l\n/a\n", 0},
        {"<input disabled>", false, "input disabled=\"\"\n", 0},
        // A misnested end tag is dropped and the element stays open.
        {"<p><b>x</p>y", true, "p\n    b\n        text_node: x\n        text_node: y\n    /b\n/p\n", 0},
        {"<p><b>x</p>y", false, "p\n    b\n        text_node: x\n    /b\n/p\n",
         html_tree_construction_error_element_unexpected_end},
        // Only comments, doctypes and CDATA: no nodes at all.
        {"<!doctype html><!--c--><![CDATA[x]]>", false, "", 0},
        {"a<!--c-->b", false, "text_node: a\ntext_node: b\n", 0},
        {"<ul><li>one<li>two</ul>", true, "ul\n    li\n        text_node: one\n        li\n            text_node: two\n        /li\n    /li\n/ul\n", 0},
    };
    expect_trees(cases);
}

TEST(Tree, WhiteSpaceCollapse) {
    const tree_case_t cases[] = {
        {"<p>  a  b  </p>", false, "p\n    text_node: a b \n/p\n", 0},
        // The blank in front of c goes, for the text before ended in one.
        {"<p>  a  b  <b> c</b></p>", false, "p\n    text_node: a b \n    b\n        text_node: c\n    /b\n/p\n", 0},
        {"<p>a <b> c</b></p>", false, "p\n    text_node: a \n    b\n        text_node: c\n    /b\n/p\n", 0},
        {"<p>a<b> c </b> d</p>", false, "p\n    text_node: a\n    b\n        text_node:  c \n    /b\n    text_node: d\n/p\n", 0},
        // Neither </p> resets the last character, so the space between them stays.
        {"<p>a</p>  <p>b</p>", false, "p\n    text_node: a\n/p\ntext_node:  \np\n    text_node: b\n/p\n", 0},
        {"a<br> b", false, "text_node: a\nbr\ntext_node: b\n", 0},
        {"a<img src=x> b", false, "text_node: a\nimg src=\"x\"\ntext_node:  b\n", 0},
        {"<div>\n  <p>x</p>\n</div>", false, "div\n    p\n        text_node: x\n    /p\n    text_node:  \n/div\n", 0},
        {"\t\r\n\f ", false, "", 0},
        {"a\t\r\n\fb", false, "text_node: a b\n", 0},
    };
    expect_trees(cases);
}

TEST(Tree, PreformattedText) {
    const tree_case_t cases[] = {
        {"<pre>\n\nx</pre>", false, "pre\n    text_node: \nx\n/pre\n", 0},
        {"<pre>\r\n a  b</pre>", false, "pre\n    text_node:  a  b\n/pre\n", 0},
        {"<pre>\r\ra</pre>", false, "pre\n    text_node: \ra\n/pre\n", 0},
        // The dropped line end was the whole first text.
        {"<pre>\n<b>x</b>\ny</pre>", false, "pre\n    b\n        text_node: x\n    /b\n    text_node: \ny\n/pre\n", 0},
        {"<pre>a  b</pre>  c  d", false, "pre\n    text_node: a  b\n/pre\ntext_node: c d\n", 0},
        {"<textarea>\n a  b</textarea>", false, "textarea\n    text_node:  a  b\n/textarea\n", 0},
        // Closing textarea leaves the text preformatted until a </pre>.
        {"<textarea></textarea> a  b", false, "textarea\n/textarea\ntext_node:  a  b\n", 0},
        {"<textarea></textarea> a  b</pre> c  d", true, "textarea\n/textarea\ntext_node:  a  b\ntext_node:  c  d\n", 0},
    };
    expect_trees(cases);
}

TEST(Tree, NestedPreIsKeptWithOneLine) {
    u8* mark = log_test_mark(log_user);
    tree_run_t run("<pre><pre>a</pre> b  c</pre> d  e", false);
    EXPECT_EQ(run.error, 0u);
    EXPECT_EQ(run.printed, "pre\n    pre\n        text_node: a\n    /pre\n    text_node: b c\n/pre\ntext_node:  d e\n");
    std::string user = log_test_since(log_user, mark);
    EXPECT_EQ(std::count(user.begin(), user.end(), '\n'), 1) << user;
}

TEST(Tree, ChildrenBeyondTheLimitAreDroppedWithOneLine) {
    std::string input = "<p>";
    for (u32 i = 0; i < html_node_max_children; i++) input += "<br>";
    input += "<b><i>x</i></b>y</p><br>";
    u8* mark = log_test_mark(log_user);
    tree_run_t run(input, false);
    ASSERT_EQ(run.parse.error, 0u);
    EXPECT_EQ(run.error, 0u);
    std::string user = log_test_since(log_user, mark);
    EXPECT_EQ(std::count(user.begin(), user.end(), '\n'), 1) << user;
    html_node_t* root = run.tree.nodes;
    ASSERT_EQ(root->child_count, 2);
    html_node_t* p = html_node_child(root, 0);
    EXPECT_TRUE(html_node_is_element(p, html_element_p));
    EXPECT_EQ(p->child_count, html_node_max_children);
    EXPECT_TRUE(html_node_is_element(html_node_child(root, 1), html_element_br));
    EXPECT_EQ(run.tree.node_count, 1 + 1 + html_node_max_children + 1);
}

TEST(Tree, NotEnoughMemoryRestoresTheBlock) {
    parse_run_t parse("<p class=a>text</p>");
    data_t memory = data_allocate(hp_predict_tree_memory(&parse.tokens) - 16);
    html_parser_error_t error = 0;
    html_tree_t tree = hp_tree_construction(&memory, &parse.tokens, 1, &error);
    EXPECT_EQ(error, html_tree_construction_error_not_enough_memory);
    EXPECT_EQ(tree.nodes, nullptr);
    EXPECT_EQ(memory.used, 0u);
    data_free(&memory);
}

// An attribute is found on the node that has it, and on no other.
TEST(Tree, NodeAttributes) {
    tree_run_t run("<p class=a id=x>one</p>", false);
    ASSERT_EQ(run.error, 0u);
    html_node_t* p = html_node_child(run.tree.nodes, 0);
    ASSERT_TRUE(html_node_is_element(p, html_element_p));
    html_attribute_t* cls = html_node_attribute(p, html_attribute_class);
    ASSERT_NE(cls, nullptr);
    EXPECT_EQ(std::string((const char*)cls->value.bytes, cls->value.used), "a");
    EXPECT_EQ(html_node_attribute(p, html_attribute_href), nullptr);
    html_node_t* text = html_node_child(p, 0);
    ASSERT_TRUE(html_node_is_text(text));
    EXPECT_EQ(text->parent, p);
    EXPECT_EQ(html_node_attribute(text, html_attribute_class), nullptr);
}

static std::string walk_order(html_tree_t* tree) {
    data_t memory = data_allocate(hp_tree_walk_size(tree->node_count));
    html_parser_error_t error = 0;
    hp_tree_walk_t walk = hp_tree_walk_start(&memory, tree->nodes, tree->node_count, &error);
    std::string order;
    while (!error && hp_tree_walk_has_more(&walk)) {
        html_node_t* node = hp_tree_walk_current(&walk);
        std::string name = node->kind == html_node_kind_text ? "text" : html_element_names[node->element];
        order += (hp_tree_walk_is_opening(&walk) ? "+" : "-") + name + " ";
        EXPECT_NE(hp_tree_walk_is_opening(&walk), hp_tree_walk_is_closing(&walk));
        hp_tree_walk_next(&walk);
    }
    data_free(&memory);
    return order;
}

TEST(Tree, WalkOrder) {
    struct {
        const char* input;
        const char* order;
    } cases[] = {
        {"<p><img src=a>b</p>", "+p +img +text -p "},
        {"", ""},
        {"<!-- only a comment -->", ""},
        {"<div><div/><br/>x<span>y</span></div>z", "+div +div -div +br +text +span +text -span -div +text "},
        {"<ul><li>a</li><li><b>b</b></li></ul>", "+ul +li +text -li +li +b +text -b -li -ul "},
    };
    for (auto& c : cases) {
        tree_run_t run(c.input, false);
        EXPECT_EQ(walk_order(&run.tree), c.order) << c.input;
    }
}

TEST(Tree, WalkWithoutMemoryIsAnError) {
    tree_run_t run("<p>x</p>", false);
    data_t memory = data_allocate(4);
    html_parser_error_t error = 0;
    hp_tree_walk_start(&memory, run.tree.nodes, run.tree.node_count, &error);
    EXPECT_EQ(error, html_tree_traversal_error_not_enough_memory);
    data_free(&memory);
}

TEST(Tree, Tables) {
    for (u32 element = 1; element < html_element_count; element++) {
        const char* name = html_element_names[element];
        EXPECT_EQ(html_element_lookup((const u8*)name, strlen(name)), element) << name;
    }
    for (u32 attribute = 1; attribute < html_attribute_name_count; attribute++) {
        const char* name = html_attribute_names[attribute];
        EXPECT_EQ(html_attribute_lookup((const u8*)name, strlen(name)), attribute) << name;
    }
    EXPECT_EQ(html_element_lookup(nullptr, 0), html_element_invalid);
    EXPECT_EQ(html_element_lookup((const u8*)"invalid", 7), html_element_invalid);
    EXPECT_EQ(html_element_lookup((const u8*)"bb", 2), html_element_invalid);
    EXPECT_EQ(html_attribute_lookup((const u8*)"Class", 5), html_attribute_invalid);
}
