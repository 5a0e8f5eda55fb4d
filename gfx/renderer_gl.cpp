// The renderer's OpenGL backend: one vertex array, the three GLSL 150 programs and
// the file that keeps them between runs, a vertex buffer per batch, one triangle
// list for every batch's quads, scissor runs drawn as one call, textures.
#include <cmath>
#include <cstring>

#include "base/file.h"
#include "base/format.h"
#include "base/log.h"
#include "base/text.h"
#include "gfx/renderer.h"
#include "platform/gl_functions.h"
#include "platform/os.h"

void render_gl_create(renderer_t* renderer) {
    // A software driver allocates a frame's bins and vertices and frees them after
    // the swap; past the C library's usual 128 KiB the freed top of the heap went
    // back to the system, and the next frame faulted every page of it in again, a
    // third of the renderer's time while the list scrolls.
    os_heap_keep_freed(16 << 20);
    glGenVertexArrays(1, &renderer->vertex_array);
    glBindVertexArray(renderer->vertex_array);
    if (renderer->flags & renderer_alpha_blending) {
        glEnable(GL_BLEND);
        glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    }
    if (renderer->flags & renderer_depth_test) glEnable(GL_DEPTH_TEST);
    if (renderer->flags & renderer_cull_face) glEnable(GL_CULL_FACE);
    renderer->max_texture_size = gl_texture_size_limit();
    ASSERT(glGetError() == GL_NO_ERROR);
}

// Shader sources. The vertex stage gets color_unpack as a second source.
static const char* const shader_version = "#version 150\n";
static const char* const shader_color_unpack =
    "vec4 color_unpack(uint c) {\n"
    "    return vec4(float(c & 255u), float((c >> 8) & 255u), float((c >> 16) & 255u), float((c >> 24) & 255u))"
    " * (1.0 / 255.0);\n"
    "}\n";
static const char* const vertex_rectangles =
    "in vec2 position;\n"
    "in uint color;\n"
    "uniform mat4 projection;\n"
    "out vec4 vertex_color;\n"
    "void main() {\n"
    "    vertex_color = color_unpack(color);\n"
    "    gl_Position = projection * vec4(position, 0.0, 1.0);\n"
    "}\n";
static const char* const fragment_rectangles =
    "in vec4 vertex_color;\n"
    "out vec4 fragment_out_color;\n"
    "void main() { fragment_out_color = vertex_color; }\n";
static const char* const vertex_textured =
    "in vec2 position;\n"
    "in vec2 in_uv;\n"
    "in uint color;\n"
    "uniform mat4 projection;\n"
    "out vec4 vertex_color;\n"
    "out vec2 vertex_uv;\n"
    "void main() {\n"
    "    vertex_color = color_unpack(color);\n"
    "    vertex_uv = in_uv;\n"
    "    gl_Position = projection * vec4(position, 0.0, 1.0);\n"
    "}\n";
// The texture's red channel is the coverage; `untextured` 1 makes it 1 for a
// rectangle, drawn with no texture bound (whose samples read 0).
static const char* const fragment_text =
    "in vec4 vertex_color;\n"
    "in vec2 vertex_uv;\n"
    "uniform sampler2D albedo;\n"
    "uniform uint untextured;\n"
    "out vec4 fragment_out_color;\n"
    "void main() {\n"
    "    float coverage = max(texture(albedo, vertex_uv).r, float(untextured));\n"
    "    fragment_out_color = vec4(vertex_color.rgb, vertex_color.a * coverage);\n"
    "}\n";
static const char* const fragment_images =
    "in vec4 vertex_color;\n"
    "in vec2 vertex_uv;\n"
    "uniform sampler2D albedo;\n"
    "uniform uint bytes_per_pixel;\n"
    "out vec4 fragment_out_color;\n"
    "void main() {\n"
    "    vec4 texel = texture(albedo, vertex_uv);\n"
    "    if (bytes_per_pixel == 1u) texel = vec4(texel.rrr, 1.0);\n"
    "    fragment_out_color = texel * vertex_color;\n"
    "}\n";

// The driver's words on a shader that didn't compile or a program that didn't link.
struct gl_info_t {
    char text[2048];
    GLsizei length = 0;
};

// A compile failure names the shader's type and shows its source; a link failure
// has neither.
static void gl_failure_log(const char* heading, GLuint handle, const char* type, const gl_info_t* info,
                           const char* source) {
    log_write_c_string(log_graphics, heading);
    log_write_c_string(log_graphics, "Handle: ");
    log_write_u64(log_graphics, handle);
    if (type) {
        log_write_c_string(log_graphics, "Type: ");
        log_write_c_string(log_graphics, type);
        log_write_c_string(log_graphics, "Error:\n");
    } else {
        log_write_c_string(log_graphics, "\nError:\n");
    }
    log_write_bytes(log_graphics, info->text, (u64)info->length);
    if (source) {
        log_write_c_string(log_graphics, "Source:\n");
        log_write_c_string(log_graphics, source);
    }
}

static GLuint shader_compile(GLenum type, const char* body) {
    GLuint shader = glCreateShader(type);
    const char* sources[3] = {shader_version, shader_color_unpack, body};
    if (type == GL_VERTEX_SHADER) {
        glShaderSource(shader, 3, sources, nullptr);
    } else {
        const char* fragment_sources[2] = {shader_version, body};
        glShaderSource(shader, 2, fragment_sources, nullptr);
    }
    glCompileShader(shader);
    GLint status = 0;
    glGetShaderiv(shader, GL_COMPILE_STATUS, &status);
    if (!status) {
        gl_info_t info;
        glGetShaderInfoLog(shader, sizeof(info.text), &info.length, info.text);
        gl_failure_log("Shader error:\n", shader, type == GL_VERTEX_SHADER ? "vertex shader" : "fragment shader",
                       &info, body);
        glDeleteShader(shader);
        return 0;
    }
    return shader;
}

static void program_sources(u32 slot, const char** vertex, const char** fragment) {
    *vertex = slot == program_slot_rectangles ? vertex_rectangles : vertex_textured;
    *fragment = slot == program_slot_rectangles ? fragment_rectangles
                : slot == program_slot_text     ? fragment_text
                                                : fragment_images;
}

static GLuint program_compile(u32 slot) {
    const char *vertex = nullptr, *fragment = nullptr;
    program_sources(slot, &vertex, &fragment);
    GLuint vs = shader_compile(GL_VERTEX_SHADER, vertex);
    GLuint fs = shader_compile(GL_FRAGMENT_SHADER, fragment);
    if (!vs || !fs) {
        if (vs) glDeleteShader(vs);
        if (fs) glDeleteShader(fs);
        return 0;
    }
    GLuint program = glCreateProgram();
    glAttachShader(program, vs);
    glAttachShader(program, fs);
    glBindFragDataLocation(program, 0, "fragment_out_color");
    glLinkProgram(program);
    GLint status = 0;
    glGetProgramiv(program, GL_LINK_STATUS, &status);
    if (!status) {
        gl_info_t info;
        glGetProgramInfoLog(program, sizeof(info.text), &info.length, info.text);
        gl_failure_log("Shader program error:\n", program, nullptr, &info, nullptr);
        glDeleteProgram(program);
        glDeleteShader(vs);
        glDeleteShader(fs);
        return 0;
    }
    glDetachShader(program, vs);
    glDetachShader(program, fs);
    glDeleteShader(vs);
    glDeleteShader(fs);
    return program;
}

// The file of kept programs: this header, then each slot's bytes in slot order.
// The driver checks what it is given, and refuses another driver's or version's.
struct program_cache_header_t {
    u32 magic;
    u32 slot_count;
    u32 sources;  // program_sources_key of the build that kept them
    u32 format[program_slot_count];
    u32 size[program_slot_count];
};
constexpr u32 program_cache_magic = 0x42504c4e;  // "NLPB"

// The driver takes back a program of other sources as readily as one of these, so
// programs kept by a build whose shaders differ are built anew.
static u32 program_sources_key() {
    u32 hashes[2 + 2 * program_slot_count] = {hash_fnv1a_32(shader_version, text_length(shader_version)),
                                              hash_fnv1a_32(shader_color_unpack, text_length(shader_color_unpack))};
    for (u32 slot = 0; slot < program_slot_count; slot++) {
        const char *vertex = nullptr, *fragment = nullptr;
        program_sources(slot, &vertex, &fragment);
        hashes[2 + 2 * slot] = hash_fnv1a_32(vertex, text_length(vertex));
        hashes[3 + 2 * slot] = hash_fnv1a_32(fragment, text_length(fragment));
    }
    return hash_fnv1a_32(hashes, sizeof(hashes));
}

static bool program_cache_usable(const program_cache_t* cache) {
    if (!cache->path[0] || !glProgramBinary || !glGetProgramBinary) return false;
    GLint formats = 0;
    glGetIntegerv(GL_NUM_PROGRAM_BINARY_FORMATS, &formats);
    return formats > 0;
}

static void program_cache_refused(const program_cache_t* cache, const char* why) {
    log_paragraph_start(log_user);
    log_write_c_string(log_user, "The kept shader programs in ");
    log_write_c_string(log_user, cache->path);
    log_write_c_string(log_user, why);
}

// The file into the slots; a file that doesn't read as one keeps none.
static void program_cache_read(program_cache_t* cache) {
    cache->read = 1;
    file_error_t error = 0;
    data_t file = file_read_all(data_from_size(text_length(cache->path), cache->path), false, &error);
    if (error || !file.bytes) return;  // none kept yet
    program_cache_header_t header = {};
    u64 total = sizeof(header);
    bool sound = file.used >= sizeof(header);
    if (sound) {
        memcpy(&header, file.bytes, sizeof(header));
        sound = header.magic == program_cache_magic && header.slot_count == program_slot_count;
    }
    for (u32 slot = 0; sound && slot < program_slot_count; slot++) {
        sound = header.size[slot] <= program_cache_slot_size;
        total += header.size[slot];
    }
    if (sound && total == file.used && header.sources != program_sources_key()) {
        // Kept by a build with other shaders: none is loaded, all are kept anew.
    } else if (sound && total == file.used) {
        u64 at = sizeof(header);
        for (u32 slot = 0; slot < program_slot_count; slot++) {
            memcpy(cache->memory.bytes + (u64)slot * program_cache_slot_size, file.bytes + at, header.size[slot]);
            cache->format[slot] = header.format[slot];
            cache->size[slot] = header.size[slot];
            at += header.size[slot];
        }
    } else {
        program_cache_refused(cache, " don't read as such; they are built anew.");
    }
    data_free(&file);
}

// Written beside the file under a name of this process's and then renamed over
// it, so that neither a run that ends meanwhile nor one that writes at the same
// time leaves a file cut short.
static void program_cache_write(const program_cache_t* cache) {
    program_cache_header_t header = {program_cache_magic, program_slot_count, program_sources_key(), {}, {}};
    u64 total = sizeof(header);
    for (u32 slot = 0; slot < program_slot_count; slot++) {
        header.format[slot] = cache->format[slot];
        header.size[slot] = cache->size[slot];
        total += cache->size[slot];
    }
    data_t bytes = data_allocate(total);
    if (!bytes.bytes) return;
    data_push_bytes(&bytes, &header, sizeof(header), 1);
    for (u32 slot = 0; slot < program_slot_count; slot++) {
        data_push_bytes(&bytes, cache->memory.bytes + (u64)slot * program_cache_slot_size, cache->size[slot], 1);
    }
    u64 path_size = text_length(cache->path);
    data_t path = data_from_size(path_size, cache->path);
    u64 folder_size = path_size;
    while (folder_size > 0 && cache->path[folder_size - 1] != '/') folder_size--;
    u8 temporary_bytes[sizeof(cache->path) + 32];
    data_t temporary = data_make(sizeof(temporary_bytes), 0, temporary_bytes);
    data_push_bytes(&temporary, cache->path, path_size, 1);
    data_push_bytes(&temporary, ".new", 4, 1);
    temporary.used += format_u64(temporary.bytes + temporary.used, 20, os_process_id(), 0, ' ', 0);
    file_error_t error = 0;
    if (folder_size > 1) directory_create_with_parents(data_from_size(folder_size - 1, cache->path), &error);
    error = 0;
    file_write_all(temporary, bytes.bytes, bytes.used, true, &error);
    if (!error) file_rename(temporary, path, &error);
    // The programs are only slower to build at the next start.
    if (error) log_write_c_string(log_main, "Could not keep the shader programs.\n");
    data_free(&bytes);
}

// The slot's kept program, or 0 when none is kept or the driver refuses it.
static GLuint program_cache_load(program_cache_t* cache, u32 slot) {
    if (!cache->read) program_cache_read(cache);
    if (!cache->size[slot]) return 0;
    GLuint program = glCreateProgram();
    gl_errors_expected = 1;
    glProgramBinary(program, cache->format[slot], cache->memory.bytes + (u64)slot * program_cache_slot_size,
                    (GLsizei)cache->size[slot]);
    gl_errors_expected = 0;
    GLint status = 0;
    glGetProgramiv(program, GL_LINK_STATUS, &status);
    if (status) return program;
    glDeleteProgram(program);
    for (u32 i = 0; i < 8 && glGetError() != GL_NO_ERROR; i++) {
    }
    // Another driver's or version's: none of them is tried again.
    for (u32 i = 0; i < program_slot_count; i++) cache->size[i] = 0;
    program_cache_refused(cache, " don't suit this driver; they are built anew.");
    return 0;
}

// Whether the driver gave the program's bytes for the slot.
static bool program_cache_store(program_cache_t* cache, u32 slot, GLuint program) {
    GLint size = 0;
    glGetProgramiv(program, GL_PROGRAM_BINARY_LENGTH, &size);
    if (size <= 0 || (u32)size > program_cache_slot_size) return false;
    GLenum format = 0;
    GLsizei written = 0;
    glGetProgramBinary(program, size, &written, &format, cache->memory.bytes + (u64)slot * program_cache_slot_size);
    if (written <= 0) return false;
    cache->format[slot] = format;
    cache->size[slot] = (u32)written;
    return true;
}

// A program compiled in `slot` means a start without kept programs (the first, or
// one after a driver update): the compiler is set up by now, so the other slots
// that have none are compiled too, and the file is written once with all of them,
// rather than anew at each program's first draw. A later start then loads every
// one, the pictures' included.
static void program_cache_complete(renderer_t* renderer, u32 slot, GLuint program) {
    program_cache_t* cache = &renderer->program_cache;
    bool stored = program_cache_store(cache, slot, program);
    for (u32 other = 0; other < program_slot_count; other++) {
        if (other == slot || cache->size[other] || renderer->programs[other]) continue;
        renderer->programs[other] = program_compile(other);
        if (renderer->programs[other]) stored = program_cache_store(cache, other, renderer->programs[other]) || stored;
    }
    if (stored) program_cache_write(cache);
}

void gl_program_cache_use(renderer_t* renderer, const char* path) {
    program_cache_t* cache = &renderer->program_cache;
    u64 size = text_length(path);
    if (size >= sizeof(cache->path)) return;
    if (!cache->memory.bytes) cache->memory = data_allocate((u64)program_slot_count * program_cache_slot_size);
    if (!cache->memory.bytes) return;
    memcpy(cache->path, path, size + 1);
    cache->read = 0;
}

// The kept program when the driver takes it, else one compiled from the sources,
// kept for the next start.
static GLuint program_create(renderer_t* renderer, u32 slot) {
    program_cache_t* cache = &renderer->program_cache;
    bool usable = program_cache_usable(cache);
    GLuint program = usable ? program_cache_load(cache, slot) : 0;
    if (program) return program;
    program = program_compile(slot);
    if (program && usable) program_cache_complete(renderer, slot, program);
    return program;
}

// The quads of a batch's indices from `first_index` to `end_index`, five a quad.
static void draw_range(u32 first_index, u32 end_index) {
    u32 first = first_index / 5, end = end_index / 5;
    if (end <= first) return;
    glDrawElements(GL_TRIANGLES, (GLsizei)((end - first) * 6), GL_UNSIGNED_INT, (const void*)((u64)first * 6 * 4));
}

// While a frame draws only the rectangle of the window that changed, every scissor
// is cut to it, and no scissor is the rectangle itself.
static bool damage_clipping;
static i32 damage_clip[4];  // x0, y0, x1, y1

static void scissor_apply(const i32* scissor) {
    if (damage_clipping) {
        i32 x0 = damage_clip[0], y0 = damage_clip[1], x1 = damage_clip[2], y1 = damage_clip[3];
        if (scissor[0]) {
            x0 = max_of(x0, scissor[1]), y0 = max_of(y0, scissor[2]);
            x1 = min_of(x1, scissor[1] + scissor[3]), y1 = min_of(y1, scissor[2] + scissor[4]);
        }
        glEnable(GL_SCISSOR_TEST);
        glScissor(x0, y0, max_of(x1 - x0, 0), max_of(y1 - y0, 0));
    } else if (scissor[0]) {
        glEnable(GL_SCISSOR_TEST);
        glScissor(scissor[1], scissor[2], scissor[3], scissor[4]);
    } else {
        glDisable(GL_SCISSOR_TEST);
    }
}

static void scissor_none() {
    static const i32 none[5] = {};
    scissor_apply(none);
}

// Bumped whenever a texture is made, deleted or has pixels replaced: pixels drawn
// from a texture before are drawn again, and a handle given out anew never shows
// the old texture's pixels.
static u64 texture_epoch = 1;

// A font's atlas: made anew when it grew, else only the rows that changed since the
// last upload.
static void atlas_upload(renderer_t* renderer, const font_t* font) {
    font_atlas_t* atlas = font->atlas;
    if (!atlas->pixels) return;
    if (render_atlas_texture(renderer, atlas, font) && atlas->dirty_y1 > atlas->dirty_y0) {
        glBindTexture(GL_TEXTURE_2D, atlas->texture);
        texture_epoch += 1;
        glTexSubImage2D(GL_TEXTURE_2D, 0, 0, (GLint)atlas->dirty_y0, atlas->width,
                        (GLsizei)(atlas->dirty_y1 - atlas->dirty_y0), GL_RED, GL_UNSIGNED_BYTE,
                        atlas->pixels + (u64)atlas->dirty_y0 * atlas->width);
    }
    font_atlas_uploaded(atlas);
}

// A buffer keeps its storage from frame to frame and takes only the bytes a frame
// uses: new storage each frame costs a software driver an allocation and its page
// faults. The swap of the frame before waited for its draws, so nothing reads the
// old bytes. Storage grows to the next power of two that holds the frame.
static void buffer_upload(GLenum target, GLuint buffer, u32* storage, u64 size, const void* bytes) {
    glBindBuffer(target, buffer);
    if (size > *storage) {
        u64 grown = 4096;
        while (grown < size) grown *= 2;
        *storage = (u32)grown;
        glBufferData(target, (GLsizeiptr)grown, nullptr, GL_STREAM_DRAW);
    }
    glBufferSubData(target, 0, (GLsizeiptr)size, bytes);
}

// Quads go out as a list of triangles from one index buffer that every batch
// shares: every quad of a batch, and of the view that rectangle cutting makes, is
// four vertices in strip order, so quad q is vertices 4q to 4q + 3 and its
// triangles are 0 1 2 and 2 1 3, as a strip gives them. A software driver splits a
// draw at each restart index into draws of their own, one per glyph; a list goes
// through in one.
static void quad_indices_bind(renderer_t* renderer, u32 quads) {
    glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, renderer->quad_index_buffer);
    if (quads <= renderer->quad_index_quads) return;
    u32 grown = 4096;
    while (grown < quads) grown *= 2;
    data_t block = data_allocate((u64)grown * 6 * sizeof(u32));
    if (!block.bytes) return;
    u32* index = (u32*)block.bytes;
    for (u32 q = 0; q < grown; q++, index += 6) {
        u32 v = q * 4;
        index[0] = v, index[1] = v + 1, index[2] = v + 2;
        index[3] = v + 2, index[4] = v + 1, index[5] = v + 3;
    }
    glBufferData(GL_ELEMENT_ARRAY_BUFFER, (GLsizeiptr)block.reserved, block.bytes, GL_STATIC_DRAW);
    data_free(&block);
    renderer->quad_index_quads = grown;
}

// Colour-only rectangles are drawn without the parts that a later opaque rectangle
// of the same batch covers: a software driver shades every fragment it is given,
// and a panel's background under its rows, or the window's under the panels, would
// be shaded for nothing. Each covered rectangle becomes the pieces of it that show,
// clipped to its scissor, in its place in the batch; the rest is copied as it is.
struct cull_vertex_t {
    f32 x, y;
    u32 colour;
};

struct cull_region_t {
    rect_t rect;  // what the quad covers, within its scissor and the viewport
    bool opaque;
    bool uniform;  // one colour on all four corners
};

// Pieces of one rectangle before it is drawn whole instead.
constexpr u32 cull_piece_limit = 32;
// Overlap tests one batch may spend; past them the rest is drawn as queued.
constexpr u32 cull_test_budget = 16384;
// Rectangles smaller than this many pixels are cheaper to draw than to cut.
constexpr f32 cull_area_least = 1024;

// The quad's four vertices, in strip order x0y1, x0y0, x1y1, x1y0.
static const cull_vertex_t* quad_vertices(const batch_t* batch, const batch_command_t* command) {
    u32 first = batch_index_read(batch, command->first_index);
    if (first + 4 > batch->vertex_count) return nullptr;
    return (const cull_vertex_t*)batch->vertices + first;
}

static cull_region_t quad_region(const batch_t* batch, const batch_command_t* command, rect_t clip) {
    cull_region_t region = {};
    const cull_vertex_t* v = command->index_count == 5 ? quad_vertices(batch, command) : nullptr;
    if (!v) return region;
    rect_t r = {v[1].x, v[1].y, v[2].x, v[2].y};
    // Anything but an upright rectangle the right way round is drawn as it is.
    bool upright = v[0].x == r.x0 && v[0].y == r.y1 && v[3].x == r.x1 && v[3].y == r.y0 && r.x0 < r.x1 && r.y0 < r.y1;
    if (!upright) return region;
    region.rect = rect_intersect(r, clip);
    region.opaque = (v[0].colour >> 24) == 255 && (v[1].colour >> 24) == 255 && (v[2].colour >> 24) == 255 &&
                    (v[3].colour >> 24) == 255;
    region.uniform = v[0].colour == v[1].colour && v[0].colour == v[2].colour && v[0].colour == v[3].colour;
    return region;
}

// Adds a piece, joined to one it continues in a straight line; false when full.
static bool piece_add(rect_t* pieces, u32* count, rect_t piece) {
    for (u32 i = 0; i < *count; i++) {
        rect_t* p = &pieces[i];
        if (p->x0 == piece.x0 && p->x1 == piece.x1 && (p->y1 == piece.y0 || p->y0 == piece.y1)) {
            p->y0 = min_of(p->y0, piece.y0), p->y1 = max_of(p->y1, piece.y1);
            return true;
        }
        if (p->y0 == piece.y0 && p->y1 == piece.y1 && (p->x1 == piece.x0 || p->x0 == piece.x1)) {
            p->x0 = min_of(p->x0, piece.x0), p->x1 = max_of(p->x1, piece.x1);
            return true;
        }
    }
    if (*count == cull_piece_limit) return false;
    pieces[(*count)++] = piece;
    return true;
}

// Takes `hole` out of the pieces: the sides left and right of it first, at the
// piece's full height, so that a column of rows leaves one strip each side.
static bool pieces_subtract(rect_t* pieces, u32* count, rect_t hole) {
    for (u32 i = 0; i < *count;) {
        rect_t p = pieces[i];
        if (!rect_overlaps(p, hole)) {
            i++;
            continue;
        }
        pieces[i] = pieces[--*count];
        f32 x0 = max_of(p.x0, hole.x0), x1 = min_of(p.x1, hole.x1);
        rect_t parts[4];
        u32 part_count = 0;
        if (p.x0 < hole.x0) parts[part_count++] = rect_t{p.x0, p.y0, hole.x0, p.y1};
        if (hole.x1 < p.x1) parts[part_count++] = rect_t{hole.x1, p.y0, p.x1, p.y1};
        if (p.y0 < hole.y0) parts[part_count++] = rect_t{x0, p.y0, x1, hole.y0};
        if (hole.y1 < p.y1) parts[part_count++] = rect_t{x0, hole.y1, x1, p.y1};
        for (u32 k = 0; k < part_count; k++) {
            if (!piece_add(pieces, count, parts[k])) return false;
        }
    }
    return true;
}

// The view's quads are drawn from the shared triangle list, which needs only
// their count: five indices a quad, as in every batch, but none written.
static void cull_quad_write(batch_t* view, const cull_vertex_t* corners) {
    cull_vertex_t* v = (cull_vertex_t*)view->vertices + view->vertex_count;
    for (u32 i = 0; i < 4; i++) v[i] = corners[i];
    view->vertex_count += 4;
    view->index_count += 5;
}

static void cull_piece_write(batch_t* view, rect_t r, u32 colour) {
    const cull_vertex_t corners[4] = {{r.x0, r.y1, colour}, {r.x0, r.y0, colour}, {r.x1, r.y1, colour},
                                      {r.x1, r.y0, colour}};
    cull_quad_write(view, corners);
}

// Fills `view` with the batch as it is to be drawn, in `scratch`; false when the
// batch isn't one of colour-only rectangles or the scratch has no room, and then
// it is drawn as queued. When `clear` is given and the batch's first rectangle is
// opaque, of one colour and covers the whole viewport unclipped, the frame's clear
// takes its colour instead and the rectangle is left out.
static bool batch_cull(const renderer_t* renderer, const batch_t* batch, data_t* scratch, batch_t* view,
                       u32* clear) {
    bool cleared = false;
    if (batch->type != batch_type_quads || (batch->format & 15) != 4 || batch->vertex_size != sizeof(cull_vertex_t) ||
        batch->command_count == 0) {
        return false;
    }
    u64 regions_size = align_up((u64)batch->command_count * sizeof(cull_region_t), 8);
    u64 commands_size = align_up((u64)batch->command_count * sizeof(batch_command_t), 8);
    u64 quad_size = 4 * sizeof(cull_vertex_t);
    u64 room = scratch->reserved - align_up(scratch->used, 8);
    if (room < regions_size + commands_size + quad_size * batch->command_count) return false;
    u8* base = scratch->bytes + align_up(scratch->used, 8);
    cull_region_t* regions = (cull_region_t*)base;
    batch_command_t* commands = (batch_command_t*)(base + regions_size);
    // Room for as many quads as the rest holds.
    u64 quad_capacity = (room - regions_size - commands_size) / quad_size;
    if (quad_capacity * 4 >= 0xFFFFFFFFull) quad_capacity = 0xFFFFFFFFull / 4 - 1;
    *view = *batch;
    view->commands = commands;
    view->vertices = (u8*)(commands + batch->command_count);
    view->vertex_size = sizeof(cull_vertex_t);
    view->indices = nullptr;
    view->vertex_count = 0;
    view->index_count = 0;

    // What each quad covers and where it is clipped.
    u32 background = 0;
    u32 first_quad = batch->command_count;
    rect_t viewport = {0, 0, (f32)renderer->width, (f32)renderer->height};
    rect_t clip = viewport;
    bool clipped = false;
    for (u32 i = 0; i < batch->command_count; i++) {
        const batch_command_t* command = &batch->commands[i];
        if (command->kind == render_command_scissor) {
            const i32* s = command->scissor;
            clipped = s[0] != 0;
            clip = clipped ? rect_intersect(viewport, rect_t{(f32)s[1], (f32)s[2], (f32)(s[1] + s[3]), (f32)(s[2] + s[4])})
                           : viewport;
            regions[i] = cull_region_t{};
            continue;
        }
        regions[i] = quad_region(batch, command, clip);
        // The background: unclipped, of one opaque colour, over the whole viewport,
        // and the first thing the batch draws.
        if (clear && first_quad == batch->command_count && !clipped && regions[i].opaque && regions[i].uniform &&
            rect_equal(regions[i].rect, viewport)) {
            background = quad_vertices(batch, command)[0].colour;
            cleared = true;
        }
        if (first_quad == batch->command_count) first_quad = i;
    }

    u32 budget = cull_test_budget;
    rect_t pieces[cull_piece_limit];
    for (u32 i = 0; i < batch->command_count; i++) {
        const batch_command_t* command = &batch->commands[i];
        batch_command_t* copy = &commands[i];
        *copy = *command;
        if (command->kind == render_command_scissor) continue;
        copy->first_index = view->index_count;
        copy->index_count = 0;
        const cull_vertex_t* corners = command->index_count == 5 ? quad_vertices(batch, command) : nullptr;
        if (!corners) continue;
        if (view->vertex_count / 4 + cull_piece_limit > quad_capacity) return false;
        if (i == first_quad && cleared) continue;
        const cull_region_t* region = &regions[i];
        rect_t r = region->rect;
        bool candidate = region->opaque && region->uniform && rect_width(r) * rect_height(r) >= cull_area_least;
        u32 piece_count = 1;
        pieces[0] = r;
        for (u32 j = i + 1; candidate && j < batch->command_count && piece_count > 0; j++) {
            if (budget == 0) {
                candidate = false;
                break;
            }
            budget--;
            const cull_region_t* above = &regions[j];
            if (above->opaque && rect_overlaps(above->rect, r)) {
                candidate = pieces_subtract(pieces, &piece_count, above->rect);
            }
        }
        if (!candidate) {
            cull_quad_write(view, corners);
        } else {
            for (u32 k = 0; k < piece_count; k++) cull_piece_write(view, pieces[k], corners[0].colour);
        }
        copy->index_count = view->index_count - copy->first_index;
    }
    if (cleared) *clear = background;
    return true;
}

// The atlases of a text batch's fonts are uploaded whether it draws or not.
static void batch_atlases_upload(renderer_t* renderer, batch_t* batch) {
    bool text = batch->type == batch_type_text && batch->fonts;
    for (u32 f = 0; text && f < batch->fonts->font_count; f++) {
        if (batch->fonts->fonts[f].atlas) atlas_upload(renderer, &batch->fonts->fonts[f]);
    }
}

// The first frame draws its rectangles with the text's program. A software driver
// builds the code that sets up a program's triangles when the program first draws
// (some 5 ms each), and the window's first frame would wait for two; its own
// program, which samples nothing, draws the rectangles of every later frame.
static u32 batch_program(renderer_t* renderer, const batch_t* batch) {
    u32 slot = batch->program_slot;
    if (slot == program_slot_rectangles && renderer->frames_executed == 0) slot = program_slot_text;
    if (!renderer->programs[slot]) renderer->programs[slot] = program_create(renderer, slot);
    return renderer->programs[slot];
}

// `drawn` is the batch or the view of it that batch_cull made; the batch keeps the
// vertex buffer.
static void batch_draw(renderer_t* renderer, batch_t* batch, const batch_t* drawn) {
    bool text = batch->type == batch_type_text && batch->fonts;
    bool textured = (batch->format & 8) != 0;
    if (drawn->vertex_count == 0) return;
    u32 program = batch_program(renderer, batch);
    if (!program) return;
    glUseProgram(program);
    GLint projection = glGetUniformLocation(program, "projection");
    glUniformMatrix4fv(projection, 1, GL_FALSE, renderer->projection);
    GLint bytes_per_pixel = glGetUniformLocation(program, "bytes_per_pixel");
    if (bytes_per_pixel >= 0) glUniform1ui(bytes_per_pixel, 4);
    GLint untextured = glGetUniformLocation(program, "untextured");
    if (untextured >= 0) glUniform1ui(untextured, textured ? 0 : 1);

    if (!batch->vertex_buffer) glGenBuffers(1, &batch->vertex_buffer);
    if (!renderer->quad_index_buffer) glGenBuffers(1, &renderer->quad_index_buffer);
    quad_indices_bind(renderer, drawn->index_count / 5);
    if (drawn->index_count / 5 > renderer->quad_index_quads) return;
    buffer_upload(GL_ARRAY_BUFFER, batch->vertex_buffer, &batch->vertex_buffer_size,
                  (u64)drawn->vertex_count * drawn->vertex_size, drawn->vertices);

    u32 components = (batch->format & 3) + 2;
    GLsizei stride = (GLsizei)drawn->vertex_size;
    u64 offset = 0;
    GLint position = glGetAttribLocation(program, "position");
    if (position >= 0) {
        glEnableVertexAttribArray((GLuint)position);
        glVertexAttribPointer((GLuint)position, (GLint)components, GL_FLOAT, GL_FALSE, stride, (const void*)offset);
    }
    offset += components * 4;
    if (batch->format & 4) {
        GLint color = glGetAttribLocation(program, "color");
        if (color >= 0) {
            glEnableVertexAttribArray((GLuint)color);
            glVertexAttribIPointer((GLuint)color, 1, GL_UNSIGNED_INT, stride, (const void*)offset);
        }
        offset += 4;
    }
    // A rectangle drawn by the text's program must not read the coordinates that
    // the last textured batch left on.
    GLint uv = glGetAttribLocation(program, "in_uv");
    if (uv >= 0 && textured) {
        glEnableVertexAttribArray((GLuint)uv);
        glVertexAttribPointer((GLuint)uv, 2, GL_FLOAT, GL_FALSE, stride, (const void*)offset);
    } else if (uv >= 0) {
        glDisableVertexAttribArray((GLuint)uv);
    }

    // Opaque rectangles draw the same without blending, and a software driver then
    // neither reads what lies below them nor draws what they cover.
    bool unblended = (renderer->flags & renderer_alpha_blending) && batch->type == batch_type_quads &&
                     (batch->format & 4) && !(batch->format & 8) && batch_is_opaque(drawn);
    if (unblended) glDisable(GL_BLEND);

    glActiveTexture(GL_TEXTURE0);
    u32 bound = batch->texture;
    if (bound || !textured) glBindTexture(GL_TEXTURE_2D, bound);

    // Runs of commands between scissors go out as one draw; images go one by one.
    u32 run_first = 0, run_end = 0;
    bool run_open = false;
    for (u32 i = 0; i < drawn->command_count; i++) {
        const batch_command_t* command = &drawn->commands[i];
        if (command->kind == render_command_scissor) {
            if (run_open) draw_range(run_first, run_end);
            run_open = false;
            scissor_apply(command->scissor);
            continue;
        }
        if (command->index_count == 0) continue;
        if (command->kind == batch_type_images) {
            if (run_open) draw_range(run_first, run_end);
            run_open = false;
            glBindTexture(GL_TEXTURE_2D, command->texture);
            bound = command->texture;
            if (bytes_per_pixel >= 0) glUniform1ui(bytes_per_pixel, command->bytes_per_pixel);
            draw_range(command->first_index, command->first_index + command->index_count);
            continue;
        }
        // Each font has its own atlas: a run ends where the text's texture changes.
        // A font whose atlas has no texture (the driver refused it) isn't drawn.
        u32 texture = text ? batch_text_texture(batch, command) : bound;
        if (text && !texture) {
            if (run_open) draw_range(run_first, run_end);
            run_open = false;
            continue;
        }
        if (texture != bound) {
            if (run_open) draw_range(run_first, run_end);
            run_open = false;
            glBindTexture(GL_TEXTURE_2D, texture);
            bound = texture;
        }
        if (!run_open) {
            run_first = command->first_index;
            run_open = true;
        }
        run_end = command->first_index + command->index_count;
    }
    if (run_open) draw_range(run_first, run_end);
    scissor_none();
    if (unblended) glEnable(GL_BLEND);
}

static void clear_apply(u32 colour) {
    glClearColor((f32)(colour & 255) / 255.0f, (f32)((colour >> 8) & 255) / 255.0f,
                 (f32)((colour >> 16) & 255) / 255.0f, (f32)(colour >> 24) / 255.0f);
    glClear(GL_COLOR_BUFFER_BIT);
}

static void frame_draw(renderer_t* renderer) {
    render_command_t* commands = (render_command_t*)renderer->commands.bytes;
    // A clear waits for the first batch that draws, whose background may be its colour.
    bool clear_pending = false, clipped = false;
    u32 clear_colour = 0;
    for (u32 i = 0; i < renderer->command_count; i++) {
        render_command_t* command = &commands[i];
        switch (command->kind) {
            case render_command_clear:
                if (clear_pending) clear_apply(clear_colour);
                clear_pending = true;
                clear_colour = color_pack(command->colour);
                break;
            case render_command_viewport:
                glViewport(command->x, command->y, command->width, command->height);
                break;
            case render_command_scissor: {
                if (clear_pending) clear_apply(clear_colour);
                clear_pending = false;
                i32 scissor[5] = {command->enabled, command->x, command->y, command->width, command->height};
                scissor_apply(scissor);
                clipped = command->enabled != 0;
                break;
            }
            case render_command_batch: {
                batch_t* batch = &renderer->batches[command->batch];
                if (batch->vertex_count == 0) break;
                batch_t view;
                bool culled = !clipped && batch_cull(renderer, batch, &renderer->vertex_data, &view,
                                                     clear_pending ? &clear_colour : nullptr);
                if (clear_pending) clear_apply(clear_colour);
                clear_pending = false;
                batch_draw(renderer, batch, culled ? &view : batch);
                // The batch left the scissor off.
                clipped = false;
                break;
            }
        }
    }
    if (clear_pending) clear_apply(clear_colour);
    scissor_none();
}

// A framebuffer of at least `width` by `height` for the region's rows while they
// move; false when the context lacks it or the driver refuses it, said once.
static bool scratch_ready(renderer_t* renderer, i32 width, i32 height) {
    if (renderer->scratch_refused) return false;
    if (renderer->scratch_framebuffer && renderer->scratch_width >= width && renderer->scratch_height >= height) {
        return true;
    }
    bool present = glGenFramebuffers && glDeleteFramebuffers && glBindFramebuffer && glGenRenderbuffers &&
                   glDeleteRenderbuffers && glBindRenderbuffer && glRenderbufferStorage && glFramebufferRenderbuffer &&
                   glCheckFramebufferStatus && glBlitFramebuffer;
    bool made = false;
    if (present) {
        if (renderer->scratch_framebuffer) glDeleteFramebuffers(1, &renderer->scratch_framebuffer);
        if (renderer->scratch_renderbuffer) glDeleteRenderbuffers(1, &renderer->scratch_renderbuffer);
        width = max_of(width, renderer->scratch_width), height = max_of(height, renderer->scratch_height);
        for (u32 i = 0; i < 8 && glGetError() != GL_NO_ERROR; i++) {
        }
        gl_errors_expected = 1;
        glGenRenderbuffers(1, &renderer->scratch_renderbuffer);
        glBindRenderbuffer(GL_RENDERBUFFER, renderer->scratch_renderbuffer);
        glRenderbufferStorage(GL_RENDERBUFFER, GL_RGBA8, width, height);
        glGenFramebuffers(1, &renderer->scratch_framebuffer);
        glBindFramebuffer(GL_FRAMEBUFFER, renderer->scratch_framebuffer);
        glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER, renderer->scratch_renderbuffer);
        made = glCheckFramebufferStatus(GL_FRAMEBUFFER) == GL_FRAMEBUFFER_COMPLETE && glGetError() == GL_NO_ERROR;
        gl_errors_expected = 0;
        glBindFramebuffer(GL_FRAMEBUFFER, 0);
        glBindRenderbuffer(GL_RENDERBUFFER, 0);
    }
    if (made) {
        renderer->scratch_width = width, renderer->scratch_height = height;
        return true;
    }
    if (present) {
        glDeleteFramebuffers(1, &renderer->scratch_framebuffer);
        glDeleteRenderbuffers(1, &renderer->scratch_renderbuffer);
    }
    renderer->scratch_framebuffer = renderer->scratch_renderbuffer = 0;
    renderer->scratch_refused = 1;
    log_paragraph_start(log_user);
    log_write_c_string(log_user, "The graphics driver has no room to move the list's pixels; it is drawn anew as it scrolls.");
    return false;
}

// The region's rows that stay, from where they were to where they go. A copy within
// one framebuffer may not overlap itself: a move of at least a strip's height goes in
// strips no taller than the move, the one nearest to where the rows go first, so that
// no strip is written over before it is read; a shorter one goes through the scratch
// framebuffer, which costs a second copy.
constexpr i32 region_move_strip_least = 16;

static void region_move(renderer_t* renderer, const i32* move) {
    i32 x = move[0], y = move[1], width = move[2], height = move[3], to = move[4];
    glDisable(GL_SCISSOR_TEST);
    i32 distance = to > y ? to - y : y - to;
    if (distance >= region_move_strip_least) {
        glBindFramebuffer(GL_FRAMEBUFFER, 0);
        for (i32 done = 0; done < height; done += distance) {
            i32 strip = min_of(distance, height - done);
            // Upwards (y counts up) the top strip goes first, downwards the bottom one.
            i32 from = to > y ? y + height - done - strip : y + done;
            i32 into = from + (to - y);
            glBlitFramebuffer(x, from, x + width, from + strip, x, into, x + width, into + strip,
                              GL_COLOR_BUFFER_BIT, GL_NEAREST);
        }
        return;
    }
    glBindFramebuffer(GL_READ_FRAMEBUFFER, 0);
    glBindFramebuffer(GL_DRAW_FRAMEBUFFER, renderer->scratch_framebuffer);
    glBlitFramebuffer(x, y, x + width, y + height, 0, 0, width, height, GL_COLOR_BUFFER_BIT, GL_NEAREST);
    glBindFramebuffer(GL_READ_FRAMEBUFFER, renderer->scratch_framebuffer);
    glBindFramebuffer(GL_DRAW_FRAMEBUFFER, 0);
    glBlitFramebuffer(0, 0, width, height, x, to, x + width, to + height, GL_COLOR_BUFFER_BIT, GL_NEAREST);
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
}

void render_gl_execute(renderer_t* renderer) {
    // The atlases first: what they upload counts among the frame's texture changes.
    for (u32 b = 0; b < renderer->batch_count; b++) batch_atlases_upload(renderer, &renderer->batches[b]);
    damage_t* damage = &renderer->damage;
    rect_t region = renderer->region_rect;
    bool can_move = damage->enabled && renderer->region_count == 1 && region.x1 > region.x0 &&
                    region.y1 > region.y0 && region.x1 - region.x0 <= 16384 && region.y1 - region.y0 <= 16384 &&
                    scratch_ready(renderer, (i32)ceilf(region.x1 - region.x0), (i32)ceilf(region.y1 - region.y0));
    damage_frame(damage, renderer, texture_epoch, can_move);
    if (damage->whole) {
        frame_draw(renderer);
    } else {
        if (damage->moving) region_move(renderer, damage->move);
        // Each changed rectangle is drawn as the whole frame would be, cut to it.
        for (u32 i = 0; i < damage->rect_count; i++) {
            const i32* r = damage->rects[i];
            damage_clip[0] = r[0], damage_clip[1] = r[1], damage_clip[2] = r[0] + r[2], damage_clip[3] = r[1] + r[3];
            damage_clipping = true;
            scissor_none();
            frame_draw(renderer);
        }
        damage_clipping = false;
        glDisable(GL_SCISSOR_TEST);
    }
    damage_frame_drawn(damage);
    renderer->frames_executed += 1;
}

u32 gl_texture_create(const void* pixels, i32 width, i32 height, u32 bytes_per_pixel, u32 flags) {
    ASSERT(bytes_per_pixel >= 1 && bytes_per_pixel <= 4);
    static const GLenum formats[5] = {0, GL_RED, GL_RG, GL_RGB, GL_RGBA};
    static const GLenum internal_linear[5] = {0, GL_R8, GL_RG8, GL_RGB8, GL_RGBA8};
    GLenum format = formats[bytes_per_pixel];
    GLenum internal = internal_linear[bytes_per_pixel];
    if ((flags & texture_srgb) && bytes_per_pixel == 3) internal = GL_SRGB8;
    if ((flags & texture_srgb) && bytes_per_pixel == 4) internal = GL_SRGB8_ALPHA8;
    // Errors left by earlier calls aren't this texture's.
    for (u32 i = 0; i < 8 && glGetError() != GL_NO_ERROR; i++) {
    }
    GLuint texture = 0;
    gl_errors_expected = 1;
    glGenTextures(1, &texture);
    glBindTexture(GL_TEXTURE_2D, texture);
    GLint filter = (flags & texture_linear) ? GL_LINEAR : GL_NEAREST;
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, (flags & texture_mipmaps) ? GL_LINEAR_MIPMAP_LINEAR : filter);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, filter);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_BASE_LEVEL, 0);
    if (!(flags & texture_mipmaps)) glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAX_LEVEL, 0);
    bool unaligned = ((u64)width * bytes_per_pixel) % 4 != 0;
    GLint alignment = 4;
    if (unaligned) {
        glGetIntegerv(GL_UNPACK_ALIGNMENT, &alignment);
        glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    }
    glTexImage2D(GL_TEXTURE_2D, 0, (GLint)internal, width, height, 0, format, GL_UNSIGNED_BYTE, pixels);
    if (unaligned) glPixelStorei(GL_UNPACK_ALIGNMENT, alignment);
    if (flags & texture_mipmaps) glGenerateMipmap(GL_TEXTURE_2D);
    gl_errors_expected = 0;
    // Out of memory, most often, with many large pictures on show: the caller
    // shows what it has instead.
    if (glGetError() != GL_NO_ERROR) {
        glDeleteTextures(1, &texture);
        return 0;
    }
    texture_epoch += 1;
    return texture;
}

u32 gl_texture_size_limit() {
    GLint size = 0;
    glGetIntegerv(GL_MAX_TEXTURE_SIZE, &size);
    return size > 0 ? (u32)size : 1024;
}

void gl_texture_delete(u32* texture) {
    if (*texture) glDeleteTextures(1, texture);
    if (*texture) texture_epoch += 1;
    *texture = 0;
}

void gl_read_framebuffer(i32 x, i32 y, i32 width, i32 height, u8* pixels, u64 size) {
    ASSERT(width >= 0 && height >= 0 && size >= (u64)width * height * 4);
    static const GLenum names[8] = {GL_PACK_SWAP_BYTES,  GL_PACK_LSB_FIRST,   GL_PACK_ROW_LENGTH,
                                    GL_PACK_IMAGE_HEIGHT, GL_PACK_SKIP_ROWS,   GL_PACK_SKIP_PIXELS,
                                    GL_PACK_SKIP_IMAGES,  GL_PACK_ALIGNMENT};
    static const GLint defaults[8] = {0, 0, 0, 0, 0, 0, 0, 4};
    GLint saved[8];
    for (u32 i = 0; i < 8; i++) {
        glGetIntegerv(names[i], &saved[i]);
        glPixelStorei(names[i], defaults[i]);
    }
    GLint pack_buffer = 0;
    glGetIntegerv(GL_PIXEL_PACK_BUFFER_BINDING, &pack_buffer);
    glBindBuffer(GL_PIXEL_PACK_BUFFER, 0);
    glReadPixels(x, y, width, height, GL_RGBA, GL_UNSIGNED_BYTE, pixels);
    glBindBuffer(GL_PIXEL_PACK_BUFFER, (GLuint)pack_buffer);
    for (u32 i = 0; i < 8; i++) glPixelStorei(names[i], saved[i]);
}
