// The strict tokenizer: six content states over the input stream, each of which
// ends with the report of its error. Memory is predicted from the input's length,
// carved once, and the unused tail of the text is given back.
#include "html/tokenizer.h"

#include "base/log.h"
#include "base/text.h"
#include "html/character_reference.h"
#include "html/diagnostics.h"
#include "html/encoding.h"
#include "profiler/profiler.h"

constexpr u32 hp_token_emit_full = 0xFFFFFFFF;

// A text token takes at least one byte, any other token three, and two texts stand
// at least three bytes apart: k tags hold at most k + 1 texts, 2k + 1 tokens in
// 4k + 1 bytes. Half the size is one short for text at both ends ("a<b>c").
u64 hp_predict_max_tokens(u64 size) { return size < 2 ? 1 : size / 2 + 1; }

// The shortest tag takes three bytes and each attribute at least two more.
u64 hp_predict_max_attributes(u64 size) { return size < 5 ? 1 : (size - 3) / 2; }

u64 hp_predict_memory(data_t input) {
    u64 size = 8 + hp_predict_max_tokens(input.used) * sizeof(html_token_t);
    size += align_padding(size, 8);
    size += hp_predict_max_attributes(input.used) * sizeof(html_attribute_token_t);
    // One input byte can become four bytes of UTF-8 in the worst encoding.
    size += input.used * 4;
    return size;
}

void hp_token_create(hp_t* hp, html_token_kind_t kind) {
    PROFILE_ZONE(hp_token_create);
    hp->token = html_token_t{};
    hp->token.kind = (kind >= html_token_doctype && kind <= html_token_text) ? kind : html_token_none;
}

bool hp_token_add_attribute(hp_t* hp, data_t* attribute_block, data_t name, data_t value) {
    html_attribute_token_t* record =
        (html_attribute_token_t*)data_push(attribute_block, sizeof(html_attribute_token_t), 8);
    if (!record) return false;
    if (!hp->token.attributes) hp->token.attributes = record;
    record->name = name;
    data_to_lower(record->name);
    record->value = value;
    hp->token.attribute_count++;
    return true;
}

static bool hp_name_is(data_t name, const char* literal, u64 size) {
    if (name.used != size) return false;
    for (u64 i = 0; i < size; i++) {
        if (name.bytes[i] != (u8)literal[i]) return false;
    }
    return true;
}

u32 hp_token_emit(hp_t* hp, html_tokens_t* tokens) {
    PROFILE_ZONE(hp_token_emit);
    ASSERT(hp->token.kind != html_token_none);
    html_token_t* record = (html_token_t*)data_push(&tokens->token_block, sizeof(html_token_t), 8);
    if (!record) {
        hp->token.kind = html_token_none;
        return hp_token_emit_full;
    }
    *record = hp->token;
    tokens->token_count++;
    u32 next = 0;
    if (hp->token.kind == html_token_start_tag) {
        tokens->attribute_count += hp->token.attribute_count;
        data_t name = hp->token.name;
        if (hp_name_is(name, "script", 6) || hp_name_is(name, "style", 5)) {
            next = hp_state_raw;
        } else if (hp_name_is(name, "textarea", 8) || hp_name_is(name, "title", 5)) {
            next = hp_state_escapable_raw;
        }
    }
    hp->token.kind = html_token_none;
    return next;
}

// The prediction leaves no room for this, but a guess is not a guarantee: keep the
// tokens that fit, drop the rest, and tell the user once.
static void hp_out_of_memory(html_parser_error_t* error) {
    *error = html_tokenizer_error_not_enough_memory;
    log_write_c_string(log_user, "The HTML parser ran out of the memory predicted for this content; "
                                 "the rest of it is dropped.\n");
}

// Emits and sets the state that follows; false when the token block was full.
static bool hp_emit(hp_t* hp, html_tokens_t* tokens, html_parser_error_t* error) {
    u32 next = hp_token_emit(hp, tokens);
    if (next == hp_token_emit_full) {
        hp_out_of_memory(error);
        return false;
    }
    hp->state = next ? next : hp_state_default;
    return true;
}

static void hp_push(data_t* text_block, data_t* string, u32 first, u32 second, u32 count) {
    hp_push_codepoint(text_block, string, first);
    if (count == 2) hp_push_codepoint(text_block, string, second);
}

static bool hp_is_quote(u32 c) { return c == '"' || c == '\''; }

// ---- attributes ----

void hp_read_attribute(hp_t* hp, data_t* text_block, data_t* name, data_t* value, html_parser_error_t* error) {
    *name = data_t{};
    *value = data_t{};
    u32 c = hp_consume(hp, error);
    while (hp_is_space(c)) c = hp_consume(hp, error);

    while (!hp_is_attribute_name_stop(c)) {
        hp_push_codepoint(text_block, name, c);
        hp_take_attribute_name_run(hp, text_block, name);
        c = hp_consume(hp, error);
    }

    b32 space_before = 0;
    while (hp_is_space(c)) {
        space_before = 1;
        c = hp_consume(hp, error);
    }

    // End of input inside a tag comes here with c = 0.
    if (name->used == 0 || *error) {
        if (c == '>' || c == '/') {
            hp_unconsume(hp);
            return;
        }
        *error = html_tokenizer_error_invalid_text_character_in_attribute_name;
        return;
    }

    if (c != '=') {
        if (!space_before && c != '>' && c != '/') {
            *error = html_tokenizer_error_empty_attribute_not_followed_by_a_valid_character;
            return;
        }
        hp_unconsume(hp);
        return;
    }

    c = hp_consume(hp, error);
    while (hp_is_space(c)) c = hp_consume(hp, error);

    if (!hp_is_quote(c)) {
        // '/' is an ordinary character here: a=value/> has the value "value/".
        while (!hp_is_invalid_text(c) && !hp_is_space(c) && c != '"' && c != '\'' && c != '=' && c != '<' &&
               c != '>' && c != '`') {
            hp_push_codepoint(text_block, value, c);
            hp_take_unquoted_value_run(hp, text_block, value);
            c = hp_consume(hp, error);
        }
        value->reserved = value->used;
        if (!hp_is_space(c) && c != '>') {
            *error = html_tokenizer_error_invalid_character_in_unquoted_attribute_value;
            return;
        }
        hp_unconsume(hp);
        return;
    }

    u32 quote = c;
    c = hp_consume(hp, error);
    // The report of an unclosed value points to its start. Only the positions
    // change while a value is read, so they are all that the copy keeps.
    html_stream_t start_input = hp->input;
    html_stream_t start_saved = hp->saved;
    html_stream_t start_look_ahead = hp->look_ahead;
    u32 start_can_unconsume = hp->can_unconsume;
    while (!*error) {
        if (c == '&') {
            u32 first, second, ambiguous;
            u32 count = hp_parse_character_reference(hp, &first, &second, &ambiguous);
            if (count) {
                hp_push(text_block, value, first, second, count);
                c = hp_consume(hp, error);
                continue;
            }
            if (ambiguous) {
                *error = html_tokenizer_error_ambiguous_ampersand_in_attribute_value;
                break;
            }
        }
        if (hp_is_invalid_text(c) || c == quote) break;
        hp_push_codepoint(text_block, value, c);
        hp_take_text_run(hp, text_block, value, (u8)quote);
        c = hp_consume(hp, error);
    }
    if (*error == html_tokenizer_error_eof) {
        hp->input = start_input;
        hp->saved = start_saved;
        hp->look_ahead = start_look_ahead;
        hp->can_unconsume = start_can_unconsume;
        *error = html_tokenizer_error_eof_quoted_attribute_value;
        return;
    }
    if (*error) return;
    if (c != quote) {
        *error = html_tokenizer_error_quoted_attribute_value_missing_the_closing_quote;
        return;
    }
    c = hp_consume(hp, error);

    if (hp->flags & hp_flag_quoted_value_followed_by_anything) {
        if (!*error) hp_unconsume(hp);
        return;
    }
    if (!hp_is_space(c) && c != '>' && c != '/') {
        *error = html_tokenizer_error_attribute_value_not_followed_by_a_valid_character;
        return;
    }
    hp_unconsume(hp);
}

// ---- states ----

static void hp_run_default(hp_t* hp, html_tokens_t* tokens, html_parser_error_t* error) {
    PROFILE_ZONE(hp_state_default);
    html_parser_error_t local = 0;
    data_t* text_block = &tokens->text_block;
    hp->token.kind = html_token_none;
    u32 c = hp_consume(hp, &local);
    if (!local && c != '<') hp_token_create(hp, html_token_text);
    {
        PROFILE_ZONE(hp_state_default_loop);
        while (!local && c != '<') {
            if (c == '&') {
                // A failed reference is plain text here, ambiguous or not.
                u32 first, second, ambiguous;
                u32 count = hp_parse_character_reference(hp, &first, &second, &ambiguous);
                if (count) {
                    hp_push(text_block, &hp->token.text, first, second, count);
                    c = hp_consume(hp, &local);
                    continue;
                }
            }
            if (hp_is_invalid_text(c)) {
                local = html_tokenizer_error_invalid_text_character;
                break;
            }
            hp_push_codepoint(text_block, &hp->token.text, c);
            hp_take_text_run(hp, text_block, &hp->token.text, '<');
            c = hp_consume(hp, &local);
        }
    }
    if (!local || local == html_tokenizer_error_eof) {
        bool emitted = true;
        if (hp->token.kind != html_token_none) emitted = hp_emit(hp, tokens, &local);
        if (emitted) {
            if (local == html_tokenizer_error_eof) {
                local = 0;
                hp->state = hp_state_default;
            } else {
                hp->state = hp_state_tag;
            }
        }
    }
    *error = local;
    hp_report_error(hp, local);
}

static void hp_run_tag(hp_t* hp, html_tokens_t* tokens, html_parser_error_t* error) {
    PROFILE_ZONE(hp_state_tag);
    html_parser_error_t local = 0;
    data_t* text_block = &tokens->text_block;
    u32 c = hp_consume(hp, &local);
    if (c == '?') {
        hp->state = hp_state_xml;
        *error = 0;
        return;
    }
    if (c == '!') {
        hp->state = hp_state_markup;
        *error = 0;
        return;
    }
    if (c == '/') {
        // The name may be empty: </> is an end tag with no name.
        hp_token_create(hp, html_token_end_tag);
        c = hp_consume(hp, &local);
        while (char_is_alnum(c)) {
            hp_push_codepoint(text_block, &hp->token.name, c);
            hp_take_alnum_run(hp, text_block, &hp->token.name);
            c = hp_consume(hp, &local);
        }
        while (hp_is_space(c)) c = hp_consume(hp, &local);
        if (c == '>') {
            hp_emit(hp, tokens, &local);
        } else {
            local = html_tokenizer_error_expected_greater_than;
        }
    } else if (char_is_alnum(c)) {
        hp_token_create(hp, html_token_start_tag);
        while (char_is_alnum(c)) {
            hp_push_codepoint(text_block, &hp->token.name, c);
            hp_take_alnum_run(hp, text_block, &hp->token.name);
            c = hp_consume(hp, &local);
        }
        b32 space_after_name = 0;
        while (hp_is_space(c)) {
            space_after_name = 1;
            c = hp_consume(hp, &local);
        }
        if (space_after_name) {
            hp_unconsume(hp);
            for (;;) {
                data_t name, value;
                hp_read_attribute(hp, text_block, &name, &value, &local);
                if (local || name.used == 0) break;
                if (!hp_token_add_attribute(hp, &tokens->attribute_block, name, value)) {
                    hp_out_of_memory(&local);
                    break;
                }
            }
            if (!local) {
                c = hp_consume(hp, &local);
                while (hp_is_space(c)) c = hp_consume(hp, &local);
            }
        }
        // End of input after the name comes here with c = 0 and gets the error of
        // the character that is missing; an attribute's error stands as it is.
        if (!local || local == html_tokenizer_error_eof) {
            if (c == '/') {
                hp->token.self_closing = 1;
                c = hp_consume(hp, &local);
            }
            if (c == '>') {
                hp_emit(hp, tokens, &local);
            } else {
                local = space_after_name ? html_tokenizer_error_expected_greater_than
                                         : html_tokenizer_error_invalid_text_character_in_tag_name;
            }
        }
    } else {
        // "< div>" and a '<' at the end of the input.
        local = html_tokenizer_error_invalid_text_character_in_tag_name;
    }
    *error = local;
    hp_report_error(hp, local);
}

static void hp_run_xml(hp_t* hp, html_parser_error_t* error) {
    PROFILE_ZONE(hp_state_xml);
    html_parser_error_t local = 0;
    u32 c = hp_consume(hp, &local);
    while (!local) {
        if (c == '?') {
            c = hp_consume(hp, &local);
            if (c == '>') break;
            continue;
        }
        c = hp_consume(hp, &local);
    }
    hp->state = hp_state_default;
    *error = local;
    hp_report_error(hp, local);
}

// Peeks one code point per character of `word`; the look-ahead must have been
// started. End of input is a mismatch.
static bool hp_peek_word(hp_t* hp, const char* word, bool fold) {
    html_parser_error_t peek_error = 0;
    for (const char* w = word; *w; w++) {
        u32 c = hp_peek(hp, &peek_error);
        if (peek_error) return false;
        if ((fold ? char_to_lower(c) : c) != (u8)*w) return false;
    }
    return true;
}

// Matches `word` from c on by hp_consume; c is left on the first character that
// didn't match, or behind the word.
static bool hp_match_word(hp_t* hp, u32* c, const char* word, bool fold, html_parser_error_t* error) {
    for (const char* w = word; *w; w++) {
        if ((fold ? char_to_lower(*c) : *c) != (u8)*w) return false;
        *c = hp_consume(hp, error);
    }
    return true;
}

static u32 hp_skip_space(hp_t* hp, u32 c, html_parser_error_t* error) {
    while (hp_is_space(c)) c = hp_consume(hp, error);
    return c;
}

// Reads up to the quote c and the character behind it; leaves c behind blanks.
static u32 hp_skip_quoted(hp_t* hp, u32 quote, html_parser_error_t* error) {
    u32 c = hp_consume(hp, error);
    while (!*error && c != quote) c = hp_consume(hp, error);
    c = hp_consume(hp, error);
    return hp_skip_space(hp, c, error);
}

static bool hp_remain_at_least(hp_t* hp, u64 size) { return (u64)(hp->input.end - hp->input.position) >= size; }

// The body of a doctype behind "<!doctype" and its first blank.
static void hp_read_doctype(hp_t* hp, html_tokens_t* tokens, html_parser_error_t* local) {
    hp_token_create(hp, html_token_doctype);
    u32 c = hp_consume(hp, local);
    c = hp_skip_space(hp, c, local);
    bool valid = false;
    bool html = hp_match_word(hp, &c, "html", true, local);
    if (html && (c == '>' || hp_is_space(c))) {
        c = hp_skip_space(hp, c, local);
        if (c == '>') valid = true;
    }
    if (!valid && html) {
        if (hp_match_word(hp, &c, "system", true, local)) {
            if (hp_is_space(c)) {
                c = hp_skip_space(hp, c, local);
                if (hp_is_quote(c)) {
                    u32 quote = c;
                    c = hp_consume(hp, local);
                    if (hp_match_word(hp, &c, "about:legacy-compat", false, local) && c == quote) {
                        hp->token.legacy = 1;
                        c = hp_consume(hp, local);
                        c = hp_skip_space(hp, c, local);
                        if (c == '>') valid = true;
                    }
                }
            }
        } else if (hp_match_word(hp, &c, "public", true, local)) {
            // The identifiers are optional and free text; they aren't kept.
            if (hp_is_space(c)) {
                c = hp_skip_space(hp, c, local);
                if (hp_is_quote(c)) c = hp_skip_quoted(hp, c, local);
                if (hp_is_quote(c)) c = hp_skip_quoted(hp, c, local);
                if (c == '>') valid = true;
            }
        }
    }
    if (valid) {
        *local = 0;
        hp_emit(hp, tokens, local);
    } else {
        *local = html_tokenizer_error_invalid_doctype;
    }
}

static void hp_read_cdata(hp_t* hp, html_tokens_t* tokens, html_parser_error_t* local) {
    data_t* text_block = &tokens->text_block;
    hp_token_create(hp, html_token_cdata);
    u32 c = hp_consume(hp, local);
    bool closed = false;
    while (!*local) {
        if (c == ']' && hp_remain_at_least(hp, 2)) {
            hp_peek_start(hp);
            if (hp_peek_word(hp, "]>", false)) {
                hp_peek_commit(hp);
                closed = true;
                break;
            }
        }
        if (hp_is_invalid_text(c)) {
            *local = html_tokenizer_error_invalid_text_character_in_cdata;
            break;
        }
        hp_push_codepoint(text_block, &hp->token.text, c);
        c = hp_consume(hp, local);
    }
    if (closed) hp_emit(hp, tokens, local);
}

static void hp_read_comment(hp_t* hp, html_tokens_t* tokens, html_parser_error_t* local) {
    data_t* text_block = &tokens->text_block;
    u32 count = 0;
    u32 c = hp_consume(hp, local);
    bool closed = false;
    while (!*local) {
        if (c == '-' && hp_remain_at_least(hp, 2)) {
            hp_peek_start(hp);
            if (hp_peek_word(hp, "->", false)) {
                hp_peek_commit(hp);
                closed = true;
                break;
            }
        }
        if (c == '>' && count == 0) {
            *local = html_tokenizer_error_comment_starts_with_invalid_character_sequence;
        } else if (c == '-') {
            hp_peek_start(hp);
            if (count == 0 && hp_peek_word(hp, ">", false)) {
                *local = html_tokenizer_error_comment_starts_with_invalid_character_sequence;
            } else {
                hp_peek_start(hp);
                if (hp_peek_word(hp, "-!>", false)) {
                    *local = html_tokenizer_error_comment_contains_invalid_character_sequence;
                }
            }
        } else if (c == '<') {
            // "<!--" may stand in a comment only as its closing "<!-->".
            hp_peek_start(hp);
            if (hp_peek_word(hp, "!--", false) && !hp_peek_word(hp, ">", false)) {
                *local = html_tokenizer_error_comment_contains_invalid_character_sequence;
            }
        }
        if (*local) break;
        if (c == '&') {
            u32 first, second, ambiguous;
            u32 references = hp_parse_character_reference(hp, &first, &second, &ambiguous);
            if (references) {
                hp_push(text_block, &hp->token.text, first, second, references);
                count += references;
                c = hp_consume(hp, local);
                continue;
            }
        }
        if (hp_is_invalid_text(c)) {
            *local = html_tokenizer_error_invalid_text_character_in_comment;
            break;
        }
        hp_push_codepoint(text_block, &hp->token.text, c);
        count++;
        c = hp_consume(hp, local);
    }
    if (closed) hp_emit(hp, tokens, local);
}

static void hp_run_markup(hp_t* hp, html_tokens_t* tokens, html_parser_error_t* error) {
    PROFILE_ZONE(hp_state_markup);
    html_parser_error_t local = 0;
    hp->state = hp_state_default;

    hp_peek_start(hp);
    if (hp_peek_word(hp, "doctype", true)) {
        html_parser_error_t peek_error = 0;
        u32 c = hp_peek(hp, &peek_error);
        hp_peek_commit(hp);
        if (!hp_is_space(c)) {
            local = html_tokenizer_error_doctype_not_followed_by_a_space;
        } else {
            hp_read_doctype(hp, tokens, &local);
        }
    } else {
        hp_peek_start(hp);
        if (hp_peek_word(hp, "[CDATA[", false)) {
            hp_peek_commit(hp);
            hp_read_cdata(hp, tokens, &local);
        } else {
            hp_peek_start(hp);
            if (hp_remain_at_least(hp, 2) && hp_peek_word(hp, "--", false)) {
                hp_token_create(hp, html_token_comment);
                hp_peek_commit(hp);
                hp_read_comment(hp, tokens, &local);
            } else {
                local = html_tokenizer_error_invalid_markup_syntax;
            }
        }
    }
    *error = local;
    hp_report_error(hp, local);
}

static bool hp_stream_before(const html_stream_t* stream, const html_stream_t* mark) {
    if (stream->position != mark->position) return stream->position < mark->position;
    return stream->pending != mark->pending;
}

// Text of script and style (state 7) or of textarea and title (state 8). The end
// is found first by look-ahead; the closing tag itself stays for the default state.
static void hp_run_raw(hp_t* hp, html_tokens_t* tokens, html_parser_error_t* error) {
    PROFILE_ZONE(hp_state_raw);
    html_parser_error_t local = 0;
    data_t* text_block = &tokens->text_block;
    ASSERT(tokens->token_count > 0);
    data_t element = tokens->tokens[tokens->token_count - 1].name;

    hp_peek_start(hp);
    html_parser_error_t peek_error = 0;
    html_stream_t text_end = hp->look_ahead;
    u32 c = hp_peek(hp, &peek_error);
    for (;;) {
        if (peek_error) {
            text_end = hp->look_ahead;
            text_end.position = text_end.end;
            text_end.pending = codepoint_invalid;
            break;
        }
        if (c != '<') {
            text_end = hp->look_ahead;
            c = hp_peek(hp, &peek_error);
            continue;
        }
        html_stream_t after_less_than = hp->look_ahead;
        c = hp_peek(hp, &peek_error);
        if (peek_error) continue;
        if (c != '/') {
            text_end = after_less_than;
            continue;
        }
        // A mismatch keeps its character as the walk's next one without moving
        // text_end, so in "</scr</script>" the text ends in front of "</scr".
        bool matched = true;
        for (u64 i = 0; i < element.used; i++) {
            c = hp_peek(hp, &peek_error);
            if (peek_error || c != element.bytes[i]) {
                matched = false;
                break;
            }
        }
        if (!matched) continue;
        c = hp_peek(hp, &peek_error);
        if (peek_error) continue;
        if (c == '>') break;
        if (hp_is_space(c) || c == '/') {
            local = hp->state == hp_state_raw ? html_tokenizer_error_invalid_string_in_raw_element
                                              : html_tokenizer_error_invalid_string_in_escapable_raw_element;
            break;
        }
    }

    if (!local) {
        while (!local && hp_stream_before(&hp->input, &text_end)) {
            c = hp_consume(hp, &local);
            if (local) break;
            // Made at the first code point: bytes that decode to none (an escape
            // sequence of ISO-2022-JP, a lone last byte of UTF-16) make no token.
            if (hp->token.kind == html_token_none) hp_token_create(hp, html_token_text);
            if (c == '&' && hp->state == hp_state_escapable_raw) {
                u32 first, second, ambiguous;
                u32 count = hp_parse_character_reference(hp, &first, &second, &ambiguous);
                if (count) {
                    hp_push(text_block, &hp->token.text, first, second, count);
                    continue;
                }
                if (ambiguous) {
                    local = html_tokenizer_error_ambiguous_ampersand_in_escapable_raw_element;
                    break;
                }
            }
            if (hp_is_invalid_text(c)) {
                local = html_tokenizer_error_invalid_text_character;
                break;
            }
            hp_push_codepoint(text_block, &hp->token.text, c);
        }
        // Escape sequences of ISO-2022-JP can end the input with no character.
        if (local == html_tokenizer_error_eof) local = 0;
        hp->state = hp_state_default;
        if (!local && hp->token.kind != html_token_none) hp_emit(hp, tokens, &local);
    }
    hp->state = hp_state_default;
    *error = local;
    hp_report_error(hp, local);
}

// ---- the run ----

html_tokens_t hp_tokenizer(data_t* block, data_t input, u32 flags, html_parser_error_t* error) {
    PROFILE_ZONE(hp_tokenizer);
    html_tokens_t tokens = {};
    u64 size = input.used;
    u64 block_used = block->used;
    bool ok = true;
    tokens.token_block = data_sub_block_try(block, hp_predict_max_tokens(size) * sizeof(html_token_t), 8, &ok);
    tokens.attribute_block =
        data_sub_block_try(block, hp_predict_max_attributes(size) * sizeof(html_attribute_token_t), 8, &ok);
    tokens.text_block = data_sub_block_try(block, size * 4, 1, &ok);
    if (!ok) {
        block->used = block_used;
        *error = html_tokenizer_error_not_enough_memory;
        return html_tokens_t{};
    }
    tokens.tokens = (html_token_t*)tokens.token_block.bytes;

    hp_t hp = hp_init(input.bytes, size, flags);
    u32 encoding = encoding_none;
    u64 skip = 0;
    const u8* b = input.bytes;
    if (size >= 3 && b[0] == 0xEF && b[1] == 0xBB && b[2] == 0xBF) {
        encoding = encoding_utf_8;
        skip = 3;
    } else if (size >= 2 && b[0] == 0xFE && b[1] == 0xFF) {
        encoding = encoding_utf_16be;
        skip = 2;
    } else if (size >= 2 && b[0] == 0xFF && b[1] == 0xFE) {
        encoding = encoding_utf_16le;
        skip = 2;
    }
    // The report counts columns from the input's start, mark included, so that a
    // column agrees with the byte offset on the first line.
    hp.input.position += skip;
    hp.saved = hp.input;
    hp.look_ahead = hp.input;
    if (encoding == encoding_none) encoding = hp_detect_encoding(input);
    if (encoding == encoding_none) encoding = encoding_utf_8;
    hp.encoding = encoding;
    tokens.encoding = encoding;

    {
        PROFILE_ZONE(hp_tokenizer_loop);
        while (hp.input.position < hp.input.end || hp.input.pending != codepoint_invalid) {
            switch (hp.state) {
            case hp_state_default: hp_run_default(&hp, &tokens, error); break;
            case hp_state_tag: hp_run_tag(&hp, &tokens, error); break;
            case hp_state_xml: hp_run_xml(&hp, error); break;
            case hp_state_markup: hp_run_markup(&hp, &tokens, error); break;
            case hp_state_raw:
            case hp_state_escapable_raw: hp_run_raw(&hp, &tokens, error); break;
            default: ASSERT(false);
            }
        }
    }

    u64 unused = data_shrink_to_used(&tokens.text_block);
    data_pop(block, unused);
    return tokens;
}
