// The feed scanner's quirks, which the merge relies on as they stand.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/log.h"
#include "log_support.h"
#include "store/xml_scanner.h"
#include "store_support.h"

namespace {

// Scans and builds in a block of its own, so that tokens and nodes stay valid.
struct scanner_fixture_t {
    data_t block = data_allocate(MIB(8));
    ~scanner_fixture_t() { data_free(&block); }

    xml_document_t build(std::string& text, xml_scan_t* scan_out = nullptr) {
        data_clear(&block);
        xml_scan_t scan = xml_scan_tags(&block, data_from_size(text.size(), text.data()));
        if (scan_out) *scan_out = scan;
        return xml_build_tree(&block, scan.tokens, scan.token_count);
    }
};

xml_node_t* node_at(xml_document_t& tree, u64 index) { return &((xml_node_t*)tree.nodes.bytes)[index]; }

}  // namespace

TEST(XmlScanner, TagsOfEveryShape) {
    struct case_t {
        const char* document;
        std::vector<std::string> names;  // per token, with "/" in front of closing ones
    };
    const case_t cases[] = {
        {"<a><![CDATA[x<y]]></a>", {"a", "![CDATA[", "/a"}},
        {"<!-- > --><b/>", {"!--", "b/"}},
        {"<a b=\"1>2\">", {"a"}},
        {"<a b='it\"s'>t</a>", {"a", "/a"}},
        {"<?XML version=\"1.0\"?><r/>", {"XML", "r/"}},
        {"<?php ?><r>", {"?php", "r"}},
        {"<title/><title />", {"title/", "title"}},
        {"<a\nb=\"1\">", {"a"}},
        {"<a>text<b", {"a"}},
        {"no tags at all", {}},
    };
    scanner_fixture_t fixture;
    for (const case_t& c : cases) {
        std::string text = c.document;
        xml_scan_t scan = xml_scan_tags(&fixture.block, data_from_size(text.size(), text.data()));
        std::vector<std::string> names;
        for (u64 i = 0; i < scan.token_count; i++) {
            xml_token_t* token = &scan.tokens[i];
            // A prefix added with insert, not "/" + name: GCC 12 warns falsely of
            // overlapping copies in that operator+ at -O3.
            std::string name = to_string(token->name);
            if (token->is_closing) name.insert(0, 1, '/');
            names.push_back(name);
        }
        EXPECT_EQ(names, c.names) << c.document;
        data_clear(&fixture.block);
    }
}

TEST(XmlScanner, FlagsOfDeclarationCommentAndSelfClosing) {
    scanner_fixture_t fixture;
    std::string text = "<?xml version=\"1.0\"?><!--c--><x/><![CDATA[d]]>";
    xml_scan_t scan = xml_scan_tags(&fixture.block, data_from_size(text.size(), text.data()));
    ASSERT_EQ(scan.token_count, 4u);
    EXPECT_TRUE(scan.tokens[0].is_declaration);
    EXPECT_EQ(*scan.tokens[0].start, 'x');  // behind the '?'
    EXPECT_TRUE(scan.tokens[1].is_comment);
    EXPECT_TRUE(scan.tokens[2].is_self_closing);
    EXPECT_TRUE(scan.tokens[3].is_cdata);

    u8* mark = log_test_mark(log_main);
    std::string bad = "<?xml version=\"1.0\" ><a>";
    scan = xml_scan_tags(&fixture.block, data_from_size(bad.size(), bad.data()));
    EXPECT_EQ(scan.token_count, 2u);
    EXPECT_NE(log_test_since(log_main, mark).find("Malformed xml tag.\n"), std::string::npos);

    mark = log_test_mark(log_main);
    std::string nested = "<a <b>";
    scan = xml_scan_tags(&fixture.block, data_from_size(nested.size(), nested.data()));
    EXPECT_EQ(scan.token_count, 1u);
    EXPECT_NE(log_test_since(log_main, mark).find("'<' inside an already opened tag.\n"), std::string::npos);
}

TEST(XmlScanner, TreeTextAndChildren) {
    scanner_fixture_t fixture;

    std::string cdata = "<a><![CDATA[x<y]]></a>";
    xml_document_t tree = fixture.build(cdata);
    ASSERT_EQ(tree.node_count, 2u);
    xml_node_t* a = node_at(tree, 0);
    ASSERT_EQ(a->child_count, 1u);
    EXPECT_EQ(a->children[0]->tag, xml_tag_cdata);
    EXPECT_EQ(to_string(a->children[0]->text), "x<y");
    EXPECT_EQ(a->text.used, 0u);
    EXPECT_EQ(to_string(xml_node_value(a)), "x<y");

    // Mixed content has no text at all; a comment is a child too.
    std::string mixed = "<title>one<b>two</b>three</title><link>x<!--c--></link>";
    tree = fixture.build(mixed);
    xml_node_t* title = node_at(tree, 0);
    EXPECT_EQ(title->tag, xml_tag_title);
    EXPECT_EQ(title->text.used, 0u);
    EXPECT_EQ(title->child_count, 1u);
    xml_node_t* link = nullptr;
    for (u64 i = 0; i < tree.node_count; i++) {
        if (node_at(tree, i)->tag == xml_tag_link) link = node_at(tree, i);
    }
    ASSERT_TRUE(link);
    EXPECT_EQ(link->text.used, 0u);
    ASSERT_EQ(link->child_count, 1u);
    EXPECT_EQ(link->children[0]->tag, xml_tag_comment);
    EXPECT_EQ(to_string(link->children[0]->text), "c");

    // An unclosed channel still gets all following tags; nested same names are skipped
    // as a whole.
    std::string unclosed = "<channel><item><item>in</item></item><title>t</title>";
    tree = fixture.build(unclosed);
    xml_node_t* channel = node_at(tree, 0);
    ASSERT_EQ(channel->tag, xml_tag_channel);
    ASSERT_EQ(channel->child_count, 2u);
    EXPECT_EQ(channel->children[0]->tag, xml_tag_item);
    EXPECT_EQ(channel->children[0]->child_count, 1u);
    EXPECT_EQ(channel->children[1]->tag, xml_tag_title);
    EXPECT_EQ(to_string(channel->children[1]->text), "t");

    // <title/> has the name "title/", which matches nothing.
    std::string slash = "<item><title/><title /></item>";
    tree = fixture.build(slash);
    xml_node_t* item = node_at(tree, 0);
    ASSERT_EQ(item->child_count, 2u);
    EXPECT_EQ(item->children[0]->tag, xml_tag_other);
    EXPECT_EQ(item->children[1]->tag, xml_tag_title);
}

TEST(XmlScanner, Attributes) {
    struct case_t {
        const char* document;
        u32 count;
        xml_attribute_kind_t last_kind;
        const char* last_value;
    };
    const case_t cases[] = {
        {"<a href=\"x\" rel='self'/>", 2, xml_attribute_rel, "self"},
        {"<a  href = \"c\"/>", 1, xml_attribute_href, "c"},
        {"<a href  = \"c\"/>", 1, xml_attribute_href, "c"},
        {"<a href=c/>", 0, xml_attribute_other, ""},
        // Line breaks and tabs separate attributes like blanks.
        {"<a\nhref=\"x\"/>", 1, xml_attribute_href, "x"},
        {"<a\thref\t=\r\n'x' rel=\"self\"/>", 2, xml_attribute_rel, "self"},
        {"<link title=\"x\"\n\thref=\"y\"\n/>", 2, xml_attribute_href, "y"},
        {"<a title='it\"s' href=\"x\"/>", 2, xml_attribute_href, "x"},
    };
    scanner_fixture_t fixture;
    for (const case_t& c : cases) {
        std::string text = c.document;
        u8* mark = log_test_mark(log_main);
        xml_document_t tree = fixture.build(text);
        ASSERT_EQ(tree.node_count, 1u) << c.document;
        xml_node_t* node = node_at(tree, 0);
        EXPECT_EQ(node->attribute_count, c.count) << c.document;
        if (c.count) {
            EXPECT_EQ(node->attributes[c.count - 1]->kind, c.last_kind) << c.document;
            EXPECT_EQ(to_string(node->attributes[c.count - 1]->value), c.last_value) << c.document;
        } else {
            EXPECT_NE(log_test_since(log_main, mark).find("Attribute value doesn't start with ' or \".\n"),
                      std::string::npos);
        }
    }
}

TEST(XmlScanner, StoredTextDecodesEntities) {
    struct case_t {
        const char* raw;
        const char* stored;
    };
    const case_t cases[] = {
        {"&amp;", "&"},
        {"&#65;&#x41;", "AA"},
        {"&#X41;", "&#X41;"},
        {"AT&T", "AT&T"},
        {"&nosuch;", "&nosuch;"},
        {"a &lt;b&gt; &amp; c;", "a <b> & c;"},
        {"&agrave;&Agrave;", "\xc3\xa0\xc3\x80"},
        {"&#0;x", "&#0;x"},
        // Every scalar value in its shortest form, the rest as U+FFFD.
        {"&#x7F;&#x80;&#x7FF;&#x800;", "\x7f\xc2\x80\xdf\xbf\xe0\xa0\x80"},
        {"&#xFFFF;&#x10000;&#x10FFFF;", "\xef\xbf\xbf\xf0\x90\x80\x80\xf4\x8f\xbf\xbf"},
        {"&#x110000;|&#xD800;|&#57343;", "\xef\xbf\xbd|\xef\xbf\xbd|\xef\xbf\xbd"},
        {"&#x100000041;&#4294967361;", "\xef\xbf\xbd\xef\xbf\xbd"},
        {"&#99999999999999999999999999;", "\xef\xbf\xbd"},
        {"&#x;&#;", "&#x;&#;"},
        {"caf\xc3\xa9", "caf\xc3\xa9"},
        {"bad \xff byte", "bad \xef\xbf\xbd byte"},
        {"", ""},
    };
    store_fixture_t store;
    for (const case_t& c : cases) {
        std::string raw = c.raw;
        data_t field = {};
        data_t arena = data_free_view_64(&store.scratch);
        reader_store_text(&store.reader, data_from_size(raw.size(), raw.data()), &field, &store.codepoints, 1,
                          &arena);
        EXPECT_EQ(to_string(field), c.stored) << c.raw;
        EXPECT_EQ(raw, c.raw) << "the document is given back as it was";
    }
}

TEST(XmlScanner, NewCodePointsJoinTheSetInOrderOfFirstAppearance) {
    store_fixture_t store;
    u32 before = store.codepoints.count;
    std::string raw = "\xe2\x82\xac \xce\xb1\xce\xb2\xce\xb1 &#x3b3; \t";  // euro is a default; alpha, beta, gamma, tab
    data_t field = {};
    data_t arena = data_free_view_64(&store.scratch);
    reader_store_text(&store.reader, data_from_size(raw.size(), raw.data()), &field, &store.codepoints, 1, &arena);
    ASSERT_EQ(store.codepoints.count, before + 4);
    EXPECT_EQ(store.codepoints.values[before + 0], 0x3B1u);
    EXPECT_EQ(store.codepoints.values[before + 1], 0x3B2u);
    EXPECT_EQ(store.codepoints.values[before + 2], 0x3B3u);
    EXPECT_EQ(store.codepoints.values[before + 3], 0x09u);
    EXPECT_TRUE(codepoint_set_contains(&store.codepoints, 0x3B2));
    EXPECT_FALSE(codepoint_set_contains(&store.codepoints, 0x3B4));
}
