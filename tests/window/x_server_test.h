// The fixture of the tests that run the program under their own X server.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <chrono>

#include "window/x_server.h"

// A test suite with its own X server, a fresh folder per test, and a wait for the
// program's window.
class x_server_test_t : public testing::Test {
protected:
    static inline x_server_t server;
    std::string folder;

    static void SetUpTestSuite() { ASSERT_TRUE(x_server_start(&server)); }
    static void TearDownTestSuite() { x_server_stop(&server); }
    void SetUp() override {
        ASSERT_GT(server.pid, 0);
        char pattern[] = "/tmp/newsloom_window_XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        folder = pattern;
    }
    void TearDown() override { ASSERT_EQ(system(("rm -rf '" + folder + "'").c_str()), 0); }

    // By the clock, not by a count of tries: on a loaded machine both the program's
    // start and each look for its window take longer.
    Window window_wait(double seconds = 60) {
        auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
        do {
            Window window = window_find("Newsloom - 0.3");
            if (window) return window;
            usleep(20000);
        } while (std::chrono::steady_clock::now() < end);
        return 0;
    }

    // The program ends within the time, by itself, with status 0; one that doesn't
    // is killed.
    void expect_clean_exit(program_t* program, double seconds = 30) {
        bool ended = program_wait(program, seconds);
        program_kill(program);
        ASSERT_TRUE(ended) << "the program didn't end";
        ASSERT_TRUE(WIFEXITED(program->status)) << "ended by a signal";
        EXPECT_EQ(WEXITSTATUS(program->status), 0) << file_text(folder + "/stderr.txt");
    }
    void close_cleanly(program_t* program, Window window) {
        ASSERT_TRUE(window_send_close(window));
        expect_clean_exit(program);
    }
};
