// layout_text: line breaking, measuring and visible runs; and the single-line
// measurements of widgets (size, caret position, fit with ellipsis).
#include <cmath>
#include <cstring>

#include "base/text.h"
#include "layout/layout.h"
#include "profiler/profiler.h"

// One code point; a bad byte is U+FFFD of one byte.
static inline u32 decode(const u8* p, const u8* end, u32* size) {
    if (*p < 0x80) {
        *size = 1;
        return *p;
    }
    u32 codepoint = 0;
    utf_error_t error = 0;
    utf8_decode(p, end, &codepoint, size, &error);
    if (error) {
        *size = 1;
        return codepoint_replacement;
    }
    return codepoint;
}

static inline bool is_line_break(u32 c) { return c == '\n' || c == '\r'; }

// The last code point of the nearest text item before this one, looking through
// colour changes and marks, so that kerning joins adjoining items.
static u32 previous_item_codepoint(layout_t* layout, layout_item_t* item) {
    for (layout_item_t* it = item; it > layout->items;) {
        it -= 1;
        if (it->kind == layout_item_push_colour || it->kind == layout_item_pop_colour ||
            it->kind == layout_item_mark) {
            continue;
        }
        if (it->kind != layout_item_text || it->text.length == 0) return codepoint_invalid;
        const u8* first = it->text.text;
        const u8* end = first + it->text.length;
        u32 last = utf8_last_char_length(first, end);
        if (last == 0 || last > it->text.length) return codepoint_invalid;
        u32 codepoint = 0, size = 0;
        utf_error_t error = 0;
        utf8_decode(end - last, end, &codepoint, &size, &error);
        return error ? codepoint_invalid : codepoint;
    }
    return codepoint_invalid;
}

// A key of what a text's lines depend on: its bytes, where it starts, the wrap, the
// font and the code point it kerns with. Eight bytes a step: much cheaper than the
// measure it stands for.
static u32 measure_key(const layout_t* layout, const layout_text_t* body, f32 pen_x, f32 pen_y, u32 previous) {
    const u64 multiplier = 0x9E3779B97F4A7C15ull;
    u64 hash = body->length * multiplier;
    auto mix = [&](u64 value) {
        hash = (hash ^ value) * multiplier;
        hash ^= hash >> 29;
    };
    auto bits = [](f32 value) {
        u32 result;
        memcpy(&result, &value, 4);
        return (u64)result;
    };
    mix(bits(pen_x) << 32 | bits(pen_y));
    mix(bits(layout->line_start_x) << 32 | bits(layout->wrap_width));
    mix((u64)layout->break_anywhere << 48 | (u64)layout->eat_space << 40 | layout->font);
    mix(previous);
    const u8* p = body->text;
    u64 left = body->length;
    for (; left >= 8; left -= 8, p += 8) {
        u64 word;
        memcpy(&word, p, 8);
        mix(word);
    }
    if (left) {
        u64 word = 0;
        memcpy(&word, p, left);
        mix(word);
    }
    u32 key = (u32)(hash ^ (hash >> 32));
    return key ? key : 1;
}

enum : u8 {
    ascii_glyph = 0,
    ascii_space = 1,
    ascii_leave = 2,  // a line break, or a glyph whose kerning the rows don't hold
};

// Built once per font a layout uses; the same glyphs and amounts as font_glyph and
// font_kerning give, so that both paths of layout_text add the same bits. A kerning
// row is the font's own cache of ASCII pairs, which fills as pairs are first met.
static const layout_ascii_t* ascii_metrics(layout_t* layout, const font_t* font) {
    layout_ascii_t* a = &layout->ascii;
    if (a->font == font) return a;
    static const i16 no_kerning[128] = {};
    a->font = font;
    for (u32 c = 0; c < 128; c++) {
        const glyph_t* glyph = font_glyph_ascii(font, c);
        bool kerns = !font->empty && font->set->faces[glyph->face].kerns;
        a->advance[c] = glyph->advance;
        a->kerning[c] = kerns && glyph->codepoint < 128 ? font->kerning_ascii + glyph->codepoint * 128 : no_kerning;
        a->kind[c] = is_line_break(c) || (kerns && glyph->codepoint >= 128) ? ascii_leave
                     : char_is_space(c)                                     ? ascii_space
                                                                            : ascii_glyph;
    }
    for (u32 c = 128; c < 256; c++) a->kind[c] = ascii_leave;
    return a;
}

// Where the loop of the common case stopped, and what it saw on the way.
struct ascii_scan_t {
    const u8* q;
    f32 x1, pen, run_x1;
    f32 word_x1, word_run_x1;
    const u8* word_end;  // after the last space taken
};

// The loop of the common case from `scan->q`, after `previous`. With a run, each
// glyph must also show in the view; the vertical extent of the line is known to.
template <bool with_run>
static void ascii_scan(ascii_scan_t* scan, const layout_t* layout, const layout_ascii_t* ascii, const u8* end,
                       u32 previous, f32 wrap_right) {
    const font_t* font = ascii->font;
    const i16* kerning = ascii->kerning[previous];
    f32 scale = font->scale;
    f32 x1 = scan->x1, pen = scan->pen, run_x1 = scan->run_x1;
    f32 word_x1 = 0, word_run_x1 = 0;
    const u8* word_end = nullptr;
    bool partly = (layout->flags & layout_flag_partly_visible) != 0;
    f32 view_width = layout->width, scroll_x = layout->scroll_x;
    const u8* start = scan->q;
    const u8* q = start;
    while (q < end) {
        u32 c = *q;
        u32 kind = ascii->kind[c];
        if (kind == ascii_leave) break;
        i32 kern = kerning[c];
        if (kern == font_kerning_unknown) {
            // Met for the first time in this font: font_kerning looks it up and fills
            // the row.
            u32 first_of_pair = q == start ? previous : q[-1];
            kern = font_kerning(font, font_glyph_ascii(font, first_of_pair), c);
        }
        f32 advance = (f32)kern * scale + ascii->advance[c];
        if (x1 + advance > wrap_right) break;
        if (with_run) {
            f32 box_x0 = pen - scroll_x, box_x1 = pen - scroll_x + advance;
            bool shows = partly ? box_x0 < view_width && 0 < box_x1 : box_x0 >= 0 && box_x1 <= view_width;
            if (!shows) break;
            run_x1 += advance;
        }
        x1 += advance;
        pen += advance;
        kerning = ascii->kerning[c];
        q += 1;
        if (kind == ascii_space) {
            word_x1 = x1;
            word_run_x1 = run_x1;
            word_end = q;
        }
    }
    scan->q = q;
    scan->word_x1 = word_x1;
    scan->word_run_x1 = word_run_x1;
    scan->word_end = word_end;
    scan->x1 = x1;
    scan->pen = pen;
    scan->run_x1 = run_x1;
}

struct text_state_t {
    layout_t* layout;
    layout_text_t* body;
    u32 record;
    bool keep_lines;
    f32 line_height, gap;
    rect_t bounds;
    layout_line_t line;
    bool line_open;
    layout_line_t word;  // the line as it stood at the last break opportunity
    bool word_open;
    layout_line_t* run;  // open run, or null
    layout_line_t local_run;
    layout_line_t run_copy;  // the open run at the break opportunity
    u32 run_copy_count;      // run_count at the break opportunity
    bool run_copy_open;
    u32 breaks;
};

static void line_store(text_state_t* s, const layout_line_t* line) {
    if (!s->record || !s->keep_lines) return;
    layout_line_t* stored = (layout_line_t*)data_push(s->layout->memory, sizeof(layout_line_t), 8);
    if (!stored) {
        s->keep_lines = false;
        layout_report_full();
        return;
    }
    ASSERT(stored == s->body->lines + s->body->line_count);
    *stored = *line;
    s->body->line_count += 1;
}

static void new_line(text_state_t* s, const layout_line_t* finished) {
    layout_t* layout = s->layout;
    s->bounds.y1 += s->line_height + s->gap;
    s->bounds.x1 = max_of(s->bounds.x1, finished->rect.x1);
    s->bounds.x0 = min_of(s->bounds.x0, layout->line_start_x);
    layout->pen_y += s->line_height + s->gap;
    layout->pen_x = s->bounds.x0;
    s->breaks += 1;
    s->line = layout_line_t{};
    s->line_open = false;
    s->word = layout_line_t{};
    s->word_open = false;
    s->run = nullptr;
    s->run_copy = layout_line_t{};
    s->run_copy_open = false;
}

static void line_open_at_pen(text_state_t* s, const u8* p) {
    layout_t* layout = s->layout;
    s->line = layout_line_t{};
    s->line.text = p;
    s->line.rect = rect_t{layout->pen_x, layout->pen_y, layout->pen_x, layout->pen_y + s->line_height + s->gap};
    s->line_open = true;
}

// layout_text, and for the replay of a text whose measure holds (`measured`): it
// starts at `resume` when there is one, and ends at the first line wholly below the
// view, taking the rest from the measure.
static void text_lay_out(layout_t* layout, layout_item_t* item, u32 record, bool measured,
                         const layout_resume_t* resume) {
    PROFILE_ZONE(layout_text);
    ASSERT(item->kind == layout_item_text);
    layout_text_t* body = &item->text;
    const font_t* font = &layout->fonts->fonts[layout->font];
    const layout_ascii_t* ascii = ascii_metrics(layout, font);
    text_state_t s = {};
    s.layout = layout;
    s.body = body;
    s.record = record;
    s.keep_lines = (layout->flags & layout_flag_keep_lines) != 0;
    s.line_height = (f32)(font->ascent - font->descent) * font->scale;
    s.gap = (f32)font->line_gap * font->scale;
    rect_t view = {0, 0, layout->width, layout->height};
    s.bounds = rect_t{layout->pen_x, layout->pen_y, layout->pen_x, layout->pen_y};
    if (body->length) s.bounds.y1 = s.bounds.y0 + s.line_height;

    bool at_line_start = layout->pen_x == layout->line_start_x;
    i32 line_height_int = (i32)s.line_height;
    ASSERT(line_height_int != 0);
    u32 run_capacity = (u32)((i32)layout->height / line_height_int + 2);
    if (record && !body->runs) {
        body->runs = (layout_line_t*)data_push(layout->memory, sizeof(layout_line_t) * run_capacity, 8);
        body->run_lines = (u32*)data_push(layout->memory, sizeof(u32) * run_capacity, 4);
        body->run_count = 0;
        if (!body->runs || !body->run_lines) {
            body->runs = nullptr;
            body->run_lines = nullptr;
            record = 0;
            s.record = 0;
            layout_report_full();
        }
    }
    if (record && s.keep_lines && !body->lines) {
        data_t* m = layout->memory;
        body->lines = (layout_line_t*)(m->bytes + m->used + align_padding((u64)(m->bytes + m->used), 8));
        body->line_count = 0;
    }

    u32 previous = previous_item_codepoint(layout, item);
    f32 start_x = layout->pen_x, start_y = layout->pen_y;
    u32 start_previous = previous;
    const glyph_t* previous_glyph = nullptr;  // the glyph of `previous`, once looked up
    const u8* first = body->text;
    const u8* end = first + body->length;
    const u8* p = first;
    bool word_too_long = false;
    f32 wrap_right = layout->line_start_x + layout->wrap_width;
    if (resume) {
        p = first + resume->offset;
        s.bounds = resume->bounds;
        s.breaks = resume->breaks;
        layout->pen_x = resume->pen_x;
        layout->pen_y = resume->pen_y;
        at_line_start = true;
        previous = codepoint_invalid;
    }
    // A measure whose first line is wholly above the view looks for the line where
    // a replay may start.
    bool seek_resume = !record && layout->pen_y - layout->scroll_y + s.line_height <= 0;
    bool cut = false;

    while (p < end) {
        if (!s.line_open) {
            f32 top = layout->pen_y - layout->scroll_y;
            if (seek_resume && top + s.line_height > 0) {
                seek_resume = false;
                layout->resume = layout_resume_t{item, layout->scroll_y, s.breaks, (u64)(p - first),
                                                 layout->pen_x, layout->pen_y, s.bounds};
            }
            if (measured && record && !s.keep_lines && s.breaks > 0 && top >= layout->height) {
                cut = true;
                break;
            }
            line_open_at_pen(&s, p);
        }
        if (!s.word_open) {
            s.word = s.line;
            s.word.text = p;
            s.word.bytes = 0;
            s.word.codepoints = 0;
            s.word.rect.x1 = s.line.rect.x1;
            s.word_open = true;
            s.run_copy_open = s.run != nullptr;
            if (s.run) s.run_copy = *s.run;
            s.run_copy_count = body->run_count;
        }
        // The common case in its own loop: ASCII in the middle of a line, fitting, and
        // either with no run to record (measuring, or a line out of the view) or with
        // the line's run open and the glyphs still in the view. It adds exactly as the
        // steps below do and leaves them everything else: line starts, breaks, wraps,
        // other code points, and the glyphs before a run opens or once they leave the
        // view.
        f32 view_y = layout->pen_y - layout->scroll_y;
        bool line_hidden = view_y >= layout->height || view_y + s.line_height <= 0;
        if (!at_line_start && !word_too_long && p != first && previous < 128 && ascii->kind[previous] != ascii_leave &&
            (!record || line_hidden || s.run)) {
            // A run opens on a line in the view only, so the glyph boxes' vertical
            // extent is in it: whether a glyph shows is up to its x alone.
            layout_line_t* run = s.run;
            ascii_scan_t scan = {};
            scan.q = p;
            scan.x1 = s.line.rect.x1;
            scan.pen = layout->pen_x;
            if (run) {
                scan.run_x1 = run->rect.x1;
                ascii_scan<true>(&scan, layout, ascii, end, previous, wrap_right);
            } else {
                ascii_scan<false>(&scan, layout, ascii, end, previous, wrap_right);
            }
            const u8* q = scan.q;
            if (q != p) {
                u64 taken = (u64)(q - p);
                s.line.rect.x1 = scan.x1;
                s.line.bytes += taken;
                s.line.codepoints += taken;
                layout->pen_x = scan.pen;
                if (run) {
                    run->rect.x1 = scan.run_x1;
                    run->bytes += taken;
                    run->codepoints += taken;
                }
                if (scan.word_end) {
                    u64 after = (u64)(q - scan.word_end);
                    s.word = s.line;
                    s.word.rect.x1 = scan.word_x1;
                    s.word.bytes = s.line.bytes - after;
                    s.word.codepoints = s.line.codepoints - after;
                    s.run_copy_open = run != nullptr;
                    if (run) {
                        s.run_copy = *run;
                        s.run_copy.rect.x1 = scan.word_run_x1;
                        s.run_copy.bytes -= after;
                        s.run_copy.codepoints -= after;
                    }
                    s.run_copy_count = body->run_count;
                }
                previous = q[-1];
                previous_glyph = nullptr;
                p = q;
                continue;
            }
        }
        u32 size = 0;
        u32 codepoint = decode(p, end, &size);
        if (is_line_break(codepoint)) {
            line_store(&s, &s.line);
            layout_line_t finished = s.line;
            new_line(&s, &finished);
            at_line_start = true;
            previous = codepoint_invalid;
            word_too_long = false;
            p += 1;
            if (p < end && *p != codepoint && is_line_break(*p)) p += 1;
            continue;
        }

        const glyph_t* glyph = font_glyph(font, codepoint);
        f32 kern = 0;
        if (previous != codepoint_invalid) {
            if (!previous_glyph) previous_glyph = font_glyph(font, previous);
            kern = (f32)font_kerning(font, previous_glyph, codepoint) * font->scale;
            if (p == first) {
                // The pair spans two items: this one, its line and its word begin
                // where the kerning puts its first glyph.
                layout->pen_x += kern;
                s.bounds.x0 += kern;
                s.line.rect.x0 += kern;
                s.line.rect.x1 += kern;
                s.word.rect = s.line.rect;
                kern = 0;
            }
        }
        f32 advance = kern + glyph->advance;
        f32 start_offset = 0;
        bool line_start_glyph = at_line_start;
        f32 bearing = 0;
        if (at_line_start) {
            bearing = font->fixed_pitch ? 0 : glyph->offset_x0;
            advance -= bearing;
            start_offset = -bearing;
        }
        bool space = char_is_space(codepoint);
        if (space) s.word = s.line;

        bool fits = s.line.rect.x1 + advance <= wrap_right;
        // A line always takes at least one code point, even one that doesn't fit.
        bool forced = !fits && s.line.codepoints == 0 && !(space && layout->eat_space) &&
                      (space || layout->break_anywhere || word_too_long);
        if (fits || forced) {
            at_line_start = false;
            rect_t box = {layout->pen_x - layout->scroll_x, layout->pen_y - layout->scroll_y,
                                 layout->pen_x - layout->scroll_x + advance,
                                 layout->pen_y - layout->scroll_y + s.line_height};
            // Measuring keeps no runs, so it needn't know what is visible.
            bool visible = record && ((layout->flags & layout_flag_partly_visible) ? rect_overlaps(box, view)
                                                                                   : rect_inside(box, view));
            if (visible && !s.run) {
                if (record) {
                    ASSERT(body->run_count < run_capacity);
                    body->run_lines[body->run_count] = body->line_count;
                    s.run = &body->runs[body->run_count++];
                } else {
                    s.run = &s.local_run;
                }
                *s.run = layout_line_t{};
                s.run->rect = rect_t{layout->pen_x + start_offset, layout->pen_y,
                                            layout->pen_x + start_offset, layout->pen_y + s.line_height};
                s.run->text = p;
            }
            if (visible) {
                s.run->bytes += size;
                s.run->codepoints += 1;
                s.run->rect.x1 += advance - start_offset;
            }
            s.line.bytes += size;
            s.line.codepoints += 1;
            s.line.rect.x1 += advance;
            if (space) {
                s.word = s.line;
                s.run_copy_open = s.run != nullptr;
                if (s.run) s.run_copy = *s.run;
                s.run_copy_count = body->run_count;
            }
            layout->pen_x += advance;
            previous = codepoint;
            previous_glyph = glyph;
            ASSERT(size != 0);
            p += size;
            continue;
        } else if (!space && !layout->break_anywhere && !word_too_long) {
            // Word wrap: does the word that overflows fit on a line of its own?
            const u8* word_start = s.word.text + s.word.bytes;
            f32 sum = 0;
            bool first_glyph = true;
            for (const u8* q = word_start; q < end;) {
                u32 q_size = 0;
                u32 c = decode(q, end, &q_size);
                if (char_is_space(c)) break;
                const glyph_t* g = font_glyph(font, c);
                sum += g->advance;
                if (first_glyph && !font->fixed_pitch) sum -= g->offset_x0;
                first_glyph = false;
                q += q_size;
            }
            bool nothing_moves = word_start == s.line.text && s.line.rect.x0 == layout->line_start_x;
            if (sum > layout->wrap_width || nothing_moves) {
                word_too_long = true;
                if (line_start_glyph) at_line_start = true;
                continue;
            }
            if (record) body->run_count = s.run_copy_count;
            if (s.run_copy_open && record) body->runs[body->run_count - 1] = s.run_copy;
            p = word_start;
            layout_line_t stored = s.word;
            line_store(&s, &stored);
            new_line(&s, &stored);
            at_line_start = true;
            previous = codepoint_invalid;
            word_too_long = false;
            continue;
        } else if (space && layout->eat_space) {
            p += size;
        }

        // Hard break: the code point waits for the next line, unless it was a
        // swallowed space.
        if (line_start_glyph) at_line_start = true;
        line_store(&s, &s.line);
        layout_line_t finished = s.line;
        new_line(&s, &finished);
        at_line_start = true;
        previous = codepoint_invalid;
        word_too_long = false;
    }

    if (cut) {
        // Below the view the measure's lines stand: its bounds, and the pen where it
        // left it, reached line by line as the measure did.
        f32 pitch = s.line_height + s.gap;
        for (; s.breaks < body->measure_breaks; s.breaks++) layout->pen_y += pitch;
        layout->pen_x = body->measure_end_x;
        s.bounds = body->bounds;
    }
    if (record && s.keep_lines) {
        bool ends_in_break = body->length == 0 || is_line_break(end[-1]);
        if (ends_in_break || !s.line_open) line_open_at_pen(&s, end);
        ASSERT(s.line.rect.y1 > s.line.rect.y0);
        line_store(&s, &s.line);
    }
    if (s.line_open) s.bounds.x1 = max_of(s.bounds.x1, s.line.rect.x1);
    layout->max_x = max_of(layout->max_x, s.bounds.x1);
    layout->max_y = max_of(layout->max_y, s.bounds.y1);
    body->line_height = s.line_height;
    body->line_gap = s.gap;
    body->baseline = font_baseline(font);
    if (record) {
        for (u32 i = 0; i < body->run_count; i++) s.bounds.x0 = min_of(s.bounds.x0, body->runs[i].rect.x0);
        for (u32 i = 0; i < body->run_count; i++) {
            rect_t r = body->runs[i].rect;
            const f32 e = 0.01f;
            ASSERT(r.x0 >= s.bounds.x0 - e && r.x1 <= s.bounds.x1 + e && r.y0 >= s.bounds.y0 - e &&
                   r.y1 <= s.bounds.y1 + e);
        }
    }
    body->bounds = s.bounds;
    body->measure_key = record ? 0 : measure_key(layout, body, start_x, start_y, start_previous);
    body->measure_end_x = layout->pen_x;
    body->measure_breaks = s.breaks;
}

void layout_text(layout_t* layout, layout_item_t* item, u32 record) {
    text_lay_out(layout, item, record, false, nullptr);
}

void layout_text_replay(layout_t* layout, layout_item_t* item) {
    layout_text_t* body = &item->text;
    // The same start and key mean that the replay would make the lines the measure
    // made; kept lines must all be made again.
    bool measured = body->measure_key && !(layout->flags & layout_flag_keep_lines) &&
                    measure_key(layout, body, layout->pen_x, layout->pen_y, previous_item_codepoint(layout, item)) ==
                        body->measure_key;
    // The measure's bounds hold every glyph box it made.
    f32 top = body->bounds.y0 - layout->scroll_y, bottom = body->bounds.y1 - layout->scroll_y;
    bool hidden = bottom <= 0 || top >= layout->height;
    if (!measured || !hidden) {
        const layout_resume_t* resume = &layout->resume;
        bool resumes = measured && resume->item == item && resume->scroll_y == layout->scroll_y;
        text_lay_out(layout, item, 1, measured, resumes ? resume : nullptr);
        return;
    }
    body->measure_key = 0;
    // Line by line, as the measure added it, so that the pen lands on the same bits.
    f32 pitch = body->line_height + body->line_gap;
    for (u32 i = 0; i < body->measure_breaks; i++) layout->pen_y += pitch;
    layout->pen_x = body->measure_end_x;
    layout->max_x = max_of(layout->max_x, body->bounds.x1);
    layout->max_y = max_of(layout->max_y, body->bounds.y1);
}

// The advance of one glyph in a single line, with the left bearing off the first
// glyph and kerning after it.
// `previous` is the glyph before, or null at the start.
static f32 glyph_advance_after(const font_t* font, const glyph_t* previous, const glyph_t* glyph, u32 codepoint) {
    f32 advance = glyph->advance;
    if (!previous) {
        if (!font->fixed_pitch) advance -= glyph->offset_x0;
    } else {
        advance += (f32)font_kerning(font, previous, codepoint) * font->scale;
    }
    return advance;
}

static f32 single_line_advance(const font_t* font, u32 previous, u32 codepoint) {
    const glyph_t* glyph = font_glyph(font, codepoint);
    return glyph_advance_after(font, previous == codepoint_invalid ? nullptr : font_glyph(font, previous), glyph,
                               codepoint);
}

layout_size_t layout_get_single_line_size(const font_t* font, const u8* text, u64 length, u32 previous_codepoint) {
    PROFILE_ZONE(layout_get_single_line_size);
    const u8* end = text + length;
    u32 previous = previous_codepoint;
    f32 width = 0;
    for (const u8* p = text; p < end;) {
        u32 size = 0;
        u32 codepoint = decode(p, end, &size);
        if (is_line_break(codepoint)) break;
        width += single_line_advance(font, previous, codepoint);
        previous = codepoint;
        p += size;
    }
    f32 height = width != 0 ? (f32)(font->ascent - font->descent) * font->scale : 0;
    return layout_size_t{width, height};
}

u64 layout_get_byte_at_position(const font_t* font, const u8* text, u64 length, f32 x) {
    PROFILE_ZONE(layout_get_byte_at_position);
    const u8* end = text + length;
    u32 previous = codepoint_invalid;
    f32 width = 0;
    const u8* p = text;
    while (p < end) {
        u32 size = 0;
        u32 codepoint = decode(p, end, &size);
        if (is_line_break(codepoint)) break;
        f32 advance = single_line_advance(font, previous, codepoint);
        // The caret goes to the nearer side of the glyph.
        if (rintf(width + advance / 2) > x) break;
        width += advance;
        previous = codepoint;
        p += size;
    }
    return (u64)(p - text);
}

// Where a walk over a line to fit stopped: at its end (`reached_end`) or before a
// code point that doesn't fit or breaks the line, with the width used so far and,
// when the ellipsis was tracked, the last place it still fits after.
struct fit_walk_t {
    const u8* stop;
    f32 used;
    const u8* ellipsis_at;
    f32 ellipsis_used;
    bool reached_end;
};

// Without the ellipsis, runs of ASCII take their advances from the font's pair
// table in a loop of their own: most lines fit whole, and only one that doesn't is
// walked again for its ellipsis.
template <bool track_ellipsis>
static fit_walk_t fit_walk(const font_t* font, const u8* first, const u8* end, u32 previous_codepoint, f32 width,
                           f32 ellipsis_width) {
    // The glyph before is carried along, not looked up again for its kerning; two
    // ASCII code points in a row take their advance from the font's pair table.
    const glyph_t* previous = previous_codepoint == codepoint_invalid ? nullptr : font_glyph(font, previous_codepoint);
    u32 before = previous_codepoint;
    fit_walk_t walk = {first, 0, first, 0, true};
    const u8* p = first;
    f32 used = 0;
    while (p < end) {
        if (!track_ellipsis && before < 0x80 && *p < 0x80) {
            const u8* run = p;
            for (; p < end; p++) {
                // Control characters, line breaks among them, and bytes above ASCII
                // leave the loop in one compare.
                u32 c = *p;
                if (c - 0x0E >= 0x80 - 0x0E) break;
                f32 advance = font_advance_pair(font, before, c);
                if (used + advance > width) {
                    walk.reached_end = false;
                    walk.stop = p;
                    walk.used = used;
                    return walk;
                }
                used += advance;
                before = c;
            }
            if (p > run) previous = font_glyph_ascii(font, before);
            if (p == end) break;
        }
        // Titles are mostly ASCII: a byte below 0x80 is its own code point, and its
        // glyph stands in the font's first page from the start.
        u32 size = 1;
        u32 codepoint = *p;
        const glyph_t* glyph = nullptr;
        if (codepoint < 0x80) {
            glyph = font_glyph_ascii(font, codepoint);
        } else {
            codepoint = decode(p, end, &size);
        }
        if (track_ellipsis && used + ellipsis_width < width) {
            walk.ellipsis_at = p;
            walk.ellipsis_used = used;
        }
        if (is_line_break(codepoint)) {
            walk.reached_end = false;
            break;
        }
        f32 advance;
        if ((before | codepoint) < 0x80) {
            advance = font_advance_pair(font, before, codepoint);
        } else {
            if (!glyph) glyph = font_glyph(font, codepoint);
            advance = glyph_advance_after(font, previous, glyph, codepoint);
        }
        if (used + advance > width) {
            walk.reached_end = false;
            break;
        }
        used += advance;
        previous = glyph;
        before = codepoint;
        p += size;
    }
    walk.stop = p;
    walk.used = used;
    return walk;
}

void layout_fit_single_line(const font_t* font, data_t text, u32 previous_codepoint, f32 width, data_t* out_text,
                            layout_size_t* out_size, u32 flags) {
    PROFILE_ZONE(layout_fit_single_line);
    static const u8 ellipsis[3] = {0xE2, 0x80, 0xA6};
    // The ellipsis is one glyph that starts a line of its own.
    f32 ellipsis_width = glyph_advance_after(font, nullptr, font_glyph(font, 0x2026), 0x2026);
    const u8* first = text.bytes;
    const u8* end = first + text.used;
    fit_walk_t walk = fit_walk<false>(font, first, end, previous_codepoint, width, ellipsis_width);
    layout_size_t size = {walk.used, font_line_height(font, 0)};
    const u8* cut = walk.stop;
    bool add_ellipsis = false;
    if (!walk.reached_end && !(flags & layout_fit_no_ellipsis)) {
        walk = fit_walk<true>(font, first, end, previous_codepoint, width, ellipsis_width);
        cut = walk.ellipsis_at;
        size.width = walk.ellipsis_used;
        if (ellipsis_width <= width) {
            size.width += ellipsis_width;
            add_ellipsis = true;
        }
    }
    if (out_size) *out_size = size;
    if (out_text) {
        ASSERT(out_text->reserved >= text.used + 2);
        u64 kept = (u64)(cut - first);
        bytes_copy(out_text->bytes, first, kept);
        out_text->used = kept;
        if (add_ellipsis) {
            bytes_copy(out_text->bytes + kept, ellipsis, 3);
            out_text->used += 3;
        }
    }
}
