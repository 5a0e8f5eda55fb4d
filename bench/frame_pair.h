// One frame of ours against the same frame drawn by Dear ImGui: both are run nine
// times, and the medians are printed side by side with their ratio. Our side's
// fonts, stub window, renderer and UI, and the peer's context, are made alike for
// each frame benchmark.
#pragma once

#include <benchmark/benchmark.h>
#include <imgui.h>

#include <cstdio>
#include <initializer_list>
#include <string>
#include <vector>

#include "base/file.h"
#include "bench/median_reporter.h"
#include "gfx/draw.h"
#include "gfx/renderer.h"
#include "platform/fonts.h"
#include "platform/window.h"
#include "ui/ui_core.h"

inline void frame_repeat(benchmark::internal::Benchmark* bench) {
    bench->Unit(benchmark::kMicrosecond)->Repetitions(9)->ReportAggregatesOnly(true);
}

// Runs what was registered as "newsloom/NAME" and "imgui/NAME" and prints the medians.
inline int frame_pair_run(int argc, char** argv, const std::string& name, const char* what) {
    benchmark::Initialize(&argc, argv);
    median_reporter_t reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    double ours = reporter.cpu["newsloom/" + name], peer = reporter.cpu["imgui/" + name];
    if (ours > 0 && peer > 0) {
        printf("\nmedian cpu time of one %s: newsloom %.1f us  imgui %.1f us  ratio newsloom/imgui %.2f\n", what,
               ours, peer, ours / peer);
    }
    return 0;
}

// The file of a face the system has itself, else empty.
inline std::string font_path(const char* family) {
    char path[4096];
    if (!font_file_find(family, path, sizeof(path))) return std::string();
    return path;
}

// Our side's drawing: DejaVu Sans at the program's four sizes, a stub window of the
// screen's size, the recording renderer with the frame's batches, and the UI drawing
// into them.
inline void frame_ours_create(font_set_t* fonts, window_t* window, renderer_t* render, draw_t* draw, ui_t* ui,
                              f32 width, f32 height) {
    file_error_t error = 0;
    std::string sans = font_path("DejaVu Sans");
    data_t face = file_read_all(data_from_size(sans.size(), sans.data()), false, &error);
    font_set_create(fonts, data_allocate(0x500000));
    for (f32 size : {14.0f, 16.0f, 20.0f, 12.0f}) font_load(fonts, face, size, 0);
    window_create_stub(window, (i32)width, (i32)height);
    gl_renderer_create(render, (i32)width, (i32)height, renderer_alpha_blending, render_backend_stub);
    draw_create(draw, render, fonts, 1920, 1080, 0);
    ui_create(ui, data_allocate(ui_widget_memory_size), window);
    ui_bind_draw(ui, draw);
}

// The peer's side: a Dear ImGui context of the screen's size without a settings
// file, DejaVu Sans at `sizes` (its fonts in that order), and the font atlas built.
inline ImGuiContext* imgui_peer_create(f32 width, f32 height, std::initializer_list<f32> sizes) {
    ImGuiContext* context = ImGui::CreateContext();
    ImGuiIO& io = ImGui::GetIO();
    io.DisplaySize = ImVec2(width, height);
    io.IniFilename = nullptr;
    std::string sans = font_path("DejaVu Sans");
    for (f32 size : sizes) io.Fonts->AddFontFromFileTTF(sans.c_str(), size);
    unsigned char* pixels;
    int atlas_width, atlas_height;
    io.Fonts->GetTexDataAsAlpha8(&pixels, &atlas_width, &atlas_height);
    return context;
}
