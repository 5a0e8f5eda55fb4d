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
    if (batch->type == batch_type_text && batch->fonts) return batch_text_texture(batch, command);
    return batch->texture;
}

struct damage_box_t {
    i32 x0, y0, x1, y1;
};

static damage_box_t damage_box_meet(damage_box_t a, damage_box_t b) {
    return damage_box_t{max_of(a.x0, b.x0), max_of(a.y0, b.y0), min_of(a.x1, b.x1), min_of(a.y1, b.y1)};
}

static bool damage_box_empty(damage_box_t box) { return box.x0 >= box.x1 || box.y0 >= box.y1; }

static i64 damage_band_of(i64 row) {
    return row >= 0 ? row / damage_band_height : -((-row + damage_band_height - 1) / damage_band_height);
}

static inline u64 damage_content_row(f32 screen_row, i64 offset) {
    f64 row = (f64)screen_row - (f64)offset;  // exact
    u64 bits = 0;
    memcpy(&bits, &row, 8);
    return bits;
}

static inline u32 damage_bits(f32 value) {
    u32 bits = 0;
    memcpy(&bits, &value, 4);
    return bits;
}

static bool damage_scissor_holds(const i32* scissor, const i32* rect) {
    return scissor[1] <= rect[0] && scissor[2] <= rect[1] && scissor[1] + scissor[3] >= rect[2] &&
           scissor[2] + scissor[4] >= rect[3];
}

// Folds a command's quads into the bands of the region they touch, in content space:
// a quad's vertices with y less the offset, and its scissor unless that holds the
// whole region. An upright rectangle of one colour counts by its part in the band,
// so that one cut to the screen, or fixed on it, keeps its hash in the bands it fills.
static void damage_command_bands(damage_region_t* region, const batch_t* batch, const u8* vertices, u32 quads,
                                 u64 hash, const i32* scissor, damage_box_t clip) {
    i64 offset = region->offset;
    if (scissor[0] && !damage_scissor_holds(scissor, region->rect)) {
        hash = damage_step(hash, (u64)(u32)scissor[1] | (u64)(u32)scissor[3] << 32);
        hash = damage_step(hash, (u64)((i64)scissor[2] - offset) ^ (u64)(u32)scissor[4] << 40);
    }
    clip = damage_box_meet(clip, damage_box_t{region->rect[0], region->rect[1], region->rect[2], region->rect[3]});
    bool colour_only = (batch->format & 15) == 4 && batch->vertex_size == 12;
    u32 words = batch->vertex_size / 4;
    for (u32 q = 0; q < quads; q++) {
        const u8* quad = vertices + (u64)q * 4 * batch->vertex_size;
        f32 x[4], y[4];
        u32 colour[4] = {};
        for (u32 v = 0; v < 4; v++) {
            const u8* p = quad + (u64)v * batch->vertex_size;
            memcpy(&x[v], p, 4);
            memcpy(&y[v], p + 4, 4);
            if (colour_only) memcpy(&colour[v], p + 8, 4);
        }
        f32 x0 = min_of(min_of(x[0], x[1]), min_of(x[2], x[3])), x1 = max_of(max_of(x[0], x[1]), max_of(x[2], x[3]));
        f32 y0 = min_of(min_of(y[0], y[1]), min_of(y[2], y[3])), y1 = max_of(max_of(y[0], y[1]), max_of(y[2], y[3]));
        damage_box_t box = {(i32)floorf(x0), (i32)floorf(y0), (i32)ceilf(x1), (i32)ceilf(y1)};
        box = damage_box_meet(box, clip);
        if (damage_box_empty(box)) continue;
        bool flat = colour_only && x[0] == x[1] && x[2] == x[3] && y[0] == y[2] && y[1] == y[3] &&
                    colour[0] == colour[1] && colour[0] == colour[2] && colour[0] == colour[3];
        u64 quad_hash = hash;
        if (!flat) {
            for (u32 v = 0; v < 4; v++) {
                const u32* p = (const u32*)(quad + (u64)v * batch->vertex_size);
                quad_hash = damage_step(quad_hash, damage_content_row(y[v], offset));
                quad_hash = damage_step(quad_hash, p[0]);
                for (u32 w = 2; w < words; w++) quad_hash = damage_step(quad_hash, p[w]);
            }
        } else {
            quad_hash = damage_step(quad_hash, colour[0] | (u64)damage_bits(x0) << 32);
            quad_hash = damage_step(quad_hash, damage_bits(x1));
        }
        i64 band0 = damage_band_of(box.y0 - offset), band1 = damage_band_of(box.y1 - 1 - offset);
        for (i64 band = max_of(band0, region->first_band);
             band <= min_of(band1, region->first_band + (i64)region->band_count - 1); band++) {
            u64 band_hash = quad_hash;
            if (flat) {
                f64 row0 = (f64)(band * damage_band_height + offset), row1 = row0 + damage_band_height;
                f64 part0 = max_of((f64)y0, row0) - (f64)offset, part1 = min_of((f64)y1, row1) - (f64)offset;
                u64 bits0 = 0, bits1 = 0;
                memcpy(&bits0, &part0, 8);
                memcpy(&bits1, &part1, 8);
                band_hash = damage_step(damage_step(band_hash, bits0), bits1);
            }
            u64* at = &region->hashes[band - region->first_band];
            *at = damage_step(*at, band_hash);
        }
    }
}

// Folds one command into every tile its area touches, or, for one wholly inside the
// scrolled region, into the region's bands alone; false when its vertices are beyond
// judging (not finite, or far outside any window).
static bool damage_command(damage_t* damage, const batch_t* batch, const batch_command_t* command, u64 header,
                           const i32* scissor, damage_region_t* region) {
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
    if (region->band_count) {
        damage_box_t rect = {region->rect[0], region->rect[1], region->rect[2], region->rect[3]};
        damage_box_t inside = damage_box_meet(area, rect);
        if (!damage_box_empty(inside)) {
            u64 band_header = damage_step(header, (u64)command->kind | (u64)damage_command_texture(batch, command) << 32);
            band_header = damage_step(band_header, command->bytes_per_pixel);
            damage_command_bands(region, batch, vertices, end - first, band_header, scissor, clip);
        }
        if (inside.x0 == area.x0 && inside.y0 == area.y0 && inside.x1 == area.x1 && inside.y1 == area.y1) return true;
    }
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
static bool damage_hash(damage_t* damage, const renderer_t* renderer, u64 epoch, damage_region_t* region) {
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
    for (u32 b = 0; b < region->band_count; b++) region->hashes[b] = state;
    if (region->band_count) {
        // The tiles under the region hold what the region drew there: they change when
        // it comes or goes.
        const i32* r = region->rect;
        u64 marker = damage_step(state, (u64)(u32)r[0] | (u64)(u32)r[1] << 32);
        marker = damage_step(marker, (u64)(u32)r[2] | (u64)(u32)r[3] << 32);
        for (u32 row = (u32)(r[1] / damage_tile_height); row <= (u32)((r[3] - 1) / damage_tile_height); row++) {
            for (u32 column = (u32)(r[0] / damage_tile_width); column <= (u32)((r[2] - 1) / damage_tile_width);
                 column++) {
                u64* at = &damage->next[(u64)row * damage->columns + column];
                *at = damage_step(*at, marker);
            }
        }
    }
    for (u32 i = 0; i < renderer->command_count; i++) {
        if (commands[i].kind != render_command_batch) continue;
        u32 handle = commands[i].batch;
        const batch_t* batch = &renderer->batches[handle];
        if (batch->vertex_count == 0) continue;
        u64 header = damage_step(state, (u64)handle | (u64)batch->type << 8 | (u64)batch->format << 16 |
                                            (u64)batch->program_slot << 24 | (u64)batch->texture << 32);
        // The backend draws colour-only rectangles unblended when all are opaque.
        bool unblended = batch->type == batch_type_quads && (batch->format & 4) && !(batch->format & 8) &&
                         batch_is_opaque(batch);
        header = damage_step(header, (u64)batch->vertex_size | (u64)unblended << 32);
        static const i32 none[5] = {};
        const i32* scissor = none;
        for (u32 c = 0; c < batch->command_count; c++) {
            const batch_command_t* command = &batch->commands[c];
            if (command->kind == render_command_scissor) {
                scissor = command->scissor;
                continue;
            }
            if (command->index_count == 0) continue;
            if (!damage_command(damage, batch, command, header, scissor, region)) return false;
        }
    }
    return true;
}

// The changed tiles as at most half of damage_rect_capacity rectangles (the region's
// rows take the rest): each row's span of
// changed tiles, joined to the rectangle of the rows below when they meet.
static void damage_merge(damage_t* damage, const u8* dirty) {
    struct span_t {
        u32 column0, column1, row0, row1;
    } spans[damage_rect_capacity / 2];
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
        if (!meets && count < damage_rect_capacity / 2) {
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

// This frame's region when the renderer declared one that can be judged: whole
// pixels within the window, a whole offset, and no more bands than kept.
static void damage_region_begin(damage_region_t* region, const renderer_t* renderer) {
    region->band_count = 0;
    if (renderer->region_count != 1) return;
    rect_t r = renderer->region_rect;
    f32 offset = renderer->region_offset;
    auto whole = [](f32 value) { return value == floorf(value) && fabsf(value) < 16777216.0f; };
    if (!whole(r.x0) || !whole(r.y0) || !whole(r.x1) || !whole(r.y1) || !whole(offset)) return;
    if (r.x0 < 0 || r.y0 < 0 || r.x1 > (f32)renderer->width || r.y1 > (f32)renderer->height || r.x0 >= r.x1 ||
        r.y0 >= r.y1) {
        return;
    }
    region->rect[0] = (i32)r.x0, region->rect[1] = (i32)r.y0, region->rect[2] = (i32)r.x1, region->rect[3] = (i32)r.y1;
    region->offset = (i64)offset;
    region->first_band = damage_band_of(region->rect[1] - region->offset);
    i64 count = damage_band_of(region->rect[3] - 1 - region->offset) - region->first_band + 1;
    if (count <= (i64)damage_band_capacity) region->band_count = (u32)count;
}

// The region's rows this frame: the rows that stay move when the back buffer held
// the region at the same place with bands of the same hashes; the rest are drawn.
// Adds the rectangles to draw after the tiles', and says what moves.
static void damage_region_plan(damage_t* damage, bool can_move) {
    const damage_region_t* last = &damage->regions[0];
    const damage_region_t* now = &damage->regions[1];
    if (!now->band_count) return;
    const i32* r = now->rect;
    i32 height = r[3] - r[1];
    // Rows of the region, bottom up, to draw (1) or kept (0).
    u8 draw_rows[4096];
    if (height > (i32)sizeof(draw_rows)) height = (i32)sizeof(draw_rows);
    memset(draw_rows, 1, (u64)height);
    bool same_place = last->band_count && memcmp(last->rect, now->rect, sizeof(now->rect)) == 0;
    i64 delta = now->offset - last->offset;
    if (same_place && (delta == 0 || can_move)) {
        // Content rows in sight in both frames.
        i64 content0 = r[1] - min_of(last->offset, now->offset), content1 = r[3] - max_of(last->offset, now->offset);
        for (i64 c = content0; c < content1; c++) {
            i64 band = damage_band_of(c);
            i64 at_last = band - last->first_band, at_now = band - now->first_band;
            if (at_last < 0 || at_last >= last->band_count || at_now < 0 || at_now >= now->band_count) continue;
            if (last->hashes[at_last] != now->hashes[at_now]) continue;
            i64 row = c + now->offset - r[1];
            if (row >= 0 && row < height) draw_rows[row] = 0;
        }
        if (delta != 0 && content1 > content0) {
            damage->moving = 1;
            damage->move[0] = r[0], damage->move[1] = (i32)(content0 + last->offset);
            damage->move[2] = r[2] - r[0], damage->move[3] = (i32)(content1 - content0);
            damage->move[4] = (i32)(content0 + now->offset);
        }
    }
    // The rows to draw as runs, the closest joined until they fit.
    i32 runs[damage_rect_capacity + 1][2];
    u32 count = 0, room = damage_rect_capacity - damage->rect_count;
    for (i32 row = 0; row < height;) {
        if (!draw_rows[row]) {
            row++;
            continue;
        }
        i32 end = row;
        while (end < height && draw_rows[end]) end++;
        runs[count][0] = row, runs[count][1] = end;
        row = end;
        if (++count <= room) continue;
        u32 join = 1;
        for (u32 i = 2; i < count; i++) {
            if (runs[i][0] - runs[i - 1][1] < runs[join][0] - runs[join - 1][1]) join = i;
        }
        runs[join - 1][1] = runs[join][1];
        for (u32 i = join; i + 1 < count; i++) runs[i][0] = runs[i + 1][0], runs[i][1] = runs[i + 1][1];
        count -= 1;
    }
    for (u32 i = 0; i < count; i++) {
        i32* rect = damage->rects[damage->rect_count++];
        rect[0] = r[0], rect[1] = r[1] + runs[i][0], rect[2] = r[2] - r[0], rect[3] = runs[i][1] - runs[i][0];
    }
}

void damage_frame(damage_t* damage, const renderer_t* renderer, u64 epoch, bool can_move) {
    damage->whole = 1;
    damage->rect_count = 0;
    damage->shown_count = 0;
    damage->moving = 0;
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
    damage_region_t* region = &damage->regions[1];
    damage_region_begin(region, renderer);
    if (!damage_hash(damage, renderer, epoch, region)) {
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
    u32 tile_rects = damage->rect_count;
    damage_region_plan(damage, can_move);
    damage->valid = 2;
    // Most of the window changed: one pass over it costs less than a pass a rectangle.
    u64 area = 0;
    for (u32 i = 0; i < damage->rect_count; i++) area += (u64)damage->rects[i][2] * (u64)damage->rects[i][3];
    damage->whole = area * 4 >= (u64)damage->width * (u64)damage->height * 3;
    if (damage->whole) {
        damage->rect_count = 0;
        damage->moving = 0;
        return;
    }
    // The window is shown what was drawn, and the whole region when its rows moved.
    u32 shown = damage->moving ? tile_rects : damage->rect_count;
    memcpy(damage->shown, damage->rects, (u64)shown * sizeof(damage->rects[0]));
    if (damage->moving) {
        const i32* r = region->rect;
        i32* rect = damage->shown[shown++];
        rect[0] = r[0], rect[1] = r[1], rect[2] = r[2] - r[0], rect[3] = r[3] - r[1];
        damage->frames_moved += 1;
    }
    damage->shown_count = shown;
}

void damage_frame_drawn(damage_t* damage) {
    if (damage->valid != 2) {
        damage->regions[0].band_count = 0;
        return;
    }
    u64* swap = damage->hashes;
    damage->hashes = damage->next;
    damage->next = swap;
    damage->valid = 1;
    damage->regions[0] = damage->regions[1];
    if (!damage->whole) damage->frames_partial += 1;
}

void damage_free(damage_t* damage) {
    data_free(&damage->memory);
    *damage = damage_t{};
}
