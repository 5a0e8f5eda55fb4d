// The window's costs: processor time of an idle window over 10 s, main-thread time
// of one frame that lays out and draws a 1 MB article in the right panel's size,
// and the time from start to the first frame with an empty store. There is no peer
// program to compare with; the figures are printed as they are (medians).
#include <benchmark/benchmark.h>
#include <sys/resource.h>
#include <time.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "base/file.h"
#include "gfx/renderer.h"
#include "store/codepoint_set.h"
#include "layout/layout.h"
#include "platform/fonts.h"
#include "tests/window/x_server.h"

namespace {

struct article_fonts_t {
    font_set_t set;
};

article_fonts_t* fonts_make() {
    static article_fonts_t fonts;
    char path[4096];
    file_error_t error = 0;
    data_t sans = {};
    if (font_file_find("DejaVu Sans", path, sizeof(path))) {
        sans = file_read_all(data_from_size(strlen(path), path), false, &error);
    }
    font_set_create(&fonts.set, data_allocate(0x500000));
    for (f32 size : {14.0f, 16.0f, 20.0f, 12.0f}) font_load(&fonts.set, sans, size, 0);
    return &fonts;
}

// About 1 MB of running text in paragraphs, the same each run.
std::string article_make() {
    static const char* const words[] = {"the", "reader", "feeds", "quickly", "window", "entry", "generation",
                                        "of", "and", "layout", "text", "draws", "every", "frame", "Newsloom",
                                        "kerning", "AVAVA", "To", "typography", "paragraph", "é", "€"};
    std::string text;
    u32 seed = 12345;
    while (text.size() < 1000000) {
        for (int i = 0; i < 90; i++) {
            seed = seed * 1103515245 + 12345;
            text += words[(seed >> 16) % (sizeof(words) / sizeof(words[0]))];
            text += ' ';
        }
        text += "\n\n";
    }
    return text;
}

// One frame of the right panel: the measuring pass, the recording pass that keeps
// the visible runs, the text draws and their expansion into glyph quads.
void BM_ArticleFrame(benchmark::State& state) {
    static article_fonts_t* fonts = fonts_make();
    static std::string article = article_make();
    const f32 width = 800, height = 680;
    renderer_t render;
    gl_renderer_create(&render, 1280, 720, renderer_alpha_blending, render_backend_stub);
    u32 glyphs = (u32)ceil(1080 / 14.0) * (1920 / 2);
    u32 text = gl_batch_create(&render, batch_type_text, gl_format(2, 1, 1, 4), glyphs, 78 * 5, &fonts->set, 0);
    data_t memory = data_allocate(MIB(16));
    f32 scroll = 20000;
    for (auto _ : state) {
        data_clear(&memory);
        gl_frame_begin(&render);
        layout_t layout;
        layout_create(&layout, &memory, &fonts->set, rect_t{450, 20, 450 + width, 20 + height}, 0, scroll,
                      nullptr);
        layout.font = 1;
        layout.wrap_width = width - 16;
        layout.eat_space = 1;
        layout_item_t* item = (layout_item_t*)data_push(&memory, sizeof(layout_item_t), 8);
        *item = layout_item_t{};
        item->kind = layout_item_text;
        item->text.text = (const u8*)article.data();
        item->text.length = article.size();
        layout.items = item;
        layout.item_count = 1;
        layout_text(&layout, item, 0);
        layout.pen_x = layout.line_start_x;
        layout.pen_y = 0;
        layout_text(&layout, item, 1);
        batch_t* batch = gl_batch(&render, text);
        for (u32 i = 0; i < item->text.run_count; i++) {
            const layout_line_t& run = item->text.runs[i];
            f32 y = 20 + height + scroll - run.rect.y1 + item->text.baseline;
            gl_batch_text(batch, run.text, run.bytes, 450 + run.rect.x0, y, 0, 1, colour_white);
        }
        gl_frame_end(&render);
        benchmark::DoNotOptimize(batch->vertex_count);
        if (item->text.run_count == 0) state.SkipWithError("nothing visible");
    }
    state.SetBytesProcessed((i64)state.iterations() * (i64)article.size());
}
BENCHMARK(BM_ArticleFrame)->Unit(benchmark::kMillisecond)->Repetitions(9)->ReportAggregatesOnly(true);

double seconds_now() {
    timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return (double)t.tv_sec + (double)t.tv_nsec / 1e9;
}

// utime + stime of a process, in seconds.
double process_cpu_seconds(pid_t pid) {
    std::string stat = file_text("/proc/" + std::to_string(pid) + "/stat");
    size_t close = stat.rfind(')');
    if (close == std::string::npos) return -1;
    std::vector<std::string> fields;
    size_t start = close + 2;
    while (start < stat.size()) {
        size_t end = stat.find(' ', start);
        if (end == std::string::npos) end = stat.size();
        fields.push_back(stat.substr(start, end - start));
        start = end + 1;
    }
    // Fields from the state on: utime and stime are the 12th and 13th.
    if (fields.size() < 13) return -1;
    return (std::stod(fields[11]) + std::stod(fields[12])) / (double)sysconf(_SC_CLK_TCK);
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

void window_figures() {
    x_server_t server;
    if (!x_server_start(&server)) {
        printf("window figures: Xvfb could not start\n");
        return;
    }
    char pattern[] = "/tmp/newsloom_bench_XXXXXX";
    std::string folder = mkdtemp(pattern);
    std::vector<double> startups;
    for (int run = 0; run < 5; run++) {
        std::string png = folder + "/first.png";
        unlink(png.c_str());
        std::string store = folder + "/store" + std::to_string(run);
        double start = seconds_now();
        program_t program = program_start(folder, {"-path", store, "-first_frame_png", png});
        bool drawn = file_wait(png, 60);
        double elapsed = seconds_now() - start;
        if (drawn) startups.push_back(elapsed);
        if (run == 4 && drawn) {
            // The idle figure: ten seconds without input.
            usleep(500000);
            double before = process_cpu_seconds(program.pid);
            sleep(10);
            double after = process_cpu_seconds(program.pid);
            printf("idle window: %.3f s of processor time over 10 s (%.2f %%)\n", after - before,
                   (after - before) * 10.0);
        }
        Window window = window_find("Newsloom - 0.3");
        if (window) window_send_close(window);
        if (!program_wait(&program, 30)) program_kill(&program);
    }
    if (!startups.empty()) {
        printf("start to first frame, empty store, software GL: median %.0f ms of %zu runs\n",
               median(startups) * 1000.0, startups.size());
    }
    if (system(("rm -rf '" + folder + "'").c_str()) != 0) printf("could not remove %s\n", folder.c_str());
    x_server_stop(&server);
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    window_figures();
    return 0;
}
