// The mapping of RSS 0.9x/2.0, RSS 1.0 and Atom documents onto the reader's records.
// A fixed table from element and attribute names to fields: anything else is
// ignored. A pool that fills keeps what fits; the rest is dropped and said once.
#include "store/feed_merge.h"

#include <cstddef>

#include "base/date.h"
#include "base/format.h"
#include "base/log.h"
#include "base/text.h"
#include "store/link_resolve.h"
#include "store/reader_seams.h"
#include "store/xml_scanner.h"

struct merge_t {
    reader_t* reader;
    data_t* arena;
    u32 encoding;
    feed_t* feed;
    bool is_youtube;
    date_t previous_date;
    date_t max_date;
    // What relative links are resolved against: the feed's address, or the
    // xml:base in force.
    data_t base;
    // What didn't fit, for the one line on the log panel.
    u32 dropped_entries;
    u32 dropped_records;
    u32 cut_texts;
};

static void merge_store(merge_t* m, data_t value, data_t* field) {
    if (!reader_store_text(m->reader, value, field, m->reader->codepoints, m->encoding, m->arena)) m->cut_texts++;
}

// Text already decoded, as it stands.
static void merge_store_string(merge_t* m, data_t text, data_t* field) {
    if (!reader_try_store_string(m->reader, text, field)) m->cut_texts++;
}

// ---------------------------------------------------------------------------
// Values

enum : u32 {
    value_text = 0,
    value_html = 1,  // a field whose text is HTML: description, content, summary
};

static data_t text_trim(data_t text) {
    u8* first = text.bytes;
    u8* end = text.bytes + text.used;
    while (first < end && char_is_space(*first)) first++;
    while (end > first && char_is_space(end[-1])) end--;
    return data_make(text.reserved ? (u64)(end - first) : 0, (u64)(end - first), first);
}

static bool bytes_are_space(const u8* p, const u8* end) {
    while (p < end && char_is_space(*p)) p++;
    return p == end;
}

static bool node_is_markup(const xml_node_t* node) { return node->tag == xml_tag_cdata || node->tag == xml_tag_comment; }

// The one CDATA section of an element that holds nothing else but white space.
static xml_node_t* node_lone_cdata(xml_node_t* node) {
    if (node->child_count != 1 || node->children[0]->tag != xml_tag_cdata) return nullptr;
    xml_node_t* cdata = node->children[0];
    const u8* inner_end = node->inner.bytes + node->inner.used;
    const u8* section_start = cdata->text.bytes - 9;  // "<![CDATA["
    const u8* section_end = cdata->text.bytes + cdata->text.used + 3;  // "]]>"
    if (!bytes_are_space(node->inner.bytes, section_start) || !bytes_are_space(section_end, inner_end)) return nullptr;
    return cdata;
}

static bool node_has_elements(xml_node_t* node) {
    for (u32 i = 0; i < node->child_count; i++) {
        if (!node_is_markup(node->children[i])) return true;
    }
    return false;
}

// The end of the tag that starts at p: its '>' outside quotes, or `end`.
static const u8* tag_end(const u8* p, const u8* end) {
    u8 quote = 0;
    for (; p < end; p++) {
        if (quote) {
            if (*p == quote) quote = 0;
        } else if (*p == '"' || *p == '\'') {
            quote = *p;
        } else if (*p == '>') {
            return p;
        }
    }
    return end;
}

// The bytes between an element's tags as a reader sees them, pushed to the arena:
// text runs and the insides of CDATA sections, without comments, and without tags
// unless `keep_tags`. False when the arena has no room.
static bool node_flatten(data_t* arena, data_t inner, bool keep_tags, data_t* result) {
    data_t out = data_free_view_64(arena);
    out.used = 0;
    auto put = [&](const u8* first, const u8* last) {
        u64 size = (u64)(last - first);
        if (out.used + size > out.reserved) return false;
        bytes_copy(out.bytes + out.used, first, size);
        out.used += size;
        return true;
    };
    u8* p = inner.bytes;
    u8* end = inner.bytes + inner.used;
    while (p < end) {
        u8* open = (u8*)bytes_find(p, end, "<", 1);
        if (!open) open = end;
        if (!put(p, open)) return false;
        p = open;
        if (p == end) break;
        if (bytes_starts_with(p, end, "<![CDATA[", 9)) {
            u8* close = bytes_find(p + 9, end, "]]>", 3);
            if (!close) close = end;
            if (!put(p + 9, close)) return false;
            p = close == end ? end : close + 3;
        } else if (bytes_starts_with(p, end, "<!--", 4)) {
            u8* close = bytes_find(p + 4, end, "-->", 3);
            p = close ? close + 3 : end;
        } else {
            const u8* close = tag_end(p, end);
            if (close < end) close++;
            if (keep_tags && !put(p, close)) return false;
            p = (u8*)close;
        }
    }
    arena->used = (u64)(out.bytes - arena->bytes) + out.used;
    *result = data_make(out.used, out.used, out.bytes);
    return true;
}

// Stores the value of an element as a person reads it. Text alone, or one CDATA
// section with white space around it, is stored as the design has it. With markup
// inside (an xhtml title, a description with tags a feed didn't escape, text beside
// CDATA), the text runs and CDATA sections are joined; a field that holds HTML
// keeps the tags as written, others lose them.
static void merge_store_value(merge_t* m, xml_node_t* node, data_t* field, u32 kind = value_text) {
    // Text that a person reads on one line loses the white space around it, which
    // only the document's layout put there.
    auto store = [&](data_t value) { merge_store(m, kind == value_text ? text_trim(value) : value, field); };
    if (node->child_count == 0 || node->inner.used == 0) {
        store(xml_node_value(node));
        return;
    }
    if (xml_node_t* cdata = node_lone_cdata(node)) {
        store(cdata->text);
        return;
    }
    bool markup = kind == value_html && node_has_elements(node);
    u64 mark = m->arena->used;
    data_t flat = {};
    if (!node_flatten(m->arena, node->inner, markup, &flat)) {
        m->cut_texts++;
    } else if (markup) {
        if (!reader_store_markup(m->reader, flat, field, m->reader->codepoints, m->encoding, m->arena)) m->cut_texts++;
    } else {
        store(flat);
    }
    m->arena->used = mark;
}

// A feed date: the form the format names first, then the other, since feeds mix
// them up; absent (zero) when neither reads.
static date_t merge_date(data_t value, bool rfc822_first) {
    date_t date = rfc822_first ? date_parse_rfc822(value) : date_parse_rfc3339(value);
    if (date_is_zero(date)) date = rfc822_first ? date_parse_rfc3339(value) : date_parse_rfc822(value);
    return date;
}

// A link, decoded and made absolute against the base in force.
static void merge_store_link(merge_t* m, data_t value, data_t* field) {
    data_t* arena = m->arena;
    u64 mark = arena->used;
    bool complete = true;
    data_t decoded = xml_decode_text(value, m->reader->codepoints, m->encoding, arena, &complete);
    if (!complete) m->cut_texts++;
    arena->used = (u64)(decoded.bytes - arena->bytes) + decoded.used;
    merge_store_string(m, link_resolve(m->base, decoded, arena), field);
    arena->used = mark;
}

// Takes the xml:base of `node`, if it has one, as the base of what it holds, and
// gives back the base before it. The resolved base stays in the arena for the
// rest of the merge.
static data_t merge_enter_base(merge_t* m, xml_node_t* node) {
    data_t before = m->base;
    xml_attribute_t* base = nullptr;
    for (u32 i = 0; i < node->attribute_count && !base; i++) {
        if (node->attributes[i]->kind == xml_attribute_xml_base) base = node->attributes[i];
    }
    if (!base) return before;
    bool complete = true;
    data_t decoded = xml_decode_text(base->value, m->reader->codepoints, m->encoding, m->arena, &complete);
    m->arena->used = (u64)(decoded.bytes - m->arena->bytes) + decoded.used;
    data_t resolved = link_resolve(before, decoded, m->arena);
    if (link_has_scheme(resolved)) m->base = resolved;
    return before;
}

static bool name_is_literal(data_t name, const char* text) {
    return bytes_equal(name.bytes, name.used, text, text_length(text));
}

static u64 merge_number(data_t value) { return parse_u64(value.bytes, value.used); }

static xml_attribute_t* node_attribute(xml_node_t* node, xml_attribute_kind_t kind) {
    for (u32 i = 0; i < node->attribute_count; i++) {
        if (node->attributes[i]->kind == kind) return node->attributes[i];
    }
    return nullptr;
}

// ---------------------------------------------------------------------------
// Categories and persons

// A category and a person are records of one shape: an id and three strings, the
// first of which names it (term, name). One walk serves both pools.
constexpr u64 named_strings_offset = offsetof(category_t, term);
static_assert(sizeof(category_t) == sizeof(person_t) && offsetof(category_t, id) == offsetof(person_t, id) &&
              offsetof(person_t, name) == named_strings_offset &&
              offsetof(category_t, label) == named_strings_offset + 2 * sizeof(data_t) &&
              offsetof(person_t, email) == named_strings_offset + 2 * sizeof(data_t));

static u32* named_id(void* record) { return (u32*)record; }
static data_t* named_strings(void* record) { return (data_t*)((u8*)record + named_strings_offset); }

// The last record whose first string equals `name`, or 0.
static u32 reader_find_named(pool_t* pool, data_t name) {
    u32 id = 0;
    u32 seen = 0;
    for (u32 i = 0; i < pool->max_entry_count && seen < pool->entry_count; i++) {
        void* record = pool_at(pool, sizeof(category_t), i);
        if (!*named_id(record)) continue;
        seen++;
        if (reader_text_equal(named_strings(record)[0], name)) id = *named_id(record);
    }
    return id;
}

static bool relations_full(reader_t* reader) { return reader->relations.entry_count >= reader->relations.max_entry_count; }

// Finds the record by its name or makes it, and relates the owner to it unless
// that relation is already among the owner's `count`. For persons the owner's
// relations of any kind count: an owner number shared by a feed and an entry can
// thereby hide a relation, as the store always did.
static bool reader_add_named(reader_t* reader, pool_t* pool, u32* last_id, bool any_kind, u32 encoding,
                             const data_t strings[3], u32 kind, u32 owner_id, u32* count, data_t* arena) {
    u32 id = reader_find_named(pool, strings[0]);
    bool needed = true;
    if (id != 0) {
        u32 seen = 0;
        for (u32 i = 0; i < reader->relations.max_entry_count && seen < *count; i++) {
            relation_t* relation = (relation_t*)pool_at(&reader->relations, sizeof(relation_t), i);
            bool counts = any_kind ? relation_is_alive(relation) : relation->kind == kind;
            if (!counts || relation->owner_id != owner_id) continue;
            seen++;
            if (relation->target_id == id) needed = false;
        }
    }
    if (needed && relations_full(reader)) return false;
    if (id == 0) {
        void* made = pool_alloc(pool, sizeof(category_t));
        if (!made) return false;
        bytes_zero(made, sizeof(category_t));
        *last_id += 1;
        *named_id(made) = id = *last_id;
        for (u32 s = 0; s < 3; s++) {
            reader_store_text(reader, strings[s], &named_strings(made)[s], reader->codepoints, encoding, arena);
        }
    }
    if (needed) {
        relation_t* relation = (relation_t*)pool_alloc(&reader->relations, sizeof(relation_t));
        relation->kind = kind;
        relation->owner_id = owner_id;
        relation->target_id = id;
        *count += 1;
    }
    return true;
}

bool reader_add_category(reader_t* reader, u32 encoding, category_t* record, u32 kind, u32 owner_id, u32* count,
                         data_t* arena) {
    const data_t strings[3] = {record->term, record->scheme, record->label};
    return reader_add_named(reader, &reader->categories, &reader->last_category_id, false, encoding, strings, kind,
                            owner_id, count, arena);
}

bool reader_add_person(reader_t* reader, u32 encoding, person_t* record, u32 kind, u32 owner_id, u32* count,
                       data_t* arena) {
    const data_t strings[3] = {record->name, record->uri, record->email};
    return reader_add_named(reader, &reader->persons, &reader->last_person_id, true, encoding, strings, kind,
                            owner_id, count, arena);
}

feed_meta_t* reader_ensure_meta(reader_t* reader, feed_t* feed) {
    feed_meta_t* meta = reader_find_meta(reader, feed->id);
    if (meta) return meta;
    return reader_add_meta(reader, feed->id);
}

static category_t xml_read_category(xml_node_t* node) {
    category_t record = {};
    for (u32 i = 0; i < node->attribute_count; i++) {
        xml_attribute_t* attribute = node->attributes[i];
        if (attribute->kind == xml_attribute_term) record.term = attribute->value;
        if (attribute->kind == xml_attribute_scheme) record.scheme = attribute->value;
        if (attribute->kind == xml_attribute_label) record.label = attribute->value;
    }
    return record;
}

static person_t xml_read_person(xml_node_t* node) {
    person_t record = {};
    for (u32 i = 0; i < node->child_count; i++) {
        xml_node_t* child = node->children[i];
        if (child->tag == xml_tag_name) record.name = xml_node_value(child);
        if (child->tag == xml_tag_uri) record.uri = xml_node_value(child);
        if (child->tag == xml_tag_email) record.email = xml_node_value(child);
    }
    return record;
}

static void xml_read_atom_link(merge_t* m, xml_node_t* node, atom_link_t* link) {
    static const char* const rels[5] = {"alternate", "related", "self", "enclosure", "via"};
    for (u32 i = 0; i < node->attribute_count; i++) {
        xml_attribute_t* attribute = node->attributes[i];
        switch (attribute->kind) {
        case xml_attribute_length: link->length = merge_number(attribute->value); break;
        case xml_attribute_type: merge_store(m, attribute->value, &link->type); break;
        case xml_attribute_href: merge_store_link(m, attribute->value, &link->href); break;
        case xml_attribute_hreflang: merge_store(m, attribute->value, &link->hreflang); break;
        case xml_attribute_title: merge_store(m, attribute->value, &link->title); break;
        case xml_attribute_rel:
            for (u32 r = 0; r < 5; r++) {
                if (bytes_equal(attribute->value.bytes, attribute->value.used, rels[r], text_length(rels[r]))) {
                    link->rel = r;
                }
            }
            break;
        default: break;
        }
    }
}

static void merge_add_atom_link(merge_t* m, xml_node_t* node, u32 owner_kind, u32 owner_id, u32* link_count) {
    reader_t* reader = m->reader;
    atom_link_t* link = (atom_link_t*)pool_alloc(&reader->atom_links, sizeof(atom_link_t));
    if (!link) {
        m->dropped_records++;
        return;
    }
    bytes_zero(link, sizeof(atom_link_t));
    link->owner_kind = owner_kind;
    link->owner_id = owner_id;
    *link_count += 1;
    data_t base = merge_enter_base(m, node);
    xml_read_atom_link(m, node, link);
    m->base = base;
}

static void merge_add_category(merge_t* m, category_t record, u32 kind, u32 owner_id, u32* count) {
    if (!reader_add_category(m->reader, m->encoding, &record, kind, owner_id, count, m->arena)) m->dropped_records++;
}

static void merge_add_person_record(merge_t* m, person_t record, u32 kind, u32 owner_id, u32* count) {
    if (record.name.used == 0 && record.uri.used == 0 && record.email.used == 0) return;
    if (!reader_add_person(m->reader, m->encoding, &record, kind, owner_id, count, m->arena)) m->dropped_records++;
}

static void merge_add_person(merge_t* m, xml_node_t* node, u32 kind, u32 owner_id, u32* count) {
    merge_add_person_record(m, xml_read_person(node), kind, owner_id, count);
}

// The elements that stand in for a missing title, author or date: Dublin Core's
// and the podcast directory's.
struct merge_stand_ins_t {
    xml_node_t* title;
    xml_node_t* creator;  // dc:creator, else itunes:author
    xml_node_t* date;
};

static void stand_ins_note(merge_stand_ins_t* stand_ins, xml_node_t* child) {
    if (child->tag == xml_tag_dc_title) stand_ins->title = child;
    if (child->tag == xml_tag_dc_creator) stand_ins->creator = child;
    if (child->tag == xml_tag_itunes_author && !stand_ins->creator) stand_ins->creator = child;
    if (child->tag == xml_tag_dc_date) stand_ins->date = child;
}

// An Atom feed or entry without an author of its own takes the stand-in's name.
static void merge_stand_in_author(merge_t* m, xml_node_t* creator, u32 kind, u32 owner_id, u32* count) {
    if (!creator || *count) return;
    person_t record = {};
    record.name = xml_node_value(creator);
    merge_add_person_record(m, record, kind, owner_id, count);
}

// ---------------------------------------------------------------------------
// Entries

// What decides an entry's fate before it takes a slot: its dates against the
// feed's previous date, and its identity.
struct entry_head_t {
    bool rejected;     // dated at or before the feed's previous date
    date_t date;       // RSS pub_date, Atom updated
    date_t published;  // Atom only
    date_t latest;     // the latest of its dates, for the feed's own
    data_t unique_id;  // guid or id, raw
};

static void head_note_latest(entry_head_t* head, date_t date) {
    if (date_is_after(date, head->latest)) head->latest = date;
}

// An RSS 1.0 item is known by its rdf:about, which stands in for a guid it
// doesn't have.
static data_t rss_item_about(xml_node_t* item) {
    xml_attribute_t* about = node_attribute(item, xml_attribute_rdf_about);
    return about ? about->value : data_t{};
}

// An entry with no date that can be read isn't subject to the date test: it is
// read at each merge and known by its identity.
static void head_decide(merge_t* m, entry_head_t* head) {
    head->rejected = !date_is_zero(head->date) && !date_is_after(head->date, m->previous_date);
}

static entry_head_t rss_item_head(merge_t* m, xml_node_t* item) {
    entry_head_t head = {};
    date_t dc_date = {};
    for (u32 i = 0; i < item->child_count; i++) {
        xml_node_t* child = item->children[i];
        if (child->tag == xml_tag_pub_date) {
            date_t date = merge_date(xml_node_value(child), true);
            if (!date_is_zero(date)) head.date = date;
        } else if (child->tag == xml_tag_dc_date) {
            dc_date = merge_date(xml_node_value(child), false);
        } else if (child->tag == xml_tag_guid) {
            head.unique_id = xml_node_value(child);
        }
    }
    if (head.unique_id.used == 0) head.unique_id = rss_item_about(item);
    if (date_is_zero(head.date)) head.date = dc_date;
    head.latest = head.date;
    head_decide(m, &head);
    return head;
}

static entry_head_t atom_entry_head(merge_t* m, xml_node_t* node) {
    entry_head_t head = {};
    date_t updated = {};
    date_t dc_date = {};
    for (u32 i = 0; i < node->child_count; i++) {
        xml_node_t* child = node->children[i];
        switch (child->tag) {
        case xml_tag_id: head.unique_id = xml_node_value(child); break;
        case xml_tag_updated: {
            // The video service rewrites `updated` for its own reasons; its entries
            // are dated by `published`.
            date_t date = merge_date(xml_node_value(child), false);
            if (!m->is_youtube && !date_is_zero(date)) updated = date;
        } break;
        case xml_tag_published: {
            date_t date = merge_date(xml_node_value(child), false);
            if (!date_is_zero(date)) head.published = date;
        } break;
        case xml_tag_dc_date: dc_date = merge_date(xml_node_value(child), false); break;
        default: break;
        }
    }
    // Dated by `updated`, else `published`, else dc:date.
    head.date = !date_is_zero(updated) ? updated : !date_is_zero(head.published) ? head.published : dc_date;
    head_note_latest(&head, head.date);
    head_note_latest(&head, head.published);
    head_decide(m, &head);
    return head;
}

static void merge_rss_item_fields(merge_t* m, xml_node_t* item, entry_t* entry) {
    entry_rss_t* e = &entry->rss;
    merge_stand_ins_t stand_ins = {};
    for (u32 i = 0; i < item->child_count; i++) {
        xml_node_t* child = item->children[i];
        stand_ins_note(&stand_ins, child);
        switch (child->tag) {
        case xml_tag_title: merge_store_value(m, child, &e->title); break;
        case xml_tag_link: merge_store_link(m, xml_node_value(child), &e->link); break;
        case xml_tag_description: merge_store_value(m, child, &e->description, value_html); break;
        case xml_tag_author: merge_store_value(m, child, &e->author); break;
        case xml_tag_comments: merge_store_link(m, xml_node_value(child), &e->comments); break;
        case xml_tag_category: {
            category_t record = {};
            record.term = xml_node_value(child);
            merge_add_category(m, record, relation_rss_entry_category, entry->id, &e->category_count);
        } break;
        case xml_tag_enclosure:
            for (u32 a = 0; a < child->attribute_count; a++) {
                xml_attribute_t* attribute = child->attributes[a];
                if (attribute->kind == xml_attribute_url) merge_store_link(m, attribute->value, &e->enclosure_url);
                if (attribute->kind == xml_attribute_length) e->enclosure_length = merge_number(attribute->value);
                if (attribute->kind == xml_attribute_type) merge_store(m, attribute->value, &e->enclosure_type);
            }
            break;
        case xml_tag_guid: {
            merge_store(m, xml_node_value(child), &e->guid);
            e->guid_is_perma_link = 1;
            xml_attribute_t* perma = node_attribute(child, xml_attribute_is_perma_link);
            if (perma && !bytes_equal(perma->value.bytes, perma->value.used, "true", 4)) e->guid_is_perma_link = 0;
        } break;
        case xml_tag_source: {
            merge_store(m, xml_node_value(child), &e->source);
            xml_attribute_t* url = node_attribute(child, xml_attribute_url);
            if (url) merge_store_link(m, url->value, &e->source_url);
        } break;
        case xml_tag_content:
            if (e->description.used == 0) merge_store_value(m, child, &e->description, value_html);
            break;
        default: break;
        }
    }
    if (e->title.used == 0 && stand_ins.title) merge_store_value(m, stand_ins.title, &e->title);
    if (e->author.used == 0 && stand_ins.creator) merge_store_value(m, stand_ins.creator, &e->author);
    if (e->guid.used == 0 && rss_item_about(item).used) {
        merge_store(m, rss_item_about(item), &e->guid);
        e->guid_is_perma_link = 1;
    }
}

static void merge_atom_entry_fields(merge_t* m, xml_node_t* node, entry_t* entry) {
    entry_atom_t* e = &entry->atom;
    merge_stand_ins_t stand_ins = {};
    for (u32 i = 0; i < node->child_count; i++) {
        xml_node_t* child = node->children[i];
        stand_ins_note(&stand_ins, child);
        switch (child->tag) {
        case xml_tag_title: merge_store_value(m, child, &e->title); break;
        case xml_tag_source: merge_store_value(m, child, &e->source); break;
        case xml_tag_id: merge_store(m, xml_node_value(child), &e->atom_id); break;
        case xml_tag_rights: merge_store_value(m, child, &e->rights); break;
        case xml_tag_content: merge_store_value(m, child, &e->content, value_html); break;
        case xml_tag_summary: merge_store_value(m, child, &e->summary, value_html); break;
        case xml_tag_link: merge_add_atom_link(m, child, atom_owner_entry, entry->id, &e->link_count); break;
        case xml_tag_category:
            merge_add_category(m, xml_read_category(child), relation_atom_entry_category, entry->id,
                               &e->category_count);
            break;
        case xml_tag_author: merge_add_person(m, child, relation_atom_entry_author, entry->id, &e->author_count); break;
        case xml_tag_contributor:
            merge_add_person(m, child, relation_atom_entry_contributor, entry->id, &e->contributor_count);
            break;
        case xml_tag_media_group:
            for (u32 c = 0; c < child->child_count; c++) {
                xml_node_t* part = child->children[c];
                if (part->tag == xml_tag_media_thumbnail) {
                    xml_attribute_t* url = node_attribute(part, xml_attribute_url);
                    if (url) merge_store(m, url->value, &e->summary);
                } else if (part->tag == xml_tag_media_description) {
                    merge_store(m, xml_node_value(part), &e->content);
                }
            }
            break;
        default: break;
        }
    }
    if (e->title.used == 0 && stand_ins.title) merge_store_value(m, stand_ins.title, &e->title);
    merge_stand_in_author(m, stand_ins.creator, relation_atom_entry_author, entry->id, &e->author_count);
}

// With the entry pool full, an entry that replaces its earlier self takes that
// one's slot; any other is dropped.
static entry_t* merge_entry_in_full_pool(merge_t* m, data_t unique_id) {
    if (unique_id.used == 0) return nullptr;
    bool complete = true;
    data_t decoded = xml_decode_text(unique_id, m->reader->codepoints, m->encoding, m->arena, &complete);
    entry_t* old = reader_find_entry_by_unique_id(m->reader, m->feed->id, decoded);
    if (!old) return nullptr;
    reader_remove_entry(m->reader, old, m->feed);
    return reader_new_entry(m->reader);
}

// One item or entry: dropped unread when dated at or before the feed's previous
// date; otherwise stored, in place of any entry of the feed with its identity.
static void merge_entry(merge_t* m, xml_node_t* node) {
    reader_t* reader = m->reader;
    feed_t* feed = m->feed;
    bool rss = feed_kind(feed) == record_kind_rss;
    entry_head_t head = rss ? rss_item_head(m, node) : atom_entry_head(m, node);
    if (head.rejected) return;
    data_t base = merge_enter_base(m, node);
    entry_t* entry = reader_new_entry(reader);
    if (!entry) entry = merge_entry_in_full_pool(m, head.unique_id);
    if (!entry) {
        m->dropped_entries++;
        m->base = base;
        return;
    }
    if (rss) {
        entry->rss.pub_date = head.date;
        merge_rss_item_fields(m, node, entry);
    } else {
        entry->atom.updated = head.date;
        entry->atom.published = head.published;
        merge_atom_entry_fields(m, node, entry);
    }
    if (date_is_after(head.latest, m->max_date)) m->max_date = head.latest;
    data_t unique_id = rss ? entry->rss.guid : entry->atom.atom_id;  // the kind is set by the attach
    entry_t* old = reader_find_entry_by_unique_id_beside(reader, feed->id, unique_id, entry);
    if (old) reader_remove_entry(reader, old, feed);
    reader_attach_entry(reader, feed, entry);
    m->base = base;
}

// ---------------------------------------------------------------------------
// RSS

static void merge_rss_children(merge_t* m, xml_node_t* root) {
    feed_t* feed = m->feed;
    feed_rss_t* f = &feed->rss;
    merge_stand_ins_t stand_ins = {};
    bool dated = false;
    data_t base = merge_enter_base(m, root);
    for (u32 i = 0; i < root->child_count; i++) {
        xml_node_t* child = root->children[i];
        data_t value = xml_node_value(child);
        stand_ins_note(&stand_ins, child);
        switch (child->tag) {
        case xml_tag_title: merge_store_value(m, child, &f->title); break;
        case xml_tag_link: merge_store_link(m, value, &f->link); break;
        case xml_tag_description: merge_store_value(m, child, &f->description, value_html); break;
        case xml_tag_language: merge_store(m, value, &f->language); break;
        case xml_tag_copyright: merge_store_value(m, child, &f->copyright); break;
        case xml_tag_managing_editor: merge_store_value(m, child, &f->managing_editor); break;
        case xml_tag_web_master: merge_store_value(m, child, &f->web_master); break;
        case xml_tag_generator: merge_store_value(m, child, &f->generator); break;
        case xml_tag_docs: merge_store_link(m, value, &f->docs); break;
        case xml_tag_rating: merge_store(m, value, &f->rating); break;
        case xml_tag_pub_date:
        case xml_tag_last_build_date: {
            date_t date = merge_date(value, true);
            date_t* field = child->tag == xml_tag_pub_date ? &f->pub_date : &f->last_build_date;
            if (date_is_after(date, *field)) *field = date;
            dated |= child->tag == xml_tag_pub_date && !date_is_zero(date);
        } break;
        case xml_tag_category: {
            category_t record = {};
            record.term = value;
            merge_add_category(m, record, relation_rss_feed_category, feed->id, &f->category_count);
        } break;
        case xml_tag_cloud:
            for (u32 a = 0; a < child->attribute_count; a++) {
                xml_attribute_t* attribute = child->attributes[a];
                switch (attribute->kind) {
                case xml_attribute_domain: merge_store(m, attribute->value, &f->cloud_domain); break;
                case xml_attribute_port: f->cloud_port = (u32)merge_number(attribute->value); break;
                case xml_attribute_path: merge_store(m, attribute->value, &f->cloud_path); break;
                case xml_attribute_register_procedure:
                    merge_store(m, attribute->value, &f->cloud_register_procedure);
                    break;
                case xml_attribute_protocol: merge_store(m, attribute->value, &f->cloud_protocol); break;
                default: break;
                }
            }
            break;
        case xml_tag_ttl: f->ttl = (u32)merge_number(value); break;
        case xml_tag_image:
            for (u32 c = 0; c < child->child_count; c++) {
                xml_node_t* part = child->children[c];
                switch (part->tag) {
                case xml_tag_url: merge_store_link(m, part->text, &f->image_url); break;
                case xml_tag_title: merge_store(m, part->text, &f->image_title); break;
                case xml_tag_link: merge_store_link(m, part->text, &f->image_link); break;
                case xml_tag_description: merge_store(m, part->text, &f->image_description); break;
                case xml_tag_width: f->image_width = (u32)merge_number(part->text); break;
                case xml_tag_height: f->image_height = (u32)merge_number(part->text); break;
                default: break;
                }
            }
            break;
        case xml_tag_text_input:
            for (u32 c = 0; c < child->child_count; c++) {
                xml_node_t* part = child->children[c];
                switch (part->tag) {
                case xml_tag_title: merge_store(m, part->text, &f->text_input_title); break;
                case xml_tag_description: merge_store(m, part->text, &f->text_input_description); break;
                case xml_tag_name: merge_store(m, part->text, &f->text_input_name); break;
                case xml_tag_link: merge_store_link(m, part->text, &f->text_input_link); break;
                default: break;
                }
            }
            break;
        case xml_tag_skip_hours:
            for (u32 c = 0; c < child->child_count; c++) {
                xml_node_t* part = child->children[c];
                if (part->tag != xml_tag_hour) continue;
                u64 hour = merge_number(part->text);
                if (hour < 24) f->skip_hours[hour] = 1;
            }
            break;
        case xml_tag_skip_days: {
            static const char* const days[7] = {"Monday", "Tuesday", "Wednesday", "Thursday",
                                                "Friday", "Saturday", "Sunday"};
            for (u32 c = 0; c < child->child_count; c++) {
                xml_node_t* part = child->children[c];
                if (part->tag != xml_tag_day) continue;
                for (u32 d = 0; d < 7; d++) {
                    if (bytes_equal(part->text.bytes, part->text.used, days[d], text_length(days[d]))) {
                        f->skip_days[d] = 1;
                    }
                }
            }
        } break;
        case xml_tag_item: merge_entry(m, child); break;
        default: break;
        }
    }
    if (f->title.used == 0 && stand_ins.title) merge_store_value(m, stand_ins.title, &f->title);
    if (f->managing_editor.used == 0 && stand_ins.creator) merge_store_value(m, stand_ins.creator, &f->managing_editor);
    if (!dated && stand_ins.date) {
        date_t date = merge_date(xml_node_value(stand_ins.date), false);
        if (date_is_after(date, f->pub_date)) f->pub_date = date;
    }
    m->base = base;
}

// ---------------------------------------------------------------------------
// Atom

static void merge_atom_children(merge_t* m, xml_node_t* root) {
    feed_t* feed = m->feed;
    feed_atom_t* f = &feed->atom;
    merge_stand_ins_t stand_ins = {};
    data_t base = merge_enter_base(m, root);
    for (u32 i = 0; i < root->child_count; i++) {
        xml_node_t* child = root->children[i];
        stand_ins_note(&stand_ins, child);
        switch (child->tag) {
        case xml_tag_title: merge_store_value(m, child, &f->title); break;
        case xml_tag_id: merge_store(m, xml_node_value(child), &f->atom_id); break;
        case xml_tag_icon: merge_store_link(m, xml_node_value(child), &f->icon); break;
        case xml_tag_logo: merge_store_link(m, xml_node_value(child), &f->logo); break;
        case xml_tag_rights: merge_store_value(m, child, &f->rights); break;
        case xml_tag_subtitle: merge_store_value(m, child, &f->subtitle); break;
        case xml_tag_link: merge_add_atom_link(m, child, atom_owner_feed, feed->id, &f->link_count); break;
        case xml_tag_category:
            merge_add_category(m, xml_read_category(child), relation_atom_feed_category, feed->id, &f->category_count);
            break;
        case xml_tag_generator: {
            data_t value = xml_node_value(child);
            if (value.used == 0) break;
            merge_store(m, value, &f->generator);
            xml_attribute_t* uri = node_attribute(child, xml_attribute_uri);
            if (uri) merge_store_link(m, uri->value, &f->generator_uri);
            xml_attribute_t* version = node_attribute(child, xml_attribute_version);
            if (version) merge_store(m, version->value, &f->generator_version);
        } break;
        case xml_tag_author: merge_add_person(m, child, relation_atom_feed_author, feed->id, &f->author_count); break;
        case xml_tag_contributor:
            merge_add_person(m, child, relation_atom_feed_contributor, feed->id, &f->contributor_count);
            break;
        case xml_tag_updated: {
            date_t date = merge_date(xml_node_value(child), false);
            if (date_is_after(date, f->updated)) f->updated = date;
        } break;
        case xml_tag_entry: merge_entry(m, child); break;
        default: break;
        }
    }
    if (f->title.used == 0 && stand_ins.title) merge_store_value(m, stand_ins.title, &f->title);
    merge_stand_in_author(m, stand_ins.creator, relation_atom_feed_author, feed->id, &f->author_count);
    m->base = base;
}

// ---------------------------------------------------------------------------
// The document

static void merge_report_losses(merge_t* m, data_t address, u32 document_overflowed) {
    if (!m->dropped_entries && !m->dropped_records && !m->cut_texts && !document_overflowed) return;
    log_paragraph_start(log_user);
    log_write_c_string(log_user, "The store is full for feed: ");
    log_write(log_user, address);
    log_write_c_string(log_user, "\n    kept what fitted; dropped ");
    log_write_u64(log_user, m->dropped_entries);
    log_write_c_string(log_user, " entries, ");
    log_write_u64(log_user, m->dropped_records);
    log_write_c_string(log_user, " categories, persons or links, ");
    log_write_u64(log_user, m->cut_texts);
    log_write_c_string(log_user, " cut texts");
    if (document_overflowed) log_write_c_string(log_user, ", and the tags that the scanner couldn't hold");
    log_write_c_string(log_user, ".\n");
}

static bool token_opens_entry(const xml_token_t* token) {
    if (token->is_closing) return false;
    data_t name = token->name;
    if (name.used && name.bytes[name.used - 1] == '/') name.used--;  // <item/>
    return name_is_literal(name, "item") || name_is_literal(name, "entry");
}

// Items and entries in bytes that no token reached: an opening "<item" or
// "<entry" followed by the end of the name.
static u32 count_entries_in_bytes(const u8* p, const u8* end) {
    u32 count = 0;
    for (; p < end; p++) {
        if (*p != '<') continue;
        u64 left = (u64)(end - p);
        u64 length = left > 5 && bytes_equal(p + 1, 4, "item", 4) ? 5 : left > 6 && bytes_equal(p + 1, 5, "entry", 5) ? 6 : 0;
        if (length == 0) continue;
        u8 next = p[length];
        if (next == '>' || next == '/' || char_is_space(next)) count++;
    }
    return count;
}

// The scanner's node block holds 16384 nodes, and each opening tag takes one. A
// larger document is cut behind the last whole item or entry that fits, so that
// no entry is kept with half of its fields. `cut_entries` counts the items and
// entries that the cut left out, those that the scan never reached included.
static u64 merge_tokens_that_fit(xml_scan_t scan, data_t document, u32* cut_entries) {
    const u64 node_capacity = xml_node_capacity;
    xml_token_t* tokens = scan.tokens;
    u64 nodes = 0;
    u64 i = 0;
    for (; i < scan.token_count; i++) {
        if (tokens[i].is_closing) continue;
        if (++nodes > node_capacity) break;
    }
    if (i == scan.token_count && !scan.overflowed) return scan.token_count;
    while (i > 0) {
        xml_token_t* token = &tokens[i - 1];
        if (token->is_closing && (name_is_literal(token->name, "item") || name_is_literal(token->name, "entry"))) break;
        i--;
    }
    for (u64 k = i; k < scan.token_count; k++) *cut_entries += token_opens_entry(&tokens[k]);
    if (scan.overflowed) {
        const u8* scanned_end = scan.token_count ? tokens[scan.token_count - 1].end : document.bytes;
        *cut_entries += count_entries_in_bytes(scanned_end, document.bytes + document.used);
    }
    return i;
}

static bool token_is_markup(const xml_token_t* token) {
    return token->is_comment || token->is_cdata || token->is_declaration || token->name.used == 0 ||
           token->name.bytes[0] == '!' || token->name.bytes[0] == '?';
}

// A download cut short leaves its root element open. Merging it would move the
// feed's date past the entries that never arrived, and the next whole document
// would then skip them. Whatever a server appends behind the root's end doesn't
// matter; the root's closing tag must be there. When the scan stopped short of
// the end, the document's bytes are searched for it.
static bool document_root_is_closed(xml_scan_t scan, data_t document) {
    xml_token_t* root = nullptr;
    u64 at = 0;
    for (; at < scan.token_count && !root; at++) {
        if (!token_is_markup(&scan.tokens[at])) root = &scan.tokens[at];
    }
    if (!root || root->is_closing || root->is_self_closing) return true;
    data_t name = root->name;
    if (!scan.overflowed) {
        for (u64 i = scan.token_count; i-- > at;) {
            xml_token_t* token = &scan.tokens[i];
            if (token->is_closing && bytes_equal(token->name.bytes, token->name.used, name.bytes, name.used)) {
                return true;
            }
        }
        return false;
    }
    const u8* first = scan.tokens[scan.token_count - 1].end;
    for (const u8* p = document.bytes + document.used; p - first > (i64)name.used + 2; p--) {
        const u8* tag = p - name.used - 3;
        u8 after = p[-1];
        if (tag[0] == '<' && tag[1] == '/' && bytes_equal(tag + 2, name.used, name.bytes, name.used) &&
            (after == '>' || char_is_space(after))) {
            return true;
        }
    }
    return false;
}

static bool address_is_youtube_feed(data_t address) {
    return data_starts_with(address, data_literal(youtube_feed_address));
}

static bool document_has_feed_root(xml_node_t* nodes, u64 count) {
    for (u64 i = 0; i < count; i++) {
        if (nodes[i].tag == xml_tag_channel || nodes[i].tag == xml_tag_feed) return true;
    }
    return false;
}

static date_t* feed_date_field(feed_t* feed) {
    return feed_kind(feed) == record_kind_atom ? &feed->atom.updated : &feed->rss.last_build_date;
}

static void merge_note_refused(data_t address, const char* why) {
    log_paragraph_start(log_user);
    log_write_c_string(log_user, why);
    log_write(log_user, address);
}

data_t merge_error_text(u32 error) {
    if (error == merge_error_root_not_closed) return data_literal("the document ends before its root element is closed");
    return data_t{};
}

// ---------------------------------------------------------------------------
// Encoding: a byte order mark, the charset of the response's Content-Type, the
// XML declaration, else UTF-8; a document that names none and isn't valid UTF-8
// is read as windows-1252, as browsers do.

constexpr u32 encoding_windows_1252_id = 22;
constexpr u32 encoding_utf_16be_id = 38;
constexpr u32 encoding_utf_16le_id = 39;

static bool encoding_is_utf16(u32 encoding) {
    return encoding == encoding_utf_16be_id || encoding == encoding_utf_16le_id;
}

// UTF-16 by its byte order mark, or by "<?" in either order of bytes; 0 otherwise.
static u32 document_utf16_encoding(data_t document) {
    const u8* b = document.bytes;
    if (document.used < 4) return 0;
    if ((b[0] == 0xFE && b[1] == 0xFF) || (b[0] == 0 && b[1] == '<' && b[2] == 0 && b[3] == '?')) {
        return encoding_utf_16be_id;
    }
    if ((b[0] == 0xFF && b[1] == 0xFE) || (b[0] == '<' && b[1] == 0 && b[2] == '?' && b[3] == 0)) {
        return encoding_utf_16le_id;
    }
    return 0;
}

// The charset parameter of a Content-Type ("text/xml; charset=\"utf-8\""), or empty.
static data_t content_type_charset(data_t type) {
    u8* p = type.bytes;
    u8* end = type.bytes + type.used;
    while (p < end) {
        while (p < end && *p != ';') p++;
        if (p < end) p++;
        while (p < end && char_is_space(*p)) p++;
        if (!bytes_starts_with_no_case(p, end, "charset", 7)) continue;
        p += 7;
        while (p < end && char_is_space(*p)) p++;
        if (p >= end || *p != '=') continue;
        p++;
        while (p < end && char_is_space(*p)) p++;
        if (p < end && (*p == '"' || *p == '\'')) p++;
        u8* value = p;
        while (p < end && *p != ';' && *p != '"' && *p != '\'' && !char_is_space(*p)) p++;
        return data_from_range(value, p);
    }
    return data_t{};
}

static bool bytes_are_utf8(const u8* p, const u8* end) {
    while (p < end) {
        if (end - p >= 8) {
            u64 word;
            __builtin_memcpy(&word, p, 8);
            if (!(word & 0x8080808080808080ull)) {
                p += 8;
                continue;
            }
        }
        if (*p < 0x80) {
            p++;
            continue;
        }
        u32 codepoint = 0, length = 0;
        utf_error_t error = 0;
        utf8_decode(p, end, &codepoint, &length, &error);
        if (error) return false;
        p += length;
    }
    return true;
}

// The label of the first node's `encoding` attribute, normally the declaration's.
static data_t declared_label(xml_node_t* first) {
    for (u32 i = 0; i < first->attribute_count; i++) {
        if (first->attributes[i]->kind == xml_attribute_encoding) return first->attributes[i]->value;
    }
    return data_t{};
}

// A label that names UTF-16 in a document that was read as bytes is wrong: the
// document wouldn't have been readable at all.
static u32 encoding_of_label(data_t label) {
    u32 encoding = label.used ? reader_encoding_from_label(label) : 0;
    return encoding_is_utf16(encoding) ? reader_encoding_utf8 : encoding;
}

static u32 document_encoding(data_t document, data_t content_type, xml_node_t* first) {
    if (document.used >= 3 && bytes_equal(document.bytes, 3, "\xEF\xBB\xBF", 3)) return reader_encoding_utf8;
    u32 encoding = encoding_of_label(content_type_charset(content_type));
    if (encoding) return encoding;
    encoding = encoding_of_label(declared_label(first));
    if (encoding) return encoding;
    return bytes_are_utf8(document.bytes, document.bytes + document.used) ? reader_encoding_utf8
                                                                          : encoding_windows_1252_id;
}

// A UTF-16 document in UTF-8, so that the scanner, which looks for ASCII bytes,
// can read it. The block is the caller's to free; empty when none could be had.
static data_t document_from_utf16(data_t document, u32 encoding) {
    data_t block = data_allocate(document.used / 2 * 3 + 16);
    if (!block.bytes) return block;
    const u8* p = document.bytes;
    const u8* end = document.bytes + document.used;
    if (end - p >= 2 && ((p[0] == 0xFE && p[1] == 0xFF) || (p[0] == 0xFF && p[1] == 0xFE))) p += 2;
    u8 state[3] = {};
    while (p < end) {
        u32 codepoint, length;
        reader_decode(encoding, p, end, &codepoint, &length, state);
        p += length;
        if (!codepoint_is_valid(codepoint)) codepoint = codepoint_replacement;
        u32 written = 0;
        utf_error_t error = 0;
        utf8_encode(block.bytes + block.used, block.bytes + block.reserved, codepoint, &written, &error);
        block.used += written;
    }
    return block;
}

static feed_t* merge_document(data_t* scratch, reader_t* reader, data_t document, data_t address, feed_t* feed,
                              u32* error, data_t content_type, bool from_utf16) {
    data_t arena = data_free_view_64(scratch);

    // The tokens may take what the tree's four blocks and a long text leave free;
    // a document with more tags than that is read up to the last whole item.
    const u64 tree_and_text = xml_tree_size + xml_sub_block_size + 256;
    if (arena.reserved < tree_and_text + KIB(64)) {
        merge_note_refused(address, "No memory left to read the feed: ");
        return feed;
    }
    data_t token_space = data_make(arena.reserved - tree_and_text, 0, arena.bytes);
    xml_scan_t scan = xml_scan_tags(&token_space, document);
    arena.used = token_space.used;
    if (scan.token_count == 0) return feed;

    merge_t m = {};
    m.reader = reader;
    m.arena = &arena;
    m.encoding = reader_encoding_utf8;
    u64 token_count = merge_tokens_that_fit(scan, document, &m.dropped_entries);
    u32 document_overflowed = scan.overflowed || token_count < scan.token_count;
    xml_document_t tree = xml_build_tree(&arena, scan.tokens, token_count);
    document_overflowed |= tree.overflowed;
    xml_node_t* nodes = (xml_node_t*)tree.nodes.bytes;
    // A document that holds no feed (an error page, say) is no failure: nothing in
    // it is for the store. One cut down to nothing by the scanner's limits still
    // says what it lost.
    bool has_root = document_has_feed_root(nodes, tree.node_count);
    if ((has_root || m.dropped_entries) && !document_root_is_closed(scan, document)) {
        if (error) *error = merge_error_root_not_closed;
        return feed;
    }
    if (!has_root) {
        if (m.dropped_entries) merge_report_losses(&m, address, document_overflowed);
        return feed;
    }

    m.encoding = from_utf16 ? reader_encoding_utf8 : document_encoding(document, content_type, &nodes[0]);

    xml_node_t* root = nullptr;
    xml_node_t* rdf = nullptr;
    for (u64 i = 0; i < tree.node_count && !root; i++) {
        xml_node_t* node = &nodes[i];
        if (node->tag == xml_tag_channel || node->tag == xml_tag_feed) root = node;
        if (node->tag == xml_tag_rdf || node->tag == xml_tag_rdf_root) rdf = node;
    }

    // A known feed whose address now serves the other format isn't converted: its
    // record would take fields of the wrong variant.
    u32 document_kind = root->tag == xml_tag_feed ? record_kind_atom : record_kind_rss;
    if (feed && feed_kind(feed) != document_kind) {
        merge_note_refused(address, "The feed changed between RSS and Atom; not merged: ");
        return feed;
    }
    if (feed) {
        m.previous_date = *feed_date_field(feed);
        // A feed's Atom links are replaced at each merge.
        if (document_kind == record_kind_atom) {
            reader_remove_atom_links(reader, feed->id, &feed->atom.link_count, atom_owner_feed);
        }
    } else {
        feed = reader_add_feed(reader, document_kind);
        if (!feed) {
            merge_note_refused(address, "The store holds no more feeds; not added: ");
            return nullptr;
        }
        merge_store(&m, address, &feed->address);
    }
    m.feed = feed;
    m.base = address;
    if (document_kind == record_kind_atom) {
        m.is_youtube = address_is_youtube_feed(address);
        merge_atom_children(&m, root);
    } else {
        merge_rss_children(&m, root);
        // RSS 1.0: the items are the channel's siblings.
        if (rdf && rdf != root) merge_rss_children(&m, rdf);
    }
    date_t* feed_date = feed_date_field(feed);
    if (date_is_zero(*feed_date) || date_is_after(m.max_date, *feed_date)) *feed_date = m.max_date;
    merge_report_losses(&m, address, document_overflowed);
    return feed;
}

feed_t* reader_merge_document(data_t* scratch, reader_t* reader, data_t document, data_t address, feed_t* feed,
                              u32* error, data_t content_type) {
    u32 utf16 = document_utf16_encoding(document);
    if (!utf16) return merge_document(scratch, reader, document, address, feed, error, content_type, false);
    data_t copy = document_from_utf16(document, utf16);
    if (!copy.bytes) {
        merge_note_refused(address, "No memory left to read the feed: ");
        return feed;
    }
    feed = merge_document(scratch, reader, copy, address, feed, error, content_type, true);
    data_free(&copy);
    return feed;
}

void reader_remove_all(reader_t* reader) {
    for (u32 i = 0; i < reader->feeds.max_entry_count; i++) {
        feed_t* feed = (feed_t*)pool_at(&reader->feeds, sizeof(feed_t), i);
        if (!feed_is_alive(feed)) continue;
        reader_ensure_meta(reader, feed);
        reader_remove_feed(reader, feed);
    }
    reader_remove_unused_categories(reader);
    reader_remove_unused_persons(reader);
    reader->strings.used = 0;
}
