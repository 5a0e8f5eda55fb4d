// Shared by the HTML parser tests: run the tokenizer and the tree on a string and
// take what they print on log channel 0 as a string.
#pragma once

#include <string>

#include "base/data.h"
#include "base/log.h"
#include "log_support.h"
#include "html/diagnostics.h"
#include "html/tokenizer.h"
#include "html/tree.h"

inline data_t parse_input(const std::string& input) { return data_from_size(input.size(), input.data()); }

// One tokenizer run in a block of exactly the predicted size.
struct parse_run_t {
    data_t memory = {};
    html_tokens_t tokens = {};
    html_parser_error_t error = 0;
    std::string report;  // what channel 0 received while tokenizing
    std::string lines;   // html_tokens_print's lines

    parse_run_t(const parse_run_t&) = delete;
    explicit parse_run_t(const std::string& input) {
        memory = data_allocate(hp_predict_memory(parse_input(input)));
        u8* mark = log_test_mark(log_main);
        tokens = hp_tokenizer(&memory, parse_input(input), 0, &error);
        report = log_test_since(log_main, mark);
        mark = log_test_mark(log_main);
        html_tokens_print(&tokens);
        lines = log_test_since(log_main, mark);
    }
    ~parse_run_t() { data_free(&memory); }
};

// Tokens and then the tree, as the entry views run them.
struct tree_run_t {
    parse_run_t parse;
    data_t memory = {};
    html_tree_t tree = {};
    html_parser_error_t error = 0;
    std::string printed;  // html_tree_print's lines

    tree_run_t(const std::string& input, bool ignore_errors) : parse(input) {
        memory = data_allocate(hp_predict_tree_memory(&parse.tokens));
        tree = hp_tree_construction(&memory, &parse.tokens, ignore_errors ? 1 : 0, &error);
        u8* mark = log_test_mark(log_main);
        html_tree_print(&tree);
        printed = log_test_since(log_main, mark);
    }
    ~tree_run_t() { data_free(&memory); }
};
