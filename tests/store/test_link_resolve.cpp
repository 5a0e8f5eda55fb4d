// Relative references against a base: the examples of RFC 3986 section 5.4, and
// what feeds write.
#include <gtest/gtest.h>

#include <string>

#include "store/link_resolve.h"

namespace {

std::string resolve(const char* base, const char* reference) {
    u8 bytes[512];
    data_t block = data_make(sizeof(bytes), 0, bytes);
    data_t result = link_resolve(data_from_size(strlen(base), base), data_from_size(strlen(reference), reference),
                                 &block);
    return std::string((const char*)result.bytes, result.used);
}

}  // namespace

TEST(LinkResolve, TheStandardsExamples) {
    const char* base = "http://a/b/c/d;p?q";
    const char* cases[][2] = {
        {"g:h", "g:h"},
        {"g", "http://a/b/c/g"},
        {"./g", "http://a/b/c/g"},
        {"g/", "http://a/b/c/g/"},
        {"/g", "http://a/g"},
        {"//g", "http://g"},
        {"?y", "http://a/b/c/d;p?y"},
        {"g?y", "http://a/b/c/g?y"},
        {"#s", "http://a/b/c/d;p?q#s"},
        {"g#s", "http://a/b/c/g#s"},
        {"g?y#s", "http://a/b/c/g?y#s"},
        {";x", "http://a/b/c/;x"},
        {"g;x", "http://a/b/c/g;x"},
        {".", "http://a/b/c/"},
        {"./", "http://a/b/c/"},
        {"..", "http://a/b/"},
        {"../", "http://a/b/"},
        {"../g", "http://a/b/g"},
        {"../..", "http://a/"},
        {"../../g", "http://a/g"},
        {"../../../g", "http://a/g"},
        {"../../../../g", "http://a/g"},
        {"/./g", "http://a/g"},
        {"/../g", "http://a/g"},
        {"g.", "http://a/b/c/g."},
        {"..g", "http://a/b/c/..g"},
        {"./../g", "http://a/b/g"},
        {"./g/.", "http://a/b/c/g/"},
        {"g/./h", "http://a/b/c/g/h"},
        {"g/../h", "http://a/b/c/h"},
        {"g;x=1/./y", "http://a/b/c/g;x=1/y"},
        {"g;x=1/../y", "http://a/b/c/y"},
    };
    for (auto& c : cases) EXPECT_EQ(resolve(base, c[0]), c[1]) << c[0];
}

TEST(LinkResolve, WhatFeedsWrite) {
    const char* cases[][3] = {
        {"https://example.com/feed.xml", "/2025/03/06/post", "https://example.com/2025/03/06/post"},
        {"https://example.com", "post.html", "https://example.com/post.html"},
        {"https://example.com/blog/atom.xml", "  posts/1.html\n", "https://example.com/blog/posts/1.html"},
        {"https://example.com/blog/", "../img/a.png", "https://example.com/img/a.png"},
        {"http://example.com/feed", "//cdn.example.com/x.mp3", "http://cdn.example.com/x.mp3"},
        {"http://example.com/feed", "HTTPS://Other.example/", "HTTPS://Other.example/"},
        {"http://example.com/feed", "mailto:someone@example.com", "mailto:someone@example.com"},
        // Nothing to resolve against, or nothing to resolve.
        {"feed.rss", "/post", "/post"},
        {"", "post", "post"},
        {"http://example.com/feed", "", ""},
        {"http://example.com/feed", " \t ", ""},
    };
    for (auto& c : cases) EXPECT_EQ(resolve(c[0], c[1]), c[2]) << c[0] << " + " << c[1];

    // A block too small leaves the reference as it was, and takes nothing.
    u8 bytes[8];
    data_t block = data_make(sizeof(bytes), 0, bytes);
    data_t result = link_resolve(data_literal("http://example.com/a/"), data_literal("b"), &block);
    EXPECT_EQ(std::string((const char*)result.bytes, result.used), "b");
    EXPECT_EQ(block.used, 0u);
}
