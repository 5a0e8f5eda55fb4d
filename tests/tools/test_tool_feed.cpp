// newsloom-tool feed: a feed document as the store reads it, and documents the store
// refuses or whose texts are empty (a data_t with no bytes).
#include <gtest/gtest.h>

#include <string>

#include "tool_support.h"

static bool has(const std::string& output, const std::string& line) { return output.find(line) != std::string::npos; }

TEST(ToolFeed, PrintsRecordsThenTheLog) {
    std::string data = NEWSLOOM_TEST_DATA;
    int status = -1;
    std::string output =
        tool_run("feed " + data + "/feeds/theomnishow.rss " + data + "/feeds/russcox.atom 2>&1", &status);
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(has(output, "feed 1 rss, 4 entries")) << output;
    EXPECT_TRUE(has(output, "    title: Curt Clifton, OmniFocus Engineer"));
    EXPECT_TRUE(has(output, "    date: 2017-11-06 17:00:00"));
    EXPECT_TRUE(has(output, "feed 1 atom, 19 entries"));
    EXPECT_TRUE(has(output, "    author: Russ Cox <https://swtch.com/~rsc> rsc@swtch.com"));
    EXPECT_TRUE(has(output, "link (alternate): http://research.swtch.com/tlog"));
    size_t log = output.find("== log channel 0");
    ASSERT_NE(log, std::string::npos);
    EXPECT_NE(output.find("Parsing: " + data + "/feeds/russcox.atom", log), std::string::npos);

    // The address decides the video service's rules, as in an update.
    output = tool_run("feed " + data + "/feeds/qemu.atom -address https://www.youtube.com/feeds/videos.xml?channel_id=x",
                      &status);
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(has(output, "address: https://www.youtube.com/feeds/videos.xml?channel_id=x"));

    tool_run("feed /nonexistent/feed.xml 2>&1", &status);
    EXPECT_NE(status, 0);
    output = tool_run("feed 2>&1", &status);
    EXPECT_NE(status, 0);
    EXPECT_TRUE(has(output, "usage"));
}

TEST(ToolFeed, CutAndEmptyDocumentsPrintWithoutAStop) {
    temp_folder_t folder;
    struct {
        const char* name;
        std::string document;
        const char* expected;  // a line of the output
    } cases[] = {
        {"empty.xml", "", "no feed in this document"},
        {"no_href.atom",
         "<feed xmlns=\"http://www.w3.org/2005/Atom\"><title>t</title><link rel=\"alternate\"/>"
         "<entry><id>e</id><title>x</title><link/></entry></feed>",
         "link (alternate): \n"},
        {"empty_title.rss", "<rss><channel><title></title><item><guid></guid></item></channel></rss>",
         "feed 1 rss, 1 entries"},
        // A document cut short is said to be, and nothing of it is shown.
        {"cut.rss", "<rss><channel><title>T</title><item><title>I</title>",
         "not merged: the document ends before its root element is closed"},
    };
    for (auto& c : cases) {
        std::string path = folder.write(c.name, c.document);
        int status = -1;
        std::string output = tool_run("feed " + path + " 2>&1", &status);
        EXPECT_EQ(status, 0) << c.name << "\n" << output;
        EXPECT_TRUE(has(output, c.expected)) << c.name << "\n" << output;
    }
    int status = -1;
    EXPECT_FALSE(has(tool_run("feed " + folder.path + "/cut.rss", &status), "feed 1 rss"));
}
