// newsloom-tool html [-tree] [-strict] FILE: an entry's HTML as the strict parser
// sees it. Prints the tokens, with -tree the tree, then the parser's report. The
// tree is built forgiving, as the entry views build it, unless -strict is given.
#include <cstdio>
#include <cstring>

#include "base/data.h"
#include "base/file.h"
#include "base/log.h"
#include "html/diagnostics.h"
#include "html/tokenizer.h"
#include "html/tree.h"
#include "tools/tool.h"

// Copies what channel 0 received since `mark` to standard output.
static void html_tool_flush(u8* mark) {
    log_channel_t* log = log_channel(log_main);
    data_t copy = data_allocate(log->text.reserved);
    if (!copy.bytes) return;
    log_copy_since(log_main, mark, &copy);
    tool_write(stdout, copy.bytes, copy.used);
    data_free(&copy);
}

static u8* html_tool_mark() { return data_end(log_channel(log_main)->text); }

static int tool_html(int argc, char** argv) {
    bool print_tree = false;
    bool strict = false;
    const char* file = nullptr;
    for (int i = 1; i < argc; i++) {
        if (strcmp(argv[i], "-tree") == 0) {
            print_tree = true;
        } else if (strcmp(argv[i], "-strict") == 0) {
            strict = true;
        } else if (!file) {
            file = argv[i];
        } else {
            file = nullptr;
            break;
        }
    }
    if (!file) {
        fprintf(stderr, "usage: newsloom-tool html [-tree] [-strict] FILE\n");
        return 2;
    }
    file_error_t file_error = 0;
    data_t input = file_read_all(data_from_size(strlen(file), file), false, &file_error);
    if (file_error) {
        fprintf(stderr, "newsloom-tool html: cannot read '%s'\n", file);
        return 2;
    }

    data_t token_memory = data_allocate(hp_predict_memory(input));
    html_parser_error_t error = 0;
    // The report is written while tokenizing; it is shown after the tokens.
    log_reserve(log_main, 0);
    u8* report_mark = html_tool_mark();
    html_tokens_t tokens = hp_tokenizer(&token_memory, input, 0, &error);
    data_t report = data_allocate(log_channel(log_main)->text.reserved);
    log_copy_since(log_main, report_mark, &report);

    u8* mark = html_tool_mark();
    html_tokens_print(&tokens);
    html_tool_flush(mark);

    html_parser_error_t tree_error = 0;
    if (print_tree && !error) {
        data_t tree_memory = data_allocate(hp_predict_tree_memory(&tokens));
        html_tree_t tree = hp_tree_construction(&tree_memory, &tokens, strict ? 0 : 1, &tree_error);
        mark = html_tool_mark();
        html_tree_print(&tree);
        html_tool_flush(mark);
        data_free(&tree_memory);
    }

    tool_write(stdout, report.bytes, report.used);
    if (error && !html_parser_error_messages[error]) printf("Error: %s\n", html_parser_error_names[error]);
    if (tree_error) printf("Tree error: %s\n", html_parser_error_names[tree_error]);
    data_free(&report);
    data_free(&token_memory);
    if (input.bytes) data_free(&input);
    return error || tree_error ? 1 : 0;
}

TOOL_COMMAND("html", "[-tree] [-strict] FILE", tool_html);
