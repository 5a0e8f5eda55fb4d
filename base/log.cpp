// The sixteen ring logs. A channel wraps instead of growing, and its text always
// ends in the end mark, which the next write overwrites.
#include "base/log.h"

#include "base/file.h"
#include "base/text.h"

log_channel_t log_channels[log_channel_count];
// Plain arrays, so that the marks are constant-initialised and already right for
// a write from another unit's static initialiser.
static u8 log_end_text[] = "## Log end ##\n";
static u8 log_overflow_text[] = "## Log overflowed ##\n";
const data_t log_end_mark = {sizeof(log_end_text), sizeof(log_end_text) - 1, log_end_text};
const data_t log_overflow_mark = {sizeof(log_overflow_text), sizeof(log_overflow_text) - 1, log_overflow_text};

log_channel_t* log_channel(u64 channel) {
    ASSERT(channel < log_channel_count);
    return &log_channels[channel];
}

void log_reserve(u64 channel, u64 size) {
    log_channel_t* log = &log_channels[channel];
    if (log->text.reserved == 0) log->text = data_allocate(log_block_size, nullptr);
    // The room asked for always includes the end mark, so marking can't fail. The
    // test includes equality: a write that would just fit wraps.
    if (log->text.used + size + log_end_mark.used >= log->text.reserved) {
        log->overflowed = 1;
        log->overflow_end = log->text.used;
        log->wraps++;
        log->text.used = 0;
        data_push_string(&log->text, log_overflow_mark.bytes, log_overflow_mark.used);
    }
}

void log_mark_end(u64 channel) {
    log_channel_t* log = &log_channels[channel];
    if (data_push_string(&log->text, log_end_mark.bytes, log_end_mark.used)) log->text.used -= log_end_mark.used;
}

void log_indent_more(u64 channel) { log_channels[channel].indentation++; }
void log_indent_less(u64 channel) { log_channels[channel].indentation--; }

void log_write_indentation(u64 channel) {
    u64 size = (u64)log_channels[channel].indentation * 4;
    log_reserve(channel, size);
    u8* blanks = (u8*)data_push(&log_channels[channel].text, size, 1);
    if (blanks) {
        for (u64 i = 0; i < size; i++) blanks[i] = ' ';
    }
    log_mark_end(channel);
}

void log_write_bytes(u64 channel, const void* bytes, u64 size) {
    log_reserve(channel, size);
    data_push_string(&log_channels[channel].text, bytes, size);
    log_mark_end(channel);
}

void log_write(u64 channel, data_t string) { log_write_bytes(channel, string.bytes, string.used); }

void log_write_c_string(u64 channel, const char* text) { log_write_bytes(channel, text, text_length(text)); }

// Numbers get 20 bytes, the longest decimal u64.
static constexpr u64 log_number_room = 20;

void log_write_u64(u64 channel, u64 value, u64 width, u8 pad, format_flags_t flags) {
    log_reserve(channel, log_number_room);
    data_t* text = &log_channels[channel].text;
    text->used += format_u64(text->bytes + text->used, log_number_room, value, width, pad, flags);
    log_mark_end(channel);
}

void log_write_i64(u64 channel, i64 value) {
    log_reserve(channel, log_number_room);
    data_t* text = &log_channels[channel].text;
    text->used += format_i64(text->bytes + text->used, log_number_room, value);
    log_mark_end(channel);
}

void log_write_value(u64 channel, u64 value, bool indent, const char* label, bool line_end) {
    if (indent) log_write_indentation(channel);
    if (label) log_write_c_string(channel, label);
    log_write_u64(channel, value);
    if (line_end) log_write_bytes(channel, "\n", 1);
}

void log_save(u64 channel, data_t path) {
    log_channel_t* log = &log_channels[channel];
    // A wrapped ring is written whole, in ring order: the newest text first, then
    // what is left of the old.
    u64 size = log->overflowed ? log->text.reserved : log->text.used;
    file_error_t error = 0;
    file_write_all(path, log->text.bytes, size, true, &error);
}

u64 log_copy_since(u64 channel, u8* position, data_t* target) {
    log_channel_t* log = log_channel(channel);
    u8* start = log->text.bytes;
    u8* now = start + log->text.used;
    if (!position) position = start;  // taken before the channel's first write
    if (position <= now) {
        u64 size = (u64)(now - position);
        data_push_string(target, position, size);
        return size;
    }
    ASSERT(log->overflowed);
    u8* old_end = start + log->overflow_end;
    u64 old_size = position < old_end ? (u64)(old_end - position) : 0;
    data_push_string(target, position, old_size);
    data_push_string(target, start, log->text.used);
    return old_size + log->text.used;
}

void log_paragraph_start(u64 channel) {
    log_channel_t* log = log_channel(channel);
    if (log->text.used || log->overflowed) log_write(channel, data_literal("\n\n"));
}
