// The error report of the tokenizer and the debug prints of tokens and trees.
#include "html/diagnostics.h"

#include "base/log.h"
#include "base/text.h"
#include "html/tree.h"

static void hp_log_literal(const char* text) { log_write_c_string(log_main, text); }

static void hp_error_location(hp_t* hp) {
    const u8* line_start = hp->input.line_start;
    u64 offset = hp->saved.position >= line_start ? (u64)(hp->saved.position - line_start) : 0;
    hp_log_literal("Error( ");
    log_write_u64(log_main, (u64)hp->input.line + 1);
    hp_log_literal(", ");
    log_write_u64(log_main, (u32)(offset + 1));
    hp_log_literal(" ): ");
}

// The line of the error as characters, and a caret under the byte column: after
// non-ASCII text the caret stands further right than the character.
static void hp_error_line(hp_t* hp) {
    const u8* line_start = hp->input.line_start;
    u64 offset = hp->saved.position >= line_start ? (u64)(hp->saved.position - line_start) : 0;
    hp_t line = *hp;
    line.input.position = line_start;
    line.input.pending = codepoint_invalid;
    hp_log_literal("    ");
    html_parser_error_t error = 0;
    u8 buffer[256];
    u32 used = 0;
    for (;;) {
        u32 c = hp_consume(&line, &error);
        if (error || c == '\r' || c == '\n') break;
        if (used + 4 > sizeof(buffer)) {
            log_write_bytes(log_main, buffer, used);
            used = 0;
        }
        u32 length = hp_utf8_encode(c, buffer + used);
        if (length == 0) length = hp_utf8_encode(codepoint_replacement, buffer + used);
        used += length;
    }
    log_write_bytes(log_main, buffer, used);
    hp_log_literal("\n    ");
    for (u64 i = 0; i < offset; i++) log_write_bytes(log_main, " ", 1);
    hp_log_literal("^\n");
}

void hp_report_error(hp_t* hp, html_parser_error_t error) {
    if (error == html_parser_error_none) return;
    ASSERT(error <= html_tokenizer_error_not_enough_memory);
    if (error == html_tokenizer_error_eof) {
        hp_log_literal("Error: ");
        hp_log_literal(html_parser_error_messages[error]);
    } else if (error == html_tokenizer_error_invalid_encoding_name) {
        hp_log_literal("Error: The encoding of the document is unknown.\n\n");
    } else if (error == html_tokenizer_error_not_enough_memory) {
        hp_log_literal("Error: The document needs more memory than was predicted for it.\n\n");
    } else {
        hp_error_location(hp);
        hp_log_literal(html_parser_error_messages[error]);
        hp_error_line(hp);
        if (error != html_tokenizer_error_invalid_text_character_in_comment) hp_log_literal("\n");
    }
    hp->input.position = hp->input.end;
    hp->input.pending = codepoint_invalid;
    hp->state = hp_state_default;
}

static void hp_log_quoted(data_t value) {
    hp_log_literal("=\"");
    log_write(log_main, value);
    hp_log_literal("\"");
}

static void html_print_line_done(html_print_drain_t* drain, void* user) {
    log_channel_t* log = log_channel(log_main);
    if (drain && log->text.used > log->text.reserved / 2) drain(user);
}

void html_tokens_print(html_tokens_t* tokens, html_print_drain_t* drain, void* user) {
    for (u64 i = 0; i < tokens->token_count; i++) {
        html_token_t* token = tokens->tokens + i;
        switch (token->kind) {
        case html_token_doctype:
            hp_log_literal(token->legacy ? "doctype legacy=true" : "doctype legacy=false");
            break;
        case html_token_start_tag:
            hp_log_literal("<");
            log_write(log_main, token->name);
            hp_log_literal(token->self_closing ? " self_closing=true" : " self_closing=false");
            for (u32 a = 0; a < token->attribute_count; a++) {
                html_attribute_token_t* attribute = token->attributes + a;
                hp_log_literal(" ");
                log_write(log_main, attribute->name);
                if (attribute->value.bytes) hp_log_quoted(attribute->value);
            }
            break;
        case html_token_end_tag:
            hp_log_literal("</ ");
            log_write(log_main, token->name);
            break;
        case html_token_comment:
            hp_log_literal("comment: ");
            log_write(log_main, token->text);
            break;
        case html_token_cdata:
            hp_log_literal("cdata: ");
            log_write(log_main, token->text);
            break;
        case html_token_text:
            hp_log_literal("text: ");
            log_write(log_main, token->text);
            break;
        default: hp_log_literal("token error"); break;
        }
        hp_log_literal("\n");
        html_print_line_done(drain, user);
    }
}

static void html_print_indentation(u64 depth) {
    static const char blanks[html_print_indent_levels * 4 + 1] =
        "                                                                "
        "                                                                ";
    log_write_bytes(log_main, blanks, min_of(depth, html_print_indent_levels) * 4);
    if (depth > html_print_indent_levels) {
        hp_log_literal("[");
        log_write_u64(log_main, depth);
        hp_log_literal("] ");
    }
}

void html_tree_print(html_tree_t* tree, html_print_drain_t* drain, void* user) {
    if (!tree->nodes) return;
    // 1 MiB of walk stack is a quarter million nodes; a larger tree gets more.
    data_t memory = data_allocate(max_of<u64>(0x100000, hp_tree_walk_size(tree->node_count)));
    if (!memory.bytes) return;
    html_parser_error_t error = 0;
    hp_tree_walk_t walk = hp_tree_walk_start(&memory, tree->nodes, tree->node_count, &error);
    u64 depth = 0;
    while (!error && hp_tree_walk_has_more(&walk)) {
        html_node_t* node = hp_tree_walk_current(&walk);
        if (node->kind == html_node_kind_text) {
            html_print_indentation(depth);
            hp_log_literal("text_node: ");
            log_write(log_main, node->text);
            hp_log_literal("\n");
        } else if (hp_tree_walk_is_opening(&walk)) {
            html_print_indentation(depth);
            hp_log_literal(html_element_names[node->element]);
            for (u32 a = 0; a < node->attribute_count; a++) {
                html_attribute_t* attribute = node->attributes + a;
                hp_log_literal(" ");
                hp_log_literal(html_attribute_names[attribute->name]);
                hp_log_quoted(attribute->value);
            }
            hp_log_literal("\n");
            if (!html_element_is(node->element, html_element_flag_void)) depth++;
        } else {
            depth--;
            html_print_indentation(depth);
            hp_log_literal("/");
            hp_log_literal(html_element_names[node->element]);
            hp_log_literal("\n");
        }
        html_print_line_done(drain, user);
        hp_tree_walk_next(&walk);
    }
    data_free(&memory);
}
