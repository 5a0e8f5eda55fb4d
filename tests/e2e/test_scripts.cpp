// Text in other scripts in the real program: a Chinese feed in gb2312 shows its
// titles in the list and an entry's text on the right in glyphs of an installed
// face that covers them, with no character left to U+FFFD.
#include "e2e/e2e_session.h"
#include "platform/fonts.h"

namespace {

class ScriptsTest : public e2e_test_t {};

TEST_F(ScriptsTest, AChineseFeedShowsInTheGlyphsOfACoveringFace) {
    char path[4096];
    u32 index = 0;
    if (!font_file_covering(0x4E2D, path, sizeof(path), &index)) {
        GTEST_SKIP() << "no installed face covers Chinese (fonts-wqy-microhei or fonts-noto-cjk)";
    }
    site_copy("kc0011.rss");
    start();
    click(place::add_address_x, place::add_address_y);
    type(address("/feed/kc0011.rss"));
    key("Return");
    click(place::idle_x, place::idle_y);
    key("F5");
    auto listed = [](const image_t& i) {
        std::string rows = list_rows(i);
        return rows.size() > 10 && rows[0] == 'F';
    };
    image_t titles = shot("scripts_chinese_titles", listed);
    ASSERT_TRUE(listed(titles));
    EXPECT_GT(bright(titles, place::list_left, place::list_top, place::list_right, 300), 2000);

    std::vector<list_row_t> rows = list_scan(titles);
    click(200, rows[1].top + 8);
    auto entry_shown = [](const image_t& i) { return bright(i, place::right_left, 60, 1270, 700) > 3000; };
    image_t entry = shot("scripts_chinese_entry", entry_shown);
    EXPECT_TRUE(entry_shown(entry));

    close();
    std::string log = file_text(folder + "/log.txt");
    EXPECT_NE(log.find("Parsing: "), std::string::npos);
    EXPECT_EQ(log.find("No installed font"), std::string::npos);
}

}  // namespace
