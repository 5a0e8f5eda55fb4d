// Sixteen in-memory ring logs. 0 main, 1 graphics, 2 what the user sees in the log
// panel, 5 the reader dump. Plain text; channel and order are the only structure.
#pragma once

#include "base/data.h"
#include "base/format.h"

struct log_channel_t {
    data_t text;  // used is the write position
    u32 indentation;
    u32 overflowed;
    u64 overflow_end;
    // Times the ring has wrapped: a reader that took a position before a task
    // knows its text whole only if this grew by at most one meanwhile.
    u64 wraps;
};

constexpr u64 log_channel_count = 16;
constexpr u64 log_block_size = 0x500000;
enum : u64 {
    log_main = 0,
    log_graphics = 1,
    log_user = 2,
    log_reader_dump = 5,
};

extern log_channel_t log_channels[log_channel_count];
extern const data_t log_end_mark;       // "## Log end ##\n"
extern const data_t log_overflow_mark;  // "## Log overflowed ##\n"

log_channel_t* log_channel(u64 channel);
void log_reserve(u64 channel, u64 size);
void log_mark_end(u64 channel);
void log_indent_more(u64 channel);
void log_indent_less(u64 channel);
void log_write_indentation(u64 channel);
void log_write(u64 channel, data_t string);
void log_write_c_string(u64 channel, const char* text);
void log_write_bytes(u64 channel, const void* bytes, u64 size);
void log_write_u64(u64 channel, u64 value, u64 width = 0, u8 pad = ' ', format_flags_t flags = 0);
void log_write_i64(u64 channel, i64 value);
void log_write_value(u64 channel, u64 value, bool indent, const char* label, bool line_end);
void log_save(u64 channel, data_t path);
// The text written to a channel since `position` (bytes + used taken before a
// task), copied into `target` whether or not the ring wrapped in between.
u64 log_copy_since(u64 channel, u8* position, data_t* target);
// A new paragraph on a channel that the log panel shows: a blank line after any
// text before it, also when that text is only in a ring that has wrapped.
void log_paragraph_start(u64 channel);
