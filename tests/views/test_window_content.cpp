// The program started headless and driven frame by frame: the right strip's
// buttons and keys, the panel switch, and the add feed panel's requests, read from
// what the renderer's stub recorded as drawn.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "views/program_frames.h"
#include "app/update.h"
#include "base/log.h"
#include "base/text.h"
#include "layout/layout.h"
#include "ui/ui_core.h"
#include "file_support.h"
#include "log_support.h"
#include "views/link_recorder.h"
#include "views/links.h"

namespace {

class WindowFrames : public ProgramFrames {
protected:
    void SetUp() override {
        start(1280, 720);
        frame();
    }
    void click_text(const std::string& text) {
        const render_record_t* c = drawn(text);
        ASSERT_NE(c, nullptr) << text << " in " << drawn_text();
        click_at((i32)c->x + 4, (i32)c->y + 2);
    }
    // A box of the add feed panel, below the line that says what goes in it, ready
    // for typing.
    void focus_box_under(const char* line) {
        program.panel.right_panel = panel_right_add_feed;
        frame();
        const render_record_t* c = drawn(line);
        ASSERT_NE(c, nullptr) << drawn_text();
        click_at((i32)c->x + 40, (i32)c->y - 16);
    }
    void focus_address_box() { focus_box_under("URL to a RSS feed, Atom feed or youtube channel."); }
    void enter() {
        input_key(&program.window, key_return, true, 0, 0, 1);
        input_text(&program.window, 13);
        frame();
        input_key(&program.window, key_return, false, 0, 0, 2);
        frame();
    }
    // A few characters a frame, as a person types.
    void type(const char* text) {
        for (const char* p = text; *p; p++) {
            input_text(&program.window, (u8)*p);
            if ((p - text) % 8 == 7) frame();
        }
        frame();
    }
    u32 queries_used() {
        u32 used = 0;
        for (auto& q : program.queries) used += q.address.used != 0;
        return used;
    }
};

TEST_F(WindowFrames, AFirstRunStartsAtAddFeedWithTheStripDrawn) {
    EXPECT_EQ(program.panel.right_panel, panel_right_add_feed);
    // The frame began cleared to black, and nothing was lost on the way.
    const render_record_t* first = render_records(&program.render);
    ASSERT_GT(program.render.record_count, 2u);
    EXPECT_EQ(first[1].kind, (u32)render_command_clear);
    EXPECT_EQ(first[1].colour, color_pack(colour_black));
    EXPECT_EQ(program.render.records_dropped, 0u);
    // At the window's first size every label stands whole in the right side, and
    // the panel begins below the lowest of them.
    const render_record_t* title = drawn("Add feed");
    ASSERT_NE(title, nullptr) << drawn_text();
    const font_t* font = ui_font(program.app.ui, 1);
    for (const char* label : {"Help (F1)", "Add feed (F2)", "Links (F3)", "Open queued links (F4) (0)",
                              "Update all (F5)", "Update selected (F6)", "Log (F7)", "Save (F8)"}) {
        const render_record_t* r = drawn(label);
        ASSERT_NE(r, nullptr) << label << " in " << drawn_text();
        f32 width = layout_get_single_line_size(font, (const u8*)label, strlen(label), codepoint_invalid).width;
        EXPECT_GE(r->x, 456) << label;
        EXPECT_LE(r->x + width, 1278) << label;
        EXPECT_GE(r->y, title->y + font->size) << label;
    }
    program.panel.right_panel = panel_right_selection;
    frame();
    EXPECT_NE(drawn_text().find("Set the generation to the minimun <S>."), std::string::npos);

    // With -demo the widgets' panel takes the window instead; its check box takes
    // the long text from lines cut to the view to one line a paragraph, with a
    // blank line between: half as many lines show.
    data_t memory = data_allocate(0x100000);
    demo_panel_init(&program.demo, &memory);
    program.loop.demo = &program.demo;
    auto text_lines = [&]() {
        f32 status_y = 1e9f;  // the line that says what the widgets did
        for (const render_record_t* r : texts_drawn()) {
            if (text_of(r).rfind("Clicks: ", 0) == 0) status_y = r->y;
        }
        int lines = 0;
        for (const render_record_t* r : texts_drawn()) lines += r->y < status_y;
        return lines;
    };
    frame();
    int wrapped = text_lines();
    click_text("Wrap the text");
    int unwrapped = text_lines();
    program.loop.demo = nullptr;
    data_free(&memory);
    EXPECT_GT(unwrapped, 10);
    EXPECT_GT(wrapped, unwrapped * 3 / 2);
}

TEST_F(WindowFrames, EachKeyActsAlsoWhileTypingInABox) {
    struct {
        u32 key;
        u32 panel;
    } cases[] = {{key_f1, panel_right_help}, {key_f3, panel_right_links}, {key_f7, panel_right_log},
                 {key_f2, panel_right_add_feed}, {key_f8, panel_right_log}};
    for (bool typing : {false, true}) {
        for (auto& c : cases) {
            if (typing) {
                focus_address_box();
                type("ab");
            } else {
                program.panel.right_panel = panel_right_selection;
            }
            tap(c.key);
            EXPECT_EQ(program.panel.right_panel, c.panel) << c.key << (typing ? " while typing" : "");
        }
    }
    // F5 starts the update from a box too.
    focus_address_box();
    type("http://exa");
    u32 generation = program.reader.generation;
    tap(key_f5);
    EXPECT_EQ(program.reader.generation, generation + 1);
}

// A save compacts the pools and moves every string while the entry view still
// shows an entry: after it, the same entry shows, found at its new slot and read
// from its moved text, and the list, in the renumbered generations, walks on from it.
TEST_F(WindowFrames, ASaveInMidRunKeepsTheShownEntry) {
    feed_t* gone = merge("<rss version=\"2.0\"><channel><title>gone</title><item><title>G</title>"
                         "</item></channel></rss>",
                         "http://gone.test/");
    // Two generations on, the first of them empty: the save numbers them anew.
    generation_advance(&program.app, &program.reader);
    generation_advance(&program.app, &program.reader);
    feed_t* kept = merge("<rss version=\"2.0\"><channel><title>kept</title>"
                         "<item><title>One</title><pubDate>Mon, 02 Jun 2003 04:00:00 GMT</pubDate>"
                         "<description>&lt;p&gt;Body of One&lt;/p&gt;</description></item>"
                         "<item><title>Two</title><pubDate>Tue, 03 Jun 2003 04:00:00 GMT</pubDate>"
                         "<description>&lt;p&gt;Body of Two&lt;/p&gt;</description></item>"
                         "<item><title>Three</title><pubDate>Wed, 04 Jun 2003 04:00:00 GMT</pubDate>"
                         "<description>&lt;p&gt;Body of Three&lt;/p&gt;</description></item>"
                         "</channel></rss>",
                         "http://kept.test/");
    ASSERT_NE(gone, nullptr);
    ASSERT_NE(kept, nullptr);
    entry_t* first = entry_of(kept, 0);
    entry_t* second = entry_of(kept, 1);
    ASSERT_NE(second, nullptr);
    std::string title((char*)second->rss.title.bytes, second->rss.title.used);
    auto body_of = [](const entry_t* e) {
        return "Body of " + std::string((char*)e->rss.title.bytes, e->rss.title.used);
    };
    std::string body = body_of(second), first_body = body_of(first);
    // The records before the selection go, so that the save moves it down.
    reader_remove_entry(&program.reader, first, kept);
    reader_remove_feed(&program.reader, gone);
    program.panel.selected_feed = kept;
    program.panel.selected_entry = second;
    program.panel.right_panel = panel_right_selection;
    panel_reset(&program.app);
    frame();
    ASSERT_NE(drawn(body), nullptr) << drawn_text();

    click_text("Save (F8)");
    frame();
    EXPECT_EQ(program.panel.right_panel, panel_right_selection);  // the button saves where it is
    ASSERT_NE(program.panel.selected_entry, nullptr);
    ASSERT_NE(program.panel.selected_feed, nullptr);
    EXPECT_TRUE(entry_is_alive(program.panel.selected_entry));
    EXPECT_EQ(program.panel.selected_entry->feed_id, program.panel.selected_feed->id);
    const entry_t* now = program.panel.selected_entry;
    EXPECT_EQ(std::string((char*)now->rss.title.bytes, now->rss.title.used), title);
    data_t address = program.panel.selected_feed->address;
    EXPECT_EQ(std::string((char*)address.bytes, address.used), "http://kept.test/");
    EXPECT_NE(drawn(body), nullptr) << drawn_text();
    EXPECT_EQ(drawn(first_body), nullptr) << drawn_text();
    EXPECT_NE(drawn("kept"), nullptr) << "the list lost its range: " << drawn_text();

    // By key, to the log from its left edge and back by the list, in the feed's
    // order: the entry still shows whole.
    program.panel.log_scroll.x = 30;
    tap(key_f8);
    EXPECT_EQ(program.panel.right_panel, panel_right_log);
    EXPECT_EQ(program.panel.log_scroll.x, 0);
    tap(key_down);
    tap(key_up);
    EXPECT_EQ(program.panel.right_panel, panel_right_selection);
    EXPECT_EQ(program.panel.selected_entry, now);
    EXPECT_NE(drawn(body), nullptr) << drawn_text();
}

// A save between the run's first request and its first entry: the run's
// generation has no entry yet, so the renumbering alone would hand its number to
// the last run, and what the update still brings would join that one.
TEST_F(WindowFrames, ASaveBeforeTheRunsFirstEntryKeepsItsGeneration) {
    const char* documents[] = {"<rss version=\"2.0\"><channel><title>a</title><item><title>A</title></item>"
                               "</channel></rss>",
                               "<rss version=\"2.0\"><channel><title>b</title><item><title>B</title></item>"
                               "</channel></rss>",
                               "<rss version=\"2.0\"><channel><title>c</title><item><title>C</title></item>"
                               "</channel></rss>"};
    // Two earlier runs, then this one's first request.
    generation_advance(&program.app, &program.reader);
    ASSERT_NE(merge(documents[0], "http://a.test/"), nullptr);
    generation_advance(&program.app, &program.reader);
    ASSERT_NE(merge(documents[1], "http://b.test/"), nullptr);
    program.app.start_generation = program.reader.generation;
    generation_advance(&program.app, &program.reader);
    frame();
    click_text("Save (F8)");
    u32 run = program.reader.generation;
    EXPECT_NE(program.app.start_generation, run) << "the next request would advance again";
    EXPECT_EQ(program.panel.generation_max, run);
    feed_t* late = merge(documents[2], "http://c.test/");
    ASSERT_NE(late, nullptr);
    feed_t* earlier = reader_find_feed_by_address(&program.reader, data_literal("http://b.test/"));
    ASSERT_NE(earlier, nullptr);
    EXPECT_GT(entry_of(late)->generation, entry_of(earlier)->generation);
    EXPECT_EQ(entry_of(late)->generation, run);
}

// An update in flight names its feed by an id that the save renumbers: its
// document still merges into that feed, and one for a feed removed meanwhile
// into none, though another feed now has the removed one's id.
TEST_F(WindowFrames, UpdatesInFlightOverASaveMergeIntoTheirOwnFeeds) {
    auto document = [](const std::string& title, const std::string& items) {
        return "<rss version=\"2.0\"><channel><title>" + title + "</title>" + items + "</channel></rss>";
    };
    std::vector<feed_t*> feeds;
    for (const char* name : {"a", "b", "c"}) {
        feeds.push_back(merge(document(name, "<item><title>old</title></item>"), std::string("http://") + name + ".test/"));
        ASSERT_NE(feeds.back(), nullptr);
    }
    // In flight: c's update, and a's, whose feed goes before the save. Each will
    // bring an item of its own.
    struct flight_t {
        u32 feed_id;
        std::string address;
    } flights[] = {{feeds[2]->id, "http://c.test/"}, {feeds[0]->id, "http://a.test/"}};
    for (u32 i = 0; i < 2; i++) {
        std::string text = document("x", "<item><title>old</title></item><item><title>new " +
                                             flights[i].address + "</title></item>");
        finished_download(i, flights[i].address, flights[i].feed_id, text)->state = query_state_queued;
    }
    reader_remove_feed(&program.reader, feeds[0]);
    click_text("Save (F8)");
    // The documents come in.
    for (u32 i = 0; i < 2; i++) program.queries[i].state = query_state_finished;
    frame();
    for (u32 i = 0; i < 2; i++) EXPECT_EQ(program.queries[i].state, query_state_free);
    auto titles = [&](const char* address) {
        feed_t* feed = reader_find_feed_by_address(&program.reader, data_from_size(strlen(address), address));
        std::string all;
        for (u32 i = 0; feed && entry_of(feed, i); i++) {
            data_t title = entry_of(feed, i)->rss.title;
            all += std::string((char*)title.bytes, title.used) + "|";
        }
        return all;
    };
    EXPECT_EQ(titles("http://a.test/"), "");
    EXPECT_EQ(titles("http://b.test/"), "old|");
    std::string c = titles("http://c.test/");
    EXPECT_NE(c.find("new http://c.test/"), std::string::npos) << c;
    EXPECT_EQ(c.find("a.test"), std::string::npos) << c;
}

TEST_F(WindowFrames, EnterInTheFirstBoxQueuesTheAddress) {
    focus_address_box();
    // Blanks queue nothing, but the update's generation still begins.
    u32 generation = program.reader.generation;
    type("   ");
    enter();
    EXPECT_EQ(queries_used(), 0u);
    EXPECT_EQ(program.reader.generation, generation + 1);
    program.panel.add_feed_address.used = 0;
    type("http://127.0.0.1:1/feed.xml");
    EXPECT_EQ(queries_used(), 0u);
    // The window gives Return as a key and as the character 13.
    input_key(&program.window, key_return, true, 0, 0, 1);
    input_text(&program.window, 13);
    frame();
    EXPECT_EQ(std::string((char*)program.panel.add_feed_address.bytes, program.panel.add_feed_address.used),
              "http://127.0.0.1:1/feed.xml");
    EXPECT_EQ(queries_used(), 1u);
    input_key(&program.window, key_return, false, 0, 0, 2);
    frame();
}

TEST_F(WindowFrames, EnterInTheListPathReadsTheFileOfAddresses) {
    const char* line = "Path to a text file containing a list of URLs to RSS feed, Atom feed or youtube channel.";
    // A list that can't be read is one line in the log panel.
    u8* mark = log_test_mark(log_user);
    focus_box_under(line);
    type((folder + "/missing.txt").c_str());
    enter();
    std::string log = log_test_since(log_user, mark);
    EXPECT_NE(log.find("Could not read the list of feeds " + folder + "/missing.txt: No such file"),
              std::string::npos) << log;

    std::string list = folder + "/feeds.txt";
    std::ofstream(list) << "http://127.0.0.1:1/a.xml\n\n  http://127.0.0.1:1/b.xml\n";
    program.panel.add_feed_list_path.used = 0;
    focus_box_under(line);
    type(list.c_str());
    input_key(&program.window, key_return, true, 0, 0, 1);
    input_text(&program.window, 13);
    frame();
    EXPECT_EQ(queries_used(), 2u);
    input_key(&program.window, key_return, false, 0, 0, 2);
    frame();
}

TEST_F(WindowFrames, ExportWithAnEmptyPathWritesListTxtOnTheDesktop) {
    std::string desktop = folder + "/Desktop";
    ASSERT_EQ(mkdir(desktop.c_str(), 0700), 0);
    // Far more addresses than a page holds, all written, in the order they came.
    std::string expected;
    for (int i = 0; i < 60; i++) {
        std::string address = "http://127.0.0.1:1/" + std::string(300, 'a' + i % 26) + std::to_string(i) + ".xml";
        ASSERT_NE(merge("<rss><channel><title>t</title></channel></rss>", address), nullptr);
        expected += address + "\n";
    }
    data_t saved = program.app.desktop_path;
    program.app.desktop_path = data_from_size(desktop.size(), desktop.c_str());
    focus_box_under("Path to a text file to export a list of URLs from the feed added in the application.");
    enter();  // does nothing in this box
    EXPECT_NE(access((desktop + "/list.txt").c_str(), F_OK), 0);
    click_text("Export");
    program.app.desktop_path = saved;
    EXPECT_EQ(file_bytes(desktop + "/list.txt"), expected);
    EXPECT_EQ(program.panel.add_feed_export_path.used, 0u);
    // A path that can't be written is one line in the log panel, and the box keeps it.
    u8* mark = log_test_mark(log_user);
    std::string blocked = desktop + "/list.txt/inside.txt";
    data_push_c_string(&program.panel.add_feed_export_path, blocked.c_str());
    click_text("Export");
    std::string log = log_test_since(log_user, mark);
    size_t line = log.find("Could not write the list of feeds to " + blocked + ": ");
    EXPECT_NE(line, std::string::npos) << log;
    EXPECT_EQ(log.find('\n', line), log.size() - 1) << log;
    EXPECT_EQ(program.panel.add_feed_export_path.used, blocked.size());
}

// The links panel and the F4 label count the queued links; X removes one and
// "Remove all" takes the rows away in the frame of the click. A name is cut to its
// box's 128 bytes once typed in, and a longer one read from a file stays whole
// while it is only shown.
TEST_F(WindowFrames, TheLinksPanelListsAQueueRemovesLinksAndCapsAName) {
    link_target_t* target = &program.reader.link_targets[0];
    std::string long_name(200, 'f'), long_executable(1500, 'e');
    link_target_t* read = &program.reader.link_targets[1];
    read->name = data_from_size(long_name.size(), long_name.data());
    read->executable = data_from_size(long_executable.size(), long_executable.data());
    target->queue_enabled = 1;
    link_queue_append(target, data_literal("http://a.example/1"));
    link_queue_append(target, data_literal("http://a.example/2"));
    tap(key_f3);
    frame();
    EXPECT_NE(drawn("2 queued links"), nullptr) << drawn_text();
    EXPECT_NE(drawn("Open queued links (F4) (2)"), nullptr) << drawn_text();
    EXPECT_NE(drawn("http://a.example/2"), nullptr) << drawn_text();
    click_text("X");
    EXPECT_EQ(std::string((char*)target->queue.bytes, target->queue.used), "http://a.example/2");
    // A link wider than its row is cut before the row's buttons and ends in an ellipsis.
    std::string long_link = "http://a.example/" + std::string(400, 'l');
    link_queue_append(target, data_from_size(long_link.size(), long_link.data()));
    frame();
    ASSERT_NE(drawn("\xE2\x80\xA6"), nullptr) << drawn_text();
    size_t shown = drawn_text().find("http://a.example/lll");
    ASSERT_NE(shown, std::string::npos);
    size_t cut = drawn_text().find('|', shown) - shown;
    EXPECT_GT(cut, 40u);
    EXPECT_LT(cut, long_link.size());

    for (int i = 0; i < 58; i++) link_queue_append(target, data_literal("http://a.example/row"));
    frame();
    EXPECT_NE(drawn("60 queued links"), nullptr) << drawn_text();
    click_text("Remove all");
    EXPECT_EQ(link_queue_count(target), 0u);
    EXPECT_NE(drawn("0 queued links"), nullptr) << drawn_text();
    EXPECT_EQ(drawn_text().find("a.example"), std::string::npos);

    const render_record_t* name = drawn("Name:");
    ASSERT_NE(name, nullptr);
    click_at((i32)name->x + 150, (i32)name->y + 2);
    type(std::string(200, 'n').c_str());
    EXPECT_GE(target->name.used, 100u);
    EXPECT_LE(target->name.used, 128u);
    EXPECT_EQ(read->name.used, long_name.size());
    EXPECT_EQ(read->executable.used, long_executable.size());
    target->name = data_t{};
    *read = link_target_t{};
    target->queue_enabled = 0;
}

// F4 and the window's closing open the queue of a queueing target (which
// targets open, the link queue's own tests say).
TEST_F(WindowFrames, F4AndClosingOpenTheQueues) {
    link_recorder_t recorder;
    recorder.create(folder);
    link_target_t* on = &program.reader.link_targets[1];
    on->executable = data_from_size(recorder.script.size(), recorder.script.c_str());
    on->queue_enabled = 1;
    link_queue_append(on, data_literal("http://a/1"));
    tap(key_f4);
    EXPECT_EQ(recorder.recorded(), "http://a/1\n");
    link_queue_append(on, data_literal("http://a/2"));
    program.window.quit_requested = 1;
    frame();
    EXPECT_EQ(on->queue.used, 0u);
    EXPECT_EQ(recorder.recorded(), "http://a/2\n");
    on->executable = data_t{};
    on->queue_enabled = 0;
    program.window.quit_requested = 0;
    program.window.running = 1;
}

// The log panel shows the user's channel; auto scroll holds it at its end, and a
// line wider than the panel scrolls sideways as far as its end and no further.
TEST_F(WindowFrames, TheLogPanelShowsTheUserChannelAndScrolls) {
    for (int i = 0; i < 300; i++) log_write_c_string(log_user, "A line of the log panel to scroll past.\n");
    log_paragraph_start(log_user);
    log_write_c_string(log_user, "Error while retrieving feed: a test line\n");
    tap(key_f7);
    frame();
    EXPECT_EQ(program.panel.log_scroll.y, 0);  // off at start
    EXPECT_NE(drawn("Auto scroll."), nullptr);
    program.panel.log_auto_scroll = 1;
    frame();
    f32 end = program.panel.log_scroll.y;
    EXPECT_GT(end, 1000);
    EXPECT_NE(drawn_text().find("a test line"), std::string::npos) << drawn_text();
    program.panel.log_scroll.y = 0;  // as a drag of the bar would
    frame();
    EXPECT_EQ(program.panel.log_scroll.y, end);
    program.panel.log_auto_scroll = 0;

    // Longer than any line the tests before may have left.
    log_write_c_string(log_user, (std::string(4000, 'w') + "<end\n").c_str());
    program.panel.log_scroll.y = 1e6f;
    program.panel.log_scroll.x = 1e6f;
    frame();
    end = program.panel.log_scroll.x;
    EXPECT_GT(end, 1000);
    EXPECT_LT(end, 1e5f);
    EXPECT_NE(drawn_text().find("<end"), std::string::npos);
    program.panel.log_scroll.x = 0;
    frame();
    EXPECT_EQ(drawn_text().find("<end"), std::string::npos);
}

// The help is laid out again when its side changes width, and only then.
TEST_F(WindowFrames, TheHelpFollowsTheSplit) {
    program.panel.right_panel = panel_right_help;
    frame();
    const render_record_t* title = drawn("Help");
    ASSERT_NE(title, nullptr) << drawn_text();
    f32 x = title->x;
    auto drag = [&](i32 from, i32 to) {
        press(from, 400);
        program.window.mouse_x = to;
        frame();
        release(to, 400);
    };
    drag(454, 554);
    ASSERT_NE(drawn("Help"), nullptr);
    EXPECT_EQ(drawn("Help")->x, x + 100);
    drag(554, 454);
    EXPECT_EQ(drawn("Help")->x, x);
}

// A long log is laid out a view at a time: its lines keep their places whatever
// part of it shows, and its end can be reached.
TEST_F(WindowFrames, ALongLogKeepsItsLinesInPlaceAtAnyScroll) {
    char line[64];
    for (int i = 0; i < 50000; i++) {
        snprintf(line, sizeof(line), "Log line %06d of a long run\n", i);
        log_write_c_string(log_user, line);
    }
    tap(key_f7);
    program.panel.log_scroll.y = 1e9f;
    frame();
    f32 end = program.panel.log_scroll.y;
    EXPECT_LT(end, 1e9f);
    EXPECT_NE(drawn("Log line 049999 of a long run"), nullptr);
    const font_t* font = ui_font(program.app.ui, 3);
    f32 pitch = (f32)(font->ascent - font->descent) * font->scale + (f32)font->line_gap * font->scale;
    // The lines in fixed pitch as drawn, with their pens.
    auto log_lines = [&] {
        std::vector<std::pair<std::string, f32>> lines;
        for (u32 i = 0; i < program.render.record_count; i++) {
            const render_record_t* r = &render_records(&program.render)[i];
            if (r->kind == batch_type_text && r->font == 3) lines.push_back({text_of(r), r->y});
        }
        return lines;
    };
    // From the top, where the view holds the text as it starts, and from the middle.
    for (f32 from : {0.0f, floorf(end / 2)}) {
        program.panel.log_scroll.y = from;
        frame();
        auto before = log_lines();
        program.panel.log_scroll.y = from + 5 * pitch;
        frame();
        auto after = log_lines();
        ASSERT_GT(before.size(), 20u);
        u32 found = 0;
        for (auto& b : before) {
            for (auto& a : after) found += a.first == b.first && fabsf(a.second - (b.second + 5 * pitch)) < 0.01f;
        }
        // All but the five that left the view, and one cut at its edge.
        EXPECT_GE(found, before.size() - 6) << from;
    }
    program.panel.log_scroll = {};
}

// The wheel moves the links panel, whose end shows its last target, whose box takes
// what is typed.
TEST_F(WindowFrames, TheLinksPanelScrollsToItsLastTargetWhoseBoxTakesTyping) {
    tap(key_f3);
    program.window.mouse_x = 900, program.window.mouse_y = 300;
    program.window.wheel = -1;
    frame();
    EXPECT_GT(program.panel.links_scroll.y, 20);
    // To the end, as the bar's track takes it (the bar's own tests say how).
    program.panel.links_scroll.y = 1e6f;
    frame();
    f32 scrolled = program.panel.links_scroll.y;
    EXPECT_GT(scrolled, 900);
    EXPECT_LT(scrolled, 1e6f);
    // The lowest "Executable:" box is the last target's.
    const render_record_t* label = nullptr;
    for (const render_record_t* r : texts_drawn()) {
        if (text_of(r) == "Executable:" && (!label || r->y < label->y)) label = r;
    }
    ASSERT_NE(label, nullptr) << drawn_text();
    click_at((i32)label->x + 300, (i32)label->y + 2);
    type("firefox");
    EXPECT_EQ(program.panel.links_scroll.y, scrolled);
    u32 typed = 0;
    for (u32 i = 0; i < reader_link_target_count; i++) {
        link_target_t* t = &program.reader.link_targets[i];
        if (std::string((char*)t->executable.bytes, t->executable.used) == "firefox") typed = i + 1, t->executable = {};
    }
    EXPECT_EQ(typed, reader_link_target_count);
}

// Browse and "Get OS default" ask the desktop's programs; each one missing is one
// line on the log panel, and the text the user had stays.
TEST_F(WindowFrames, BrowseAndGetOsDefaultUseTheDesktopsProgramsOrSayTheyAreMissing) {
    std::string programs = folder + "/bin";
    ASSERT_EQ(mkdir(programs.c_str(), 0700), 0);
    environment_swap_t path("PATH", programs);
    environment_swap_t data("XDG_DATA_HOME", folder + "/data");
    data_t* list_path = &program.panel.add_feed_list_path;
    auto list_text = [&] { return std::string((char*)list_path->bytes, list_path->used); };
    link_target_t* target = &program.reader.link_targets[0];
    auto executable = [&] { return std::string((char*)target->executable.bytes, target->executable.used); };

    focus_box_under("Path to a text file containing a list of URLs to RSS feed, Atom feed or youtube channel.");
    type("typed.txt");
    u8* mark = log_test_mark(log_user);
    click_text("Browse");
    std::string log = log_test_since(log_user, mark);
    EXPECT_NE(log.find("No file chooser was found"), std::string::npos) << log;
    EXPECT_TRUE(one_line(log)) << log;
    EXPECT_EQ(list_text(), "typed.txt");
    program_write(programs, "kdialog", "echo /chosen/by/kdialog.txt");
    click_text("Browse");
    EXPECT_EQ(list_text(), "/chosen/by/kdialog.txt");
    program_write(programs, "zenity", "exit 1");  // cancelled, and zenity comes first
    click_text("Browse");
    EXPECT_EQ(list_text(), "/chosen/by/kdialog.txt");

    tap(key_f3);
    frame();
    target->executable = data_literal("mybrowser");
    mark = log_test_mark(log_user);
    click_text("Get OS default");
    log = log_test_since(log_user, mark);
    EXPECT_NE(log.find("xdg-mime was not found"), std::string::npos) << log;
    EXPECT_TRUE(one_line(log)) << log;
    EXPECT_EQ(executable(), "mybrowser");
    std::filesystem::create_directories(folder + "/data/applications");
    std::ofstream(folder + "/data/applications/fake-browser.desktop")
        << "[Desktop Entry]\nName=Fake\nExec=fakebrowser --new-window %u\n";
    program_write(programs, "xdg-mime", "echo fake-browser.desktop");
    click_text("Get OS default");
    EXPECT_EQ(executable(), "fakebrowser --new-window %u");
    program_write(programs, "xdg-mime", "exit 0");  // no handler for http
    click_text("Get OS default");
    EXPECT_EQ(executable(), "");
    list_path->used = 0;
}

}  // namespace
