// Arbitrary bytes through the feed store: the scanner and merge, as a new feed and
// again into the feed it made, and as a store file. No input may stop the program
// or read out of bounds, and the store must stay consistent.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <vector>

#include "store/feed_merge.h"
#include "store/reader.h"
#include "store/reader_file.h"

struct fuzz_store_t {
    data_t scratch;
    data_t codepoint_block;
    codepoint_set_t codepoints;
    reader_t reader;
    char file_path[512];
};

static fuzz_store_t* fuzz_store() {
    static fuzz_store_t* store = nullptr;
    if (store) return store;
    store = new fuzz_store_t{};
    memory_query_system(nullptr, nullptr, nullptr, nullptr);
    store->scratch = data_allocate(MIB(10));
    reader_init_standalone(&store->reader, &store->codepoints, &store->codepoint_block);
    const char* folder = getenv("TMPDIR");
    snprintf(store->file_path, sizeof(store->file_path), "%s/fuzz_store_%d.bin", folder ? folder : "/tmp",
             (int)getpid());
    return store;
}

extern "C" int LLVMFuzzerTestOneInput(const u8* bytes, size_t size) {
    fuzz_store_t* store = fuzz_store();
    // An exact-size copy, so that any read past the end is caught.
    std::vector<u8> input(bytes, bytes + size);
    data_t document = data_from_size(size, input.data());
    data_t address = data_literal("https://www.youtube.com/feeds/videos.xml?channel_id=fuzz");
    feed_t* feed = reader_merge_document(&store->scratch, &store->reader, document, address, nullptr);
    data_clear(&store->scratch);
    if (feed) {
        reader_ensure_meta(&store->reader, feed);
        reader_sort_feed(&store->reader, feed);
        reader_merge_document(&store->scratch, &store->reader, document, address, feed);
        data_clear(&store->scratch);
    }
    if (!reader_is_consistent(&store->reader)) __builtin_trap();
    reader_remove_all(&store->reader);

    // The same bytes as a store file: refused or read, never a stop.
    FILE* file = fopen(store->file_path, "wb");
    if (file) {
        fwrite(input.data(), 1, size, file);
        fclose(file);
        file_error_t error = 0;
        data_t path = data_from_size(strlen(store->file_path), store->file_path);
        if (reader_file_read(&store->reader, path, &error) == reader_file_fine) {
            if (!reader_is_consistent(&store->reader)) __builtin_trap();
        }
        reader_remove_all(&store->reader);
    }
    return 0;
}
