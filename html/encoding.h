// The web's encodings for reading: the encoding values, the label lookup, and the
// frame that decodes one code point from a byte range in any of them. Both the HTML
// input stream and the feed scanner read through the frame. Decoders never fail
// on bad input: they report an error and how many bytes the bad sequence took.
#pragma once

#include "base/types.h"

// In the order of the WHATWG Encoding standard; 0 means no encoding.
typedef u32 encoding_t;
enum : u32 {
    encoding_none = 0,
    encoding_utf_8 = 1,
    encoding_ibm866 = 2,
    encoding_iso_8859_2 = 3,
    encoding_iso_8859_3 = 4,
    encoding_iso_8859_4 = 5,
    encoding_iso_8859_5 = 6,
    encoding_iso_8859_6 = 7,
    encoding_iso_8859_7 = 8,
    encoding_iso_8859_8 = 9,
    encoding_iso_8859_8_i = 10,
    encoding_iso_8859_10 = 11,
    encoding_iso_8859_13 = 12,
    encoding_iso_8859_14 = 13,
    encoding_iso_8859_15 = 14,
    encoding_iso_8859_16 = 15,
    encoding_koi8_r = 16,
    encoding_koi8_u = 17,
    encoding_macintosh = 18,
    encoding_windows_874 = 19,
    encoding_windows_1250 = 20,
    encoding_windows_1251 = 21,
    encoding_windows_1252 = 22,
    encoding_windows_1253 = 23,
    encoding_windows_1254 = 24,
    encoding_windows_1255 = 25,
    encoding_windows_1256 = 26,
    encoding_windows_1257 = 27,
    encoding_windows_1258 = 28,
    encoding_x_mac_cyrillic = 29,
    encoding_gbk = 30,
    encoding_gb18030 = 31,
    encoding_big5 = 32,
    encoding_euc_jp = 33,
    encoding_iso_2022_jp = 34,
    encoding_shift_jis = 35,
    encoding_euc_kr = 36,
    encoding_replacement = 37,
    encoding_utf_16be = 38,
    encoding_utf_16le = 39,
    encoding_x_user_defined = 40,
    encoding_count = 41,
};

// Set by the decoders; the caller zeroes it, and the frame does nothing while it
// is set.
typedef u32 decoder_error_t;
enum : u32 {
    decoder_error_none = 0,
    decoder_error_end_of_input = 1,
    decoder_error_truncated = 2,  // the input ends inside a sequence
    decoder_error_utf8_invalid_lead_byte = 5,
    decoder_error_utf8_invalid_continuation = 6,
    decoder_error_single_byte_unmapped = 7,
    decoder_error_gb18030_first_byte = 9,
    decoder_error_gb18030_second_byte = 10,
    decoder_error_gb18030_third_byte = 11,
    decoder_error_gb18030_fourth_byte = 12,
    decoder_error_gb18030_unmapped = 13,
    decoder_error_big5_first_byte = 16,
    decoder_error_big5_pair = 17,
    decoder_error_euc_jp_first_byte = 19,
    decoder_error_euc_jp_pair = 20,
    decoder_error_iso2022_jp_end_after_lead = 22,
    decoder_error_iso2022_jp_end_in_escape = 23,
    decoder_error_iso2022_jp_ascii = 25,
    decoder_error_iso2022_jp_roman = 26,
    decoder_error_iso2022_jp_katakana = 27,
    decoder_error_iso2022_jp_lead = 28,
    decoder_error_iso2022_jp_trail = 29,
    decoder_error_iso2022_jp_escape_after_lead = 30,
    decoder_error_iso2022_jp_escape_start = 31,
    decoder_error_iso2022_jp_two_escapes = 32,
    decoder_error_iso2022_jp_unknown_escape = 33,
    decoder_error_shift_jis_first_byte = 37,
    decoder_error_shift_jis_pair = 38,
    decoder_error_euc_kr_first_byte = 40,
    decoder_error_euc_kr_pair = 41,
    decoder_error_replacement = 43,
    decoder_error_utf16_surrogates = 45,
    decoder_error_unknown_encoding = 47,
};

// The encoding of a label, or 0 (encoding_none) for an unknown one. White space
// around the label is dropped and ASCII letters fold to lower case; a byte at or
// above 127 cuts the label there. Three choices of the label table are kept on
// purpose: "unicode-1-1-utf-8", the first row, is never matched; ISO-8859-6 has no
// label of its own ("iso-8859-6" and "arabic" are unknown); and UTF-8 and UTF-16
// have only "utf-8", "utf8", "utf-16", "utf-16le" and "utf-16be".
encoding_t encoding_from_label(const u8* bytes, u64 size);

// The standard's name of an encoding ("UTF-8", "Shift_JIS"), "" for 0 and for
// values out of range.
const char* encoding_name(encoding_t encoding);

// Decodes one code point from [first, end).
// - `codepoint` gets the code point, or 0xFFFFFFFF on error.
// - `length` gets the bytes consumed, also for a bad sequence: the caller moves on
//   by `length`. At the end of the range the error is decoder_error_end_of_input.
// - `second_codepoint`, when given, gets 0xFFFFFFFF or the second code point of a
//   Big5 pair that maps to two; it is required for Big5.
// - `iso2022_state` is the three-byte state of ISO-2022-JP (state, output state,
//   output flag), all zero at the start of a document; required for that encoding.
// A required pointer that is null stops the program. Re-entrant: all state lives
// in the arguments.
void encoding_decode(encoding_t encoding, const u8* first, const u8* end, u32* codepoint, u32* second_codepoint,
                     u8* length, u8* iso2022_state, decoder_error_t* error);
