// The right side's panels in the real program: an address typed into the add-feed
// panel is downloaded and merged into the store, a refused address shows in the
// log panel, and the help and links panels are drawn.
#include "e2e/e2e_session.h"

namespace {

class PanelsTest : public e2e_test_t {};

// The log panel: its "Auto scroll." box on top, then the text of the channel.
bool log_shown(const image_t& i) { return near_colour(i, 464, 56, 484, 74, 128, 128, 128) > 200; }
int log_text(const image_t& i) { return bright(i, 464, 82, 1270, 715); }

TEST_F(PanelsTest, TypedAddressIsMergedAndARefusedOneShowsInTheLog) {
    site_copy("manton.rss");
    int items = count_of(file_text(site_folder + "/manton.rss"), "<item>");
    ASSERT_GT(items, 2);
    start();

    // A first start shows the add-feed panel and an empty list.
    image_t first = shot("panels_first_start", add_feed_shown);
    EXPECT_TRUE(add_feed_shown(first));
    EXPECT_EQ(list_rows(first), "");

    std::string feed = address("/feed/manton.rss");
    click(place::add_address_x, place::add_address_y);
    type(feed);
    key("Return");
    click(place::idle_x, place::idle_y);
    key("F5");
    image_t listed = shot("panels_feed_listed", [&](const image_t& i) {
        return list_rows(i) == "F" + std::string(items, 'e');
    });
    EXPECT_EQ(list_rows(listed), "F" + std::string(items, 'e'));

    // Nothing failed: the log panel is empty.
    key("F7");
    image_t clean = shot("panels_log_clean", log_shown);
    EXPECT_TRUE(log_shown(clean));
    EXPECT_EQ(log_text(clean), 0);

    // A port that nothing listens on: the failure brings the log panel up by itself.
    std::string refused = "http://127.0.0.1:" + std::to_string(closed_port()) + "/refused.rss";
    key("F2");
    click(place::add_address_x, place::add_address_y);
    key("End shift+Home BackSpace");
    type(refused);
    key("Return");
    click(place::idle_x, place::idle_y);
    image_t failed = shot("panels_log_refused", [](const image_t& i) { return log_shown(i) && log_text(i) > 200; });
    EXPECT_TRUE(log_shown(failed));
    EXPECT_GT(log_text(failed), 200);
    // A refused address makes no feed: the list stays as it was.
    EXPECT_EQ(list_rows(failed), "F" + std::string(items, 'e'));

    // Help and links: their own texts, different from each other.
    key("F1");
    image_t help = shot("panels_help", [](const image_t& i) { return bright(i, 464, 60, 1270, 600) > 5000; });
    key("F3");
    image_t links = shot("panels_links", [&](const image_t& i) {
        return near_colour(i, 548, 408, 1130, 424, 64, 64, 64) > 5000;  // the first target's executable box
    });
    EXPECT_GT(bright(help, 464, 60, 1270, 600), 5000);
    EXPECT_GT(near_colour(links, 548, 408, 1130, 424, 64, 64, 64), 5000);
    EXPECT_GT(changed(help, links, 460, 30, 1280, 700), 50000);

    close();
    // The saved store holds the feed with every entry, and nothing of the refused one.
    std::string listing = store_listing();
    EXPECT_EQ(feeds_of(listing), "feeds:\n  1 " + feed + "\n") << listing;
    EXPECT_EQ(entries_of(listing, 1), items) << listing;
    std::string log = file_text(folder + "/log.txt");
    EXPECT_NE(log.find("Parsing: " + feed), std::string::npos);
    EXPECT_NE(log.find("http_get_file error: " + refused), std::string::npos) ;
}

}  // namespace
