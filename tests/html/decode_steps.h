// Test helper: runs the decoder frame over a whole byte string and writes each
// step as text, so that expectations read as a short line.
#pragma once

#include <cstdio>
#include <string>

#include "html/encoding.h"

// Each step, separated by blanks: a code point in hex ("3042"), a pair
// ("CA+304"), or a bad sequence as "!error/length". The end of the input is not
// written; `end_length`, when given, receives the length of the final call.
inline std::string decode_steps(encoding_t encoding, const std::string& bytes, u32* end_length = nullptr) {
    const u8* first = (const u8*)bytes.data();
    const u8* end = first + bytes.size();
    u8 state[4] = {};
    std::string out;
    char text[32];
    for (u32 guard = 0; guard < bytes.size() * 2 + 8; guard++) {
        u32 codepoint = 0, second = 0;
        u8 length = 0xEE;
        decoder_error_t error = 0;
        encoding_decode(encoding, first, end, &codepoint, &second, &length, state, &error);
        if (error == decoder_error_end_of_input) {
            if (end_length) *end_length = length;
            return out;
        }
        if (!out.empty()) out += ' ';
        if (error) {
            snprintf(text, sizeof(text), "!%u/%u", error, length);
        } else if (second != 0xFFFFFFFF) {
            snprintf(text, sizeof(text), "%X+%X", codepoint, second);
        } else {
            snprintf(text, sizeof(text), "%X", codepoint);
        }
        out += text;
        if (error == decoder_error_unknown_encoding) return out;
        first += length;
        if (first > end) return out + " (past the end)";
    }
    return out + " (no end)";
}
