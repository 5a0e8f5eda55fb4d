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

// Channel 0 is a ring of 5 MiB and a print of a large document is longer: the
// print is drained to standard output as it goes. Text is lost only where one
// line is longer than the whole ring, and the output says so there.
struct html_tool_output_t {
    u8* mark;
    u64 wraps;
    bool cut;
};

static void html_tool_output_start(html_tool_output_t* output) {
    log_reserve(log_main, 0);
    log_channel_t* log = log_channel(log_main);
    output->mark = data_end(log->text);
    output->wraps = log->wraps;
}

static void html_tool_drain(void* user) {
    html_tool_output_t* output = (html_tool_output_t*)user;
    log_channel_t* log = log_channel(log_main);
    u8* start = log->text.bytes;
    u8* now = data_end(log->text);
    u64 wrapped = log->wraps - output->wraps;
    if (wrapped == 0) {
        tool_write(stdout, output->mark, (u64)(now - output->mark));
    } else {
        // The old text is whole after one wrap whose new text hasn't reached it.
        if (wrapped == 1 && now <= output->mark) {
            tool_write(stdout, output->mark, (u64)(start + log->overflow_end - output->mark));
        } else {
            output->cut = true;
            printf("## Output cut here: a line was longer than the 5 MiB log ##\n");
        }
        u8* newest = start + log_overflow_mark.used;
        tool_write(stdout, newest, (u64)(now - newest));
    }
    output->mark = now;
    output->wraps = log->wraps;
}

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
    u8* report_mark = data_end(log_channel(log_main)->text);
    html_tokens_t tokens = hp_tokenizer(&token_memory, input, 0, &error);
    data_t report = data_allocate(log_channel(log_main)->text.reserved);
    log_copy_since(log_main, report_mark, &report);

    html_tool_output_t output = {};
    html_tool_output_start(&output);
    html_tokens_print(&tokens, html_tool_drain, &output);
    html_tool_drain(&output);

    html_parser_error_t tree_error = 0;
    if (print_tree && !error) {
        data_t tree_memory = data_allocate(hp_predict_tree_memory(&tokens));
        html_tree_t tree = hp_tree_construction(&tree_memory, &tokens, strict ? 0 : 1, &tree_error);
        html_tool_output_start(&output);
        html_tree_print(&tree, html_tool_drain, &output);
        html_tool_drain(&output);
        data_free(&tree_memory);
    }
    if (output.cut) fprintf(stderr, "newsloom-tool html: the output was cut where a line was longer than the log\n");

    tool_write(stdout, report.bytes, report.used);
    if (error && !html_parser_error_messages[error]) printf("Error: %s\n", html_parser_error_names[error]);
    if (tree_error) printf("Tree error: %s\n", html_parser_error_names[tree_error]);
    data_free(&report);
    data_free(&token_memory);
    if (input.bytes) data_free(&input);
    return error || tree_error ? 1 : 0;
}

TOOL_COMMAND("html", "[-tree] [-strict] FILE", tool_html);
