// The store file in real temporary folders: exact sizes, a save and load that
// give the same records, dense ids and generations, rotation of ten, and damaged
// files that are refused and left in place.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "base/text.h"
#include "net/block_storage.h"
#include "store/reader_file.h"
#include "store_support.h"
#include "tools/tool_support.h"

namespace fs = std::filesystem;

namespace {

std::string only_store_file(const std::string& folder) {
    std::vector<std::string> names = folder_names(folder);
    EXPECT_EQ(names.size(), 1u);
    return names.empty() ? "" : folder + "/" + names[0];
}

}  // namespace

TEST(ReaderFile, EmptyStoreHasTheDesignedSize) {
    temp_folder_t folder;
    store_fixture_t store;
    store.use_folder(folder.path + "/new");  // the save makes the folder
    ASSERT_TRUE(store.save());
    std::string path = only_store_file(folder.path + "/new");
    EXPECT_EQ(fs::file_size(path), 88u + 20 + 7 * 4 + 800 + 4 + 193 * 4 + 4);
    std::string name = fs::path(path).filename().string();
    EXPECT_EQ(name.size(), 29u);
    EXPECT_GT(reader_file_date((const u8*)path.data(), path.size()), 20200101000000ull);
    std::string bytes = file_bytes(path);
    EXPECT_EQ(bytes.substr(0, 4), "feed");
    EXPECT_EQ(bytes[4], 1);
}

TEST(ReaderFile, SaveAndLoadGiveTheSameRecords) {
    temp_folder_t first_folder, second_folder;
    store_fixture_t store;
    store.use_folder(first_folder.path);
    ASSERT_TRUE(store.merge_file("russcox.atom"));
    store.reader.generation = 3;
    ASSERT_TRUE(store.merge_file("atp.rss"));
    ASSERT_TRUE(store.merge_file("DaringFireball.atom"));
    store.reader.generation = 7;
    ASSERT_TRUE(store.merge_file("kc0011.rss"));
    feed_t* feed = reader_find_feed_by_address(&store.reader, data_literal("atp.rss"));
    reader_find_meta(&store.reader, feed->id)->flags = 5;
    reader_find_meta(&store.reader, feed->id)->link_target = &store.reader.link_targets[3];
    store.reader.link_targets[3].name = reader_store_string(&store.reader, data_literal("player"));
    store.reader.link_targets[3].queue_enabled = 1;
    ASSERT_TRUE(store.save());
    std::string saved = only_store_file(first_folder.path);
    u32 codepoints = store.codepoints.count;

    store_fixture_t loaded;
    loaded.use_folder(first_folder.path);
    reader_load_status_t status;
    ASSERT_TRUE(loaded.load(&status));
    EXPECT_EQ(status.problem, (u32)reader_file_fine);
    reader_t* reader = &loaded.reader;
    EXPECT_EQ(reader->feeds.entry_count, 4u);
    EXPECT_EQ(reader->entries.entry_count, store.reader.entries.entry_count);
    EXPECT_EQ(reader->generation, 3u);
    EXPECT_EQ(loaded.codepoints.count, codepoints);
    feed = reader_find_feed_by_address(reader, data_literal("atp.rss"));
    ASSERT_TRUE(feed);
    feed_meta_t* meta = reader_find_meta(reader, feed->id);
    EXPECT_EQ(meta->flags, 5u);
    EXPECT_EQ(meta->link_target, &reader->link_targets[3]);
    EXPECT_EQ(to_string(reader->link_targets[3].name), "player");
    data_t guid = data_literal("513abd71e4b0fe58c655c105:513abd71e4b0fe58c655c111:5c41524d562fa7e089140838");
    entry_t* entry = reader_find_entry_by_unique_id(reader, feed->id, guid);
    ASSERT_TRUE(entry);
    EXPECT_EQ(to_string(entry->rss.guid), to_string(guid));
    EXPECT_EQ(to_string(entry->rss.title), "309: Do Not Expect Five Nines From My Plex");
    EXPECT_EQ(entry->generation, 2u);

    // A second save of what was loaded writes the same bytes.
    loaded.use_folder(second_folder.path);
    ASSERT_TRUE(loaded.save(reader));
    EXPECT_EQ(file_bytes(only_store_file(second_folder.path)), file_bytes(saved));

    // The listing of the tool reads it too.
    int exit_status = -1;
    tool_run("store " + saved + " > /dev/null", &exit_status);
    EXPECT_EQ(exit_status, 0);
}

TEST(ReaderFile, IdsAndGenerationsAreDenseAfterASave) {
    temp_folder_t folder;
    store_fixture_t store;
    store.use_folder(folder.path);
    store.reader.generation = 2;
    ASSERT_TRUE(store.merge_file("qemu.atom"));
    store.reader.generation = 4;
    ASSERT_TRUE(store.merge_file("monkeydom.rss"));
    store.reader.generation = 9;
    ASSERT_TRUE(store.merge_file("neverworkintheory.atom"));
    ASSERT_TRUE(store.merge_file("theomnishow.rss"));
    reader_t* reader = &store.reader;
    reader_remove_feed(reader, reader_find_feed_by_address(reader, data_literal("monkeydom.rss")));
    feed_t* omni = reader_find_feed_by_address(reader, data_literal("theomnishow.rss"));
    entry_t* first = feed_first_entry(reader, omni, 0, ~0u, 0, 0);
    reader_remove_entry(reader, first, omni);
    // The compaction fills the holes from the top; the save still writes each feed
    // newest first, and carries a held id to the entry's new one.
    entry_t* held = feed_first_entry(reader, omni, 0, ~0u, 0, 0);
    std::string held_guid = to_string(held->rss.guid);
    reader->held_entry_id = held->id;
    ASSERT_TRUE(store.save(reader));
    ASSERT_GE(reader->held_entry_id, 1u);
    EXPECT_EQ(to_string(((entry_t*)pool_at(&reader->entries, sizeof(entry_t), reader->held_entry_id - 1))->rss.guid),
              held_guid);
    for (u32 i = 0; i < reader->feeds.entry_count; i++) {
        feed_t* feed = (feed_t*)pool_at(&reader->feeds, sizeof(feed_t), i);
        date_t newer = {};
        for (u32 slot = 0, seen = 0; slot < reader->entries.entry_count; slot++) {
            entry_t* entry = (entry_t*)pool_at(&reader->entries, sizeof(entry_t), slot);
            if (entry->feed_id != feed->id) continue;
            date_t date = entry_kind(entry) == record_kind_rss ? entry->rss.pub_date : entry->atom.published;
            EXPECT_FALSE(seen++ && date_is_after(date, newer)) << to_string(feed->address) << " slot " << slot;
            newer = date;
        }
    }

    EXPECT_EQ(reader->generation, 2u);  // generation 4 left with its feed
    EXPECT_EQ(reader->last_feed_id, 3u);
    EXPECT_EQ(reader->last_entry_id, reader->entries.entry_count);
    std::vector<bool> seen(reader->entries.entry_count + 1);
    for (u32 i = 0; i < reader->entries.entry_count; i++) {
        entry_t* entry = (entry_t*)pool_at(&reader->entries, sizeof(entry_t), i);
        ASSERT_GE(entry->id, 1u);
        ASSERT_LE(entry->id, reader->entries.entry_count);
        seen[entry->id] = true;
        EXPECT_TRUE(entry->generation == 1 || entry->generation == 2);
        EXPECT_TRUE(reader_find_feed_by_id(reader, entry->feed_id));
    }
    for (u32 id = 1; id <= reader->entries.entry_count; id++) EXPECT_TRUE(seen[id]);
    for (u32 i = 0; i < reader->feeds.entry_count; i++) {
        EXPECT_EQ(((feed_t*)pool_at(&reader->feeds, sizeof(feed_t), i))->id, i + 1);
    }
    EXPECT_EQ(reader_find_feed_by_address(reader, data_literal("theomnishow.rss"))->entry_count, 3u);
    reader_check(reader);
}

TEST(ReaderFile, RotationKeepsTenAndLeavesOtherNamesAlone) {
    temp_folder_t folder;
    store_fixture_t store;
    store.use_folder(folder.path);
    for (int i = 0; i < 10; i++) {
        write_file(folder.path + "/feed_data_2020010" + std::to_string(i) + "_120000.bin", "old");
    }
    write_file(folder.path + "/feed_data_x.bin", "not a store");
    write_file(folder.path + "/notes.txt", "mine");
    ASSERT_TRUE(store.save());
    std::vector<std::string> names = folder_names(folder.path);
    EXPECT_EQ(names.size(), 12u);  // ten dated, the x file, the notes
    EXPECT_FALSE(fs::exists(folder.path + "/feed_data_20200100_120000.bin"));
    EXPECT_TRUE(fs::exists(folder.path + "/feed_data_20200101_120000.bin"));
    EXPECT_TRUE(fs::exists(folder.path + "/feed_data_x.bin"));
    EXPECT_TRUE(fs::exists(folder.path + "/notes.txt"));
    for (const std::string& name : names) EXPECT_EQ(name.find(".new"), std::string::npos);

    // The x file is never loaded, even alone.
    temp_folder_t lonely;
    write_file(lonely.path + "/feed_data_x.bin", "not a store");
    store_fixture_t other;
    other.use_folder(lonely.path);
    reader_load_status_t status;
    EXPECT_TRUE(other.load(&status));
    EXPECT_EQ(other.reader.feeds.entry_count, 0u);
    EXPECT_EQ(file_bytes(lonely.path + "/feed_data_x.bin"), "not a store");
}

TEST(ReaderFile, DamagedNewestFileIsRefusedAndLeftInPlace) {
    temp_folder_t source;
    std::string good;
    {
        store_fixture_t store;
        store.use_folder(source.path);
        ASSERT_TRUE(store.merge_file("489.rss"));
        ASSERT_TRUE(store.save());
        good = file_bytes(only_store_file(source.path));
    }
    auto set_u32 = [](std::string bytes, u64 offset, u32 value) {
        memcpy(&bytes[offset], &value, 4);
        return bytes;
    };
    u64 section_5_size;
    memcpy(&section_5_size, &good[8 + 9 * 8], 8);
    struct case_t {
        const char* what;
        std::string bytes;
        u32 problem;
    };
    const case_t cases[] = {
        {"wrong magic", "FEED" + good.substr(4), reader_file_wrong_magic},
        {"higher version", set_u32(good, 4, 2), reader_file_newer_version},
        {"strings longer than the file", set_u32(good, 8 + 9 * 8, (u32)section_5_size + 1), reader_file_short},
        {"wrong counter size", set_u32(good, 8 + 1 * 8, 24), reader_file_wrong_sizes},
        {"trailing bytes", good + "xx", reader_file_wrong_sizes},
        {"short", good.substr(0, good.size() - 10), reader_file_short},
        {"empty", "", reader_file_short},
        {"feed count above capacity", set_u32(good, 108, 5000), reader_file_wrong_sizes},
        {"a counter that disagrees", set_u32(good, 88, 7), reader_file_inconsistent},
        {"a generation far ahead", set_u32(good, 88 + 16, 0xFFFFFFF0), reader_file_inconsistent},
    };
    for (const case_t& c : cases) {
        SCOPED_TRACE(c.what);
        temp_folder_t folder;
        std::string older = folder.path + "/feed_data_20200101_000000.bin";
        std::string newest = folder.path + "/feed_data_20300101_000000.bin";
        write_file(older, good);
        write_file(newest, c.bytes);
        store_fixture_t store;
        store.use_folder(folder.path);
        reader_load_status_t status;
        EXPECT_FALSE(store.load(&status));
        EXPECT_EQ(status.problem, c.problem);
        EXPECT_EQ(store.reader.feeds.entry_count, 0u);
        EXPECT_EQ(store.reader.strings.used, 0u);
        char message[2048];
        std::string text(message, reader_load_message(&status, message, sizeof(message)));
        EXPECT_NE(text.find(newest), std::string::npos) << text;
        EXPECT_NE(text.find("left as it is"), std::string::npos) << text;
        EXPECT_EQ(file_bytes(newest), c.bytes);
        EXPECT_EQ(folder_names(folder.path).size(), 2u);
    }
}

// A file the system won't read is told in the system's words, by the program and
// by the tool alike.
TEST(ReaderFile, AFileTheSystemRefusesIsToldInItsWords) {
    temp_folder_t folder;
    const std::string missing = folder.path + "/feed_data_20300101_000000.bin";
    struct {
        std::string path;
        const char* says;
    } cases[] = {
        {missing, " can't be loaded: the system refused to read it: No such file or directory.\n"},
        {folder.path, " can't be loaded: the system refused to read it: Is a directory.\n"},
    };
    for (auto& c : cases) {
        store_fixture_t store;
        file_error_t error = 0;
        u32 problem = reader_file_read(&store.reader, data_from_size(c.path.size(), c.path.data()), &error);
        reader_load_status_t status = {};
        reader_load_status_note(&status, problem, error);
        bytes_copy(status.path, c.path.data(), c.path.size());
        status.path_length = c.path.size();
        char message[2048];
        std::string text(message, reader_load_message(&status, message, sizeof(message)));
        EXPECT_NE(text.find(c.path + c.says), std::string::npos) << text;
    }
    int exit_status = -1;
    tool_run("store '" + missing + "' 2> '" + folder.path + "/errors.txt'", &exit_status);
    EXPECT_NE(exit_status, 0);
    EXPECT_NE(file_bytes(folder.path + "/errors.txt").find(missing + cases[0].says), std::string::npos);
}

TEST(ReaderFile, LinkTargetStringsLeaveBlockStorageAtASave) {
    if (!block_storage.memory.bytes) {
        block_storage_create(&block_storage, block_storage_region_size, block_storage_commit_size,
                             block_storage_block_size);
    }
    temp_folder_t folder;
    store_fixture_t store;
    store.use_folder(folder.path);
    const char text[] = "/usr/bin/mpv --fs";
    u8* edited = (u8*)block_storage_allocate(&block_storage, sizeof(text) - 1);
    ASSERT_TRUE(edited);
    memcpy(edited, text, sizeof(text) - 1);
    store.reader.link_targets[1].executable = data_make(sizeof(text) - 1, sizeof(text) - 1, edited);
    ASSERT_TRUE(store.save());
    data_t executable = store.reader.link_targets[1].executable;
    EXPECT_EQ(to_string(executable), text);
    EXPECT_FALSE(block_storage_contains(&block_storage, executable.bytes));
    EXPECT_GE(executable.bytes, store.reader.strings.bytes);
    EXPECT_LT(executable.bytes, store.reader.strings.bytes + store.reader.strings.used);
}

// The save rebuilds the code point set from the text alone. Whatever the text
// holds, well-formed or not and wherever it falls against a word boundary, the set
// must be what a decode one character at a time finds, plus the defaults, sorted.
TEST(ReaderFile, SaveRebuildsCodepointsAsAPlainDecodeFindsThem) {
    temp_folder_t folder;
    store_fixture_t store;
    store.use_folder(folder.path);
    ASSERT_TRUE(store.merge_file("kc0011.rss"));
    const std::string pieces[] = {
        "plain text\twith a tab\nand a line",
        "\x7F" "del, \x01, caf\xC3\xA9, \xCE\xB1\xCE\xB2, \xE2\x82\xAC, \xE4\xB8\xAD\xE6\x96\x87",
        "four bytes \xF0\x9F\x98\x80 and \xF4\x8F\xBF\xBD, the last one allowed",
        "overlong \xC0\xAF \xE0\x80\xAF \xF0\x80\x80\xAF, surrogate \xED\xA0\x80, too high \xF4\x90\x80\x80",
        "edges \xE0\xA0\x80 \xED\x9F\xBF \xF0\x90\x80\x80 \xEF\xBF\xBD \xEF\xBF\xBF",
        "loose \x80\xBF continuation, bad second \xC3\x28 \xE2\x82\x28 \xF0\x9F\x98",
        std::string("nul \0 inside", 12),
        "cut at the end \xE2\x82",
    };
    // Each piece at every offset against the sixteen-byte scan in turn.
    std::vector<std::string> texts;
    for (u32 shift = 0; shift < 16; shift++) {
        for (const std::string& piece : pieces) texts.push_back(std::string(shift, 'x') + piece);
    }
    // Thirty link target strings hold them all; the store lays them end to end.
    std::string buckets[reader_link_target_count * 3];
    for (u32 i = 0; i < texts.size(); i++) buckets[i % (reader_link_target_count * 3)] += texts[i];
    for (u32 i = 0; i < reader_link_target_count * 3; i++) {
        link_target_t* target = &store.reader.link_targets[i / 3];
        data_t* strings[3] = {&target->name, &target->executable, &target->queue};
        *strings[i % 3] = reader_store_string(&store.reader, data_from_size(buckets[i].size(), buckets[i].data()));
    }
    // A code point that no stored text uses any more leaves the set.
    codepoint_set_add(&store.codepoints, 0x2603);
    ASSERT_TRUE(store.save());

    std::vector<bool> expected(0x110000, false);
    for (u32 c : codepoint_defaults.values) expected[c] = true;
    const u8* p = store.reader.strings.bytes;
    const u8* end = p + store.reader.strings.used;
    while (p < end) {
        u32 c = 0, length = 0;
        utf_error_t error = 0;
        utf8_decode(p, end, &c, &length, &error);
        if (error || length == 0) {
            p++;
            continue;
        }
        p += length;
        if (c != 0 && c < codepoint_set_capacity) expected[c] = true;
    }
    std::vector<u32> want;
    for (u32 c = 0; c < expected.size(); c++) {
        if (expected[c]) want.push_back(c);
    }
    const codepoint_set_t* set = &store.codepoints;
    std::vector<u32> got(set->values, set->values + set->count);
    EXPECT_EQ(got, want);
    for (u32 c = 0; c < 0x110000; c++) {
        ASSERT_EQ(codepoint_set_contains(set, c), (bool)expected[c]) << c;
    }
    EXPECT_EQ(set->values[set->replacement_position], 0xFFFDu);
}

TEST(ReaderFile, FileDateOfNames) {
    struct case_t {
        const char* path;
        u64 date;
    };
    const case_t cases[] = {
        {"/a/b/feed_data_20240229_235958.bin", 20240229235958ull},
        {"feed_data_20240229_235958.bin", 20240229235958ull},
        {"/a/feed_data_x.bin", 0},
        {"/a/feed_info_20240229_235958.bin", 0},
    };
    for (const case_t& c : cases) EXPECT_EQ(reader_file_date((const u8*)c.path, strlen(c.path)), c.date) << c.path;
}

// A save killed at any moment leaves the newest whole file loadable; the next save
// clears what the killed one left.
TEST(ReaderFile, KillDuringSaveLeavesTheNewestFileWhole) {
    temp_folder_t folder;
    store_fixture_t store;
    store.use_folder(folder.path);
    ASSERT_TRUE(store.merge_file("russcox.atom"));
    ASSERT_TRUE(store.merge_file("atp.rss"));
    ASSERT_TRUE(store.merge_file("cloudblog.rss"));
    ASSERT_TRUE(store.save());
    const u32 delays_us[] = {300, 1500, 4000, 9000, 20000};
    for (u32 delay : delays_us) {
        pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            for (;;) store.save();
        }
        usleep(delay);
        kill(child, SIGKILL);
        int status = 0;
        waitpid(child, &status, 0);
        store_fixture_t loaded;
        loaded.use_folder(folder.path);
        reader_load_status_t load;
        ASSERT_TRUE(loaded.load(&load)) << "killed after " << delay << " us";
        EXPECT_EQ(loaded.reader.feeds.entry_count, 3u);
        EXPECT_EQ(loaded.reader.entries.entry_count, store.reader.entries.entry_count);
    }
    write_file(folder.path + "/feed_data_20200101_000000.bin.new", "half");
    ASSERT_TRUE(store.save());
    for (const std::string& name : folder_names(folder.path)) EXPECT_EQ(name.find(".new"), std::string::npos) << name;
}
