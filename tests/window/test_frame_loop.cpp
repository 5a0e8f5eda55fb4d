// One whole frame on the stub window: a finished download is drained and merged,
// the new characters it brought are baked once at the end of that frame, and the
// frame's memory is emptied.
#include <gtest/gtest.h>

#include <cstring>

#include "app/app.h"
#include "app/frame_loop.h"
#include "app/panel.h"
#include "base/log.h"
#include "layout/test_fonts.h"
#include "net/block_storage.h"
#include "net/queries.h"
#include "store/codepoint_set.h"
#include "store/reader.h"

namespace {

const char feed_document[] =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?><rss version=\"2.0\"><channel><title>\xD0\x96 feed</title>"
    "<link>http://example.com/</link><item><title>\xD0\x96\xD1\x83\xD0\xBA</title><guid>one</guid>"
    "<pubDate>Mon, 23 Nov 2026 00:00:00 GMT</pubDate></item></channel></rss>";

TEST(FrameLoop, AFrameMergesAFinishedDownloadAndBakesItsNewCharacters) {
    memory_query_system(nullptr, nullptr, nullptr, nullptr);
    if (!block_storage.memory.bytes) {
        block_storage_create(&block_storage, block_storage_region_size, block_storage_commit_size,
                             block_storage_block_size);
    }
    static reader_t reader;
    reader_init(&reader);
    static codepoint_set_t codepoints;
    data_t codepoint_block = data_allocate(codepoint_set_size());
    codepoint_set_init(&codepoints, &codepoint_block);
    reader.codepoints = &codepoints;

    test_fonts_t* base = test_fonts();
    font_set_t fonts;
    font_set_create(&fonts, data_allocate(0x500000));
    for (u32 i = 0; i < 4; i++) {
        font_load(&fonts, i == 3 ? base->mono : base->sans, 12.0f + 2 * i, codepoints.values, codepoints.count, i == 3);
    }
    font_build(&fonts);
    ASSERT_EQ(font_glyph_index(&fonts.fonts[1], 0x416), font_glyph_index(&fonts.fonts[1], 0xFFFD));

    static window_t window;
    window_create_stub(&window, 640, 480);
    window.quit_requested = 1;  // the frame that sees it is still a whole frame
    static renderer_t render;
    frame_batches_t batches;
    frame_render_create(&render, &batches, &window, &fonts, 0);

    static query_t queries[query_table_size];
    data_t address = query_address_copy(data_literal("http://127.0.0.1:1/feed.xml"));
    ASSERT_NE(address.bytes, nullptr);
    queries[7].address = address;
    queries[7].feed_id = query_new_feed;
    queries[7].data = data_allocate(sizeof(feed_document));
    memcpy(queries[7].data.bytes, feed_document, sizeof(feed_document) - 1);
    queries[7].data.used = sizeof(feed_document) - 1;
    queries[7].state = query_state_finished;

    app_t app = {};
    app.scratch = data_allocate(0xa00000);
    data_push(&app.scratch, 1000, 8);
    panel_t panel = {};
    app.window = &window;
    app.panel = &panel;
    app.render = &render;
    app.queries = queries;
    app.query_count = query_table_size;

    frame_loop_t loop = {};
    loop.app = &app;
    loop.window = &window;
    loop.fonts = &fonts;
    loop.render = &render;
    loop.batches = &batches;
    loop.panel = &panel;
    loop.reader = &reader;
    loop.codepoints = &codepoints;
    u64 frames_before = frame_counter;
    u8* log_position = data_end(log_channel(log_main)->text);
    frame_loop_run(&loop);

    EXPECT_EQ(window.running, 0u);
    EXPECT_EQ(frame_counter, frames_before + 1);
    EXPECT_EQ(app.scratch.used, 0u);
    EXPECT_EQ(queries[7].state, query_state_free);
    feed_t* feed = reader_find_feed_by_address(&reader, data_literal("http://127.0.0.1:1/feed.xml"));
    EXPECT_NE(feed, nullptr);
    // Zhe, u and ka came with the feed and have glyphs now.
    EXPECT_TRUE(codepoint_set_contains(&codepoints, 0x416));
    EXPECT_EQ(fonts.fonts[0].codepoint_count, codepoints.count);
    for (u32 c : {0x416u, 0x443u, 0x43Au}) {
        u32 index = font_glyph_index(&fonts.fonts[1], c);
        EXPECT_EQ(fonts.fonts[1].codepoints[index], c);
    }
    data_t text = {};
    text.reserved = 1 << 16;
    text.bytes = new u8[text.reserved];
    log_copy_since(log_main, log_position, &text);
    std::string log((const char*)text.bytes, text.used);
    delete[] text.bytes;
    EXPECT_NE(log.find("\nFrame start: " + std::to_string(frames_before) + "\n"), std::string::npos) << log;
}

}  // namespace
