// The renderer's OpenGL backend: one vertex array, the three GLSL 150 programs,
// a buffer pair per batch, scissor runs drawn with primitive restart, textures.
#include "base/log.h"
#include "gfx/renderer.h"
#include "platform/gl_functions.h"

void render_gl_create(renderer_t* renderer) {
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
static const char* const fragment_text =
    "in vec4 vertex_color;\n"
    "in vec2 vertex_uv;\n"
    "uniform sampler2D albedo;\n"
    "out vec4 fragment_out_color;\n"
    "void main() {\n"
    "    fragment_out_color = vec4(vertex_color.rgb, vertex_color.a * texture(albedo, vertex_uv).r);\n"
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

static GLuint program_create(u32 slot) {
    const char* vertex = slot == program_slot_rectangles ? vertex_rectangles : vertex_textured;
    const char* fragment = slot == program_slot_rectangles ? fragment_rectangles
                           : slot == program_slot_text     ? fragment_text
                                                           : fragment_images;
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

static GLenum index_type(const batch_t* batch) {
    return batch->index_size == 4 ? GL_UNSIGNED_INT : (batch->index_size == 2 ? GL_UNSIGNED_SHORT : GL_UNSIGNED_BYTE);
}

static void draw_range(const batch_t* batch, u32 first_index, u32 end_index) {
    if (end_index <= first_index) return;
    glDrawElements(GL_TRIANGLE_STRIP, (GLsizei)(end_index - first_index), index_type(batch),
                   (const void*)(u64)(first_index * batch->index_size));
}

static void scissor_apply(const i32* scissor) {
    if (scissor[0]) {
        glEnable(GL_SCISSOR_TEST);
        glScissor(scissor[1], scissor[2], scissor[3], scissor[4]);
    } else {
        glDisable(GL_SCISSOR_TEST);
    }
}

// A font's atlas: made anew when it grew, else only the rows that changed since the
// last upload.
static void atlas_upload(renderer_t* renderer, const font_t* font) {
    font_atlas_t* atlas = font->atlas;
    if (!atlas->pixels) return;
    if (render_atlas_texture(renderer, atlas, font) && atlas->dirty_y1 > atlas->dirty_y0) {
        glBindTexture(GL_TEXTURE_2D, atlas->texture);
        glTexSubImage2D(GL_TEXTURE_2D, 0, 0, (GLint)atlas->dirty_y0, atlas->width,
                        (GLsizei)(atlas->dirty_y1 - atlas->dirty_y0), GL_RED, GL_UNSIGNED_BYTE,
                        atlas->pixels + (u64)atlas->dirty_y0 * atlas->width);
    }
    font_atlas_uploaded(atlas);
}

// The texture a text command draws from.
static u32 text_texture(const batch_t* batch, const batch_command_t* command) {
    const font_atlas_t* atlas = batch->fonts->fonts[command->font].atlas;
    return atlas ? atlas->texture : 0;
}

// Each frame the buffer gets new storage of the size this frame used, filled in the
// same call: the driver needn't wait for the last frame's draws, and a software
// driver doesn't clear a whole batch's capacity that the frame left unused.
static void buffer_upload(GLenum target, GLuint buffer, u32 count, u32 size, const void* bytes) {
    glBindBuffer(target, buffer);
    glBufferData(target, (GLsizeiptr)((u64)count * size), bytes, GL_STREAM_DRAW);
}

// Whether every vertex of a batch whose colour sits at byte `offset` is opaque.
static bool batch_is_opaque(const batch_t* batch, u64 offset) {
    const u8* alpha = (const u8*)batch->vertices + offset + 3;
    for (u32 i = 0; i < batch->vertex_count; i++, alpha += batch->vertex_size) {
        if (*alpha != 255) return false;
    }
    return true;
}

static void batch_draw(renderer_t* renderer, batch_t* batch) {
    bool text = batch->type == batch_type_text && batch->fonts;
    for (u32 f = 0; text && f < batch->fonts->font_count; f++) {
        if (batch->fonts->fonts[f].atlas) atlas_upload(renderer, &batch->fonts->fonts[f]);
    }
    if (batch->vertex_count == 0) return;
    if (!batch->program) {
        if (!renderer->programs[batch->program_slot]) {
            renderer->programs[batch->program_slot] = program_create(batch->program_slot);
        }
        batch->program = renderer->programs[batch->program_slot];
    }
    if (!batch->program) return;
    glUseProgram(batch->program);
    GLint projection = glGetUniformLocation(batch->program, "projection");
    glUniformMatrix4fv(projection, 1, GL_FALSE, renderer->projection);
    GLint bytes_per_pixel = glGetUniformLocation(batch->program, "bytes_per_pixel");
    if (bytes_per_pixel >= 0) glUniform1ui(bytes_per_pixel, 4);

    if (!batch->vertex_buffer) {
        glGenBuffers(1, &batch->vertex_buffer);
        glGenBuffers(1, &batch->index_buffer);
    }
    buffer_upload(GL_ELEMENT_ARRAY_BUFFER, batch->index_buffer, batch->index_count,
                  batch->index_size, batch->indices);
    buffer_upload(GL_ARRAY_BUFFER, batch->vertex_buffer, batch->vertex_count,
                  batch->vertex_size, batch->vertices);

    u32 components = (batch->format & 3) + 2;
    GLsizei stride = (GLsizei)batch->vertex_size;
    u64 offset = 0;
    GLint position = glGetAttribLocation(batch->program, "position");
    if (position >= 0) {
        glEnableVertexAttribArray((GLuint)position);
        glVertexAttribPointer((GLuint)position, (GLint)components, GL_FLOAT, GL_FALSE, stride, (const void*)offset);
    }
    offset += components * 4;
    if (batch->format & 4) {
        GLint color = glGetAttribLocation(batch->program, "color");
        if (color >= 0) {
            glEnableVertexAttribArray((GLuint)color);
            glVertexAttribIPointer((GLuint)color, 1, GL_UNSIGNED_INT, stride, (const void*)offset);
        }
        offset += 4;
    }
    if (batch->format & 8) {
        GLint uv = glGetAttribLocation(batch->program, "in_uv");
        if (uv >= 0) {
            glEnableVertexAttribArray((GLuint)uv);
            glVertexAttribPointer((GLuint)uv, 2, GL_FLOAT, GL_FALSE, stride, (const void*)offset);
        }
    }

    // Opaque rectangles draw the same without blending, and a software driver then
    // neither reads what lies below them nor draws what they cover.
    bool unblended = (renderer->flags & renderer_alpha_blending) && batch->type == batch_type_quads &&
                     (batch->format & 4) && !(batch->format & 8) && batch_is_opaque(batch, components * 4);
    if (unblended) glDisable(GL_BLEND);

    glActiveTexture(GL_TEXTURE0);
    u32 bound = batch->texture;
    if (bound) glBindTexture(GL_TEXTURE_2D, bound);
    glEnable(GL_PRIMITIVE_RESTART);
    glPrimitiveRestartIndex(batch_restart_value(batch));

    // Runs of commands between scissors go out as one draw; images go one by one.
    u32 run_first = 0, run_end = 0;
    bool run_open = false;
    for (u32 i = 0; i < batch->command_count; i++) {
        batch_command_t* command = &batch->commands[i];
        if (command->kind == render_command_scissor) {
            if (run_open) draw_range(batch, run_first, run_end);
            run_open = false;
            scissor_apply(command->scissor);
            continue;
        }
        if (command->index_count == 0) continue;
        if (command->kind == batch_type_images) {
            if (run_open) draw_range(batch, run_first, run_end);
            run_open = false;
            glBindTexture(GL_TEXTURE_2D, command->texture);
            bound = command->texture;
            if (bytes_per_pixel >= 0) glUniform1ui(bytes_per_pixel, command->bytes_per_pixel);
            draw_range(batch, command->first_index, command->first_index + command->index_count);
            continue;
        }
        // Each font has its own atlas: a run ends where the text's texture changes.
        // A font whose atlas has no texture (the driver refused it) isn't drawn.
        u32 texture = text ? text_texture(batch, command) : bound;
        if (text && !texture) {
            if (run_open) draw_range(batch, run_first, run_end);
            run_open = false;
            continue;
        }
        if (texture != bound) {
            if (run_open) draw_range(batch, run_first, run_end);
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
    if (run_open) draw_range(batch, run_first, run_end);
    glDisable(GL_SCISSOR_TEST);
    if (unblended) glEnable(GL_BLEND);
}

void render_gl_execute(renderer_t* renderer) {
    render_command_t* commands = (render_command_t*)renderer->commands.bytes;
    for (u32 i = 0; i < renderer->command_count; i++) {
        render_command_t* command = &commands[i];
        switch (command->kind) {
            case render_command_clear:
                glClearColor(command->colour.r, command->colour.g, command->colour.b, command->colour.a);
                glClear(GL_COLOR_BUFFER_BIT);
                break;
            case render_command_viewport:
                glViewport(command->x, command->y, command->width, command->height);
                break;
            case render_command_scissor: {
                i32 scissor[5] = {command->enabled, command->x, command->y, command->width, command->height};
                scissor_apply(scissor);
                break;
            }
            case render_command_batch:
                batch_draw(renderer, &renderer->batches[command->batch]);
                break;
        }
    }
    glDisable(GL_SCISSOR_TEST);
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
    return texture;
}

u32 gl_texture_size_limit() {
    GLint size = 0;
    glGetIntegerv(GL_MAX_TEXTURE_SIZE, &size);
    return size > 0 ? (u32)size : 1024;
}

void gl_texture_delete(u32* texture) {
    if (*texture) glDeleteTextures(1, texture);
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
