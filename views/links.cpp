// The link queues and the opening of links through the process door.
#include "views/links.h"

#include <cstring>

#include "base/log.h"
#include "net/block_storage.h"
#include "platform/os.h"
#include "store/reader.h"

static bool is_blank(u8 c) { return c == ' '; }

// A text block is given back only when block storage made it: names and queues
// read from the reader file live in the reader's strings.
static void text_block_release(data_t* text) {
    if (text->bytes && block_storage_contains(&block_storage, text->bytes)) {
        block_storage_free(&block_storage, text->bytes, text->reserved);
    }
}

void link_queue_append(link_target_t* target, data_t link) {
    data_t* queue = &target->queue;
    u64 needed = queue->used + link.used + 2;
    if (queue->reserved < needed) {
        u64 size = (needed + 4095) / 4096 * 4096;
        u8* block = (u8*)block_storage_allocate(&block_storage, size);
        if (!block) {
            log_paragraph_start(log_user);
            log_write_c_string(log_user, "The link queue is full; the link was not queued.\n");
            return;
        }
        if (queue->used) memcpy(block, queue->bytes, queue->used);
        text_block_release(queue);
        queue->bytes = block;
        queue->reserved = size;
    }
    if (queue->used) queue->bytes[queue->used++] = ' ';
    memcpy(queue->bytes + queue->used, link.bytes, link.used);
    queue->used += link.used;
    if (queue->used < queue->reserved) queue->bytes[queue->used] = 0;
}

void link_queue_remove(link_target_t* target, data_t link) {
    data_t* queue = &target->queue;
    ASSERT(link.bytes >= queue->bytes && link.bytes + link.used <= queue->bytes + queue->used);
    u8* behind = link.bytes + link.used;
    u8* end = queue->bytes + queue->used;
    while (behind < end && is_blank(*behind)) behind++;
    u64 rest = (u64)(end - behind);
    memmove(link.bytes, behind, rest);
    queue->used = (u64)(link.bytes - queue->bytes) + rest;
    u64 start = 0;
    while (start < queue->used && is_blank(queue->bytes[start])) start++;
    if (start) {
        memmove(queue->bytes, queue->bytes + start, queue->used - start);
        queue->used -= start;
    }
    while (queue->used && is_blank(queue->bytes[queue->used - 1])) queue->used--;
    if (queue->used < queue->reserved) queue->bytes[queue->used] = 0;
}

void link_queue_clear(link_target_t* target) {
    text_block_release(&target->queue);
    target->queue = data_t{};
}

u32 link_queue_count(const link_target_t* target) {
    if (!target || !target->queue_enabled) return 0;
    u32 count = 0;
    bool in_link = false;
    for (u64 i = 0; i < target->queue.used; i++) {
        bool blank = is_blank(target->queue.bytes[i]);
        if (!blank && !in_link) count++;
        in_link = !blank;
    }
    return count;
}

u32 link_queue_count_all(const reader_t* reader) {
    u32 count = 0;
    for (u32 i = 0; i < reader_link_target_count; i++) count += link_queue_count(&reader->link_targets[i]);
    return count;
}

// Splits at blanks into argument strings in one block of `memory`; no quoting, as
// the command line is the user's own text.
static u32 arguments_split(data_t text, char* memory, char** arguments, u32 capacity) {
    u32 count = 0;
    char* out = memory;
    u64 i = 0;
    while (i < text.used && count + 1 < capacity) {
        while (i < text.used && is_blank(text.bytes[i])) i++;
        if (i == text.used) break;
        arguments[count++] = out;
        while (i < text.used && !is_blank(text.bytes[i])) *out++ = (char)text.bytes[i++];
        *out++ = 0;
    }
    arguments[count] = nullptr;
    return count;
}

void link_command_start(data_t command, data_t arguments) {
    static const char opener[] = "xdg-open";
    u64 size = command.used + arguments.used + sizeof(opener) + 2;
    data_t line = data_allocate(size);
    if (!line.bytes) return;
    if (command.used) {
        data_push_string(&line, command.bytes, command.used);
        data_push_string(&line, " ", 1);
    } else {
        data_push_c_string(&line, opener);
        data_push_string(&line, " ", 1);
    }
    data_push_string(&line, arguments.bytes, arguments.used);
    u32 capacity = (u32)(line.used / 2 + 2);
    data_t words = data_allocate(line.used * 2 + 2);
    data_t pointers = data_allocate(sizeof(char*) * capacity);
    if (words.bytes && pointers.bytes) {
        char** argv = (char**)pointers.bytes;
        u32 count = arguments_split(line, (char*)words.bytes, argv, capacity);
        // A command line of blanks names no program: the link is the whole line.
        if (count > 0 && !os_process_start(argv, nullptr, false, nullptr)) {
            char message[256];
            u64 length = os_error_text(os_last_error(), message, sizeof(message));
            log_paragraph_start(log_user);
            log_write_c_string(log_user, "Could not start ");
            log_write_c_string(log_user, argv[0]);
            log_write_c_string(log_user, ": ");
            log_write_bytes(log_user, message, length);
            log_write_c_string(log_user, "\n");
        }
    }
    data_free(&pointers);
    data_free(&words);
    data_free(&line);
}

void link_open(data_t link, const link_target_t* target) { link_command_start(target->executable, link); }

void link_queue_open(link_target_t* target, u32 clear) {
    if (!target || !target->queue_enabled || target->queue.used == 0) return;
    link_command_start(target->executable, target->queue);
    if (clear) link_queue_clear(target);
}

void link_queue_open_all(reader_t* reader, u32 clear) {
    for (u32 i = 0; i < reader_link_target_count; i++) link_queue_open(&reader->link_targets[i], clear);
}

void link_open_for_feed(reader_t* reader, const feed_t* feed, data_t link) {
    feed_meta_t* meta = feed ? reader_find_meta(reader, feed->id) : nullptr;
    link_target_t* target = meta && meta->link_target ? meta->link_target : &reader->link_targets[0];
    if (target->queue_enabled) {
        link_queue_append(target, link);
    } else {
        link_open(link, target);
    }
}
