// The demonstration panel (-demo) in the real program under Xvfb: its widgets and icons can
// be seen, and a click on the button and on the drop-down change what is drawn. Each state is
// kept as a PNG in the build folder to be looked at.
#include <gtest/gtest.h>

#include <string>

#include "window/screen.h"
#include "window/x_server_test.h"

namespace {

class DemoPanelTest : public x_server_test_t {};

// Where the panel puts things, top-down in a 1280 by 720 window.
const int row_top = 10, row_bottom = 36;  // the widgets' row
const int status_top = 42, status_bottom = 64;
const int view_top = 70, view_bottom = 710;  // the text and its bars, x 10 to 1270

TEST_F(DemoPanelTest, WidgetsCanBeSeenAndClicksChangeWhatIsDrawn) {
    program_t program = program_start(folder, {"-path", folder + "/store", "-demo"});
    Window window = window_wait();
    ASSERT_NE(window, 0u) << file_text(folder + "/stderr.txt");
    program_input(program, window, "windowfocus --sync WINDOW mousemove --window WINDOW 640 400");
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
    program_click(program, window, 40, 23);
    image_t clicked = grab_until(window, [&](const image_t& i) {
        return changed(before, i, 10, status_top, 400, status_bottom) > 10;
    });
    EXPECT_GT(changed(before, clicked, 10, status_top, 400, status_bottom), 10);

    // The drop-down's list opens over the text, on the overlay drawn last. What
    // the widgets do with clicks, keys and the wheel, their own tests say.
    program_click(program, window, 340, 23);
    image_t open = grab_until(window, [&](const image_t& i) {
        return changed(clicked, i, 266, view_top - 30, 426, view_top + 60) > 500;
    });
    image_save(open, NEWSLOOM_BINARY_DIR "/demo_panel_drop_down.png");
    EXPECT_GT(changed(clicked, open, 266, view_top - 30, 426, view_top + 60), 500);

    close_cleanly(&program, window);
}

}  // namespace
