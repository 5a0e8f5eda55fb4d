// The tokenizer's error report and the debug prints of tokens and trees, all on
// log channel 0.
#pragma once

#include "html/stream.h"

struct html_tree_t;

// Prints the report of `error` with line, column and a caret under the place, then
// moves the input to its end and the state to default. Error 0 does nothing.
void hp_report_error(hp_t* hp, html_parser_error_t error);
void html_tokens_print(html_tokens_t* tokens);
void html_tree_print(html_tree_t* tree);
