// The program as the user starts it: it runs its start-up and shutdown, exits
// cleanly, and writes the main log on request.
#include <gtest/gtest.h>

#include <stdlib.h>
#include <sys/stat.h>
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

static std::string text_of(const std::string& path) {
    std::string text;
    FILE* file = fopen(path.c_str(), "rb");
    if (!file) return text;
    char buffer[4096];
    size_t count;
    while ((count = fread(buffer, 1, sizeof(buffer), file)) > 0) text.append(buffer, count);
    fclose(file);
    return text;
}

static size_t store_files(const std::string& folder) {
    std::string listing;
    FILE* pipe = popen(("ls '" + folder + "/store' 2>/dev/null | grep -c '^feed_data_.*\\.bin$'").c_str(), "r");
    char buffer[64] = {};
    if (pipe) {
        fread(buffer, 1, sizeof(buffer) - 1, pipe);
        pclose(pipe);
    }
    return strtoul(buffer, nullptr, 10);
}

TEST_F(ProgramTest, WritesAProfileOnlyWithTheSwitchAndTheToolReadsIt) {
    EXPECT_EQ(run(""), 0);
    EXPECT_NE(access((folder + "/profile.bin").c_str(), F_OK), 0);
    EXPECT_EQ(run("-profile"), 0);
    ASSERT_EQ(access((folder + "/profile.bin").c_str(), F_OK), 0);
    std::string report_path = folder + "/report.txt";
    int status = system(("'" NEWSLOOM_BINARY_DIR "/newsloom-tool' profile '" + folder + "/profile.bin' > '" +
                         report_path + "'")
                            .c_str());
    EXPECT_EQ(WEXITSTATUS(status), 0);
    std::string report = text_of(report_path);
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
    std::string errors = text_of(folder + "/errors.txt");
    EXPECT_EQ(errors.substr(errors.find("Newsloom: ")),
              "Newsloom: could not write profile.bin in the working folder: Is a directory.\n")
        << errors;
    EXPECT_EQ(store_files(folder), 1u);
}
