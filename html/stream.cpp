// The input stream of the HTML parser and the <meta> encoding prescan.
#include "html/stream.h"

#include "base/text.h"
#include "html/encoding.h"
#include "html/tokenizer.h"
#include "profiler/profiler.h"

hp_t hp_init(const u8* input, u64 size, u32 flags) {
    hp_t hp = {};
    hp.input.position = input;
    hp.input.line_start = input;
    hp.input.end = input + size;
    hp.input.pending = codepoint_invalid;
    hp.look_ahead = hp.input;
    hp.saved = hp.input;
    hp.state = hp_state_default;
    hp.flags = flags;
    return hp;
}

u32 hp_decode_codepoint(html_stream_t* stream, u32 encoding, html_parser_error_t* error) {
    PROFILE_ZONE(hp_decode_codepoint);
    if (*error) return codepoint_invalid;
    if (stream->pending != codepoint_invalid) {
        ASSERT(encoding == encoding_big5);
        u32 codepoint = stream->pending;
        stream->pending = codepoint_invalid;
        return codepoint;
    }
    // ASCII in UTF-8 is nearly all of what an entry holds; it needs no decoder.
    if (encoding == encoding_utf_8 && stream->position < stream->end && *stream->position < 0x80) {
        return *stream->position++;
    }
    u32 codepoint = codepoint_invalid;
    u32 second = codepoint_invalid;
    u8 length = 0;
    decoder_error_t decoder_error = decoder_error_none;
    encoding_decode(encoding, stream->position, stream->end, &codepoint, &second, &length, stream->decoder_state,
                    &decoder_error);
    if (decoder_error == decoder_error_unknown_encoding) {
        *error = html_tokenizer_error_invalid_encoding_name;
        return codepoint_invalid;
    }
    if (decoder_error == decoder_error_end_of_input) {
        *error = html_tokenizer_error_eof;
        // Escape sequences of ISO-2022-JP can be left over behind the last
        // character, and so can a lone last byte of UTF-16: the end is the end.
        stream->position = stream->end;
        return codepoint_invalid;
    }
    if (decoder_error) {
        ASSERT(second == codepoint_invalid);
        stream->position += length;
        return codepoint_replacement;
    }
    stream->position += length;
    stream->pending = second;
    return codepoint;
}

// A CR LF pair counts once because a CR sets saw_carriage_return for good: after
// the first CR of a document a lone LF no longer counts as a line end.
void hp_track_line(html_stream_t* stream, u32 codepoint) {
    if (codepoint == '\n') {
        if (!stream->saw_carriage_return) stream->line++;
        stream->line_start = stream->position;
    } else if (codepoint == '\r') {
        stream->saw_carriage_return = 1;
        stream->line++;
        stream->line_start = stream->position;
    }
}

u32 hp_consume(hp_t* hp, html_parser_error_t* error) {
    PROFILE_ZONE(hp_consume);
    if (*error) return 0;
    hp->saved = hp->input;
    hp->can_unconsume = 1;
    // The ASCII branch of hp_decode_codepoint without the call: tags and
    // attributes are consumed a character at a time.
    html_stream_t* stream = &hp->input;
    if (hp->encoding == encoding_utf_8 && stream->position < stream->end && *stream->position < 0x80 &&
        !(hp->flags & hp_flag_per_character)) {
        PROFILE_ZONE(hp_decode_codepoint);
        u32 codepoint = *stream->position++;
        hp_track_line(stream, codepoint);
        return codepoint;
    }
    u32 codepoint = hp_decode_codepoint(&hp->input, hp->encoding, error);
    if (*error) return 0;
    hp_track_line(&hp->input, codepoint);
    return codepoint;
}

void hp_unconsume(hp_t* hp) {
    ASSERT(hp->can_unconsume);
    ASSERT(hp->saved.pending == codepoint_invalid);
    hp->input = hp->saved;
}

void hp_peek_start(hp_t* hp) {
    hp->look_ahead = hp->input;
    hp->can_unconsume = 0;
}

u32 hp_peek(hp_t* hp, html_parser_error_t* error) {
    if (*error) return 0;
    u32 codepoint = hp_decode_codepoint(&hp->look_ahead, hp->encoding, error);
    if (*error) return 0;
    hp_track_line(&hp->look_ahead, codepoint);
    return codepoint;
}

void hp_peek_commit(hp_t* hp) {
    ASSERT(!hp->can_unconsume);
    hp->input = hp->look_ahead;
}

u32 hp_utf8_encode(u32 codepoint, u8* bytes) {
    if (!codepoint_is_valid(codepoint)) codepoint = codepoint_replacement;
    if (codepoint <= 0x7F) {
        bytes[0] = (u8)codepoint;
        return 1;
    }
    if (codepoint < 0x7FF) {
        bytes[0] = (u8)(0xC0 | (codepoint >> 6));
        bytes[1] = (u8)(0x80 | (codepoint & 0x3F));
        return 2;
    }
    if (codepoint < 0xFFFF) {
        bytes[0] = (u8)(0xE0 | (codepoint >> 12));
        bytes[1] = (u8)(0x80 | ((codepoint >> 6) & 0x3F));
        bytes[2] = (u8)(0x80 | (codepoint & 0x3F));
        return 3;
    }
    if (codepoint < 0x10FFFF) {
        bytes[0] = (u8)(0xF0 | (codepoint >> 18));
        bytes[1] = (u8)(0x80 | ((codepoint >> 12) & 0x3F));
        bytes[2] = (u8)(0x80 | ((codepoint >> 6) & 0x3F));
        bytes[3] = (u8)(0x80 | (codepoint & 0x3F));
        return 4;
    }
    return 0;
}

void hp_push_codepoint(data_t* text_block, data_t* string, u32 codepoint) {
    PROFILE_ZONE(hp_push_codepoint);
    if (!string->bytes) string->bytes = data_end(*text_block);
    // Tag names and markup are ASCII: one byte, no encode.
    if (codepoint < 0x80 && text_block->used < text_block->reserved) {
        text_block->bytes[text_block->used++] = (u8)codepoint;
        string->used++;
        string->reserved = string->used;
        return;
    }
    u8 bytes[4];
    u32 length = hp_utf8_encode(codepoint, bytes);
    // The push of data_push at alignment 1, without a call per character; a full
    // block still goes through data_push for its out-of-memory line.
    u8* target;
    if (text_block->used + length <= text_block->reserved) {
        target = text_block->bytes + text_block->used;
        text_block->used += length;
    } else {
        target = (u8*)data_push(text_block, length, 1);
        if (!target) return;
    }
    for (u32 i = 0; i < length; i++) target[i] = bytes[i];
    string->used += length;
    string->reserved = string->used;
}

// Classes of ASCII bytes for the runs.
enum : u8 {
    hp_class_text = 1,            // printable and the four white-space controls
    hp_class_alnum = 2,           // letters and digits
    hp_class_attribute_name = 4,  // printable but blank "'>/=
    hp_class_unquoted_value = 8,  // printable but blank "'=<>`
};

struct hp_byte_classes_t {
    u8 bits[256];
    constexpr hp_byte_classes_t() : bits() {
        for (u32 b = 0; b < 128; b++) {
            u8 bits_of_b = 0;
            bool printable = b > 0x20 && b < 0x7F;
            if (printable || b == ' ' || b == '\n' || b == '\t' || b == '\r' || b == '\f') bits_of_b |= hp_class_text;
            if ((b >= '0' && b <= '9') || (b >= 'a' && b <= 'z') || (b >= 'A' && b <= 'Z')) bits_of_b |= hp_class_alnum;
            if (printable && b != '"' && b != '\'' && b != '>' && b != '/' && b != '=') {
                bits_of_b |= hp_class_attribute_name;
            }
            if (printable && b != '"' && b != '\'' && b != '=' && b != '<' && b != '>' && b != '`') {
                bits_of_b |= hp_class_unquoted_value;
            }
            bits[b] = bits_of_b;
        }
    }
};

static constexpr hp_byte_classes_t hp_byte_classes;

static bool hp_runs_allowed(hp_t* hp) {
    return hp->encoding == encoding_utf_8 && hp->input.pending == codepoint_invalid &&
           !(hp->flags & hp_flag_per_character);
}

// Text is most of an entry; taking its runs whole saves a decode, a line test and
// an encode per character, with the same result.
static u64 hp_take_run(hp_t* hp, data_t* text_block, data_t* string, const u8* p) {
    html_stream_t* stream = &hp->input;
    const u8* first = stream->position;
    u64 size = (u64)(p - first);
    if (size == 0) return 0;
    PROFILE_ZONE(hp_consume);
    PROFILE_ZONE(hp_decode_codepoint);
    PROFILE_ZONE(hp_push_codepoint);
    if (!string->bytes) string->bytes = data_end(*text_block);
    u8* target;
    if (text_block->used + size <= text_block->reserved) {
        target = text_block->bytes + text_block->used;
        text_block->used += size;
    } else {
        target = (u8*)data_push(text_block, size, 1);
    }
    if (target) {
        bytes_copy(target, first, size);
        string->used += size;
        string->reserved = string->used;
    }
    stream->position = p;
    return size;
}

// The length of a well-formed UTF-8 sequence at p whose code point is valid text
// and comes out of hp_utf8_encode as the same bytes, else 0. U+07FF is the one
// such code point whose bytes would change; noncharacters and C1 controls are
// errors for the character path to report.
static u32 hp_plain_sequence_length(const u8* p, const u8* end) {
    u8 lead = p[0];
    u32 count;
    u32 value;
    u8 low = 0x80;
    u8 high = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF) {
        count = 1;
        value = lead & 0x1F;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        count = 2;
        value = lead & 0x0F;
        if (lead == 0xE0) low = 0xA0;
        if (lead == 0xED) high = 0x9F;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        count = 3;
        value = lead & 0x07;
        if (lead == 0xF0) low = 0x90;
        if (lead == 0xF4) high = 0x8F;
    } else {
        return 0;
    }
    if ((u64)(end - p) <= count) return 0;
    for (u32 i = 1; i <= count; i++) {
        u8 b = p[i];
        if (b < low || b > high) return 0;
        low = 0x80;
        high = 0xBF;
        value = (value << 6) | (b & 0x3F);
    }
    if (value == 0x7FF || hp_is_invalid_text(value)) return 0;
    return count + 1;
}

u64 hp_take_text_run(hp_t* hp, data_t* text_block, data_t* string, u8 stop) {
    if (!hp_runs_allowed(hp)) return 0;
    html_stream_t* stream = &hp->input;
    const u8* p = stream->position;
    const u8* end = stream->end;
    while (p < end) {
        u8 b = *p;
        if (b >= 0x80) {
            u32 length = hp_plain_sequence_length(p, end);
            if (!length) break;
            p += length;
            continue;
        }
        if (b == stop || b == '&' || !(hp_byte_classes.bits[b] & hp_class_text)) break;
        if (b == '\n') {
            if (!stream->saw_carriage_return) stream->line++;
            stream->line_start = p + 1;
        } else if (b == '\r') {
            stream->saw_carriage_return = 1;
            stream->line++;
            stream->line_start = p + 1;
        }
        p++;
    }
    return hp_take_run(hp, text_block, string, p);
}

static u64 hp_take_class_run(hp_t* hp, data_t* text_block, data_t* string, u8 byte_class) {
    if (!hp_runs_allowed(hp)) return 0;
    const u8* p = hp->input.position;
    const u8* end = hp->input.end;
    while (p < end && (hp_byte_classes.bits[*p] & byte_class)) p++;
    return hp_take_run(hp, text_block, string, p);
}

u64 hp_take_alnum_run(hp_t* hp, data_t* text_block, data_t* string) {
    return hp_take_class_run(hp, text_block, string, hp_class_alnum);
}

u64 hp_take_attribute_name_run(hp_t* hp, data_t* text_block, data_t* string) {
    return hp_take_class_run(hp, text_block, string, hp_class_attribute_name);
}

u64 hp_take_unquoted_value_run(hp_t* hp, data_t* text_block, data_t* string) {
    return hp_take_class_run(hp, text_block, string, hp_class_unquoted_value);
}

// ---- <meta> prescan ----

// On raw bytes, which may be a value with no bytes at all.
static bool prescan_starts_with(const u8* position, const u8* end, const char* text, u64 size, bool fold) {
    if (!position || (u64)(end - position) < size) return false;
    for (u64 i = 0; i < size; i++) {
        u8 b = fold ? (u8)char_to_lower(position[i]) : position[i];
        if (b != (u8)text[i]) return false;
    }
    return true;
}

static bool prescan_starts_with_no_case(const u8* position, const u8* end, const char* text, u64 size) {
    return prescan_starts_with(position, end, text, size, true);
}

static bool data_is_no_case(data_t text, const char* literal) {
    u64 size = text_length(literal);
    return text.used == size && prescan_starts_with_no_case(text.bytes, text.bytes + text.used, literal, size);
}

static u32 prescan_label(const u8* first, const u8* end) {
    if (!first || first >= end) return encoding_none;
    return encoding_from_label(first, (u64)(end - first));
}

// Reads the attributes of a <meta> behind its name. Returns the encoding that they
// declare, or 0; the scan goes on at hp->input.position.
static u32 prescan_meta(hp_t* hp, data_t* text) {
    u32 result = 0;
    b32 seen_http_equiv = 0, seen_content = 0, seen_charset = 0, got_pragma = 0, need_pragma = 0;
    for (;;) {
        html_parser_error_t error = 0;
        data_t name = {}, value = {};
        hp_read_attribute(hp, text, &name, &value, &error);
        if (name.used == 0) break;
        if (data_is_no_case(name, "http-equiv")) {
            if (!seen_http_equiv) {
                seen_http_equiv = 1;
                if (data_is_no_case(value, "content-type")) got_pragma = 1;
            }
        } else if (data_is_no_case(name, "content")) {
            if (!seen_content) {
                seen_content = 1;
                const u8* first = value.bytes;
                const u8* end = value.bytes + value.used;
                if (result == 0 && prescan_starts_with_no_case(first, end, "text/html;", 10)) {
                    first += 10;
                    while (first < end && hp_is_space(*first)) first++;
                    if (prescan_starts_with_no_case(first, end, "charset=", 8)) {
                        first += 8;
                        result = prescan_label(first, end);
                        if (result) need_pragma = 1;
                    }
                }
            }
        } else if (!seen_charset && data_equal(name, data_literal("charset"))) {
            // Exact case on purpose: names fold only when they enter a token.
            result = prescan_label(value.bytes, value.bytes + value.used);
            seen_charset = 1;
        }
        if (result) break;
    }
    if (need_pragma && !seen_charset && !got_pragma) result = encoding_utf_8;
    if (result == encoding_utf_16be || result == encoding_utf_16le) result = encoding_utf_8;
    if (result == encoding_x_user_defined) result = encoding_windows_1252;
    return result;
}

static void prescan_drop_attributes(hp_t* hp, data_t* text) {
    for (;;) {
        html_parser_error_t error = 0;
        data_t name = {}, value = {};
        hp_read_attribute(hp, text, &name, &value, &error);
        if (name.used == 0) break;
    }
}

u32 hp_detect_encoding(data_t input) {
    PROFILE_ZONE(hp_detect_encoding);
    u64 size = min_of<u64>(input.used, 1024);
    hp_t hp = hp_init(input.bytes, size, 0);
    hp.encoding = encoding_utf_8;
    // Never reset: 1024 bytes of input can't give more than 4096 bytes of UTF-8.
    u8 text_bytes[4096];
    data_t text = data_make(sizeof(text_bytes), 0, text_bytes);

    const u8* position = input.bytes;
    const u8* end = input.bytes + size;
    u32 result = 0;
    while (result == 0 && position < end) {
        if (prescan_starts_with(position, end, "<!--", 4, false)) {
            const u8* close = bytes_find((u8*)position + 4, (u8*)end, "-->", 3);
            position = close == end ? end : close + 3;
            continue;
        }
        if (end - position > 5 && prescan_starts_with_no_case(position, end, "<meta", 5) && hp_is_space(position[5])) {
            hp.input.position = position + 5;
            hp.input.pending = codepoint_invalid;
            result = prescan_meta(&hp, &text);
            position = hp.input.position;
            continue;
        }
        if (*position == '<') {
            const u8* name = position + 1;
            b32 end_tag = name < end && *name == '/';
            if (end_tag) name++;
            if (name < end && char_is_alnum(*name)) {
                while (name < end && char_is_alnum(*name)) name++;
                if (name < end && hp_is_space(*name)) {
                    hp.input.position = name;
                    hp.input.pending = codepoint_invalid;
                    prescan_drop_attributes(&hp, &text);
                    name = hp.input.position;
                }
                while (name < end && hp_is_space(*name)) name++;
                if (!end_tag && name < end && *name == '/') name++;
                position = name;
                continue;
            }
            if (position + 1 < end && (position[1] == '!' || position[1] == '?' || position[1] == '/')) {
                const u8* close = position + 2;
                while (close < end && *close != '>') close++;
                position = close < end ? close + 1 : end;
                continue;
            }
        }
        position++;
    }
    return result;
}
