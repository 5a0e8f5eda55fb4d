// Throughput of the strict HTML parser, tokenizer and tree together, against
// gumbo parsing the same bytes in the same run: entry HTML of the corpus feeds that
// the parser accepts whole, and a generated valid document of 1 MB. Prints MB/s
// medians and the ratio parser / gumbo.
#include <benchmark/benchmark.h>
#include <gumbo.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "base/data.h"
#include "bench/html_document.h"
#include "bench/median_reporter.h"
#include "html/tokenizer.h"
#include "html/tree.h"
#include "tests/html/html_corpus_entries.h"

struct html_sample_t {
    const char* name;
    std::vector<std::string> documents;
    u64 bytes = 0;
    u64 memory = 0;  // the most that one document's tokens and tree take
};

static std::vector<html_sample_t*> samples;

static std::string read_entry(const std::string& name) {
    std::ifstream file(std::string(NEWSLOOM_TEST_DATA) + "/html/" + name, std::ios::binary);
    std::stringstream bytes;
    bytes << file.rdbuf();
    return bytes.str();
}

// Tokens, then the tree as the entry view builds it. Returns false if the strict
// parser doesn't accept the document whole.
static bool parse_document(data_t* memory, const std::string& document, bool strict, u64* node_count) {
    data_t input = data_from_size(document.size(), document.data());
    html_parser_error_t error = 0;
    html_tokens_t tokens = hp_tokenizer(memory, input, 0, &error);
    if (error) return false;
    html_tree_t tree = hp_tree_construction(memory, &tokens, strict ? 0 : 1, &error);
    *node_count = tree.node_count;
    return error == 0;
}

static bool sample_add(html_sample_t* sample, const std::string& document) {
    data_t input = data_from_size(document.size(), document.data());
    data_t memory = data_allocate(hp_predict_memory(input) * 3 + 4096);
    html_parser_error_t error = 0;
    html_tokens_t tokens = hp_tokenizer(&memory, input, 0, &error);
    u64 needed = hp_predict_memory(input) + hp_predict_tree_memory(&tokens) + 64;
    data_clear(&memory);
    u64 nodes = 0;
    bool accepted = !error && parse_document(&memory, document, true, &nodes);
    data_free(&memory);
    if (!accepted) return false;
    sample->documents.push_back(document);
    sample->bytes += document.size();
    if (needed > sample->memory) sample->memory = needed;
    return true;
}

static void bench_newsloom(benchmark::State& state, const html_sample_t* sample) {
    data_t memory = data_allocate(sample->memory);
    u64 nodes = 0;
    for (auto _ : state) {
        for (const std::string& document : sample->documents) {
            data_clear(&memory);
            if (!parse_document(&memory, document, false, &nodes)) state.SkipWithError("the parser rejected a sample");
            benchmark::DoNotOptimize(nodes);
        }
    }
    data_free(&memory);
    state.SetBytesProcessed((int64_t)state.iterations() * (int64_t)sample->bytes);
}

static void bench_gumbo(benchmark::State& state, const html_sample_t* sample) {
    for (auto _ : state) {
        for (const std::string& document : sample->documents) {
            GumboOutput* output = gumbo_parse_with_options(&kGumboDefaultOptions, document.data(), document.size());
            benchmark::DoNotOptimize(output->root);
            gumbo_destroy_output(&kGumboDefaultOptions, output);
        }
    }
    state.SetBytesProcessed((int64_t)state.iterations() * (int64_t)sample->bytes);
}

// The machine may be shared: CPU time is the fairer measure then, and both are
// printed.
int main(int argc, char** argv) {
    static html_sample_t corpus = {"corpus_entries", {}};
    static html_sample_t generated = {"generated_1mb", {}};
    for (const char* entry : html_corpus_entries) {
        if (!sample_add(&corpus, read_entry(entry))) fprintf(stderr, "bench_html: %s isn't accepted whole\n", entry);
    }
    if (!sample_add(&generated, generated_document())) {
        fprintf(stderr, "bench_html: the generated document isn't accepted whole\n");
        return 1;
    }
    if (corpus.documents.empty()) {
        fprintf(stderr, "bench_html: no corpus entries\n");
        return 1;
    }
    samples = {&corpus, &generated};
    for (html_sample_t* sample : samples) {
        benchmark::RegisterBenchmark((std::string("newsloom/") + sample->name).c_str(), bench_newsloom, sample)
            ->Repetitions(5)
            ->ReportAggregatesOnly(true);
        benchmark::RegisterBenchmark((std::string("gumbo/") + sample->name).c_str(), bench_gumbo, sample)
            ->Repetitions(5)
            ->ReportAggregatesOnly(true);
    }
    benchmark::Initialize(&argc, argv);
    median_reporter_t reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);

    printf("\nmedian throughput, tokenizer and tree against gumbo:\n");
    for (html_sample_t* sample : samples) {
        std::string ours = std::string("newsloom/") + sample->name;
        std::string peer = std::string("gumbo/") + sample->name;
        if (reporter.real[ours] <= 0 || reporter.cpu[ours] <= 0) continue;
        // Times are per iteration, in the same unit for both; a ratio of times is
        // the inverse ratio of the rates.
        double mb = sample->bytes / 1e6;
        double unit = 1e-9;  // the reporter's default unit is the nanosecond
        printf("  %-16s %2zu documents %8llu bytes\n", sample->name, sample->documents.size(),
               (unsigned long long)sample->bytes);
        printf("    cpu time:  newsloom %7.1f MB/s  gumbo %6.1f MB/s  ratio newsloom/gumbo %.2fx\n",
               mb / (reporter.cpu[ours] * unit), mb / (reporter.cpu[peer] * unit), reporter.cpu[peer] / reporter.cpu[ours]);
        printf("    real time: newsloom %7.1f MB/s  gumbo %6.1f MB/s  ratio newsloom/gumbo %.2fx\n",
               mb / (reporter.real[ours] * unit), mb / (reporter.real[peer] * unit),
               reporter.real[peer] / reporter.real[ours]);
    }
    benchmark::Shutdown();
    return 0;
}
