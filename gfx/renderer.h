// Queued drawing: views append rectangles, images and text to batches during the
// frame; at its end a backend executes the list, every batch in creation order:
// OpenGL through three small GLSL 150 programs, or a stub that records the commands
// so that tests can read what a frame drew.
#pragma once

#include "base/data.h"
#include "base/rect.h"
#include "gfx/damage.h"
#include "gfx/font.h"

enum : u32 {
    render_command_clear = 1,
    render_command_viewport = 2,
    render_command_batch = 8,
    render_command_scissor = 9,
};

enum : u32 {
    batch_type_triangle_strips = 3,
    batch_type_line_strips = 4,
    batch_type_quads = 5,
    batch_type_images = 6,  // quads with a texture per command
    batch_type_text = 7,
};

// Renderer flags.
enum : u32 {
    renderer_depth_test = 1,
    renderer_cull_face = 2,
    renderer_alpha_blending = 4,
};

// gl_texture_create flags.
enum : u32 {
    texture_srgb = 1,
    texture_linear = 2,
    texture_mipmaps = 4,
};

enum : u32 {
    program_slot_rectangles = 0,
    program_slot_text = 1,
    program_slot_images = 2,
    program_slot_count = 3,
};

// The GL programs as the driver built them, kept in a file between runs: a driver
// loads one far faster than it compiles one. Read at the first program.
struct program_cache_t {
    char path[4096];  // none kept while empty
    u32 read;
    u32 format[program_slot_count];
    u32 size[program_slot_count];  // 0: none kept for the slot
    data_t memory;  // program_cache_slot_size bytes a slot
};
constexpr u32 program_cache_slot_size = 0x10000;

struct render_command_t {
    u32 kind;
    u32 batch;
    i32 enabled;
    i32 x, y, width, height;
    colour_t colour;
    u8 padding[20];
};
static_assert(sizeof(render_command_t) == 64);

// One primitive command of a batch. Quads have their vertices written at once;
// text keeps its bytes until the render expands them. `first_index` and
// `index_count` are known once the vertices exist.
struct batch_command_t {
    u32 kind;  // 5 quad, 6 image, 7 text, 9 scissor
    u32 first_index;
    u32 index_count;
    u32 texture;
    u32 bytes_per_pixel;
    u32 font;
    u32 trim_first;
    u64 text_offset;
    u64 text_length;
    f32 x, y;     // a text's pen
    rect_t rect;  // a quad's or image's
    u32 colour;   // packed; a quad's is its first corner's
    i32 scissor[5];  // enabled, x, y, width, height
};

struct batch_t {
    u32 type;
    u8 format;
    u32 quad_layout;  // how quads are written for the format
    u32 vertex_size;  // bytes
    u32 index_size;   // bytes
    u32 command_count, command_capacity;
    batch_command_t* commands;
    u32 vertex_count, vertex_capacity;
    u8* vertices;
    u32 index_count, index_capacity;
    u8* indices;
    u32 index_filled;  // indices written so far; they never change
    data_t text;  // bytes of text commands
    u32 vertex_buffer;
    u32 vertex_buffer_size;  // bytes of storage the GL buffer has
    u32 program_slot;
    u32 texture;
    font_set_t* fonts;
    u32 dropped;  // primitives that found the batch full this frame
    data_t memory;
};

constexpr u32 renderer_batch_capacity = 16;

// A type of its own, so that no stray bool or number picks a backend.
enum render_backend_t : u32 {
    render_backend_gl = 0,
    render_backend_stub = 1,  // no context: records what it executes
};

constexpr u32 render_record_no_batch = 0xFFFFFFFF;

// One command as the stub executed it, in drawing order. Quads and images that found
// their batch full were never drawn and have no record; a text has one even when
// none of its glyphs has ink.
struct render_record_t {
    u32 kind;   // the renderer's render_command_*, or a batch's batch_type_* or render_command_scissor
    u32 batch;  // the batch's handle, or render_record_no_batch
    rect_t rect;  // a quad or image; a scissor or viewport as x, y, x + width, y + height
    u32 colour;   // packed as in the vertices; a clear's colour too
    u32 enabled;  // a scissor
    u32 texture;  // an image's, else the batch's own
    u32 bytes_per_pixel;
    u32 font;
    f32 x, y;     // a text's pen
    data_t text;  // a text's bytes, valid until the next frame begins
};

struct renderer_t {
    u32 command_count;
    data_t commands;     // 0x80000 bytes
    data_t vertex_data;  // 0x80000 bytes
    u32 independent_command_count;
    batch_t batches[renderer_batch_capacity];
    u32 batch_count;
    f32 projection[16];
    u32 programs[program_slot_count];
    // Frames the GL backend has executed: the first draws its rectangles with the
    // text's program.
    u32 frames_executed;
    program_cache_t program_cache;
    u32 vertex_array;
    // The GL backend's triangle list for quads, shared by every batch, and the
    // number of quads it holds.
    u32 quad_index_buffer, quad_index_quads;
    u32 flags;
    i32 width, height;
    render_backend_t backend;
    // The stub's records of the last frame it executed.
    data_t records;
    u32 record_count;
    u32 records_dropped;
    // The longest side a texture may have: the context's limit, or for the stub
    // the smallest that any GL 3.3 context must take, which tests may lower.
    u32 max_texture_size;
    // The stub's textures over the whole run: handles given out and taken back.
    u32 textures_created, textures_deleted;
    u32 texture_last_deleted;
    // The stub refuses this many texture requests from now on, as a driver out of
    // memory would.
    u32 textures_to_refuse;
    // What changed on the window: the GL backend draws only that when the back
    // buffer keeps its pixels, and the window shows `damage.shown` (or all).
    damage_t damage;
    // This frame's scrolled region: a screen rectangle whose content moves as one,
    // `region_offset` pixels upwards (content y is screen y - offset). 0 declared:
    // none; more than one: none either, as the damage pass keeps one.
    rect_t region_rect;
    f32 region_offset;
    u32 region_count;
    // The GL backend's scratch framebuffer for the region's rows that stay, and its size.
    u32 scratch_framebuffer, scratch_renderbuffer;
    i32 scratch_width, scratch_height;
    u32 scratch_refused;
};

// Vertex format byte: bits 0-1 position components - 2, 4 colour, 8 uv, bits 4-5
// the index size (1, 2, or 3 for 4 bytes).
u8 gl_format(u32 components, u32 has_colour, u32 has_uv, u32 index_bytes);
u32 gl_format_vertex_words(u8 format);
u32 gl_format_index_bytes(u8 format);
u32 color_pack(colour_t colour);

void gl_renderer_create(renderer_t* renderer, i32 width, i32 height, u32 flags,
                        render_backend_t backend = render_backend_gl);
// Gives the batch's handle (its index). `texture` is the batch's own texture (0 none).
u32 gl_batch_create(renderer_t* renderer, u32 type, u8 format, u32 quad_capacity, u32 command_capacity,
                    font_set_t* fonts, u32 texture);
inline batch_t* gl_batch(renderer_t* renderer, u32 handle) {
    ASSERT(handle < renderer->batch_count);
    return &renderer->batches[handle];
}
void gl_frame_begin(renderer_t* renderer);
void gl_resize(renderer_t* renderer, i32 x, i32 y, i32 width, i32 height);
void gl_clear(renderer_t* renderer, colour_t colour);
void gl_viewport(renderer_t* renderer, i32 x, i32 y, i32 width, i32 height);
// Declares this frame's scrolled region (see renderer_t); the stub ignores it.
void gl_region(renderer_t* renderer, rect_t rect, f32 offset);
void gl_renderer_scissor(renderer_t* renderer, bool enabled, i32 x, i32 y, i32 width, i32 height);
void gl_scissor(batch_t* batch, bool enabled, i32 x, i32 y, i32 width, i32 height);
// uv null means 0, 0, 1, 1; corner colours null means white, else four in the order
// x0y1, x0y0, x1y1, x1y0.
void gl_batch_rectangle(batch_t* batch, rect_t rect, const rect_t* uv, const colour_t* corner_colours,
                        colour_t colour);
void gl_batch_image(batch_t* batch, rect_t rect, const rect_t* uv, const colour_t* corner_colours, colour_t colour,
                    u32 texture, u32 bytes_per_pixel);
// (x, y) is the pen on the baseline. The bytes are copied.
void gl_batch_text(batch_t* batch, const u8* text, u64 length, f32 x, f32 y, u32 trim_first, u32 font, colour_t colour);
// A queued quad's or text's colour, changed before the frame ends: all four corners
// of a quad, every glyph of a text.
void gl_batch_command_colour(batch_t* batch, u32 command, colour_t colour);
void gl_frame_end(renderer_t* renderer);
// Expands the text and hands the command list to the backend.
void gl_render(renderer_t* renderer);
inline const render_record_t* render_records(const renderer_t* renderer) {
    return (const render_record_t*)renderer->records.bytes;
}

// The backends.
// The texture of a text command: its font's atlas, 0 while the atlas has none.
inline u32 batch_text_texture(const batch_t* batch, const batch_command_t* command) {
    const font_atlas_t* atlas = batch->fonts->fonts[command->font].atlas;
    return atlas ? atlas->texture : 0;
}
// Whether every vertex of a batch of coloured vertices is opaque: such rectangles
// draw the same without blending.
inline bool batch_is_opaque(const batch_t* batch) {
    const u8* alpha = batch->vertices + ((batch->format & 3) + 2) * 4 + 3;
    for (u32 i = 0; i < batch->vertex_count; i++, alpha += batch->vertex_size) {
        if (*alpha != 255) return false;
    }
    return true;
}
// The batch's index at `at`, whatever its size.
inline u32 batch_index_read(const batch_t* batch, u32 at) {
    const u8* source = batch->indices + (u64)at * batch->index_size;
    if (batch->index_size == 2) return *(const u16*)source;
    if (batch->index_size == 4) return *(const u32*)source;
    return *source;
}
void render_gl_create(renderer_t* renderer);
// Keeps the programs in the file `path` from now on (a folder that isn't there is
// made when the file is first written).
void gl_program_cache_use(renderer_t* renderer, const char* path);
void render_gl_execute(renderer_t* renderer);
void render_stub_execute(renderer_t* renderer);

// 0 when the context can't make it (out of memory, a size it doesn't take).
u32 gl_texture_create(const void* pixels, i32 width, i32 height, u32 bytes_per_pixel, u32 flags);
void gl_texture_delete(u32* texture);
// The same through the renderer's backend: the stub makes no texture, only counts
// and hands out handles that are never 0 unless it was told to refuse.
u32 render_texture_create(renderer_t* renderer, const void* pixels, i32 width, i32 height, u32 bytes_per_pixel,
                          u32 flags);
void render_texture_delete(renderer_t* renderer, u32* texture);
// A font atlas's texture, made when the atlas is new or grew. True when the texture
// was there before and wants only the rows that changed.
bool render_atlas_texture(renderer_t* renderer, font_atlas_t* atlas, const font_t* font);
u32 render_stub_texture_create(renderer_t* renderer);
void render_stub_texture_delete(renderer_t* renderer, u32 texture);
// The largest side of a texture the context takes.
u32 gl_texture_size_limit();
// RGBA bytes of a framebuffer rectangle, rows bottom-up; `size` must hold them.
void gl_read_framebuffer(i32 x, i32 y, i32 width, i32 height, u8* pixels, u64 size);
