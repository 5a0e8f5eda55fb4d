// Main-thread processor time of one frame of the whole window (window_content) on the
// headless renderer, with the help panel and with a full log panel on the right. The
// peer is Dear ImGui building the same texts into its draw lists in the same run: the
// help wrapped in a window of the right panel's size, and the log unwrapped in a
// child with both scroll bars. Prints the medians and the ratios.
#include <benchmark/benchmark.h>
#include <imgui.h>
#include <stdlib.h>
#include <time.h>

#include <cstdio>
#include <string>

#include "app/frame_loop.h"
#include "app/startup.h"
#include "base/log.h"
#include "bench/median_reporter.h"
#include "gfx/draw.h"
#include "platform/fonts.h"
#include "views/panel.h"
#include "views/window_content.h"

namespace {

const i32 screen_width = 1280, screen_height = 720;
// The right panel's rectangle at the window's first layout: the split at 450, under the
// right strip's two rows of buttons.
const f32 right_x = 460, right_width = 818, right_top = 50;

program_t program;
std::string log_text;

// The log panel's channel filled to the end of its block with download failures,
// as after many updates of an unreachable list.
void log_fill() {
    log_channel_t* channel = log_channel(log_user);
    log_reserve(log_user, 0);
    for (u64 i = 0;; i++) {
        char line[256];
        int length = snprintf(line, sizeof(line),
                              "\nError while retrieving feed: http://feeds.example.com/%llu/rss.xml\n"
                              "    Returned (5) http_error_internet_open_url: Could not connect to server\n",
                              (unsigned long long)i);
        if (channel->text.used + (u64)length >= channel->text.reserved) break;
        log_write_bytes(log_user, line, (u64)length);
    }
    log_text.assign((const char*)channel->text.bytes, channel->text.used);
}

void program_make() {
    static bool made = false;
    if (made) return;
    made = true;
    static char folder[] = "/tmp/newsloom_bench_panels_XXXXXX";
    if (!mkdtemp(folder)) abort();
    static std::string path = std::string(folder) + "/store";
    char* argv[] = {(char*)"newsloom", (char*)"-path", path.data(), nullptr};
    program_options_t options = {1, screen_width, screen_height};
    if (!program_start(&program, 3, argv, &options)) abort();
    log_fill();
    // The mouse rests in the panel, off every widget, as it would while the user reads.
    program.window.mouse_x = 900;
    program.window.mouse_y = 400;
}

f64 thread_seconds() {
    timespec t;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return (f64)t.tv_sec + (f64)t.tv_nsec * 1e-9;
}

// What the frame loop does around window_content, without the sleep and the drain.
void ours_frame() {
    input_frame_t input;
    window_input_frame(&program.window, &input);
    draw_frame_begin(&program.draw, program.window.width, program.window.height, false);
    window_content(&program.app, &program.reader, &input);
    draw_frame_end(&program.draw);
    data_clear(&program.app.scratch);
}

void bench_newsloom(benchmark::State& state, u32 panel) {
    program_make();
    program.panel.right_panel = panel;
    program.panel.log_scroll = {};
    ours_frame();
    for (auto _ : state) {
        f64 start = thread_seconds();
        ours_frame();
        state.SetIterationTime(thread_seconds() - start);
    }
    u32 quads = 0;
    for (u32 i = 0; i < program.render.batch_count; i++) quads += program.render.batches[i].vertex_count / 4;
    state.counters["quads"] = quads;
}

// Dear ImGui: the same right panel's text, in the same fonts.
ImGuiContext* peer_context;
ImFont *peer_title, *peer_body, *peer_fixed;

void peer_make() {
    if (peer_context) return;
    peer_context = ImGui::CreateContext();
    ImGuiIO& io = ImGui::GetIO();
    io.DisplaySize = ImVec2((f32)screen_width, (f32)screen_height);
    io.IniFilename = nullptr;
    char sans[4096], mono[4096];
    if (!font_file_find("DejaVu Sans", sans, sizeof(sans)) || !font_file_find("DejaVu Sans Mono", mono, sizeof(mono))) {
        abort();
    }
    peer_body = io.Fonts->AddFontFromFileTTF(sans, 16.0f);
    peer_title = io.Fonts->AddFontFromFileTTF(sans, 20.0f);
    peer_fixed = io.Fonts->AddFontFromFileTTF(mono, 12.0f);
    unsigned char* pixels;
    int width, height;
    io.Fonts->GetTexDataAsAlpha8(&pixels, &width, &height);
    io.MousePos = ImVec2(900, 320);
}

void peer_frame(u32 panel) {
    ImGuiIO& io = ImGui::GetIO();
    io.DeltaTime = 1.0f / 60.0f;
    ImGui::NewFrame();
    ImGui::SetNextWindowPos(ImVec2(right_x, right_top));
    ImGui::SetNextWindowSize(ImVec2(right_width, (f32)screen_height - right_top));
    ImGui::Begin("right", nullptr, ImGuiWindowFlags_NoDecoration | ImGuiWindowFlags_NoMove);
    if (panel == panel_right_help) {
        ImGui::PushFont(peer_title);
        ImGui::TextUnformatted("Help");
        ImGui::PopFont();
        ImGui::PushFont(peer_body);
        ImGui::PushTextWrapPos(0.0f);
        ImGui::TextUnformatted(help_text);
        ImGui::PopTextWrapPos();
        ImGui::PopFont();
    } else {
        static bool auto_scroll = false;
        ImGui::PushFont(peer_body);
        ImGui::Checkbox("Auto scroll.", &auto_scroll);
        ImGui::PopFont();
        ImGui::BeginChild("log", ImVec2(0, 0), false, ImGuiWindowFlags_HorizontalScrollbar);
        ImGui::PushFont(peer_fixed);
        ImGui::TextUnformatted(log_text.data(), log_text.data() + log_text.size());
        ImGui::PopFont();
        ImGui::EndChild();
    }
    ImGui::End();
    ImGui::Render();
}

void bench_imgui(benchmark::State& state, u32 panel) {
    program_make();
    peer_make();
    peer_frame(panel);
    for (auto _ : state) {
        f64 start = thread_seconds();
        peer_frame(panel);
        state.SetIterationTime(thread_seconds() - start);
    }
    state.counters["quads"] = ImGui::GetDrawData()->TotalVtxCount / 4;
}

}  // namespace

int main(int argc, char** argv) {
    char path[4096];
    if (!font_file_find("DejaVu Sans Mono", path, sizeof(path))) {
        fprintf(stderr, "bench_panels: no DejaVu Sans and Sans Mono (fonts-dejavu-core)\n");
        return 1;
    }
    const struct {
        const char* name;
        u32 panel;
    } cases[] = {{"help", panel_right_help}, {"log", panel_right_log}};
    for (const auto& c : cases) {
        for (const char* side : {"newsloom", "imgui"}) {
            std::string name = std::string(side) + "/" + c.name;
            auto* b = benchmark::RegisterBenchmark(name.c_str(), side[0] == 'n' ? bench_newsloom : bench_imgui,
                                                   c.panel);
            b->Unit(benchmark::kMicrosecond)->UseManualTime()->Repetitions(9)->ReportAggregatesOnly(true);
        }
    }
    benchmark::Initialize(&argc, argv);
    median_reporter_t reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    printf("\nmedian main-thread cpu time of one window frame (us):\n");
    for (const auto& c : cases) {
        double ours = reporter.real[std::string("newsloom/") + c.name];
        double peer = reporter.real[std::string("imgui/") + c.name];
        if (ours > 0 && peer > 0) {
            printf("  %-5s newsloom %9.1f  imgui %9.1f  ratio newsloom/imgui %.2f\n", c.name, ours, peer,
                   ours / peer);
        }
    }
    return 0;
}
