// The tokenizer's view of its input: a position record decoded step by step in the
// encoding in force, with one-step undo, look-ahead and line tracking for the
// error report; the UTF-8 push of code points into strings; and the <meta>
// prescan that decides a document's encoding when no byte order mark does.
#pragma once

#include "base/data.h"
#include "html/tables.h"
#include "html/token.h"

// Plain data, copied whole: undo and look-ahead are copies of it, decoder state
// included, which is how a look-ahead is dropped without harm.
struct html_stream_t {
    const u8* position;
    const u8* end;
    const u8* line_start;  // position right after the last line end
    u32 line;              // line ends seen, from 0
    u8 decoder_state[4];   // ISO-2022-JP
    u32 pending;           // second code point of a Big5 pair, or 0xFFFFFFFF
    u32 saw_carriage_return;
};

// The parser's state. Lives on the stack of one tokenizer run.
struct hp_t {
    html_stream_t input;
    html_stream_t look_ahead;
    html_stream_t saved;  // input before the last hp_consume
    u32 can_unconsume;
    u32 encoding;  // 0 until decided
    u32 state;
    html_token_t token;  // under construction; kind 0 if none
    u32 flags;           // bit 0: a quoted attribute value may be followed by anything
};

// Bits of hp_t.flags. Callers pass 0; the second bit makes every character go
// through hp_consume, which the tests use to check the runs below against it.
enum : u32 {
    hp_flag_quoted_value_followed_by_anything = 1,
    hp_flag_per_character = 2,
};

enum : u32 {
    hp_state_default = 1,
    hp_state_tag = 2,
    hp_state_xml = 5,
    hp_state_markup = 6,
    hp_state_raw = 7,
    hp_state_escapable_raw = 8,
};

hp_t hp_init(const u8* input, u64 size, u32 flags);
// One code point; U+FFFD for a bad sequence. End of input and an unknown encoding
// set *error, which is left alone while it is set.
u32 hp_decode_codepoint(html_stream_t* stream, u32 encoding, html_parser_error_t* error);
// The next code point, or 0 once *error is set; the position before it is kept
// for one hp_unconsume.
u32 hp_consume(hp_t* hp, html_parser_error_t* error);
void hp_unconsume(hp_t* hp);
void hp_peek_start(hp_t* hp);
u32 hp_peek(hp_t* hp, html_parser_error_t* error);
void hp_peek_commit(hp_t* hp);
void hp_track_line(html_stream_t* stream, u32 codepoint);

// Writes the UTF-8 form with the program's boundary tests (U+07FF takes three
// bytes, U+FFFF four, U+10FFFF none) and returns the length. Invalid code points
// become U+FFFD.
u32 hp_utf8_encode(u32 codepoint, u8* bytes);
// Appends to `string`, which starts at the end of `text_block` when its bytes are
// null. Nothing may be pushed to the block between two pushes to one string.
void hp_push_codepoint(data_t* text_block, data_t* string, u32 codepoint);

// Runs taken from the input of a UTF-8 document straight into a string,
// as hp_consume and hp_push_codepoint would take them one by one. The character
// read before a run must have come from hp_consume, and no hp_unconsume may follow
// the run. Each returns the bytes taken.
//
// Text: printable ASCII, white space and well-formed UTF-8 of valid text, up to
// `stop`, '&', or anything else.
u64 hp_take_text_run(hp_t* hp, data_t* text_block, data_t* string, u8 stop);
// Letters and digits: tag names.
u64 hp_take_alnum_run(hp_t* hp, data_t* text_block, data_t* string);
// What an attribute name may hold, in ASCII.
u64 hp_take_attribute_name_run(hp_t* hp, data_t* text_block, data_t* string);
// What an unquoted attribute value may hold, in ASCII.
u64 hp_take_unquoted_value_run(hp_t* hp, data_t* text_block, data_t* string);

// The encoding that a <meta> in the first 1024 bytes declares, or 0.
u32 hp_detect_encoding(data_t input);
