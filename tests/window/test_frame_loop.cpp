// The program started as main starts it, without a display, and driven frame by
// frame: a finished download is drained and merged and its characters drawn from
// the glyphs they need, a store of many distinct characters starts as quickly as
// any, and the frame's memory is emptied.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <string>

#include "app/startup.h"
#include "base/log.h"
#include "image/image_query.h"
#include "log_support.h"
#include "views/program_frames.h"

namespace {

const char feed_document[] =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?><rss version=\"2.0\"><channel><title>\xD0\x96 feed</title>"
    "<link>http://example.com/</link><item><title>\xD0\x96\xD1\x83\xD0\xBA</title><guid>one</guid>"
    "<pubDate>Mon, 23 Nov 2026 00:00:00 GMT</pubDate></item></channel></rss>";

class FrameLoop : public ProgramFrames {
protected:
    u8* log_position = nullptr;
    void SetUp() override {
        start(640, 480);
        log_position = log_test_mark(log_main);
    }
};

TEST_F(FrameLoop, AFrameMergesAFinishedDownloadAndDrawsItsNewCharacters) {
    font_set_t* fonts = &program.fonts;
    codepoint_set_t* codepoints = &program.codepoints;

    query_t* query = finished_download(7, "http://127.0.0.1:1/feed.xml", query_new_feed, feed_document);
    data_push(&program.app.scratch, 1000, 8);
    program.window.quit_requested = 1;  // the frame that sees it is still a whole frame

    u64 frames_before = frame_counter;
    frame_loop_run(&program.loop);

    EXPECT_EQ(program.window.running, 0u);
    EXPECT_EQ(frame_counter, frames_before + 1);
    EXPECT_EQ(program.app.scratch.used, 0u);
    EXPECT_EQ(query->state, query_state_free);
    feed_t* feed = reader_find_feed_by_address(&program.reader, data_literal("http://127.0.0.1:1/feed.xml"));
    EXPECT_NE(feed, nullptr);
    // Zhe, u and ka came with the feed; the list shows them with their own glyphs.
    EXPECT_TRUE(codepoint_set_contains(codepoints, 0x416));
    for (u32 c : {0x416u, 0x443u, 0x43Au}) {
        const glyph_t* glyph = font_glyph(&fonts->fonts[1], c);
        EXPECT_NE(glyph->id, font_glyph(&fonts->fonts[1], 0xFFFD)->id);
    }
    EXPECT_EQ(font_glyph(&fonts->fonts[1], 0x416)->state, glyph_baked);
    std::string log = log_test_since(log_main, log_position);
    EXPECT_NE(log.find("\nFrame start: " + std::to_string(frames_before) + "\n"), std::string::npos) << log;
}

// The store keeps every character it has seen; the fonts don't build anything for
// them, so a store with tens of thousands starts and draws its first frame.
TEST_F(FrameLoop, AStoreOfManyDistinctCharactersStartsAndDrawsItsFirstFrame) {
    // Some 39 000 characters from U+3400 on, 360 to an item's title.
    std::string document =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?><rss version=\"2.0\"><channel><title>Many</title>";
    for (u32 item = 0; item < 110; item++) {
        document += "<item><guid>" + std::to_string(item) + "</guid><title>";
        for (u32 c = 0x3400 + item * 360; c < 0x3400 + (item + 1) * 360; c++) {
            document += (char)(0xE0 | c >> 12);
            document += (char)(0x80 | (c >> 6 & 0x3F));
            document += (char)(0x80 | (c & 0x3F));
        }
        document += "</title></item>";
    }
    document += "</channel></rss>";
    finished_download(7, "http://127.0.0.1:1/many.xml", query_new_feed, document);
    frame_run(&program.loop);
    ASSERT_GE(program.codepoints.count, 36000u);

    program_shutdown(&program);
    char* argv[] = {(char*)"newsloom", (char*)"-path", path_argument.data(), nullptr};
    program_options_t options = {1, 640, 480};
    ASSERT_TRUE(program_start(&program, 3, argv, &options));
    EXPECT_GE(program.codepoints.count, 36000u);
    u64 frames_before = frame_counter;
    frame_run(&program.loop);
    EXPECT_EQ(frame_counter, frames_before + 1);
    EXPECT_GT(program.render.record_count, 0u);
    u32 atlases = 0;
    for (u32 f = 0; f < program.fonts.font_count; f++) atlases += program.fonts.fonts[f].atlas->pixels != nullptr;
    EXPECT_GT(atlases, 0u);
}

TEST_F(FrameLoop, AFrameLetsGoOfThePicturesOfRemovedEntries) {
    // Start-up hands the reader the image table's removal.
    EXPECT_EQ(reader_entry_removed_hook, image_queries_remove_entry);
    // A removed entry's picture whose download ended after the removal.
    image_query_t* query = &image_queries[3];
    data_t url = block_storage_copy(&block_storage, data_literal("http://127.0.0.1:1/late.png"));
    ASSERT_NE(url.bytes, nullptr);
    query->url = url;
    query->entry_id = 42;
    query->error = http_error_internet_open_url;
    query->remove = 1;
    query->state = image_state_load_error;
    data_t user_text = log_channel(log_user)->text;

    frame_run(&program.loop);
    EXPECT_EQ(query->state, image_state_free);
    EXPECT_EQ(query->url.bytes, nullptr);
    data_t after = log_channel(log_user)->text;
    std::string said((const char*)after.bytes + user_text.used, after.used - user_text.used);
    EXPECT_NE(said.find("late.png"), std::string::npos) << said;
}

}  // namespace
