// The link queues: appending, counting, removing, clearing, and what is opened
// with which command line.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>

#include "views/link_recorder.h"
#include "log_support.h"
#include "base/log.h"
#include "net/block_storage.h"
#include "store/reader.h"
#include "views/links.h"

namespace {

std::string text_of(const data_t& d) { return std::string((const char*)d.bytes, d.used); }

class LinkQueue : public testing::Test {
protected:
    link_target_t target = {};
    static void SetUpTestSuite() {
        if (!block_storage.memory.bytes) {
            block_storage_create(&block_storage, block_storage_region_size, block_storage_commit_size,
                                 block_storage_block_size);
        }
    }
    void SetUp() override { target.queue_enabled = 1; }
    void TearDown() override { link_queue_clear(&target); }
    void append(const char* link) { link_queue_append(&target, data_from_size(strlen(link), link)); }
};

TEST_F(LinkQueue, AppendsWithOneBlankBetweenAndCountsRunsOfNonBlanks) {
    struct {
        const char* links[3];
        const char* queue;
        u32 count;
    } cases[] = {
        {{"a", nullptr}, "a", 1},
        {{"http://x/1", "http://x/2", nullptr}, "http://x/1 http://x/2", 2},
        // A link with blanks can't be told apart from several.
        {{"http://x/a b", "c", nullptr}, "http://x/a b c", 3},
    };
    for (auto& c : cases) {
        link_queue_clear(&target);
        for (const char* const* l = c.links; *l; l++) append(*l);
        EXPECT_EQ(text_of(target.queue), c.queue);
        EXPECT_EQ(link_queue_count(&target), c.count) << c.queue;
        EXPECT_EQ(target.queue.bytes[target.queue.used], 0);
    }
}

TEST_F(LinkQueue, GrowsInBlocksOf4096AndKeepsItsText) {
    std::string link(3000, 'x');
    append(link.c_str());
    EXPECT_EQ(target.queue.reserved, 4096u);
    append(link.c_str());
    EXPECT_EQ(target.queue.reserved, 8192u);
    EXPECT_EQ(text_of(target.queue), link + " " + link);
}

TEST_F(LinkQueue, RemovesALinkWithTheBlanksAroundIt) {
    struct {
        const char* queue;
        u64 at, length;
        const char* left;
    } cases[] = {
        {"a bb c", 0, 1, "bb c"},
        {"a bb c", 2, 2, "a c"},
        {"a bb c", 5, 1, "a bb"},
        {"only", 0, 4, ""},
    };
    for (auto& c : cases) {
        link_queue_clear(&target);
        append(c.queue);
        u8* block = target.queue.bytes;
        link_queue_remove(&target, data_from_size(c.length, target.queue.bytes + c.at));
        EXPECT_EQ(text_of(target.queue), c.left) << c.queue;
        // Removing the last link keeps the queue's block for the next one.
        EXPECT_EQ(target.queue.bytes, block);
    }
}

TEST_F(LinkQueue, CountIsZeroForNoTargetAndForATargetSwitchedOff) {
    EXPECT_EQ(link_queue_count(nullptr), 0u);
    append("a b");
    target.queue_enabled = 0;
    EXPECT_EQ(link_queue_count(&target), 0u);
    EXPECT_EQ(text_of(target.queue), "a b");  // kept until enabled again
    target.queue_enabled = 1;
    EXPECT_EQ(link_queue_count(&target), 2u);
}

TEST_F(LinkQueue, CountAllAddsTheTenTargets) {
    static reader_t reader;
    for (u32 i = 0; i < reader_link_target_count; i++) reader.link_targets[i] = link_target_t{};
    reader.link_targets[0].queue_enabled = 1;
    reader.link_targets[9].queue_enabled = 1;
    link_queue_append(&reader.link_targets[0], data_literal("a"));
    link_queue_append(&reader.link_targets[9], data_literal("b c"));
    link_queue_append(&reader.link_targets[5], data_literal("d"));  // not queueing
    EXPECT_EQ(link_queue_count_all(&reader), 3u);
    for (u32 i = 0; i < reader_link_target_count; i++) link_queue_clear(&reader.link_targets[i]);
}

class LinkOpening : public LinkQueue {
protected:
    std::string folder;
    link_recorder_t recorder;
    std::string& script = recorder.script;
    std::string& record = recorder.record;
    void SetUp() override {
        LinkQueue::SetUp();
        char pattern[] = "/tmp/newsloom_links_XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        folder = pattern;
        recorder.create(folder);
    }
    void TearDown() override {
        LinkQueue::TearDown();
        ASSERT_EQ(system(("rm -rf '" + folder + "'").c_str()), 0);
    }
    void executable(const std::string& line) {
        target.executable = data_from_size(line.size(), line.c_str());
        executable_line = line;
        target.executable.bytes = (u8*)executable_line.data();
    }
    std::string executable_line;
    std::string recorded() { return recorder.recorded(); }
};

TEST_F(LinkOpening, AnExecutableGetsTheLinkSplitAtBlanks) {
    executable(script + " --new-tab");
    link_open(data_literal("http://x/a b"), &target);
    EXPECT_EQ(recorded(), "--new-tab\nhttp://x/a\nb\n");
}

TEST_F(LinkOpening, AQueueOpensInOneProcessAndEmptiesWithClear) {
    executable(script);
    append("http://x/1");
    append("http://x/2");
    link_queue_open(&target, 1);
    EXPECT_EQ(recorded(), "http://x/1\nhttp://x/2\n");
    EXPECT_EQ(target.queue.used, 0u);
    EXPECT_EQ(link_queue_count(&target), 0u);
}

TEST_F(LinkOpening, OpenAllWithoutClearKeepsTheQueue) {
    executable(script);
    append("http://x/1");
    link_queue_open(&target, 0);
    EXPECT_EQ(recorded(), "http://x/1\n");
    EXPECT_EQ(text_of(target.queue), "http://x/1");
}

TEST_F(LinkOpening, ATargetSwitchedOffIsNotOpened) {
    executable(script);
    append("http://x/1");
    target.queue_enabled = 0;
    link_queue_open(&target, 1);
    usleep(200000);
    EXPECT_NE(access(record.c_str(), F_OK), 0);
    EXPECT_EQ(text_of(target.queue), "http://x/1");
}

TEST_F(LinkOpening, AnExecutableOfSpacesIsNotTheDefaultOpener) {
    // The command line is then the link alone: the script, run as the link.
    executable("   ");
    std::string link = script + " x";
    link_open(data_from_size(link.size(), link.c_str()), &target);
    EXPECT_EQ(recorded(), "x\n");
}

// A program that can't be started is one line on the log panel, and a queue
// given to it is gone all the same.
TEST_F(LinkOpening, AProgramThatCantStartIsOneLineOnTheLogPanel) {
    environment_swap_t path("PATH", folder + "/empty");
    std::string plain = folder + "/not_executable";
    std::ofstream(plain) << "#!/bin/sh\n";
    struct {
        std::string executable, line;
    } cases[] = {
        {"", "Could not start xdg-open: No such file or directory\n"},
        {"nosuchbrowser --new-tab", "Could not start nosuchbrowser: No such file or directory\n"},
        {plain, "Could not start " + plain + ": Permission denied\n"},
    };
    for (auto& c : cases) {
        executable(c.executable);
        u8* mark = log_test_mark(log_user);
        link_open(data_literal("http://x/1"), &target);
        append("http://x/2");
        link_queue_open(&target, 1);
        std::string log = log_test_since(log_user, mark);
        EXPECT_EQ(log.substr(log.find_first_not_of('\n')), c.line + "\n\n" + c.line);
        EXPECT_EQ(target.queue.used, 0u);
    }
}

}  // namespace
