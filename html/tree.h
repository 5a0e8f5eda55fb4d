// The tree of an entry's HTML: construction from the tokens with one stack of open
// elements and no implied tags, white-space collapsing outside pre and textarea,
// the accessors and searches that views use, and a depth-first walk.
#pragma once

#include "html/tables.h"
#include "html/token.h"

enum : u8 {
    html_node_kind_element = 1,
    html_node_kind_text = 2,
};

struct html_attribute_t {
    data_t value;  // used 0 when the attribute has no value
    html_attribute_name_t name;
};

struct html_node_t {
    u8 kind;
    html_node_t* parent;  // null at the root
    union {
        struct {  // element
            html_attribute_t* attributes;
            html_node_t** children;  // in document order
            u16 child_count;
            u8 attribute_count;
            html_element_t element;  // 0 at the root
        };
        struct {  // text
            data_t text;  // UTF-8 in the tree's text block, reserved = used
        };
    };
};

struct html_tree_t {
    html_node_t* nodes;  // document order; the first is the root
    u64 node_count;
    html_attribute_t* attributes;
    u64 attribute_count;
    html_node_t** children;  // all child arrays, one after the other
    data_t node_block;
    data_t text_block;
    data_t attribute_block;
    data_t child_block;
};

// The most children one element can hold; further ones are dropped.
constexpr u32 html_node_max_children = 65535;

u64 hp_predict_tree_memory(html_tokens_t* tokens);
// Without ignore_errors the first error ends the construction; with it, the
// offending tag or attribute is skipped. Only a memory error survives
// ignore_errors.
html_tree_t hp_tree_construction(data_t* block, html_tokens_t* tokens, b32 ignore_errors,
                                 html_parser_error_t* error);

// Node access; a null node is tolerated.
bool html_node_is_text(html_node_t* node);
// element 0 matches any element.
bool html_node_is_element(html_node_t* node, html_element_t element);
html_node_t* html_node_child(html_node_t* node, u64 index);
html_attribute_t* html_node_attribute(html_node_t* node, html_attribute_name_t name);

// Depth first, no recursion and nothing written into the nodes, so several walks
// can run on one tree. Text and void elements are visited once, as opening; other
// elements twice; the root never.
struct hp_tree_walk_t {
    u32* stack;
    u64 depth;
    html_node_t* node;
    u32 index;
};

u64 hp_tree_walk_size(u64 node_count);
hp_tree_walk_t hp_tree_walk_start(data_t* block, html_node_t* root, u64 node_count, html_parser_error_t* error);
bool hp_tree_walk_has_more(hp_tree_walk_t* walk);
bool hp_tree_walk_is_opening(hp_tree_walk_t* walk);
bool hp_tree_walk_is_closing(hp_tree_walk_t* walk);
html_node_t* hp_tree_walk_current(hp_tree_walk_t* walk);
void hp_tree_walk_next(hp_tree_walk_t* walk);
