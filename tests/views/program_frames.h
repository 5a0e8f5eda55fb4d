// The program started headless in a temporary store folder and driven frame by
// frame through the real input path; the view tests derive their fixtures from it.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "app/startup.h"
#include "base/text.h"
#include "file_support.h"
#include "finished_download.h"
#include "net/block_storage.h"
#include "store/feed_merge.h"
#include "views/view_list.h"

class ProgramFrames : public testing::Test {
protected:
    static inline program_t program;
    std::string folder, path_argument;

    // Starts the program without a window at the given size; no frame runs yet.
    void start(i32 width, i32 height) {
        char pattern[] = "/tmp/newsloom_frames_XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        folder = pattern;
        path_argument = folder + "/store";
        char* argv[] = {(char*)"newsloom", (char*)"-path", path_argument.data(), nullptr};
        program_options_t options = {1, width, height};
        ASSERT_TRUE(program_start(&program, 3, argv, &options));
    }
    void TearDown() override {
        program_shutdown(&program);
        ASSERT_EQ(system(("rm -rf '" + folder + "'").c_str()), 0);
    }
    void frame() {
        frame_run(&program.loop);
        input_frame_begin(&program.window);
    }
    // A document merged as its feed's first update merges it, or null.
    feed_t* merge(std::string document, const std::string& address) {
        u32 error = 0;
        feed_t* feed = reader_merge_document(&program.app.scratch, &program.reader,
                                             data_from_size(document.size(), document.data()),
                                             data_from_size(address.size(), address.data()), nullptr, &error);
        if (feed) {
            reader_ensure_meta(&program.reader, feed);
            reader_sort_feed(&program.reader, feed);
        }
        data_clear(&program.app.scratch);
        return feed;
    }
    // Corpus documents merged as feeds of their own, in a run whose generation the
    // list shows, with the selection's panel on the right.
    void merge_corpus(std::initializer_list<const char*> names, feed_t** feeds) {
        for (const char* name : names) {
            *feeds = merge(read_test_file(name), std::string("http://example.test/") + name);
            ASSERT_NE(*feeds++, nullptr) << name;
        }
        program.panel.generation_min = program.panel.generation_max = program.reader.generation;
        program.panel.right_panel = panel_right_selection;
    }
    // The feed's entry at `index` in slot order, or null.
    entry_t* entry_of(feed_t* feed, u32 index = 0) {
        for (u32 i = 0; i < program.reader.entries.max_entry_count; i++) {
            entry_t* e = (entry_t*)pool_at(&program.reader.entries, sizeof(entry_t), i);
            if (entry_is_alive(e) && e->feed_id == feed->id && index-- == 0) return e;
        }
        return nullptr;
    }
    static query_t* finished_download(u32 slot, const std::string& address, u32 feed_id,
                                      const std::string& document) {
        return ::finished_download(&program, slot, address, feed_id, document);
    }
    // Merges the document as a feed of its own and shows its first entry in a frame.
    entry_t* show(const std::string& document, const std::string& address) {
        feed_t* feed = merge(document, address);
        EXPECT_NE(feed, nullptr) << address;
        if (!feed) return nullptr;
        program.panel.selected_feed = feed;
        program.panel.selected_entry = entry_of(feed);
        program.panel.right_panel = panel_right_selection;
        panel_reset(&program.app);
        frame();
        return program.panel.selected_entry;
    }
    // The mouse moves to the point in one frame and goes down in the next; up in
    // a frame of its own.
    void press(i32 x, i32 y) {
        program.window.mouse_x = x, program.window.mouse_y = y;
        frame();
        input_button(&program.window, key_mouse_left, true, x, y, 0, 1);
        frame();
    }
    void release(i32 x, i32 y) {
        input_button(&program.window, key_mouse_left, false, x, y, 0, 2);
        frame();
    }
    void click_at(i32 x, i32 y) {
        press(x, y);
        release(x, y);
    }
    // The last frame's first text command that starts with `text`, or null: the
    // normal layer first, then the overlay where open lists draw.
    const batch_command_t* drawn_starting(const std::string& text) {
        for (u32 layer : {(u32)draw_layer_normal, (u32)draw_layer_overlay}) {
            batch_t* b = gl_batch(&program.render, program.draw.text[layer]);
            for (u32 i = 0; i < b->command_count; i++) {
                const batch_command_t* c = &b->commands[i];
                if (c->kind != batch_type_text) continue;
                if (std::string((char*)b->text.bytes + c->text_offset, c->text_length).rfind(text, 0) == 0) return c;
            }
        }
        return nullptr;
    }
    // Down and up within one frame, as a quick press comes.
    void tap(u32 key) {
        input_key(&program.window, key, true, 0, 0, 1);
        input_key(&program.window, key, false, 0, 0, 2);
        frame();
    }
    // The texts the last frame drew on the normal layer, as the renderer ran them.
    static std::string text_of(const render_record_t* r) { return std::string((char*)r->text.bytes, r->text.used); }
    std::vector<const render_record_t*> texts_drawn() {
        std::vector<const render_record_t*> all;
        for (u32 i = 0; i < program.render.record_count; i++) {
            const render_record_t* r = &render_records(&program.render)[i];
            if (r->kind == batch_type_text && r->batch == program.draw.text[draw_layer_normal]) all.push_back(r);
        }
        return all;
    }
    const render_record_t* drawn(const std::string& text) {
        for (const render_record_t* r : texts_drawn()) {
            if (text_of(r) == text) return r;
        }
        return nullptr;
    }
    std::string drawn_text() {
        std::string all;
        for (const render_record_t* r : texts_drawn()) all += text_of(r) + "|";
        return all;
    }
};
