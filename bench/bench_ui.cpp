// Processor time of one whole frame of the UI on the renderer that only queues: a
// panel of eight buttons, a check box, a drop-down and a 20 000-word wrapped text
// with a vertical scroll bar, laid out, drawn into batches and expanded into glyph
// quads. The peer is Dear ImGui building the same widgets and text into its draw
// lists without a backend, in the same run. Prints the medians and the ratio.
#include <benchmark/benchmark.h>
#include <imgui.h>

#include <cstdio>
#include <cmath>
#include <cstring>
#include <string>

#include "base/file.h"
#include "bench/frame_pair.h"
#include "gfx/draw.h"
#include "gfx/renderer.h"
#include "layout/layout.h"
#include "platform/fonts.h"
#include "platform/window.h"
#include "store/codepoint_set.h"
#include "views/demo_panel.h"

namespace {

const f32 screen_width = 1280, screen_height = 720;

// 20 000 words in paragraphs of about 90, the same each run.
std::string words_make() {
    static const char* const words[] = {"the", "reader", "feeds", "quickly", "window", "entry", "generation",
                                        "of", "and", "layout", "text", "draws", "every", "frame", "Newsloom",
                                        "kerning", "widgets", "To", "typography", "paragraph", "scroll", "bar"};
    std::string text;
    u32 seed = 12345;
    for (int i = 0; i < 20000; i++) {
        seed = seed * 1103515245 + 12345;
        text += words[(seed >> 16) % (sizeof(words) / sizeof(words[0]))];
        text += (i % 90 == 89) ? "\n\n" : " ";
    }
    return text;
}

const char* const button_labels[8] = {"Update all", "Update selected", "Add feed", "Links",
                                      "Log",        "Help",            "Save",     "Quit"};
const char* const choices[4] = {"Small text", "Body text", "Titles", "Fixed pitch"};

// Newsloom: the UI on the stub window and the queue-only renderer.
struct ours_t {
    font_set_t fonts;
    window_t window;
    renderer_t render;
    draw_t draw;
    ui_t ui;
    data_t frame_memory;
    demo_panel_t panel;
    std::string text;
};

ours_t* ours_make(const std::string& text) {
    static ours_t o;
    o.text = text;
    frame_ours_create(&o.fonts, &o.window, &o.render, &o.draw, &o.ui, screen_width, screen_height);
    o.frame_memory = data_allocate(MIB(16));
    data_t init_memory = data_allocate(MIB(1));
    demo_panel_init(&o.panel, &init_memory);
    o.panel.buttons = button_labels;
    o.panel.button_count = 8;
    o.panel.choices = choices;
    o.panel.choice_count = 4;
    o.panel.with_text_box = 0;
    o.panel.text = data_from_size(o.text.size(), o.text.data());
    // The mouse rests over the first button, as it would while the user reads.
    o.window.mouse_x = 60;
    o.window.mouse_y = (i32)screen_height - 20;
    return &o;
}

void ours_frame(ours_t* o) {
    input_frame_t input;
    window_input_frame(&o->window, &input);
    data_clear(&o->frame_memory);
    draw_frame_begin(&o->draw, input.width, input.height, false);
    ui_frame_begin(&o->ui, &input);
    demo_panel_draw(&o->ui, &o->panel, &o->frame_memory, rect_t{0, 0, screen_width, screen_height});
    draw_frame_end(&o->draw);
}

void bench_newsloom(benchmark::State& state, const std::string* text) {
    static ours_t* o = ours_make(*text);
    ours_frame(o);
    for (auto _ : state) ours_frame(o);
    u32 glyphs = 0;
    for (u32 i = 0; i < o->render.batch_count; i++) glyphs += o->render.batches[i].vertex_count / 4;
    state.counters["quads"] = glyphs;
}

// Dear ImGui: the same panel into its draw lists; no backend renders them.
struct peer_t {
    ImGuiContext* context;
    std::string text;
    bool wrap = true;
    int choice = 1;
};

peer_t* peer_make(const std::string& text) {
    static peer_t p;
    p.text = text;
    p.context = imgui_peer_create(screen_width, screen_height, {16.0f, 14.0f});
    ImGui::GetIO().MousePos = ImVec2(60, 20);
    return &p;
}

void peer_frame(peer_t* p) {
    ImGuiIO& io = ImGui::GetIO();
    io.DeltaTime = 1.0f / 60.0f;
    ImGui::NewFrame();
    ImGui::SetNextWindowPos(ImVec2(0, 0));
    ImGui::SetNextWindowSize(io.DisplaySize);
    ImGui::Begin("panel", nullptr, ImGuiWindowFlags_NoDecoration | ImGuiWindowFlags_NoMove);
    ImGui::PushFont(io.Fonts->Fonts[1]);
    for (int i = 0; i < 8; i++) {
        if (i > 0) ImGui::SameLine();
        ImGui::Button(button_labels[i]);
    }
    ImGui::Checkbox("Wrap the text", &p->wrap);
    ImGui::SameLine();
    ImGui::SetNextItemWidth(200);
    ImGui::Combo("Font", &p->choice, choices, 4);
    ImGui::PopFont();
    ImGui::BeginChild("text", ImVec2(0, 0), false, ImGuiWindowFlags_AlwaysVerticalScrollbar);
    ImGui::PushTextWrapPos(0.0f);
    ImGui::TextUnformatted(p->text.data(), p->text.data() + p->text.size());
    ImGui::PopTextWrapPos();
    ImGui::EndChild();
    ImGui::End();
    ImGui::Render();
}

void bench_imgui(benchmark::State& state, const std::string* text) {
    static peer_t* p = peer_make(*text);
    peer_frame(p);
    for (auto _ : state) peer_frame(p);
    int vertices = ImGui::GetDrawData()->TotalVtxCount;
    state.counters["quads"] = vertices / 4;
}

}  // namespace

int main(int argc, char** argv) {
    static std::string text = words_make();
    if (font_path("DejaVu Sans").empty()) {
        fprintf(stderr, "bench_ui: no DejaVu Sans (fonts-dejavu-core)\n");
        return 1;
    }
    frame_repeat(benchmark::RegisterBenchmark("newsloom/ui_frame", bench_newsloom, &text));
    frame_repeat(benchmark::RegisterBenchmark("imgui/ui_frame", bench_imgui, &text));
    return frame_pair_run(argc, argv, "ui_frame", "UI frame");
}
