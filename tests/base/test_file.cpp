// Files and directories on real files in a temporary folder: errors that chain and
// say why, whole-file reads, folders with their parents, walks and sorting.
#include <gtest/gtest.h>

#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "base/file.h"
#include "base/log.h"
#include "file_support.h"

class FileTest : public testing::Test {
protected:
    temp_folder_t temp;
    std::string folder = temp.path;
    std::string path(const std::string& name) { return folder + "/" + name; }
    static data_t view(const std::string& s) { return data_from_size(s.size(), s.data()); }
    void write(const std::string& name, const std::string& content) {
        file_error_t error = 0;
        file_write_all(view(path(name)), content.data(), content.size(), true, &error);
        ASSERT_EQ(error, 0u);
    }
};

TEST_F(FileTest, WritesAtTheirPositionsAndAnInvalidHandleSaysSo) {
    std::string p = path("a.bin");
    file_error_t error = 0;
    file_handle_t handle = file_open(view(p), true, false, &error);
    EXPECT_EQ(file_write(handle, 0, 6, "abcdef", &error), 6u);
    EXPECT_EQ(file_write(handle, 10, 2, "XY", &error), 2u);
    file_sync(handle, &error);
    EXPECT_EQ(file_size(handle, &error), 12u);
    file_close(handle, &error);
    EXPECT_EQ(error, 0u);
    EXPECT_EQ(file_bytes(p), std::string("abcdef\0\0\0\0XY", 12));

    char buffer[16] = {};
    file_read(file_handle_invalid, 0, 1, buffer, &error);
    EXPECT_EQ(error, file_error_invalid_handle);
    error = 0;
    file_close(file_handle_invalid, &error);
    EXPECT_EQ(error, file_error_close_invalid);
    error = 0;
    EXPECT_EQ(file_size(file_handle_invalid, &error), 0u);
    EXPECT_EQ(error, 0u);
}

TEST_F(FileTest, TheFirstErrorStaysAndLaterCallsDoNothing) {
    file_error_t error = 0;
    std::string p = path("exists.txt");
    write("exists.txt", "old");
    file_handle_t handle = file_open(view(p), true, false, &error);  // no overwrite
    EXPECT_EQ(handle, file_handle_invalid);
    EXPECT_EQ(error, file_error_open);
    EXPECT_EQ(file_write(handle, 0, 3, "new", &error), 0u);
    EXPECT_EQ(file_size(handle, &error), 0u);
    file_close(handle, &error);
    EXPECT_EQ(error, file_error_open);
    // A later open of a good file does nothing either.
    EXPECT_EQ(file_open(view(p), false, false, &error), file_handle_invalid);
    file_delete(view(p), &error);
    error = 0;
    data_t content = file_read_all(view(p), false, &error);
    EXPECT_EQ(std::string((char*)content.bytes, content.used), "old");
    data_free(&content);

    struct {
        const char* what;
        file_error_t expected;
    } failures[] = {{"open", file_error_open}, {"delete", file_error_delete}, {"rename", file_error_rename}, {"long", utf_error_target_too_small}};
    for (auto& f : failures) {
        error = 0;
        std::string missing = path("missing/deeper");
        std::string what = f.what;
        if (what == "open") file_open(view(missing), false, false, &error);
        if (what == "delete") file_delete(view(missing), &error);
        if (what == "rename") file_rename(view(missing), view(path("x")), &error);
        if (what == "long") file_open(view(std::string(5000, 'a')), false, false, &error);
        EXPECT_EQ(error, f.expected) << f.what;
    }
}

TEST_F(FileTest, ReadAllSizesAndTerminator) {
    write("empty", "");
    write("text", "hello");
    file_error_t error = 0;
    data_t empty = file_read_all(view(path("empty")), true, &error);
    EXPECT_EQ(error, 0u);
    ASSERT_NE(empty.bytes, nullptr);
    EXPECT_EQ(empty.used, 1u);
    EXPECT_EQ(empty.bytes[0], 0);
    data_free(&empty);
    empty = file_read_all(view(path("empty")), false, &error);
    EXPECT_EQ(empty.reserved, 0u);
    EXPECT_EQ(error, 0u);

    data_t text = file_read_all(view(path("text")), true, &error);
    EXPECT_EQ(text.used, 6u);
    EXPECT_EQ(text.reserved, 6u);
    EXPECT_STREQ((char*)text.bytes, "hello");
    data_free(&text);

    data_t missing = file_read_all(view(path("nothing")), true, &error);
    EXPECT_EQ(error, file_error_open);
    EXPECT_EQ(missing.bytes, nullptr);
    EXPECT_EQ(missing.reserved, 0u);

    // A directory can't be read as a file.
    error = 0;
    data_t directory = file_read_all(view(folder), false, &error);
    EXPECT_NE(error, 0u);
    EXPECT_EQ(directory.bytes, nullptr);
}

TEST_F(FileTest, RenameReplaces) {
    write("new.tmp", "second");
    write("store.bin", "first");
    file_error_t error = 0;
    file_rename(view(path("new.tmp")), view(path("store.bin")), &error);
    EXPECT_EQ(error, 0u);
    EXPECT_EQ(folder_names(folder), std::vector<std::string>{"store.bin"});
    EXPECT_EQ(file_bytes(path("store.bin")), "second");
}

TEST_F(FileTest, FoldersWithTheirParentsAndSyncs) {
    write("plain", "x");
    struct {
        std::string path;
        bool made;
    } cases[] = {
        {path("a/b/c"), true},
        {path("a/b/c"), true},          // all there already
        {path("a//d/"), true},          // doubled and trailing separators
        {path("plain/e"), false},       // a file stands where a folder must be
        {path("plain"), false},
    };
    for (auto& c : cases) {
        file_error_t error = 0;
        EXPECT_EQ(directory_create_with_parents(view(c.path), &error), c.made) << c.path;
        EXPECT_EQ(error, c.made ? 0u : file_error_create_directory) << c.path;
        error = 0;
        EXPECT_EQ(directory_exists(view(c.path), &error), c.made) << c.path;
    }
    // A relative path is made from the working folder.
    std::string here = std::filesystem::current_path().string();
    ASSERT_EQ(chdir(folder.c_str()), 0);
    file_error_t error = 0;
    EXPECT_TRUE(directory_create_with_parents(view("r/s"), &error));
    ASSERT_EQ(chdir(here.c_str()), 0);
    EXPECT_TRUE(directory_exists(view(path("r/s")), &error));

    directory_sync(view(path("a/b")), &error);
    EXPECT_EQ(error, 0u);
    directory_sync(view(path("missing")), &error);
    EXPECT_EQ(error, file_error_write);
}

// The reason of a failure is the system's own text, or words where the system
// wasn't asked; never an empty line.
TEST_F(FileTest, ErrorTextsSayWhy) {
    // The text is the last failure's: taken right after each one.
    auto says = [](file_error_t error) {
        EXPECT_NE(error, 0u);
        char text[256];
        u64 length = file_error_text(error, text, sizeof(text));
        EXPECT_EQ(text[length], 0);
        return std::string(text, length);
    };
    write("plain", "x");
    file_error_t error = 0;
    file_read_all(view(path("missing")), false, &error);
    EXPECT_EQ(says(error), "No such file or directory");
    error = 0;
    directory_create_with_parents(view(path("plain/x/y")), &error);
    EXPECT_EQ(says(error), "Not a directory");
    error = 0;
    directory_create_with_parents(view(folder + "/" + std::string(file_path_capacity, 'l')), &error);
    EXPECT_EQ(says(error), "the path is longer than the system takes");
    error = 0;
    file_handle_t handle = file_open(view(path("plain")), false, false, &error);
    char buffer[8];
    file_read(handle, 0, sizeof(buffer), buffer, &error);
    file_close(handle, &error);
    EXPECT_EQ(says(error), "the file ended before all its bytes were read");

    char tiny[4];
    EXPECT_EQ(file_error_text(file_error_open, tiny, sizeof(tiny)), 3u);
    EXPECT_EQ(file_error_text(file_error_open, tiny, 0), 0u);
}

TEST_F(FileTest, WalkFiltersSortsAndStopsWhenFull) {
    ASSERT_EQ(mkdir(path("sub").c_str(), 0755), 0);
    write("a.bin", "1");
    write("b.txt", "22");
    write("c.bin", "333");
    write("sub/d.bin", "4444");

    data_t block = data_allocate(1 << 20);
    directory_list_t list = directory_list_create(&block, 50);
    directory_walk(&list, view(folder), data_literal("bin"), data_t{}, directory_walk_files);
    // Sorting moves every array with its key: the largest file first.
    std::vector<u64> keys;
    for (u32 i = 0; i < list.count; i++) keys.push_back(100 - list.sizes[i]);
    directory_list_sort(&list, keys.data());
    std::vector<std::string> found;
    for (u32 i = 0; i < list.count; i++) {
        found.push_back(std::string((char*)list.paths[i], list.path_lengths[i]) + ":" +
                        std::to_string(list.sizes[i]) + ":" + std::to_string(list.is_directory[i]));
        EXPECT_GT(list.times[i], 0u);
    }
    EXPECT_EQ(found, (std::vector<std::string>{"/c.bin:3:0", "/a.bin:1:0"}));

    for (int i = 0; i < 200; i++) write("many_" + std::to_string(i), "x");
    directory_list_t full = directory_list_create(&block, 100);
    directory_walk(&full, view(folder), data_t{}, data_t{}, directory_walk_files);
    EXPECT_EQ(full.count, 100u);

    u8 tiny_bytes[16];
    data_t tiny = data_make(sizeof(tiny_bytes), 0, tiny_bytes);
    directory_list_t none = directory_list_create(&tiny, 100);
    EXPECT_EQ(none.paths, nullptr);
    EXPECT_EQ(tiny.used, 0u);
    data_free(&block);
}
