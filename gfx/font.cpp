// Font loading, the atlas bake with kerning pairs, and glyph lookup.
#include "gfx/font.h"

#include "base/log.h"
#include "base/text.h"

void font_set_create(font_set_t* set, data_t memory) {
    *set = font_set_t{};
    set->memory = memory;
    set->fonts = (font_t*)(memory.bytes + memory.used + align_padding((u64)(memory.bytes + memory.used), 8));
}

font_t* font_load(font_set_t* set, data_t file, f32 size, u32* codepoints, u32 count, u32 fixed_pitch) {
    ASSERT(set && codepoints && count > 0);
    font_t* font = (font_t*)data_push(&set->memory, sizeof(font_t), 8);
    ASSERT(font);
    ASSERT(font == set->fonts + set->font_count);
    *font = font_t{};
    font->codepoints = codepoints;
    font->codepoint_count = count;
    font->size = size;
    font->fixed_pitch = fixed_pitch;
    font->fallback = font_no_glyph;
    set->font_count += 1;
    set->fixed_size = set->memory.used;

    int offset = file.used ? stbtt_GetFontOffsetForIndex(file.bytes, 0) : -1;
    if (offset < 0 || !stbtt_InitFont(&font->info, file.bytes, offset)) {
        // No usable font: text measures with the line height of its size and draws
        // nothing, so the program still runs.
        font->empty = 1;
        font->scale = 1.0f;
        font->ascent = (i32)size;
        font->descent = 0;
        font->line_gap = 0;
        return font;
    }
    font->scale = stbtt_ScaleForPixelHeight(&font->info, size);
    stbtt_GetFontVMetrics(&font->info, &font->ascent, &font->descent, &font->line_gap);
    return font;
}

static void codepoints_sort(u32* values, u32 count) {
    for (u32 i = 1; i < count; i++) {
        u32 value = values[i];
        u32 j = i;
        while (j > 0 && values[j - 1] > value) {
            values[j] = values[j - 1];
            j -= 1;
        }
        values[j] = value;
    }
}

static void kerning_table_build(font_set_t* set, font_t* font) {
    font->kerning_table = nullptr;
    if (font->empty || font->kerning_count == 0) return;
    u64 size = sizeof(i16) * font_kerning_table_glyphs * 128;
    font->kerning_table = (i16*)data_push(&set->memory, size, 2);
    ASSERT(font->kerning_table);
    for (u64 i = 0; i < font_kerning_table_glyphs * 128; i++) font->kerning_table[i] = 0;
    u32 glyphs = min_of(font->codepoint_count, font_kerning_table_glyphs);
    for (u32 g = 0; g < glyphs; g++) {
        const glyph_t* glyph = &font->glyphs[g];
        const kerning_pair_t* pair = font->kerning + glyph->kerning_offset;
        for (u32 k = 0; k < glyph->kerning_count; k++) {
            // Kerning amounts are 16-bit in the font file.
            if (pair[k].second < 128) font->kerning_table[g * 128 + pair[k].second] = (i16)pair[k].amount;
        }
    }
}

static void font_tables_build(font_set_t* set, font_t* font, const font_t* same_face) {
    u32 count = font->codepoint_count;
    u32* codepoints = font->codepoints;
    font->glyphs = (glyph_t*)data_push(&set->memory, sizeof(glyph_t) * count, 4);
    ASSERT(font->glyphs);
    font->kerning = (kerning_pair_t*)(set->memory.bytes + set->memory.used +
                                      align_padding((u64)(set->memory.bytes + set->memory.used), 4));
    font->kerning_count = 0;
    font->first_codepoint = codepoints[0];
    for (u32 i = 0; i < 256; i++) font->direct[i] = 0;
    u32 position = 0;
    for (; position < count; position++) {
        u32 offset = codepoints[position] - font->first_codepoint;
        if (offset >= 256) break;
        font->direct[offset] = (u8)position;
    }
    font->first_indirect = position;
    font->fallback = font_no_glyph;

    // Glyph indices once, then every ordered pair; the list is small enough for
    // the quadratic walk and the lookups of a frame stay linear in a glyph's pairs.
    // Kerning is in font units: sizes of one face share the pairs of the first.
    if (same_face) {
        font->kerning = same_face->kerning;
        font->kerning_count = same_face->kerning_count;
        for (u32 i = 0; i < count; i++) {
            glyph_t* glyph = &font->glyphs[i];
            *glyph = glyph_t{};
            glyph->kerning_offset = same_face->glyphs[i].kerning_offset;
            glyph->kerning_count = same_face->glyphs[i].kerning_count;
        }
        font->fallback = same_face->fallback;
        font->kerning_table = same_face->kerning_table;
        return;
    }
    int* glyph_ids = nullptr;
    if (!font->empty) {
        glyph_ids = (int*)data_push(&set->memory, sizeof(int) * count, 4);
        ASSERT(glyph_ids);
        for (u32 i = 0; i < count; i++) glyph_ids[i] = stbtt_FindGlyphIndex(&font->info, (int)codepoints[i]);
        // The pairs go where the ids are; the ids are read before being overwritten
        // only if the pairs outgrow them, so keep them apart.
        font->kerning = (kerning_pair_t*)(set->memory.bytes + set->memory.used +
                                          align_padding((u64)(set->memory.bytes + set->memory.used), 4));
    }
    for (u32 i = 0; i < count; i++) {
        glyph_t* glyph = &font->glyphs[i];
        *glyph = glyph_t{};
        if (codepoints[i] == codepoint_replacement) font->fallback = i;
        glyph->kerning_offset = font->kerning_count;
        if (font->empty) continue;
        for (u32 j = 0; j < count; j++) {
            int amount = stbtt_GetGlyphKernAdvance(&font->info, glyph_ids[i], glyph_ids[j]);
            if (amount == 0) continue;
            kerning_pair_t* pair = (kerning_pair_t*)data_push(&set->memory, sizeof(kerning_pair_t), 4);
            ASSERT(pair);
            pair->second = codepoints[j];
            pair->amount = amount;
            font->kerning_count += 1;
            glyph->kerning_count += 1;
        }
    }
    ASSERT(font->fallback != font_no_glyph);
    kerning_table_build(set, font);
}

// Packs every non-empty font into an atlas of the given size; false when something
// didn't fit.
static bool font_atlas_pack(font_set_t* set, stbtt_packedchar* packed) {
    stbtt_pack_context context;
    if (!stbtt_PackBegin(&context, set->atlas, set->atlas_width, set->atlas_height, 0, 1, nullptr)) return false;
    stbtt_PackSetOversampling(&context, 2, 2);
    bool fits = true;
    for (u32 f = 0; f < set->font_count && fits; f++) {
        font_t* font = &set->fonts[f];
        if (font->empty) continue;
        u32 count = min_of(font->codepoint_count, font_codepoint_limit - 1);
        stbtt_pack_range range = {};
        range.font_size = font->size;
        range.array_of_unicode_codepoints = (int*)font->codepoints;
        range.num_chars = (int)count;
        range.chardata_for_range = packed;
        if (!stbtt_PackFontRanges(&context, font->info.data, 0, &range, 1)) {
            fits = false;
            break;
        }
        for (u32 i = 0; i < count; i++) {
            glyph_t* glyph = &font->glyphs[i];
            stbtt_packedchar* p = &packed[i];
            glyph->x0 = p->x0;
            glyph->x1 = p->x1;
            glyph->y0 = (u16)(set->atlas_height - p->y1);
            glyph->y1 = (u16)(set->atlas_height - p->y0);
            glyph->offset_x0 = p->xoff;
            glyph->offset_y0 = -p->yoff2;
            glyph->offset_x1 = p->xoff2;
            glyph->offset_y1 = -p->yoff;
            glyph->advance = p->xadvance;
            // Blanks get a box from the packer too; no quad should be drawn for them.
            if (stbtt_IsGlyphEmpty(&font->info, stbtt_FindGlyphIndex(&font->info, (int)font->codepoints[i]))) {
                glyph->x1 = glyph->x0;
                glyph->y1 = glyph->y0;
            }
        }
    }
    stbtt_PackEnd(&context);
    return fits;
}

void font_build(font_set_t* set) {
    ASSERT(set && set->font_count > 0);
    u32 count = set->fonts[0].codepoint_count;
    codepoints_sort(set->fonts[0].codepoints, count);
    u64 mark = set->memory.used;
    for (u32 f = 0; f < set->font_count; f++) {
        font_t* font = &set->fonts[f];
        const font_t* same_face = nullptr;
        for (u32 g = 0; g < f && !font->empty; g++) {
            if (!set->fonts[g].empty && set->fonts[g].info.data == font->info.data &&
                set->fonts[g].info.fontstart == font->info.fontstart) {
                same_face = &set->fonts[g];
                break;
            }
        }
        font_tables_build(set, font, same_face);
    }
    (void)mark;

    bool too_many = false;
    for (u32 f = 0; f < set->font_count; f++) {
        if (set->fonts[f].codepoint_count >= font_codepoint_limit) too_many = true;
    }
    if (too_many) {
        // Feeds in scripts with thousands of characters would overflow the atlas;
        // the characters past the limit measure and draw as nothing.
        log_write_c_string(log_user, "Too many different characters for the font atlas; some are not shown.\n");
    }

    static stbtt_packedchar packed[font_codepoint_limit];
    set->atlas_width = 256;
    set->atlas_height = 256;
    constexpr u32 atlas_limit = 8192;
    for (;;) {
        if (set->atlas_block.bytes) data_free(&set->atlas_block);
        set->atlas_size = (u64)set->atlas_width * set->atlas_height;
        set->atlas_block = data_allocate(set->atlas_size);
        ASSERT(set->atlas_block.bytes);
        set->atlas = set->atlas_block.bytes;
        bytes_zero(set->atlas, set->atlas_size);
        if (font_atlas_pack(set, packed)) break;
        if (set->atlas_width >= atlas_limit && set->atlas_height >= atlas_limit) {
            log_write_c_string(log_user, "The font atlas is full; some characters are not shown.\n");
            break;
        }
        if (set->atlas_width > set->atlas_height) {
            set->atlas_height = (u16)(set->atlas_height * 2);
        } else {
            set->atlas_width = (u16)(set->atlas_width * 2);
        }
    }

    // GL reads textures bottom-up.
    u32 row = set->atlas_width;
    for (u32 y = 0; y < set->atlas_height / 2u; y++) {
        u32* a = (u32*)(set->atlas + (u64)y * row);
        u32* b = (u32*)(set->atlas + (u64)(set->atlas_height - 1 - y) * row);
        for (u32 x = 0; x < row / 4; x++) {
            u32 t = a[x];
            a[x] = b[x];
            b[x] = t;
        }
    }
}

void font_set_codepoints(font_set_t* set, u32* codepoints, u32 count) {
    set->memory.used = set->fixed_size;
    for (u32 f = 0; f < set->font_count; f++) {
        set->fonts[f].codepoints = codepoints;
        set->fonts[f].codepoint_count = count;
    }
    font_build(set);
}

u32 font_glyph_search(const font_t* font, u32 codepoint) {
    u32 low = font->first_indirect;
    u32 high = font->codepoint_count;
    while (low < high) {
        u32 middle = low + (high - low) / 2;
        u32 value = font->codepoints[middle];
        if (value == codepoint) return middle;
        if (value < codepoint) {
            low = middle + 1;
        } else {
            high = middle;
        }
    }
    return font->fallback;
}

// A glyph's pairs were made in the order of the sorted code point list, so they are
// sorted by their second code point and a binary search finds one.
i32 font_kerning_search(const font_t* font, const glyph_t* glyph, u32 second_codepoint) {
    const kerning_pair_t* pair = font->kerning + glyph->kerning_offset;
    u32 low = 0, high = glyph->kerning_count;
    while (low < high) {
        u32 middle = low + (high - low) / 2;
        u32 second = pair[middle].second;
        if (second == second_codepoint) return pair[middle].amount;
        if (second < second_codepoint) {
            low = middle + 1;
        } else {
            high = middle;
        }
    }
    return 0;
}

f32 font_line_height(const font_t* font, u32 with_gap) {
    return (f32)(font->ascent - font->descent + (with_gap ? font->line_gap : 0)) * font->scale;
}

f32 font_baseline(const font_t* font) { return (f32)(-font->descent) * font->scale; }
