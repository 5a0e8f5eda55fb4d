// Tree construction from the token list, node access, searches and the walk.
#include "html/tree.h"

#include "base/log.h"
#include "base/text.h"
#include "html/tokenizer.h"
#include "profiler/profiler.h"

u64 hp_predict_tree_memory(html_tokens_t* tokens) {
    u64 t = tokens->token_count + 1;
    u64 size = t * sizeof(html_node_t) + 8;
    size += align_padding(size, 8);
    size += tokens->attribute_count * sizeof(html_attribute_t);
    size += align_padding(size, 8);
    size += t * sizeof(html_node_t*);
    size += tokens->text_block.used;
    size += align_padding(size, 8);
    size += t * sizeof(html_node_t*);
    return size;
}

struct hp_tree_builder_t {
    html_tree_t* tree;
    html_node_t** stack;
    u64 depth;
    u8 previous_character;
    b32 in_preformatted;
    b32 preformatted_started;
    // Tokens of a subtree that found its parent full, counted down to its end.
    u64 dropped_depth;
    b32 told_full;
};

static html_node_t* hp_tree_push_node(hp_tree_builder_t* builder) {
    html_node_t* node = (html_node_t*)data_push(&builder->tree->node_block, sizeof(html_node_t), 8);
    ASSERT(node);  // one node per token at most, and the block holds one per token
    *node = html_node_t{};
    builder->tree->node_count++;
    return node;
}

// child_count is 16 bits: an element with that many children takes no more, and
// what would have been its next children is dropped, subtrees included.
static bool hp_tree_parent_full(hp_tree_builder_t* builder, html_node_t* parent) {
    if (parent->child_count < html_node_max_children) return false;
    if (!builder->told_full) {
        builder->told_full = 1;
        log_write_c_string(log_user, "An element of this content has more than 65535 children; "
                                     "the children after those are dropped.\n");
    }
    return true;
}

static bool hp_node_has_attribute(html_node_t* node, html_attribute_name_t name) {
    for (u32 i = 0; i < node->attribute_count; i++) {
        if (node->attributes[i].name == name) return true;
    }
    return false;
}

static void hp_tree_start_tag(hp_tree_builder_t* builder, html_token_t* token, b32 ignore_errors,
                              html_parser_error_t* error) {
    html_tree_t* tree = builder->tree;
    html_element_t element = html_element_lookup(token->name.bytes, token->name.used);
    b32 opens = !token->self_closing && !html_element_is(element, html_element_flag_void);
    if (builder->dropped_depth) {
        if (element && opens) builder->dropped_depth++;
        return;
    }
    if (!element) {
        *error = html_tree_construction_error_element_invalid_start_name;
        return;
    }
    html_node_t local = {};
    local.kind = html_node_kind_element;
    local.element = element;
    local.attributes = (html_attribute_t*)data_end(tree->attribute_block);
    u64 attribute_block_used = tree->attribute_block.used;
    for (u32 i = 0; i < token->attribute_count && !*error; i++) {
        html_attribute_token_t* source = token->attributes + i;
        html_attribute_name_t name = html_attribute_lookup(source->name.bytes, source->name.used);
        if (!name) {
            *error = html_tree_construction_error_attribute_invalid_name;
        } else if (!html_attribute_allowed(element, name)) {
            *error = html_tree_construction_error_attribute_not_allowed_in_element;
        } else if (hp_node_has_attribute(&local, name)) {
            *error = html_tree_construction_error_attribute_name_already_present;
        } else {
            html_attribute_t* attribute =
                (html_attribute_t*)data_push(&tree->attribute_block, sizeof(html_attribute_t), 8);
            ASSERT(attribute);  // the block holds every attribute of every token
            attribute->name = name;
            attribute->value = data_t{};
            if (source->value.used) {
                u8* copy = data_push_string(&tree->text_block, source->value.bytes, source->value.used);
                ASSERT(copy);
                attribute->value = data_from_size(source->value.used, copy);
            }
            local.attribute_count++;
        }
        if (ignore_errors) *error = 0;
    }
    html_node_t* parent = builder->stack[builder->depth - 1];
    if (*error || hp_tree_parent_full(builder, parent)) {
        tree->attribute_block.used = attribute_block_used;
        if (!*error && opens) builder->dropped_depth = 1;
        return;
    }
    html_node_t* node = hp_tree_push_node(builder);
    *node = local;
    node->parent = parent;
    parent->child_count++;
    tree->attribute_count += node->attribute_count;
    if (opens) builder->stack[builder->depth++] = node;
    if (element == html_element_br || !html_element_is(element, html_element_flag_phrasing)) {
        builder->previous_character = 0;
    }
    if (element == html_element_pre || element == html_element_textarea) {
        builder->in_preformatted = 1;
        builder->preformatted_started = 0;
    }
}

static void hp_tree_end_tag(hp_tree_builder_t* builder, html_token_t* token, html_parser_error_t* error) {
    html_element_t element = html_element_lookup(token->name.bytes, token->name.used);
    if (builder->dropped_depth) {
        if (element) builder->dropped_depth--;
        return;
    }
    if (!element) {
        *error = html_tree_construction_error_element_invalid_end_name;
        return;
    }
    if (builder->depth == 0) {
        *error = html_tree_construction_error_element_end_with_no_open_element;
        return;
    }
    if (builder->stack[builder->depth - 1]->element != element) {
        *error = html_tree_construction_error_element_unexpected_end;
        return;
    }
    builder->depth--;
    if (element == html_element_pre) {
        // The first </pre> of nested ones already ended the preformatted text.
        if (!builder->in_preformatted) {
            log_write_c_string(log_user, "A pre element stands inside another one; white space after the "
                                         "inner one is collapsed.\n");
        }
        builder->in_preformatted = 0;
    }
}

static void hp_tree_text(hp_tree_builder_t* builder, html_token_t* token) {
    html_tree_t* tree = builder->tree;
    ASSERT(token->text.bytes);
    if (builder->dropped_depth) return;
    const u8* p = token->text.bytes;
    const u8* end = p + token->text.used;
    ASSERT(token->text.used <= tree->text_block.reserved - tree->text_block.used);
    u8* out = data_end(tree->text_block);
    u64 count = 0;
    if (!builder->in_preformatted) {
        u8 previous = builder->previous_character;
        b32 keep_one = previous != 0 && previous != ' ';
        const u8* first = p;
        while (p < end && hp_is_space(*p)) p++;
        if (p != first && keep_one) p--;
        b32 in_run = 0;
        for (; p < end; p++) {
            u8 b = *p;
            if (!hp_is_space(b)) {
                out[count++] = b;
                previous = b;
                in_run = 0;
            } else if (!in_run) {
                out[count++] = ' ';
                previous = ' ';
                in_run = 1;
            }
        }
        builder->previous_character = previous;
    } else {
        if (!builder->preformatted_started) {
            if (p < end && *p == '\n') {
                p++;
            } else if (p < end && *p == '\r') {
                p++;
                if (p < end && *p == '\n') p++;
            }
            builder->preformatted_started = 1;
        }
        for (; p < end; p++) out[count++] = *p;
    }
    if (count == 0) return;
    html_node_t* parent = builder->stack[builder->depth - 1];
    if (hp_tree_parent_full(builder, parent)) return;
    data_push(&tree->text_block, count, 1);
    html_node_t* node = hp_tree_push_node(builder);
    node->kind = html_node_kind_text;
    node->parent = parent;
    node->text = data_from_size(count, out);
    parent->child_count++;
}

html_tree_t hp_tree_construction(data_t* block, html_tokens_t* tokens, b32 ignore_errors,
                                 html_parser_error_t* error) {
    PROFILE_ZONE(hp_tree_construction);
    html_tree_t tree = {};
    u64 t = tokens->token_count + 1;
    u64 block_used = block->used;
    bool ok = true;
    tree.node_block = data_sub_block_try(block, t * sizeof(html_node_t), 8, &ok);
    tree.attribute_block = data_sub_block_try(block, tokens->attribute_count * sizeof(html_attribute_t), 8, &ok);
    tree.child_block = data_sub_block_try(block, t * sizeof(html_node_t*), 8, &ok);
    tree.text_block = data_sub_block_try(block, tokens->text_block.used, 1, &ok);
    data_t stack_block = data_sub_block_try(block, t * sizeof(html_node_t*), 8, &ok);
    if (!ok) {
        block->used = block_used;
        *error = html_tree_construction_error_not_enough_memory;
        return html_tree_t{};
    }
    tree.nodes = (html_node_t*)tree.node_block.bytes;
    tree.attributes = (html_attribute_t*)tree.attribute_block.bytes;
    tree.children = (html_node_t**)tree.child_block.bytes;

    hp_tree_builder_t builder = {};
    builder.tree = &tree;
    builder.stack = (html_node_t**)stack_block.bytes;
    html_node_t* root = hp_tree_push_node(&builder);
    root->kind = html_node_kind_element;
    root->element = html_element_invalid;
    builder.stack[builder.depth++] = root;

    html_parser_error_t local = 0;
    for (u64 i = 0; i < tokens->token_count && (!local || ignore_errors); i++) {
        html_token_t* token = tokens->tokens + i;
        switch (token->kind) {
        case html_token_start_tag: hp_tree_start_tag(&builder, token, ignore_errors, &local); break;
        case html_token_end_tag: hp_tree_end_tag(&builder, token, &local); break;
        case html_token_text: hp_tree_text(&builder, token); break;
        case html_token_doctype:
        case html_token_comment:
        case html_token_cdata: break;
        default: ASSERT(false);
        }
        if (ignore_errors) local = 0;
    }
    if (!local && builder.depth > 1) local = html_tree_construction_error_unclosed_tags;

    // Counted first, then allocated, then filled: parents stand before their
    // children in the node array, so each array exists when its children come.
    for (u64 i = 0; i < tree.node_count; i++) {
        html_node_t* node = tree.nodes + i;
        if (node->kind == html_node_kind_element) {
            node->children = (html_node_t**)data_push(&tree.child_block, node->child_count * sizeof(html_node_t*), 8);
            ASSERT(node->children);
            node->child_count = 0;
        }
        if (node->parent) {
            html_node_t* parent = node->parent;
            parent->children[parent->child_count++] = node;
        }
    }

    u64 unused = data_shrink_to_used(&tree.text_block);
    data_pop(block, unused);
    if (ignore_errors) local = 0;
    *error = local;
    return tree;
}

// ---- access ----

bool html_node_is_text(html_node_t* node) { return node && node->kind == html_node_kind_text; }

bool html_node_is_element(html_node_t* node, html_element_t element) {
    return node && node->kind == html_node_kind_element && (element == 0 || node->element == element);
}

html_node_t* html_node_child(html_node_t* node, u64 index) {
    if (!node || node->kind != html_node_kind_element || index >= node->child_count) return nullptr;
    return node->children[index];
}

html_attribute_t* html_node_attribute(html_node_t* node, html_attribute_name_t name) {
    if (!node || node->kind != html_node_kind_element) return nullptr;
    for (u32 i = 0; i < node->attribute_count; i++) {
        if (node->attributes[i].name == name) return node->attributes + i;
    }
    return nullptr;
}

// ---- walk ----

u64 hp_tree_walk_size(u64 node_count) { return node_count * 4 + 4; }

hp_tree_walk_t hp_tree_walk_start(data_t* block, html_node_t* root, u64 node_count, html_parser_error_t* error) {
    hp_tree_walk_t walk = {};
    walk.stack = (u32*)data_push(block, hp_tree_walk_size(node_count), 4);
    if (!walk.stack) *error = html_tree_traversal_error_not_enough_memory;
    walk.node = root;
    return walk;
}

bool hp_tree_walk_has_more(hp_tree_walk_t* walk) {
    return walk->index < walk->node->child_count || walk->node->parent;
}

bool hp_tree_walk_is_opening(hp_tree_walk_t* walk) { return walk->index < walk->node->child_count; }

bool hp_tree_walk_is_closing(hp_tree_walk_t* walk) { return !hp_tree_walk_is_opening(walk); }

html_node_t* hp_tree_walk_current(hp_tree_walk_t* walk) {
    if (hp_tree_walk_is_opening(walk)) return walk->node->children[walk->index];
    return walk->node->parent->children[walk->stack[walk->depth - 1]];
}

void hp_tree_walk_next(hp_tree_walk_t* walk) {
    if (hp_tree_walk_is_closing(walk)) {
        walk->node = walk->node->parent;
        walk->depth--;
        walk->index = walk->stack[walk->depth];
        walk->index++;
        return;
    }
    html_node_t* child = walk->node->children[walk->index];
    if (child->kind == html_node_kind_element && !html_element_is(child->element, html_element_flag_void)) {
        walk->stack[walk->depth] = walk->index;
        walk->depth++;
        walk->node = child;
        walk->index = 0;
    } else {
        walk->index++;
    }
}
