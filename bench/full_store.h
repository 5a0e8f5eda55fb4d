// The full store of the benchmarks: 100 generated feeds of 100 entries each, the
// most the store holds, merged as first updates would merge them.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "store/codepoint_set.h"
#include "store/feed_merge.h"
#include "store/reader.h"
#include "store/reader_file.h"

// An RSS document like a busy blog's: items with a title, link, guid, date,
// categories and an escaped HTML description of a few kilobytes.
inline std::string generated_rss(u32 items, u32 feed_number) {
    static const char* const days[] = {"Mon", "Tue", "Wed", "Thu", "Fri", "Sat", "Sun"};
    std::string paragraph =
        "&lt;p&gt;Lorem ipsum dolor sit amet, consectetur adipiscing elit, sed do eiusmod tempor incididunt ut "
        "labore et dolore magna aliqua. Ut enim ad minim veniam, quis nostrud exercitation ullamco laboris &amp; "
        "nisi ut aliquip ex ea commodo consequat &#8212; caf\xc3\xa9 na\xc3\xafve.&lt;/p&gt;\n";
    std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<rss version=\"2.0\"><channel><title>Feed " +
                       std::to_string(feed_number) +
                       "</title><link>https://example.com/</link><description>Generated</description>\n";
    for (u32 i = 0; i < items; i++) {
        char date[64];
        snprintf(date, sizeof(date), "%s, %02u %s 2019 %02u:%02u:%02u +0000", days[i % 7], 1 + i % 28,
                 i % 2 ? "Mar" : "Apr", i % 24, i % 60, (i * 7) % 60);
        std::string n = std::to_string(i);
        text += "<item><title>Item number " + n + " of the generated feed</title><link>https://example.com/" + n +
                "</link><guid isPermaLink=\"false\">id-" + n + "</guid><pubDate>" + date +
                "</pubDate><category>" + (items > 200 ? std::string("one") : "tag " + std::to_string(feed_number) + "-" + n) +
                "</category>";
        // A full store has room for one relation per entry.
        if (items > 200) text += "<category>two " + std::to_string(i % 5) + "</category>";
        text += "<description>";
        u32 repeats = items > 200 ? 12 : 3;
        for (u32 r = 0; r < repeats; r++) text += paragraph;
        text += "</description></item>\n";
    }
    return text + "</channel></rss>\n";
}

inline std::vector<std::string> full_store_documents() {
    std::vector<std::string> documents;
    for (u32 f = 0; f < 100; f++) documents.push_back(generated_rss(100, f));
    return documents;
}

// Merges the 100 documents into an empty `reader`; `scratch` is each merge's memory.
inline void full_store_fill(data_t* scratch, reader_t* reader, std::vector<std::string>& documents) {
    for (u32 f = 0; f < 100; f++) {
        std::string& document = documents[f];
        std::string address = "https://example.com/feed/" + std::to_string(f);
        feed_t* feed = reader_merge_document(scratch, reader, data_from_size(document.size(), document.data()),
                                             data_from_size(address.size(), address.data()), nullptr);
        reader_ensure_meta(reader, feed);
        data_clear(scratch);
    }
}

// The store that the programs load, filled by first merges and saved into `folder`
// as an exit would save it.
inline bool full_store_save(const std::string& folder) {
    data_t scratch = data_allocate(MIB(10));
    data_t codepoint_block;
    codepoint_set_t codepoints;
    reader_t reader = {};
    reader_init_standalone(&reader, &codepoints, &codepoint_block);
    std::vector<std::string> documents = full_store_documents();
    full_store_fill(&scratch, &reader, documents);
    printf("full store: %u feeds, %u entries, %llu bytes of text\n", reader.feeds.entry_count,
           reader.entries.entry_count, (unsigned long long)reader.strings.used);
    bool saved = reader_save(&scratch, data_from_size(folder.size(), folder.data()), &reader);
    reader_release(&reader);
    data_free(&codepoint_block);
    data_free(&scratch);
    return saved;
}
