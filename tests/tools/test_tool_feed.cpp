// newsloom-tool feed on documents with empty texts, whose data_t has no bytes.
#include <gtest/gtest.h>

#include <string>

#include "tool_support.h"

TEST(ToolFeed, EmptyTextsPrintWithoutAStop) {
    tool_folder_t folder;
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
    };
    for (auto& c : cases) {
        std::string path = folder.write(c.name, c.document);
        int status = -1;
        std::string output = tool_run("feed " + path + " 2>&1", &status);
        EXPECT_EQ(status, 0) << c.name << "\n" << output;
        EXPECT_NE(output.find(c.expected), std::string::npos) << c.name << "\n" << output;
    }
}
