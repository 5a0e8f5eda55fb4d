// The renderer's stub backend, for a program without a context: nothing is drawn,
// and each command that OpenGL would execute becomes a record that tests read.
#include "gfx/renderer.h"

static render_record_t* record_push(renderer_t* renderer, u32 kind, u32 batch) {
    render_record_t* record = (render_record_t*)data_push(&renderer->records, sizeof(render_record_t), 8);
    if (!record) {
        renderer->records_dropped += 1;
        return nullptr;
    }
    *record = render_record_t{};
    record->kind = kind;
    record->batch = batch;
    renderer->record_count += 1;
    return record;
}

static rect_t box_rect(i32 x, i32 y, i32 width, i32 height) {
    return rect_t{(f32)x, (f32)y, (f32)(x + width), (f32)(y + height)};
}

static void batch_record(renderer_t* renderer, u32 handle) {
    const batch_t* batch = &renderer->batches[handle];
    for (u32 i = 0; i < batch->command_count; i++) {
        const batch_command_t* command = &batch->commands[i];
        u32 kind = command->kind;
        if (kind != render_command_scissor && kind != batch_type_text && command->index_count == 0) continue;
        // The text of a font whose atlas got no texture isn't drawn.
        if (kind == batch_type_text && batch->fonts && batch->fonts->fonts[command->font].atlas &&
            batch->fonts->fonts[command->font].atlas->refused) {
            continue;
        }
        render_record_t* record = record_push(renderer, kind, handle);
        if (!record) return;
        record->colour = command->colour;
        record->texture = kind == batch_type_images ? command->texture : batch->texture;
        if (kind == render_command_scissor) {
            const i32* s = command->scissor;
            record->enabled = (u32)s[0];
            record->rect = box_rect(s[1], s[2], s[3], s[4]);
        } else if (kind == batch_type_text) {
            record->font = command->font;
            record->x = command->x;
            record->y = command->y;
            record->text = data_from_size(command->text_length, batch->text.bytes + command->text_offset);
        } else {
            record->rect = command->rect;
            record->bytes_per_pixel = command->bytes_per_pixel;
        }
    }
}

void render_stub_execute(renderer_t* renderer) {
    if (!renderer->records.bytes) {
        // Room for every command that the list and the batches can hold.
        u64 capacity = renderer->commands.reserved / sizeof(render_command_t);
        for (u32 i = 0; i < renderer->batch_count; i++) capacity += renderer->batches[i].command_capacity;
        renderer->records = data_allocate(capacity * sizeof(render_record_t));
        ASSERT(renderer->records.bytes);
    }
    data_clear(&renderer->records);
    renderer->record_count = 0;
    renderer->records_dropped = 0;
    const render_command_t* commands = (const render_command_t*)renderer->commands.bytes;
    for (u32 i = 0; i < renderer->command_count; i++) {
        const render_command_t* command = &commands[i];
        if (command->kind == render_command_batch) {
            batch_record(renderer, command->batch);
            continue;
        }
        render_record_t* record = record_push(renderer, command->kind, render_record_no_batch);
        if (!record) return;
        record->enabled = (u32)command->enabled;
        record->rect = box_rect(command->x, command->y, command->width, command->height);
        record->colour = color_pack(command->colour);
    }
}

// Handles from 0x10000 on, apart from anything a test makes up by hand.
u32 render_stub_texture_create(renderer_t* renderer) {
    if (renderer->textures_to_refuse) {
        renderer->textures_to_refuse -= 1;
        return 0;
    }
    renderer->textures_created += 1;
    return 0x10000 + renderer->textures_created;
}

void render_stub_texture_delete(renderer_t* renderer, u32 texture) {
    renderer->textures_deleted += 1;
    renderer->texture_last_deleted = texture;
}
