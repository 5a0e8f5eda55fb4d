// Reading an entry in the real program: its HTML laid out with a heading, a link
// and a picture that shows its placeholder until the download is done; the link
// handed to the feed's link target at a click; a missing picture's error in red.
#include "e2e/e2e_session.h"

namespace {

class EntryTest : public e2e_test_t {};

// The entry's body, under its head, and the pixels there of a hue: text is smoothed,
// so its colour is told by its channels' order, not by exact values.
const int body_top = 114, body_bottom = 715;
template <typename hue_t> std::vector<std::pair<int, int>> hue_pixels(const image_t& image, hue_t hue) {
    std::vector<std::pair<int, int>> found;
    for (int y = body_top; y < body_bottom && !image.rgba.empty(); y++) {
        for (int x = place::right_left; x < 1270; x++) {
            const unsigned char* p = image.at(x, y);
            if (hue(p[0], p[1], p[2])) found.push_back({x, y});
        }
    }
    return found;
}
bool link_hue(int r, int g, int b) { return r > 150 && g > 60 && g < 150 && b < 80 && r - g > 60; }
bool error_hue(int r, int g, int b) { return r > 120 && g < 60 && b < 60; }
int body_text(const image_t& i) { return bright(i, place::right_left, body_top, 1270, body_bottom); }

TEST_F(EntryTest, PictureReplacesItsPlaceholderAndTheLinkGoesToTheTarget) {
    write_file(site_folder + "/pictures.rss", picture_feed(site));
    ASSERT_TRUE(picture_write(site_folder + "/picture.png", 160, 120));
    std::string opened = folder + "/opened.txt", target = link_script(opened);

    start();
    click(place::add_address_x, place::add_address_y);
    type(address("/feed/pictures.rss"));
    key("Return");
    click(place::idle_x, place::idle_y);
    shot("entry_listed", [](const image_t& i) { return list_rows(i) == "Feeee"; });
    key("F3");
    click(place::links_executable_x, place::links_executable_y);
    type(target);
    click(place::idle_x, place::idle_y);

    // The first entry: heading, paragraphs and the link, and the picture's
    // placeholder for as long as the server holds the picture back.
    site_get("/hold");
    key("Down");
    ASSERT_TRUE(site_asked("/feed/picture.png"));
    image_t placeholder = shot("entry_picture_loading", [](const image_t& i) {
        return body_text(i) > 500 && hue_pixels(i, link_hue).size() > 20;
    });
    EXPECT_GT(body_text(placeholder), 500);
    EXPECT_EQ(picture_pixels(placeholder), 0);
    site_get("/release");
    image_t picture = shot("entry_picture", [](const image_t& i) { return picture_pixels(i) >= 160 * 120; });
    EXPECT_EQ(picture_pixels(picture), 160 * 120);
    // The placeholder's text is gone where the picture came.
    EXPECT_GT(changed(placeholder, picture, place::right_left, 120, 1270, 715), 160 * 120);

    // A click on the link hands its address to the target.
    std::vector<std::pair<int, int>> link = hue_pixels(picture, link_hue);
    ASSERT_GT(link.size(), 20u);
    click(link[link.size() / 2].first, link[link.size() / 2].second);
    EXPECT_EQ(lines_wait(opened, 1), address("/page/linked") + "\n");

    // A picture that isn't there says so in red.
    key("Down Down Down");
    image_t missing = shot("entry_picture_missing", [](const image_t& i) { return hue_pixels(i, error_hue).size() > 100; });
    EXPECT_GT(hue_pixels(missing, error_hue).size(), 100u);
    close();
}

}  // namespace
