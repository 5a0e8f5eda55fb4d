// The entry view in whole frames of the headless program: the head's pieces and
// fonts, the HTML's items, links acting at release, and what a description that
// doesn't parse or a picture without an address leave on the log panel.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/log.h"
#include "file_support.h"
#include "image/image_query.h"
#include "views/link_recorder.h"
#include "log_support.h"
#include "store/store_support.h"
#include "views/html_view.h"
#include "views/program_frames.h"
#include "views/view_list.h"

namespace {

struct shown_t {
    std::string text;
    f32 x, y;
    u32 font, colour;
};

const u32 white = color_pack(colour_white);
const u32 link = color_pack(html_link_colour);

class EntryFrames : public ProgramFrames {
protected:
    u32 documents = 0;
    void SetUp() override { start(1280, 720); }

    entry_t* show(const std::string& document, const std::string& address = "") {
        return ProgramFrames::show(document, address.empty() ? "http://feed.test/" + std::to_string(documents++) : address);
    }
    // The texts that the last frame drew on the normal layer right of the splitter.
    std::vector<shown_t> shown() {
        std::vector<shown_t> all;
        for (const render_record_t* r : texts_drawn()) {
            if (r->x >= 460) all.push_back({text_of(r), r->x, r->y, r->font, r->colour});
        }
        return all;
    }
    std::string shown_text() {
        std::string all;
        for (const shown_t& s : shown()) all += s.text + "|";
        return all;
    }
    // The first run that holds `text`.
    bool find(const std::string& text, shown_t* found) {
        for (const shown_t& s : shown()) {
            if (s.text.find(text) != std::string::npos) {
                *found = s;
                return true;
            }
        }
        return false;
    }
    void click(const std::string& text) {
        shown_t s;
        ASSERT_TRUE(find(text, &s)) << text << " in " << shown_text();
        click_at((i32)s.x + 3, (i32)s.y + 3);
    }
};

TEST_F(EntryFrames, MissingPiecesAreLeftOutAndTheLinkFollowsWhatIsThere) {
    const char* rss = "<rss version=\"2.0\"><channel><title>f</title><item>%s</item></channel></rss>";
    const char* atom =
        "<feed xmlns=\"http://www.w3.org/2005/Atom\"><title>f</title><id>f</id><entry><id>e</id>%s</entry></feed>";
    struct {
        const char* form;
        const char* item;
        std::vector<std::pair<std::string, u32>> pieces;  // text and font, in order
        std::vector<std::string> absent;
    } cases[] = {
        // No date, no author: the link stays on the title's line, in its font.
        {rss, "<title>Alone</title><link>http://a.test/1</link>",
         {{"Alone", 2}, {" - ", 2}, {"Open article", 2}},
         {}},
        {rss, "<link>http://a.test/2</link><pubDate>Tue, 10 Jun 2003 04:00:00 GMT</pubDate><author>Ann</author>",
         {{" - ", 0}, {"Ann", 0}, {" - ", 0}, {"Open article", 0}},
         {}},
        {rss, "<title>No link</title><description>Body</description>", {{"No link", 2}, {"Body", 1}},
         {"Open article", " - "}},
        {atom,
         "<title>A</title><contributor><name>Cy</name></contributor><contributor><name>Di</name></contributor>",
         {{"Contributors: ", 0}, {"Cy, Di", 0}},
         {"Contributor: "}},
        {atom, "<title>B</title><author><name>Ann</name></author><contributor><name>Cy</name></contributor>",
         {{"Ann", 0}, {" ", 0}, {"Contributor: ", 0}, {"Cy", 0}},
         {"Contributors: "}},
    };
    for (auto& c : cases) {
        char document[1024];
        snprintf(document, sizeof(document), c.form, c.item);
        ASSERT_NE(show(document), nullptr);
        std::vector<shown_t> all = shown();
        u64 at = 0;
        for (auto& piece : c.pieces) {
            while (at < all.size() && all[at].text != piece.first) at++;
            ASSERT_LT(at, all.size()) << piece.first << " in order in " << shown_text();
            EXPECT_EQ(all[at].font, piece.second) << piece.first << " in " << c.item;
            EXPECT_EQ(all[at].colour, piece.first == "Open article" ? link : white) << piece.first;
        }
        for (auto& text : c.absent) {
            for (const shown_t& s : all) EXPECT_NE(s.text, text) << c.item;
        }
    }
}

TEST_F(EntryFrames, MarkupTakesFontsAndLinkColoursAndHidesStyleAndScript) {
    show("<rss version=\"2.0\"><channel><title>f</title><item><title>T</title><description><![CDATA["
         "<style>p { color: red }</style><h1>Head</h1>after"
         "<p><a href=\"http://a.test/outer\">outer<a href=\"http://a.test/inner\">inner</a>rest</a></p>"
         "<p><a href=\"http://a.test/3\">lit<a>unlit</a></a></p><script>var hidden = 1;</script>tail"
         "]]></description></item></channel></rss>");
    struct {
        const char* text;
        u32 font, colour;
    } expected[] = {
        {"Head", 2, white}, {"after", 1, white},  {"outer", 1, link}, {"inner", 1, link},
        {"rest", 1, white}, {"lit", 1, link},     {"unlit", 1, white}, {"tail", 1, white},
    };
    for (auto& e : expected) {
        shown_t s;
        ASSERT_TRUE(find(e.text, &s)) << e.text << " in " << shown_text();
        EXPECT_EQ(s.text, e.text);
        EXPECT_EQ(s.font, e.font) << e.text;
        EXPECT_EQ(s.colour, e.colour) << e.text;
    }
    std::string all = shown_text();
    EXPECT_EQ(all.find("color"), std::string::npos) << all;
    EXPECT_EQ(all.find("hidden"), std::string::npos) << all;
}

TEST_F(EntryFrames, HighlightedCodeDrawsEveryPieceInView) {
    // A piece of text in an element of its own for every word: hundreds of runs
    // in one view.
    std::string html = "<pre>";
    for (int line = 0; line < 60; line++) {
        for (int word = 0; word < 12; word++) html += "<span>w" + std::to_string(line * 12 + word) + "</span> ";
        html += "\n";
    }
    show("<rss version=\"2.0\"><channel><title>f</title><item><title>Code</title><description><![CDATA[" + html +
         "</pre>]]></description></item></channel></rss>");
    std::vector<bool> seen(720);
    u32 count = 0;
    for (const shown_t& s : shown()) {
        if (s.text.size() < 2 || s.text[0] != 'w') continue;
        u32 n = (u32)std::stoul(s.text.substr(1));
        ASSERT_LT(n, seen.size()) << s.text;
        seen[n] = true;
        count++;
    }
    EXPECT_GT(count, 300u);
    for (u32 n = 0; n < count; n++) EXPECT_TRUE(seen[n]) << "w" << n << " of " << count;
    EXPECT_EQ(program.render.batches[program.draw.text[draw_layer_normal]].dropped, 0u);
}

// Real entries hold what no hand-made case thinks of (kerning across elements,
// a screen of highlighted code): each entry of the test feeds, at its top and its
// end, draws without a stop and with no batch full.
TEST_F(EntryFrames, EveryEntryOfTheTestFeedsShowsWhole) {
    std::string feeds = std::string(NEWSLOOM_TEST_DATA) + "/feeds";
    u32 shown_entries = 0;
    for (const std::string& name : folder_names(feeds)) {
        // Pictures are asked for where nothing listens, never on the internet.
        std::string bytes = file_bytes(feeds + "/" + name);
        for (const std::string scheme : {"http://", "https://"}) {
            for (size_t at = 0; (at = bytes.find(scheme, at)) != std::string::npos; at += 20) {
                bytes.replace(at, scheme.size(), "http://127.0.0.1:9/");
            }
        }
        feed_t* feed = merge(bytes, "http://corpus.test/" + name);
        if (!feed) continue;  // the folder's notes
        for (u32 i = 0; entry_t* e = entry_of(feed, i); i++) {
            program.panel.selected_feed = feed;
            program.panel.selected_entry = e;
            panel_reset(&program.app);
            for (f32 scroll : {0.0f, 1e6f}) {
                program.panel.entry_scroll.y = scroll;
                frame();
                for (u32 b = 0; b < program.render.batch_count; b++) {
                    ASSERT_EQ(program.render.batches[b].dropped, 0u) << name << " entry " << e->id << " batch " << b;
                }
            }
            shown_entries++;
        }
    }
    EXPECT_GT(shown_entries, 400u);
}

TEST_F(EntryFrames, ALongEntryLaidOutAroundTheViewDrawsAsWhenLaidOutWhole) {
    std::string html;
    for (int i = 0; i < 400; i++) {
        std::string n = std::to_string(i);
        html += "<h2>Part " + n + "</h2><p>Words of paragraph " + n + " that run on <b>for a while</b>, with <a href=\"" +
                "http://a.test/" + n + "\">a link that spans <em>two</em> items</a> and more words after it.</p>";
        if (i % 50 == 7) html += "<div>A link <a href=\"http://a.test/open\">open across<p>a block</p>and on</a></div>";
    }
    std::string document = "<rss version=\"2.0\"><channel><title>f</title><item><title>Long</title><description><![CDATA[" +
                           html + "]]></description></item></channel></rss>";
    ASSERT_NE(show(document), nullptr);
    for (f32 scroll : {0.0f, 9000.0f, 17500.0f}) {
        program.panel.entry_scroll.y = scroll;
        program.panel.content_parsed = 0;
        frame();  // parsed, and laid out whole
        std::vector<shown_t> whole = shown();
        ASSERT_GT(whole.size(), 10u);
        u64 whole_items = program.panel.html_end;
        EXPECT_EQ(program.panel.entry_scroll.y, scroll);
        for (int i = 0; i < 2; i++) {
            frame();  // around the view
            std::vector<shown_t> around = shown();
            EXPECT_LT(program.panel.html_end * 4, whole_items) << "scroll " << scroll;
            ASSERT_EQ(around.size(), whole.size()) << "scroll " << scroll;
            for (u64 j = 0; j < whole.size(); j++) {
                EXPECT_EQ(around[j].text, whole[j].text);
                EXPECT_EQ(around[j].y, whole[j].y) << around[j].text;
                EXPECT_EQ(around[j].x, whole[j].x) << around[j].text;
                EXPECT_EQ(around[j].colour, whole[j].colour) << around[j].text;
            }
        }
    }
}

// A target whose executable is a script that writes its arguments down.
class EntryLinkFrames : public EntryFrames {
protected:
    link_recorder_t recorder;
    void SetUp() override {
        EntryFrames::SetUp();
        recorder.create(folder);
        link_target_t* target = &program.reader.link_targets[0];
        target->executable = data_from_size(recorder.script.size(), recorder.script.data());
        target->queue_enabled = 0;
    }
    void TearDown() override {
        program.reader.link_targets[0].executable = data_t{};
        EntryFrames::TearDown();
    }
    std::string recorded() { return recorder.recorded(); }
};

TEST_F(EntryLinkFrames, ALinkActsAtReleaseAndTheInnerOfTwoIsItsOwn) {
    show("<rss version=\"2.0\"><channel><title>f</title><item><title>T</title><link>http://a.test/article</link>"
         "<description><![CDATA[<p><a href=\"http://a.test/outer\">outer words "
         "<a href=\"http://a.test/inner\">inner</a></a></p>]]></description></item></channel></rss>");
    shown_t s;
    ASSERT_TRUE(find("inner", &s));
    i32 x = (i32)s.x + 3, y = (i32)s.y + 3;
    press(x, y);
    // Pressed: not yet used, and drawn in the hover colour.
    EXPECT_FALSE(recorder.ran());
    ASSERT_TRUE(find("inner", &s));
    EXPECT_EQ(s.colour, color_pack(html_link_hover_colour));
    ASSERT_TRUE(find("outer", &s));
    EXPECT_EQ(s.colour, link);
    input_button(&program.window, key_mouse_left, false, x, y, 0, 2);
    frame_run(&program.loop);
    EXPECT_EQ(program.panel.frame_requested, 1u);
    input_frame_begin(&program.window);
    EXPECT_EQ(recorded(), "http://a.test/inner\n");

    click("outer");
    EXPECT_EQ(recorded(), "http://a.test/outer\n");
    click("Open article");
    EXPECT_EQ(recorded(), "http://a.test/article\n");
}

TEST_F(EntryFrames, ADescriptionThatDoesNotParseShowsAsTextWithTheReportOnceOnTheLogPanel) {
    u8* mark = log_test_mark(log_user);
    show("<rss version=\"2.0\"><channel><title>f</title><item><title>T</title>"
         "<description>&lt;p&gt;bad &lt;3 markup&lt;/p&gt;</description></item></channel></rss>");
    for (int i = 0; i < 3; i++) frame();
    shown_t s;
    ASSERT_TRUE(find("<p>bad <3", &s)) << shown_text();
    EXPECT_EQ(s.font, 1u);
    std::string log = log_test_since(log_user, mark);
    u64 first = log.find("Greater than sign was expected.");
    ASSERT_NE(first, std::string::npos) << log;
    EXPECT_EQ(log.find("Greater than sign was expected.", first + 1), std::string::npos) << log;
    EXPECT_NE(log.find("^"), std::string::npos) << log;
}

TEST_F(EntryFrames, AVideoThumbnailBelongsToThePlainTextDescriptionAlone) {
    const char* form =
        "<feed xmlns=\"http://www.w3.org/2005/Atom\"><title>v</title><id>v</id><entry><title>V</title><id>%s</id>"
        "<summary>http://127.0.0.1:9/thumb.jpg</summary><content>%s</content></entry></feed>";
    struct {
        const char* content;
        bool thumbnail;
    } cases[] = {{"Words alone", true}, {"&lt;p&gt;Words in &lt;b&gt;markup&lt;/b&gt;&lt;/p&gt;", false}};
    u32 n = 0;
    for (auto& c : cases) {
        char document[1024], id[8];
        snprintf(id, sizeof(id), "v%u", n);
        snprintf(document, sizeof(document), form, id, c.content);
        std::string address = "https://www.youtube.com/feeds/videos.xml?channel_id=" + std::to_string(n++);
        ASSERT_NE(show(document, address), nullptr);
        shown_t s;
        EXPECT_EQ(find("[img]", &s), c.thumbnail) << c.content << ": " << shown_text();
        EXPECT_TRUE(find("Words", &s)) << shown_text();
    }
}

TEST_F(EntryFrames, APictureWithoutAddressShowsItsDescriptionLoadsNothingAndIsToldOnce) {
    u8* mark = log_test_mark(log_user);
    auto slots_used = [] {
        u32 used = 0;
        for (const image_query_t& q : image_queries) used += q.state != image_state_free;
        return used;
    };
    u32 used_before = slots_used();
    entry_t* entry = show(
        "<rss version=\"2.0\"><channel><title>f</title><item><title>T</title><description><![CDATA["
        "<p>before</p><img alt=\"A cat\"><img><p>after</p>]]></description></item></channel></rss>");
    ASSERT_NE(entry, nullptr);
    frame();
    std::string all = shown_text();
    EXPECT_NE(all.find("[img]|A cat| Loading...|[/img]"), std::string::npos) << all;
    EXPECT_NE(all.find("[img]|No alternate description.| Loading...|[/img]"), std::string::npos) << all;
    EXPECT_NE(all.find("after"), std::string::npos) << all;
    EXPECT_EQ(slots_used(), used_before);
    std::string log = log_test_since(log_user, mark);
    u64 first = log.find("has no address");
    ASSERT_NE(first, std::string::npos) << log;
    EXPECT_EQ(log.find("has no address", first + 1), std::string::npos) << log;
}

// An update that brings a newer text of the shown entry replaces its record: the
// view shows the new text in the next frame, without a new selection.
TEST_F(EntryFrames, AnUpdateOfTheShownEntryShowsItsNewText) {
    auto document = [](const std::string& date, const std::string& words) {
        return "<rss version=\"2.0\"><channel><title>f</title><item><guid>one</guid><title>T</title><pubDate>" +
               date + "</pubDate><description>&lt;p&gt;" + words + "&lt;/p&gt;</description></item></channel></rss>";
    };
    std::string address = "http://feed.test/updated";
    ASSERT_NE(show(document("Mon, 02 Jun 2003 04:00:00 GMT", "Old words"), address), nullptr);
    ASSERT_NE(shown_text().find("Old words"), std::string::npos) << shown_text();
    query_t* query = finished_download(0, address, program.panel.selected_feed->id,
                                       document("Tue, 03 Jun 2003 04:00:00 GMT", "New words"));
    frame();
    EXPECT_EQ(query->state, query_state_free);
    EXPECT_NE(shown_text().find("New words"), std::string::npos) << shown_text();
    EXPECT_EQ(shown_text().find("Old words"), std::string::npos) << shown_text();
}

}  // namespace

