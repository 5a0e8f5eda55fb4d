// The passes over an entry's HTML: the size pass walks the tree into items, the
// interact pass gives links and pictures their behaviour, the skip pass steps over
// the items while they are drawn.
#include "views/html_view.h"

#include "app/app.h"
#include "app/frame_loop.h"
#include "base/log.h"
#include "html/tree.h"
#include "image/image_query.h"
#include "layout/layout.h"
#include "net/http_file.h"
#include "platform/thread.h"
#include "profiler/profiler.h"
#include "store/reader.h"
#include "ui/ui_button.h"
#include "ui/ui_core.h"
#include "views/links.h"
#include "views/panel.h"
#include "views/view_entry.h"

u32 html_image_state(image_query_t* query) {
    return query ? image_query_frame_state(query, frame_counter) : image_state_free;
}

static image_room_t image_room(const layout_t* layout) {
    return image_room_t{layout->state, layout->width, layout->height, layout->padding_left, layout->padding_right,
                        layout->max_y};
}

static void text_red(layout_t* layout, data_t text) {
    layout_push_colour(layout, html_error_colour);
    layout_string(layout, text);
    layout_pop_colour(layout);
}

void image_placeholder_text(layout_t* layout, data_t alternate, const data_t* url, image_query_t* query) {
    layout_box(layout, 1, 1, (u64)(uintptr_t)url, 0);
    layout_item_t* open = layout_string(layout, data_literal("[img]"));
    layout_string(layout, alternate);
    switch (html_image_state(query)) {
        case image_state_load_error:
            layout_push_colour(layout, html_error_colour);
            layout_string(layout, data_literal(" Loading error."));
            if (query->error < http_error_count) {
                layout_string(layout, data_literal(" Code: "));
                layout_string(layout, http_error_name(query->error));
            }
            layout_pop_colour(layout);
            break;
        case image_state_loaded:
        case image_state_resizing: layout_string(layout, data_literal(" Resizing\xE2\x80\xA6")); break;
        case image_state_resize_error: text_red(layout, data_literal(" Resize error.")); break;
        case image_state_invalid_size: text_red(layout, data_literal(" Invalide size requested.")); break;
        default: layout_string(layout, data_literal(" Loading...")); break;
    }
    layout_item_t* close = layout_string(layout, data_literal("[/img]"));
    // The picture will take the placeholder's place: its height is what the
    // request for a size counts as already laid out.
    if (layout->state == layout_state_measure && query && open != &layout->null_item &&
        close != &layout->null_item) {
        query->placeholder_height = close->text.bounds.y0 - open->text.bounds.y0;
    }
}

// The passes before the slot existed saw no slot, which shows as loading: a slot
// made now shows so too for the rest of the frame, though its worker may be done
// before the frame is.
static image_query_t* image_query_start(u32 entry_id, const data_t* url) {
    image_query_t* query = image_query_get(entry_id, *url, false);
    if (query) return query;
    query = image_query_get(entry_id, *url, true);
    if (query) {
        query->seen_frame = frame_counter;
        query->frame_state = image_state_loading;
    }
    return query;
}

void html_picture(layout_t* layout, u32 entry_id, const data_t* url, data_t alternate, bool start, bool resize) {
    image_query_t* query = start ? image_query_start(entry_id, url) : image_query_get(entry_id, *url, false);
    u32 state = html_image_state(query);
    if (state == image_state_ready) {
        layout_box(layout, (f32)query->requested_width, (f32)query->requested_height, (u64)(uintptr_t)url,
                   layout_box_pen_right | layout_box_pen_below);
        return;
    }
    if (state == image_state_loaded && resize) image_request_resize(image_room(layout), query);
    image_placeholder_text(layout, alternate, url, query);
}

// ---------------------------------------------------------------------------
// The size pass

struct html_walk_state_t {
    panel_t* panel;
    layout_t* layout;
    const data_t* link;  // the href of the open link
    u32 skip_text;
};

static bool is_heading(html_element_t element) {
    return element >= html_element_h1 && element <= html_element_h6;
}

static void link_close(html_walk_state_t* s) {
    if (!s->link) return;
    layout_mark(s->layout, html_mark_link, 0);
    layout_pop_colour(s->layout);
    s->link = nullptr;
}

static void image_enter(html_walk_state_t* s, html_node_t* node) {
    layout_t* layout = s->layout;
    panel_t* panel = s->panel;
    layout_new_line(layout);
    layout_advance(layout, 0, 5, 0);
    html_attribute_t* alt = html_node_attribute(node, html_attribute_alt);
    data_t alternate = alt ? alt->value : data_literal("No alternate description.");
    html_attribute_t* source = html_node_attribute(node, html_attribute_src);
    if (source) {
        u32 entry_id = panel->selected_entry ? panel->selected_entry->id : 0;
        html_picture(layout, entry_id, &source->value, alternate, false, false);
    } else {
        // Nothing to load: the placeholder says what the picture was, and its box
        // has no address, so the widget pass starts nothing.
        if (!(panel->html_reported & html_report_image_without_source)) {
            panel->html_reported |= html_report_image_without_source;
            log_paragraph_start(log_user);
            log_write_c_string(log_user,
                               "A picture of this entry has no address (an img without src); its description is "
                               "shown in its place.");
        }
        image_placeholder_text(layout, alternate, nullptr, nullptr);
    }
    layout_advance(layout, 0, 5, 0);
    layout_new_line(layout);
}

static void element_enter(html_walk_state_t* s, html_node_t* node) {
    layout_t* layout = s->layout;
    html_element_t element = node->element;
    if (!html_element_is(element, html_element_flag_phrasing) || element == html_element_br) layout_new_line(layout);
    if (element == html_element_a) {
        // A link inside a link ends the outer one, and so does an a without href.
        link_close(s);
        html_attribute_t* href = html_node_attribute(node, html_attribute_href);
        if (href) {
            s->link = &href->value;
            layout_mark(layout, html_mark_link, (u64)(uintptr_t)s->link);
            layout_push_colour(layout, html_link_colour);
        }
    } else if (element == html_element_style || element == html_element_script) {
        s->skip_text = 1;
    } else if (is_heading(element)) {
        layout_advance(layout, 0, 10, 0);
        layout_set_font(layout, 2);
    } else if (element == html_element_img) {
        image_enter(s, node);
    }
}

static void element_leave(html_walk_state_t* s, html_node_t* node) {
    html_element_t element = node->element;
    if (element == html_element_a) {
        link_close(s);
    } else if (element == html_element_style || element == html_element_script) {
        s->skip_text = 0;
    } else if (is_heading(element)) {
        // Back to the text font, whatever font the pass began with.
        layout_set_font(s->layout, 1);
        layout_advance(s->layout, 0, 10, 0);
    }
}

// ---------------------------------------------------------------------------
// The cache of a whole walk

constexpr u32 html_checkpoint_capacity = 16384;
constexpr u64 html_checkpoint_stack_capacity = 262144;
// Checkpoints lie at least this far apart, and the walk takes up from one this far
// above the view and stops this far below it.
constexpr f32 html_checkpoint_spacing = 64;
constexpr f32 html_view_margin = 128;

void html_cache_create(panel_t* panel) {
    html_cache_t* cache = &panel->html_cache;
    *cache = html_cache_t{};
    u64 count = panel->html_tree.node_count < html_checkpoint_capacity ? panel->html_tree.node_count
                                                                        : html_checkpoint_capacity;
    data_t checkpoints = html_memory_push(panel, count * sizeof(html_checkpoint_t));
    data_t stacks = html_memory_push(panel, html_checkpoint_stack_capacity * sizeof(u32));
    if (!checkpoints.bytes || !stacks.bytes) return;
    cache->checkpoints = (html_checkpoint_t*)checkpoints.bytes;
    cache->checkpoint_capacity = (u32)count;
    cache->stacks = (u32*)stacks.bytes;
    cache->stack_capacity = html_checkpoint_stack_capacity;
}

// The entry's picture slots and the states this frame sees them in: a picture that
// moves on changes the heights below it.
static u64 html_pictures_digest(u32 entry_id) {
    u64 digest = 1469598103934665603ull;
    for (u64 i = 0; i < image_query_count; i++) {
        image_query_t* query = &image_queries[i];
        if (query->entry_id != entry_id || atomic_load_acquire_u32(&query->state) == image_state_free) continue;
        digest = (digest ^ (i << 4 | html_image_state(query))) * 1099511628211ull;
    }
    return digest;
}

static bool html_cache_holds(const html_cache_t* cache, const layout_t* layout, u32 font, u64 pictures) {
    return cache->valid && cache->wrap_width == layout->wrap_width && cache->font == font &&
           cache->pictures == pictures;
}

static void html_checkpoint_record(html_cache_t* cache, const hp_tree_walk_t* walk, const html_walk_state_t* s,
                                   f32 y) {
    if (cache->checkpoint_count == cache->checkpoint_capacity) return;
    if (cache->checkpoint_count && y - cache->checkpoints[cache->checkpoint_count - 1].y < html_checkpoint_spacing) {
        return;
    }
    if (cache->stack_used + walk->depth > cache->stack_capacity) return;
    html_checkpoint_t* c = &cache->checkpoints[cache->checkpoint_count++];
    *c = html_checkpoint_t{walk->node, walk->index, (u32)walk->depth, cache->stack_used, y,
                           s->layout->font, s->link, s->skip_text};
    for (u64 i = 0; i < walk->depth; i++) cache->stacks[cache->stack_used++] = walk->stack[i];
}

// The last checkpoint that lies well above the view's top; null when none does.
static const html_checkpoint_t* html_checkpoint_above(const html_cache_t* cache, f32 top) {
    u32 low = 0, high = cache->checkpoint_count;
    while (low < high) {
        u32 middle = (low + high) / 2;
        if (cache->checkpoints[middle].y + html_view_margin < top) {
            low = middle + 1;
        } else {
            high = middle;
        }
    }
    return low ? &cache->checkpoints[low - 1] : nullptr;
}

// The walk taken up at `c`, an advance standing for everything before it.
static void html_checkpoint_resume(const html_cache_t* cache, const html_checkpoint_t* c, hp_tree_walk_t* walk,
                                   html_walk_state_t* s) {
    walk->node = c->node;
    walk->index = c->index;
    walk->depth = c->depth;
    for (u64 i = 0; i < c->depth; i++) walk->stack[i] = cache->stacks[c->stack + i];
    layout_set_font(s->layout, c->font);
    s->skip_text = c->skip_text;
    if (c->link) {
        s->link = c->link;
        layout_mark(s->layout, html_mark_link, (u64)(uintptr_t)s->link);
        layout_push_colour(s->layout, html_link_colour);
    }
    layout_advance(s->layout, 0, c->y, 0);
}

static bool html_opens_block(hp_tree_walk_t* walk, html_node_t* node) {
    return node->kind == html_node_kind_element && hp_tree_walk_is_opening(walk) &&
           !html_element_is(node->element, html_element_flag_phrasing);
}

void html_size_pass(panel_t* panel, layout_t* layout, hp_tree_walk_t* walk, u32 font) {
    PROFILE_ZONE(html_size_pass);
    walk->node = panel->html_tree.nodes;
    walk->depth = 0;
    walk->index = 0;
    layout_new_line(layout);
    layout_set_font(layout, font);
    html_walk_state_t s = {panel, layout, nullptr, 0};
    html_cache_t* cache = &panel->html_cache;
    f32 start = layout->max_y;
    u64 pictures = cache->checkpoints && panel->selected_entry ? html_pictures_digest(panel->selected_entry->id) : 0;
    bool cached = html_cache_holds(cache, layout, font, pictures);
    // A first measure without bars stops at the view's end when the content is
    // long: it would only wipe a cache that the measure with the bar can use.
    bool may_stop = layout->state == layout_state_measure && !layout->vertical_bar && !layout->horizontal_bar;
    bool recording = !cached && cache->checkpoints && !may_stop;
    if (recording) {
        cache->valid = 0;
        cache->checkpoint_count = 0;
        cache->stack_used = 0;
    }
    if (cached) {
        const html_checkpoint_t* above = html_checkpoint_above(cache, layout->scroll_y - start);
        if (above) html_checkpoint_resume(cache, above, walk, &s);
    }
    bool whole = true;
    while (hp_tree_walk_has_more(walk)) {
        if (layout_would_overflow(layout)) {
            whole = false;
            break;
        }
        html_node_t* node = hp_tree_walk_current(walk);
        if (html_opens_block(walk, node)) {
            if (recording) html_checkpoint_record(cache, walk, &s, layout->max_y - start);
            // Well below the view: the rest is known by its height.
            if (cached && layout->max_y > layout->scroll_y + layout->height + html_view_margin) {
                layout_advance(layout, 0, start + cache->height - layout->pen_y, 0);
                break;
            }
        }
        if (node->kind == html_node_kind_text) {
            if (!s.skip_text) layout_string(layout, node->text);
        } else if (hp_tree_walk_is_opening(walk)) {
            element_enter(&s, node);
        } else {
            element_leave(&s, node);
        }
        hp_tree_walk_next(walk);
    }
    if (cached && layout->max_x < cache->max_x) layout_box(layout, cache->max_x - layout->pen_x, 0, 0, 0);
    if (recording && whole && !layout->items_dropped) {
        cache->valid = 1;
        cache->wrap_width = layout->wrap_width;
        cache->font = font;
        cache->pictures = pictures;
        cache->height = layout->max_y - start;
        cache->max_x = layout->max_x;
    }
    // A whole walk leaves every a it enters, so only a walk cut short (at the
    // view's end, or with the rest known by its height) comes here with a link
    // open. That is the passes' own doing and says nothing on the log; the link
    // is closed so that its colour and its mark don't reach the items that follow.
    link_close(&s);
}

// ---------------------------------------------------------------------------
// Links

bool link_logic(ui_t* ui, pair_t id, rect_t rect) {
    bool clicked = ui_click_logic(ui, id, rect, ui_kind_button) != 0;
    if (ui_is_hot(ui, id)) ui->cursor = ui_cursor_hand;
    return clicked;
}

// The run under the mouse, else the first that holds text: a link's runs share its
// id, so its logic runs once per item, on the part that matters.
static const layout_line_t* text_run_for_logic(const ui_t* ui, pair_t id, const layout_text_t* text) {
    const layout_line_t* first = nullptr;
    for (u32 i = 0; i < text->run_count; i++) {
        const layout_line_t* run = &text->runs[i];
        if (!run->bytes) continue;
        if (!first) first = run;
        if (ui_hit_test(ui, id, run->rect)) return run;
    }
    return first;
}

bool link_text_logic(ui_t* ui, pair_t id, const layout_item_t* text_item) {
    ASSERT(text_item->kind == layout_item_text);
    if (ui->mode > ui_mode_logic || !text_item->text.length) return false;
    const layout_line_t* run = text_run_for_logic(ui, id, &text_item->text);
    return run && link_logic(ui, id, run->rect);
}

void html_link_use(panel_t* panel, reader_t* reader, data_t link) {
    const entry_t* entry = panel->selected_entry;
    const feed_t* feed = entry ? reader_find_feed_by_id(reader, entry->feed_id) : panel->selected_feed;
    link_open_for_feed(reader, feed, link);
    panel->frame_requested = 1;
}

// ---------------------------------------------------------------------------
// The interact and skip passes

static bool item_under_mouse(const ui_t* ui, pair_t id, const layout_item_t* item) {
    if (item->kind == layout_item_box) return ui_hit_test(ui, id, item->box.rect);
    for (u32 i = 0; i < item->text.run_count; i++) {
        if (item->text.runs[i].bytes && ui_hit_test(ui, id, item->text.runs[i].rect)) return true;
    }
    return false;
}

static const data_t* mark_link(const layout_item_t* item, const data_t* link) {
    if (item->mark.a == html_mark_link) return (const data_t*)(uintptr_t)item->mark.b;
    ASSERT(item->mark.a == html_mark_reserved);
    return link;
}

// A link split over several items (a bold word inside it) is one widget: hot goes
// to it before any part runs its logic, so that a release over the second part
// still clicks after the first part has looked.
static void links_take_hot(ui_t* ui, panel_t* panel, layout_t* layout) {
    if (ui->mode > ui_mode_logic) return;
    const data_t* link = nullptr;
    for (u64 i = layout->item_index; i < panel->html_end && i < layout->item_count; i++) {
        const layout_item_t* item = &layout->items[i];
        if (item->kind == layout_item_mark) {
            link = mark_link(item, link);
        } else if (link && (item->kind == layout_item_text || item->kind == layout_item_box) &&
                   layout_item_visible(layout, item)) {
            pair_t id = pair_from_pointer(link);
            if (item_under_mouse(ui, id, item)) {
                ui_hot_take(ui, id);
                return;
            }
        }
    }
}

void html_interact_pass(ui_t* ui, panel_t* panel, reader_t* reader, layout_t* layout) {
    if (layout->restart) return;
    links_take_hot(ui, panel, layout);
    u32 entry_id = panel->selected_entry ? panel->selected_entry->id : 0;
    const data_t* link = nullptr;
    bool clicked = false;
    for (; layout->item_index < panel->html_end && layout->item_index < layout->item_count; layout->item_index++) {
        layout_item_t* item = &layout->items[layout->item_index];
        switch (item->kind) {
            case layout_item_mark: link = mark_link(item, link); break;
            case layout_item_text:
                if (link && !clicked && layout_item_visible(layout, item) &&
                    link_text_logic(ui, pair_from_pointer(link), item)) {
                    clicked = true;
                    html_link_use(panel, reader, *link);
                }
                break;
            case layout_item_box: {
                if (!item->box.user || !layout_item_visible(layout, item)) break;
                // Only a picture in view loads: this is where its download starts.
                const data_t* url = (const data_t*)(uintptr_t)item->box.user;
                image_query_t* query = image_query_start(entry_id, url);
                u32 state = html_image_state(query);
                if (state == image_state_loaded) {
                    image_request_resize(image_room(layout), query);
                } else if (state == image_state_ready && link && !clicked && ui->mode <= ui_mode_logic &&
                           link_logic(ui, pair_from_pointer(link), item->box.rect)) {
                    clicked = true;
                    html_link_use(panel, reader, *link);
                }
                break;
            }
            default: layout_replay_state(layout, item); break;
        }
    }
}

void html_skip_pass(panel_t* panel, layout_t* layout) {
    for (; layout->item_index < panel->html_end && layout->item_index < layout->item_count; layout->item_index++) {
        layout_replay_state(layout, &layout->items[layout->item_index]);
    }
}

void html_pass(panel_t* panel, layout_t* layout, hp_tree_walk_t* walk, u32 font, app_t* ctx, reader_t* reader) {
    if (layout_is_building(layout)) {
        html_size_pass(panel, layout, walk, font);
        panel->html_end = layout->item_index;
    } else if (layout->state == layout_state_logic) {
        html_interact_pass(ctx->ui, panel, reader, layout);
    } else if (layout->state == layout_state_draw) {
        html_skip_pass(panel, layout);
    }
}
