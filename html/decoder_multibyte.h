// Decoders of the legacy East Asian encodings: each decodes exactly one code point
// from a byte range, with everything it needs passed in, and reports a bad sequence
// with its length. As in the standard, an ASCII byte that follows a bad lead byte
// is given back: a bad pair whose second byte is below 128 has length 1. The frame
// of html/encoding.h calls these with `*error` zero, `*codepoint` 0xFFFFFFFF.
#pragma once

#include "base/types.h"
#include "html/encoding.h"

// The position in an index's stored array of a pointer, or 0xFFFFFFFF when the
// pointer lies outside every run. `runs` are (first pointer, pointer after the
// last) pairs in ascending order.
u32 index_to_pointer(u32 pointer, const u16 (*runs)[2], u32 run_count);

// The code point of a gb18030 four-byte pointer, or 0xFFFFFFFF.
u32 gb18030_ranges_decode(u32 pointer);

// ISO-2022-JP's state, three bytes.
enum : u32 {
    iso2022_state_state = 0,
    iso2022_state_output_state = 1,
    iso2022_state_output_flag = 2,
};
enum : u8 {
    iso2022_jp_ascii = 1,
    iso2022_jp_roman = 2,
    iso2022_jp_katakana = 3,
    iso2022_jp_lead_byte = 4,
    iso2022_jp_trail_byte = 5,
    iso2022_jp_escape_start = 6,
    iso2022_jp_escape = 7,
};

// gb18030 and GBK, which share a decoder.
void gb18030_decode(const u8* first, const u8* end, u32* codepoint, u8* length, decoder_error_t* error);
void big5_decode(const u8* first, const u8* end, u32* codepoint, u32* second_codepoint, u8* length,
                 decoder_error_t* error);
void euc_jp_decode(const u8* first, const u8* end, u32* codepoint, u8* length, decoder_error_t* error);
void iso2022_jp_decode(const u8* first, const u8* end, u32* codepoint, u8* length, u8* state, decoder_error_t* error);
void shift_jis_decode(const u8* first, const u8* end, u32* codepoint, u8* length, decoder_error_t* error);
void euc_kr_decode(const u8* first, const u8* end, u32* codepoint, u8* length, decoder_error_t* error);
