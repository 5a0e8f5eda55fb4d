// What reading an entry costs the main thread, on the headless program: processor
// time of the frame that parses the selected entry's HTML and lays it out, and of
// the frames that follow it (goal: at most 2 ms), for a generated document of 1 MB
// and for the longest entry of russcox.atom. The peer is gumbo, parsing the same
// bytes in the same run, against the entry view's parse alone (goal: at least 5
// times faster). Prints medians and ratios.
#include <gumbo.h>
#include <stdlib.h>
#include <time.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "app/startup.h"
#include "bench/html_document.h"
#include "base/pool.h"
#include "base/text.h"
#include "tests/views/finished_download.h"
#include "views/view_entry.h"
#include "views/view_list.h"

namespace {

f64 thread_seconds() {
    timespec now;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return (f64)now.tv_sec + (f64)now.tv_nsec * 1e-9;
}

f64 median(std::vector<f64> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

program_t program;

std::string file_text(const std::string& path) {
    std::string text;
    FILE* file = fopen(path.c_str(), "rb");
    if (!file) return text;
    char buffer[65536];
    for (size_t got; (got = fread(buffer, 1, sizeof(buffer), file)) > 0;) text.append(buffer, got);
    fclose(file);
    return text;
}

// The description the entry view shows for an entry.
data_t entry_description(const entry_t* entry) {
    if (entry_kind(entry) == record_kind_rss) return entry->rss.description;
    return entry->atom.summary.used ? entry->atom.summary : entry->atom.content;
}

// The longest HTML an entry holds.
data_t entry_markup(const entry_t* entry) {
    if (entry_kind(entry) == record_kind_rss) return entry->rss.description;
    return entry->atom.content.used > entry->atom.summary.used ? entry->atom.content : entry->atom.summary;
}

void frame() {
    frame_run(&program.loop);
    input_frame_begin(&program.window);
}

f64 frame_seconds() {
    f64 start = thread_seconds();
    frame();
    return thread_seconds() - start;
}

struct figures_t {
    f64 parse, gumbo, first_frame, steady_frame;
};

// The entry of the feed at `address` with the longest markup, shown in the right
// panel; `html`, when given, replaces its description.
entry_t* entry_show(const char* address, const std::string& document, const std::string* html) {
    finished_download(&program, 7, address, query_new_feed, document);
    frame();
    entry_t* longest = nullptr;
    for (u32 i = 0; i < program.reader.entries.max_entry_count; i++) {
        entry_t* e = (entry_t*)pool_at(&program.reader.entries, sizeof(entry_t), i);
        if (!entry_is_alive(e)) continue;
        feed_t* feed = reader_find_feed_by_id(&program.reader, e->feed_id);
        if (!feed || !data_equal(feed->address, data_from_size(strlen(address), address))) continue;
        if (!longest || entry_markup(e).used > entry_markup(longest).used) longest = e;
    }
    if (!longest) return nullptr;
    // The feed gives each entry a short text summary too, which the view would show
    // in place of the article.
    if (entry_kind(longest) == record_kind_atom) longest->atom.summary = data_t{};
    if (html) {
        longest->rss.description =
            reader_store_string(&program.reader, data_from_size(html->size(), html->data()));
    }
    program.panel.selected_entry = longest;
    program.panel.selected_feed = reader_find_feed_by_id(&program.reader, longest->feed_id);
    panel_reset(&program.app);
    return longest;
}

figures_t entry_measure(const entry_t* entry, u32 rounds) {
    figures_t f = {};
    data_t description = entry_description(entry);
    std::vector<f64> parse, gumbo, first, steady;
    for (u32 i = 0; i < rounds; i++) {
        f64 start = thread_seconds();
        entry_content_parse(&program.panel, description, &program.app.scratch);
        parse.push_back(thread_seconds() - start);

        start = thread_seconds();
        GumboOutput* output =
            gumbo_parse_with_options(&kGumboDefaultOptions, (const char*)description.bytes, description.used);
        gumbo_destroy_output(&kGumboDefaultOptions, output);
        gumbo.push_back(thread_seconds() - start);

        program.panel.content_parsed = 0;
        first.push_back(frame_seconds());
        for (u32 j = 0; j < 4; j++) steady.push_back(frame_seconds());
    }
    f.parse = median(parse);
    f.gumbo = median(gumbo);
    f.first_frame = median(first);
    f.steady_frame = median(steady);
    return f;
}

void figures_print(const char* name, u64 bytes, const figures_t& f) {
    printf("%-22s %8llu bytes  parse %8.3f ms  gumbo %8.3f ms  gumbo/parse %5.2f (goal >= 5)\n", name,
           (unsigned long long)bytes, f.parse * 1e3, f.gumbo * 1e3, f.gumbo / f.parse);
    printf("%-22s first frame %8.3f ms  steady frame %8.3f ms (goal <= 2)  first/steady %5.2f\n", "",
           f.first_frame * 1e3, f.steady_frame * 1e3, f.first_frame / f.steady_frame);
}

}  // namespace

int main() {
    char pattern[] = "/tmp/newsloom_bench_entry_XXXXXX";
    if (!mkdtemp(pattern)) return 1;
    std::string folder = pattern;
    std::string store = folder + "/store";
    char* argv[] = {(char*)"newsloom", (char*)"-path", store.data(), nullptr};
    const program_options_t headless = {1, 1280, 720};
    if (!program_start(&program, 3, argv, &headless)) return 1;
    program.panel.right_panel = panel_right_selection;
    int status = 0;

    std::string generated = generated_document();
    const std::string rss = "<rss version=\"2.0\"><channel><title>Bench</title><item><title>One megabyte</title>"
                            "<link>http://127.0.0.1:1/entry</link><description>x</description></item></channel></rss>";
    entry_t* entry = entry_show("http://127.0.0.1:1/generated.xml", rss, &generated);
    if (entry) {
        figures_print("generated 1 MB", generated.size(), entry_measure(entry, 15));
    } else {
        status = 1;
    }

    std::string russcox = file_text(std::string(NEWSLOOM_TEST_DATA) + "/feeds/russcox.atom");
    entry = russcox.empty() ? nullptr : entry_show("http://127.0.0.1:1/russcox.atom", russcox, nullptr);
    if (entry) {
        figures_print("russcox longest entry", entry_description(entry).used, entry_measure(entry, 31));
    } else {
        fprintf(stderr, "bench_entry: russcox.atom is missing\n");
        status = 1;
    }

    program_shutdown(&program);
    std::string remove = "rm -rf '" + folder + "'";
    if (system(remove.c_str()) != 0) status = 1;
    return status;
}
