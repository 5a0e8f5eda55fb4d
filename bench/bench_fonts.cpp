// What text in many scripts costs, on the headless renderer:
// - start to first frame with a store of 36 000 distinct characters against a store
//   of 200, both showing the same titles first (goal: at most 1.2 times);
// - frames of Chinese text scrolled through, five new lines of 40 characters a
//   frame: the first pass meets 200 new glyphs a frame (goal: at most 16 ms), the
//   second draws them from the atlas (goal: at most 2 ms). The peer is Dear ImGui,
//   whose font atlas is built up front: the build of an atlas holding the same 200
//   glyphs, from the same face, is what showing them costs it.
// Prints medians and ratios.
#include <imgui.h>
#include <stdlib.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "app/startup.h"
#include "base/file.h"
#include "base/text.h"
#include "gfx/font.h"
#include "gfx/renderer.h"
#include "layout/layout.h"
#include "platform/fonts.h"
#include "tests/views/finished_download.h"

namespace {

f64 seconds_now() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (f64)now.tv_sec + (f64)now.tv_nsec * 1e-9;
}

f64 median(std::vector<f64> values) {
    if (values.empty()) return 0;
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

void utf8_append(std::string* text, u32 codepoint) {
    u8 bytes[4];
    u32 length = 0;
    utf_error_t error = 0;
    utf8_encode(bytes, bytes + 4, codepoint, &length, &error);
    text->append((const char*)bytes, length);
}

program_t program;
const program_options_t headless = {1, 1280, 720};

bool program_open(const std::string& folder) {
    std::string path = folder;
    char* argv[] = {(char*)"newsloom", (char*)"-path", path.data(), nullptr};
    return program_start(&program, 3, argv, &headless);
}

// A store of one feed with 140 titles of 360 characters each. The first 40, which
// the first frame shows, take the same 200 characters in both stores; the rest take
// `distinct` characters from U+3400 on.
bool store_make(const std::string& folder, u32 distinct) {
    std::string document =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?><rss version=\"2.0\"><channel><title>Many</title>";
    u32 next = 0;
    for (u32 item = 0; item < 140; item++) {
        document += "<item><guid>" + std::to_string(item) + "</guid><title>";
        for (u32 i = 0; i < 360; i++) {
            u32 c = item < 40 ? 0x4E00 + (item * 360 + i) % 200 : 0x3400 + next++ % distinct;
            utf8_append(&document, c);
        }
        document += "</title></item>";
    }
    document += "</channel></rss>";
    if (!program_open(folder)) return false;
    finished_download(&program, 7, "http://127.0.0.1:1/many.xml", query_new_feed, document);
    frame_run(&program.loop);
    bool made = program.codepoints.count >= distinct;
    program_shutdown(&program);
    return made;
}

f64 start_to_first_frame(const std::string& folder) {
    f64 start = seconds_now();
    if (!program_open(folder)) return -1;
    frame_run(&program.loop);
    f64 took = seconds_now() - start;
    program_shutdown(&program);
    return took;
}

// The scrolled text: lines of 40 distinct Chinese characters.
constexpr u32 line_length = 40, lines_shown = 30, lines_per_frame = 5, frames = 24;

std::string line_text(u32 line) {
    std::string text;
    for (u32 i = 0; i < line_length; i++) utf8_append(&text, 0x4E00 + line * line_length + i);
    return text;
}

struct scroller_t {
    font_set_t fonts;
    data_t sans, mono;
    renderer_t render;
    u32 batch;
};

data_t face_file(const char* family) {
    char path[4096];
    if (!font_file_find(family, path, sizeof(path))) return data_t{};
    file_error_t error = 0;
    data_t file = file_read_all(data_from_size(text_length(path), path), false, &error);
    return error ? data_t{} : file;
}

void scroller_create(scroller_t* s, data_t sans, data_t mono) {
    font_set_create(&s->fonts, data_allocate(0x500000));
    for (f32 size : {14.0f, 16.0f, 20.0f}) font_load(&s->fonts, sans, size, 0);
    font_load(&s->fonts, mono, 12, 1);
    gl_renderer_create(&s->render, 1280, 720, renderer_alpha_blending, render_backend_stub);
    s->batch = gl_batch_create(&s->render, batch_type_text, gl_format(2, 1, 1, 4), 8000, 200, &s->fonts, 0);
}

// One frame: every shown line measured, then drawn.
f64 scroller_frame(scroller_t* s, const std::vector<std::string>& lines, u32 first_line) {
    f64 start = seconds_now();
    gl_frame_begin(&s->render);
    const font_t* font = &s->fonts.fonts[1];
    for (u32 l = 0; l < lines_shown; l++) {
        const std::string& text = lines[first_line + l];
        layout_size_t size = layout_get_single_line_size(font, (const u8*)text.data(), text.size(), codepoint_invalid);
        if (size.width <= 0) return -1;
        gl_batch_text(gl_batch(&s->render, s->batch), (const u8*)text.data(), text.size(), 10, (f32)(700 - l * 20), 1,
                      1, colour_white);
    }
    gl_frame_end(&s->render);
    return seconds_now() - start;
}

// ImGui's atlas holding the given code points of the face at 16 pixels.
f64 imgui_atlas_build(data_t face, u32 face_index, u32 first, u32 count) {
    std::vector<ImWchar> ranges;
    for (u32 c = first; c < first + count; c++) {
        ranges.push_back((ImWchar)c);
        ranges.push_back((ImWchar)c);
    }
    ranges.push_back(0);
    f64 start = seconds_now();
    ImFontAtlas atlas;
    ImFontConfig config;
    config.FontDataOwnedByAtlas = false;
    config.FontNo = (int)face_index;
    atlas.AddFontFromMemoryTTF(face.bytes, (int)face.used, 16.0f, &config, ranges.data());
    atlas.Build();
    return seconds_now() - start;
}

}  // namespace

int main() {
    char cjk_path[4096];
    u32 cjk_index = 0;
    if (!font_file_covering(0x4E00, cjk_path, sizeof(cjk_path), &cjk_index)) {
        fprintf(stderr, "bench_fonts: no installed face covers Chinese (fonts-wqy-microhei)\n");
        return 1;
    }
    char folder_pattern[] = "/tmp/newsloom_bench_fonts_XXXXXX";
    if (!mkdtemp(folder_pattern)) return 1;
    std::string folder = folder_pattern;
    std::string large = folder + "/large", small = folder + "/small";
    if (!store_make(large, 36000) || !store_make(small, 200)) {
        fprintf(stderr, "bench_fonts: the stores could not be made\n");
        return 1;
    }
    std::vector<f64> large_starts, small_starts;
    for (u32 run = 0; run < 15; run++) {
        small_starts.push_back(start_to_first_frame(small));
        large_starts.push_back(start_to_first_frame(large));
    }
    f64 small_start = median(small_starts), large_start = median(large_starts);
    printf(
        "start to first frame (median of 15): 36 000 characters %.1f ms  200 characters %.1f ms  ratio %.2f "
        "(goal at most 1.20)\n",
        large_start * 1e3, small_start * 1e3, large_start / small_start);

    std::vector<std::string> lines;
    for (u32 l = 0; l < lines_shown + frames * lines_per_frame; l++) lines.push_back(line_text(l));
    data_t sans = face_file("DejaVu Sans"), mono = face_file("DejaVu Sans Mono");
    file_error_t error = 0;
    data_t cjk = file_read_all(data_from_size(text_length(cjk_path), cjk_path), false, &error);
    if (error || !sans.used) {
        fprintf(stderr, "bench_fonts: no faces to draw with\n");
        return 1;
    }
    std::vector<f64> first_frames, new_glyph_frames, steady_frames, peer_builds;
    for (u32 run = 0; run < 5; run++) {
        scroller_t* s = new scroller_t{};
        scroller_create(s, sans, mono);
        for (u32 pass = 0; pass < 2; pass++) {
            for (u32 f = 0; f < frames; f++) {
                f64 took = scroller_frame(s, lines, f * lines_per_frame);
                if (pass == 1) {
                    steady_frames.push_back(took);
                } else if (f == 0) {
                    first_frames.push_back(took);
                } else {
                    new_glyph_frames.push_back(took);
                }
            }
        }
        u32 next = 0x4E00 + (lines_shown + run * lines_per_frame) * line_length;
        peer_builds.push_back(imgui_atlas_build(cjk, cjk_index, next, lines_per_frame * line_length));
        font_set_free(&s->fonts);
        delete s;
    }
    f64 new_glyphs = median(new_glyph_frames), steady = median(steady_frames), peer = median(peer_builds);
    printf("scrolling Chinese, %u glyphs a frame: first frame (%u new glyphs) %.2f ms\n", lines_shown * line_length,
           lines_shown * line_length, median(first_frames) * 1e3);
    printf("  frame with %u new glyphs %.2f ms (goal at most 16)  steady frame %.2f ms (goal at most 2)\n",
           lines_per_frame * line_length, new_glyphs * 1e3, steady * 1e3);
    printf("  imgui atlas build for the same %u glyphs %.2f ms  ratio newsloom new-glyph frame/imgui %.2f\n",
           lines_per_frame * line_length, peer * 1e3, new_glyphs / peer);
    if (system(("rm -rf '" + folder + "'").c_str()) != 0) return 1;
    return 0;
}
