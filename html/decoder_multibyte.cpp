// gb18030 (and GBK), Big5, EUC-JP, ISO-2022-JP, Shift_JIS and EUC-KR, one code
// point per call, over the run-compressed indexes of html/generated/.
#include "html/decoder_multibyte.h"

#include "base/text.h"
#include "html/generated/encoding_tables.h"

u32 index_to_pointer(u32 pointer, const u16 (*runs)[2], u32 run_count) {
    // Every pointer a decoder computes fits in 16 bits; a larger one is a bug there.
    ASSERT(pointer <= 65534);
    u32 gaps = 0;
    u32 previous_end = 0;
    for (u32 i = 0; i < run_count; i++) {
        gaps += runs[i][0] - previous_end;
        if (pointer < runs[i][1]) {
            return pointer >= runs[i][0] ? pointer - gaps : codepoint_invalid;
        }
        previous_end = runs[i][1];
    }
    return codepoint_invalid;
}

// 0 when the pointer has no mapping.
static u32 index_lookup(u32 pointer, const u16* values, const u16 (*runs)[2], u32 run_count) {
    u32 position = index_to_pointer(pointer, runs, run_count);
    return position == codepoint_invalid ? 0 : values[position];
}

static u32 big5_index_lookup(u32 pointer) {
    u32 position = index_to_pointer(pointer, index_big5_runs, index_big5_run_count);
    if (position == codepoint_invalid || index_big5[position] == 0) return 0;
    u32 plane_2 = (index_big5_plane_2[position >> 3] >> (position & 7)) & 1;
    return index_big5[position] | (plane_2 << 17);
}

static u32 jis0208_lookup(u32 pointer) {
    return index_lookup(pointer, index_jis0208, index_jis0208_runs, index_jis0208_run_count);
}

// The steps every decoder but ISO-2022-JP starts with: no byte left is the end of
// input, and a byte below `ascii_end` stands for itself. True when that decided.
static bool single_byte_decided(const u8* first, const u8* end, u32 ascii_end, u32* codepoint, u8* length,
                                decoder_error_t* error) {
    if (first >= end) {
        *length = 0;
        *error = decoder_error_end_of_input;
        return true;
    }
    *length = 1;
    if (first[0] >= ascii_end) return false;
    *codepoint = first[0];
    return true;
}

// A lead byte that isn't `valid` is its decoder's error, and a valid one with
// nothing behind it is cut off. True when that decided.
static bool lead_byte_decided(const u8* first, const u8* end, bool valid, decoder_error_t lead_error,
                              decoder_error_t* error) {
    if (!valid) {
        *error = lead_error;
        return true;
    }
    if (end - first >= 2) return false;
    *error = decoder_error_truncated;
    return true;
}

// The end of a sequence of `taken` bytes whose last is `last`: its code point, or,
// without a mapping (0), the error, with an ASCII last byte given back to be read
// on its own.
static void sequence_end(u32 value, u8 last, u8 taken, decoder_error_t pair_error, u32* codepoint, u8* length,
                         decoder_error_t* error) {
    if (value == 0) {
        *length = last < 128 ? taken - 1 : taken;
        *error = pair_error;
        return;
    }
    *length = taken;
    *codepoint = value;
}

u32 gb18030_ranges_decode(u32 pointer) {
    if ((pointer > 39419 && pointer < 189000) || pointer > 1237575) return codepoint_invalid;
    if (pointer == 7457) return 0xE7C7;
    if (pointer >= 189000) return pointer - 189000 + 0x10000;
    // The last range that starts at or before the pointer; the first starts at 0.
    u32 low = 0;
    u32 high = index_gb18030_range_count;
    while (high - low > 1) {
        u32 middle = (low + high) / 2;
        if (index_gb18030_ranges[middle][0] <= pointer) {
            low = middle;
        } else {
            high = middle;
        }
    }
    return index_gb18030_ranges[low][1] + pointer - index_gb18030_ranges[low][0];
}

void gb18030_decode(const u8* first, const u8* end, u32* codepoint, u8* length, decoder_error_t* error) {
    if (single_byte_decided(first, end, 128, codepoint, length, error)) return;
    u8 b1 = first[0];
    if (b1 == 128) {
        *codepoint = 0x20AC;
        return;
    }
    if (lead_byte_decided(first, end, b1 != 255, decoder_error_gb18030_first_byte, error)) return;
    u8 b2 = first[1];
    if (b2 >= 48 && b2 <= 57) {
        // Four bytes: digit, byte, digit.
        if (end - first < 3) {
            *length = 2;
            *error = decoder_error_truncated;
            return;
        }
        u8 b3 = first[2];
        if (b3 < 129 || b3 > 254) {
            *error = decoder_error_gb18030_third_byte;
            return;
        }
        if (end - first < 4) {
            *length = 3;
            *error = decoder_error_truncated;
            return;
        }
        u8 b4 = first[3];
        if (b4 < 48 || b4 > 57) {
            *error = decoder_error_gb18030_fourth_byte;
            return;
        }
        u32 pointer = (b1 - 129u) * 12600 + (b2 - 48u) * 1260 + (b3 - 129u) * 10 + (b4 - 48u);
        *length = 4;
        u32 value = gb18030_ranges_decode(pointer);
        if (value == codepoint_invalid) {
            *error = decoder_error_gb18030_unmapped;
            return;
        }
        *codepoint = value;
        return;
    }
    u32 value = 0;
    if ((b2 >= 64 && b2 <= 126) || (b2 >= 128 && b2 <= 254)) {
        u32 pointer = (b1 - 129u) * 190 + (b2 - (b2 < 127 ? 64u : 65u));
        if (pointer < index_gb18030_count) value = index_gb18030[pointer];
    }
    sequence_end(value, b2, 2, decoder_error_gb18030_second_byte, codepoint, length, error);
}

void big5_decode(const u8* first, const u8* end, u32* codepoint, u32* second_codepoint, u8* length,
                 decoder_error_t* error) {
    if (single_byte_decided(first, end, 128, codepoint, length, error)) return;
    u8 b1 = first[0];
    if (lead_byte_decided(first, end, b1 >= 129 && b1 <= 254, decoder_error_big5_first_byte, error)) return;
    u8 b2 = first[1];
    u32 value = 0;
    if ((b2 >= 64 && b2 <= 126) || (b2 >= 161 && b2 <= 254)) {
        u32 pointer = (b1 - 129u) * 157 + (b2 - (b2 < 127 ? 64u : 98u));
        // Four pointers stand for a letter and a combining mark.
        switch (pointer) {
            case 1133: value = 0x00CA; *second_codepoint = 0x0304; break;
            case 1135: value = 0x00CA; *second_codepoint = 0x030C; break;
            case 1164: value = 0x00EA; *second_codepoint = 0x0304; break;
            case 1166: value = 0x00EA; *second_codepoint = 0x030C; break;
            default: value = big5_index_lookup(pointer); break;
        }
    }
    sequence_end(value, b2, 2, decoder_error_big5_pair, codepoint, length, error);
}

void euc_jp_decode(const u8* first, const u8* end, u32* codepoint, u8* length, decoder_error_t* error) {
    if (single_byte_decided(first, end, 128, codepoint, length, error)) return;
    u8 b1 = first[0];
    bool lead_valid = b1 == 142 || b1 == 143 || (b1 >= 161 && b1 <= 254);
    if (lead_byte_decided(first, end, lead_valid, decoder_error_euc_jp_first_byte, error)) return;
    u8 b2 = first[1];
    if (b1 == 142 && b2 >= 161 && b2 <= 223) {
        // Half-width katakana.
        *length = 2;
        *codepoint = b2 + 65216u;
        return;
    }
    u8 lead = b1;
    u8 trail = b2;
    u8 taken = 2;
    bool jis0212 = false;
    if (b1 == 143 && b2 >= 161 && b2 <= 254) {
        // JIS X 0212: the second and third bytes are the pair.
        if (end - first < 3) {
            *length = 2;
            *error = decoder_error_truncated;
            return;
        }
        jis0212 = true;
        lead = b2;
        trail = first[2];
        taken = 3;
    }
    u32 value = 0;
    if (lead >= 161 && lead <= 254 && trail >= 161 && trail <= 254) {
        u32 pointer = (lead - 161u) * 94 + trail - 161u;
        value = jis0212 ? index_lookup(pointer, index_jis0212, index_jis0212_runs, index_jis0212_run_count)
                        : jis0208_lookup(pointer);
    }
    sequence_end(value, trail, taken, decoder_error_euc_jp_pair, codepoint, length, error);
}

void iso2022_jp_decode(const u8* first, const u8* end, u32* codepoint, u8* length, u8* state,
                       decoder_error_t* error) {
    u8* current = &state[iso2022_state_state];
    u8* output_state = &state[iso2022_state_output_state];
    u8* output_flag = &state[iso2022_state_output_flag];
    if (*current == 0) {
        *current = iso2022_jp_ascii;
        *output_state = iso2022_jp_ascii;
        *output_flag = 0;
    }
    // No call ends in the trail-byte or escape state, since the lead byte and the
    // first escape byte live in locals of one call.
    ASSERT(*current <= iso2022_jp_escape_start && *current != iso2022_jp_trail_byte);
    ASSERT(*output_state >= iso2022_jp_ascii && *output_state <= iso2022_jp_lead_byte);

    u32 taken = 0;
    u8 lead = 0;
    u8 escape_lead = 0;
    for (;;) {
        if (first + taken >= end) {
            *length = (u8)taken;
            switch (*current) {
                case iso2022_jp_ascii:
                    *error = decoder_error_end_of_input;
                    return;
                case iso2022_jp_trail_byte:
                    *current = iso2022_jp_lead_byte;
                    *error = decoder_error_iso2022_jp_end_after_lead;
                    return;
                case iso2022_jp_escape_start:
                case iso2022_jp_escape:
                    // Back to the text state, so that the next call at the end
                    // reports the end instead of this error again.
                    *current = *output_state;
                    *error = decoder_error_iso2022_jp_end_in_escape;
                    return;
                default:
                    // A document may end in any text state. When this call took
                    // bytes (escapes) they are the bad sequence; when it took none,
                    // a bad sequence of no bytes would be reported for ever, so it
                    // is the end.
                    *error = taken ? decoder_error_truncated : decoder_error_end_of_input;
                    return;
            }
        }
        u8 byte = first[taken++];
        switch (*current) {
            case iso2022_jp_ascii:
            case iso2022_jp_roman:
            case iso2022_jp_katakana:
                if (byte == 27) {
                    *current = iso2022_jp_escape_start;
                    continue;
                }
                *output_flag = 0;
                *length = (u8)taken;
                if (*current == iso2022_jp_ascii) {
                    if (byte < 128 && byte != 14 && byte != 15) {
                        *codepoint = byte;
                    } else {
                        *error = decoder_error_iso2022_jp_ascii;
                    }
                } else if (*current == iso2022_jp_roman) {
                    if (byte == 92) {
                        *codepoint = 0x00A5;
                    } else if (byte == 126) {
                        *codepoint = 0x203E;
                    } else if (byte < 127 && byte != 14 && byte != 15) {
                        *codepoint = byte;
                    } else {
                        *error = decoder_error_iso2022_jp_roman;
                    }
                } else {
                    if (byte >= 33 && byte <= 95) {
                        *codepoint = byte + 65344u;
                    } else {
                        *error = decoder_error_iso2022_jp_katakana;
                    }
                }
                return;
            case iso2022_jp_lead_byte:
                if (byte == 27) {
                    *current = iso2022_jp_escape_start;
                    continue;
                }
                *output_flag = 0;
                if (byte >= 33 && byte <= 126) {
                    lead = byte;
                    *current = iso2022_jp_trail_byte;
                    continue;
                }
                *length = (u8)taken;
                *error = decoder_error_iso2022_jp_lead;
                return;
            case iso2022_jp_trail_byte: {
                *length = (u8)taken;
                if (byte == 27) {
                    *current = iso2022_jp_escape_start;
                    *error = decoder_error_iso2022_jp_escape_after_lead;
                    return;
                }
                *current = iso2022_jp_lead_byte;
                u32 value = 0;
                if (byte >= 33 && byte <= 126) value = jis0208_lookup((lead - 33u) * 94 + byte - 33u);
                if (value == 0) {
                    *error = decoder_error_iso2022_jp_trail;
                    return;
                }
                *codepoint = value;
                return;
            }
            case iso2022_jp_escape_start:
                if (byte == '$' || byte == '(') {
                    escape_lead = byte;
                    *current = iso2022_jp_escape;
                    continue;
                }
                // The byte after ESC is read again in the text state.
                *length = (u8)(taken - 1);
                *output_flag = 0;
                *current = *output_state;
                *error = decoder_error_iso2022_jp_escape_start;
                return;
            case iso2022_jp_escape: {
                u8 next = 0;
                if (escape_lead == '(') {
                    if (byte == 'B') next = iso2022_jp_ascii;
                    if (byte == 'J') next = iso2022_jp_roman;
                    if (byte == 'I') next = iso2022_jp_katakana;
                } else if (byte == '@' || byte == 'B') {
                    next = iso2022_jp_lead_byte;
                }
                if (next == 0) {
                    // Both bytes after ESC are read again in the text state.
                    *length = (u8)(taken - 2);
                    *output_flag = 0;
                    *current = *output_state;
                    *error = decoder_error_iso2022_jp_unknown_escape;
                    return;
                }
                *current = next;
                *output_state = next;
                u8 flag_was_set = *output_flag;
                *output_flag = 1;
                if (flag_was_set) {
                    *length = (u8)taken;
                    *error = decoder_error_iso2022_jp_two_escapes;
                    return;
                }
                continue;
            }
            default:
                ASSERT(false);
                return;
        }
    }
}

void shift_jis_decode(const u8* first, const u8* end, u32* codepoint, u8* length, decoder_error_t* error) {
    if (single_byte_decided(first, end, 129, codepoint, length, error)) return;
    u8 b1 = first[0];
    if (b1 >= 161 && b1 <= 223) {
        *codepoint = b1 + 65216u;
        return;
    }
    bool lead_valid = (b1 >= 129 && b1 <= 159) || (b1 >= 224 && b1 <= 252);
    if (lead_byte_decided(first, end, lead_valid, decoder_error_shift_jis_first_byte, error)) return;
    u8 b2 = first[1];
    u32 value = 0;
    if ((b2 >= 64 && b2 <= 126) || (b2 >= 128 && b2 <= 252)) {
        u32 pointer = (b1 - (b1 < 160 ? 129u : 193u)) * 188 + b2 - (b2 < 127 ? 64u : 65u);
        if (pointer >= 8836 && pointer < 10716) {
            // User-defined area: the private use area.
            *length = 2;
            *codepoint = pointer + 48508;
            return;
        }
        value = jis0208_lookup(pointer);
    }
    sequence_end(value, b2, 2, decoder_error_shift_jis_pair, codepoint, length, error);
}

void euc_kr_decode(const u8* first, const u8* end, u32* codepoint, u8* length, decoder_error_t* error) {
    if (single_byte_decided(first, end, 128, codepoint, length, error)) return;
    u8 b1 = first[0];
    if (lead_byte_decided(first, end, b1 >= 129 && b1 <= 254, decoder_error_euc_kr_first_byte, error)) return;
    u8 b2 = first[1];
    u32 value = 0;
    if (b2 >= 65 && b2 <= 254) {
        value = index_lookup((b1 - 129u) * 190 + b2 - 65u, index_euc_kr, index_euc_kr_runs, index_euc_kr_run_count);
    }
    sequence_end(value, b2, 2, decoder_error_euc_kr_pair, codepoint, length, error);
}
