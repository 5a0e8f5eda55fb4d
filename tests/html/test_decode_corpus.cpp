// A real feed in a legacy encoding: kc0011.rss declares gb2312, which reads as
// GBK, and must decode to its Chinese titles without a single bad sequence.
#include <gtest/gtest.h>

#include <string>

#include "file_support.h"
#include "base/text.h"
#include "html/encoding.h"

static void append_utf8(std::string* out, u32 codepoint) {
    u8 bytes[4];
    u32 length = 0;
    utf_error_t error = 0;
    utf8_encode(bytes, bytes + 4, codepoint, &length, &error);
    out->append((const char*)bytes, length);
}

TEST(DecodeCorpus, Gb2312FeedDecodesToItsTitles) {
    std::string bytes = read_test_file("kc0011.rss");
    ASSERT_GT(bytes.size(), 20000u);

    // The declaration names the label; the label names GBK.
    std::string declaration = "encoding=\"";
    size_t at = bytes.find(declaration);
    ASSERT_NE(at, std::string::npos);
    at += declaration.size();
    std::string label = bytes.substr(at, bytes.find('"', at) - at);
    EXPECT_EQ(label, "gb2312");
    encoding_t encoding = encoding_from_label((const u8*)label.data(), label.size());
    ASSERT_EQ(encoding, encoding_gbk);

    std::string text;
    u32 bad = 0, codepoints = 0;
    const u8* position = (const u8*)bytes.data();
    const u8* end = position + bytes.size();
    for (;;) {
        u32 codepoint = 0, second = 0;
        u8 length = 0;
        decoder_error_t error = 0;
        encoding_decode(encoding, position, end, &codepoint, &second, &length, nullptr, &error);
        if (error == decoder_error_end_of_input) break;
        ASSERT_GT(length, 0);
        position += length;
        codepoints++;
        if (error) {
            bad++;
            append_utf8(&text, 0xFFFD);
        } else {
            append_utf8(&text, codepoint);
        }
    }
    EXPECT_EQ(position, end);
    EXPECT_EQ(bad, 0u);
    EXPECT_LT(codepoints, bytes.size());  // two bytes for each Chinese character

    const char* expected[] = {
        "<title>投资资讯网交易在线--流通纪念币最新20篇论坛主题-全文</title>",
        "<title>建国35周年纪念，华表，和平鸽</title>",
        "<title>出南京泰山5盒，原盒看图</title>",
        "<title>★★低出爱藏MS66评级币★★</title>",
        "<title>收：一轮羊，猴，狗，兔</title>",
        "<title>泰山康银阁 红包卡 箱，包 。可选号码</title>",
        "<author>大鱼儿</author>",
        "alt=\"图片点击可在新窗口打开查看\"",
    };
    for (const char* sample : expected) {
        EXPECT_NE(text.find(sample), std::string::npos) << sample;
    }
}
