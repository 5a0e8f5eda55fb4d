// The program started headless and driven frame by frame through the
// demonstration panel: clicks and typing reach its widgets and change what the
// batches hold.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <string>

#include "app/startup.h"

namespace {

class DemoFrames : public testing::Test {
protected:
    static inline program_t program;
    std::string folder, path_argument;

    void SetUp() override {
        char pattern[] = "/tmp/newsloom_demo_frames_XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        folder = pattern;
        path_argument = folder + "/store";
        char* argv[] = {(char*)"newsloom", (char*)"-path", path_argument.data(), nullptr};
        program_options_t options = {1, 1280, 720};
        ASSERT_TRUE(program_start(&program, 3, argv, &options));
    }
    void TearDown() override {
        program_shutdown(&program);
        ASSERT_EQ(system(("rm -rf '" + folder + "'").c_str()), 0);
    }
    // One frame with what the test wrote into the window since the last one.
    void frame() {
        frame_run(&program.loop);
        input_frame_begin(&program.window);
    }
    // Mouse at x and y counted from the window's top, as a user sees it.
    void click(i32 x, i32 top) {
        i32 y = program.window.height - 1 - top;
        program.window.mouse_x = x, program.window.mouse_y = y;
        input_button(&program.window, key_mouse_left, true, x, y, 0, 1);
        frame();
        input_button(&program.window, key_mouse_left, false, x, y, 0, 2);
        frame();
    }
    std::string drawn_text() {
        batch_t* b = gl_batch(&program.render, program.draw.text[draw_layer_normal]);
        std::string all;
        for (u32 i = 0; i < b->command_count; i++) {
            if (b->commands[i].kind != batch_type_text) continue;
            all += std::string((char*)b->text.bytes + b->commands[i].text_offset, b->commands[i].text_length) + "|";
        }
        return all;
    }
};

TEST_F(DemoFrames, ClicksAndTypingChangeWhatIsDrawn) {
    frame();
    EXPECT_NE(drawn_text().find("Clicks: 0"), std::string::npos) << drawn_text();
    click(40, 23);  // the button
    click(40, 23);
    EXPECT_NE(drawn_text().find("Clicks: 2"), std::string::npos) << drawn_text();
    click(127, 23);  // the check box
    EXPECT_NE(drawn_text().find("Not wrapped"), std::string::npos) << drawn_text();
    EXPECT_EQ(program.demo.wrap, 0u);
    click(500, 23);  // the text box
    input_text(&program.window, 'h');
    input_text(&program.window, 'i');
    frame();
    EXPECT_NE(drawn_text().find("Typed: hi"), std::string::npos) << drawn_text();
    // The cursor over the text box is the I-beam.
    EXPECT_EQ(program.window.cursor_current, program.window.cursors[window_cursor_ibeam]);
}

}  // namespace
