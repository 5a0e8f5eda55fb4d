// The feed store: merge throughput against libxml2's parse alone (xmlReadMemory of
// the same bytes) on the corpus and on a generated RSS document of about 5 MB,
// and the save and load of a full store (100 feeds, 10000 entries). Prints MB/s
// medians and the ratios.
#include <benchmark/benchmark.h>
#include <libxml/parser.h>
#include <stdlib.h>

#include <cstdio>
#include <cstring>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "bench/median_reporter.h"
#include "store/feed_merge.h"
#include "store/reader.h"
#include "store/reader_file.h"
#include "bench/full_store.h"

static const char* const corpus_files[] = {
    "489.rss",       "DaringFireball.atom", "EMarley.rss",     "aktuality.rss",  "atp.rss",
    "bio.rdf",       "cloudblog.rss",       "donthitsave.xml", "draw-down.atom", "kc0011.rss",
    "manton.rss",    "medscape.rss",        "monkeydom.rss",   "neverworkintheory.atom",
    "qemu.atom",     "russcox.atom",        "scriptingNews.rss", "theomnishow.rss",
};

struct store_t {
    data_t scratch;
    data_t folder;  // the storage folder
    data_t codepoint_block;
    codepoint_set_t codepoints;
    reader_t reader;
};

static store_t* store_create() {
    store_t* store = new store_t{};
    store->scratch = data_allocate(MIB(10));
    reader_init_standalone(&store->reader, &store->codepoints, &store->codepoint_block);
    return store;
}

static std::string read_file(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::stringstream bytes;
    bytes << file.rdbuf();
    return bytes.str();
}

struct document_t {
    std::string name;
    std::string bytes;
};
static std::vector<document_t> corpus;
static document_t generated;

static void bench_merge(benchmark::State& state, const std::vector<document_t>* documents) {
    store_t* store = store_create();
    u64 total = 0;
    for (const document_t& d : *documents) total += d.bytes.size();
    std::vector<std::string> copies;
    for (const document_t& d : *documents) copies.push_back(d.bytes);
    for (auto _ : state) {
        for (std::string& bytes : copies) {
            data_t address = data_literal("https://example.com/feed");
            feed_t* feed = reader_merge_document(&store->scratch, &store->reader, data_from_size(bytes.size(), bytes.data()),
                                                 address, nullptr);
            benchmark::DoNotOptimize(feed);
            data_clear(&store->scratch);
            state.PauseTiming();
            reader_remove_all(&store->reader);
            state.ResumeTiming();
        }
    }
    state.SetBytesProcessed((int64_t)state.iterations() * (int64_t)total);
}

static void bench_libxml2(benchmark::State& state, const std::vector<document_t>* documents) {
    u64 total = 0;
    for (const document_t& d : *documents) total += d.bytes.size();
    int options = XML_PARSE_RECOVER | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_NONET;
    for (auto _ : state) {
        for (const document_t& d : *documents) {
            xmlDocPtr doc = xmlReadMemory(d.bytes.data(), (int)d.bytes.size(), "feed.xml", nullptr, options);
            benchmark::DoNotOptimize(doc);
            if (doc) xmlFreeDoc(doc);
        }
    }
    state.SetBytesProcessed((int64_t)state.iterations() * (int64_t)total);
}

static std::vector<document_t> generated_list;

// A full store: 100 feeds of 100 entries each.
static store_t* full_store;
static std::string store_folder;

static void bench_save(benchmark::State& state) {
    for (auto _ : state) {
        bool saved = reader_save(&full_store->scratch, full_store->folder, &full_store->reader);
        if (!saved) state.SkipWithError("save failed");
        data_clear(&full_store->scratch);
    }
}

static void bench_load(benchmark::State& state) {
    store_t* store = store_create();
    store->folder = data_from_size(store_folder.size(), store_folder.data());
    for (auto _ : state) {
        reader_load_status_t status;
        if (!reader_load(&store->scratch, store->folder, &store->reader, &status)) state.SkipWithError("load failed");
        state.PauseTiming();
        reader_release(&store->reader);
        store->reader = reader_t{};
        reader_init(&store->reader);
        store->reader.codepoints = &store->codepoints;
        state.ResumeTiming();
    }
}

// An update of a known feed whose items are all old: each is read and dropped.
static std::string known_document;
static void bench_merge_known(benchmark::State& state) {
    // A full entries pool has no slot for the item being read; make room by
    // dropping one feed's entries, as a user who deletes a feed would.
    feed_t* first = reader_find_feed_by_id(&full_store->reader, 1);
    while (entry_t* entry = feed_first_entry(&full_store->reader, first, 0, ~0u, 0, record_deleted_flag)) {
        reader_remove_entry(&full_store->reader, entry, first);
    }
    feed_t* feed = reader_find_feed_by_id(&full_store->reader, 50);
    data_t address = feed->address;
    for (auto _ : state) {
        feed_t* merged = reader_merge_document(&full_store->scratch, &full_store->reader,
                                               data_from_size(known_document.size(), known_document.data()), address,
                                               feed);
        benchmark::DoNotOptimize(merged);
        data_clear(&full_store->scratch);
    }
}

// The drain sorts a feed after each merge; in a full store that walks all of it.
static void bench_sort_feed(benchmark::State& state) {
    feed_t* feed = reader_find_feed_by_id(&full_store->reader, 50);
    feed_meta_t* meta = reader_find_meta(&full_store->reader, feed->id);
    for (auto _ : state) {
        meta->flags ^= feed_meta_oldest_first;
        reader_sort_feed(&full_store->reader, feed);
    }
}

int main(int argc, char** argv) {
    memory_query_system(nullptr, nullptr, nullptr, nullptr);
    for (const char* name : corpus_files) {
        std::string bytes = read_file(std::string(NEWSLOOM_TEST_DATA) + "/feeds/" + name);
        if (bytes.empty()) {
            fprintf(stderr, "bench_store: no data for %s\n", name);
            return 1;
        }
        corpus.push_back({name, bytes});
    }
    generated_list.push_back({"generated", generated_rss(1400, 0)});

    full_store = store_create();
    std::string pattern = (std::filesystem::temp_directory_path() / "newsloom_bench_store_XXXXXX").string();
    store_folder = mkdtemp(pattern.data());
    full_store->folder = data_from_size(store_folder.size(), store_folder.data());
    std::vector<std::string> full_documents = full_store_documents();
    auto fill_start = std::chrono::steady_clock::now();
    full_store_fill(&full_store->scratch, &full_store->reader, full_documents);
    double fill_ms =
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - fill_start).count();
    printf("filling the store by 100 first merges took %.1f ms\n", fill_ms);
    printf("full store: %u feeds, %u entries, %u categories, %u relations, %llu bytes of text\n",
           full_store->reader.feeds.entry_count, full_store->reader.entries.entry_count,
           full_store->reader.categories.entry_count, full_store->reader.relations.entry_count,
           (unsigned long long)full_store->reader.strings.used);

    benchmark::RegisterBenchmark("merge/corpus", bench_merge, &corpus)->Repetitions(5)->ReportAggregatesOnly(true);
    benchmark::RegisterBenchmark("libxml2/corpus", bench_libxml2, &corpus)->Repetitions(5)->ReportAggregatesOnly(true);
    benchmark::RegisterBenchmark("merge/generated", bench_merge, &generated_list)
        ->Repetitions(5)
        ->ReportAggregatesOnly(true);
    benchmark::RegisterBenchmark("libxml2/generated", bench_libxml2, &generated_list)
        ->Repetitions(5)
        ->ReportAggregatesOnly(true);
    benchmark::RegisterBenchmark("store/sort_feed_full", bench_sort_feed)
        ->Repetitions(5)
        ->ReportAggregatesOnly(true)
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("store/save_full", bench_save)
        ->Repetitions(5)
        ->ReportAggregatesOnly(true)
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("store/load_full", bench_load)
        ->Repetitions(5)
        ->ReportAggregatesOnly(true)
        ->Unit(benchmark::kMillisecond);
    // Last: it takes one feed's entries out of the full store.
    known_document = generated_rss(100, 49);
    benchmark::RegisterBenchmark("store/merge_known_full", bench_merge_known)
        ->Repetitions(5)
        ->ReportAggregatesOnly(true)
        ->Unit(benchmark::kMillisecond);
    benchmark::Initialize(&argc, argv);
    median_reporter_t reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);

    printf("\nmedian throughput, merge against libxml2's parse alone (xmlReadMemory):\n");
    const char* sets[] = {"corpus", "generated"};
    for (const char* set : sets) {
        const std::vector<document_t>& documents = std::string(set) == "corpus" ? corpus : generated_list;
        u64 total = 0;
        for (const document_t& d : documents) total += d.bytes.size();
        double merge = reporter.real[std::string("merge/") + set];
        double peer = reporter.real[std::string("libxml2/") + set];
        if (merge <= 0 || peer <= 0) continue;
        // Both times are in the reporter's default unit (ns).
        printf("  %-10s %9llu bytes  merge %7.1f MB/s  libxml2 %7.1f MB/s  ratio merge/libxml2 %.2fx\n", set,
               (unsigned long long)total, total / merge * 1e3, total / peer * 1e3, peer / merge);
    }
    printf("full store (100 feeds, 10000 entries): save %.2f ms, load %.2f ms (goal: under 30 ms each), "
           "sort of one feed %.3f ms, update of a known feed of 100 old items %.3f ms\n",
           reporter.real["store/save_full"], reporter.real["store/load_full"],
           reporter.real["store/sort_feed_full"], reporter.real["store/merge_known_full"]);
    std::filesystem::remove_all(store_folder);
    benchmark::Shutdown();
    return 0;
}
