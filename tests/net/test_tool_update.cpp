// newsloom-tool update as a user runs it: against the local server, into a fresh
// folder with a long list, again over the saved store, and refusing a damaged
// newest file.
#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include "tests/net/feed_server.h"
#include "tools/tool_support.h"

static feed_server_t tool_server;

struct tool_run_t {
    int status;
    std::string out;
    std::string err;
};

static tool_run_t run_tool(const std::string& arguments, const std::string& folder) {
    tool_run_t run = {};
    run.out = tool_run("update " + arguments + " 2>'" + folder + "/err.txt'", &run.status);
    run.err = file_bytes(folder + "/err.txt");
    return run;
}

TEST(ToolUpdate, UpdatesSavesAndRefusesADamagedStore) {
    ASSERT_TRUE(tool_server.start(NEWSLOOM_TEST_DATA "/feeds", false));
    temp_folder_t temp;
    std::string folder = temp.path;
    std::string store = folder + "/store";
    std::string atp = tool_server.address("/feed/atp.rss");
    std::string refused = "http://127.0.0.1:" + std::to_string(closed_port()) + "/x.rss";
    // Many feeds, so that downloads finish while a drain runs: each is named too.
    std::vector<std::string> qemu = {tool_server.address("/feed/qemu.atom")};
    for (int i = 0; i < 60; i++) {
        qemu.push_back(tool_server.address(("/copy/" + std::to_string(i) + "/qemu.atom").c_str()));
    }
    {
        std::ofstream list(folder + "/list.txt");
        list << qemu[0] << "\r\n\r\n" << tool_server.address("/status500") << "\n";
        for (size_t i = 1; i < qemu.size(); i++) list << qemu[i] << "\n";
    }

    tool_run_t first = run_tool("-path " + store + " -list " + folder + "/list.txt " + atp + " " + refused, folder);
    EXPECT_EQ(first.status, 0) << first.err;
    EXPECT_NE(first.out.find(atp + ": 100 new entries\n"), std::string::npos) << first.out;
    for (const std::string& address : qemu) {
        EXPECT_NE(first.out.find(address + ": 10 new entries\n"), std::string::npos) << address;
    }
    EXPECT_NE(first.out.find(tool_server.address("/status500") + ": no feed in the document\n"), std::string::npos)
        << first.out;
    EXPECT_NE(first.out.find("Error while retrieving feed: " + refused +
                             "\n    Returned (5) http_error_internet_open_url\n    "),
              std::string::npos)
        << first.out;
    std::vector<std::string> files = folder_names(store);
    ASSERT_EQ(files.size(), 1u);
    ASSERT_EQ(files[0].rfind("feed_data_", 0), 0u) << files[0];

    // No address: every feed, as F5 does, over the saved store.
    tool_run_t second = run_tool("-path " + store, folder);
    EXPECT_EQ(second.status, 0) << second.err;
    EXPECT_NE(second.out.find(atp + ": 0 new entries\n"), std::string::npos) << second.out;

    // A damaged newest file: refused, named, left alone.
    files = folder_names(store);
    std::string newest = store + "/" + files.back();
    {
        std::fstream damaged(newest, std::ios::in | std::ios::out | std::ios::binary);
        damaged.write("XXXX", 4);
    }
    std::vector<std::string> before = folder_names(store);
    tool_run_t refusal = run_tool("-path " + store + " " + atp, folder);
    EXPECT_NE(refusal.status, 0);
    EXPECT_NE(refusal.err.find(newest), std::string::npos) << refusal.err;
    EXPECT_EQ(refusal.out, "");
    EXPECT_EQ(folder_names(store), before);

    EXPECT_EQ(run_tool("-path", folder).status, 2);
    tool_server.stop();
}
// A fresh account: the storage folder and its parents are made. A folder that
// can't be: each feed's line says its entries weren't saved, standard error says
// why and names the folder, and the exit is 1. A path too long for the system is
// refused before anything is fetched.
TEST(ToolUpdate, TheStorageFolderIsMadeOrTheFailureSaid) {
    ASSERT_TRUE(tool_server.start(NEWSLOOM_TEST_DATA "/feeds", false));
    temp_folder_t temp;
    std::string folder = temp.path;
    std::string qemu = tool_server.address("/feed/qemu.atom");

    tool_run_t fresh = run_tool("-path " + folder + "/home/.config/newsloom " + qemu, folder);
    EXPECT_EQ(fresh.status, 0) << fresh.err;
    EXPECT_EQ(fresh.out, qemu + ": 10 new entries\n");
    EXPECT_EQ(folder_names(folder + "/home/.config/newsloom")[0].rfind("feed_data_", 0), 0u);

    std::ofstream(folder + "/plain") << "x";
    std::string blocked = folder + "/plain/newsloom";
    tool_run_t failed = run_tool("-path " + blocked + " " + qemu, folder);
    EXPECT_EQ(failed.status, 1);
    EXPECT_EQ(failed.out, qemu + ": 10 new entries, not saved\n");
    EXPECT_NE(failed.err.find("Error while saving the store in " + blocked +
                              ": can't make the folder: Not a directory."),
              std::string::npos)
        << failed.err;

    std::string too_long = folder + "/" + std::string(4100, 'l');
    tool_run_t refused = run_tool("-path " + too_long + " " + qemu, folder);
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.out, "");
    EXPECT_NE(refused.err.find("longer than 4095 bytes"), std::string::npos) << refused.err;

    tool_server.stop();
}
