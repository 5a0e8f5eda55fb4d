// The renderer on a real context (Xvfb and Mesa): rectangles, a scissor run in the
// middle of a batch, alpha blending, images of four and one bytes per pixel, text
// from the atlas, the icon strip, read back with gl_read_framebuffer.
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstring>
#include <string>
#include <thread>

#include "gfx/renderer.h"
#include "image/atlas.h"
#include "layout/test_fonts.h"
#include "log_support.h"
#include "platform/gl_functions.h"
#include "platform/wake.h"
#include "platform/window.h"
#include "window/x_server.h"

namespace {

struct pixel_t {
    int r, g, b;
};

class GlTest : public testing::Test {
protected:
    static x_server_t server;
    static window_t window;
    static void SetUpTestSuite() {
        ASSERT_TRUE(x_server_start(&server));
        window_create(&window, data_literal("gl test"), 320, 240, window_position_centred, window_position_centred, 0);
    }
    // The window stays open until the process ends, as it does in the program:
    // tearing the driver down leaves allocations that no one can free.
    static void TearDownTestSuite() { x_server_stop(&server); }
};
x_server_t GlTest::server;
window_t GlTest::window;

TEST_F(GlTest, BatchesDrawWhatTheyQueued) {
    ASSERT_EQ(window.running, 1u);
    ASSERT_EQ(window.width, 320);
    ASSERT_EQ(window.height, 240);
    renderer_t render;
    gl_renderer_create(&render, window.width, window.height, renderer_alpha_blending);
    font_set_t* fonts = &test_fonts()->set;
    batch_t* rectangles =
        gl_batch(&render, gl_batch_create(&render, batch_type_quads, gl_format(2, 1, 0, 2), 100, 100, nullptr, 0));
    batch_t* text =
        gl_batch(&render, gl_batch_create(&render, batch_type_text, gl_format(2, 1, 1, 2), 1000, 100, fonts, 0));
    batch_t* images =
        gl_batch(&render, gl_batch_create(&render, batch_type_images, gl_format(2, 1, 1, 2), 100, 100, nullptr, 0));

    static const u8 four[16] = {255, 0, 0, 255, 0, 255, 0, 255, 0, 0, 255, 255, 255, 255, 255, 255};
    u32 quadrants = gl_texture_create(four, 2, 2, 4, 0);
    static const u8 grey[1] = {200};
    u32 single = gl_texture_create(grey, 1, 1, 1, 0);
    static const u8 odd_row[9] = {10, 20, 30, 40, 50, 60, 70, 80, 90};  // 9 bytes a row
    u32 odd = gl_texture_create(odd_row, 3, 1, 3, 0);
    EXPECT_NE(odd, 0u);
    // A size the context won't take gives no texture, and the drawing goes on.
    EXPECT_EQ(gl_texture_create(nullptr, (i32)gl_texture_size_limit() + 1, 1, 4, 0), 0u);

    const colour_t white = colour_white;
    gl_frame_begin(&render);
    gl_clear(&render, colour_black);
    gl_batch_rectangle(rectangles, rect_t{10, 10, 110, 110}, nullptr, nullptr, colour_t{1, 0, 0, 1});
    gl_scissor(rectangles, true, 150, 0, 20, 240);
    gl_batch_rectangle(rectangles, rect_t{140, 10, 200, 110}, nullptr, nullptr, colour_t{0, 1, 0, 1});
    gl_scissor(rectangles, false, 0, 0, 0, 0);
    gl_batch_rectangle(rectangles, rect_t{10, 150, 50, 190}, nullptr, nullptr, colour_t{0, 0, 1, 0.5f});
    gl_batch_image(images, rect_t{220, 10, 260, 50}, nullptr, nullptr, white, quadrants, 4);
    gl_batch_image(images, rect_t{280, 10, 300, 30}, nullptr, nullptr, white, single, 1);
    gl_batch_text(text, (const u8*)"MMMM", 4, 100, 200, 1, 2, white);
    gl_frame_end(&render);

    static u8 pixels[320 * 240 * 4];
    gl_read_framebuffer(0, 0, 320, 240, pixels, sizeof(pixels));
    EXPECT_EQ(glGetError(), (GLenum)GL_NO_ERROR);
    auto at = [&](int x, int y) {
        const u8* p = pixels + ((size_t)y * 320 + x) * 4;
        return pixel_t{p[0], p[1], p[2]};
    };
    struct case_t {
        const char* what;
        int x, y;
        pixel_t colour;
    } cases[] = {
        {"red rectangle", 60, 60, {255, 0, 0}},
        {"outside everything", 5, 5, {0, 0, 0}},
        {"green inside the scissor", 160, 60, {0, 255, 0}},
        {"green cut by the scissor", 145, 60, {0, 0, 0}},
        {"green cut on the right", 180, 60, {0, 0, 0}},
        {"half blue over black", 30, 170, {0, 0, 128}},
        {"image, lower left texel", 225, 15, {255, 0, 0}},
        {"image, lower right texel", 255, 15, {0, 255, 0}},
        {"image, upper left texel", 225, 45, {0, 0, 255}},
        {"image, upper right texel", 255, 45, {255, 255, 255}},
        {"one byte a pixel is grey", 290, 20, {200, 200, 200}},
    };
    for (const case_t& c : cases) {
        pixel_t p = at(c.x, c.y);
        EXPECT_NEAR(p.r, c.colour.r, 2) << c.what;
        EXPECT_NEAR(p.g, c.colour.g, 2) << c.what;
        EXPECT_NEAR(p.b, c.colour.b, 2) << c.what;
    }
    // The text: white ink on the baseline's row band, starting at the pen.
    int ink = 0, leftmost = 320;
    for (int y = 195; y < 220; y++) {
        for (int x = 90; x < 200; x++) {
            if (at(x, y).r > 200) {
                ink++;
                leftmost = std::min(leftmost, x);
            }
        }
    }
    EXPECT_GT(ink, 100);
    EXPECT_GE(leftmost, 99);
    EXPECT_LE(leftmost, 101);

    // A second frame with glyphs not drawn before: they join the atlas, and only
    // their rows are uploaded to the same texture.
    u32 old_texture = fonts->fonts[2].atlas->texture;
    EXPECT_NE(old_texture, 0u);
    gl_frame_begin(&render);
    gl_clear(&render, colour_black);
    gl_batch_text(text, (const u8*)"\xD0\x96\xD0\x96", 4, 100, 200, 1, 2, white);
    gl_frame_end(&render);
    EXPECT_EQ(fonts->fonts[2].atlas->texture, old_texture);
    gl_read_framebuffer(0, 0, 320, 240, pixels, sizeof(pixels));
    int new_ink = 0;
    for (int y = 195; y < 220; y++) {
        for (int x = 90; x < 200; x++) new_ink += at(x, y).r > 200;
    }
    EXPECT_GT(new_ink, 100);
    EXPECT_EQ(glGetError(), (GLenum)GL_NO_ERROR);

    // Rectangles over rectangles, as a panel's background under its rows: the
    // backend leaves out what is covered, and every pixel must still be what drawing
    // them one after the other gives. Edges off the pixel centres, scissors, a
    // translucent one in between and a background over the whole window.
    struct layer_t {
        rect_t rect;
        colour_t colour;
        rect_t clip;  // x0 == x1: none
    } layers[] = {
        {{0, 0, 320, 240}, {0.2f, 0.2f, 0.2f, 1}, {}},
        {{20.25f, 20.25f, 300.75f, 220.75f}, {0.4f, 0.3f, 0.3f, 1}, {}},
        {{60.25f, 100.25f, 180.75f, 230.25f}, {0, 0, 1, 0.5f}, {}},
        {{40, 10, 250, 150}, {0.8f, 0.1f, 0.1f, 1}, {30, 30, 200, 200}},
        {{22.5f, 160.25f, 298.25f, 180.25f}, {0.5f, 0.5f, 0.5f, 1}, {0, 0, 320, 240}},
        {{22.5f, 180.25f, 298.25f, 200.25f}, {0.6f, 0.6f, 0.6f, 1}, {0, 0, 320, 240}},
        {{100.75f, 170.25f, 120.25f, 175.75f}, {0, 1, 0, 1}, {}},
    };
    gl_frame_begin(&render);
    gl_clear(&render, colour_black);
    for (const layer_t& layer : layers) {
        bool clipped = layer.clip.x1 > layer.clip.x0;
        gl_scissor(rectangles, clipped, (i32)layer.clip.x0, (i32)layer.clip.y0, (i32)rect_width(layer.clip),
                   (i32)rect_height(layer.clip));
        gl_batch_rectangle(rectangles, layer.rect, nullptr, nullptr, layer.colour);
    }
    gl_frame_end(&render);
    gl_read_framebuffer(0, 0, 320, 240, pixels, sizeof(pixels));
    int wrong = 0;
    for (int y = 0; y < 240; y++) {
        for (int x = 0; x < 320; x++) {
            f32 expected[3] = {0, 0, 0};
            for (const layer_t& layer : layers) {
                f32 cx = (f32)x + 0.5f, cy = (f32)y + 0.5f;
                bool clipped = layer.clip.x1 > layer.clip.x0;
                if (!rect_contains(layer.rect, cx, cy) || (clipped && !rect_contains(layer.clip, cx, cy))) continue;
                const f32 source[3] = {layer.colour.r, layer.colour.g, layer.colour.b};
                for (int c = 0; c < 3; c++) expected[c] = source[c] * layer.colour.a + expected[c] * (1 - layer.colour.a);
            }
            pixel_t p = at(x, y);
            const int got[3] = {p.r, p.g, p.b};
            for (int c = 0; c < 3; c++) wrong += std::abs(got[c] - (int)(expected[c] * 255 + 0.5f)) > 2;
        }
    }
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(glGetError(), (GLenum)GL_NO_ERROR);
}

// The icon strip as start-up uploads it: one coverage byte a pixel, drawn by a
// textured quad batch as white ink whose alpha is the coverage, the mask's first
// row at the top.
TEST_F(GlTest, IconsDrawTheirMasksUpright) {
    atlas_t atlas = icon_atlas_create();
    u32 texture = gl_texture_create(atlas.pixels, (i32)atlas.width, (i32)atlas.height, (u32)atlas.channels,
                                    texture_linear);
    renderer_t render;
    gl_renderer_create(&render, window.width, window.height, renderer_alpha_blending);
    batch_t* icons =
        gl_batch(&render, gl_batch_create(&render, batch_type_quads, gl_format(2, 1, 1, 2), 100, 100, nullptr, texture));
    const u32 drawn[] = {icon_check_12, icon_chevron_up_16, icon_chevron_left_10};
    gl_frame_begin(&render);
    gl_clear(&render, colour_black);
    for (u32 i = 0; i < 3; i++) {
        const f32* uv = atlas.images + 4 * drawn[i];
        f32 size = roundf((uv[2] - uv[0]) * (f32)atlas.width);
        f32 x = 40 + 40 * (f32)i;
        rect_t upright = {uv[0], uv[3], uv[2], uv[1]};
        gl_batch_rectangle(icons, rect_t{x, 40, x + size, 40 + size}, &upright, nullptr, colour_white);
    }
    gl_frame_end(&render);
    static u8 pixels[320 * 240 * 4];
    gl_read_framebuffer(0, 0, 320, 240, pixels, sizeof(pixels));
    for (u32 i = 0; i < 3; i++) {
        const f32* uv = atlas.images + 4 * drawn[i];
        u32 first_column = (u32)roundf(uv[0] * (f32)atlas.width);
        u32 size = (u32)roundf((uv[2] - uv[0]) * (f32)atlas.width);
        u32 x0 = 40 + 40 * i, ink = 0;
        for (u32 row = 0; row < size; row++) {
            for (u32 column = 0; column < size; column++) {
                u8 coverage = atlas.pixels[row * atlas.width + first_column + column];
                u32 y = 40 + size - 1 - row;
                const u8* p = pixels + ((size_t)y * 320 + x0 + column) * 4;
                EXPECT_NEAR(p[0], coverage, 3) << "icon " << drawn[i] << " at " << column << ", " << row;
                ink += coverage > 128;
            }
        }
        EXPECT_GE(ink, size) << "icon " << drawn[i];
    }
    gl_texture_delete(&texture);
    EXPECT_EQ(glGetError(), (GLenum)GL_NO_ERROR);
}

// Programs kept in a file draw as compiled ones do, in the first frame (rectangles
// by the text's program) and after it; the run that draws only rectangles keeps the
// pictures' program too; a file that isn't one is said once and written anew, one
// kept for other shaders quietly so.
TEST_F(GlTest, KeptProgramsDrawAsCompiledOnes) {
    temp_folder_t folder;
    std::string path = folder.path + "/cache/programs.bin";
    auto red_square_drawn = [&]() {
        renderer_t render;
        gl_renderer_create(&render, window.width, window.height, renderer_alpha_blending);
        gl_program_cache_use(&render, path.c_str());
        batch_t* rectangles =
            gl_batch(&render, gl_batch_create(&render, batch_type_quads, gl_format(2, 1, 0, 2), 10, 10, nullptr, 0));
        bool drawn = true;
        for (u32 frame = 0; frame < 2; frame++) {
            gl_frame_begin(&render);
            gl_clear(&render, colour_black);
            gl_batch_rectangle(rectangles, rect_t{10, 10, 50, 50}, nullptr, nullptr, colour_t{1, 0, 0, 0.5f});
            gl_frame_end(&render);
            u8 pixel[4];
            gl_read_framebuffer(30, 30, 1, 1, pixel, sizeof(pixel));
            drawn = drawn && std::abs(pixel[0] - 128) <= 2 && pixel[1] == 0;
        }
        data_free(&render.program_cache.memory);
        return drawn;
    };
    EXPECT_TRUE(red_square_drawn());
    std::string kept = file_bytes(path);
    EXPECT_EQ(kept.substr(0, 4), "NLPB");
    for (u32 slot = 0; slot < program_slot_count; slot++) {
        u32 size = 0;
        if (kept.size() >= 36) memcpy(&size, kept.data() + 24 + 4 * slot, 4);
        EXPECT_GT(size, 0u) << "slot " << slot;
    }
    u8* mark = log_test_mark(log_user);
    EXPECT_TRUE(red_square_drawn());
    EXPECT_EQ(log_test_since(log_user, mark), "");
    // Kept by a build with other shaders: built anew without a word, and kept again.
    std::string other = kept;
    other[8] ^= 1;
    write_file(path, other);
    EXPECT_TRUE(red_square_drawn());
    EXPECT_EQ(log_test_since(log_user, mark), "");
    EXPECT_EQ(file_bytes(path), kept);
    write_file(path, kept.substr(0, kept.size() - 1));
    EXPECT_TRUE(red_square_drawn());
    std::string said = log_test_since(log_user, mark);
    EXPECT_NE(said.find("don't read as such"), std::string::npos) << said;
    EXPECT_EQ(said.find('\n', said.find("such")), std::string::npos) << said;
    EXPECT_EQ(file_bytes(path).size(), kept.size());
    EXPECT_EQ(glGetError(), (GLenum)GL_NO_ERROR);
}

// A frame drawn only where it changed, over the pixels the last one left, is byte
// for byte the frame drawn whole: through a sequence of frames that change a
// button's colour, type into a box, open a drop-down over a scrolled list and close
// it, scroll by whole and half pixels, re-make a picture under the same handle,
// bake new glyphs and resize. Showing the changed rectangles keeps the back buffer.
struct damage_scene_t {
    colour_t button;
    std::string typed;
    bool dropdown;
    f32 scroll;
    u32 image;
    i32 width, height;
    bool recoloured;  // one row's colour changed
};

struct damage_batches_t {
    batch_t *rectangles, *text, *images, *overlay, *overlay_text;
};

static damage_batches_t damage_batches(renderer_t* render) {
    font_set_t* fonts = &test_fonts()->set;
    u8 plain = gl_format(2, 1, 0, 2), textured = gl_format(2, 1, 1, 2);
    damage_batches_t b;
    b.rectangles = gl_batch(render, gl_batch_create(render, batch_type_quads, plain, 200, 200, nullptr, 0));
    b.text = gl_batch(render, gl_batch_create(render, batch_type_text, textured, 2000, 200, fonts, 0));
    b.images = gl_batch(render, gl_batch_create(render, batch_type_images, textured, 10, 10, nullptr, 0));
    b.overlay = gl_batch(render, gl_batch_create(render, batch_type_quads, plain, 20, 20, nullptr, 0));
    b.overlay_text = gl_batch(render, gl_batch_create(render, batch_type_text, textured, 500, 20, fonts, 0));
    return b;
}

static void damage_scene_draw(renderer_t* render, const damage_batches_t& b, const damage_scene_t& scene) {
    const colour_t white = colour_white, ink = {0.1f, 0.1f, 0.1f, 1};
    gl_frame_begin(render);
    if (render->width != scene.width || render->height != scene.height) {
        gl_resize(render, 0, 0, scene.width, scene.height);
    }
    gl_clear(render, colour_black);
    gl_region(render, rect_t{10, 10, 150, 200}, scene.scroll);
    gl_batch_rectangle(b.rectangles, rect_t{0, 0, (f32)scene.width, (f32)scene.height}, nullptr, nullptr,
                       colour_t{0.3f, 0.3f, 0.3f, 1});
    gl_batch_rectangle(b.rectangles, rect_t{10, 10, 150, 200}, nullptr, nullptr, colour_t{0.9f, 0.9f, 0.9f, 1});
    // The list: rows cut by its scissor, text at pens off the pixel grid.
    gl_scissor(b.rectangles, true, 10, 10, 140, 190);
    gl_scissor(b.text, true, 10, 10, 140, 190);
    for (int row = 0; row < 14; row++) {
        f32 y = 200 - (f32)(row + 1) * 18 + scene.scroll;
        colour_t shade = row % 2 ? colour_t{0.8f, 0.85f, 0.9f, 1} : colour_t{0.95f, 0.9f, 0.85f, 0.75f};
        if (scene.recoloured && row == 3) shade = colour_t{0.79f, 0.32f, 0, 1};
        gl_batch_rectangle(b.rectangles, rect_t{12, y + 1, 148, y + 17}, nullptr, nullptr, shade);
        std::string label = "Entry " + std::to_string(row);
        gl_batch_text(b.text, (const u8*)label.data(), label.size(), 14.25f + 0.3f * (f32)row, y + 5, 1, 2, ink);
    }
    gl_scissor(b.rectangles, false, 0, 0, 0, 0);
    gl_scissor(b.text, false, 0, 0, 0, 0);
    gl_batch_rectangle(b.rectangles, rect_t{170, 200, 250, 225}, nullptr, nullptr, scene.button);
    gl_batch_text(b.text, (const u8*)"OK", 2, 195.5f, 207, 1, 2, ink);
    gl_batch_rectangle(b.rectangles, rect_t{170, 160, 300, 185}, nullptr, nullptr, white);
    gl_scissor(b.text, true, 172, 160, 126, 25);
    gl_batch_text(b.text, (const u8*)scene.typed.data(), scene.typed.size(), 174.5f, 167, 1, 2, ink);
    gl_scissor(b.text, false, 0, 0, 0, 0);
    if (scene.image) gl_batch_image(b.images, rect_t{200, 40, 264, 104}, nullptr, nullptr, white, scene.image, 4);
    if (scene.dropdown) {
        gl_batch_rectangle(b.overlay, rect_t{120.5f, 60, 220.5f, 150}, nullptr, nullptr, colour_t{1, 1, 0.8f, 1});
        for (int i = 0; i < 4; i++) {
            std::string choice = "Choice " + std::to_string(i);
            gl_batch_text(b.overlay_text, (const u8*)choice.data(), choice.size(), 124, 135 - 20 * (f32)i, 1, 2, ink);
        }
    }
    gl_frame_end(render);
}

static u32 damage_image(u8 shade) {
    u8 texels[16 * 16 * 4];
    for (u32 i = 0; i < 16 * 16; i++) {
        texels[i * 4] = (u8)(shade + i), texels[i * 4 + 1] = shade, texels[i * 4 + 2] = (u8)(i * 3), texels[i * 4 + 3] = 255;
    }
    return gl_texture_create(texels, 16, 16, 4, texture_linear);
}

TEST_F(GlTest, FramesDrawnWhereTheyChangedEqualFramesDrawnWhole) {
    ASSERT_EQ(window.running, 1u);
    EXPECT_EQ(window.back_buffer_kept, 1u);
    renderer_t kept, whole;
    gl_renderer_create(&kept, window.width, window.height, renderer_alpha_blending);
    gl_renderer_create(&whole, window.width, window.height, renderer_alpha_blending);
    kept.damage.enabled = 1;
    damage_batches_t kept_batches = damage_batches(&kept), whole_batches = damage_batches(&whole);

    // The box starts with the drop-down's letters: new glyphs change the atlas, and
    // every frame that bakes some is drawn whole.
    damage_scene_t scene = {colour_t{0.2f, 0.4f, 0.8f, 1}, "Choice OK", false, 0, damage_image(10), 320, 240};
    static u8 drawn[320 * 240 * 4], shown[320 * 240 * 4], expected[320 * 240 * 4];
    auto frame = [&](const char* what, i32 rects_at_most) {
        damage_scene_draw(&kept, kept_batches, scene);
        u64 size = (u64)scene.width * scene.height * 4;
        gl_read_framebuffer(0, 0, scene.width, scene.height, drawn, size);
        const damage_t* damage = &kept.damage;
        if (rects_at_most >= 0) {
            EXPECT_EQ(damage->whole, 0u) << what;
            EXPECT_LE(damage->rect_count, (u32)rects_at_most) << what;
        }
        window_swap_buffers(&window, damage->whole ? nullptr : damage->shown, damage->shown_count);
        gl_read_framebuffer(0, 0, scene.width, scene.height, shown, size);
        EXPECT_EQ(memcmp(drawn, shown, size), 0) << what << ": the back buffer lost its pixels";
        damage_scene_draw(&whole, whole_batches, scene);
        gl_read_framebuffer(0, 0, scene.width, scene.height, expected, size);
        u64 wrong = 0;
        for (u64 i = 0; i < size; i++) wrong += drawn[i] != expected[i];
        EXPECT_EQ(wrong, 0u) << what;
    };
    frame("first frame", -1);
    frame("second frame, the first that draws rectangles with their own program", -1);
    frame("nothing changed", 0);
    scene.button = colour_t{0.8f, 0.4f, 0.2f, 1};
    frame("button colour", 1);
    scene.typed = "Choice OKr";
    frame("typed", 1);
    scene.typed = "Choice OKry";
    frame("typed again", 1);
    scene.dropdown = true;
    frame("drop-down open", 4);
    scene.dropdown = false;
    frame("drop-down closed", 4);
    // The list's rows that stay move, and only the rest are drawn.
    const struct {
        f32 scroll;
        bool recoloured, dropdown;
        const char* what;
    } scrolls[] = {
        {7, false, false, "scrolled down"},     {20, false, false, "down again"},
        {3, false, false, "up"},                {40, false, false, "down by more than a strip"},
        {240, false, false, "a jump past the list"},
        {233, false, false, "back up"},         {25.5f, false, false, "a half pixel (drawn as it comes)"},
        {25, false, false, "whole again (drawn as it comes)"},      {30, true, false, "a row recoloured while scrolling"},
        {41, true, true, "a drop-down over the list"}, {52, false, true, "under the drop-down"},
        {52, false, false, "drop-down closed"}, {0, false, false, "back to the top"},
    };
    u64 moved = kept.damage.frames_moved;
    for (const auto& step : scrolls) {
        scene.scroll = step.scroll, scene.recoloured = step.recoloured, scene.dropdown = step.dropdown;
        frame(step.what, strstr(step.what, "as it comes") ? -1 : 8);
    }
    EXPECT_GE(kept.damage.frames_moved - moved, 6u);
    gl_texture_delete(&scene.image);
    scene.image = damage_image(200);
    frame("picture made again", -1);
    scene.typed = "Choice OKry\xD0\x96";
    frame("new glyphs", -1);
    scene.width = 300, scene.height = 200;
    frame("resized", -1);
    scene.width = 320, scene.height = 240;
    frame("resized back", -1);
    frame("nothing changed after a resize", 0);
    EXPECT_GE(kept.damage.frames_partial, 9u);
    gl_texture_delete(&scene.image);
    damage_free(&kept.damage);
    EXPECT_EQ(glGetError(), (GLenum)GL_NO_ERROR);
}

// A worker's wake-up ends the main thread's wait for input, and the drain that
// follows sees no input.
TEST_F(GlTest, WakeUpFromAnotherThreadEndsTheWait) {
    ASSERT_EQ(window.running, 1u);
    // Let whatever the X server still has to say about the new window arrive first.
    for (int i = 0; i < 25; i++) {
        window_handle_messages(&window, 0);
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    for (int round = 0; round < 3; round++) {
        auto start = std::chrono::steady_clock::now();
        std::thread worker([] {
            std::this_thread::sleep_for(std::chrono::milliseconds(200));
            wake_post();
        });
        window_handle_messages(&window, window_messages_wait);
        double waited = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        worker.join();
        EXPECT_GE(waited, 0.15) << round;
        EXPECT_LT(waited, 5.0) << round;
        EXPECT_EQ(window.event_count, 0u);
        EXPECT_EQ(window.text_count, 0u);
    }
}

TEST_F(GlTest, ClipboardCarriesTextBothWays) {
    ASSERT_EQ(window.running, 1u);
    data_t text = data_literal("Newsloom \xE2\x80\xA6 clipboard");
    EXPECT_EQ(clipboard_copy(text), 1u);
    u8 buffer[64] = {'x'};
    data_t target = data_make(sizeof(buffer), 1, buffer);
    data_t pasted = clipboard_paste(&target, true);
    EXPECT_EQ(std::string((const char*)pasted.bytes, pasted.used), "Newsloom \xE2\x80\xA6 clipboard");
    EXPECT_EQ(pasted.bytes, buffer + 1);
    EXPECT_EQ(buffer[1 + pasted.used], 0);
    // A target too small takes what fits, cut at a whole character.
    u8 small[11];
    data_t short_target = data_make(sizeof(small), 0, small);
    data_t cut = clipboard_paste(&short_target, false);
    EXPECT_EQ(std::string((const char*)cut.bytes, cut.used), "Newsloom ");
}

}  // namespace
