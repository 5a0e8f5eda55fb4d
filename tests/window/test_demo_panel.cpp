// The demonstration panel (-demo) in the real program under Xvfb: its widgets and icons can
// be seen, and clicks and keys sent by xdotool change what is drawn. Each state is
// kept as a PNG in the build folder to be looked at.
#include <gtest/gtest.h>

#include <X11/Xutil.h>
#include <sys/stat.h>

#include <chrono>
#include <cstdlib>
#include <string>
#include <vector>

#include "platform/png.h"
#include "window/x_server_test.h"

namespace {

struct image_t {
    int width = 0, height = 0;
    std::vector<unsigned char> rgba;  // rows top-down
    const unsigned char* at(int x, int y) const { return &rgba[((size_t)y * width + x) * 4]; }
};

// The window's pixels as the X server holds them.
image_t window_grab(Window window) {
    image_t image;
    Display* display = XOpenDisplay(nullptr);
    if (!display) return image;
    XWindowAttributes attributes;
    XGetWindowAttributes(display, window, &attributes);
    XImage* x = XGetImage(display, window, 0, 0, attributes.width, attributes.height, AllPlanes, ZPixmap);
    if (x) {
        image.width = x->width;
        image.height = x->height;
        image.rgba.resize((size_t)image.width * image.height * 4);
        for (int y = 0; y < image.height; y++) {
            for (int column = 0; column < image.width; column++) {
                unsigned long pixel = XGetPixel(x, column, y);
                unsigned char* p = &image.rgba[((size_t)y * image.width + column) * 4];
                p[0] = (unsigned char)((pixel & x->red_mask) >> 16);
                p[1] = (unsigned char)((pixel & x->green_mask) >> 8);
                p[2] = (unsigned char)(pixel & x->blue_mask);
                p[3] = 255;
            }
        }
        XDestroyImage(x);
    }
    XCloseDisplay(display);
    return image;
}

// Grabs until `done` holds for the image or the time runs out (the machine may be
// busy): the last grab either way.
template <typename predicate_t> image_t grab_until(Window window, predicate_t done, double seconds = 20) {
    image_t image;
    auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    do {
        image = window_grab(window);
        if (image.width == 1280 && image.height == 720 && done(image)) break;
        usleep(100000);
    } while (std::chrono::steady_clock::now() < end);
    return image;
}

void image_save(const image_t& image, const std::string& path) {
    png_write(data_from_size(path.size(), path.data()), image.rgba.data(), image.width, image.height, false);
}

// Pixels of a box (top-down coordinates) that differ between two images.
int changed(const image_t& a, const image_t& b, int x0, int y0, int x1, int y1) {
    int count = 0;
    for (int y = y0; y < y1; y++) {
        for (int x = x0; x < x1; x++) count += memcmp(a.at(x, y), b.at(x, y), 3) != 0;
    }
    return count;
}

// Pixels of a box close to a colour.
int near_colour(const image_t& image, int x0, int y0, int x1, int y1, int r, int g, int b) {
    int count = 0;
    for (int y = y0; y < y1; y++) {
        for (int x = x0; x < x1; x++) {
            const unsigned char* p = image.at(x, y);
            count += abs(p[0] - r) < 6 && abs(p[1] - g) < 6 && abs(p[2] - b) < 6;
        }
    }
    return count;
}

// Bright pixels of a box: text and icons drawn in white or light grey.
int bright(const image_t& image, int x0, int y0, int x1, int y1) {
    int count = 0;
    for (int y = y0; y < y1; y++) {
        for (int x = x0; x < x1; x++) {
            const unsigned char* p = image.at(x, y);
            count += p[0] > 170 && p[1] > 170 && p[2] > 170;
        }
    }
    return count;
}

class DemoPanelTest : public x_server_test_t {};

// A press and its release in one frame count only as a release, as for a user who
// is very fast; xdotool's own click is that fast, so a click here holds the button
// over a frame.
const char* const click = "mousedown 1 sleep 0.15 mouseup 1";

void xdotool(Window window, const std::string& arguments) {
    std::string command = "xdotool " + arguments;
    size_t at;
    while ((at = command.find("WINDOW")) != std::string::npos) command.replace(at, 6, std::to_string(window));
    ASSERT_EQ(system(command.c_str()), 0) << command;
    usleep(400000);  // a frame or two
}

// Where the panel puts things, top-down in a 1280 by 720 window.
const int row_top = 10, row_bottom = 36;  // the widgets' row
const int status_top = 42, status_bottom = 64;
const int view_top = 70, view_bottom = 710;  // the text and its bars, x 10 to 1270

TEST_F(DemoPanelTest, WidgetsCanBeSeenAndClicksAndKeysChangeWhatIsDrawn) {
    program_t program = program_start(folder, {"-path", folder + "/store", "-demo"});
    Window window = window_wait();
    ASSERT_NE(window, 0u) << file_text(folder + "/stderr.txt");
    xdotool(window, "windowfocus --sync WINDOW mousemove --window WINDOW 640 400");
    image_t before = grab_until(window, [](const image_t& i) {
        return near_colour(i, 10, row_top, 60, row_bottom, 128, 128, 128) > 200 &&
               near_colour(i, 1254, view_top, 1270, view_bottom, 33, 33, 36) > 2000;
    });
    ASSERT_EQ(before.width, 1280);
    ASSERT_EQ(before.height, 720);
    image_save(before, NEWSLOOM_BINARY_DIR "/demo_panel_before.png");

    // The button: grey fill inside a lighter frame, with its label.
    EXPECT_GT(near_colour(before, 10, row_top, 60, row_bottom, 128, 128, 128), 200);
    EXPECT_GT(near_colour(before, 10, row_top, 60, row_bottom, 191, 191, 191), 30);
    EXPECT_GT(bright(before, 10, row_top, 100, row_bottom), 20);
    // The scroll bar along the right edge of the text: its dark track and the
    // chevrons of its arrows.
    EXPECT_GT(near_colour(before, 1254, view_top, 1270, view_bottom, 33, 33, 36), 2000);
    EXPECT_GT(near_colour(before, 1254, view_top, 1270, view_top + 16, 191, 191, 191), 20);
    EXPECT_GT(near_colour(before, 1254, view_bottom - 16, 1270, view_bottom, 191, 191, 191), 20);
    // Wrapped text shows no horizontal bar.
    EXPECT_LT(near_colour(before, 10, view_bottom - 16, 1250, view_bottom, 33, 33, 36), 100);

    // The button counts a click in the line under the row.
    xdotool(window, "mousemove --window WINDOW 40 23 " + std::string(click));
    image_t clicked = grab_until(window, [&](const image_t& i) {
        return changed(before, i, 10, status_top, 400, status_bottom) > 10;
    });
    EXPECT_GT(changed(before, clicked, 10, status_top, 400, status_bottom), 10);

    // The check box loses its tick and the text its wrap: a horizontal bar appears.
    EXPECT_GT(bright(clicked, 125, row_top + 5, 145, row_bottom - 5), 10);
    xdotool(window, "mousemove --window WINDOW 180 23 " + std::string(click));
    image_t unwrapped = grab_until(window, [](const image_t& i) {
        return near_colour(i, 10, view_bottom - 16, 1250, view_bottom, 33, 33, 36) > 2000;
    });
    image_save(unwrapped, NEWSLOOM_BINARY_DIR "/demo_panel_unwrapped.png");
    EXPECT_LT(bright(unwrapped, 125, row_top + 5, 145, row_bottom - 5), bright(clicked, 125, row_top + 5, 145, row_bottom - 5));
    EXPECT_GT(near_colour(unwrapped, 10, view_bottom - 16, 1250, view_bottom, 33, 33, 36), 2000);

    // Typed text shows in the box and in the line under the row.
    xdotool(window, "mousemove --window WINDOW 560 23 " + std::string(click));
    xdotool(window, "type --delay 20 'Hello feeds'");
    xdotool(window, "key BackSpace key Return");
    image_t typed = grab_until(window, [&](const image_t& i) {
        return changed(unwrapped, i, 10, status_top, 1270, status_bottom) > 50;
    });
    image_save(typed, NEWSLOOM_BINARY_DIR "/demo_panel_typed.png");
    EXPECT_GT(changed(unwrapped, typed, 440, row_top, 690, row_bottom), 50);
    EXPECT_GT(changed(unwrapped, typed, 10, status_top, 1270, status_bottom), 50);

    // The wheel scrolls the text once the text box lets go of the keyboard (a press
    // elsewhere).
    xdotool(window, "mousemove --window WINDOW 640 400 " + std::string(click));
    xdotool(window, "click 5 click 5");
    image_t scrolled = grab_until(window, [&](const image_t& i) {
        return changed(typed, i, 10, view_top, 1250, view_bottom - 16) > 1000;
    });
    EXPECT_GT(changed(typed, scrolled, 10, view_top, 1250, view_bottom - 16), 1000);

    // The drop-down opens over the text, and its list chooses the titles' font.
    xdotool(window, "mousemove --window WINDOW 340 23 " + std::string(click));
    image_t open = grab_until(window, [&](const image_t& i) {
        return changed(scrolled, i, 266, view_top - 30, 426, view_top + 60) > 500;
    });
    image_save(open, NEWSLOOM_BINARY_DIR "/demo_panel_drop_down.png");
    EXPECT_GT(changed(scrolled, open, 266, view_top - 30, 426, view_top + 60), 500);
    xdotool(window, "mousemove --window WINDOW 340 88 " + std::string(click));
    image_t titles = grab_until(window, [&](const image_t& i) {
        return changed(open, i, 10, view_top + 100, 1250, view_bottom - 16) > 1000;
    });
    image_save(titles, NEWSLOOM_BINARY_DIR "/demo_panel_titles.png");
    EXPECT_GT(changed(open, titles, 10, view_top + 100, 1250, view_bottom - 16), 1000);

    ASSERT_TRUE(window_send_close(window));
    ASSERT_TRUE(program_wait(&program, 30)) << "the close button didn't end the program";
    program_kill(&program);
    ASSERT_TRUE(WIFEXITED(program.status));
    EXPECT_EQ(WEXITSTATUS(program.status), 0) << file_text(folder + "/stderr.txt");
}

}  // namespace
