// The entry view: the head of the selected entry, its description parsed once per
// selection, and the passes that lay both out in the right panel.
#include "views/view_entry.h"

#include "app/app.h"
#include "base/date.h"
#include "base/format.h"
#include "base/log.h"
#include "base/text.h"
#include "html/tokenizer.h"
#include "profiler/profiler.h"
#include "store/reader.h"
#include "ui/ui_core.h"
#include "ui/ui_layout_bars.h"
#include "views/panel.h"
#include "views/html_view.h"
#include "views/panel_draw.h"

static const f32 entry_padding[4] = {4, 4, 4, 4};

bool entry_feed_is_video(data_t feed_address) {
    return data_starts_with(feed_address, data_literal("https://www.youtube.com/feeds/videos.xml?")) ||
           data_starts_with(feed_address, data_literal("http://www.youtube.com/feeds/videos.xml?"));
}

data_t entry_enclosure_name(data_t url) {
    u64 slash = url.used;
    for (u64 i = url.used; i > 0; i--) {
        if (url.bytes[i - 1] == '/') {
            slash = i - 1;
            break;
        }
    }
    if (slash == url.used) return url;
    u64 start = slash + 1, end = start;
    while (end < url.used && url.bytes[end] != '?') end++;
    return data_from_range(url.bytes + start, url.bytes + end);
}

// The extension is read from the address's path: a query or a fragment is no part
// of it, so "a.jpg?w=1" is a picture (servers that scale pictures take the size
// there). It must be png, jpg or jpeg exactly: "a.PNG" is not one.
bool entry_enclosure_is_picture(data_t url) {
    u64 end = 0;
    while (end < url.used && url.bytes[end] != '?' && url.bytes[end] != '#') end++;
    u64 dot = end;
    for (u64 i = end; i > 0; i--) {
        if (url.bytes[i - 1] == '.') {
            dot = i;
            break;
        }
        if (url.bytes[i - 1] == '/') break;
    }
    if (dot == end) return false;
    data_t extension = data_from_range(url.bytes + dot, url.bytes + end);
    return data_equal(extension, data_literal("png")) || data_equal(extension, data_literal("jpg")) ||
           data_equal(extension, data_literal("jpeg"));
}

static bool is_trim_space(u8 c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f'; }

static data_t trim(data_t text) {
    u64 start = 0, end = text.used;
    while (start < end && is_trim_space(text.bytes[start])) start++;
    while (end > start && is_trim_space(text.bytes[end - 1])) end--;
    return data_from_range(text.bytes + start, text.bytes + end);
}

static data_t date_text(date_t date, data_t* block) {
    if (date_is_zero(date)) return data_t{};
    return date_to_string(date, block, 0, data_literal(" - "));
}

entry_head_t entry_head_rss(reader_t* reader, const feed_t* feed, const entry_t* entry, data_t* block) {
    entry_head_t head = {};
    const entry_rss_t& rss = entry->rss;
    head.title = rss.title;
    head.link = rss.guid_is_perma_link ? rss.guid : rss.link;
    head.date_text = date_text(rss.pub_date, block);
    head.author_text = rss.author;
    head.description = rss.description;
    head.enclosure_url = rss.enclosure_url;
    if (rss.enclosure_url.used) {
        feed_meta_t* meta = feed ? reader_find_meta(reader, feed->id) : nullptr;
        u32 flags = meta ? meta->flags : 0;
        head.show_enclosure = !(flags & feed_meta_hide_enclosure);
        head.show_enclosure_picture =
            (flags & feed_meta_draw_enclosure_picture) && entry_enclosure_is_picture(rss.enclosure_url);
        head.enclosure_name = entry_enclosure_name(rss.enclosure_url);
        head.enclosure_size = format_size_in_block(rss.enclosure_length, block);
    }
    return head;
}

// Names of the entry's persons in relations of `kind`, joined with ", ".
static data_t person_names(reader_t* reader, const entry_t* entry, u32 kind, u32 total, data_t* block, u32* count) {
    data_t names = {};
    names.bytes = data_end(*block);
    u64 start = block->used;
    u32 seen = 0;
    *count = 0;
    for (u32 i = 0; i < reader->relations.max_entry_count && seen < total; i++) {
        relation_t* relation = (relation_t*)pool_at(&reader->relations, sizeof(relation_t), i);
        if (relation->owner_id != entry->id) continue;
        if (relation->kind != relation_atom_entry_author && relation->kind != relation_atom_entry_contributor) continue;
        seen++;
        if (relation->kind != kind) continue;
        person_t* person = reader_find_person(reader, relation->target_id);
        if (!person) continue;
        if (*count) data_push_string(block, ", ", 2);
        data_push_string(block, person->name.bytes, person->name.used);
        (*count)++;
    }
    names.used = block->used - start;
    names.reserved = names.used;
    return names;
}

entry_head_t entry_head_atom(reader_t* reader, const feed_t* feed, const entry_t* entry, data_t* block) {
    entry_head_t head = {};
    const entry_atom_t& atom = entry->atom;
    head.title = trim(atom.title);
    head.link = reader_atom_link_by_rel(reader, entry->id, atom.link_count, atom_owner_entry, atom_rel_alternate);
    head.date_text = date_text(atom.updated, block);
    u32 total = atom.author_count + atom.contributor_count, authors = 0;
    head.author_text = person_names(reader, entry, relation_atom_entry_author, total, block, &authors);
    head.contributor_text =
        person_names(reader, entry, relation_atom_entry_contributor, total, block, &head.contributor_count);
    head.video_feed = feed && entry_feed_is_video(feed->address);
    if (head.video_feed)
        head.description = atom.content;
    else
        head.description = atom.summary.used ? atom.summary : atom.content;
    return head;
}


// ---------------------------------------------------------------------------
// The parse, once per selection

// The reservation outlives the panel: a program started again in the same process
// (the tests do so) finds it committed as far as it went.
static data_t html_region_kept;

data_t html_memory_push(panel_t* panel, u64 size) {
    if (!panel->html_region.bytes) {
        if (!html_region_kept.bytes) html_region_kept = data_reserve(html_memory_reserve_size);
        panel->html_region = html_region_kept;
        panel->html_memory = data_make(panel->html_region.used, 0, panel->html_region.bytes);
    }
    data_t* memory = &panel->html_memory;
    u64 needed = memory->used + align_padding((u64)data_end(*memory), 8) + size;
    while (needed > memory->reserved) {
        if (!data_commit(&panel->html_region, html_memory_commit_step)) return data_t{};
        memory->reserved = panel->html_region.used;
        html_region_kept = panel->html_region;
    }
    return data_sub_block(memory, size, 8);
}

// What the parser wrote on the main log since `mark`, on the log panel; a tree
// that ran out of memory has no report of its own.
static void entry_parse_report(u8* mark, data_t* scratch) {
    u64 saved = scratch->used;
    data_t copy = data_sub_block_rest(scratch, 1);
    log_copy_since(log_main, mark, &copy);
    log_paragraph_start(log_user);
    if (copy.used) {
        log_write(log_user, copy);
    } else {
        log_write_c_string(log_user,
                           "This entry's HTML needs more memory than was foreseen; it is shown as plain text.");
    }
    scratch->used = saved;
}

void entry_content_parse(panel_t* panel, data_t description, data_t* scratch) {
    panel->html_memory.used = 0;
    panel->html_tokens = html_tokens_t{};
    panel->html_tree = html_tree_t{};
    panel->html_walk = hp_tree_walk_t{};
    panel->html_end = 0;
    panel->html_reported = 0;
    panel->html_cache = html_cache_t{};
    panel->content_parsed = 1;
    log_reserve(log_main, 0);
    u8* mark = data_end(log_channel(log_main)->text);

    html_parser_error_t error = 0;
    data_t block = html_memory_push(panel, hp_predict_memory(description));
    if (!block.bytes) {
        log_paragraph_start(log_user);
        log_write_c_string(log_user,
                           "This entry's HTML is too long for the entry view's 100 MiB; it is shown as plain text.");
        return;
    }
    panel->html_tokens = hp_tokenizer(&block, description, 0, &error);
    if (!error) {
        block = html_memory_push(panel, hp_predict_tree_memory(&panel->html_tokens));
        if (!block.bytes) error = html_tree_construction_error_not_enough_memory;
    }
    if (!error) {
        // Whatever the tree couldn't place is left out, and the rest is shown;
        // only a tree that ran out of memory is no tree.
        panel->html_tree = hp_tree_construction(&block, &panel->html_tokens, 1, &error);
        if (error != html_tree_construction_error_not_enough_memory) error = 0;
    }
    if (!error) {
        block = html_memory_push(panel, hp_tree_walk_size(panel->html_tree.node_count));
        panel->html_walk = hp_tree_walk_start(&block, panel->html_tree.nodes, panel->html_tree.node_count, &error);
    }
    if (!error) html_cache_create(panel);
    if (error) {
        panel->html_walk = hp_tree_walk_t{};
        entry_parse_report(mark, scratch);
    }
}

// ---------------------------------------------------------------------------
// The layout

// The head's link and the enclosure are widgets of their own sites: their marks
// name these, which keep their address from frame to frame.
static data_t entry_head_link, entry_enclosure_link;

static void entry_link_use(app_t* app, reader_t* reader, layout_t* layout, layout_item_t* label, const data_t* link) {
    if (layout->state == layout_state_logic && link_text_logic(app->ui, pair_from_pointer(link), label)) {
        html_link_use(app->panel, reader, *link);
    }
}

// A piece of text in the link colour, between the marks that make it a link.
static layout_item_t* entry_link_text(layout_t* layout, const data_t* link, data_t text) {
    layout_mark(layout, html_mark_link, (u64)(uintptr_t)link);
    layout_push_colour(layout, html_link_colour);
    layout_item_t* label = layout_string(layout, text);
    layout_pop_colour(layout);
    layout_mark(layout, html_mark_link, 0);
    return label;
}

static void entry_head(app_t* app, reader_t* reader, layout_t* layout, const entry_head_t& head, u32 is_atom) {
    PROFILE_ZONE(layout_pass_header);
    f32 width = layout_remaining(layout);
    layout_set_flags(layout, layout_flag_partly_visible);
    layout_push_colour(layout, colour_white);
    layout_set_wrap(layout, 0, width, layout_wrap_eat_space);
    layout_new_line(layout);
    layout_advance(layout, 0, 5, 0);
    layout_set_font(layout, 2);
    layout_string(layout, head.title);

    bool has_contributors = is_atom && head.contributor_text.used;
    bool date_line = head.date_text.used || head.author_text.used || has_contributors;
    if (date_line) {
        layout_new_line(layout);
        layout_set_font(layout, 0);
        layout_advance(layout, 0, 10, 0);
        layout_string(layout, head.date_text);
        if (head.author_text.used) {
            if (head.date_text.used) layout_string(layout, data_literal(" - "));
            layout_string(layout, head.author_text);
        }
        if (has_contributors) {
            if (head.author_text.used) {
                layout_string(layout, data_literal(" "));
            } else if (head.date_text.used) {
                layout_string(layout, data_literal(" - "));
            }
            layout_string(layout, head.contributor_count < 2 ? data_literal("Contributor: ")
                                                             : data_literal("Contributors: "));
            layout_string(layout, head.contributor_text);
        }
    }

    if (head.link.used) {
        // On the title's line and in its font when there is no date line.
        if (head.title.used || date_line) layout_string(layout, data_literal(" - "));
        const entry_t* entry = app->panel->selected_entry;
        const feed_t* feed = reader_find_feed_by_id(reader, entry->feed_id);
        feed_meta_t* meta = feed ? reader_find_meta(reader, feed->id) : nullptr;
        link_target_t* target = meta && meta->link_target ? meta->link_target : &reader->link_targets[0];
        data_t label = target->queue_enabled ? data_literal("Queue article") : data_literal("Open article");
        entry_head_link = head.link;
        entry_link_use(app, reader, layout, entry_link_text(layout, &entry_head_link, label), &entry_head_link);
    }

    if (!is_atom && head.enclosure_url.used && head.show_enclosure) {
        layout_new_line(layout);
        layout_set_font(layout, 0);
        layout_advance(layout, 0, 5, 0);
        entry_enclosure_link = head.enclosure_url;
        layout_item_t* name = entry_link_text(layout, &entry_enclosure_link, head.enclosure_name);
        entry_link_use(app, reader, layout, name, &entry_enclosure_link);
        layout_string(layout, data_literal(" - "));
        layout_string(layout, head.enclosure_size);
    }
}

// A picture of the head's own (the enclosure, a video's thumbnail): it loads as
// soon as the view shows, with its address as its description.
static void entry_picture(app_t* app, layout_t* layout, const data_t* url) {
    u32 entry_id = app->panel->selected_entry->id;
    html_picture(layout, entry_id, url, *url, layout->state == layout_state_logic, true);
}

static void entry_content(app_t* app, reader_t* reader, layout_t* layout, const entry_head_t& head,
                          entry_t* entry, u32 is_atom) {
    PROFILE_ZONE(layout_pass_content);
    panel_t* panel = app->panel;
    if (head.description.used) {
        layout_new_line(layout);
        layout_advance(layout, 0, 10, 0);
        html_tree_t* tree = &panel->html_tree;
        bool has_tree = panel->html_walk.stack != nullptr;
        bool trivial = has_tree && tree->node_count == 2 && tree->nodes[1].kind == html_node_kind_text;
        if (!has_tree || trivial) {
            if (is_atom && head.video_feed) {
                entry_picture(app, layout, &entry->atom.summary);
                layout_new_line(layout);
                layout_advance(layout, 0, 5, 0);
            }
            // Text alone: a trivial tree's one text, with its references read; a
            // description that didn't parse, as it stands.
            layout_set_font(layout, 1);
            layout_string(layout, trivial ? tree->nodes[1].text : head.description);
        } else {
            html_pass(panel, layout, &panel->html_walk, 1, app, reader);
        }
    }
    if (!is_atom && head.enclosure_url.used && head.show_enclosure_picture) {
        layout_new_line(layout);
        layout_advance(layout, 0, 5, 0);
        entry_picture(app, layout, &entry->rss.enclosure_url);
    }
}

static void draw_entry(app_t* app, reader_t* reader, rect_t rect, const entry_head_t& head, entry_t* entry,
                       u32 is_atom) {
    panel_t* panel = app->panel;
    ui_t* ui = app->ui;
    if (head.description.used && !panel->content_parsed) entry_content_parse(panel, head.description, &app->scratch);
    layout_t layout;
    layout_create(&layout, &app->scratch, ui->fonts, rect, panel->entry_scroll.x, panel->entry_scroll.y,
                  entry_padding);
    {
        PROFILE_ZONE(layout_passes);
        while (layout_pass_start(&layout)) {
            ui_set_mode(ui, ui_mode_from_layout(&layout));
            view_scroll_bars(&panel->entry_scroll, ui, &layout, rect);
            if (layout_pass_ready(&layout, 0)) continue;
            entry_head(app, reader, &layout, head, is_atom);
            entry_content(app, reader, &layout, head, entry, is_atom);
            layout_finish(&layout);
        }
    }
    ui_set_mode(ui, ui_mode_both);
    ui_set_clip(ui, rect_t{layout.x, layout.y, layout.x + layout.width, layout.y + layout.height});
    panel_draw_items(app, panel, &layout);
    ui_set_clip(ui, rect);
}

void draw_entry_rss(app_t* app, reader_t* reader, rect_t rect) {
    PROFILE_ZONE(draw_entry_rss);
    entry_t* entry = app->panel->selected_entry;
    ASSERT(entry && entry->id && (entry->kind & 0x7FFFFFFFu) == record_kind_rss);
    const feed_t* feed = reader_find_feed_by_id(reader, entry->feed_id);
    entry_head_t head = entry_head_rss(reader, feed, entry, &app->scratch);
    draw_entry(app, reader, rect, head, entry, 0);
}

void draw_entry_atom(app_t* app, reader_t* reader, rect_t rect) {
    PROFILE_ZONE(draw_entry_atom);
    entry_t* entry = app->panel->selected_entry;
    ASSERT(entry && entry->id && (entry->kind & 0x7FFFFFFFu) == record_kind_atom);
    entry_head_t head;
    {
        PROFILE_ZONE(draw_entry_atom_header);
        const feed_t* feed = reader_find_feed_by_id(reader, entry->feed_id);
        head = entry_head_atom(reader, feed, entry, &app->scratch);
    }
    draw_entry(app, reader, rect, head, entry, 1);
}
