// Processor time of one frame of the feed list over a full store: 100 feeds of 100
// entries, all in the shown range, scrolled to the middle, its keys, counts, rows
// and scroll bar queued on the renderer that only records. The peer is Dear ImGui
// drawing the same 10 100 titles as selectable rows through ImGuiListClipper, in
// the same run. Prints the medians and the ratio.
#include <benchmark/benchmark.h>
#include <imgui.h>

#include <cstdio>
#include <string>
#include <vector>

#include "app/app.h"
#include "base/file.h"
#include "bench/frame_pair.h"
#include "bench/full_store.h"
#include "gfx/draw.h"
#include "gfx/renderer.h"
#include "net/queries.h"
#include "platform/fonts.h"
#include "platform/window.h"
#include "store/codepoint_set.h"
#include "ui/ui_core.h"
#include "views/panel.h"
#include "views/view_list.h"

namespace {

const f32 screen_width = 1280, screen_height = 720;
// The left side of the window at its first width, below the generation bar.
const rect_t list_rect = {2, 2, 448, 690};

// Newsloom: the list on the stub window and the queue-only renderer.
struct ours_t {
    data_t codepoint_block;
    codepoint_set_t codepoints;
    reader_t reader;
    font_set_t fonts;
    window_t window;
    renderer_t render;
    draw_t draw;
    ui_t ui;
    panel_t panel;
    query_t queries[query_table_size];
    app_t app;
};

ours_t* ours_make(std::vector<std::string>& documents) {
    static ours_t o;
    reader_init_standalone(&o.reader, &o.codepoints, &o.codepoint_block);
    o.reader.generation = 1;
    data_t merge_memory = data_allocate(MIB(10));
    full_store_fill(&merge_memory, &o.reader, documents);

    frame_ours_create(&o.fonts, &o.window, &o.render, &o.draw, &o.ui, screen_width, screen_height);

    o.app.scratch = data_allocate(MIB(10));
    o.app.window = &o.window;
    o.app.panel = &o.panel;
    o.app.ui = &o.ui;
    o.app.draw = &o.draw;
    o.app.queries = o.queries;
    o.app.query_count = query_table_size;
    o.panel.generation_min = o.panel.generation_max = o.reader.generation;
    f32 total = 100 * list_feed_block_height + 99 * list_block_gap + 10000 * list_entry_row_height;
    o.panel.list_scroll = (total - rect_height(list_rect)) / 2;
    // The mouse rests on a row, as it would while the user reads.
    o.window.mouse_x = 100;
    o.window.mouse_y = 300;
    return &o;
}

void ours_frame(ours_t* o) {
    input_frame_t input;
    window_input_frame(&o->window, &input);
    data_clear(&o->app.scratch);
    draw_frame_begin(&o->draw, input.width, input.height, false);
    ui_frame_begin(&o->ui, &input);
    draw_left_panel(&o->app, &o->reader, list_rect);
    draw_frame_end(&o->draw);
}

void bench_newsloom(benchmark::State& state, std::vector<std::string>* documents) {
    static ours_t* o = ours_make(*documents);
    ours_frame(o);
    for (auto _ : state) ours_frame(o);
    state.counters["rects"] = gl_batch(&o->render, o->draw.rectangles[draw_layer_normal])->command_count;
}

// Dear ImGui: the feed and entry titles, in the list's order, as one clipped list.
struct peer_t {
    ImGuiContext* context;
    std::vector<std::string> titles;  // a feed's title, then its entries'
    ImFont* title_font;
};

peer_t* peer_make() {
    static peer_t p;
    for (u32 f = 0; f < 100; f++) {
        p.titles.push_back("Feed " + std::to_string(f));
        for (u32 i = 0; i < 100; i++) p.titles.push_back("Item number " + std::to_string(i) + " of the generated feed");
    }
    p.context = imgui_peer_create(screen_width, screen_height, {16.0f, 20.0f});
    ImGuiIO& io = ImGui::GetIO();
    p.title_font = io.Fonts->Fonts[1];
    io.MousePos = ImVec2(100, 720 - 300);
    return &p;
}

void peer_frame(peer_t* p) {
    ImGuiIO& io = ImGui::GetIO();
    io.DeltaTime = 1.0f / 60.0f;
    ImGui::NewFrame();
    ImGui::SetNextWindowPos(ImVec2(list_rect.x0, screen_height - list_rect.y1));
    ImGui::SetNextWindowSize(ImVec2(rect_width(list_rect), rect_height(list_rect)));
    ImGui::Begin("list", nullptr, ImGuiWindowFlags_NoDecoration | ImGuiWindowFlags_NoMove);
    ImGui::SetScrollY(ImGui::GetScrollMaxY() / 2);
    ImGuiListClipper clipper;
    clipper.Begin((int)p->titles.size());
    while (clipper.Step()) {
        for (int i = clipper.DisplayStart; i < clipper.DisplayEnd; i++) {
            bool feed = i % 101 == 0;
            if (feed) ImGui::PushFont(p->title_font);
            ImGui::PushID(i);
            ImGui::Selectable(p->titles[i].c_str(), i == 5050);
            ImGui::PopID();
            if (feed) ImGui::PopFont();
        }
    }
    ImGui::End();
    ImGui::Render();
}

void bench_imgui(benchmark::State& state) {
    static peer_t* p = peer_make();
    peer_frame(p);
    peer_frame(p);  // the scroll takes effect in the second frame
    for (auto _ : state) peer_frame(p);
    state.counters["vertices"] = ImGui::GetDrawData()->TotalVtxCount;
}

}  // namespace

int main(int argc, char** argv) {
    if (font_path("DejaVu Sans").empty()) {
        fprintf(stderr, "bench_list: no DejaVu Sans (fonts-dejavu-core)\n");
        return 1;
    }
    static std::vector<std::string> documents = full_store_documents();
    frame_repeat(benchmark::RegisterBenchmark("newsloom/list_frame", bench_newsloom, &documents));
    frame_repeat(benchmark::RegisterBenchmark("imgui/list_frame", bench_imgui));
    return frame_pair_run(argc, argv, "list_frame", "list frame");
}
