// The renderer's queue: command list, batches, vertex formats, the vertices of
// quads and, at the frame's end, of text expanded into glyph quads. A backend then
// executes the list: OpenGL (renderer_gl.cpp) or the stub that records it.
#include "gfx/renderer.h"

#include "base/log.h"
#include "base/text.h"
#include "profiler/profiler.h"

u8 gl_format(u32 components, u32 has_colour, u32 has_uv, u32 index_bytes) {
    ASSERT(components >= 2 && components <= 4);
    ASSERT(index_bytes == 1 || index_bytes == 2 || index_bytes == 4);
    u32 index_code = index_bytes == 4 ? 3 : index_bytes;
    return (u8)((components - 2) | (has_colour ? 4 : 0) | (has_uv ? 8 : 0) | (index_code << 4));
}

u32 gl_format_vertex_words(u8 format) {
    return (format & 3) + 2 + ((format & 4) ? 1 : 0) + ((format & 8) ? 2 : 0);
}

u32 gl_format_index_bytes(u8 format) {
    u32 code = (format >> 4) & 3;
    return code == 3 ? 4 : code;
}

// The vertex layouts the draw layer uses: two position components and a packed
// colour, with or without texture coordinates. Other formats take the general writer.
struct vertex_colour_t {
    f32 x, y;
    u32 colour;
};
struct vertex_colour_uv_t {
    f32 x, y;
    u32 colour;
    f32 u, v;
};
static_assert(sizeof(vertex_colour_t) == 12 && sizeof(vertex_colour_uv_t) == 20);

enum quad_layout_t : u32 {
    quad_layout_general = 0,
    quad_layout_colour = 1,
    quad_layout_colour_uv = 2,
};

// The index size doesn't matter: indices are written apart from the vertices.
static quad_layout_t quad_layout(u8 format) {
    switch (format & 0xF) {
        case 0x4: return quad_layout_colour;
        case 0xC: return quad_layout_colour_uv;
        default: return quad_layout_general;
    }
}

// Not a number counts as 0. The compiler makes both tests a min and a max.
static inline f32 unit_clamp(f32 value) { return value > 0 ? (value < 1 ? value : 1) : 0; }

// Inlined into the quad and text writers, which pack a colour per command.
static inline u32 colour_pack_inline(colour_t colour) {
    u32 r = (u32)(i32)(unit_clamp(colour.r) * 255.0f + 0.5f);
    u32 g = (u32)(i32)(unit_clamp(colour.g) * 255.0f + 0.5f);
    u32 b = (u32)(i32)(unit_clamp(colour.b) * 255.0f + 0.5f);
    u32 a = (u32)(i32)(unit_clamp(colour.a) * 255.0f + 0.5f);
    return r | (g << 8) | (b << 16) | (a << 24);
}

u32 color_pack(colour_t colour) { return colour_pack_inline(colour); }

static void projection_set(renderer_t* renderer, i32 width, i32 height) {
    for (u32 i = 0; i < 16; i++) renderer->projection[i] = 0;
    renderer->projection[0] = 2.0f / (f32)(width > 0 ? width : 1);
    renderer->projection[5] = 2.0f / (f32)(height > 0 ? height : 1);
    renderer->projection[10] = 1;
    renderer->projection[12] = -1;
    renderer->projection[13] = -1;
    renderer->projection[15] = 1;
}

void gl_renderer_create(renderer_t* renderer, i32 width, i32 height, u32 flags, render_backend_t backend) {
    *renderer = renderer_t{};
    renderer->commands = data_allocate(0x80000);
    renderer->vertex_data = data_allocate(0x80000);
    ASSERT(renderer->commands.bytes && renderer->vertex_data.bytes);
    renderer->flags = flags;
    renderer->width = width;
    renderer->height = height;
    projection_set(renderer, width, height);
    renderer->backend = backend;
    renderer->max_texture_size = 1024;
    if (backend == render_backend_gl) render_gl_create(renderer);
}

u32 gl_batch_create(renderer_t* renderer, u32 type, u8 format, u32 quad_capacity, u32 command_capacity,
                    font_set_t* fonts, u32 texture) {
    ASSERT(renderer->batch_count < renderer_batch_capacity);
    u32 handle = renderer->batch_count++;
    batch_t* batch = &renderer->batches[handle];
    *batch = batch_t{};
    batch->type = type;
    batch->format = format;
    batch->quad_layout = quad_layout(format);
    // Glyph quads are written in one layout: position, packed colour, atlas box.
    ASSERT(type != batch_type_text || batch->quad_layout == quad_layout_colour_uv);
    batch->vertex_size = gl_format_vertex_words(format) * 4;
    batch->index_size = gl_format_index_bytes(format);
    batch->vertex_capacity = quad_capacity * 4;
    batch->index_capacity = quad_capacity * 5;
    batch->command_capacity = command_capacity;
    // Indices must be able to name every vertex and still leave the restart value.
    u64 index_limit = batch->index_size == 4 ? 0xFFFFFFFFull : (batch->index_size == 2 ? 0xFFFFull : 0xFFull);
    ASSERT(batch->vertex_capacity <= index_limit);
    u64 text_size = type == batch_type_text ? (u64)quad_capacity * 4 : 0;
    u64 size = (u64)command_capacity * sizeof(batch_command_t) + (u64)batch->vertex_capacity * batch->vertex_size +
               (u64)batch->index_capacity * batch->index_size + text_size + 64;
    batch->memory = data_allocate(size);
    ASSERT(batch->memory.bytes);
    batch->commands = (batch_command_t*)data_push(&batch->memory, (u64)command_capacity * sizeof(batch_command_t), 8);
    batch->vertices = (u8*)data_push(&batch->memory, (u64)batch->vertex_capacity * batch->vertex_size, 8);
    batch->indices = (u8*)data_push(&batch->memory, (u64)batch->index_capacity * batch->index_size, 8);
    if (text_size) {
        u8* text = (u8*)data_push(&batch->memory, text_size, 1);
        batch->text = data_make(text_size, 0, text);
    }
    batch->fonts = fonts;
    batch->texture = texture;
    batch->program_slot = type == batch_type_images ? program_slot_images
                          : (type == batch_type_text || texture) ? program_slot_text
                                                                 : program_slot_rectangles;
    return handle;
}

static render_command_t* command_push(renderer_t* renderer, u32 kind) {
    render_command_t* command =
        (render_command_t*)data_push(&renderer->commands, sizeof(render_command_t), 8);
    ASSERT(command);
    *command = render_command_t{};
    command->kind = kind;
    renderer->command_count += 1;
    if (kind != render_command_batch) renderer->independent_command_count += 1;
    return command;
}

void gl_frame_begin(renderer_t* renderer) {
    renderer->region_count = 0;
    renderer->command_count = 0;
    renderer->independent_command_count = 0;
    data_clear(&renderer->commands);
    data_clear(&renderer->vertex_data);
    for (u32 i = 0; i < renderer->batch_count; i++) {
        batch_t* batch = &renderer->batches[i];
        batch->command_count = 0;
        batch->vertex_count = 0;
        batch->index_count = 0;
        batch->dropped = 0;
        data_clear(&batch->text);
    }
}

void gl_viewport(renderer_t* renderer, i32 x, i32 y, i32 width, i32 height) {
    render_command_t* command = command_push(renderer, render_command_viewport);
    command->x = x;
    command->y = y;
    command->width = width;
    command->height = height;
}

void gl_resize(renderer_t* renderer, i32 x, i32 y, i32 width, i32 height) {
    gl_viewport(renderer, x, y, width, height);
    renderer->width = width;
    renderer->height = height;
    projection_set(renderer, width, height);
}

void gl_region(renderer_t* renderer, rect_t rect, f32 offset) {
    // A view drawn twice in a frame declares its region twice.
    if (renderer->region_count && rect_equal(renderer->region_rect, rect)) {
        renderer->region_offset = offset;
        return;
    }
    renderer->region_count += 1;
    renderer->region_rect = rect;
    renderer->region_offset = offset;
}

void gl_clear(renderer_t* renderer, colour_t colour) {
    render_command_t* command = command_push(renderer, render_command_clear);
    command->colour = colour;
}

void gl_renderer_scissor(renderer_t* renderer, bool enabled, i32 x, i32 y, i32 width, i32 height) {
    render_command_t* command = command_push(renderer, render_command_scissor);
    command->enabled = enabled ? 1 : 0;
    command->x = max_of(x, 0);
    command->y = max_of(y, 0);
    command->width = max_of(width, 0);
    command->height = max_of(height, 0);
}

static batch_command_t* batch_command_push(batch_t* batch, u32 kind) {
    if (batch->command_count >= batch->command_capacity) {
        batch->dropped += 1;
        return nullptr;
    }
    batch_command_t* command = &batch->commands[batch->command_count++];
    *command = batch_command_t{};
    command->kind = kind;
    return command;
}

void gl_scissor(batch_t* batch, bool enabled, i32 x, i32 y, i32 width, i32 height) {
    // A batch without room for the scissor has none for anything after it in this
    // frame either, so nothing can draw unclipped for its loss: it is counted with
    // what was dropped.
    batch_command_t* command = batch_command_push(batch, render_command_scissor);
    if (!command) return;
    command->scissor[0] = enabled ? 1 : 0;
    command->scissor[1] = max_of(x, 0);
    command->scissor[2] = max_of(y, 0);
    command->scissor[3] = max_of(width, 0);
    command->scissor[4] = max_of(height, 0);
}

static bool quad_room(batch_t* batch) {
    if (batch->vertex_count + 4 > batch->vertex_capacity || batch->index_count + 5 > batch->index_capacity) {
        batch->dropped += 1;
        return false;
    }
    return true;
}

// Every quad takes four vertices after the last and five indices after the last,
// so a batch's indices are always the same: 0 1 2 3 restart, 4 5 6 7 restart, and
// on. They are written once, as the batch first needs them, and a quad only counts
// its five.
template <typename index_t>
static void indices_fill(u8* indices, u32 from, u32 to) {
    index_t* target = (index_t*)indices;
    for (u32 i = from; i < to; i++) target[i] = i % 5 == 4 ? (index_t)~(index_t)0 : (index_t)(i / 5 * 4 + i % 5);
}

[[gnu::noinline]] static void indices_extend(batch_t* batch, u32 count) {
    // By doubling, so that a batch's first frames reach its usual count in a few steps.
    u32 to = max_of(count, max_of(batch->index_filled * 2, 1280u));
    to = min_of(to - to % 5, batch->index_capacity);
    if (batch->index_size == 2) {
        indices_fill<u16>(batch->indices, batch->index_filled, to);
    } else if (batch->index_size == 4) {
        indices_fill<u32>(batch->indices, batch->index_filled, to);
    } else {
        indices_fill<u8>(batch->indices, batch->index_filled, to);
    }
    batch->index_filled = to;
}

// Indices up to `count` exist (the batch's room already known).
static inline void indices_ready(batch_t* batch, u32 count) {
    if (count > batch->index_filled) indices_extend(batch, count);
}

// Four vertices in strip order x0y1, x0y0, x1y1, x1y0, the batch's room already known.
template <typename vertex_t>
[[gnu::always_inline]] inline static void quad_vertices(vertex_t* v, rect_t r, rect_t uv, u32 colour) {
    v[0].x = r.x0, v[0].y = r.y1, v[0].colour = colour;
    v[1].x = r.x0, v[1].y = r.y0, v[1].colour = colour;
    v[2].x = r.x1, v[2].y = r.y1, v[2].colour = colour;
    v[3].x = r.x1, v[3].y = r.y0, v[3].colour = colour;
    if constexpr (sizeof(vertex_t) == sizeof(vertex_colour_uv_t)) {
        v[0].u = uv.x0, v[0].v = uv.y1;
        v[1].u = uv.x0, v[1].v = uv.y0;
        v[2].u = uv.x1, v[2].v = uv.y1;
        v[3].u = uv.x1, v[3].v = uv.y0;
    }
}

template <typename vertex_t>
[[gnu::always_inline]] inline static void quad_store(batch_t* batch, rect_t r, rect_t uv, const u32* colours) {
    vertex_t* v = (vertex_t*)batch->vertices + batch->vertex_count;
    quad_vertices(v, r, uv, colours[0]);
    v[1].colour = colours[1];
    v[2].colour = colours[2];
    v[3].colour = colours[3];
    batch->vertex_count += 4;
    indices_ready(batch, batch->index_count + 5);
    batch->index_count += 5;
}

static void quad_store_general(batch_t* batch, rect_t r, rect_t uv, const u32* colours) {
    const f32 xs[4] = {r.x0, r.x0, r.x1, r.x1};
    const f32 ys[4] = {r.y1, r.y0, r.y1, r.y0};
    const f32 us[4] = {uv.x0, uv.x0, uv.x1, uv.x1};
    const f32 vs[4] = {uv.y1, uv.y0, uv.y1, uv.y0};
    u32 components = (batch->format & 3) + 2;
    bool has_colour = batch->format & 4;
    bool has_uv = batch->format & 8;
    u32 first = batch->vertex_count;
    for (u32 i = 0; i < 4; i++) {
        f32* v = (f32*)(batch->vertices + (u64)(first + i) * batch->vertex_size);
        u32 w = 0;
        v[w++] = xs[i];
        v[w++] = ys[i];
        for (u32 c = 2; c < components; c++) v[w++] = c == 3 ? 1.0f : 0.0f;
        if (has_colour) ((u32*)v)[w++] = colours[i];
        if (has_uv) {
            v[w++] = us[i];
            v[w++] = vs[i];
        }
    }
    batch->vertex_count += 4;
    indices_ready(batch, batch->index_count + 5);
    batch->index_count += 5;
}

static void quad_store_any(batch_t* batch, quad_layout_t layout, rect_t r, rect_t uv, const u32* colours) {
    switch (layout) {
        case quad_layout_colour: quad_store<vertex_colour_t>(batch, r, uv, colours); break;
        case quad_layout_colour_uv: quad_store<vertex_colour_uv_t>(batch, r, uv, colours); break;
        default: quad_store_general(batch, r, uv, colours); break;
    }
}

static bool quad_write(batch_t* batch, rect_t r, rect_t uv, const u32* colours) {
    if (!quad_room(batch)) return false;
    quad_store_any(batch, (quad_layout_t)batch->quad_layout, r, uv, colours);
    return true;
}

static void corner_colours_pack(const colour_t* corner_colours, colour_t colour, u32* out) {
    if (!corner_colours) {
        // White corners leave the colour as it is.
        out[0] = out[1] = out[2] = out[3] = colour_pack_inline(colour);
        return;
    }
    for (u32 i = 0; i < 4; i++) {
        colour_t corner = corner_colours[i];
        out[i] = colour_pack_inline(
            colour_t{corner.r * colour.r, corner.g * colour.g, corner.b * colour.b, corner.a * colour.a});
    }
}

static const rect_t uv_whole = {0, 0, 1, 1};

// A quad or image command with its vertices; null when the batch is full.
static batch_command_t* quad_command_push(batch_t* batch, u32 kind, rect_t rect, const rect_t* uv,
                                          const colour_t* corner_colours, colour_t colour) {
    batch_command_t* command = batch_command_push(batch, kind);
    if (!command) return nullptr;
    u32 colours[4];
    corner_colours_pack(corner_colours, colour, colours);
    command->rect = rect;
    command->colour = colours[0];
    command->first_index = batch->index_count;
    if (quad_write(batch, rect, uv ? *uv : uv_whole, colours)) command->index_count = 5;
    return command;
}

void gl_batch_rectangle(batch_t* batch, rect_t rect, const rect_t* uv, const colour_t* corner_colours,
                        colour_t colour) {
    PROFILE_ZONE(gl_batch_rectangle);
    quad_command_push(batch, batch_type_quads, rect, uv, corner_colours, colour);
}

void gl_batch_image(batch_t* batch, rect_t rect, const rect_t* uv, const colour_t* corner_colours, colour_t colour,
                    u32 texture, u32 bytes_per_pixel) {
    batch_command_t* command = quad_command_push(batch, batch_type_images, rect, uv, corner_colours, colour);
    if (!command) return;
    command->texture = texture;
    command->bytes_per_pixel = bytes_per_pixel;
}

void gl_batch_text(batch_t* batch, const u8* text, u64 length, f32 x, f32 y, u32 trim_first, u32 font,
                   colour_t colour) {
    ASSERT(batch->type == batch_type_text && batch->fonts && font < batch->fonts->font_count);
    if (length == 0) return;
    if (batch->text.used + length > batch->text.reserved) {
        batch->dropped += 1;
        return;
    }
    batch_command_t* command = batch_command_push(batch, batch_type_text);
    if (!command) return;
    command->text_offset = batch->text.used;
    command->text_length = length;
    data_push_bytes(&batch->text, text, length, 1);
    command->x = x;
    command->y = y;
    command->trim_first = trim_first;
    command->font = font;
    command->colour = colour_pack_inline(colour);
}

void gl_batch_command_colour(batch_t* batch, u32 command_index, colour_t colour) {
    ASSERT(command_index < batch->command_count);
    batch_command_t* command = &batch->commands[command_index];
    u32 packed = color_pack(colour);
    command->colour = packed;
    // Text takes its colour when it is expanded; a quad has it in its vertices, unless
    // the batch had no room for them.
    if (command->kind == batch_type_text || command->index_count != 5 || !(batch->format & 4)) return;
    u32 colour_word = (batch->format & 3) + 2;
    u32 first = batch_index_read(batch, command->first_index);
    for (u32 i = 0; i < 4; i++) {
        u32* vertex = (u32*)(batch->vertices + (u64)(first + i) * batch->vertex_size);
        vertex[colour_word] = packed;
    }
}

static inline u32 bits_of(f32 value) {
    u32 bits;
    __builtin_memcpy(&bits, &value, 4);
    return bits;
}

// Four lanes of a glyph quad's vertices, as floats and as bits.
typedef f32 quad_lanes_t __attribute__((vector_size(16)));
typedef u32 quad_bits_t __attribute__((vector_size(16)));

// A glyph as text draws it: its four vertices as they are written, 80 bytes in
// five words of four lanes, with the positions taken from the pen and the colour's
// bits 0; and its ink (a blank's quad is written all the same and not counted).
// In the order of the vertices (x y colour u v) the words are
//   x0 y1 c u0 | v1 x0 y0 c | u0 v0 x1 y1 | c u1 v1 x1 | y0 c u1 v0
struct glyph_quad_t {
    quad_lanes_t words[5];  // for the atlas's size when the quad was made
    const glyph_t* glyph;
    u32 ink_bytes;  // the vertices' size when it has ink, else 0
    u32 size;       // the bytes of its code point
    u32 codepoint;
    // The font's pair table's row of steps after it when it is one of the font's
    // ASCII glyphs, else a row that knows none.
    const f32* steps;
};

struct steps_unknown_t {
    f32 values[128];
    constexpr steps_unknown_t() : values() {
        for (f32& value : values) value = font_advance_unknown;
    }
};
static constexpr steps_unknown_t steps_unknown = {};

// The quads of the ASCII glyphs one font has drawn in this frame (a glyph drawn in
// a frame keeps its place in the atlas until the next begins).
struct ascii_font_t {
    glyph_quad_t quads[128];  // glyph null until drawn in this frame
};

struct ascii_glyphs_t {
    ascii_font_t fonts[font_limit];
    const font_set_t* set;
    u32 ready;  // a bit per font whose tables were made for this frame
    renderer_t* renderer;  // whose batches hold the glyph quads of the frame so far
};

static ascii_font_t* ascii_font(ascii_glyphs_t* known, u32 font_index) {
    ascii_font_t* ascii = &known->fonts[font_index];
    if (known->ready & (1u << font_index)) return ascii;
    known->ready |= 1u << font_index;
    for (u32 c = 0; c < 128; c++) ascii->quads[c].glyph = nullptr;
    return ascii;
}

// One code point at `p` (before `end`): its value and length, 0 length for a byte
// that starts no valid sequence.
static inline void codepoint_next(const u8* p, const u8* end, u32* codepoint, u32* size) {
    if (*p < 0x80) {
        *codepoint = *p;
        *size = 1;
        return;
    }
    utf_error_t error = 0;
    utf8_decode(p, end, codepoint, size, &error);
    if (error) *size = 0;
}

// Pixels per atlas texel, both ways; 0 without an atlas.
static inline void atlas_inverse(const font_t* font, f32* inverse_width, f32* inverse_height) {
    const font_atlas_t* atlas = font->atlas;
    *inverse_width = atlas && atlas->width ? 1.0f / (f32)atlas->width : 0;
    *inverse_height = atlas && atlas->height ? 1.0f / (f32)atlas->height : 0;
}

// A font's atlas grew while the frame's text was expanded: the glyph quads that
// text already has from it hold coordinates for the old size. Growing keeps every
// glyph's pixels where they were, so scaling those coordinates is all they need.
// It happens a few times in a run, when the text on show outgrows the atlas, and
// never costs a steady frame anything.
static void atlas_grown(const renderer_t* renderer, const font_set_t* set, u32 font_index, f32 scale_u,
                        f32 scale_v) {
    for (u32 b = 0; b < renderer->batch_count; b++) {
        const batch_t* batch = &renderer->batches[b];
        if (batch->type != batch_type_text || batch->fonts != set) continue;
        for (u32 c = 0; c < batch->command_count; c++) {
            const batch_command_t* command = &batch->commands[c];
            if (command->kind != batch_type_text || command->font != font_index || !command->index_count) continue;
            // A text's quads take consecutive vertices, five indices each.
            vertex_colour_uv_t* v = (vertex_colour_uv_t*)batch->vertices + command->first_index / 5 * 4;
            for (u32 i = 0; i < command->index_count / 5 * 4; i++) {
                v[i].u *= scale_u;
                v[i].v *= scale_v;
            }
        }
    }
}

static inline u32 atlas_size_of(const font_t* font) {
    return font->atlas ? (u32)font->atlas->width << 16 | font->atlas->height : 0;
}

// One text command on its way into glyph quads.
struct text_run_t {
    ascii_glyphs_t* known;
    ascii_font_t* ascii;
    batch_t* batch;
    batch_command_t* command;
    const font_t* font;
    u32 atlas_size;  // width << 16 | height, 0 for none
    f32 inverse_width, inverse_height;
};

// A glyph the tables don't hold: through the font, which may bake it and grow the
// atlas (the batch's counts are up to date for the quads written so far). Its quad
// goes into the tables when it is one of the font's own ASCII glyphs, else into
// `other`.
[[gnu::noinline, gnu::cold]] static const glyph_quad_t* glyph_quad_make(text_run_t* run, const u8* p, const u8* end,
                                                                       glyph_quad_t* other) {
    const font_t* font = run->font;
    u32 codepoint = 0, size = 0;
    codepoint_next(p, end, &codepoint, &size);
    if (!size) codepoint = codepoint_replacement, size = 1;
    const glyph_t* glyph = font_glyph_drawn(font, codepoint);
    if (atlas_size_of(font) != run->atlas_size) {
        // The atlas was made or grew: the quads written so far follow it, and the
        // quads kept for the old size are met again through the font.
        const font_atlas_t* atlas = font->atlas;
        if (run->atlas_size >> 16 && (run->atlas_size & 0xFFFF)) {
            batch_command_t* command = run->command;
            command->index_count = run->batch->index_count - command->first_index;
            atlas_grown(run->known->renderer, run->batch->fonts, command->font,
                        (f32)(run->atlas_size >> 16) / atlas->width, (f32)(run->atlas_size & 0xFFFF) / atlas->height);
        }
        atlas_inverse(font, &run->inverse_width, &run->inverse_height);
        run->atlas_size = atlas_size_of(font);
        for (u32 a = 0; a < 128; a++) run->ascii->quads[a].glyph = nullptr;
    }
    // A glyph that found no room in the atlas tries again where it next appears.
    bool keep = codepoint < 128 && glyph == font_glyph_ascii(font, codepoint);
    glyph_quad_t* quad = keep ? &run->ascii->quads[codepoint] : other;
    const f32 x0 = glyph->offset_x0, y0 = glyph->offset_y0, x1 = glyph->offset_x1, y1 = glyph->offset_y1;
    const f32 u0 = glyph->x0 * run->inverse_width, v0 = glyph->y0 * run->inverse_height;
    const f32 u1 = glyph->x1 * run->inverse_width, v1 = glyph->y1 * run->inverse_height;
    quad->words[0] = quad_lanes_t{x0, y1, 0, u0};
    quad->words[1] = quad_lanes_t{v1, x0, y0, 0};
    quad->words[2] = quad_lanes_t{u0, v0, x1, y1};
    quad->words[3] = quad_lanes_t{0, u1, v1, x1};
    quad->words[4] = quad_lanes_t{y0, 0, u1, v0};
    quad->glyph = glyph;
    quad->ink_bytes = glyph->x1 > glyph->x0 ? 4 * sizeof(vertex_colour_uv_t) : 0;
    quad->size = size;
    quad->codepoint = codepoint;
    // A font made by hand (tests' fixed-advance fonts) has no pair table.
    quad->steps = keep && font->step_ascii ? font->step_ascii + codepoint * 128 : steps_unknown.values;
    return quad;
}

// The pen's step over a glyph when the pair table doesn't have it yet, or can't:
// the glyph isn't one of the font's ASCII glyphs, or the code point after isn't ASCII.
[[gnu::noinline, gnu::cold]] static f32 glyph_step(const font_t* font, const glyph_quad_t* quad, const u8* p,
                                                  const u8* end) {
    if (quad->steps != steps_unknown.values && *p < 128) return font_step_pair_fill(font, quad->codepoint, *p);
    const glyph_t* glyph = quad->glyph;
    u32 next = 0, size = 0;
    codepoint_next(p, end, &next, &size);
    i32 amount = size ? font_kerning(font, glyph, next) : 0;
    return glyph->advance + (f32)amount * font->scale;
}

// Glyph quads of one text command, at the end of the batch's vertices, with room
// for `room` quads. `checked` when the batch may fill up before the text ends;
// otherwise every glyph, blanks included, has room for its quad, written without
// a branch. Drawn ASCII glyphs and the steps between them come from tables; the
// rest leaves the loop for calls that are met a few times a frame.
template <bool checked>
static void text_expand_glyphs(text_run_t* run, const u8* p, const u8* end, u32 room) {
    batch_t* batch = run->batch;
    batch_command_t* command = run->command;
    const font_t* font = run->font;
    const glyph_quad_t* quads = run->ascii->quads;
    vertex_colour_uv_t* const first = (vertex_colour_uv_t*)batch->vertices + batch->vertex_count;
    vertex_colour_uv_t* v = first;
    const vertex_colour_uv_t* v_end = v + room * 4;
    const u32 colour = command->colour;
    const u32 first_vertex = batch->vertex_count;
    // The batch's counts follow the quads written before the font is called.
    auto counts_update = [&]() {
        u32 written = (u32)(v - first) / 4;
        batch->vertex_count = first_vertex + written * 4;
        batch->index_count = command->first_index + written * 5;
    };
    // A quad's words are its record's plus the pen where a position is and the
    // colour's bits where the colour is: the same sums as one coordinate at a time.
    const f32 pen_y = command->y;
    const quad_bits_t pen_y_lanes[5] = {{0, bits_of(pen_y), 0, 0}, {0, 0, bits_of(pen_y), 0},
                                        {0, 0, 0, bits_of(pen_y)}, {0, 0, 0, 0}, {bits_of(pen_y), 0, 0, 0}};
    const quad_bits_t pen_x_masks[5] = {{~0u, 0, 0, 0}, {0, ~0u, 0, 0}, {0, 0, ~0u, 0}, {0, 0, 0, ~0u}, {0, 0, 0, 0}};
    const quad_bits_t colour_lanes[5] = {{0, 0, colour, 0}, {0, 0, 0, colour}, {0, 0, 0, 0}, {colour, 0, 0, 0},
                                         {0, colour, 0, 0}};
    glyph_quad_t other;
    // The size stays in a register: read back from the quad, it would chain each
    // glyph's loads to the one before.
    u32 size = 1;
    const glyph_quad_t* quad = *p < 128 ? &quads[*p] : nullptr;
    if (!quad || !quad->glyph) {
        quad = glyph_quad_make(run, p, end, &other);
        size = quad->size;
    }
    f32 pen_x = command->x;
    if (command->trim_first) pen_x -= quad->words[0][0];
    for (;;) {
        if (checked && quad->ink_bytes && v == v_end) {
            batch->dropped += 1;
            break;
        }
        if (!checked || v != v_end) {
            const quad_bits_t pen_x_lanes = (quad_bits_t)quad_lanes_t{pen_x, pen_x, pen_x, pen_x};
            for (u32 w = 0; w < 5; w++) {
                const quad_lanes_t pen = (quad_lanes_t)((pen_x_lanes & pen_x_masks[w]) | pen_y_lanes[w]);
                const quad_bits_t word = (quad_bits_t)(quad->words[w] + pen) | colour_lanes[w];
                __builtin_memcpy((u8*)v + 16 * w, &word, 16);
            }
        }
        v = (vertex_colour_uv_t*)((u8*)v + quad->ink_bytes);
        p += size;
        if (p >= end) break;
        const u32 next = *p;
        f32 step = next < 128 ? quad->steps[next] : font_advance_unknown;
        if (step == font_advance_unknown) [[unlikely]] step = glyph_step(font, quad, p, end);
        pen_x += step;
        size = 1;
        quad = next < 128 ? &quads[next] : nullptr;
        if (!quad || !quad->glyph) [[unlikely]] {
            counts_update();
            quad = glyph_quad_make(run, p, end, &other);
            size = quad->size;
        }
    }
    counts_update();
}

static void text_expand(batch_t* batch, batch_command_t* command, ascii_glyphs_t* known) {
    command->first_index = batch->index_count;
    if (command->text_length == 0) return;
    text_run_t run = {known, ascii_font(known, command->font), batch, command, &batch->fonts->fonts[command->font],
                      0, 0, 0};
    atlas_inverse(run.font, &run.inverse_width, &run.inverse_height);
    run.atlas_size = atlas_size_of(run.font);
    const u8* p = batch->text.bytes + command->text_offset;
    // No more glyphs than bytes; the vertices and the indices share the room.
    u32 room =
        min_of((batch->vertex_capacity - batch->vertex_count) / 4, (batch->index_capacity - batch->index_count) / 5);
    if (room >= command->text_length) {
        text_expand_glyphs<false>(&run, p, p + command->text_length, room);
    } else {
        text_expand_glyphs<true>(&run, p, p + command->text_length, room);
    }
    indices_ready(batch, batch->index_count);
    command->index_count = batch->index_count - command->first_index;
}

static void batch_text_expand(batch_t* batch, ascii_glyphs_t* known) {
    for (u32 c = 0; c < batch->command_count; c++) {
        batch_command_t* command = &batch->commands[c];
        if (command->kind == batch_type_text) text_expand(batch, command, known);
    }
}

void gl_frame_end(renderer_t* renderer) {
    for (u32 i = 0; i < renderer->batch_count; i++) {
        render_command_t* command = command_push(renderer, render_command_batch);
        command->batch = i;
    }
    gl_render(renderer);
}

void gl_render(renderer_t* renderer) {
    // Text becomes glyph quads only now: the glyphs of the whole frame are baked
    // into the atlas before it is uploaded, and none of them leaves it until the next.
    font_set_t* frame_set = nullptr;
    ascii_glyphs_t known;
    known.set = nullptr;
    known.ready = 0;
    known.renderer = renderer;
    for (u32 i = 0; i < renderer->batch_count; i++) {
        batch_t* batch = &renderer->batches[i];
        if (batch->type != batch_type_text) continue;
        if (batch->fonts && batch->fonts != frame_set) {
            frame_set = batch->fonts;
            font_frame_begin(batch->fonts);
        }
        if (known.set != batch->fonts) {
            known.set = batch->fonts;
            known.ready = 0;
        }
        batch_text_expand(batch, &known);
    }
    if (renderer->backend == render_backend_gl) {
        render_gl_execute(renderer);
    } else {
        for (u32 f = 0; frame_set && f < frame_set->font_count; f++) {
            font_atlas_t* atlas = frame_set->fonts[f].atlas;
            if (!atlas || !atlas->pixels) continue;
            render_atlas_texture(renderer, atlas, &frame_set->fonts[f]);
            font_atlas_uploaded(atlas);
        }
        render_stub_execute(renderer);
    }
    for (u32 i = 0; i < renderer->batch_count; i++) {
        if (renderer->batches[i].dropped) {
            log_write_c_string(log_graphics, "Batch full, primitives dropped: ");
            log_write_u64(log_graphics, renderer->batches[i].dropped);
            log_write_c_string(log_graphics, "\n");
        }
    }
}

u32 render_texture_create(renderer_t* renderer, const void* pixels, i32 width, i32 height, u32 bytes_per_pixel,
                          u32 flags) {
    if (renderer->backend == render_backend_gl) return gl_texture_create(pixels, width, height, bytes_per_pixel, flags);
    return render_stub_texture_create(renderer);
}

void render_texture_delete(renderer_t* renderer, u32* texture) {
    if (renderer->backend == render_backend_gl) {
        gl_texture_delete(texture);
        return;
    }
    if (*texture) render_stub_texture_delete(renderer, *texture);
    *texture = 0;
}

// A texture the driver refuses (out of memory, most often) leaves the font's text
// undrawn rather than stopping; it is asked for again only when the atlas grows, so
// a refusal costs one try and one line, not one of each per frame.
bool render_atlas_texture(renderer_t* renderer, font_atlas_t* atlas, const font_t* font) {
    if (atlas->resized) {
        render_texture_delete(renderer, &atlas->texture);
        atlas->refused = 0;
    }
    if (atlas->texture) return true;
    if (atlas->refused) return false;
    atlas->texture = render_texture_create(renderer, atlas->pixels, atlas->width, atlas->height, 1, texture_linear);
    if (!atlas->texture) {
        atlas->refused = 1;
        log_paragraph_start(log_user);
        log_write_c_string(log_user, "A font's glyphs could not be made into a texture; its text is not shown: ");
        log_write_u64(log_user, (u64)font->size);
        log_write_c_string(log_user, " px, atlas ");
        log_write_u64(log_user, atlas->width);
        log_write_c_string(log_user, " by ");
        log_write_u64(log_user, atlas->height);
    }
    return false;
}
