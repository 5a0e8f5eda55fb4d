#include "views/view_entry.h"

#include "app/app.h"
#include "base/date.h"
#include "base/format.h"
#include "base/text.h"
#include "store/reader.h"
#include "ui/ui_core.h"
#include "views/panel.h"
#include "views/text_view.h"

static const f32 entry_padding[4] = {4, 4, 4, 4};
static const colour_t entry_link_colour = {0.94f, 0.46f, 0.14f, 1};

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

bool entry_enclosure_is_picture(data_t url) {
    u64 dot = url.used;
    for (u64 i = url.used; i > 0; i--) {
        if (url.bytes[i - 1] == '.') {
            dot = i;
            break;
        }
        if (url.bytes[i - 1] == '/') break;
    }
    if (dot == url.used) return false;
    data_t extension = data_from_range(url.bytes + dot, url.bytes + url.used);
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
    (void)reader;
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
        head.show_enclosure = !(flags & 4);
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

static link_target_t* entry_link_target(reader_t* reader, const entry_t* entry) {
    feed_meta_t* meta = reader_find_meta(reader, entry->feed_id);
    if (meta && meta->link_target) return meta->link_target;
    return &reader->link_targets[0];
}

// One piece of the head, drawn where the previous one ended; returns its height.
static f32 draw_piece(app_t* app, rect_t rect, f32 top, u32 font, data_t text, colour_t colour, u32 wrap) {
    rect_t piece = {rect.x0, rect.y0, rect.x1, rect.y1 - top};
    if (piece.y1 <= piece.y0 || !text.used) return 0;
    static const f32 no_padding[4] = {0, 0, 4, 4};
    text_view_t size = text_view_draw(app->ui, &app->scratch, piece, no_padding, font, text, colour, wrap, 0, 0);
    return size.content_height;
}

static void draw_entry(app_t* app, reader_t* reader, rect_t rect, const entry_head_t& head, const entry_t* entry,
                       u32 is_atom) {
    panel_t* panel = app->panel;
    ui_set_clip(app->ui, rect);
    f32 top = entry_padding[0] + 5 - panel->entry_scroll.y;
    top += draw_piece(app, rect, top, 2, head.title, colour_white, 1);
    data_t* block = &app->scratch;
    bool date_line = head.date_text.used || head.author_text.used || (is_atom && head.contributor_text.used);
    if (date_line) {
        data_t line = {};
        line.bytes = data_end(*block);
        u64 start = block->used;
        data_push_data(block, head.date_text, 1);
        if (head.author_text.used) {
            if (head.date_text.used) data_push_c_string(block, " - ");
            data_push_data(block, head.author_text, 1);
        }
        if (is_atom && head.contributor_text.used) {
            if (head.date_text.used) data_push_c_string(block, head.author_text.used ? " " : " - ");
            data_push_c_string(block, head.contributor_count < 2 ? "Contributor: " : "Contributors: ");
            data_push_data(block, head.contributor_text, 1);
        }
        line.used = line.reserved = block->used - start;
        top += 10 + draw_piece(app, rect, top + 10, 0, line, colour_white, 1);
    }
    if (head.link.used) {
        data_t label = entry_link_target(reader, entry)->queue_enabled ? data_literal("Queue article")
                                                                       : data_literal("Open article");
        top += draw_piece(app, rect, top, date_line ? 0 : 2, label, entry_link_colour, 1);
    }
    if (!is_atom && head.enclosure_url.used && head.show_enclosure) {
        top += 5 + draw_piece(app, rect, top + 5, 0, head.enclosure_name, entry_link_colour, 1);
        top += draw_piece(app, rect, top, 0, head.enclosure_size, colour_white, 1);
    }
    if (head.description.used) {
        // Markup is shown as it stands until the HTML layout draws it.
        top += 10 + draw_piece(app, rect, top + 10, 1, head.description, colour_white, 1);
    }
}

void draw_entry_rss(app_t* app, reader_t* reader, rect_t rect) {
    const entry_t* entry = app->panel->selected_entry;
    ASSERT(entry && entry->id && (entry->kind & 0x7FFFFFFFu) == record_kind_rss);
    const feed_t* feed = reader_find_feed_by_id(reader, entry->feed_id);
    entry_head_t head = entry_head_rss(reader, feed, entry, &app->scratch);
    draw_entry(app, reader, rect, head, entry, 0);
}

void draw_entry_atom(app_t* app, reader_t* reader, rect_t rect) {
    const entry_t* entry = app->panel->selected_entry;
    ASSERT(entry && entry->id && (entry->kind & 0x7FFFFFFFu) == record_kind_atom);
    const feed_t* feed = reader_find_feed_by_id(reader, entry->feed_id);
    entry_head_t head = entry_head_atom(reader, feed, entry, &app->scratch);
    draw_entry(app, reader, rect, head, entry, 1);
}
