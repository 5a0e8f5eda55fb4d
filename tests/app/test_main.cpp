// The program as the user starts it: it runs its start-up and shutdown, exits
// cleanly, and writes the main log on request.
#include <gtest/gtest.h>

#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

class ProgramTest : public testing::Test {
protected:
    std::string folder;
    void SetUp() override {
        char pattern[] = "/tmp/newsloom_run_XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        folder = pattern;
    }
    void TearDown() override { ASSERT_EQ(system(("rm -rf '" + folder + "'").c_str()), 0); }
    // Runs the program in the temporary folder, with the store kept there too.
    int run(const std::string& switches) {
        std::string command = "cd '" + folder + "' && env -u DISPLAY -u WAYLAND_DISPLAY HOME='" + folder + "' '" NEWSLOOM_BINARY_DIR "/newsloom' -path '" +
                              folder + "/store' " + switches + " </dev/null";
        int status = system(command.c_str());
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
};

TEST_F(ProgramTest, ExitsCleanlyAndWritesTheLogOnRequest) {
    EXPECT_EQ(run(""), 0);
    EXPECT_NE(access((folder + "/log.txt").c_str(), F_OK), 0);
    EXPECT_EQ(run("-log"), 0);
    EXPECT_EQ(access((folder + "/log.txt").c_str(), F_OK), 0);
}
