// The renderer: command list, batches, vertex formats, the three programs, text
// expansion into glyph quads, scissor runs drawn with primitive restart, textures.
#include "gfx/renderer.h"

#include "base/log.h"
#include "base/text.h"
#include "platform/window.h"
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

static f32 unit_clamp(f32 value) { return value < 0 ? 0 : (value > 1 ? 1 : value); }

u32 color_pack(colour_t colour) {
    u32 r = (u32)(unit_clamp(colour.r) * 255.0f + 0.5f);
    u32 g = (u32)(unit_clamp(colour.g) * 255.0f + 0.5f);
    u32 b = (u32)(unit_clamp(colour.b) * 255.0f + 0.5f);
    u32 a = (u32)(unit_clamp(colour.a) * 255.0f + 0.5f);
    return r | (g << 8) | (b << 16) | (a << 24);
}

static void projection_set(renderer_t* renderer, i32 width, i32 height) {
    for (u32 i = 0; i < 16; i++) renderer->projection[i] = 0;
    renderer->projection[0] = 2.0f / (f32)(width > 0 ? width : 1);
    renderer->projection[5] = 2.0f / (f32)(height > 0 ? height : 1);
    renderer->projection[10] = 1;
    renderer->projection[12] = -1;
    renderer->projection[13] = -1;
    renderer->projection[15] = 1;
}

void gl_renderer_create(renderer_t* renderer, i32 width, i32 height, u32 flags, bool with_gl) {
    *renderer = renderer_t{};
    renderer->commands = data_allocate(0x80000);
    renderer->vertex_data = data_allocate(0x80000);
    ASSERT(renderer->commands.bytes && renderer->vertex_data.bytes);
    renderer->flags = flags;
    renderer->width = width;
    renderer->height = height;
    projection_set(renderer, width, height);
    renderer->gl_ready = with_gl ? 1 : 0;
    if (!with_gl) return;
    glGenVertexArrays(1, &renderer->vertex_array);
    glBindVertexArray(renderer->vertex_array);
    if (flags & renderer_alpha_blending) {
        glEnable(GL_BLEND);
        glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    }
    if (flags & renderer_depth_test) glEnable(GL_DEPTH_TEST);
    if (flags & renderer_cull_face) glEnable(GL_CULL_FACE);
    ASSERT(glGetError() == GL_NO_ERROR);
}

u32 gl_batch_create(renderer_t* renderer, u32 type, u8 format, u32 quad_capacity, u32 command_capacity,
                    font_set_t* fonts, u32 texture) {
    ASSERT(renderer->batch_count < renderer_batch_capacity);
    u32 handle = renderer->batch_count++;
    batch_t* batch = &renderer->batches[handle];
    *batch = batch_t{};
    batch->type = type;
    batch->format = format;
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
    batch_command_t* command = batch_command_push(batch, render_command_scissor);
    ASSERT(command);  // scissors must never be lost, or later runs draw unclipped
    command->scissor[0] = enabled ? 1 : 0;
    command->scissor[1] = max_of(x, 0);
    command->scissor[2] = max_of(y, 0);
    command->scissor[3] = max_of(width, 0);
    command->scissor[4] = max_of(height, 0);
}

static void index_write(batch_t* batch, u32 value) {
    u8* target = batch->indices + (u64)batch->index_count * batch->index_size;
    if (batch->index_size == 2) {
        *(u16*)target = (u16)value;
    } else if (batch->index_size == 4) {
        *(u32*)target = value;
    } else {
        *target = (u8)value;
    }
    batch->index_count += 1;
}

static u32 restart_value(const batch_t* batch) {
    return batch->index_size == 4 ? 0xFFFFFFFFu : (batch->index_size == 2 ? 0xFFFFu : 0xFFu);
}

// Four vertices in strip order x0y1, x0y0, x1y1, x1y0 and their five indices.
static bool quad_write(batch_t* batch, rect_t r, rect_t uv, const u32* colours) {
    if (batch->vertex_count + 4 > batch->vertex_capacity || batch->index_count + 5 > batch->index_capacity) {
        batch->dropped += 1;
        return false;
    }
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
    for (u32 i = 0; i < 4; i++) index_write(batch, first + i);
    index_write(batch, restart_value(batch));
    return true;
}

static void corner_colours_pack(const colour_t* corner_colours, colour_t colour, u32* out) {
    for (u32 i = 0; i < 4; i++) {
        colour_t corner = corner_colours ? corner_colours[i] : colour_white;
        out[i] = color_pack(colour_t{corner.r * colour.r, corner.g * colour.g, corner.b * colour.b, corner.a * colour.a});
    }
}

static const rect_t uv_whole = {0, 0, 1, 1};

void gl_batch_rectangle(batch_t* batch, rect_t rect, const rect_t* uv, const colour_t* corner_colours,
                        colour_t colour) {
    PROFILE_ZONE(gl_batch_rectangle);
    batch_command_t* command = batch_command_push(batch, batch_type_quads);
    if (!command) return;
    u32 colours[4];
    corner_colours_pack(corner_colours, colour, colours);
    command->first_index = batch->index_count;
    if (quad_write(batch, rect, uv ? *uv : uv_whole, colours)) {
        command->index_count = 5;
    }
}

void gl_batch_image(batch_t* batch, rect_t rect, const rect_t* uv, const colour_t* corner_colours, colour_t colour,
                    u32 texture, u32 bytes_per_pixel) {
    batch_command_t* command = batch_command_push(batch, batch_type_images);
    if (!command) return;
    u32 colours[4];
    corner_colours_pack(corner_colours, colour, colours);
    command->texture = texture;
    command->bytes_per_pixel = bytes_per_pixel;
    command->first_index = batch->index_count;
    if (quad_write(batch, rect, uv ? *uv : uv_whole, colours)) {
        command->index_count = 5;
    }
}

void gl_batch_text(batch_t* batch, const u8* text, u64 length, u64 codepoints, f32 x, f32 y, u32 trim_first,
                   u32 font, colour_t colour) {
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
    command->codepoints = (u32)(codepoints ? codepoints : utf8_count(text, text + length));
    command->x = x;
    command->y = y;
    command->trim_first = trim_first;
    command->font = font;
    command->colour = color_pack(colour);
}

// Glyph quads of one text command, at the end of the batch's vertices.
static void text_expand(batch_t* batch, batch_command_t* command) {
    const font_set_t* set = batch->fonts;
    const font_t* font = &set->fonts[command->font];
    const u8* p = batch->text.bytes + command->text_offset;
    const u8* end = p + command->text_length;
    f32 pen_x = command->x;
    f32 pen_y = command->y;
    f32 inverse_width = 1.0f / (f32)set->atlas_width;
    f32 inverse_height = 1.0f / (f32)set->atlas_height;
    u32 colours[4] = {command->colour, command->colour, command->colour, command->colour};
    command->first_index = batch->index_count;
    bool first = true;
    while (p < end) {
        u32 codepoint = 0, size = 0;
        utf_error_t error = 0;
        utf8_decode(p, end, &codepoint, &size, &error);
        if (error) {
            codepoint = codepoint_replacement;
            size = 1;
        }
        p += size;
        const glyph_t* glyph = font_glyph(font, codepoint);
        if (first && command->trim_first) pen_x -= glyph->offset_x0;
        first = false;
        if (glyph->x1 > glyph->x0) {
            rect_t uv = {glyph->x0 * inverse_width, glyph->y0 * inverse_height, glyph->x1 * inverse_width,
                         glyph->y1 * inverse_height};
            rect_t box = {pen_x + glyph->offset_x0, pen_y + glyph->offset_y0, pen_x + glyph->offset_x1,
                          pen_y + glyph->offset_y1};
            if (!quad_write(batch, box, uv, colours)) {
                break;
            }
        }
        f32 kern = 0;
        if (p < end) {
            u32 next = 0, next_size = 0;
            utf_error_t next_error = 0;
            utf8_decode(p, end, &next, &next_size, &next_error);
            if (!next_error) kern = (f32)font_kerning(font, glyph, next) * font->scale;
        }
        pen_x += glyph->advance + kern;
    }
    command->index_count = batch->index_count - command->first_index;
}

void gl_frame_end(renderer_t* renderer) {
    for (u32 i = 0; i < renderer->batch_count; i++) {
        render_command_t* command = command_push(renderer, render_command_batch);
        command->batch = i;
    }
    gl_render(renderer);
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
        char info[2048];
        GLsizei length = 0;
        glGetShaderInfoLog(shader, sizeof(info), &length, info);
        log_write_c_string(log_graphics, "Shader error:\n");
        log_write_c_string(log_graphics, "Handle: ");
        log_write_u64(log_graphics, shader);
        log_write_c_string(log_graphics, "Type: ");
        log_write_c_string(log_graphics, type == GL_VERTEX_SHADER ? "vertex shader" : "fragment shader");
        log_write_c_string(log_graphics, "Error:\n");
        log_write_bytes(log_graphics, info, (u64)length);
        log_write_c_string(log_graphics, "Source:\n");
        log_write_c_string(log_graphics, body);
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
        char info[2048];
        GLsizei length = 0;
        glGetProgramInfoLog(program, sizeof(info), &length, info);
        log_write_c_string(log_graphics, "Shader program error:\n");
        log_write_c_string(log_graphics, "Handle: ");
        log_write_u64(log_graphics, program);
        log_write_c_string(log_graphics, "\nError:\n");
        log_write_bytes(log_graphics, info, (u64)length);
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

static void batch_draw(renderer_t* renderer, batch_t* batch) {
    if (batch->type == batch_type_text) {
        for (u32 i = 0; i < batch->command_count; i++) {
            if (batch->commands[i].kind == batch_type_text) text_expand(batch, &batch->commands[i]);
        }
        if (renderer->gl_ready && !batch->texture && batch->fonts && batch->fonts->atlas) {
            batch->texture = gl_texture_create(batch->fonts->atlas, batch->fonts->atlas_width,
                                               batch->fonts->atlas_height, 1, texture_linear);
        }
    }
    if (batch->vertex_count == 0 || !renderer->gl_ready) return;
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

    u64 vertex_bytes = (u64)batch->vertex_capacity * batch->vertex_size;
    u64 index_bytes = (u64)batch->index_capacity * batch->index_size;
    if (!batch->vertex_buffer) {
        glGenBuffers(1, &batch->vertex_buffer);
        glGenBuffers(1, &batch->index_buffer);
    }
    glBindBuffer(GL_ARRAY_BUFFER, batch->vertex_buffer);
    glBufferData(GL_ARRAY_BUFFER, (GLsizeiptr)vertex_bytes, nullptr, GL_STREAM_DRAW);
    glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, batch->index_buffer);
    glBufferData(GL_ELEMENT_ARRAY_BUFFER, (GLsizeiptr)index_bytes, nullptr, GL_STREAM_DRAW);

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
    glBufferSubData(GL_ARRAY_BUFFER, 0, (GLsizeiptr)((u64)batch->vertex_count * batch->vertex_size), batch->vertices);
    glBufferSubData(GL_ELEMENT_ARRAY_BUFFER, 0, (GLsizeiptr)((u64)batch->index_count * batch->index_size),
                    batch->indices);

    glActiveTexture(GL_TEXTURE0);
    if (batch->texture) glBindTexture(GL_TEXTURE_2D, batch->texture);
    glEnable(GL_PRIMITIVE_RESTART);
    glPrimitiveRestartIndex(restart_value(batch));

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
            if (bytes_per_pixel >= 0) glUniform1ui(bytes_per_pixel, command->bytes_per_pixel);
            draw_range(batch, command->first_index, command->first_index + command->index_count);
            continue;
        }
        if (!run_open) {
            run_first = command->first_index;
            run_open = true;
        }
        run_end = command->first_index + command->index_count;
    }
    if (run_open) draw_range(batch, run_first, run_end);
    glDisable(GL_SCISSOR_TEST);
}

void gl_render(renderer_t* renderer) {
    render_command_t* commands = (render_command_t*)renderer->commands.bytes;
    for (u32 i = 0; i < renderer->command_count; i++) {
        render_command_t* command = &commands[i];
        switch (command->kind) {
            case render_command_clear:
                if (!renderer->gl_ready) break;
                glClearColor(command->colour.r, command->colour.g, command->colour.b, command->colour.a);
                glClear(GL_COLOR_BUFFER_BIT);
                break;
            case render_command_viewport:
                if (renderer->gl_ready) glViewport(command->x, command->y, command->width, command->height);
                break;
            case render_command_scissor: {
                i32 scissor[5] = {command->enabled, command->x, command->y, command->width, command->height};
                if (renderer->gl_ready) scissor_apply(scissor);
                break;
            }
            case render_command_batch:
                batch_draw(renderer, &renderer->batches[command->batch]);
                break;
        }
    }
    if (renderer->gl_ready) glDisable(GL_SCISSOR_TEST);
    for (u32 i = 0; i < renderer->batch_count; i++) {
        if (renderer->batches[i].dropped) {
            log_write_c_string(log_graphics, "Batch full, primitives dropped: ");
            log_write_u64(log_graphics, renderer->batches[i].dropped);
            log_write_c_string(log_graphics, "\n");
        }
    }
}

u32 gl_texture_create(const void* pixels, i32 width, i32 height, u32 bytes_per_pixel, u32 flags) {
    ASSERT(bytes_per_pixel >= 1 && bytes_per_pixel <= 4);
    static const GLenum formats[5] = {0, GL_RED, GL_RG, GL_RGB, GL_RGBA};
    static const GLenum internal_linear[5] = {0, GL_R8, GL_RG8, GL_RGB8, GL_RGBA8};
    GLenum format = formats[bytes_per_pixel];
    GLenum internal = internal_linear[bytes_per_pixel];
    if ((flags & texture_srgb) && bytes_per_pixel == 3) internal = GL_SRGB8;
    if ((flags & texture_srgb) && bytes_per_pixel == 4) internal = GL_SRGB8_ALPHA8;
    GLuint texture = 0;
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
    ASSERT(glGetError() == GL_NO_ERROR);
    return texture;
}

void gl_texture_delete(u32* texture) {
    if (*texture) glDeleteTextures(1, texture);
    *texture = 0;
}

void gl_text_textures_reset(renderer_t* renderer) {
    for (u32 i = 0; i < renderer->batch_count; i++) {
        batch_t* batch = &renderer->batches[i];
        if (batch->type != batch_type_text) continue;
        if (renderer->gl_ready) {
            gl_texture_delete(&batch->texture);
        } else {
            batch->texture = 0;
        }
    }
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
