// The storage folder as a user's machine has it: parents that don't exist yet,
// long paths, a folder that can't be made, and damaged newest store files.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <vector>

#include "base/log.h"
#include "log_support.h"
#include "store_support.h"

namespace fs = std::filesystem;

namespace {

// Every file below `root`, folders left out.
std::vector<std::string> files_below(const std::string& root) {
    std::vector<std::string> files;
    for (const auto& item : fs::recursive_directory_iterator(root)) {
        if (item.is_regular_file()) files.push_back(item.path().string());
    }
    return files;
}

// A folder below `root` whose path is `length` bytes, made of names of at most 200.
std::string folder_of_length(const std::string& root, size_t length) {
    std::string path = root;
    while (path.size() < length) {
        size_t name = std::min<size_t>(200, length - path.size() - 1);
        if (name == 0) name = 1;
        path += "/" + std::string(name, 'f');
    }
    return path;
}

}  // namespace

// Paths around the old 1024-byte name buffer and up to what the system takes: the
// file lands in the folder under its dated name and loads again.
TEST(StoreFolder, LongFoldersSaveAndLoadInPlace) {
    for (size_t length : {1024, 1100, 4060}) {
        SCOPED_TRACE(length);
        temp_folder_t root;
        std::string folder = folder_of_length(root.path, length);
        ASSERT_EQ(folder.size(), length);
        u64 feeds = 0;
        {
            store_fixture_t store;
            ASSERT_TRUE(store.merge_file("489.rss"));
            feeds = store.reader.feeds.entry_count;
            store.use_folder(folder);
            ASSERT_TRUE(store.save());
        }
        std::vector<std::string> files = files_below(root.path);
        ASSERT_EQ(files.size(), 1u);
        EXPECT_EQ(fs::path(files[0]).parent_path().string(), folder);
        EXPECT_GT(reader_file_date((const u8*)files[0].data(), files[0].size()), 0u);

        store_fixture_t loaded;
        loaded.use_folder(folder);
        reader_load_status_t status;
        EXPECT_TRUE(loaded.load(&status));
        EXPECT_EQ(loaded.reader.feeds.entry_count, feeds);
    }
}

// A save that can't be made says why on the log panel, naming the folder, and
// writes nothing anywhere else.
TEST(StoreFolder, ASaveThatFailsSaysWhyAndWritesNothing) {
    temp_folder_t root;
    write_file(root.path + "/plain", "x");
    std::string too_long = folder_of_length(root.path, 4080);
    struct {
        std::string folder;
        std::string says;
    } cases[] = {
        {root.path + "/plain/store", "can't make the folder: Not a directory."},
        {root.path + "/plain", "can't make the folder: a file of that name is in the way."},
        // The folder is made, but no file name fits behind it.
        {too_long, "can't write feed_data_"},
    };
    for (auto& c : cases) {
        store_fixture_t store;
        store.use_folder(c.folder);
        u8* mark = log_test_mark(log_user);
        EXPECT_FALSE(store.save()) << c.folder;
        std::string said = log_test_since(log_user, mark);
        EXPECT_NE(said.find("Error while saving the store in " + c.folder + ": "), std::string::npos) << said;
        EXPECT_NE(said.find(c.says), std::string::npos) << said;
        EXPECT_EQ(files_below(root.path), std::vector<std::string>{root.path + "/plain"});
    }
    store_fixture_t store;
    store.use_folder(too_long);
    u8* mark = log_test_mark(log_user);
    EXPECT_FALSE(store.save());
    EXPECT_NE(log_test_since(log_user, mark).find(": the path is longer than the system takes."), std::string::npos);
}

// The window program doesn't stop at a damaged newest file: it is kept whole under
// NAME.damaged, the newest file that loads is taken, and the log panel says so.
TEST(StoreFolder, DamagedNewestFilesAreKeptAsideAndAnOlderOneLoads) {
    std::string good;
    u64 feeds = 0;
    {
        temp_folder_t source;
        store_fixture_t store;
        ASSERT_TRUE(store.merge_file("489.rss"));
        feeds = store.reader.feeds.entry_count;
        store.use_folder(source.path);
        ASSERT_TRUE(store.save());
        good = file_bytes(source.path + "/" + folder_names(source.path)[0]);
    }
    const std::string names[] = {"feed_data_20200101_000000.bin", "feed_data_20210101_000000.bin",
                                 "feed_data_20220101_000000.bin"};
    struct {
        const char* what;
        std::vector<bool> damaged;  // per name, oldest first
        u64 feeds;
        std::string started;        // how the paragraph ends
    } cases[] = {
        {"none damaged", {false, false, false}, feeds, ""},
        {"newest damaged", {false, false, true}, feeds, "started from the older store file "},
        {"two damaged", {true, false, true}, feeds, "started from the older store file "},
        {"two newest damaged", {false, true, true}, feeds, "started from the older store file "},
        {"all damaged", {true, true, true}, 0, "started with an empty store: no older store file loads."},
    };
    for (auto& c : cases) {
        SCOPED_TRACE(c.what);
        temp_folder_t folder;
        for (size_t i = 0; i < 3; i++) write_file(folder.path + "/" + names[i], c.damaged[i] ? "FEED" + good : good);
        store_fixture_t store;
        store.use_folder(folder.path);
        u8* mark = log_test_mark(log_user);
        bool whole = reader_load_or_recover(&store.scratch, store.folder, &store.reader);
        std::string said = log_test_since(log_user, mark);
        EXPECT_EQ(store.reader.feeds.entry_count, c.feeds);

        size_t newest_whole = 3;
        while (newest_whole > 0 && c.damaged[newest_whole - 1]) newest_whole--;
        bool any_met = newest_whole < 3;
        EXPECT_EQ(whole, !any_met);
        if (!any_met) {
            EXPECT_EQ(said, "");
            continue;
        }
        // Damaged files above the one loaded are renamed and named; the others stay.
        std::vector<std::string> expected;
        for (size_t i = 0; i < 3; i++) {
            bool met = c.damaged[i] && i >= newest_whole;
            std::string path = folder.path + "/" + names[i];
            expected.push_back(names[i] + (met ? ".damaged" : ""));
            if (!met) continue;
            EXPECT_NE(said.find("The store file " + path + " is damaged: it isn't a Newsloom store file"),
                      std::string::npos)
                << said;
            EXPECT_NE(said.find("It is kept as " + path + ".damaged."), std::string::npos) << said;
            EXPECT_EQ(file_bytes(path + ".damaged"), "FEED" + good);
        }
        std::sort(expected.begin(), expected.end());
        EXPECT_EQ(folder_names(folder.path), expected);
        EXPECT_NE(said.find(c.started), std::string::npos) << said;
        if (newest_whole > 0) {
            EXPECT_NE(said.find(folder.path + "/" + names[newest_whole - 1]), std::string::npos) << said;
        }

        // The next save is the newest file, and the kept ones are never rotated.
        EXPECT_TRUE(store.save());
        reader_load_status_t status;
        store_fixture_t again;
        again.use_folder(folder.path);
        EXPECT_TRUE(again.load(&status));
        EXPECT_EQ(again.reader.feeds.entry_count, c.feeds);
    }
}
