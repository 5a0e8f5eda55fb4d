// Fonts: faces loaded from memory with stb_truetype. A glyph's metrics are made when
// it is first measured or drawn, its bitmap is baked into its font's atlas when it is
// first drawn, a code point the font's face lacks is taken from another face that
// covers it (found through fontconfig), and kerning is looked up per pair when the
// pair is first met.
#pragma once

#include "base/data.h"
#include "platform/truetype.h"

enum glyph_state_t : u8 {
    glyph_unknown = 0,
    glyph_measured = 1,  // metrics known, no bitmap in the atlas
    glyph_baked = 2,     // bitmap in the atlas while its shelf keeps its generation
};

// Atlas box in pixels (y bottom-up, as GL reads the atlas), the box's offsets from the
// pen in pixels (y up), the advance, and where the glyph comes from.
struct glyph_t {
    u16 x0, y0, x1, y1;
    f32 offset_x0, offset_y0, offset_x1, offset_y1;  // offset_x0 is the left bearing
    f32 advance;
    u32 id;         // the glyph's index in its face
    u32 codepoint;  // the code point the record answers for
    u16 width, height;  // the oversampled bitmap; 0 for blanks
    u16 shelf, generation;
    u8 face;  // in the set's faces
    u8 state;
    u8 unused[2];
};
static_assert(sizeof(glyph_t) == 48);

struct font_face_t {
    stbtt_fontinfo info;
    data_t file;
    u32 kerns;  // the face has kerning tables
    u32 path_hash;  // of the file's path and index, for faces found by code point
    u32 owned;      // read by the set, freed with it
};

struct font_kerning_slot_t {
    u64 pair;  // first << 32 | second, 0 when free
    i32 amount;
    u32 unused;
};

constexpr u32 font_limit = 8;
constexpr u32 font_face_limit = 32;
constexpr u32 font_page_count = 0x110000 / 256;
constexpr u32 font_kerning_slots = 4096;  // a power of two
constexpr i16 font_kerning_unknown = -32768;
constexpr f32 font_advance_unknown = -1e30f;
constexpr u32 font_shelf_limit = 1024;

// A row of an atlas that glyphs of about its height fill from the left.
struct font_shelf_t {
    u16 y, height, x;
    u16 generation;  // changes when the shelf is emptied, dropping its glyphs
    u64 last_used;   // the frame that last drew one of its glyphs
};

// The glyphs of one font (a face at one size), on shelves over one texture that
// grows up to the renderer's limit.
struct font_atlas_t {
    u8* pixels;  // one byte per pixel, rows bottom-up
    data_t block;
    u16 width, height;
    u16 shelf_count;
    u32 dirty_y0, dirty_y1;  // rows changed since the last upload
    u32 resized;             // the texture must be made anew
    u32 texture;             // the renderer's
    u32 refused;             // the renderer couldn't make the texture at this size
    font_shelf_t shelves[font_shelf_limit];
};

struct font_set_t;

struct font_t {
    font_set_t* set;
    glyph_t** pages;  // 256 glyphs a page, made when the first of them is met
    i16* kerning_ascii;  // 128 x 128, font_kerning_unknown until looked up
    // 128 x 128 by (the code point before, the code point): the second's advance with
    // the kerning between them folded in, in pixels; font_advance_unknown until met.
    f32* advance_ascii;
    // 128 x 128 by (the code point, the code point after): the pen's step over the
    // first as drawing moves it, its advance plus the pair's kerning, in pixels;
    // font_advance_unknown until met.
    f32* step_ascii;
    font_kerning_slot_t* kerning_pairs;
    u32 kerning_pair_count;
    font_atlas_t* atlas;
    f32 size;   // pixels
    f32 scale;  // font units of the face to pixels
    i32 ascent, descent, line_gap;  // font units
    u32 fixed_pitch;
    u32 empty;  // no font file was found: no glyphs, a line height of `size`
    u8 face;
};

// Problems written to the log once per set.
enum font_problem_t : u32 {
    font_problem_uncovered = 1,
    font_problem_face = 2,
    font_problem_too_large = 4,
    font_problem_atlas_full = 8,
    font_problem_memory = 16,
};

struct font_set_t {
    data_t memory;  // the arena: tables of the fonts and of the code points
    font_t fonts[font_limit];
    font_face_t faces[font_face_limit];
    u8** coverage;  // by code point: 0 unknown, else 1 + the face found for it, or 0xFF none
    u32 font_count, face_count;
    u16 atlas_limit;     // the largest side the renderer takes
    u64 frame;
    u32 problems;        // font_problem_t bits already logged
    u32 find_faces;      // ask the system for faces that cover a code point
    data_t glyph_block;  // pages of glyphs are cut from it; it starts with the one before
};

void font_set_create(font_set_t* set, data_t memory);
// An empty `file` gives an empty font, which measures but draws nothing. The file
// stays the caller's for as long as the set lives.
font_t* font_load(font_set_t* set, data_t file, f32 size, u32 fixed_pitch);

// The glyph record of a code point, made when first met: its metrics, and its face
// (another face when the font's own lacks it, else the U+FFFD record's).
glyph_t* font_glyph_make(const font_t* font, u32 codepoint);
inline const glyph_t* font_glyph(const font_t* font, u32 codepoint) {
    if (codepoint < 0x110000) {
        const glyph_t* page = font->pages[codepoint >> 8];
        if (page && page[codepoint & 255].state) return &page[codepoint & 255];
    }
    return font_glyph_make(font, codepoint);
}
// The first 128 are made with the font, so running text reads them directly.
inline const glyph_t* font_glyph_ascii(const font_t* font, u32 codepoint) { return &font->pages[0][codepoint]; }

// A new frame for the atlases: glyphs drawn from here on keep their place until the
// next frame begins.
void font_frame_begin(font_set_t* set);
// The glyph with its bitmap in the font's atlas (x1 > x0 when there is one to draw).
const glyph_t* font_glyph_drawn(const font_t* font, u32 codepoint);
// The renderer took the changed rows.
void font_atlas_uploaded(font_atlas_t* atlas);
// Gives back the atlases' pixels and the arena (tests and benchmarks that make sets).
void font_set_free(font_set_t* set);

// Font units of the font's face; callers multiply by `scale`. Glyphs from faces
// without kerning stay out of the call.
i32 font_kerning_search(const font_t* font, const glyph_t* glyph, u32 second_codepoint);
inline i32 font_kerning(const font_t* font, const glyph_t* glyph, u32 second_codepoint) {
    if (font->empty || !font->set->faces[glyph->face].kerns) return 0;
    if ((glyph->codepoint | second_codepoint) < 128) {
        i16 known = font->kerning_ascii[glyph->codepoint * 128 + second_codepoint];
        if (known != font_kerning_unknown) return known;
    }
    return font_kerning_search(font, glyph, second_codepoint);
}
// The advance of ASCII `codepoint` after ASCII `before`: its glyph's advance plus the
// pair's kerning, as a line measures it. Filled pair by pair as lines meet them, so
// that a font costs no kerning lookups before its text needs them.
f32 font_advance_pair_fill(const font_t* font, u32 before, u32 codepoint);
inline f32 font_advance_pair(const font_t* font, u32 before, u32 codepoint) {
    f32 known = font->advance_ascii[before * 128 + codepoint];
    return known != font_advance_unknown ? known : font_advance_pair_fill(font, before, codepoint);
}
// The pen's step over ASCII `codepoint` when ASCII `after` follows, filled the same way.
f32 font_step_pair_fill(const font_t* font, u32 codepoint, u32 after);
inline f32 font_step_pair(const font_t* font, u32 codepoint, u32 after) {
    f32 known = font->step_ascii[codepoint * 128 + after];
    return known != font_advance_unknown ? known : font_step_pair_fill(font, codepoint, after);
}
f32 font_line_height(const font_t* font, u32 with_gap);
f32 font_baseline(const font_t* font);
