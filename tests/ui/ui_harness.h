// Drives the UI headless, frame after frame: a stub window that takes synthetic
// input, the renderer's recording stub, the test fonts, and a clock the test sets.
#pragma once

#include <gtest/gtest.h>

#include <functional>

#include "gfx/draw.h"
#include "layout/test_fonts.h"
#include "platform/window.h"
#include "ui/ui_core.h"

struct ui_harness_t {
    window_t window = {};
    renderer_t render = {};
    draw_t draw = {};
    ui_t ui = {};
    data_t widget_memory = {};
    input_frame_t input = {};
    u64 clock = 1000000;  // ticks; ui.counter_frequency of them make a second
    u32 rectangles = 0, text = 0, icons = 0, overlay_rectangles = 0, overlay_text = 0;
    u32 time = 0;

    explicit ui_harness_t(i32 width = 640, i32 height = 480, u64 widget_memory_size = ui_widget_memory_size) {
        window_create_stub(&window, width, height);
        gl_renderer_create(&render, width, height, renderer_alpha_blending, render_backend_stub);
        draw_create(&draw, &render, &test_fonts()->set, 1920, 1080, 0);
        rectangles = draw.rectangles[0], text = draw.text[0], icons = draw.icons[0];
        overlay_rectangles = draw.rectangles[1], overlay_text = draw.text[1];
        widget_memory = data_allocate(widget_memory_size);
        ui_create(&ui, widget_memory, &window);
        ui.counter_frequency = 1000000;
        ui_bind_draw(&ui, &draw);
    }

    ~ui_harness_t() {
        data_free(&widget_memory);
        data_free(&ui.frame_memory);
    }

    // One frame: the input gathered since the last one, then `content`, then the
    // cursor; the transitions are spent afterwards.
    void frame(const std::function<void()>& content = [] {}) {
        window_input_frame(&window, &input);
        input.ticks = clock;
        draw_frame_begin(&draw, input.width, input.height, false);
        ui_frame_begin(&ui, &input);
        content();
        ui_apply_cursor(&ui);
        input_frame_begin(&window);
    }

    void move(f32 x, f32 y) {
        window.mouse_x = (i32)x;
        window.mouse_y = (i32)y;
    }
    void press(u32 button = key_mouse_left) {
        input_button(&window, button, true, window.mouse_x, window.mouse_y, 0, time++);
    }
    void release(u32 button = key_mouse_left) {
        input_button(&window, button, false, window.mouse_x, window.mouse_y, 0, time++);
    }
    // A press and a release, each seen by a frame of `content`.
    void click(const std::function<void()>& content = [] {}) {
        press();
        frame(content);
        release();
        frame(content);
    }
    void key(u32 key, bool down) { input_key(&window, key, down, 0, 0, time++); }
    void type(const char* utf8) {
        const u8* p = (const u8*)utf8;
        while (*p) {
            u32 c = *p, size = 1;
            if (c >= 0xF0) c &= 0x07, size = 4;
            else if (c >= 0xE0) c &= 0x0F, size = 3;
            else if (c >= 0xC0) c &= 0x1F, size = 2;
            for (u32 i = 1; i < size; i++) c = (c << 6) | (p[i] & 0x3F);
            input_text(&window, c);
            p += size;
        }
    }
    void seconds(f64 s) { clock += (u64)(s * 1000000.0); }

    batch_t* batch(u32 handle) { return gl_batch(&render, handle); }
    u32 commands(u32 handle) { return batch(handle)->command_count; }
    u32 quads(u32 handle) {
        u32 count = 0;
        for (u32 i = 0; i < batch(handle)->command_count; i++) count += batch(handle)->commands[i].kind == batch_type_quads;
        return count;
    }
    // The colour of the i-th command of a quad batch, as packed for its vertices.
    u32 quad_colour(u32 handle, u32 i) { return batch(handle)->commands[i].colour; }
    rect_t quad_rect(u32 handle, u32 i) { return batch(handle)->commands[i].rect; }
    // The text of the i-th text command of a batch.
    std::string text_of(u32 handle, u32 i) {
        batch_t* b = batch(handle);
        u32 seen = 0;
        for (u32 c = 0; c < b->command_count; c++) {
            if (b->commands[c].kind != batch_type_text) continue;
            if (seen++ == i) return std::string((char*)b->text.bytes + b->commands[c].text_offset, b->commands[c].text_length);
        }
        return std::string();
    }
    std::string all_text(u32 handle) {
        std::string all;
        batch_t* b = batch(handle);
        for (u32 c = 0; c < b->command_count; c++) {
            if (b->commands[c].kind != batch_type_text) continue;
            if (!all.empty()) all += '|';
            all += std::string((char*)b->text.bytes + b->commands[c].text_offset, b->commands[c].text_length);
        }
        return all;
    }
};

inline u32 packed(colour_t colour) { return color_pack(colour); }
