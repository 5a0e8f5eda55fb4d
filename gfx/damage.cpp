// The tiles' hashes of a frame, compared with the last frame's, and the changed
// tiles merged into rectangles. A command touches a tile when the pixels it may
// cover (its vertices' box widened to whole pixels, within its scissor and the
// window) meet the tile; its hash holds all that decides its pixels: the batch's
// program, format, texture and blending, the command's texture, every vertex word
// as drawn, and its scissor as far as it falls in the tile.
#include "gfx/damage.h"

#include <cmath>
#include <cstring>

#include "gfx/renderer.h"

static inline u64 damage_step(u64 hash, u64 value) {
    hash = (hash ^ value) * 0x9E3779B97F4A7C15ull;
    return hash ^ (hash >> 29);
}

// Four lanes side by side: a frame hashes some hundred kilobytes of vertices, and
// one chain of multiplies would wait on each one.
static u64 damage_words(u64 hash, const void* bytes, u64 size) {
    const u8* p = (const u8*)bytes;
    u64 lanes[4] = {hash, hash ^ 0x243F6A8885A308D3ull, hash ^ 0x13198A2E03707344ull, hash ^ 0xA4093822299F31D0ull};
    u64 at = 0;
    for (; at + 32 <= size; at += 32) {
        u64 words[4];
        memcpy(words, p + at, 32);
        for (u32 i = 0; i < 4; i++) lanes[i] = damage_step(lanes[i], words[i]);
    }
    for (; at + 8 <= size; at += 8) {
        u64 word = 0;
        memcpy(&word, p + at, 8);
        lanes[0] = damage_step(lanes[0], word);
    }
    if (at < size) {
        u64 word = 0;
        memcpy(&word, p + at, size - at);
        lanes[1] = damage_step(lanes[1], word);
    }
    hash = damage_step(lanes[0], lanes[1]);
    hash = damage_step(hash, lanes[2]);
    return damage_step(hash, lanes[3] ^ size);
}

// A command's texture as the backend binds it.
static u32 damage_command_texture(const batch_t* batch, const batch_command_t* command) {
    if (command->kind == batch_type_images) return command->texture;
    if (batch->type == batch_type_text && batch->fonts) {
        const font_atlas_t* atlas = batch->fonts->fonts[command->font].atlas;
        return atlas ? atlas->texture : 0;
    }
    return batch->texture;
}

// Whether every vertex is opaque: the backend then draws the batch unblended.
static bool damage_batch_opaque(const batch_t* batch) {
    if (!(batch->format & 4)) return false;
    u32 offset = ((batch->format & 3) + 2) * 4 + 3;
    const u8* alpha = batch->vertices + offset;
    for (u32 i = 0; i < batch->vertex_count; i++, alpha += batch->vertex_size) {
        if (*alpha != 255) return false;
    }
    return true;
}

struct damage_box_t {
    i32 x0, y0, x1, y1;
};

static damage_box_t damage_box_meet(damage_box_t a, damage_box_t b) {
    return damage_box_t{max_of(a.x0, b.x0), max_of(a.y0, b.y0), min_of(a.x1, b.x1), min_of(a.y1, b.y1)};
}

static bool damage_box_empty(damage_box_t box) { return box.x0 >= box.x1 || box.y0 >= box.y1; }

// Folds one command into every tile its area touches; false when its vertices are
// beyond judging (not finite, or far outside any window).
static bool damage_command(damage_t* damage, const batch_t* batch, const batch_command_t* command, u64 header,
                           const i32* scissor) {
    u32 first = command->first_index / 5, end = (command->first_index + command->index_count) / 5;
    if (end * 4 > batch->vertex_count) end = batch->vertex_count / 4;
    if (first >= end) return true;
    u64 hash = damage_step(header, (u64)command->kind | (u64)damage_command_texture(batch, command) << 32);
    hash = damage_step(hash, command->bytes_per_pixel);
    const u8* vertices = batch->vertices + (u64)first * 4 * batch->vertex_size;
    u64 size = (u64)(end - first) * 4 * batch->vertex_size;
    hash = damage_words(hash, vertices, size);
    f32 x0 = 1e30f, y0 = 1e30f, x1 = -1e30f, y1 = -1e30f;
    for (u32 v = 0; v < (end - first) * 4; v++) {
        const f32* p = (const f32*)(vertices + (u64)v * batch->vertex_size);
        if (!(fabsf(p[0]) < 1e7f) || !(fabsf(p[1]) < 1e7f)) return false;
        x0 = min_of(x0, p[0]), y0 = min_of(y0, p[1]);
        x1 = max_of(x1, p[0]), y1 = max_of(y1, p[1]);
    }
    damage_box_t area = {(i32)floorf(x0), (i32)floorf(y0), (i32)ceilf(x1), (i32)ceilf(y1)};
    area = damage_box_meet(area, damage_box_t{0, 0, damage->width, damage->height});
    damage_box_t clip = {0, 0, damage->width, damage->height};
    if (scissor[0]) clip = damage_box_meet(clip, {scissor[1], scissor[2], scissor[1] + scissor[3], scissor[2] + scissor[4]});
    area = damage_box_meet(area, clip);
    if (damage_box_empty(area)) return true;
    u32 column0 = (u32)(area.x0 / damage_tile_width), column1 = (u32)((area.x1 - 1) / damage_tile_width);
    u32 row0 = (u32)(area.y0 / damage_tile_height), row1 = (u32)((area.y1 - 1) / damage_tile_height);
    for (u32 row = row0; row <= row1; row++) {
        for (u32 column = column0; column <= column1; column++) {
            damage_box_t tile = {(i32)column * damage_tile_width, (i32)row * damage_tile_height,
                                 (i32)(column + 1) * damage_tile_width, (i32)(row + 1) * damage_tile_height};
            // The scissor matters in the tile only as far as it cuts it.
            damage_box_t cut = damage_box_meet(tile, clip);
            u64 tile_hash = damage_step(hash, (u64)(u32)(cut.x0 - tile.x0) | (u64)(u32)(cut.x1 - tile.x0) << 32);
            tile_hash = damage_step(tile_hash, (u64)(u32)(cut.y0 - tile.y0) | (u64)(u32)(cut.y1 - tile.y0) << 32);
            u64* at = &damage->next[(u64)row * damage->columns + column];
            *at = damage_step(*at, tile_hash);
        }
    }
    return true;
}

// The frame's hashes into `next`; false when the frame is to be drawn whole without
// them (a partial viewport, a renderer scissor, a batch of another kind).
static bool damage_hash(damage_t* damage, const renderer_t* renderer, u64 epoch) {
    u64 state = damage_step(0x6E6577736C6F6F6Dull, (u64)(u32)renderer->width | (u64)(u32)renderer->height << 32);
    state = damage_step(state, epoch);
    state = damage_step(state, renderer->frames_executed == 0);
    state = damage_step(state, renderer->flags);
    state = damage_words(state, renderer->projection, sizeof(renderer->projection));
    const render_command_t* commands = (const render_command_t*)renderer->commands.bytes;
    for (u32 i = 0; i < renderer->command_count; i++) {
        const render_command_t* command = &commands[i];
        bool whole_window = command->x == 0 && command->y == 0 && command->width == renderer->width &&
                            command->height == renderer->height;
        if (command->kind == render_command_viewport && !whole_window) return false;
        if (command->kind == render_command_scissor && command->enabled) return false;
        if (command->kind == render_command_clear) state = damage_step(state, color_pack(command->colour));
        if (command->kind == render_command_batch) {
            const batch_t* batch = &renderer->batches[command->batch];
            bool known = batch->type == batch_type_quads || batch->type == batch_type_text ||
                         batch->type == batch_type_images;
            if (batch->vertex_count && (!known || (batch->format & 3) != 0)) return false;
        }
        // A viewport over the whole window changes nothing that the size doesn't say.
        if (command->kind != render_command_viewport) state = damage_step(state, command->kind);
    }
    u32 tiles = damage->columns * damage->rows;
    for (u32 t = 0; t < tiles; t++) damage->next[t] = state;
    for (u32 i = 0; i < renderer->command_count; i++) {
        if (commands[i].kind != render_command_batch) continue;
        u32 handle = commands[i].batch;
        const batch_t* batch = &renderer->batches[handle];
        if (batch->vertex_count == 0) continue;
        u64 header = damage_step(state, (u64)handle | (u64)batch->type << 8 | (u64)batch->format << 16 |
                                            (u64)batch->program_slot << 24 | (u64)batch->texture << 32);
        header = damage_step(header, (u64)batch->vertex_size | (u64)damage_batch_opaque(batch) << 32);
        static const i32 none[5] = {};
        const i32* scissor = none;
        for (u32 c = 0; c < batch->command_count; c++) {
            const batch_command_t* command = &batch->commands[c];
            if (command->kind == render_command_scissor) {
                scissor = command->scissor;
                continue;
            }
            if (command->index_count == 0) continue;
            if (!damage_command(damage, batch, command, header, scissor)) return false;
        }
    }
    return true;
}

// The changed tiles as at most damage_rect_capacity rectangles: each row's span of
// changed tiles, joined to the rectangle of the rows below when they meet.
static void damage_merge(damage_t* damage, const u8* dirty) {
    struct span_t {
        u32 column0, column1, row0, row1;
    } spans[damage_rect_capacity];
    u32 count = 0;
    for (u32 row = 0; row < damage->rows; row++) {
        u32 column0 = damage->columns, column1 = 0;
        for (u32 column = 0; column < damage->columns; column++) {
            if (!dirty[(u64)row * damage->columns + column]) continue;
            column0 = min_of(column0, column);
            column1 = column;
        }
        if (column0 > column1) continue;
        span_t* last = count ? &spans[count - 1] : nullptr;
        bool meets = last && last->row1 + 1 == row && column0 <= last->column1 + 1 && column1 + 1 >= last->column0;
        if (!meets && count < damage_rect_capacity) {
            spans[count++] = span_t{column0, column1, row, row};
            continue;
        }
        last->column0 = min_of(last->column0, column0);
        last->column1 = max_of(last->column1, column1);
        last->row1 = row;
    }
    damage->rect_count = count;
    for (u32 i = 0; i < count; i++) {
        i32 x0 = (i32)spans[i].column0 * damage_tile_width, y0 = (i32)spans[i].row0 * damage_tile_height;
        i32 x1 = min_of((i32)(spans[i].column1 + 1) * damage_tile_width, damage->width);
        i32 y1 = min_of((i32)(spans[i].row1 + 1) * damage_tile_height, damage->height);
        damage->rects[i][0] = x0, damage->rects[i][1] = y0;
        damage->rects[i][2] = x1 - x0, damage->rects[i][3] = y1 - y0;
    }
}

void damage_frame(damage_t* damage, const renderer_t* renderer, u64 epoch) {
    damage->whole = 1;
    damage->rect_count = 0;
    bool lost = damage->lost != 0;
    damage->lost = 0;
    if (!damage->enabled || renderer->width <= 0 || renderer->height <= 0) {
        damage->valid = 0;
        return;
    }
    u32 columns = (u32)((renderer->width + damage_tile_width - 1) / damage_tile_width);
    u32 rows = (u32)((renderer->height + damage_tile_height - 1) / damage_tile_height);
    if (damage->width != renderer->width || damage->height != renderer->height) {
        damage->valid = 0;
        damage->width = renderer->width;
        damage->height = renderer->height;
        u64 tiles = (u64)columns * rows;
        if (damage->memory.reserved < tiles * 17) {
            data_free(&damage->memory);
            damage->memory = data_allocate(tiles * 17);
        }
        damage->columns = damage->memory.bytes ? columns : 0;
        damage->rows = damage->memory.bytes ? rows : 0;
        damage->hashes = (u64*)damage->memory.bytes;
        damage->next = damage->hashes + tiles;
    }
    if (!damage->memory.bytes) {
        damage->width = 0;
        return;
    }
    if (!damage_hash(damage, renderer, epoch)) {
        damage->valid = 0;
        return;
    }
    if (lost || damage->valid != 1) {
        damage->valid = 2;  // the hashes are good once the frame is drawn
        return;
    }
    u32 tiles = columns * rows;
    u8* dirty = damage->memory.bytes + (u64)tiles * 16;
    for (u32 t = 0; t < tiles; t++) dirty[t] = damage->next[t] != damage->hashes[t];
    damage_merge(damage, dirty);
    damage->valid = 2;
    // Most of the window changed: one pass over it costs less than a pass a rectangle.
    u64 area = 0;
    for (u32 i = 0; i < damage->rect_count; i++) area += (u64)damage->rects[i][2] * (u64)damage->rects[i][3];
    damage->whole = area * 4 >= (u64)damage->width * (u64)damage->height * 3;
    if (damage->whole) damage->rect_count = 0;
}

void damage_frame_drawn(damage_t* damage) {
    if (damage->valid != 2) return;
    u64* swap = damage->hashes;
    damage->hashes = damage->next;
    damage->next = swap;
    damage->valid = 1;
    if (damage->whole) damage->frames_whole += 1;
    else damage->frames_partial += 1;
}

void damage_free(damage_t* damage) {
    data_free(&damage->memory);
    *damage = damage_t{};
}
