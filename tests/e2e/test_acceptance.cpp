// A person's day with Newsloom, from the first start on an empty folder to the
// close and back: adding feeds by hand and by a list, updating, reading an entry
// with a picture, opening and queueing links through a link target that records
// what it is given, deleting and restoring, saving, closing, starting again, and a
// termination signal in the middle of an update. Screenshots of the main steps stay
// in the build folder's e2e/ as day_*.png.
#include <signal.h>
#include <string.h>
#include <sys/stat.h>

#include "e2e/e2e_session.h"

namespace {

class AcceptanceTest : public e2e_test_t {};

// The listing without its first line, which names the generation and the size of
// the strings.
std::string listing_body(const std::string& listing) {
    size_t line = listing.find('\n');
    return line == std::string::npos ? "" : listing.substr(line);
}

// The rows of the open filter drop-down: "Feeds", "Deleted", "Both".
int filter_item_y(int item) { return 37 + 18 * item; }

// The left panel, where the list is drawn. Glyphs made in another order may be
// smoothed a shade differently.
int list_changed(const image_t& a, const image_t& b) { return changed(a, b, 0, place::list_top, 452, 720, 24); }

// True when every feed row in sight starts with the same label, "Updating… ",
// where `before` showed the feeds' own titles. The last row may be cut by the
// list's lower edge, and its clipped glyphs are sampled a shade differently: it
// isn't judged. Which feed lands there depends on the order the first downloads
// came back in.
bool feeds_updating(const image_t& image, const image_t& before) {
    std::vector<list_row_t> rows = list_scan(image), feeds;
    for (size_t i = 0; i + 1 < rows.size(); i++) {
        if (rows[i].code == 'F') feeds.push_back(rows[i]);
    }
    if (feeds.size() < 2) return false;
    const int left = 8, right = 90, top = 3, bottom = 17;  // the label's box within a row
    for (const list_row_t& feed : feeds) {
        if (changed(image, before, left, feed.top + top, right, feed.top + bottom) == 0) return false;
        for (int y = top; y < bottom; y++) {
            if (memcmp(image.at(left, feed.top + y), image.at(left, feeds[0].top + y), (right - left) * 4) != 0) {
                return false;
            }
        }
    }
    return true;
}

TEST_F(AcceptanceTest, APersonsDayFromFirstStartToCloseAndBack) {
    // The site: a feed with a picture, and ten copies of corpus documents.
    write_file(site_folder + "/pictures.rss", picture_feed(site));
    ASSERT_TRUE(picture_write(site_folder + "/picture.png", 160, 120));
    const char* const documents[10] = {"489.rss",      "EMarley.rss",   "manton.rss",   "qemu.atom",
                                       "theomnishow.rss", "stand_ins.rss", "zones.rss", "atom_reading.atom",
                                       "rss_markup.rss", "offsets.atom"};
    std::string list, typed = address("/feed/pictures.rss");
    std::map<std::string, int> expected = {{typed, 4}};
    for (int i = 0; i < 10; i++) {
        site_copy(documents[i]);
        std::string copy = address(("/copy/" + std::to_string(i) + "/" + documents[i]).c_str());
        list += copy + "\n";
        std::string text = file_text(site_folder + "/" + documents[i]);
        expected[copy] = count_of(text, "<item>") + count_of(text, "<item ") + count_of(text, "<entry>") + count_of(text, "<entry ");
    }
    write_file(folder + "/list.txt", list);
    // The link target: a script that writes the links it is given, one call a line.
    std::string opened = folder + "/opened.txt", target = link_script(opened);

    // First start on an empty folder: the add-feed panel and an empty list.
    start();
    image_t first = shot("day_1_first_start", add_feed_shown);
    ASSERT_TRUE(add_feed_shown(first));
    EXPECT_EQ(list_rows(first), "");

    // One address typed, a list of ten by its path, then an update of all.
    click(place::add_address_x, place::add_address_y);
    type(typed);
    key("Return");
    // Relative to the program's working folder, the test's own, whose name's
    // random letters, typed, could toggle "Show empty" (H acts while typing).
    click(place::add_list_x, place::add_list_y);
    type("list.txt");
    key("Return");
    click(place::idle_x, place::idle_y);

    // Adding downloads at once: saved until every feed holds every entry.
    auto complete = [&](const std::string& listing) {
        for (const auto& [feed, entries] : expected) {
            int id = feed_id(listing, feed);
            if (!id || entries_of(listing, id) != entries) return false;
        }
        return true;
    };
    std::string updated = save_until(complete);
    for (const auto& [feed, entries] : expected) {
        EXPECT_EQ(entries_of(updated, feed_id(updated, feed)), entries) << feed;
    }
    ASSERT_TRUE(complete(updated)) << updated.substr(0, 3000);
    image_t listed = shot("day_2_listed", [](const image_t& i) { return list_rows(i).size() > 20; });
    EXPECT_EQ(list_rows(listed).find_first_not_of("Fe"), std::string::npos) << list_rows(listed);

    // F5 while the server holds its answers back: each feed says it is updating;
    // once the answers come, the list is as it was and nothing is lost.
    site_get("/hold");
    key("F5");
    image_t updating = shot("day_2_updating", [&](const image_t& i) { return feeds_updating(i, listed); });
    EXPECT_TRUE(feeds_updating(updating, listed));
    EXPECT_EQ(list_rows(updating), list_rows(listed));
    site_get("/release");
    image_t updated_list = shot("day_2_updated", [&](const image_t& i) { return list_changed(listed, i) == 0; });
    EXPECT_EQ(list_changed(listed, updated_list), 0);
    updated = save_until(complete);
    ASSERT_TRUE(complete(updated)) << updated.substr(0, 3000);

    // The feeds' order in the list is the store's: the picture feed is found by
    // stepping from feed to feed.
    std::vector<int> ids = feed_ids(updated);
    int pictures = feed_id(updated, typed);
    size_t rank = std::find(ids.begin(), ids.end(), pictures) - ids.begin();
    ASSERT_LT(rank, ids.size()) << updated;

    // The link target records what it's given.
    key("F3");
    click(place::links_executable_x, place::links_executable_y);
    type(target);
    click(place::idle_x, place::idle_y);

    // Down selects the first feed's first entry, each PageDown the next feed's.
    key("Down");
    for (size_t i = 0; i < rank; i++) key("Next");
    image_t selected = shot("day_3_entry_selected", [](const image_t& i) { return list_rows(i).find('E') != std::string::npos; });
    EXPECT_NE(list_rows(selected).find('E'), std::string::npos) << list_rows(selected);

    // Return opens the entry's link through the target.
    key("Return");
    std::string links = lines_wait(opened, 1);
    EXPECT_EQ(links, address("/page/one") + "\n");

    // Queued links wait for F4, which opens them in one call.
    key("F3");
    click(place::links_queue_x, place::links_queue_y);
    click(place::idle_x, place::idle_y);
    key("Down Return Down Return");
    usleep(500000);
    EXPECT_EQ(file_text(opened), links) << "a queued link was opened at once";
    shot("day_5_two_queued");
    key("F4");
    links = lines_wait(opened, 2);
    EXPECT_EQ(links, address("/page/one") + "\n" + address("/page/two") + " " + address("/page/three") + "\n");

    // Delete the selected entry (the third). Then, from no selection, step to the
    // first feed alone (the second when the first is the picture feed) and delete
    // it with its entries: the selection goes to the next feed's first entry.
    key("Delete");
    key("e shift+Next");
    if (rank == 0) key("shift+Next");
    shot("day_6_feed_selected");
    key("shift+Delete");
    shot("day_7_feed_deleted");

    // Under "Both" the deleted feed shows again, just before the selected one's
    // feed; Shift+Backspace restores it with its entries. Then back to "Feeds".
    click(405, 13);
    shot("day_8_filter_open");
    click(405, filter_item_y(2));
    key("shift+Prior shift+Prior");
    shot("day_9_deleted_feed_selected");
    key("shift+BackSpace");
    click(405, 13);
    click(405, filter_item_y(0));
    shot("day_10_feed_restored");

    // F8 saves: the deleted entry is still in the store, marked; a link queued now
    // is opened when the window closes.
    key("F8");
    std::string saved = store_listing();
    EXPECT_EQ(listing_body(saved), listing_body(updated));
    key("Up Return");
    // Without a selection and scrolled to the top, for the next start to compare.
    key("e");
    xdotool("mousemove --window WINDOW 200 300 click --repeat 20 4");
    image_t before_close = shot("day_11_before_close");
    close();
    links = lines_wait(opened, 3);
    EXPECT_EQ(count_of(links, "\n"), 3) << links;

    // The store as closed: every feed kept, the deleted entry gone for good, the
    // deleted feed back with all its entries.
    std::string closed = store_listing();
    EXPECT_EQ(feeds_of(closed), feeds_of(updated));
    for (const auto& [feed, entries] : expected) {
        int id = feed_id(closed, feed);
        EXPECT_EQ(entries_of(closed, id), entries - (id == pictures)) << feed;
    }

    // Start again: the same generation shows the same list; the target still
    // queues into the same program, and the queue emptied at the close.
    start();
    image_t again = shot("day_12_second_start", [&](const image_t& i) { return list_changed(before_close, i) == 0; });
    EXPECT_EQ(list_changed(before_close, again), 0);
    key("Down Return F4");
    links = lines_wait(opened, 4);
    EXPECT_EQ(count_of(links, "\n"), 4) << links;
    EXPECT_EQ(count_of(links.substr(links.rfind('\n', links.size() - 2)), " "), 0) << links;
    close();
    std::string second = store_listing();
    EXPECT_EQ(listing_body(second), listing_body(closed));

    // A termination signal while an update waits on the server: the program ends
    // as by the close button, and the store is readable with everything it had.
    site_get("/delay/4000");
    start();
    std::string requests = site_get("/requests");
    key("F5");
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (site_get("/requests").size() <= requests.size() + 30 &&
           std::chrono::steady_clock::now() < deadline) {
        usleep(100000);
    }
    shot("day_13_updating");
    ASSERT_EQ(kill(program.pid, SIGTERM), 0);
    ASSERT_TRUE(program_wait(&program, 60)) << "the signal didn't end the program";
    ASSERT_TRUE(WIFEXITED(program.status));
    EXPECT_EQ(WEXITSTATUS(program.status), 0) << file_text(folder + "/stderr.txt");
    std::string after = store_listing();
    EXPECT_EQ(after.rfind("generation: ", 0), 0u) << after;
    EXPECT_EQ(listing_body(after), listing_body(closed));
}

}  // namespace
