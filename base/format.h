// Number text: the parser and the formatters of integers, floats and byte
// sizes. Nothing here is terminated; the caller gives a buffer with a byte to spare.
#pragma once

#include "base/data.h"

// Hexadecimal is the one form asked for besides plain decimal; it carries "0x".
typedef u32 format_flags_t;
enum : u32 {
    format_hex = 1,
};

u64 parse_u64(const u8* bytes, u64 size);
u64 format_i64(u8* buffer, u64 size, i64 value);
u64 format_u64(u8* buffer, u64 size, u64 value, u64 width, u8 pad, format_flags_t flags);
u64 format_f64(u8* buffer, u64 size, f64 value, u32 decimals);
u64 format_size(u64 size_in_bytes, u8* buffer, u64 buffer_size);
data_t format_size_in_block(u64 size_in_bytes, data_t* block);
