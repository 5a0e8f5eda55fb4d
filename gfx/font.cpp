// Glyphs made when first met, faces for the code points a font lacks, the atlases'
// shelves with their least-recently-used reuse, and kerning cached per pair.
#include "gfx/font.h"

#include <cmath>

#include "base/file.h"
#include "base/log.h"
#include "base/text.h"
#include "platform/fonts.h"

// Bitmaps are made at twice the size both ways and filtered, as stb_truetype's packer
// does, so that glyphs keep their shape at fractional pen positions.
constexpr u32 oversample = 2;
constexpr f32 oversample_shift = -(f32)(oversample - 1) / (2.0f * oversample);
constexpr u32 glyph_padding = 1;  // empty pixels right of and above each bitmap
constexpr u32 glyph_pages_per_block = 16;
constexpr u8 coverage_none = 0xFF;

static void problem_log(font_set_t* set, u32 problem, const char* text, u32 codepoint) {
    if (set->problems & problem) return;
    set->problems |= problem;
    log_write_c_string(log_main, text);
    if (codepoint != codepoint_invalid) {
        log_write_c_string(log_main, " (first: U+");
        log_write_u64(log_main, codepoint, 4, '0', format_hex);
        log_write_c_string(log_main, ")");
    }
    log_write_c_string(log_main, ".\n");
}

void font_set_create(font_set_t* set, data_t memory) {
    *set = font_set_t{};
    set->memory = memory;
    set->atlas_limit = 4096;
    set->find_faces = 1;
    set->coverage = (u8**)data_push(&set->memory, sizeof(u8*) * font_page_count, 8);
    ASSERT(set->coverage);
    bytes_zero(set->coverage, sizeof(u8*) * font_page_count);
}

// The face of `file`, loaded once for all fonts that use it; font_face_limit when the
// file is no font.
static u32 face_add(font_set_t* set, data_t file, u32 index, u32 path_hash) {
    for (u32 f = 0; f < set->face_count; f++) {
        const font_face_t* face = &set->faces[f];
        if (file.bytes && face->file.bytes == file.bytes) return f;
    }
    if (set->face_count >= font_face_limit || !file.used) return font_face_limit;
    font_face_t* face = &set->faces[set->face_count];
    *face = font_face_t{};
    int offset = stbtt_GetFontOffsetForIndex(file.bytes, (int)index);
    if (offset < 0 || (u64)offset >= file.used || !stbtt_InitFont(&face->info, file.bytes, offset)) {
        return font_face_limit;
    }
    face->file = file;
    face->kerns = face->info.kern || face->info.gpos;
    face->path_hash = path_hash;
    return set->face_count++;
}

font_t* font_load(font_set_t* set, data_t file, f32 size, u32 fixed_pitch) {
    ASSERT(set && set->font_count < font_limit);
    font_t* font = &set->fonts[set->font_count++];
    *font = font_t{};
    font->set = set;
    font->size = size;
    font->fixed_pitch = fixed_pitch;
    font->pages = (glyph_t**)data_push(&set->memory, sizeof(glyph_t*) * font_page_count, 8);
    font->kerning_ascii = (i16*)data_push(&set->memory, sizeof(i16) * 128 * 128, 8);
    font->advance_ascii = (f32*)data_push(&set->memory, sizeof(f32) * 128 * 128, 8);
    font->step_ascii = (f32*)data_push(&set->memory, sizeof(f32) * 128 * 128, 8);
    font->atlas = (font_atlas_t*)data_push(&set->memory, sizeof(font_atlas_t), 8);
    font->kerning_pairs =
        (font_kerning_slot_t*)data_push(&set->memory, sizeof(font_kerning_slot_t) * font_kerning_slots, 8);
    ASSERT(font->pages && font->kerning_ascii && font->advance_ascii && font->step_ascii && font->kerning_pairs &&
           font->atlas);
    *font->atlas = font_atlas_t{};
    bytes_zero(font->pages, sizeof(glyph_t*) * font_page_count);
    for (u32 i = 0; i < 128 * 128; i++) font->kerning_ascii[i] = font_kerning_unknown;
    for (u32 i = 0; i < 128 * 128; i++) font->advance_ascii[i] = font_advance_unknown;
    for (u32 i = 0; i < 128 * 128; i++) font->step_ascii[i] = font_advance_unknown;
    bytes_zero(font->kerning_pairs, sizeof(font_kerning_slot_t) * font_kerning_slots);

    u32 face = face_add(set, file, 0, 0);
    if (face == font_face_limit) {
        // No usable font: text measures with the line height of its size and draws
        // nothing, so the program still runs.
        if (file.used) problem_log(set, font_problem_face, "A font file could not be loaded", codepoint_invalid);
        font->empty = 1;
        font->scale = 1.0f;
        font->ascent = (i32)size;
    } else {
        font->face = (u8)face;
        const stbtt_fontinfo* info = &set->faces[face].info;
        font->scale = stbtt_ScaleForPixelHeight(info, size);
        stbtt_GetFontVMetrics(info, &font->ascent, &font->descent, &font->line_gap);
    }
    for (u32 c = 0; c < 128; c++) font_glyph_make(font, c);
    return font;
}

static bool is_control(u32 codepoint) { return codepoint < 0x20 || (codepoint >= 0x7F && codepoint < 0xA0); }

// A face of the set with a glyph for the code point, else the system's, remembered
// per code point; font_face_limit when none has it.
static u32 face_covering(font_set_t* set, u32 codepoint) {
    u8** page = &set->coverage[codepoint >> 8];
    if (!*page) {
        *page = (u8*)data_push(&set->memory, 256, 8);
        if (!*page) {
            problem_log(set, font_problem_memory, "The font tables are full; some characters are not shown", codepoint);
            return font_face_limit;
        }
        bytes_zero(*page, 256);
    }
    u8* known = &(*page)[codepoint & 255];
    if (*known) return *known == coverage_none ? font_face_limit : (u32)(*known - 1);
    u32 found = font_face_limit;
    for (u32 f = 0; f < set->face_count && found == font_face_limit; f++) {
        if (stbtt_FindGlyphIndex(&set->faces[f].info, (int)codepoint)) found = f;
    }
    char path[4096];
    u32 index = 0;
    if (found == font_face_limit && set->find_faces && !is_control(codepoint) &&
        font_file_covering(codepoint, path, sizeof(path), &index)) {
        u64 length = text_length(path);
        u32 hash = hash_fnv1a_32(path, length) ^ index;
        u32 face = font_face_limit;
        for (u32 f = 0; f < set->face_count; f++) {
            if (set->faces[f].path_hash == hash) face = f;
        }
        if (face == font_face_limit) {
            file_error_t error = 0;
            data_t file = file_read_all(data_from_size(length, path), false, &error);
            if (!error) face = face_add(set, file, index, hash);
            if (face != font_face_limit) set->faces[face].owned = 1;
            if (face == font_face_limit) {
                if (file.bytes) data_free(&file);
                problem_log(set, font_problem_face, "A font file that covers a character could not be loaded",
                            codepoint);
            }
        }
        if (face != font_face_limit && stbtt_FindGlyphIndex(&set->faces[face].info, (int)codepoint)) found = face;
    }
    *known = found == font_face_limit ? coverage_none : (u8)(found + 1);
    return found;
}

static glyph_t* glyph_slot(const font_t* font, u32 codepoint) {
    glyph_t** page = &font->pages[codepoint >> 8];
    if (*page) return &(*page)[codepoint & 255];
    font_set_t* set = font->set;
    u64 page_size = sizeof(glyph_t) * 256;
    if (set->glyph_block.used + page_size > set->glyph_block.reserved) {
        // Blocks are never freed while the set lives: records stay where they are.
        data_t block = data_allocate(sizeof(data_t) + page_size * glyph_pages_per_block);
        if (!block.bytes) return nullptr;
        *(data_t*)data_push(&block, sizeof(data_t), 8) = set->glyph_block;
        set->glyph_block = block;
    }
    *page = (glyph_t*)data_push(&set->glyph_block, page_size, 8);
    bytes_zero(*page, page_size);
    return &(*page)[codepoint & 255];
}

static glyph_t empty_glyph;

glyph_t* font_glyph_make(const font_t* font, u32 codepoint) {
    if (codepoint >= 0x110000) codepoint = codepoint_replacement;
    font_set_t* set = font->set;
    glyph_t* glyph = glyph_slot(font, codepoint);
    if (!glyph) {
        problem_log(set, font_problem_memory, "The font tables are full; some characters are not shown", codepoint);
        return &empty_glyph;
    }
    if (glyph->state) return glyph;
    *glyph = glyph_t{};
    glyph->codepoint = codepoint;
    glyph->face = font->face;
    glyph->state = glyph_measured;
    if (font->empty) return glyph;

    u32 face = font->face;
    u32 id = (u32)stbtt_FindGlyphIndex(&set->faces[face].info, (int)codepoint);
    if (!id) {
        face = face_covering(set, codepoint);
        if (face != font_face_limit) id = (u32)stbtt_FindGlyphIndex(&set->faces[face].info, (int)codepoint);
    }
    const stbtt_fontinfo* info = face == font_face_limit ? nullptr : &set->faces[face].info;
    if (!info && codepoint == codepoint_replacement) return glyph;  // nothing to draw, no width
    f32 scale = face == font->face ? font->scale : info ? stbtt_ScaleForPixelHeight(info, font->size) : 0;
    int x0 = 0, y0 = 0, x1 = 0, y1 = 0;
    bool blank = !info || stbtt_IsGlyphEmpty(info, (int)id);
    f32 bitmap_scale = scale * oversample;
    if (info) stbtt_GetGlyphBitmapBoxSubpixel(info, (int)id, bitmap_scale, bitmap_scale, 0, 0, &x0, &y0, &x1, &y1);
    u32 width = blank ? 0 : (u32)(x1 - x0) + oversample - 1;
    u32 height = blank ? 0 : (u32)(y1 - y0) + oversample - 1;
    bool too_large = width + glyph_padding > set->atlas_limit || height + glyph_padding > set->atlas_limit;
    if (too_large) problem_log(set, font_problem_too_large, "A character is too large for the font atlas", codepoint);
    if (!info || (too_large && codepoint != codepoint_replacement)) {
        if (!too_large && !is_control(codepoint)) {
            problem_log(set, font_problem_uncovered, "No installed font has some characters; they show as U+FFFD",
                        codepoint);
        }
        // The stand-in's metrics, so that measuring and drawing agree.
        const glyph_t* replacement = font_glyph(font, codepoint_replacement);
        if (replacement->width || !too_large) {
            *glyph = *replacement;
            glyph->codepoint = codepoint;
            glyph->state = glyph_measured;
            return glyph;
        }
    }
    if (too_large) width = height = 0;  // takes its place, draws nothing
    int advance = 0, bearing = 0;
    stbtt_GetGlyphHMetrics(info, (int)id, &advance, &bearing);
    glyph->face = (u8)face;
    glyph->id = id;
    glyph->advance = (f32)advance * scale;
    glyph->width = (u16)width;
    glyph->height = (u16)height;
    f32 inverse = 1.0f / oversample;
    glyph->offset_x0 = (f32)x0 * inverse + oversample_shift;
    glyph->offset_x1 = (f32)(x0 + (i32)width) * inverse + oversample_shift;
    glyph->offset_y0 = -((f32)(y0 + (i32)height) * inverse + oversample_shift);
    glyph->offset_y1 = -((f32)y0 * inverse + oversample_shift);
    return glyph;
}

void font_frame_begin(font_set_t* set) { set->frame += 1; }

void font_set_free(font_set_t* set) {
    for (u32 f = 0; f < set->font_count; f++) {
        if (set->fonts[f].atlas && set->fonts[f].atlas->block.bytes) data_free(&set->fonts[f].atlas->block);
    }
    while (set->glyph_block.bytes) {
        data_t before = *(data_t*)set->glyph_block.bytes;
        data_free(&set->glyph_block);
        set->glyph_block = before;
    }
    for (u32 f = 0; f < set->face_count; f++) {
        if (set->faces[f].owned) data_free(&set->faces[f].file);
    }
    data_free(&set->memory);
    *set = font_set_t{};
}

static void rows_changed(font_atlas_t* atlas, u32 y0, u32 y1) {
    if (atlas->dirty_y1 <= atlas->dirty_y0) {
        atlas->dirty_y0 = y0;
        atlas->dirty_y1 = y1;
    } else {
        atlas->dirty_y0 = min_of(atlas->dirty_y0, y0);
        atlas->dirty_y1 = max_of(atlas->dirty_y1, y1);
    }
}

void font_atlas_uploaded(font_atlas_t* atlas) {
    atlas->dirty_y0 = atlas->dirty_y1 = 0;
    atlas->resized = 0;
}

// A larger atlas with the old pixels where they were; false at the limit.
static bool atlas_grow(const font_set_t* set, font_atlas_t* atlas) {
    u32 width = atlas->width, height = atlas->height;
    if (!atlas->pixels) {
        width = min_of(512u, (u32)set->atlas_limit);
        height = min_of(256u, (u32)set->atlas_limit);
    } else if (height < set->atlas_limit) {
        height = min_of(height * 2, (u32)set->atlas_limit);
    } else if (width < set->atlas_limit) {
        width = min_of(width * 2, (u32)set->atlas_limit);
    } else {
        return false;
    }
    data_t block = data_allocate((u64)width * height);
    if (!block.bytes) return false;
    bytes_zero(block.bytes, (u64)width * height);
    for (u32 y = 0; y < atlas->height; y++) {
        bytes_copy(block.bytes + (u64)y * width, atlas->pixels + (u64)y * atlas->width, atlas->width);
    }
    if (atlas->block.bytes) data_free(&atlas->block);
    atlas->block = block;
    atlas->pixels = block.bytes;
    atlas->width = (u16)width;
    atlas->height = (u16)height;
    atlas->resized = 1;
    return true;
}

// The first shelf between `low` and `high` pixels high with room for `width` more.
static u32 shelf_with_room(const font_atlas_t* atlas, u32 width, u32 low, u32 high) {
    for (u32 s = 0; s < atlas->shelf_count; s++) {
        const font_shelf_t* shelf = &atlas->shelves[s];
        if (shelf->height >= low && shelf->height <= high && shelf->x + width <= atlas->width) return s;
    }
    return font_shelf_limit;
}

// When no shelf that is free to empty is high enough: the first run of neighbours
// not drawn from this frame that is, made one shelf (the others stay, with no
// height, above it, so that no glyph's shelf number changes).
static u32 shelves_merge(const font_set_t* set, font_atlas_t* atlas, u32 height) {
    for (u32 first = 0; first < atlas->shelf_count; first++) {
        u32 sum = 0, end = first;
        while (end < atlas->shelf_count && atlas->shelves[end].last_used < set->frame && sum < height) {
            sum += atlas->shelves[end++].height;
        }
        if (sum < height) continue;
        font_shelf_t* merged = &atlas->shelves[first];
        merged->height = (u16)sum;
        for (u32 s = first + 1; s < end; s++) {
            font_shelf_t* gone = &atlas->shelves[s];
            gone->generation += 1;
            gone->y = (u16)(merged->y + sum);
            gone->height = 0;
            gone->x = 0;
        }
        return first;
    }
    return font_shelf_limit;
}

// A shelf with room for a box of `width` by `height`, opening, growing or emptying
// one; font_shelf_limit when every shelf that could take it holds glyphs of this frame.
static u32 shelf_find(const font_set_t* set, font_atlas_t* atlas, u32 width, u32 height) {
    // Shelves come in heights of multiples of 8, so that one serves glyphs of
    // nearby sizes.
    u32 shelf_height = (u32)align_up(height, 8);
    for (;;) {
        u32 room = shelf_with_room(atlas, width, shelf_height, shelf_height);
        if (room != font_shelf_limit) return room;
        const font_shelf_t* last = atlas->shelf_count ? &atlas->shelves[atlas->shelf_count - 1] : nullptr;
        u32 top = last ? last->y + last->height : 0;
        if (atlas->pixels && atlas->shelf_count < font_shelf_limit && top + shelf_height <= atlas->height) {
            font_shelf_t* shelf = &atlas->shelves[atlas->shelf_count++];
            *shelf = font_shelf_t{(u16)top, (u16)shelf_height, 0, 0, 0};
            return atlas->shelf_count - 1;
        }
        if (!atlas_grow(set, atlas)) break;
    }
    // Full: empty the shelf drawn from longest ago that is high enough.
    u32 oldest = font_shelf_limit;
    for (u32 s = 0; s < atlas->shelf_count; s++) {
        const font_shelf_t* shelf = &atlas->shelves[s];
        if (shelf->height < height || shelf->last_used >= set->frame) continue;
        if (oldest == font_shelf_limit || shelf->last_used < atlas->shelves[oldest].last_used) oldest = s;
    }
    if (oldest == font_shelf_limit) {
        // None high enough is free to empty: a higher one with room, else
        // neighbours made one.
        u32 room = shelf_with_room(atlas, width, shelf_height + 1, 2 * shelf_height);
        if (room != font_shelf_limit) return room;
        oldest = shelves_merge(set, atlas, height);
    }
    if (oldest == font_shelf_limit) return oldest;
    font_shelf_t* shelf = &atlas->shelves[oldest];
    shelf->generation += 1;
    shelf->x = 0;
    for (u32 y = shelf->y; y < (u32)shelf->y + shelf->height; y++) {
        bytes_zero(atlas->pixels + (u64)y * atlas->width, atlas->width);
    }
    rows_changed(atlas, shelf->y, shelf->y + shelf->height);
    return oldest;
}

static bool glyph_bake(const font_t* font, glyph_t* glyph) {
    font_set_t* set = font->set;
    font_atlas_t* atlas = font->atlas;
    u32 s = shelf_find(set, atlas, glyph->width + glyph_padding, glyph->height + glyph_padding);
    if (s == font_shelf_limit) return false;
    font_shelf_t* shelf = &atlas->shelves[s];
    const stbtt_fontinfo* info = &set->faces[glyph->face].info;
    f32 scale = glyph->face == font->face ? font->scale : stbtt_ScaleForPixelHeight(info, font->size);
    // stb_truetype writes rows top-down; the atlas's rows run bottom-up.
    static u8 scratch[256 * 256];
    data_t block = {};
    u8* bitmap = scratch;
    u64 size = (u64)glyph->width * glyph->height;
    if (size > sizeof(scratch)) {
        block = data_allocate(size);
        if (!block.bytes) return false;
        bitmap = block.bytes;
    }
    bytes_zero(bitmap, size);
    f32 sub_x = 0, sub_y = 0;
    stbtt_MakeGlyphBitmapSubpixelPrefilter(info, bitmap, glyph->width, glyph->height, glyph->width, scale * oversample,
                                           scale * oversample, 0, 0, oversample, oversample, &sub_x, &sub_y,
                                           (int)glyph->id);
    u32 x = shelf->x, y = shelf->y;
    for (u32 row = 0; row < glyph->height; row++) {
        u8* target = atlas->pixels + (u64)(y + glyph->height - 1 - row) * atlas->width + x;
        bytes_copy(target, bitmap + (u64)row * glyph->width, glyph->width);
    }
    if (block.bytes) data_free(&block);
    rows_changed(atlas, y, y + glyph->height);
    shelf->x = (u16)(x + glyph->width + glyph_padding);
    glyph->x0 = (u16)x;
    glyph->y0 = (u16)y;
    glyph->x1 = (u16)(x + glyph->width);
    glyph->y1 = (u16)(y + glyph->height);
    glyph->shelf = (u16)s;
    glyph->generation = shelf->generation;
    glyph->state = glyph_baked;
    return true;
}

static glyph_t nothing_drawn;

const glyph_t* font_glyph_drawn(const font_t* font, u32 codepoint) {
    glyph_t* glyph = (glyph_t*)font_glyph(font, codepoint);
    if (!glyph->width) return glyph;
    font_set_t* set = font->set;
    font_atlas_t* atlas = font->atlas;
    bool baked = glyph->state == glyph_baked && glyph->shelf < atlas->shelf_count &&
                 atlas->shelves[glyph->shelf].generation == glyph->generation;
    if (!baked && !glyph_bake(font, glyph)) {
        // Every shelf holds glyphs of this frame: this one waits for the next.
        problem_log(set, font_problem_atlas_full, "The font atlas is full; some characters are not shown", codepoint);
        nothing_drawn = *glyph;
        nothing_drawn.x1 = nothing_drawn.x0;
        return &nothing_drawn;
    }
    atlas->shelves[glyph->shelf].last_used = set->frame;
    return glyph;
}

f32 font_advance_pair_fill(const font_t* font, u32 before, u32 codepoint) {
    f32 advance = font_glyph_ascii(font, codepoint)->advance;
    advance += (f32)font_kerning(font, font_glyph_ascii(font, before), codepoint) * font->scale;
    font->advance_ascii[before * 128 + codepoint] = advance;
    return advance;
}

f32 font_step_pair_fill(const font_t* font, u32 codepoint, u32 after) {
    const glyph_t* glyph = font_glyph_ascii(font, codepoint);
    f32 step = glyph->advance + (f32)font_kerning(font, glyph, after) * font->scale;
    font->step_ascii[codepoint * 128 + after] = step;
    return step;
}

static i32 kerning_lookup(const font_t* font, const glyph_t* glyph, u32 second_codepoint) {
    const glyph_t* second = font_glyph(font, second_codepoint);
    if (second->face != glyph->face || !glyph->id || !second->id) return 0;
    const stbtt_fontinfo* info = &font->set->faces[glyph->face].info;
    i32 amount = stbtt_GetGlyphKernAdvance(info, (int)glyph->id, (int)second->id);
    if (amount && glyph->face != font->face) {
        // In the units of the font's own face, which callers scale.
        amount = (i32)roundf((f32)amount * stbtt_ScaleForPixelHeight(info, font->size) / font->scale);
    }
    return amount;
}

i32 font_kerning_search(const font_t* font, const glyph_t* glyph, u32 second_codepoint) {
    u32 first = glyph->codepoint;
    if (first < 128 && second_codepoint < 128) {
        i16* known = &font->kerning_ascii[first * 128 + second_codepoint];
        // Kerning amounts are 16-bit in the font file.
        if (*known == font_kerning_unknown) *known = (i16)kerning_lookup(font, glyph, second_codepoint);
        return *known;
    }
    font_t* writable = (font_t*)font;
    u64 pair = ((u64)first << 32 | second_codepoint) + 1;
    u32 mask = font_kerning_slots - 1;
    if (writable->kerning_pair_count >= font_kerning_slots / 4 * 3) {
        // A cache: when it fills, it starts again from the pairs met next.
        bytes_zero(writable->kerning_pairs, sizeof(font_kerning_slot_t) * font_kerning_slots);
        writable->kerning_pair_count = 0;
    }
    u32 slot = (u32)((pair * 0x9E3779B97F4A7C15ull) >> 40) & mask;
    for (;; slot = (slot + 1) & mask) {
        font_kerning_slot_t* entry = &writable->kerning_pairs[slot];
        if (entry->pair == pair) return entry->amount;
        if (entry->pair) continue;
        entry->pair = pair;
        entry->amount = kerning_lookup(font, glyph, second_codepoint);
        writable->kerning_pair_count += 1;
        return entry->amount;
    }
}

f32 font_line_height(const font_t* font, u32 with_gap) {
    return (f32)(font->ascent - font->descent + (with_gap ? font->line_gap : 0)) * font->scale;
}

f32 font_baseline(const font_t* font) { return (f32)(-font->descent) * font->scale; }
