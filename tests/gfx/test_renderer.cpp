// The renderer without a context: vertex formats, quads in strip order with the
// restart index, text expansion into glyph quads, and full batches that drop.
#include <gtest/gtest.h>

#include <cstring>

#include "gfx/renderer.h"
#include "layout/test_fonts.h"

namespace {

TEST(Renderer, QuadsGoInStripOrderWithRestart) {
    renderer_t render;
    gl_renderer_create(&render, 100, 100, renderer_alpha_blending, render_backend_stub);
    u32 handle = gl_batch_create(&render, batch_type_quads, gl_format(2, 1, 0, 2), 2, 4, nullptr, 0);
    batch_t* batch = gl_batch(&render, handle);
    gl_frame_begin(&render);
    const rect_t rect = {1, 2, 3, 4};
    gl_batch_rectangle(batch, rect, nullptr, nullptr, colour_white);
    const f32* v = (const f32*)batch->vertices;
    const f32 expected[4][2] = {{1, 4}, {1, 2}, {3, 4}, {3, 2}};
    for (u32 i = 0; i < 4; i++) {
        EXPECT_EQ(v[i * 3], expected[i][0]);
        EXPECT_EQ(v[i * 3 + 1], expected[i][1]);
        EXPECT_EQ(((const u32*)v)[i * 3 + 2], 0xFFFFFFFFu);
    }
    const u16* indices = (const u16*)batch->indices;
    EXPECT_EQ(indices[4], 0xFFFF);
    // Two quads fit; the third is dropped, not a stop.
    gl_batch_rectangle(batch, rect, nullptr, nullptr, colour_white);
    gl_batch_rectangle(batch, rect, nullptr, nullptr, colour_white);
    EXPECT_EQ(batch->vertex_count, 8u);
    EXPECT_EQ(batch->dropped, 1u);
    // A later colour (packed red lowest) reaches all four corners of that quad
    // alone; a dropped quad takes it without harm.
    for (u32 command = 1; command < batch->command_count; command++) {
        gl_batch_command_colour(batch, command, colour_t{1, 0.5f, 0, 1});
    }
    for (u32 i = 0; i < 8; i++) EXPECT_EQ(((const u32*)v)[i * 3 + 2], i < 4 ? 0xFFFFFFFFu : 0xFF0080FFu) << i;
    gl_frame_begin(&render);
    EXPECT_EQ(batch->vertex_count, 0u);
    EXPECT_EQ(batch->dropped, 0u);
}

// The stub executes what GL would: the renderer's own commands, then each batch's
// in creation order, without the quads that found their batch full.
TEST(Renderer, StubRecordsWhatAFrameExecutes) {
    renderer_t render;
    gl_renderer_create(&render, 200, 100, renderer_alpha_blending, render_backend_stub);
    u32 quads = gl_batch_create(&render, batch_type_quads, gl_format(2, 1, 0, 2), 1, 4, nullptr, 0);
    u32 text = gl_batch_create(&render, batch_type_text, gl_format(2, 1, 1, 2), 100, 10, &test_fonts()->set, 0);
    u32 images = gl_batch_create(&render, batch_type_images, gl_format(2, 1, 1, 2), 10, 10, nullptr, 0);
    const colour_t red = {1, 0, 0, 1};
    for (u32 frame = 0; frame < 2; frame++) {  // each frame's records start afresh
        gl_frame_begin(&render);
        gl_clear(&render, colour_t{0, 0, 1, 1});
        gl_renderer_scissor(&render, true, -5, 10, 50, 60);
        gl_batch_text(gl_batch(&render, text), (const u8*)"  ", 2, 7, 8, 0, 1, colour_white);  // no ink
        gl_batch_rectangle(gl_batch(&render, quads), rect_t{1, 2, 3, 4}, nullptr, nullptr, red);
        gl_scissor(gl_batch(&render, quads), false, 0, 0, 0, 0);
        gl_batch_rectangle(gl_batch(&render, quads), rect_t{5, 6, 7, 8}, nullptr, nullptr, red);  // full
        // The fourth command fills the batch; a scissor past it is dropped, not a stop.
        gl_scissor(gl_batch(&render, quads), false, 0, 0, 0, 0);
        gl_scissor(gl_batch(&render, quads), true, 1, 1, 1, 1);
        gl_batch_image(gl_batch(&render, images), rect_t{10, 20, 30, 40}, nullptr, nullptr, colour_white, 42, 3);
        gl_frame_end(&render);
    }
    const u32 none = render_record_no_batch, white = color_pack(colour_white);
    struct case_t {
        u32 kind, batch;
        rect_t rect;
        u32 colour, enabled, texture;
    } cases[] = {
        {render_command_clear, none, {}, 0xFFFF0000u, 0, 0},
        {render_command_scissor, none, {0, 10, 50, 70}, 0, 1, 0},
        {batch_type_quads, quads, {1, 2, 3, 4}, 0xFF0000FFu, 0, 0},
        {render_command_scissor, quads, {}, 0, 0, 0},
        {render_command_scissor, quads, {}, 0, 0, 0},
        {batch_type_text, text, {}, white, 0, 0},
        {batch_type_images, images, {10, 20, 30, 40}, white, 0, 42},
    };
    ASSERT_EQ(render.record_count, ARRAY_COUNT(cases));
    for (u32 i = 0; i < ARRAY_COUNT(cases); i++) {
        const render_record_t* r = &render_records(&render)[i];
        const case_t& c = cases[i];
        EXPECT_EQ(r->kind, c.kind) << i;
        EXPECT_EQ(r->batch, c.batch) << i;
        EXPECT_TRUE(rect_equal(r->rect, c.rect)) << i;
        EXPECT_EQ(r->colour, c.colour) << i;
        EXPECT_EQ(r->enabled, c.enabled) << i;
        EXPECT_EQ(r->texture, c.texture) << i;
    }
    const render_record_t* words = &render_records(&render)[5];
    EXPECT_EQ(std::string((const char*)words->text.bytes, words->text.used), "  ");
    EXPECT_EQ(words->font, 1u);
    EXPECT_EQ(words->x, 7);
    EXPECT_EQ(words->y, 8);
    EXPECT_EQ(render_records(&render)[6].bytes_per_pixel, 3u);
}

// One quad per inked glyph, the first glyph's ink at the pen and kerning between
// them. Large screens take four-byte indices: the same text gives the same
// vertices and the same indices, restarts included. A byte that starts no
// character draws the replacement glyph and the text goes on after it.
TEST(Renderer, TextExpandsToOneQuadPerInkedGlyphWithEitherIndexSize) {
    renderer_t render;
    gl_renderer_create(&render, 400, 100, renderer_alpha_blending, render_backend_stub);
    font_set_t* set = &test_fonts()->set;
    u32 handles[2] = {gl_batch_create(&render, batch_type_text, gl_format(2, 1, 1, 2), 100, 10, set, 0),
                      gl_batch_create(&render, batch_type_text, gl_format(2, 1, 1, 4), 100, 10, set, 0)};
    const char text[] = "AV \xFF\xC3\xA9";  // A, V, a space without ink, a stray byte, e acute
    gl_frame_begin(&render);
    for (u32 handle : handles) gl_batch_text(gl_batch(&render, handle), (const u8*)text, 6, 10, 50, 1, 1, colour_white);
    gl_frame_end(&render);
    const batch_t* narrow = gl_batch(&render, handles[0]);
    const batch_t* wide = gl_batch(&render, handles[1]);
    ASSERT_EQ(narrow->vertex_count, 16u);
    ASSERT_EQ(wide->vertex_count, 16u);
    EXPECT_EQ(memcmp(narrow->vertices, wide->vertices, 16 * narrow->vertex_size), 0);
    ASSERT_EQ(wide->index_count, 20u);
    for (u32 i = 0; i < 20; i++) {
        u32 expected = i % 5 == 4 ? 0xFFFFFFFFu : i / 5 * 4 + i % 5;
        EXPECT_EQ(((const u32*)wide->indices)[i], expected) << i;
        EXPECT_EQ(((const u16*)narrow->indices)[i], (u16)expected) << i;
    }
    const f32* v = (const f32*)wide->vertices;
    for (u32 quad = 1; quad < 4; quad++) EXPECT_GT(v[quad * 4 * 5], v[(quad - 1) * 4 * 5]) << quad;
    const font_t* font = &set->fonts[1];
    const glyph_t* a = font_glyph(font, 'A');
    f32 kern = (f32)font_kerning(font, a, 'V') * font->scale;
    EXPECT_LT(kern, 0);
    EXPECT_NEAR(v[0], 10, 0.001f);  // trim_first puts the ink of A at the pen
    EXPECT_NEAR(v[4 * 5], 10 - a->offset_x0 + a->advance + kern + font_glyph(font, 'V')->offset_x0, 0.001f);
}

}  // namespace
