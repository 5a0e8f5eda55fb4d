// The program's start as main runs it, without a display, over the store files a
// user's folder may hold.
#include <gtest/gtest.h>
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "app/startup.h"
#include "base/log.h"
#include "file_support.h"
#include "log_support.h"
#include "views/panel_draw.h"

static program_t start_program;  // far too large for the stack

// A damaged newest file: the older file is loaded, the damaged one kept aside, and
// the log panel opens on a paragraph that names both, which standard error says
// too (which files are kept and loaded, the store folder's tests say).
TEST(Start, ADamagedNewestStoreOpensTheLogPanelOnAParagraph) {
    char pattern[] = "/tmp/newsloom_start_XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    std::string folder = pattern;
    std::string store = folder + "/store";
    char* argv[] = {(char*)"newsloom", (char*)"-path", store.data(), nullptr};
    program_options_t options = {1, 640, 480};

    // A first run leaves a good store file behind.
    ASSERT_TRUE(program_start(&start_program, 3, argv, &options));
    EXPECT_NE(start_program.panel.right_panel, panel_right_log);
    // What the loading thread makes besides the store is there once the first
    // frame has run.
    frame_run(&start_program.loop);
    EXPECT_NE(http_session, nullptr);
    EXPECT_GT(start_program.app.desktop_path.used, 0u);
    program_shutdown(&start_program);

    std::string damaged = store + "/feed_data_29990101_000000.bin";
    FILE* f = fopen(damaged.c_str(), "wb");
    ASSERT_NE(f, nullptr);
    fputs("feed", f);
    fclose(f);
    u8* mark = log_test_mark(log_user);
    std::string error_path = folder + "/stderr.txt";
    fflush(stderr);
    int saved_error = dup(2), error_file = open(error_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    ASSERT_GE(error_file, 0);
    dup2(error_file, 2);
    bool started = program_start(&start_program, 3, argv, &options);
    fflush(stderr);
    dup2(saved_error, 2);
    close(saved_error);
    close(error_file);
    ASSERT_TRUE(started);
    EXPECT_EQ(start_program.panel.right_panel, panel_right_log);
    std::string said = log_test_since(log_user, mark);
    const std::string paragraph = "The store file " + damaged + " is damaged: it is cut short. It is kept as " +
                                  damaged + ".damaged.\nNewsloom started from the older store file " + store;
    EXPECT_NE(said.find(paragraph), std::string::npos) << said;
    EXPECT_NE(file_bytes(error_path).find(paragraph), std::string::npos) << file_bytes(error_path);
    program_shutdown(&start_program);
    ASSERT_EQ(system(("rm -rf '" + folder + "'").c_str()), 0);
}

// An icon strip that got no memory, or whose texture the driver refuses: the
// renderer comes up without icons and the log panel says so once.
TEST(Start, IconsWithoutATextureAreLeftOutAndSaidOnce) {
    static font_set_t fonts;  // only its address is kept
    window_t window = {};
    window_create_stub(&window, 640, 480);
    renderer_t render;
    draw_t draw;
    atlas_t icons = {nullptr, 20, 10, nullptr, 1};
    u8* mark = log_test_mark(log_user);
    frame_render_create(&render, &draw, &window, &fonts, &icons);
    panel_pictures_attach(nullptr);
    EXPECT_EQ(gl_batch(&render, draw.icons[0])->texture, 0u);
    EXPECT_EQ(render.textures_created, 0u);
    std::string said = log_test_since(log_user, mark);
    EXPECT_EQ(said.find("icons could not be made"), said.rfind("icons could not be made")) << said;
    EXPECT_NE(said.find("icons could not be made"), std::string::npos) << said;
}

