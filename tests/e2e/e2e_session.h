// The fixture of the end-to-end tests: the real program under its own X server, a
// local HTTP server over a folder of copies of the corpus, and what a person does
// with keys, clicks and typing. Each check reads what the program left: the window's
// pixels, the saved store, the main log written at exit, the links it opened.
#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "file_support.h"
#include "log_support.h"
#include "net/feed_server.h"
#include "window/screen.h"
#include "window/x_server_test.h"

// Where the panels put things in the 1280 by 720 window, top-down.
namespace place {
const int list_left = 4, list_right = 430, list_top = 26;
// At 1280 pixels the right strip holds its eight buttons in two rows.
const int right_left = 460, right_top = 50;
const int add_address_x = 840, add_address_y = 111;  // the add-feed panel's boxes
const int add_list_x = 800, add_list_y = 159;
const int links_executable_x = 840, links_executable_y = 416;  // the first link target
const int links_queue_x = 471, links_queue_y = 440;
const int idle_x = 1100, idle_y = 45;  // an empty spot beside the panels' titles
}  // namespace place

// The colours that tell the list's rows apart: F feed, S selected feed, e entry
// (even and odd rows alternate), E selected entry.
struct row_colour_t {
    char code;
    int r, g, b;
};
const row_colour_t list_row_colours[] = {
    {'F', 64, 64, 69}, {'S', 0, 122, 204}, {'e', 89, 89, 89}, {'e', 115, 115, 115}, {'E', 201, 82, 0},
};

struct list_row_t {
    char code;
    int top;
};

// The list's rows as drawn, top to bottom, told apart by the colour in the column
// between a block's edge and its text, which entry rows fill and feed rows leave
// to the block.
inline std::vector<list_row_t> list_scan(const image_t& image) {
    std::vector<list_row_t> rows;
    const int none = -1;
    int run = none, start = 0;
    for (int y = place::list_top; y <= image.height; y++) {
        int colour = none;
        for (int c = 0; y < image.height && c < (int)(sizeof(list_row_colours) / sizeof(list_row_colours[0])); c++) {
            const unsigned char* p = image.at(6, y);
            const row_colour_t& row = list_row_colours[c];
            if (abs(p[0] - row.r) < 4 && abs(p[1] - row.g) < 4 && abs(p[2] - row.b) < 4) colour = c;
        }
        if (colour == run) continue;
        if (run != none && y - start >= 16) rows.push_back({list_row_colours[run].code, start});
        run = colour, start = y;
    }
    return rows;
}

// The rows as a letter each.
inline std::string list_rows(const image_t& image) {
    std::string codes;
    for (const list_row_t& row : list_scan(image)) codes += row.code;
    return codes;
}

// The add-feed panel's text boxes, each a long dark field.
inline bool add_feed_shown(const image_t& i) {
    return near_colour(i, 470, 104, 1100, 119, 64, 64, 64) > 5000 && near_colour(i, 470, 152, 1100, 167, 64, 64, 64) > 5000 &&
           near_colour(i, 470, 200, 1100, 215, 64, 64, 64) > 5000;
}

inline int count_of(const std::string& text, const std::string& part) { return (int)text_count(text, part); }

// Waits for a file to hold `lines` whole lines; gives its text. A link target's
// file is there before its line is written.
inline std::string lines_wait(const std::string& path, int lines, double seconds = 20) {
    std::string text;
    auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    do {
        text = file_text(path);
        if (count_of(text, "\n") >= lines) break;
        usleep(100000);
    } while (std::chrono::steady_clock::now() < end);
    return text;
}

class e2e_test_t : public x_server_test_t {
protected:
    feed_server_t site;
    std::string site_folder, store_folder;
    program_t program;
    Window window = 0;
    int closes = 0;

    void SetUp() override {
        x_server_test_t::SetUp();
        site_folder = folder + "/site";
        store_folder = folder + "/store";
        ASSERT_EQ(mkdir(site_folder.c_str(), 0755), 0);
        ASSERT_TRUE(site.start(site_folder.c_str(), false));
        mkdir(NEWSLOOM_BINARY_DIR "/e2e", 0755);
    }
    void TearDown() override {
        if (HasFailure()) {
            printf("The program's standard error:\n%s\nIts window log:\n%s\n", file_text(folder + "/stderr.txt").c_str(),
                   file_text(folder + "/win32_opengl.log").substr(0, 400).c_str());
        }
        program_kill(&program);
        site.stop();
        x_server_test_t::TearDown();
    }

    // A corpus document served under its own name.
    void site_copy(const std::string& name) {
        ASSERT_EQ(system(("cp '" NEWSLOOM_TEST_DATA "/feeds/" + name + "' '" + site_folder + "/'").c_str()), 0);
    }
    std::string address(const std::string& path) const { return site.address(path.c_str()); }
    // A link target's executable that writes the links of each call as a line to
    // `opened`; gives its path relative to the program's working folder, the test's
    // own: typed whole, the random letters of that folder's name could hold an "h",
    // which toggles "Show empty" even while typing.
    std::string link_script(const std::string& opened) {
        std::string target = folder + "/open_links";
        write_file(target, "#!/bin/sh\necho \"$*\" >> '" + opened + "'\n");
        EXPECT_EQ(chmod(target.c_str(), 0755), 0);
        return "./open_links";
    }
    // The body of a GET on the test's server.
    std::string site_get(const std::string& path) const {
        return command_output("python3 -c 'import sys, urllib.request; "
                              "sys.stdout.write(urllib.request.urlopen(sys.argv[1]).read().decode())' '" +
                              address(path) + "'");
    }
    // Waits until the server has been asked for `path` (a part of a request line).
    bool site_asked(const std::string& path, double seconds = 30) const {
        auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
        do {
            if (site_get("/requests").find(path) != std::string::npos) return true;
            usleep(100000);
        } while (std::chrono::steady_clock::now() < end);
        return false;
    }

    // Starts the program on the test's store folder, with the main log, and waits
    // for its window to take the pointer and the keyboard.
    void start() {
        program = program_start(folder, {"-path", store_folder, "-log", "-gfx_log"});
        window = window_wait();
        ASSERT_NE(window, 0u) << file_text(folder + "/stderr.txt");
        xdotool("windowfocus --sync WINDOW mousemove --window WINDOW " + std::to_string(place::idle_x) + " " +
                std::to_string(place::idle_y));
    }

    // Input to the program's window, each step taken in a frame of its own
    // (window/x_server.h says how).
    void xdotool(const std::string& arguments) { ASSERT_TRUE(program_input(program, window, arguments)) << arguments; }
    void key(const std::string& keys) { ASSERT_TRUE(program_keys(program, window, keys)) << keys; }
    void click(int x, int y) { ASSERT_TRUE(program_click(program, window, x, y)); }
    void type(const std::string& text) { ASSERT_TRUE(program_type(program, window, text)) << text; }

    // Grabs the window until `done` holds (or the time runs out) and keeps it as
    // e2e/NAME.png in the build folder.
    template <typename predicate_t> image_t shot(const std::string& name, predicate_t done, double seconds = 30) {
        image_t image = grab_until(window, done, seconds);
        image_save(image, NEWSLOOM_BINARY_DIR "/e2e/" + name + ".png");
        return image;
    }
    image_t shot(const std::string& name) {
        return shot(name, [](const image_t&) { return true; });
    }

    // The close button, and the program's end with status 0.
    void close() {
        ASSERT_TRUE(window_send_close(window));
        expect_clean_exit(&program, 60);
        // The main log of each run stays beside the screenshots.
        const testing::TestInfo* test = testing::UnitTest::GetInstance()->current_test_info();
        closes += 1;
        system(("cp '" + folder + "/log.txt' '" NEWSLOOM_BINARY_DIR "/e2e/" + test->name() + "_log_" +
                std::to_string(closes) + ".txt'").c_str());
    }

    // The newest store file of the folder as the tool lists it; empty if none.
    std::string store_listing() {
        std::string newest = command_output("ls -d '" + store_folder + "'/feed_data_*.bin 2>/dev/null | tail -n 1");
        if (newest.empty()) return "";
        newest.pop_back();
        return command_output("'" NEWSLOOM_BINARY_DIR "/newsloom-tool' store '" + newest + "' 2>&1");
    }

    // Saves with F8 until the saved store satisfies `done`: the reader's state as
    // the program holds it, with nothing guessed from the screen.
    template <typename predicate_t> std::string save_until(predicate_t done, double seconds = 60) {
        std::string listing;
        auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
        do {
            key("F8");
            listing = store_listing();
            if (done(listing)) break;
            usleep(700000);
        } while (std::chrono::steady_clock::now() < end);
        return listing;
    }
};

// A feed whose first entry reads like an article: a heading, paragraphs, a link and
// a picture of one flat colour, served by the test's own server; then entries with
// plain links, and one whose picture isn't there.
inline std::string picture_feed(const feed_server_t& site) {
    auto at = [&](const char* path) { return site.address(path); };
    std::string feed = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<rss version=\"2.0\"><channel>"
                       "<title>Pictures</title><link>" + at("/page/") + "</link>\n";
    auto item = [&](const std::string& title, const std::string& link, const std::string& date, const std::string& html) {
        feed += "<item><title>" + title + "</title><link>" + link + "</link><guid>" + link + "</guid><pubDate>" + date +
                "</pubDate><description><![CDATA[" + html + "]]></description></item>\n";
    };
    item("A picture", at("/page/one"), "Tue, 03 Mar 2026 10:00:00 GMT",
         "<h1>A heading</h1><p>A first paragraph, with <a href=\"" + at("/page/linked") +
             "\">a link in it</a>.</p><p><img src=\"" + at("/feed/picture.png") +
             "\" alt=\"flat\"></p><p>A last paragraph under the picture.</p>");
    item("Second", at("/page/two"), "Mon, 02 Mar 2026 10:00:00 GMT", "<p>Two.</p>");
    item("Third", at("/page/three"), "Sun, 01 Mar 2026 10:00:00 GMT", "<p>Three.</p>");
    item("Missing picture", at("/page/four"), "Sat, 28 Feb 2026 10:00:00 GMT",
         "<p>Its picture is missing:</p><p><img src=\"" + at("/feed/missing.png") + "\"></p>");
    return feed + "</channel></rss>\n";
}

// The colour of the served picture, seen nowhere else in the window.
const unsigned char picture_colour[3] = {230, 0, 200};

inline bool picture_write(const std::string& path, int width, int height) {
    std::vector<unsigned char> pixels((size_t)width * height * 4);
    for (size_t i = 0; i < pixels.size(); i += 4) {
        pixels[i] = picture_colour[0], pixels[i + 1] = picture_colour[1], pixels[i + 2] = picture_colour[2];
        pixels[i + 3] = 255;
    }
    return png_write(data_from_size(path.size(), path.data()), pixels.data(), width, height, false);
}

inline int picture_pixels(const image_t& image) {
    return near_colour(image, place::right_left, place::right_top, 1270, 715, picture_colour[0], picture_colour[1],
                       picture_colour[2]);
}

// The id that a listing gives the feed of an address, or 0.
inline int feed_id(const std::string& listing, const std::string& address) {
    size_t at = listing.find(" " + address + "\n");
    if (at == std::string::npos) return 0;
    size_t line = listing.rfind('\n', at);
    return atoi(listing.c_str() + line + 1);
}

// Entries of a feed in a store listing.
inline int entries_of(const std::string& listing, int feed) {
    std::string row = "feed : " + std::to_string(feed) + " entry : ";
    int count = 0;
    for (size_t at = listing.find(row); at != std::string::npos; at = listing.find(row, at + 1)) {
        count += at == 0 || listing[at - 1] == '\n';
    }
    return count;
}

// The feeds' ids in the listing's order, which is the list's.
inline std::vector<int> feed_ids(const std::string& listing) {
    std::vector<int> ids;
    size_t at = listing.find("feeds:\n");
    if (at == std::string::npos) return ids;
    for (at += 7; listing.compare(at, 2, "  ") == 0; at = listing.find('\n', at) + 1) {
        ids.push_back(atoi(listing.c_str() + at));
    }
    return ids;
}

// The listing's feed rows ("  1 http://..."), in order.
inline std::string feeds_of(const std::string& listing) {
    size_t begin = listing.find("feeds:\n"), end = listing.find("count: ");
    return begin == std::string::npos || end == std::string::npos ? "" : listing.substr(begin, end - begin);
}
