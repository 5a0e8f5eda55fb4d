// The program under a real X server: its first frame draws the window's strip
// and panel, keys and clicks reach window_t, the close button and Alt+F4 end it
// cleanly, and a context that can't be made is a clean exit with a message.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "window/screen.h"
#include "window/x_server_test.h"

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wall"
#pragma GCC diagnostic ignored "-Wextra"
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"
#define STB_IMAGE_STATIC
#define STB_IMAGE_IMPLEMENTATION
#include <stb/stb_image.h>
#pragma GCC diagnostic pop

namespace {

// Each test suite has its own X server; the window tests share one.
class WindowTest : public x_server_test_t {};

// Text drawn in white, in a box of rows top-down.
int white_pixels(const unsigned char* pixels, int width, int x0, int y0, int x1, int y1) {
    int count = 0;
    for (int y = y0; y < y1; y++) {
        for (int x = x0; x < x1; x++) {
            const unsigned char* p = pixels + ((size_t)y * width + x) * 4;
            count += p[0] > 220 && p[1] > 220 && p[2] > 220;
        }
    }
    return count;
}

TEST_F(WindowTest, FirstFrameInputAndCloseButton) {
    std::string png = NEWSLOOM_BINARY_DIR "/window_first_frame.png";
    unlink(png.c_str());
    program_t program = program_start(folder, {"-path", folder + "/store", "-log", "-first_frame_png", png});
    ASSERT_TRUE(file_wait(png, 60)) << file_text(folder + "/stderr.txt");
    Window window = window_wait();
    ASSERT_NE(window, 0u);

    // The first frame: the background colour, the right side's strip of buttons at
    // the top, and the add feed panel's title and lines under it.
    int width = 0, height = 0, channels = 0;
    unsigned char* pixels = stbi_load(png.c_str(), &width, &height, &channels, 4);
    ASSERT_NE(pixels, nullptr);
    EXPECT_EQ(width, 1280);
    EXPECT_EQ(height, 720);
    const unsigned char* corner = pixels + ((size_t)(height - 1) * width + (width - 1)) * 4;
    EXPECT_NEAR(corner[0], 46, 1);
    EXPECT_NEAR(corner[1], 46, 1);
    EXPECT_NEAR(corner[2], 48, 1);
    EXPECT_GT(white_pixels(pixels, width, 460, 0, 1280, 26), 20);
    EXPECT_GT(white_pixels(pixels, width, 460, 30, 860, 70), 20);
    stbi_image_free(pixels);

    // Input: a click at (100, 100) from the top is (100, 619) with y up.
    ASSERT_EQ(system(("xdotool windowfocus --sync " + std::to_string(window)).c_str()), 0);
    ASSERT_EQ(system(("xdotool mousemove --window " + std::to_string(window) + " 100 100 click 1").c_str()), 0);
    ASSERT_EQ(system("xdotool type ab && xdotool key F5 && xdotool click 4"), 0);
    usleep(300000);
    close_cleanly(&program, window);

    // The shutdown saved the (empty) store.
    EXPECT_NE(command_output("ls '" + folder + "/store'").find("feed_data_"), std::string::npos);

    std::string log = file_text(folder + "/log.txt");
    EXPECT_NE(log.find("\nFrame start: 0\n"), std::string::npos);
    const char* expected[] = {
        "Input: button 1 down at 100, 619\n",
        "Input: button 1 up at 100, 619\n",
        "Input: key 53 down\n",  // A
        "Input: key 54 up\n",    // B
        "Input: key 103 down\n",  // F5
        "Input: wheel 1\n",
    };
    for (const char* line : expected) EXPECT_NE(log.find(line), std::string::npos) << line << "\n" << log;
    // The typed text, in one frame or spread over several.
    std::string typed;
    for (size_t at = log.find("Input: text "); at != std::string::npos; at = log.find("Input: text ", at + 1)) {
        size_t first = at + 12;
        typed += log.substr(first, log.find('\n', first) - first);
    }
    EXPECT_EQ(typed, "ab") << log;
}

// Frames show only what changed, so the window's own pixels must come back whole
// when the window system loses them: uncovered, it shows the frame it showed
// before, and after a resize the whole of its new size.
TEST_F(WindowTest, AWindowUncoveredOrResizedShowsItsWholeFrame) {
    program_t program = program_start(folder, {"-path", folder + "/store", "-gfx_log"});
    Window window = window_wait();
    ASSERT_NE(window, 0u);
    ASSERT_TRUE(program_settle(program));
    image_t before = grab_until(window, [](const image_t& image) { return bright(image, 460, 0, 1280, 26) > 20; });
    ASSERT_GT(bright(before, 460, 0, 1280, 26), 20);
    std::string id = std::to_string(window);
    // A white window over it for a moment: what it covered comes back by an expose.
    Display* display = XOpenDisplay(nullptr);
    ASSERT_NE(display, nullptr);
    Window cover = XCreateSimpleWindow(display, DefaultRootWindow(display), 0, 0, 1280, 720, 0, 0,
                                       WhitePixel(display, DefaultScreen(display)));
    XSetWindowAttributes attributes = {};
    attributes.override_redirect = True;
    XChangeWindowAttributes(display, cover, CWOverrideRedirect, &attributes);
    XMapRaised(display, cover);
    XSync(display, False);
    usleep(200000);
    XDestroyWindow(display, cover);
    XCloseDisplay(display);
    ASSERT_TRUE(program_settle(program));
    image_t again = grab_until(window, [&](const image_t& image) { return changed(image, before, 0, 0, 1280, 720) == 0; });
    EXPECT_EQ(changed(again, before, 0, 0, 1280, 720), 0);

    // The renderer takes a new size once the window has had the focus.
    ASSERT_EQ(system(("xdotool windowfocus --sync " + id + " windowsize --sync " + id + " 1000 600").c_str()), 0);
    ASSERT_TRUE(program_settle(program));
    image_t resized;
    for (int i = 0; i < 100; i++) {
        resized = window_grab(window);
        if (resized.width == 1000 && near_colour(resized, 900, 500, 1000, 600, 46, 46, 48) == 100 * 100) break;
        usleep(100000);
    }
    ASSERT_EQ(resized.width, 1000);
    EXPECT_EQ(near_colour(resized, 900, 500, 1000, 600, 46, 46, 48), 100 * 100);
    EXPECT_GT(bright(resized, 460, 0, 1000, 26), 20);
    close_cleanly(&program, window);
    std::string gfx = file_text(folder + "/win32_opengl.log");
    EXPECT_NE(gfx.find("Frames are shown by copying what changed.\n"), std::string::npos) << gfx;
}

TEST_F(WindowTest, AltF4EndsTheProgramAndGfxLogIsWritten) {
    program_t program = program_start(folder, {"-path", folder + "/store", "-gfx_log"});
    Window window = window_wait();
    ASSERT_NE(window, 0u);
    ASSERT_EQ(system(("xdotool windowfocus --sync " + std::to_string(window) + " key alt+F4").c_str()), 0);
    expect_clean_exit(&program);
    std::string gfx = file_text(folder + "/win32_opengl.log");
    EXPECT_NE(gfx.find("\nActual context\nGL_VERSION: "), std::string::npos) << gfx;
    EXPECT_NE(gfx.find("GL_CONTEXT_PROFILE_MASK: GL_CONTEXT_CORE_PROFILE_BIT\n"), std::string::npos);
    EXPECT_NE(gfx.find("GL_CONTEXT_FLAG_DEBUG_BIT"), std::string::npos);
}

TEST_F(WindowTest, ContextFailuresEndCleanlyWithTheirMessage) {
    struct case_t {
        const char* environment;
        const char* message;
    } cases[] = {
        {"MESA_GL_VERSION_OVERRIDE=3.0", "Failed to create an advanced render context.\n"},
        {"MESA_EXTENSION_OVERRIDE=-GL_ARB_debug_output -GL_KHR_debug", "Missing OpenGL extension: "},
        {"DISPLAY=:9999", "Failed to create a default OpenGL context\n"},
    };
    for (const case_t& c : cases) {
        // The GL driver keeps a few allocations after a context it refused.
        program_t program =
            program_start(folder, {"-path", folder + "/store", "-gfx_log"}, {c.environment, "ASAN_OPTIONS=detect_leaks=0"});
        SCOPED_TRACE(c.environment);
        expect_clean_exit(&program, 60);
        EXPECT_NE(file_text(folder + "/stderr.txt").find(c.message), std::string::npos) << c.environment;
        EXPECT_NE(file_text(folder + "/win32_opengl.log").find(c.message), std::string::npos) << c.environment;
    }
}

TEST_F(WindowTest, NoFontsAtAllIsAWindowWithoutText) {
    std::string config = folder + "/fonts.conf";
    write_file(config, "<?xml version=\"1.0\"?>\n<fontconfig></fontconfig>\n");
    std::string png = folder + "/first.png";
    program_t program = program_start(folder, {"-path", folder + "/store", "-log", "-first_frame_png", png},
                                      {"FONTCONFIG_FILE=" + config});
    ASSERT_TRUE(file_wait(png, 60)) << file_text(folder + "/stderr.txt");
    Window window = window_wait();
    ASSERT_NE(window, 0u);
    int width = 0, height = 0, channels = 0;
    unsigned char* pixels = stbi_load(png.c_str(), &width, &height, &channels, 4);
    ASSERT_NE(pixels, nullptr);
    EXPECT_EQ(white_pixels(pixels, width, 0, 40, 1280, 70), 0);  // the line of text under the widgets
    stbi_image_free(pixels);
    close_cleanly(&program, window);
    EXPECT_NE(file_text(folder + "/log.txt").find("No font file for Verdana\n"), std::string::npos);
}

}  // namespace
