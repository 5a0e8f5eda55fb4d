// Label lookup: trimming, folding, cutting, and the three choices of the table.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "html/encoding.h"
#include "html/generated/encoding_tables.h"

static encoding_t from_label(const std::string& label) {
    return encoding_from_label((const u8*)label.data(), label.size());
}

TEST(EncodingLabels, Lookup) {
    struct {
        std::string label;
        encoding_t expected;
    } cases[] = {
        {"utf-8", encoding_utf_8},
        {"  UTF-8 ", encoding_utf_8},
        {"\t\n\f\rUtF8\r\n", encoding_utf_8},
        // The table's first row is never compared.
        {"unicode-1-1-utf-8", encoding_none},
        // Labels of UTF-8 and UTF-16 that the table doesn't carry.
        {"x-unicode20utf8", encoding_none},
        {"unicode", encoding_none},
        {"ucs-2", encoding_none},
        {"utf-16", encoding_utf_16le},
        // ISO-8859-6 has no label; its row repeats ISO-8859-5's, and the first wins.
        {"iso-8859-6", encoding_none},
        {"US-ASCII", encoding_windows_1252},
        {"iso-2022-kr", encoding_replacement},
        {"GB2312", encoding_gbk},
        // A byte at or above 127 cuts the label: what follows is ignored.
        {"utf-8\x80garbage", encoding_utf_8},
        {"big5\xFF", encoding_big5},
        {"\x7F", encoding_none},
        // Inner white space and other separators aren't folded away.
        {"utf 8", encoding_none},
        {"utf_8", encoding_none},
        {"", encoding_none},
        {"latin1 ;", encoding_none},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(from_label(c.label), c.expected) << '"' << c.label << '"';
    }
}

TEST(EncodingLabels, LongLabelsCompareTheirFirst128Bytes) {
    std::string spaces(200, ' ');
    EXPECT_EQ(from_label(spaces + "koi8-u" + spaces), encoding_koi8_u);
    EXPECT_EQ(from_label("utf-8" + std::string(200, 'x')), encoding_none);
    EXPECT_EQ(from_label(std::string(128, 'a')), encoding_none);
    EXPECT_EQ(encoding_from_label(nullptr, 0), encoding_none);
}

TEST(EncodingLabels, EveryLabelButTheExceptionsFindsItsEncoding) {
    // Every row but the first and ISO-8859-6's copies of ISO-8859-5's labels.
    for (u32 row = 0; row < encoding_label_count; row++) {
        const encoding_label_t& label = encoding_labels[row];
        encoding_t found = encoding_from_label((const u8*)label.text, strlen(label.text));
        if (row == 0 || label.encoding == encoding_iso_8859_6) {
            EXPECT_NE(found, label.encoding) << label.text;
        } else {
            EXPECT_EQ(found, label.encoding) << label.text;
        }
    }
}
