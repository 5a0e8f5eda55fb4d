// Number text: the parser and the formatters of integers, floats and byte
// sizes. Nothing here is terminated; the caller gives a buffer with a byte to spare.
#pragma once

#include "base/data.h"

typedef u32 format_flags_t;
enum : u32 {
    format_hex = 1,
    format_no_prefix = 2,
    format_group_2 = 8,
    format_group_4 = 16,
    format_group_8 = 32,
    format_digits_2 = 128,
    format_digits_4 = 256,
    format_digits_8 = 512,
    format_digits_16 = 1024,
    format_left = 2048,
    format_sign = 4096,
    format_sign_first = 8192,
    format_group_3 = 16384,
};

u64 parse_u64(const u8* bytes, u64 size);
u64 format_i64(u8* buffer, u64 size, i64 value, u64 width, u8 pad, format_flags_t flags);
u64 format_u64(u8* buffer, u64 size, u64 value, u64 width, u8 pad, format_flags_t flags);
u64 format_f64(u8* buffer, u64 size, f64 value, u64 width, u8 pad, u32 decimals, format_flags_t flags);
u64 format_size(u64 size_in_bytes, u8* buffer, u64 buffer_size);
data_t format_size_in_block(u64 size_in_bytes, data_t* block);
