// The argument table and the folders the program keeps its files in.
#include <gtest/gtest.h>

#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <string>

#include "app/app.h"
#include "app/arguments.h"
#include "base/log.h"
#include "file_support.h"
#include "log_support.h"

static std::string text(data_t d) { return std::string((char*)d.bytes, d.used); }

static void store(std::initializer_list<const char*> list) {
    static char* vector[256];
    int count = 0;
    for (const char* a : list) vector[count++] = (char*)a;
    arguments_store(count, vector);
}

TEST(Arguments, FindAndValues) {
    store({"newsloom", "-log", "-path", "/my feeds", "-log", "-path"});
    EXPECT_EQ(arguments_table.argument_count, 6);
    EXPECT_EQ(arguments_table.arguments[3].used, 9u);
    EXPECT_EQ(arguments_table.arguments[3].reserved, 10u);

    EXPECT_EQ(argument_find_text("-log", 0), 1u);
    EXPECT_EQ(argument_find_text("-log", 2), 4u);  // the first at or after start
    EXPECT_EQ(argument_find_text("-profile", 0), 0u);
    EXPECT_EQ(argument_find_text("newsloom", 0), 0u);  // index 0 looks like a miss
    EXPECT_EQ(argument_find_text("-LOG", 0), 0u);       // exact, with case
    EXPECT_EQ(argument_find("-lo", 3, 0), 0u);

    EXPECT_EQ(text(argument_value_text("-path", nullptr)), "/my feeds");
    u32 position = 0;
    EXPECT_EQ(text(argument_value_text("-path", &position)), "/my feeds");
    EXPECT_EQ(position, 3u);
    // The repeated switch is the last argument: no value, position unchanged.
    EXPECT_EQ(argument_value_text("-path", &position).used, 0u);
    EXPECT_EQ(position, 3u);
    EXPECT_EQ(argument_value_text("-gfx_log", nullptr).used, 0u);

    // The executable is this test program.
    EXPECT_EQ(text(executable_name), "test_app");
    ASSERT_GT(executable_folder.used, 0u);
    EXPECT_EQ(executable_folder.bytes[executable_folder.used - 1], '/');
    EXPECT_EQ(executable_name.bytes, executable_folder.bytes + executable_folder.used);
}

TEST(Arguments, TooManyAreCutWithALineForTheUser) {
    static char* vector[130];
    static char name[] = "x";
    for (auto& v : vector) v = name;
    log_channel_t* log = log_channel(log_user);
    u64 before = log->text.used;
    arguments_store(130, vector);
    EXPECT_EQ(arguments_table.argument_count, 128);
    EXPECT_GT(log->text.used, before);
}

class StoragePathTest : public testing::Test {
protected:
    temp_folder_t temp;
    std::string home;
    std::string saved_home, saved_config;
    bool had_config = false;
    void SetUp() override {
        home = temp.path;
        saved_home = getenv("HOME") ? getenv("HOME") : "";
        had_config = getenv("XDG_CONFIG_HOME") != nullptr;
        if (had_config) saved_config = getenv("XDG_CONFIG_HOME");
        setenv("HOME", home.c_str(), 1);
        unsetenv("XDG_CONFIG_HOME");
    }
    void TearDown() override {
        setenv("HOME", saved_home.c_str(), 1);
        if (had_config) setenv("XDG_CONFIG_HOME", saved_config.c_str(), 1);
    }
};

TEST_F(StoragePathTest, PathSwitchThenConfigFolderThenHome) {
    static app_t app;  // two 4 KiB buffers: keep it off the stack
    store({"newsloom", "-path", "/srv/feeds"});
    storage_path_resolve(&app);
    EXPECT_EQ(text(app.storage_path), "/srv/feeds");

    store({"newsloom", "-path"});  // a switch with no value is no switch
    storage_path_resolve(&app);
    EXPECT_EQ(text(app.storage_path), home + "/.config/newsloom");

    setenv("XDG_CONFIG_HOME", (home + "/conf/").c_str(), 1);
    storage_path_resolve(&app);
    EXPECT_EQ(text(app.storage_path), home + "/conf/newsloom");
    setenv("XDG_CONFIG_HOME", "relative", 1);  // not absolute: ignored
    storage_path_resolve(&app);
    EXPECT_EQ(text(app.storage_path), home + "/.config/newsloom");
    unsetenv("XDG_CONFIG_HOME");

    // A path is never cut, for a cut one names another folder: one longer than
    // the system takes is refused. 4095 bytes are the most it takes.
    for (size_t length : {4095, 4096, 5000}) {
        std::string long_path(length, 'p');
        store({"newsloom", "-path", long_path.c_str()});
        EXPECT_EQ(storage_path_resolve(&app), length < 4096) << length;
        EXPECT_EQ(app.storage_path.used, length < 4096 ? length : 0u) << length;
    }
}

TEST_F(StoragePathTest, DesktopFromUserDirsElseHome) {
    static app_t app;
    store({"newsloom"});
    desktop_path_resolve(&app);
    EXPECT_EQ(text(app.desktop_path), home + "/Desktop");

    // A helper that hangs, with its output open or closed, is given up on: the
    // start goes on with the folder it has without one, and says so once.
    std::string saved_path = getenv("PATH");
    ASSERT_EQ(system(("mkdir -p '" + home + "/bin'").c_str()), 0);
    setenv("PATH", (home + "/bin:" + saved_path).c_str(), 1);
    for (const char* body : {"sleep 30", "exec >/dev/null; sleep 30"}) {
        write_file(home + "/bin/xdg-user-dir", std::string("#!/bin/sh\n") + body + "\n");
        ASSERT_EQ(chmod((home + "/bin/xdg-user-dir").c_str(), 0755), 0);
        u8* mark = log_test_mark(log_user);
        time_t start = time(nullptr);
        desktop_path_resolve(&app);
        EXPECT_LT(time(nullptr) - start, 10) << body;
        EXPECT_EQ(text(app.desktop_path), home + "/Desktop") << body;
        std::string said = log_test_since(log_user, mark);
        EXPECT_NE(said.find("xdg-user-dir gave no desktop folder"), std::string::npos) << said;
        EXPECT_EQ(said.find('\n', said.find("folder")), std::string::npos) << said;
    }
    setenv("PATH", saved_path.c_str(), 1);

    if (access("/usr/bin/xdg-user-dir", X_OK) != 0) GTEST_SKIP() << "xdg-user-dir isn't installed";
    ASSERT_EQ(system(("mkdir -p '" + home + "/.config'").c_str()), 0);
    FILE* dirs = fopen((home + "/.config/user-dirs.dirs").c_str(), "w");
    ASSERT_NE(dirs, nullptr);
    fputs("XDG_DESKTOP_DIR=\"$HOME/Schreibtisch\"\n", dirs);
    fclose(dirs);
    desktop_path_resolve(&app);
    EXPECT_EQ(text(app.desktop_path), home + "/Schreibtisch");
}
