// A reader as the program builds it, for the store's tests: scratch, storage
// folder, code point set, and the store itself, each in blocks of their own.
#pragma once

#include <stdlib.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "base/data.h"
#include "base/file.h"
#include "store/codepoint_set.h"
#include "store/feed_merge.h"
#include "store/reader.h"
#include "store/reader_file.h"

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
        codepoint_block = data_allocate(codepoint_set_size());
        codepoint_set_init(&codepoints, &codepoint_block);
        reader_init(&reader);
        reader.codepoints = &codepoints;
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
        data_clear(&scratch);
        return merged;
    }
    void use_folder(const std::string& path) {
        bytes_copy(folder_buffer, path.data(), path.size());
        folder = data_make(sizeof(folder_buffer), path.size(), folder_buffer);
    }
    bool save(reader_t* saved) { return reader_save(&scratch, folder, saved); }
    bool save() { return save(&reader); }
    bool load(reader_load_status_t* status) { return reader_load(&scratch, folder, &reader, status); }
};

// A new empty folder in the system's temporary folder.
inline std::string make_temp_folder(const char* prefix) {
    std::string pattern = (std::filesystem::temp_directory_path() / (std::string(prefix) + "XXXXXX")).string();
    return mkdtemp(pattern.data());
}

// A new empty folder, removed with what it holds.
struct temp_folder_t {
    std::string path;
    temp_folder_t() { path = make_temp_folder("newsloom_store_"); }
    ~temp_folder_t() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
};

// The names in a folder, sorted.
inline std::vector<std::string> bin_files(const std::string& folder) {
    std::vector<std::string> names;
    for (const auto& item : std::filesystem::directory_iterator(folder)) {
        names.push_back(item.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

inline std::string file_bytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void write_file(const std::string& path, const std::string& bytes) {
    std::ofstream out(path, std::ios::binary);
    out << bytes;
}

inline std::string to_string(data_t text) { return std::string((const char*)text.bytes, text.used); }

inline std::string read_test_file(const char* relative) {
    std::string path = std::string(NEWSLOOM_TEST_DATA) + "/" + relative;
    file_error_t error = 0;
    data_t block = file_read_all(data_from_size(path.size(), path.data()), false, &error);
    std::string bytes = block.bytes ? std::string((const char*)block.bytes, block.used) : std::string();
    data_free(&block);
    return bytes;
}
