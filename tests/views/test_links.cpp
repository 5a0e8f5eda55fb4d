// The link queues: appending, counting, removing, clearing, and what is opened
// with which command line.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "file_support.h"
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
    const std::string long_link(3000, 'x'), long_queue = long_link + " " + long_link;
    struct {
        const char* links[3];
        const char* queue;
        u32 count;
    } cases[] = {
        {{"a", nullptr}, "a", 1},
        {{"http://x/1", "http://x/2", nullptr}, "http://x/1 http://x/2", 2},
        // A link with blanks can't be told apart from several.
        {{"http://x/a b", "c", nullptr}, "http://x/a b c", 3},
        // Past the queue's first block the text moves whole.
        {{long_link.c_str(), long_link.c_str(), nullptr}, long_queue.c_str(), 2},
    };
    for (auto& c : cases) {
        link_queue_clear(&target);
        for (const char* const* l = c.links; *l; l++) append(*l);
        EXPECT_EQ(text_of(target.queue), c.queue);
        EXPECT_EQ(link_queue_count(&target), c.count) << c.queue;
        EXPECT_EQ(target.queue.bytes[target.queue.used], 0);
    }
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

// No target, or one switched off, counts 0 and keeps its queue; the count of all
// adds the ten targets that queue.
TEST_F(LinkQueue, CountsOnlyWhatQueueingTargetsHold) {
    EXPECT_EQ(link_queue_count(nullptr), 0u);
    append("a b");
    target.queue_enabled = 0;
    EXPECT_EQ(link_queue_count(&target), 0u);
    EXPECT_EQ(text_of(target.queue), "a b");  // kept until enabled again
    target.queue_enabled = 1;
    EXPECT_EQ(link_queue_count(&target), 2u);

    static reader_t reader;
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
    temp_folder_t temp{"newsloom_links_"};
    std::string folder = temp.path;
    link_recorder_t recorder;
    std::string& script = recorder.script;
    std::string executable_line;
    void SetUp() override {
        LinkQueue::SetUp();
        recorder.create(folder);
    }
    void executable(const std::string& line) {
        executable_line = line;
        target.executable = data_from_size(line.size(), executable_line.data());
    }
};

// What each way of opening hands the target's program, and the queue it leaves.
TEST_F(LinkOpening, TheCommandLineAndTheQueueLeft) {
    struct {
        const char* name;
        std::string executable;
        std::string link;  // opened alone, or else the queue
        std::vector<const char*> queued;
        int clear;
        bool enabled;
        std::string recorded, left;
    } cases[] = {
        {"a link split at blanks", script + " --new-tab", "http://x/a b", {}, 0, true, "--new-tab\nhttp://x/a\nb\n", ""},
        {"a queue in one process, emptied", script, "", {"http://x/1", "http://x/2"}, 1, true,
         "http://x/1\nhttp://x/2\n", ""},
        {"open all without clear keeps the queue", script, "", {"http://x/1"}, 0, true, "http://x/1\n", "http://x/1"},
        {"a target switched off isn't opened", script, "", {"http://x/1"}, 1, false, "", "http://x/1"},
        // Not the default opener: the command line is the link alone, here the script.
        {"an executable of spaces", "   ", script + " x", {}, 0, true, "x\n", ""},
    };
    for (auto& c : cases) {
        SCOPED_TRACE(c.name);
        link_queue_clear(&target);
        executable(c.executable);
        for (const char* link : c.queued) append(link);
        target.queue_enabled = c.enabled;
        if (!c.link.empty()) {
            link_open(data_from_size(c.link.size(), c.link.c_str()), &target);
        } else {
            link_queue_open(&target, (u32)c.clear);
        }
        if (c.recorded.empty()) {
            usleep(200000);
            EXPECT_FALSE(recorder.ran());
        } else {
            EXPECT_EQ(recorder.recorded(), c.recorded);
        }
        EXPECT_EQ(text_of(target.queue), c.left);
        target.queue_enabled = 1;
    }
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
