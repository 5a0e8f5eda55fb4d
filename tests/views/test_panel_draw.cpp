// Drawing a finished layout, read back from what the recording backend drew: one
// text per visible run, on the baseline, in the colour and font in force where it
// was pushed; a picture box's picture once its slot is ready, with one texture
// made for it and given back with the slot.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "app/app.h"
#include "app/frame_loop.h"
#include "base/log.h"
#include "gfx/draw.h"
#include "image/image_query.h"
#include "layout/fixed_font.h"
#include "layout/layout.h"
#include "net/block_storage.h"
#include "net/http_file.h"
#include "net/work_queue.h"
#include "platform/os.h"
#include "platform/png.h"
#include "platform/thread.h"
#include "platform/wake.h"
#include "store/feed_merge.h"
#include "store/reader.h"
#include "store/store_support.h"
#include "tests/net/feed_server.h"
#include "views/html_view.h"
#include "views/panel.h"
#include "views/panel_draw.h"
#include "views/program_frames.h"

namespace {

struct drawn_t {
    std::string text;
    f32 x, y;
    u32 font;
    u32 colour;
    bool operator==(const drawn_t&) const = default;
};

std::ostream& operator<<(std::ostream& out, const drawn_t& d) {
    return out << "\"" << d.text << "\" at " << d.x << ", " << d.y << " font " << d.font << " colour " << std::hex
               << d.colour << std::dec;
}

struct panel_draw_test_t {
    fixed_font_t font;
    renderer_t render = {};
    draw_t draw = {};
    app_t app = {};
    data_t memory = data_allocate(MIB(1));
    layout_t layout = {};

    panel_draw_test_t() {
        gl_renderer_create(&render, 640, 480, renderer_alpha_blending, render_backend_stub);
        draw_create(&draw, &render, &font.set, 640, 480, 0);
        app.draw = &draw;
        panel_pictures_attach(&render);
        gl_frame_begin(&render);
    }
    ~panel_draw_test_t() {
        panel_pictures_attach(nullptr);
        data_free(&memory);
    }

    // Ends the frame and gives the text that the recording backend drew.
    std::vector<drawn_t> drawn() {
        gl_frame_end(&render);
        std::vector<drawn_t> result;
        const render_record_t* records = render_records(&render);
        for (u32 i = 0; i < render.record_count; i++) {
            const render_record_t* r = &records[i];
            if (r->kind != batch_type_text) continue;
            EXPECT_EQ(r->batch, draw.text[draw_layer_normal]);
            result.push_back(drawn_t{std::string((const char*)r->text.bytes, r->text.used), r->x, r->y, r->font,
                                     r->colour});
        }
        return result;
    }
};

TEST(PanelDraw, EachVisibleRunIsDrawnInItsColourAndFont) {
    const colour_t red = {1, 0, 0, 1};
    const std::string first = "abc def ghi", second = "xy", third = "mono";
    const u32 white = color_pack(colour_white), packed_red = color_pack(red);
    // Lines of 20 pixels with the baseline 4 above their foot, three of them in a
    // view of 40 whose top is at y 40; a run must lie wholly in the view to be kept.
    struct case_t {
        f32 scroll_y;
        std::vector<drawn_t> drawn;
    } cases[] = {
        {0, {{"abc def ", 0, 24, 0, white}, {"ghi", 0, 4, 0, white}, {"xy", 30, 4, 0, packed_red}}},
        {20, {{"ghi", 0, 24, 0, white}, {"xy", 30, 24, 0, packed_red}, {"mono", 0, 4, 3, white}}},
    };
    for (const case_t& c : cases) {
        panel_draw_test_t t;
        layout_create(&t.layout, &t.memory, &t.font.set, rect_t{0, 0, 200, 40}, 0, c.scroll_y, nullptr);
        while (layout_pass_start(&t.layout)) {
            if (layout_pass_ready(&t.layout, 0)) continue;
            layout_set_flags(&t.layout, layout_flag_no_vertical_bar);
            layout_set_wrap(&t.layout, 0, 100, layout_wrap_eat_space);
            layout_string_p(&t.layout, (const u8*)first.data(), first.size());
            layout_push_colour(&t.layout, red);
            layout_string_p(&t.layout, (const u8*)second.data(), second.size());
            layout_pop_colour(&t.layout);
            layout_set_font(&t.layout, 3);
            layout_new_line(&t.layout);
            layout_string_p(&t.layout, (const u8*)third.data(), third.size());
            layout_finish(&t.layout);
        }
        panel_draw_items(&t.app, nullptr, &t.layout);
        EXPECT_EQ(t.drawn(), c.drawn) << "scroll " << c.scroll_y;
    }
}

TEST(PanelDraw, APlaceholderSaysWhatItsSlotIsDoing) {
    // Red pieces are marked with "!".
    struct case_t {
        bool query;
        u32 state, error;
        const char* shown;
    } cases[] = {
        {false, 0, 0, "[img]|Alt| Loading...|[/img]|"},
        {true, image_state_loading, 0, "[img]|Alt| Loading...|[/img]|"},
        {true, image_state_loaded, 0, "[img]|Alt| Resizing\xE2\x80\xA6|[/img]|"},
        {true, image_state_resizing, 0, "[img]|Alt| Resizing\xE2\x80\xA6|[/img]|"},
        {true, image_state_load_error, http_error_uri_is_not_zero_terminated,
         "[img]|Alt| Loading error.!| Code: !|http_error_uri_is_not_zero_terminated!|[/img]|"},
        // A code past the known names gives no name at all.
        {true, image_state_load_error, http_error_count, "[img]|Alt| Loading error.!|[/img]|"},
        {true, image_state_resize_error, 0, "[img]|Alt| Resize error.!|[/img]|"},
        {true, image_state_invalid_size, 0, "[img]|Alt| Invalide size requested.!|[/img]|"},
    };
    const u32 red = color_pack(html_error_colour);
    for (const case_t& c : cases) {
        panel_draw_test_t t;
        image_query_t query = {};
        query.state = c.state;
        query.frame_state = c.state;
        query.seen_frame = frame_counter;
        query.error = c.error;
        layout_create(&t.layout, &t.memory, &t.font.set, rect_t{0, 0, 600, 100}, 0, 0, nullptr);
        while (layout_pass_start(&t.layout)) {
            if (layout_pass_ready(&t.layout, 0)) continue;
            layout_set_wrap(&t.layout, 0, 600, layout_wrap_eat_space);
            image_placeholder_text(&t.layout, data_literal("Alt"), nullptr, c.query ? &query : nullptr);
            layout_finish(&t.layout);
        }
        panel_draw_items(&t.app, nullptr, &t.layout);
        std::string shown;
        for (const drawn_t& d : t.drawn()) shown += d.text + (d.colour == red ? "!|" : "|");
        EXPECT_EQ(shown, c.shown) << "state " << c.state;
    }
}

// A slot that a download and a resize have filled: `width` by `height` RGBA pixels
// of this entry and address, used now.
static image_query_t* ready_slot_fill(image_query_t* query, u32 entry_id, const std::string& address, u32 width,
                                      u32 height) {
    u8* url = (u8*)block_storage_allocate(&block_storage, address.size() + 1);
    memcpy(url, address.data(), address.size());
    url[address.size()] = 0;
    query->url = data_make(address.size() + 1, address.size(), url);
    query->entry_id = entry_id;
    query->channels = 4;
    query->requested_width = width;
    query->requested_height = height;
    query->pixels = data_allocate((u64)width * height * 4);
    query->pixels.used = query->pixels.reserved;
    query->last_used = os_ticks();
    query->state = image_state_ready;
    return query;
}

class PanelDrawPictures : public testing::Test {
protected:
    void SetUp() override {
        memory_query_system(nullptr, nullptr, nullptr, nullptr);
        if (!block_storage.memory.bytes) {
            block_storage_create(&block_storage, block_storage_region_size, block_storage_commit_size,
                                 block_storage_block_size);
        }
        entry.id = 5;
        panel.selected_entry = &entry;
    }
    void TearDown() override {
        for (image_query_t& query : image_queries) {
            query.busy = 0;
            if (query.state != image_state_free) image_query_release(&query);
        }
    }

    // One frame of a view with a line of text and a 40 by 20 box for each
    // address (an empty one for a box without a user value); gives the box rects.
    // `same_frame` draws it again within the frame before, as a second view would.
    std::vector<rect_t> frame(panel_draw_test_t& t, const std::vector<std::string>& addresses,
                              bool same_frame = false) {
        if (!same_frame) frame_counter += 1;
        std::vector<data_t> urls;
        for (const std::string& a : addresses) urls.push_back(data_from_size(a.size(), a.data()));
        std::vector<rect_t> rects(addresses.size());
        layout_create(&t.layout, &t.memory, &t.font.set, rect_t{0, 0, 200, 200}, 0, 0, nullptr);
        while (layout_pass_start(&t.layout)) {
            if (layout_pass_ready(&t.layout, 0)) continue;
            layout_string_p(&t.layout, (const u8*)"text", 4);
            layout_new_line(&t.layout);
            for (u64 i = 0; i < urls.size(); i++) {
                u64 user = addresses[i].empty() ? 0 : (u64)&urls[i];
                layout_item_t* box = layout_box(&t.layout, 40, 20, user, layout_box_pen_right);
                if (t.layout.state == layout_state_draw) rects[i] = box->box.rect;
            }
            layout_finish(&t.layout);
        }
        panel_draw_items(&t.app, &panel, &t.layout);
        return rects;
    }
    static std::vector<render_record_t> images(panel_draw_test_t& t) {
        gl_frame_end(&t.render);
        std::vector<render_record_t> result;
        for (u32 i = 0; i < t.render.record_count; i++) {
            if (render_records(&t.render)[i].kind == batch_type_images) result.push_back(render_records(&t.render)[i]);
        }
        gl_frame_begin(&t.render);
        return result;
    }

    entry_t entry = {};
    panel_t panel = {};
};

TEST_F(PanelDrawPictures, AReadyPictureGetsOneTextureAndDrawsOnItsBox) {
    panel_draw_test_t t;
    image_query_t* query = ready_slot_fill(&image_queries[3], 5, "http://host/a.png", 4, 2);
    query->state = image_state_resizing;
    const std::vector<std::string> boxes = {"", "http://host/a.png", "http://host/unknown.png"};

    // The frame took its snapshot while the resize ran: it draws nothing, though
    // the worker ends before the frame does.
    frame(t, boxes);
    query->state = image_state_ready;
    frame(t, boxes, true);
    EXPECT_TRUE(images(t).empty());
    EXPECT_EQ(t.render.textures_created, 0u);

    for (u32 round = 0; round < 3; round++) {
        std::vector<rect_t> rects = frame(t, boxes);
        std::vector<render_record_t> drawn = images(t);
        ASSERT_EQ(drawn.size(), 1u) << round;
        EXPECT_EQ(drawn[0].texture, query->texture);
        EXPECT_EQ(drawn[0].bytes_per_pixel, 4u);
        EXPECT_EQ(drawn[0].colour, color_pack(colour_white));
        EXPECT_TRUE(rect_equal(drawn[0].rect, rects[1])) << round;
    }
    EXPECT_NE(query->texture, 0u);
    EXPECT_EQ(t.render.textures_created, 1u);
    // Looking for a picture that no slot holds starts nothing.
    u64 used = 0;
    for (image_query_t& q : image_queries) used += q.state != image_state_free;
    EXPECT_EQ(used, 1u);

    // Another entry on show has no picture at that address.
    entry.id = 6;
    frame(t, boxes);
    EXPECT_TRUE(images(t).empty());
    entry.id = 5;

    // Evicted as the oldest when every slot is used, it gives its texture back to
    // the renderer that made it. No worker takes the new download: it waits in
    // the ring.
    for (u64 i = 0; i < image_query_count; i++) {
        if (&image_queries[i] != query) ready_slot_fill(&image_queries[i], 5, "http://host/" + std::to_string(i), 1, 1);
    }
    u32 texture = query->texture;
    thread_queue_create(&thread_queue, 0);
    std::string address = "http://host/new.png";
    EXPECT_EQ(image_query_get(5, data_from_size(address.size(), address.data()), true), query);
    EXPECT_EQ(t.render.textures_deleted, 1u);
    EXPECT_EQ(t.render.texture_last_deleted, texture);
    EXPECT_EQ(query->texture, 0u);
    thread_terminate(&thread_queue);
}

// Pixels larger than a texture, and a texture the driver refuses (out of memory
// with many large pictures), leave their slot in error, said once; the picture
// beside them is drawn all the same.
TEST_F(PanelDrawPictures, PicturesNoTextureTakesAreAnErrorSaidOnce) {
    panel_draw_test_t t;
    t.render.max_texture_size = 4;
    t.render.textures_to_refuse = 1;
    image_query_t* refused = ready_slot_fill(&image_queries[2], 5, "http://host/refused.png", 2, 2);
    image_query_t* fits = ready_slot_fill(&image_queries[0], 5, "http://host/fits.png", 4, 4);
    image_query_t* wide = ready_slot_fill(&image_queries[1], 5, "http://host/wide.png", 5, 1);
    log_channel_t* user = log_channel(log_user);
    u64 log_start = user->text.used;
    for (u32 round = 0; round < 2; round++) {
        frame(t, {"http://host/refused.png", "http://host/fits.png", "http://host/wide.png"});
        std::vector<render_record_t> drawn = images(t);
        ASSERT_EQ(drawn.size(), 1u);
        EXPECT_EQ(drawn[0].texture, fits->texture);
    }
    EXPECT_EQ(refused->state, image_state_load_error);
    EXPECT_GE(refused->error, (u32)http_error_count) << "its placeholder would name a download's code";
    EXPECT_EQ(wide->state, image_state_resize_error);
    EXPECT_EQ(refused->texture, 0u);
    EXPECT_EQ(wide->texture, 0u);
    EXPECT_EQ(t.render.textures_created, 1u);
    std::string log((const char*)user->text.bytes + log_start, user->text.used - log_start);
    for (const char* name : {"refused.png", "wide.png"}) {
        EXPECT_NE(log.find(name), std::string::npos) << log;
        EXPECT_EQ(log.find(name), log.rfind(name)) << log;
    }
}

// The whole program, headless, with an entry whose pictures a local server sends.
class EntryPictureFrames : public ProgramFrames {
protected:
    feed_server_t server;
    std::string pictures;

    void SetUp() override {
        start(1280, 720);
        pictures = temporary_folder("newsloom_pictures_");
        std::string path = pictures + "/picture.png";
        std::vector<u8> pixels(40 * 30 * 4, 200);
        ASSERT_TRUE(png_write(data_from_size(path.size(), path.data()), pixels.data(), 40, 30, false));
        ASSERT_TRUE(server.start(pictures.c_str(), false));
    }
    void TearDown() override {
        server.stop();
        std::filesystem::remove_all(pictures);
        for (image_query_t& query : image_queries) {
            while (atomic_load_acquire_u32(&query.busy)) wake_wait(1000);
            if (query.state != image_state_free) image_query_release(&query);
        }
        ProgramFrames::TearDown();
    }
    void show(const std::string& description) {
        ProgramFrames::show("<rss version=\"2.0\"><channel><title>f</title><item><title>t</title><description>" +
                                description + "</description></item></channel></rss>",
                            "http://feed.test/pictures");
    }
    std::vector<render_record_t> records(u32 kind) {
        std::vector<render_record_t> result;
        for (u32 i = 0; i < program.render.record_count; i++) {
            if (render_records(&program.render)[i].kind == kind) result.push_back(render_records(&program.render)[i]);
        }
        return result;
    }
    static bool jobs_running() {
        for (image_query_t& query : image_queries) {
            if (atomic_load_acquire_u32(&query.busy)) return true;
        }
        return false;
    }
    // The texts drawn in this colour, joined.
    std::string texts(u32 colour) {
        std::string all;
        for (const render_record_t& r : records(batch_type_text)) {
            if (r.colour == colour) all += std::string((const char*)r.text.bytes, r.text.used) + "|";
        }
        return all;
    }
};

TEST_F(EntryPictureFrames, APlaceholderGivesWayToThePictureAndAMissingOneSaysSo) {
    // The same picture twice: one slot, one download, one texture, drawn twice.
    std::string picture = "&lt;img src=\"" + server.address("/feed/picture.png") + "\" alt=\"Pic\"&gt;";
    show("&lt;p&gt;Words&lt;/p&gt;" + picture + picture + "&lt;img src=\"" + server.address("/feed/missing.png") +
         "\"&gt;");
    const u32 white = color_pack(colour_white), red = color_pack(colour_t{1, 0, 0, 1});
    std::string first = texts(white);
    EXPECT_NE(first.find("[img]|Pic| Loading...|[/img]"), std::string::npos) << first;
    EXPECT_TRUE(records(batch_type_images).empty());

    // The downloads, then the resize, each wake the program for one more frame.
    u32 created_before = program.render.textures_created;
    for (u32 i = 0; i < 40 && (records(batch_type_images).empty() || jobs_running()); i++) {
        wake_wait(1000);
        frame();
    }
    for (u32 i = 0; i < 3; i++) frame();
    std::vector<render_record_t> drawn = records(batch_type_images);
    ASSERT_EQ(drawn.size(), 2u);
    for (const render_record_t& r : drawn) {
        EXPECT_EQ(r.rect.x1 - r.rect.x0, 40);
        EXPECT_EQ(r.rect.y1 - r.rect.y0, 30);
    }
    EXPECT_GE(std::abs(drawn[1].rect.y0 - drawn[0].rect.y0), 30) << "one above the other";
    EXPECT_EQ(program.render.textures_created, created_before + 1);
    u32 slots = 0;
    for (const image_query_t& query : image_queries) slots += query.entry_id == program.panel.selected_entry->id;
    EXPECT_EQ(slots, 2u);
    std::string later = texts(white);
    EXPECT_EQ(later.find("Pic"), std::string::npos) << later;
    EXPECT_NE(later.find("Words"), std::string::npos) << later;
    EXPECT_NE(texts(red).find(" Loading error.| Code: |http_error_internet_open_url|"), std::string::npos)
        << texts(red) << "\n" << later;

    // A slot marked for removal while its job ran goes at the next frame (with the
    // entry off the screen, so that nothing asks for it again).
    std::string missing = server.address("/feed/missing.png");
    image_query_t* failed = image_query_get(program.panel.selected_entry->id,
                                            data_from_size(missing.size(), missing.data()), false);
    ASSERT_NE(failed, nullptr);
    failed->remove = 1;
    program.panel.selected_entry = nullptr;
    frame();
    EXPECT_EQ(failed->state, image_state_free);
}

TEST(PanelDrawDeath, ALayoutStillInItsPassesTraps) {
    panel_draw_test_t t;
    layout_create(&t.layout, &t.memory, &t.font.set, rect_t{0, 0, 200, 60}, 0, 0, nullptr);
    layout_pass_start(&t.layout);
    layout_finish(&t.layout);
    EXPECT_DEATH(panel_draw_items(&t.app, nullptr, &t.layout), "");
}

}  // namespace
