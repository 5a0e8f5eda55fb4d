// What every command of newsloom-tool does at start, whatever it is given.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "tool_support.h"

// The program's own path is read at start but needed by nothing; one longer than
// its 2048-byte buffer is no reason to stop.
TEST(ToolStart, RunsFromAnExecutablePathLongerThanItsBuffer) {
    temp_folder_t folder;
    std::string deep = folder.path;
    while (deep.size() < 2100) {
        deep += "/" + std::string(200, 'd');
        ASSERT_EQ(mkdir(deep.c_str(), 0755), 0) << deep.size();
    }
    std::string copy = deep + "/newsloom-tool";
    std::filesystem::copy_file(tool_binary(), copy);
    chmod(copy.c_str(), 0755);
    std::string input = folder.write("a.html", "<p>a</p>");
    int status = -1;
    EXPECT_EQ(run_command("'" + copy + "' html " + input + " 2>&1", &status),
              "<p self_closing=false\ntext: a\n</ p\n");
    EXPECT_EQ(status, 0);
}
