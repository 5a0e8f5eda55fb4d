// A reader as the program builds it, for the store's tests: scratch, storage
// folder, code point set, and the store itself, each in blocks of their own.
#pragma once

#include <cstring>
#include <string>

#include "base/data.h"
#include "base/file.h"
#include "store/codepoint_set.h"
#include "store/feed_merge.h"
#include "store/reader.h"
#include "store/reader_file.h"
#include "file_support.h"

struct store_fixture_t {
    data_t scratch = {};
    data_t folder = {};  // the storage folder, over folder_buffer
    u8 folder_buffer[4096];
    data_t codepoint_block = {};
    codepoint_set_t codepoints = {};
    reader_t reader = {};
    u32 merge_error = 0;  // of the last merge

    store_fixture_t() {
        scratch = data_allocate(MIB(10));
        reader_init_standalone(&reader, &codepoints, &codepoint_block);
    }
    ~store_fixture_t() {
        reader_release(&reader);
        data_free(&codepoint_block);
        data_free(&scratch);
    }

    feed_t* merge(std::string& document, const char* address, feed_t* feed = nullptr) {
        data_t bytes = data_from_size(document.size(), document.data());
        data_t where = data_from_size(strlen(address), address);
        merge_error = 0;
        feed_t* merged = reader_merge_document(&scratch, &reader, bytes, where, feed, &merge_error);
        if (merged) {
            reader_ensure_meta(&reader, merged);
            reader_sort_feed(&reader, merged);
        }
        // Every path of a merge keeps the list's copy of the entry heads whole.
        ASSERT(reader_entry_heads_match(&reader));
        data_clear(&scratch);
        return merged;
    }
    // A document of tests/data/feeds, at its file name unless an address is given.
    feed_t* merge_file(const char* file, const char* address = nullptr, feed_t* feed = nullptr) {
        std::string document = read_test_file((std::string("feeds/") + file).c_str());
        EXPECT_FALSE(document.empty()) << file;
        return merge(document, address ? address : file, feed);
    }
    void use_folder(const std::string& path) {
        bytes_copy(folder_buffer, path.data(), path.size());
        folder = data_make(sizeof(folder_buffer), path.size(), folder_buffer);
    }
    bool save(reader_t* saved) { return reader_save(&scratch, folder, saved); }
    bool save() { return save(&reader); }
    entry_t* entry(feed_t* feed, const char* unique_id) {
        return reader_find_entry_by_unique_id(&reader, feed->id, data_from_size(strlen(unique_id), unique_id));
    }
    bool load(reader_load_status_t* status) {
        bool loaded = reader_load(&scratch, folder, &reader, status);
        ASSERT(reader_entry_heads_match(&reader));
        return loaded;
    }
};

inline std::string to_string(data_t text) { return std::string((const char*)text.bytes, text.used); }

// "none" for no date.
inline std::string date_text(date_t date) {
    if (date_is_zero(date)) return "none";
    char buffer[32];
    snprintf(buffer, sizeof(buffer), "%04u-%02u-%02u %02u:%02u:%02u", date.year, date.month, date.day, date.hour,
             date.minute, date.second);
    return buffer;
}
