// The font set on real faces: glyphs made when met, faces found for what the main
// face lacks, the atlas's reuse when it is full, kerning from the cache, and the
// faces and glyphs it can't use.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <cstring>
#include <string>
#include <vector>

#include "base/log.h"
#include "gfx/font.h"
#include "gfx/renderer.h"
#include "layout/layout.h"
#include "layout/test_fonts.h"
#include "log_support.h"

namespace {

u32 log_lines_containing(u64 channel, u8* mark, const char* words) {
    return (u32)text_count(log_test_since(channel, mark), words);
}

std::string to_utf8(const std::u32string& text) {
    std::string utf8;
    for (char32_t c : text) {
        u8 bytes[4];
        u32 length = 0;
        utf_error_t error = 0;
        utf8_encode(bytes, bytes + 4, (u32)c, &length, &error);
        utf8.append((const char*)bytes, length);
    }
    return utf8;
}

// More glyphs than a first atlas of 512 by 256 holds: ASCII, Latin-1 and Cyrillic.
std::u32string latin_and_cyrillic() {
    std::u32string many;
    for (u32 c = 0x21; c < 0x7F; c++) many += (char32_t)c;
    for (u32 c = 0xC0; c < 0x100; c++) many += (char32_t)c;
    for (u32 c = 0x410; c < 0x450; c++) many += (char32_t)c;
    return many;
}

// A private set on the test faces, so that tests can shrink its atlas.
struct private_set_t {
    font_set_t set;
    private_set_t(u16 atlas_limit, u32 find_faces) {
        font_set_create(&set, data_allocate(0x500000));
        set.atlas_limit = atlas_limit;
        set.find_faces = find_faces;
        font_load(&set, test_fonts()->sans, 16, 0);
        font_load(&set, test_fonts()->sans, 20, 0);
        font_load(&set, test_fonts()->mono, 12, 1);
    }
    ~private_set_t() { font_set_free(&set); }
};

// A glyph's bitmap as the atlas should hold it, rows bottom-up.
std::vector<u8> fresh_bitmap(const font_t* font, const glyph_t* glyph) {
    const stbtt_fontinfo* info = &font->set->faces[glyph->face].info;
    f32 scale = stbtt_ScaleForPixelHeight(info, font->size) * 2;
    std::vector<u8> top_down((size_t)glyph->width * glyph->height), bottom_up(top_down.size());
    f32 sub_x = 0, sub_y = 0;
    stbtt_MakeGlyphBitmapSubpixelPrefilter(info, top_down.data(), glyph->width, glyph->height, glyph->width, scale,
                                           scale, 0, 0, 2, 2, &sub_x, &sub_y, (int)glyph->id);
    for (u32 row = 0; row < glyph->height; row++) {
        memcpy(&bottom_up[(size_t)(glyph->height - 1 - row) * glyph->width], &top_down[(size_t)row * glyph->width],
               glyph->width);
    }
    return bottom_up;
}

// Draws each text in a batch of its own, all in one frame of a stub renderer, and
// checks that every quad's source in the atlas as it is when the frame is drawn
// holds the bitmap of the glyph it stands for; gives the quad count.
u32 draw_and_check_sources(font_set_t* set, u32 font_index, const std::vector<std::u32string>& texts) {
    renderer_t render;
    gl_renderer_create(&render, 800, 100, renderer_alpha_blending, render_backend_stub);
    std::vector<std::string> utf8;
    for (const std::u32string& text : texts) {
        utf8.push_back(to_utf8(text));
        gl_batch_create(&render, batch_type_text, gl_format(2, 1, 1, 2), 4096, 16, set, 0);
    }
    gl_frame_begin(&render);
    for (u32 b = 0; b < texts.size(); b++) {
        gl_batch_text(gl_batch(&render, b), (const u8*)utf8[b].data(), utf8[b].size(), 0, 50, 0, font_index,
                      colour_white);
    }
    gl_frame_end(&render);

    const font_t* font = &set->fonts[font_index];
    const font_atlas_t* atlas = font->atlas;
    u32 quads = 0, errors = 0;
    for (u32 b = 0; b < texts.size(); b++) {
        const batch_t* batch = gl_batch(&render, b);
        u32 quad = 0;
        for (char32_t c : texts[b]) {
            const glyph_t* glyph = font_glyph(font, (u32)c);
            if (!glyph->width) continue;
            const f32* v = (const f32*)(batch->vertices + (u64)quad * 4 * batch->vertex_size);
            u32 x0 = (u32)std::lround(v[1 * 5 + 3] * atlas->width),
                y0 = (u32)std::lround(v[1 * 5 + 4] * atlas->height);
            u32 x1 = (u32)std::lround(v[2 * 5 + 3] * atlas->width),
                y1 = (u32)std::lround(v[2 * 5 + 4] * atlas->height);
            EXPECT_EQ(x1 - x0, glyph->width) << std::hex << (u32)c;
            EXPECT_EQ(y1 - y0, glyph->height) << std::hex << (u32)c;
            std::vector<u8> expected = fresh_bitmap(font, glyph);
            for (u32 y = 0; y < glyph->height && y0 + y < atlas->height; y++) {
                for (u32 x = 0; x < glyph->width && x0 + x < atlas->width; x++) {
                    errors += atlas->pixels[(u64)(y0 + y) * atlas->width + x0 + x] !=
                              expected[(size_t)y * glyph->width + x];
                }
            }
            quad += 1;
        }
        EXPECT_EQ(batch->vertex_count, quad * 4) << b;
        quads += quad;
    }
    EXPECT_EQ(errors, 0u);
    return quads;
}

u32 draw_and_check_sources(font_set_t* set, u32 font_index, const std::u32string& text) {
    return draw_and_check_sources(set, font_index, std::vector<std::u32string>{text});
}

TEST(Font, AFullAtlasReusesItsOldestShelvesWithoutDrawingAWrongGlyph) {
    // 128 by 128 pixels hold a few dozen glyphs; each frame draws a new set of them.
    private_set_t p(128, 0);
    font_set_t* set = &p.set;
    std::u32string alphabets[] = {U"ABCDEFGHIJKLM",
                                  U"NOPQRSTUVWXYZ",
                                  U"abcdefghijklm",
                                  U"nopqrstuvwxyz",
                                  U"\u0410\u0411\u0412\u0413\u0414\u0415\u0416\u0417\u0418\u0419",
                                  U"ABCDEFGHIJKLM"};
    u16 generations = 0;
    for (const std::u32string& text : alphabets) {
        draw_and_check_sources(set, 0, text);
        EXPECT_LE(set->fonts[0].atlas->width, 128);
        EXPECT_LE(set->fonts[0].atlas->height, 128);
    }
    const font_atlas_t* atlas = set->fonts[0].atlas;
    for (u32 s = 0; s < atlas->shelf_count; s++) generations = (u16)(generations + atlas->shelves[s].generation);
    EXPECT_GT(generations, 0u);  // shelves were emptied and filled again

    // More than the atlas holds in one frame: what doesn't fit waits, nothing wrong
    // is drawn, and one line says so.
    u8* mark = log_test_mark(log_main);
    std::u32string many;
    for (u32 c = 0x391; c < 0x3A9; c++) many += (char32_t)c;
    for (u32 c = 0x3B1; c < 0x3C9; c++) many += (char32_t)c;
    renderer_t render;
    gl_renderer_create(&render, 800, 100, renderer_alpha_blending, render_backend_stub);
    u32 handle = gl_batch_create(&render, batch_type_text, gl_format(2, 1, 1, 2), 4096, 16, set, 0);
    std::string utf8 = to_utf8(many);
    for (u32 frame = 0; frame < 2; frame++) {
        gl_frame_begin(&render);
        gl_batch_text(gl_batch(&render, handle), (const u8*)utf8.data(), utf8.size(), 0, 50, 0, 2, colour_white);
        gl_frame_end(&render);
    }
    EXPECT_LT(gl_batch(&render, handle)->vertex_count, many.size() * 4);
    EXPECT_EQ(log_lines_containing(log_main, mark, "font atlas is full"), 1u);
    // The next frame with little text draws every glyph right again.
    EXPECT_EQ(draw_and_check_sources(set, 2, U"\u0391\u03A8\u03B1"), 3u);
}

// Glyphs baked late in a frame may grow the atlas: the quads of text expanded
// before them, in an earlier batch and earlier in the same text, still sample
// their own glyphs in the larger atlas.
TEST(Font, QuadsMadeBeforeTheAtlasGrowsInAFrameKeepTheirGlyphs) {
    private_set_t p(4096, 0);
    std::u32string many = latin_and_cyrillic() + latin_and_cyrillic().substr(0, 0x7F - 0x21);  // ASCII met again
    EXPECT_GT(draw_and_check_sources(&p.set, 1, {U"Wg\u0416", many}), 300u);
    EXPECT_GT(p.set.fonts[1].atlas->height, 256);  // it grew, from 512 by 256
}

// A font's atlas texture that the driver refuses leaves that font's text undrawn,
// said once and not asked for again each frame, while the other fonts draw; the
// atlas grown gets its texture.
TEST(Font, AnAtlasWhoseTextureIsRefusedHidesItsTextUntilItGrows) {
    private_set_t p(4096, 0);
    renderer_t render;
    gl_renderer_create(&render, 800, 100, renderer_alpha_blending, render_backend_stub);
    u32 handle = gl_batch_create(&render, batch_type_text, gl_format(2, 1, 1, 2), 4096, 16, &p.set, 0);
    render.textures_to_refuse = 1;
    u8* mark = log_test_mark(log_user);
    auto drawn_fonts = [&](const std::string& text) {
        gl_frame_begin(&render);
        gl_batch_text(gl_batch(&render, handle), (const u8*)text.data(), text.size(), 0, 50, 0, 0, colour_white);
        gl_batch_text(gl_batch(&render, handle), (const u8*)"Wg", 2, 0, 80, 0, 1, colour_white);
        gl_frame_end(&render);
        std::vector<u32> fonts;
        for (u32 i = 0; i < render.record_count; i++) {
            if (render_records(&render)[i].kind == batch_type_text) fonts.push_back(render_records(&render)[i].font);
        }
        return fonts;
    };
    for (u32 frame = 0; frame < 3; frame++) EXPECT_EQ(drawn_fonts("Wg"), std::vector<u32>{1}) << frame;
    EXPECT_EQ(render.textures_created, 1u);
    EXPECT_EQ(log_lines_containing(log_user, mark, "could not be made into a texture"), 1u);

    EXPECT_EQ(drawn_fonts(to_utf8(latin_and_cyrillic())), (std::vector<u32>{0, 1}));
    EXPECT_GT(p.set.fonts[0].atlas->height, 256);
    EXPECT_EQ(render.textures_created, 2u);
}

TEST(Font, AFullAtlasOfLowShelvesMakesRoomForATallGlyph) {
    private_set_t p(64, 0);
    EXPECT_EQ(draw_and_check_sources(&p.set, 0, U"aceomn"), 6u);
    EXPECT_EQ(draw_and_check_sources(&p.set, 0, U"\u00C5"), 1u);
    EXPECT_EQ(draw_and_check_sources(&p.set, 0, U"ac\u00C5"), 3u);
}

TEST(Font, AGlyphLargerThanTheAtlasIsTheReplacementOrNothing) {
    u8* mark = log_test_mark(log_main);
    private_set_t p(16, 0);
    const font_t* font = &p.set.fonts[1];  // 20 pixels, drawn at twice that
    const glyph_t* zhe = font_glyph(font, 0x416);
    EXPECT_EQ(zhe->width, 0);
    EXPECT_GT(zhe->advance, 10);
    EXPECT_EQ(draw_and_check_sources(&p.set, 1, U"\u0416W"), 0u);
    EXPECT_EQ(log_lines_containing(log_main, mark, "too large"), 1u);
}

TEST(Font, KerningFromTheCacheAgreesWithTheFaceForEveryPair) {
    private_set_t p(4096, 0);
    u32 kerned = 0;
    // Enough pairs to fill the cache of other pairs more than once.
    std::vector<u32> codepoints;
    for (u32 c = 0x20; c < 0x7F; c++) codepoints.push_back(c);
    for (u32 c = 0x391; c < 0x3CA; c++) codepoints.push_back(c);
    for (u32 c = 0x410; c < 0x450; c++) codepoints.push_back(c);
    for (u32 pass = 0; pass < 2; pass++) {
        for (u32 f = 0; f < p.set.font_count; f++) {
            const font_t* font = &p.set.fonts[f];
            const stbtt_fontinfo* info = &p.set.faces[font->face].info;
            for (u32 first : codepoints) {
                const glyph_t* glyph = font_glyph(font, first);
                for (u32 second : codepoints) {
                    i32 expected = stbtt_GetGlyphKernAdvance(info, (int)glyph->id, (int)font_glyph(font, second)->id);
                    ASSERT_EQ(font_kerning(font, glyph, second), expected) << f << " " << first << " " << second;
                    if ((first | second) < 128) {
                        // What a line adds for the pair, from the font's table.
                        ASSERT_EQ(font_advance_pair(font, first, second),
                                  font_glyph(font, second)->advance + (f32)expected * font->scale);
                    }
                    kerned += expected != 0;
                }
            }
        }
    }
    EXPECT_GT(kerned, 100u);  // the faces do kern
}

TEST(Font, OtherScriptsComeFromACoveringFaceAndMeasureAsTheyDraw) {
    char path[4096];
    u32 index = 0;
    if (!font_file_covering(0x4E2D, path, sizeof(path), &index)) {
        GTEST_SKIP() << "no installed face covers Chinese (fonts-wqy-microhei or fonts-noto-cjk)";
    }
    private_set_t p(4096, 1);
    const font_t* font = &p.set.fonts[0];
    u32 faces = p.set.face_count;
    const char title[] = "\xE4\xB8\xAD\xE6\x96\x87\xE6\xA0\x87\xE9\xA2\x98 A";  // four characters, a space, A
    f32 sum = 0;
    for (u32 c : {0x4E2Du, 0x6587u, 0x6807u, 0x9898u}) {
        const glyph_t* g = font_glyph(font, c);
        EXPECT_NE(g->face, font->face) << std::hex << c;
        EXPECT_NE(g->id, 0u);
        EXPECT_GT(g->width, 10);
        EXPECT_GT(g->advance, 12);
        sum += g->advance;
    }
    // All four from one face, looked up once.
    EXPECT_EQ(p.set.face_count, faces + 1);
    sum += font_glyph(font, ' ')->advance + font_glyph(font, 'A')->advance;
    const glyph_t* first = font_glyph(font, 0x4E2D);
    f32 width = layout_get_single_line_size(font, (const u8*)title, sizeof(title) - 1, codepoint_invalid).width;
    EXPECT_NEAR(width, sum - first->offset_x0, 0.01f);
    EXPECT_EQ(draw_and_check_sources(&p.set, 0, U"\u4E2D\u6587\u6807\u9898 A"), 5u);

    // Japanese, Korean, Arabic and Hebrew too, in their own glyphs wherever an
    // installed face has them.
    for (u32 c : {0x3042u, 0x30ABu, 0xD55Cu, 0x639u, 0x5D0u}) {
        if (!font_file_covering(c, path, sizeof(path), &index)) continue;
        const glyph_t* g = font_glyph(font, c);
        EXPECT_EQ((u32)stbtt_FindGlyphIndex(&p.set.faces[g->face].info, (int)c), g->id) << std::hex << c;
        EXPECT_NE(g->id, 0u) << std::hex << c;
    }
}

// A face that fontconfig names for a character but that doesn't load (here a
// bitmap font, which fontconfig reads and the glyph baker can't): the character
// shows as U+FFFD, nothing is kept of the file, and the log says so once.
TEST(Font, AFaceFontconfigNamesButThatDoesNotLoadIsSaidOnce) {
    char pattern[] = "/tmp/newsloom_fake_font_XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    std::string folder = pattern;
    std::string bdf = "STARTFONT 2.1\nFONT -fake-fake-medium-r-normal--16-160-75-75-c-80-iso10646-1\nSIZE 16 75 75\n"
                      "FONTBOUNDINGBOX 8 16 0 -4\nSTARTPROPERTIES 5\nFAMILY_NAME \"Fake\"\n"
                      "CHARSET_REGISTRY \"ISO10646\"\nCHARSET_ENCODING \"1\"\nFONT_ASCENT 12\nFONT_DESCENT 4\n"
                      "ENDPROPERTIES\nCHARS 2\n";
    for (u32 codepoint : {0x10FFFCu, 0x10FFFDu}) {
        bdf += "STARTCHAR c" + std::to_string(codepoint) + "\nENCODING " + std::to_string(codepoint) +
               "\nSWIDTH 500 0\nDWIDTH 8 0\nBBX 8 16 0 -4\nBITMAP\n";
        for (u32 row = 0; row < 16; row++) bdf += "FF\n";
        bdf += "ENDCHAR\n";
    }
    bdf += "ENDFONT\n";
    // The system's faces and the fake one, bitmap fonts otherwise being refused.
    std::string config = "<?xml version=\"1.0\"?>\n<fontconfig><include ignore_missing=\"yes\">/etc/fonts/fonts.conf"
                         "</include><dir>" + folder + "</dir><cachedir>" + folder + "/cache</cachedir><selectfont>"
                         "<acceptfont><pattern><patelt name=\"family\"><string>Fake</string></patelt></pattern>"
                         "</acceptfont></selectfont></fontconfig>\n";
    for (const auto& [name, text] : {std::pair{"/fake.bdf", bdf}, std::pair{"/fonts.conf", config}}) {
        FILE* f = fopen((folder + name).c_str(), "wb");
        ASSERT_NE(f, nullptr);
        fputs(text.c_str(), f);
        fclose(f);
    }
    setenv("FONTCONFIG_FILE", (folder + "/fonts.conf").c_str(), 1);
    char path[4096];
    u32 index = 0;
    bool named = font_file_covering(0x10FFFD, path, sizeof(path), &index) && folder + "/fake.bdf" == path;
    if (named) {
        u8* mark = log_test_mark(log_main);
        private_set_t p(4096, 1);
        u32 faces = p.set.face_count;
        for (u32 codepoint : {0x10FFFCu, 0x10FFFDu}) {
            const glyph_t* glyph = font_glyph(&p.set.fonts[0], codepoint);
            EXPECT_EQ(glyph->face, p.set.fonts[0].face);
            EXPECT_EQ(glyph->width, font_glyph(&p.set.fonts[0], codepoint_replacement)->width);
        }
        EXPECT_EQ(p.set.face_count, faces);
        EXPECT_EQ(log_lines_containing(log_main, mark, "covers a character could not be loaded"), 1u);
    }
    unsetenv("FONTCONFIG_FILE");
    std::filesystem::remove_all(folder);
    if (!named) GTEST_SKIP() << "fontconfig was set up by an earlier test in this process";
}

TEST(Font, NoFontFileIsAnEmptyFontThatStillLaysOut) {
    font_set_t set;
    font_set_create(&set, data_allocate(0x200000));
    u8* mark = log_test_mark(log_main);
    font_load(&set, data_t{}, 14, 0);
    font_load(&set, data_literal("not a font at all"), 12, 1);
    EXPECT_EQ(log_lines_containing(log_main, mark, "could not be loaded"), 1u);
    for (u32 f = 0; f < 2; f++) {
        EXPECT_EQ(set.fonts[f].empty, 1u);
        EXPECT_GT(font_line_height(&set.fonts[f], 0), 0);
        EXPECT_EQ(font_glyph(&set.fonts[f], 0x4E2D)->advance, 0);
    }
    data_t memory = data_allocate(0x10000);
    layout_t layout;
    layout_create(&layout, &memory, &set, rect_t{0, 0, 200, 200}, 0, 0, nullptr);
    layout_item_t item = {};
    item.kind = layout_item_text;
    item.text.text = (const u8*)"nothing to see";
    item.text.length = 14;
    layout.items = &item;
    layout_text(&layout, &item, 1);
    EXPECT_FLOAT_EQ(item.text.bounds.y1 - item.text.bounds.y0, 14);

    // The renderer queues and expands it to no quads at all.
    renderer_t render;
    gl_renderer_create(&render, 200, 200, renderer_alpha_blending, render_backend_stub);
    u32 text = gl_batch_create(&render, batch_type_text, gl_format(2, 1, 1, 2), 100, 10, &set, 0);
    gl_frame_begin(&render);
    gl_batch_text(gl_batch(&render, text), (const u8*)"abc", 3, 10, 10, 1, 0, colour_white);
    gl_frame_end(&render);
    EXPECT_EQ(gl_batch(&render, text)->vertex_count, 0u);
}

}  // namespace
