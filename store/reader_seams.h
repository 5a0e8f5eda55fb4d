// Where the feed store meets units that other layers own: the decoders of the
// web's encodings, and block storage for the strings of edited link targets.
#pragma once

#include "base/data.h"

constexpr u32 reader_encoding_utf8 = 1;

// The encoding of a label as the decoders know it, 0 for an unknown label.
u32 reader_encoding_from_label(data_t label);
// One code point of `encoding` from the range: *codepoint is 0xFFFFFFFF for a bad
// sequence, *length the bytes it took (at least 1). A second code point is dropped.
// `state` is three bytes, zero at the start of a text (ISO-2022-JP keeps its mode).
void reader_decode(u32 encoding, const u8* first, const u8* end, u32* codepoint, u32* length, u8* state);
// Gives a link target's old string back to block storage when it lived there.
void reader_link_target_string_release(data_t old);
