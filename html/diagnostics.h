// The tokenizer's error report and the debug prints of tokens and trees, all on
// log channel 0.
#pragma once

#include "html/stream.h"

struct html_tree_t;

// Prints the report of `error` with line, column and a caret under the place, then
// moves the input to its end and the state to default. Error 0 does nothing.
void hp_report_error(hp_t* hp, html_parser_error_t error);

// Called between two lines of a print once channel 0 is more than half full, so
// that a caller who sends the print elsewhere takes the text before the ring
// wraps over it.
typedef void html_print_drain_t(void* user);

// One line per token.
void html_tokens_print(html_tokens_t* tokens, html_print_drain_t* drain = nullptr, void* user = nullptr);
// One line per node, four blanks a level. Past 32 levels the indentation stays
// at 32 and the line carries its level as "[LEVEL] ", so that a deep tree prints
// in time and room proportional to its nodes.
void html_tree_print(html_tree_t* tree, html_print_drain_t* drain = nullptr, void* user = nullptr);
constexpr u64 html_print_indent_levels = 32;
