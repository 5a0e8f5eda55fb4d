// The tokenizer's output: token records, their attributes, and the three blocks
// that hold them. All strings point into the result's text block.
#pragma once

#include "base/data.h"

typedef u32 html_token_kind_t;
enum : u32 {
    html_token_none = 0,  // nothing under construction
    html_token_doctype = 1,
    html_token_start_tag = 2,
    html_token_end_tag = 3,
    html_token_comment = 4,
    html_token_cdata = 5,
    html_token_text = 6,
};

// A missing value has null bytes; so has value="" unless a code point was pushed.
struct html_attribute_token_t {
    data_t name;
    data_t value;
};

struct html_token_t {
    html_token_kind_t kind;
    union {
        struct {  // doctype
            u32 legacy;  // 1 with the about:legacy-compat system string
        };
        struct {  // start tag, end tag
            data_t name;
            u32 self_closing;
            u32 attribute_count;
            html_attribute_token_t* attributes;
        };
        struct {  // comment, CDATA, text
            data_t text;
        };
    };
};

struct html_tokens_t {
    data_t token_block;
    data_t attribute_block;
    data_t text_block;
    html_token_t* tokens;
    u64 token_count;
    u64 attribute_count;  // of all start tags
    u32 encoding;
};
