// The strict HTML tokenizer: bytes of an entry's HTML to a flat list of tokens in
// memory predicted from the input's length. The first syntax error ends it with a
// report on log channel 0; the tokens emitted before it stay.
#pragma once

#include "html/stream.h"

// Bytes that hp_tokenizer takes at most from its block for `input`.
u64 hp_predict_memory(data_t input);
u64 hp_predict_max_tokens(u64 size);
u64 hp_predict_max_attributes(u64 size);

// `error` is zeroed by the caller. Every caller passes 0 for `flags`.
html_tokens_t hp_tokenizer(data_t* block, data_t input, u32 flags, html_parser_error_t* error);

void hp_token_create(hp_t* hp, html_token_kind_t kind);
// Returns false when the attribute block is full.
bool hp_token_add_attribute(hp_t* hp, data_t* attribute_block, data_t name, data_t value);
// Appends the token under construction and returns the state that follows it: 7
// after script and style, 8 after textarea and title, else 0. A full token block
// drops the token and gives 0xFFFFFFFF, with tokens->token_count unchanged.
u32 hp_token_emit(hp_t* hp, html_tokens_t* tokens);
// Reads one attribute of a tag, the input standing in front of it. An empty name
// ends the attribute list. Works on an hp_t alone: the prescan uses it too.
void hp_read_attribute(hp_t* hp, data_t* text_block, data_t* name, data_t* value, html_parser_error_t* error);

