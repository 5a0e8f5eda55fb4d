// The store's commands of newsloom-tool, run as programs.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace {

std::string run(const std::string& arguments, int* status) {
    std::string command = std::string(NEWSLOOM_BINARY_DIR) + "/newsloom-tool " + arguments + " 2>&1";
    FILE* pipe = popen(command.c_str(), "r");
    std::string output;
    char buffer[4096];
    size_t n;
    while ((n = fread(buffer, 1, sizeof(buffer), pipe)) > 0) output.append(buffer, n);
    *status = pclose(pipe);
    return output;
}

}  // namespace

TEST(StoreTools, FeedPrintsRecordsThenTheLog) {
    std::string data = NEWSLOOM_TEST_DATA;
    int status = 0;
    std::string output = run("feed " + data + "/feeds/theomnishow.rss " + data + "/feeds/russcox.atom", &status);
    EXPECT_EQ(status, 0);
    EXPECT_NE(output.find("feed 1 rss, 4 entries"), std::string::npos) << output;
    EXPECT_NE(output.find("    title: Curt Clifton, OmniFocus Engineer"), std::string::npos);
    EXPECT_NE(output.find("    date: 2017-11-06 17:00:00"), std::string::npos);
    EXPECT_NE(output.find("feed 1 atom, 19 entries"), std::string::npos);
    EXPECT_NE(output.find("    author: Russ Cox <https://swtch.com/~rsc> rsc@swtch.com"), std::string::npos);
    EXPECT_NE(output.find("link (alternate): http://research.swtch.com/tlog"), std::string::npos);
    size_t log = output.find("== log channel 0");
    ASSERT_NE(log, std::string::npos);
    EXPECT_NE(output.find("Parsing: " + data + "/feeds/russcox.atom", log), std::string::npos);

    // The address decides the video service's rules, as in an update.
    output = run("feed " + data + "/feeds/qemu.atom -address https://www.youtube.com/feeds/videos.xml?channel_id=x",
                 &status);
    EXPECT_EQ(status, 0);
    EXPECT_NE(output.find("address: https://www.youtube.com/feeds/videos.xml?channel_id=x"), std::string::npos);

    // Dates in UTC and the stand-ins of Dublin Core and podcasts, as the store reads them.
    output = run("feed " + data + "/feeds/stand_ins.rss -address https://example.org/feeds/s.rss", &status);
    EXPECT_EQ(status, 0);
    EXPECT_NE(output.find("    date: 2021-03-03 14:15:00\n"), std::string::npos) << output;  // 09:15 EST
    EXPECT_NE(output.find("    author: Ada Lovelace\n"), std::string::npos) << output;
    EXPECT_NE(output.find("    link: https://example.org/feeds/episodes/3.mp3\n"), std::string::npos) << output;

    // A document cut short is said to be, and nothing of it is shown.
    std::string cut = testing::TempDir() + "cut.rss";
    FILE* file = fopen(cut.c_str(), "wb");
    fputs("<rss><channel><title>T</title><item><title>I</title>", file);
    fclose(file);
    output = run("feed " + cut, &status);
    EXPECT_NE(output.find("not merged: the document ends before its root element is closed"), std::string::npos)
        << output;
    EXPECT_EQ(output.find("feed 1 rss"), std::string::npos) << output;
    remove(cut.c_str());

    output = run("feed /nonexistent/feed.xml", &status);
    EXPECT_NE(status, 0);
    output = run("feed", &status);
    EXPECT_NE(status, 0);
    EXPECT_NE(output.find("usage"), std::string::npos);
}
