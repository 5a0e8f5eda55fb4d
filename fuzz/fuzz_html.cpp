// Arbitrary bytes through the HTML parser: encoding detection, the tokenizer in
// blocks of exactly the predicted size, both modes of the tree, and the walk. No
// input may stop the program, reach past a block, or make the runs of plain text
// read differently from one character at a time.
#include <string.h>

#include <vector>

#include "base/data.h"
#include "html/stream.h"
#include "html/tokenizer.h"
#include "html/tree.h"

static void expect(bool condition) {
    if (!condition) __builtin_trap();
}

// A block in memory of exactly `size` bytes, so that a write past it is caught.
struct fuzz_block_t {
    std::vector<u8> bytes;
    data_t block;
    explicit fuzz_block_t(u64 size) : bytes(size ? size : 1) { block = data_make(size, 0, bytes.data()); }
};

static bool same_string(data_t a, data_t b) { return a.used == b.used && (a.used == 0 || !memcmp(a.bytes, b.bytes, a.used)); }

static void expect_same_tokens(const html_tokens_t& a, const html_tokens_t& b) {
    expect(a.token_count == b.token_count && a.attribute_count == b.attribute_count);
    for (u64 i = 0; i < a.token_count; i++) {
        const html_token_t& x = a.tokens[i];
        const html_token_t& y = b.tokens[i];
        expect(x.kind == y.kind);
        if (x.kind == html_token_start_tag || x.kind == html_token_end_tag) {
            expect(same_string(x.name, y.name) && x.self_closing == y.self_closing &&
                   x.attribute_count == y.attribute_count);
            for (u32 k = 0; k < x.attribute_count; k++) {
                expect(same_string(x.attributes[k].name, y.attributes[k].name));
                expect(same_string(x.attributes[k].value, y.attributes[k].value));
                expect(!x.attributes[k].value.bytes == !y.attributes[k].value.bytes);
            }
        } else if (x.kind == html_token_doctype) {
            expect(x.legacy == y.legacy);
        } else {
            expect(same_string(x.text, y.text));
        }
    }
}

static void walk_tree(html_tree_t* tree) {
    if (!tree->nodes) return;
    fuzz_block_t walk_memory(hp_tree_walk_size(tree->node_count));
    html_parser_error_t error = 0;
    hp_tree_walk_t walk = hp_tree_walk_start(&walk_memory.block, tree->nodes, tree->node_count, &error);
    expect(!error);
    u64 visits = 0;
    while (hp_tree_walk_has_more(&walk)) {
        html_node_t* node = hp_tree_walk_current(&walk);
        expect(node != nullptr);
        hp_tree_walk_next(&walk);
        expect(++visits <= 2 * tree->node_count);
    }
}

extern "C" int LLVMFuzzerTestOneInput(const u8* bytes, size_t size) {
    std::vector<u8> copy(bytes, bytes + size);
    data_t input = data_from_size(size, copy.data());
    hp_detect_encoding(input);

    u64 predicted = hp_predict_memory(input);
    fuzz_block_t memory(predicted);
    html_parser_error_t error = 0;
    html_tokens_t tokens = hp_tokenizer(&memory.block, input, 0, &error);
    expect(memory.block.used <= predicted);
    expect(tokens.token_count <= hp_predict_max_tokens(size));
    expect(tokens.text_block.used <= size * 4);

    fuzz_block_t slow_memory(predicted);
    html_parser_error_t slow_error = 0;
    html_tokens_t slow = hp_tokenizer(&slow_memory.block, input, hp_flag_per_character, &slow_error);
    expect(error == slow_error);
    expect_same_tokens(tokens, slow);

    for (b32 ignore_errors = 0; ignore_errors <= 1; ignore_errors++) {
        u64 tree_predicted = hp_predict_tree_memory(&tokens);
        fuzz_block_t tree_memory(tree_predicted);
        html_parser_error_t tree_error = 0;
        html_tree_t tree = hp_tree_construction(&tree_memory.block, &tokens, ignore_errors, &tree_error);
        expect(tree_memory.block.used <= tree_predicted);
        expect(!ignore_errors || tree_error == 0);
        walk_tree(&tree);
    }
    return 0;
}
