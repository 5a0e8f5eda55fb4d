// Label lookup, the decoder frame, and the decoders that need no index beyond a
// 128-entry table: UTF-8, UTF-16, the single-byte encodings, x-user-defined and
// replacement.
#include "html/encoding.h"

#include "base/text.h"
#include "html/decoder_multibyte.h"
#include "html/generated/encoding_tables.h"

static_assert(encoding_name_count == encoding_count, "generated tables and encoding values disagree");

static bool label_is_space(u8 c) { return c == 9 || c == 10 || c == 12 || c == 13 || c == 32; }

encoding_t encoding_from_label(const u8* bytes, u64 size) {
    if (!bytes) return encoding_none;
    const u8* first = bytes;
    const u8* end = bytes + size;
    while (first < end && label_is_space(*first)) first++;
    while (end - first > 1 && label_is_space(end[-1])) end--;

    u8 label[128];
    u32 length = 0;
    while (first < end && length < sizeof(label) && *first < 127) {
        label[length++] = (u8)char_to_lower(*first++);
    }

    // The first row, "unicode-1-1-utf-8", is left out of the search on purpose.
    for (u32 row = 1; row < encoding_label_count; row++) {
        const encoding_label_t* candidate = &encoding_labels[row];
        if (candidate->length != length) continue;
        if (bytes_equal(candidate->text, length, label, length)) return candidate->encoding;
    }
    return encoding_none;
}

const char* encoding_name(encoding_t encoding) {
    return encoding < encoding_count ? encoding_names[encoding] : "";
}

static void utf8_frame_decode(const u8* first, const u8* end, u32* codepoint, u8* length, decoder_error_t* error) {
    if (first >= end) {
        *error = decoder_error_end_of_input;
        return;
    }
    u32 units = 0;
    utf_error_t utf_error = 0;
    utf8_decode(first, end, codepoint, &units, &utf_error);
    if (utf_error) {
        // utf8_decode's errors 2, 5 and 6 are ours by number. A bad sequence steps
        // one byte, so the next call resynchronises on the following byte.
        *codepoint = codepoint_invalid;
        *length = 1;
        *error = utf_error;
        return;
    }
    *length = (u8)units;
}

static void utf16_frame_decode(const u8* first, const u8* end, u32 big_endian, u32* codepoint, u8* length,
                               decoder_error_t* error) {
    u32 units = 0;
    utf_error_t utf_error = 0;
    utf16_decode(first, end, codepoint, &units, big_endian, &utf_error);
    if (utf_error) {
        *codepoint = codepoint_invalid;
        *length = 2;
        if (utf_error == utf_error_empty) {
            // A lone last byte is no sequence; never report more than is there.
            *length = (u8)(end - first);
            *error = decoder_error_end_of_input;
        } else if (utf_error == utf_error_truncated) {
            *error = decoder_error_truncated;
        } else {
            *error = decoder_error_utf16_surrogates;
        }
        return;
    }
    *length = (u8)(units * 2);
}

static void single_byte_decode(encoding_t encoding, const u8* first, const u8* end, u32* codepoint, u8* length,
                               decoder_error_t* error) {
    if (first >= end) {
        *error = decoder_error_end_of_input;
        return;
    }
    *length = 1;
    u8 byte = *first;
    if (byte < 128) {
        *codepoint = byte;
        return;
    }
    u16 value = encoding_single_byte_tables[encoding_single_byte_table_of[encoding]][byte - 128];
    if (value == 0) {
        *error = decoder_error_single_byte_unmapped;
        return;
    }
    *codepoint = value;
}

static void x_user_defined_decode(const u8* first, const u8* end, u32* codepoint, u8* length,
                                  decoder_error_t* error) {
    if (first >= end) {
        *error = decoder_error_end_of_input;
        return;
    }
    *length = 1;
    *codepoint = *first < 128 ? *first : *first + 63232u;
}

// Every byte of a document in the replacement encoding is one bad sequence.
static void replacement_decode(const u8* first, const u8* end, u8* length, decoder_error_t* error) {
    if (first >= end) {
        *error = decoder_error_end_of_input;
        return;
    }
    *length = 1;
    *error = decoder_error_replacement;
}

void encoding_decode(encoding_t encoding, const u8* first, const u8* end, u32* codepoint, u32* second_codepoint,
                     u8* length, u8* iso2022_state, decoder_error_t* error) {
    ASSERT(error && codepoint && length);
    if (*error) return;
    if (second_codepoint) *second_codepoint = codepoint_invalid;

    // Feeds are mostly ASCII markup: in every encoding that keeps ASCII as
    // itself, a byte below 128 is its own code point, whatever the decoder.
    if (first < end && *first < 128 && encoding >= encoding_utf_8 && encoding <= encoding_x_user_defined &&
        encoding != encoding_iso_2022_jp && encoding != encoding_replacement && encoding != encoding_utf_16be &&
        encoding != encoding_utf_16le) {
        *codepoint = *first;
        *length = 1;
        return;
    }
    *codepoint = codepoint_invalid;

    switch (encoding) {
        case encoding_utf_8:
            // An empty range leaves `length` as it was.
            utf8_frame_decode(first, end, codepoint, length, error);
            return;
        case encoding_gbk:
        case encoding_gb18030:
            gb18030_decode(first, end, codepoint, length, error);
            return;
        case encoding_big5:
            ASSERT(second_codepoint);
            big5_decode(first, end, codepoint, second_codepoint, length, error);
            return;
        case encoding_euc_jp:
            euc_jp_decode(first, end, codepoint, length, error);
            return;
        case encoding_iso_2022_jp:
            ASSERT(iso2022_state);
            iso2022_jp_decode(first, end, codepoint, length, iso2022_state, error);
            return;
        case encoding_shift_jis:
            shift_jis_decode(first, end, codepoint, length, error);
            return;
        case encoding_euc_kr:
            euc_kr_decode(first, end, codepoint, length, error);
            return;
        case encoding_replacement:
            *length = 0;
            replacement_decode(first, end, length, error);
            return;
        case encoding_utf_16be:
        case encoding_utf_16le:
            utf16_frame_decode(first, end, encoding == encoding_utf_16be, codepoint, length, error);
            return;
        case encoding_x_user_defined:
            *length = 0;
            x_user_defined_decode(first, end, codepoint, length, error);
            return;
        default:
            break;
    }
    *length = 0;
    if (encoding >= encoding_ibm866 && encoding <= encoding_x_mac_cyrillic) {
        single_byte_decode(encoding, first, end, codepoint, length, error);
        return;
    }
    *error = decoder_error_unknown_encoding;
}
