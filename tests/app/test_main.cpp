// The program as the user starts it: it runs its start-up and shutdown, exits
// cleanly, and writes the main log on request.
#include <gtest/gtest.h>

#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <string>

#include "tools/tool_support.h"

class ProgramTest : public testing::Test {
protected:
    temp_folder_t temp;
    std::string folder = temp.path;
    // Runs the program in the temporary folder, with the store kept there too.
    int run(const std::string& switches) {
        std::string command = "cd '" + folder + "' && env -u DISPLAY -u WAYLAND_DISPLAY HOME='" + folder + "' '" NEWSLOOM_BINARY_DIR "/newsloom' -path '" +
                              folder + "/store' " + switches + " </dev/null";
        int status = system(command.c_str());
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
};

TEST_F(ProgramTest, WritesTheLogAndAProfileOnlyOnRequestAndTheToolReadsIt) {
    EXPECT_EQ(run(""), 0);
    EXPECT_NE(access((folder + "/log.txt").c_str(), F_OK), 0);
    EXPECT_NE(access((folder + "/profile.bin").c_str(), F_OK), 0);
    EXPECT_EQ(run("-log -profile"), 0);
    EXPECT_EQ(access((folder + "/log.txt").c_str(), F_OK), 0);
    ASSERT_EQ(access((folder + "/profile.bin").c_str(), F_OK), 0);
    int status = -1;
    std::string report = tool_run("profile '" + folder + "/profile.bin'", &status);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(report.rfind("Timeline[ 0 ] - main\n\n# Totals\n", 0), 0u) << report;
    // Start-up opened its zones; six workers registered and left.
    EXPECT_NE(report.find("\nwindow_create "), std::string::npos) << report;
    EXPECT_NE(report.find("Timeline[ 6 ] - worker_thread"), std::string::npos) << report;
    EXPECT_NE(report.find("\nthread_terminate "), std::string::npos) << report;
}

TEST_F(ProgramTest, AProfileThatCantBeWrittenIsToldAndTheStoreIsStillSaved) {
    // A folder in the way: no one, not even root, can open it as a file.
    ASSERT_EQ(mkdir((folder + "/profile.bin").c_str(), 0755), 0);
    EXPECT_EQ(run("-profile 2> '" + folder + "/errors.txt'"), 0);
    std::string errors = file_bytes(folder + "/errors.txt");
    EXPECT_EQ(errors.substr(errors.find("Newsloom: ")),
              "Newsloom: could not write profile.bin in the working folder: Is a directory.\n")
        << errors;
    EXPECT_EQ(folder_names(folder + "/store").size(), 1u);
}

// Started from a menu, the log panel is gone by the time the exit saves: a store
// that can't be saved is told on standard error, naming the folder.
TEST_F(ProgramTest, AStoreThatCantBeSavedAtExitIsToldOnStandardError) {
    { std::ofstream(folder + "/store") << "in the way"; }
    run("2> '" + folder + "/errors.txt'");
    std::string errors = file_bytes(folder + "/errors.txt");
    EXPECT_NE(errors.find("Error while saving the store in " + folder +
                          "/store: can't make the folder: a file of that name is in the way."),
              std::string::npos)
        << errors;
    EXPECT_EQ(file_bytes(folder + "/store"), "in the way");
}
