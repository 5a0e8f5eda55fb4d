// Compaction of the reader's string store into the spare region, its reverse, the
// consistency check of all counts, and the debug listing.
#include "base/log.h"
#include "base/text.h"
#include "store/reader.h"
#include "store/reader_seams.h"

// Visits every string of the records in the order that fixes the store's layout:
// feeds, entries, categories, persons, atom links. Link targets and metas are the
// callers' own business.
template <typename F> static void reader_for_each_record_string(reader_t* reader, F visit) {
    u32 seen = 0;
    for (u32 i = 0; i < reader->feeds.max_entry_count && seen < reader->feeds.entry_count; i++) {
        feed_t* feed = (feed_t*)pool_at(&reader->feeds, sizeof(feed_t), i);
        if (!feed_is_alive(feed)) continue;
        seen++;
        visit(&feed->address);
        if (feed_kind(feed) == record_kind_rss) {
            feed_rss_t* r = &feed->rss;
            data_t* fields[] = {&r->title,
                                &r->link,
                                &r->description,
                                &r->language,
                                &r->copyright,
                                &r->managing_editor,
                                &r->web_master,
                                &r->generator,
                                &r->docs,
                                &r->cloud_domain,
                                &r->cloud_path,
                                &r->cloud_register_procedure,
                                &r->cloud_protocol,
                                &r->image_url,
                                &r->image_title,
                                &r->image_link,
                                &r->image_description,
                                &r->rating,
                                &r->text_input_title,
                                &r->text_input_description,
                                &r->text_input_name,
                                &r->text_input_link};
            for (data_t* field : fields) visit(field);
        } else if (feed_kind(feed) == record_kind_atom) {
            feed_atom_t* a = &feed->atom;
            data_t* fields[] = {&a->generator, &a->generator_uri, &a->generator_version, &a->icon,
                                &a->logo,      &a->atom_id,       &a->rights,            &a->subtitle,
                                &a->title};
            for (data_t* field : fields) visit(field);
        } else {
            log_write_c_string(log_main, "Wrong feed type.\n");
            ASSERT(false);
        }
    }
    seen = 0;
    for (u32 i = 0; i < reader->entries.max_entry_count && seen < reader->entries.entry_count; i++) {
        entry_t* entry = (entry_t*)pool_at(&reader->entries, sizeof(entry_t), i);
        if (!entry_is_alive(entry)) continue;
        seen++;
        if (entry_kind(entry) == record_kind_rss) {
            entry_rss_t* r = &entry->rss;
            data_t* fields[] = {&r->title,          &r->link,   &r->description, &r->author,
                                &r->comments,       &r->enclosure_url,           &r->enclosure_type,
                                &r->source,         &r->source_url,              &r->guid};
            for (data_t* field : fields) visit(field);
        } else if (entry_kind(entry) == record_kind_atom) {
            entry_atom_t* a = &entry->atom;
            data_t* fields[] = {&a->content, &a->atom_id, &a->rights, &a->source, &a->summary, &a->title};
            for (data_t* field : fields) visit(field);
        } else {
            log_write_c_string(log_main, "Wrong entry type.\n");
            ASSERT(false);
        }
    }
    seen = 0;
    for (u32 i = 0; i < reader->categories.max_entry_count && seen < reader->categories.entry_count; i++) {
        category_t* category = (category_t*)pool_at(&reader->categories, sizeof(category_t), i);
        if (!category->id) continue;
        seen++;
        visit(&category->term);
        visit(&category->scheme);
        visit(&category->label);
    }
    seen = 0;
    for (u32 i = 0; i < reader->persons.max_entry_count && seen < reader->persons.entry_count; i++) {
        person_t* person = (person_t*)pool_at(&reader->persons, sizeof(person_t), i);
        if (!person->id) continue;
        seen++;
        visit(&person->name);
        visit(&person->uri);
        visit(&person->email);
    }
    seen = 0;
    for (u32 i = 0; i < reader->atom_links.max_entry_count && seen < reader->atom_links.entry_count; i++) {
        atom_link_t* link = (atom_link_t*)pool_at(&reader->atom_links, sizeof(atom_link_t), i);
        if (!atom_link_is_alive(link)) continue;
        seen++;
        visit(&link->href);
        visit(&link->type);
        visit(&link->hreflang);
        visit(&link->title);
    }
}

bool reader_slots_are_sound(reader_t* reader, u64 string_store_size) {
    // Every slot below entry_count must be a live record of a known kind, since the
    // pools were compacted before writing.
    for (u32 i = 0; i < reader->feeds.entry_count; i++) {
        if (!feed_is_alive((feed_t*)pool_at(&reader->feeds, sizeof(feed_t), i))) return false;
    }
    for (u32 i = 0; i < reader->entries.entry_count; i++) {
        if (!entry_is_alive((entry_t*)pool_at(&reader->entries, sizeof(entry_t), i))) return false;
    }
    for (u32 i = 0; i < reader->categories.entry_count; i++) {
        if (!category_is_alive((category_t*)pool_at(&reader->categories, sizeof(category_t), i))) return false;
    }
    for (u32 i = 0; i < reader->persons.entry_count; i++) {
        if (!person_is_alive((person_t*)pool_at(&reader->persons, sizeof(person_t), i))) return false;
    }
    for (u32 i = 0; i < reader->atom_links.entry_count; i++) {
        if (!atom_link_is_alive((atom_link_t*)pool_at(&reader->atom_links, sizeof(atom_link_t), i))) return false;
    }
    for (u32 i = 0; i < reader->relations.entry_count; i++) {
        if (!relation_is_alive((relation_t*)pool_at(&reader->relations, sizeof(relation_t), i))) return false;
    }
    for (u32 i = 0; i < reader->metas.entry_count; i++) {
        feed_meta_t* meta = (feed_meta_t*)pool_at(&reader->metas, sizeof(feed_meta_t), i);
        if (!meta_is_alive(meta) || (uintptr_t)meta->link_target >= reader_link_target_count) return false;
    }
    bool sound = true;
    auto within = [&](data_t* string) {
        u64 offset = (u64)(uintptr_t)string->bytes;
        if (string->used > string_store_size || offset > string_store_size - string->used) sound = false;
    };
    reader_for_each_record_string(reader, within);
    for (link_target_t& target : reader->link_targets) {
        within(&target.name);
        within(&target.executable);
        within(&target.queue);
    }
    return sound;
}

static void reader_move_string(reader_t* reader, data_t* string) {
    u64 offset = reader->strings.used;
    if (offset + string->used > reader->strings.reserved) {
        ASSERT(reader_reserve_strings(reader, offset + string->used));
    }
    if (string->used) bytes_copy(reader->strings.bytes + offset, string->bytes, string->used);
    reader->strings.used += string->used;
    string->bytes = (u8*)(uintptr_t)offset;
}

void reader_compact_strings(reader_t* reader) {
    u64 before = reader->strings.used;

    data_t old_region = reader->string_region;
    reader->string_region = reader->string_region_spare;
    reader->string_region_spare = old_region;
    ASSERT(reader->string_region.used == 0);
    ASSERT(data_commit(&reader->string_region, reader->strings.reserved));
    reader->strings.bytes = reader->string_region.bytes;
    reader->strings.used = 0;
    reader->strings.reserved = reader->string_region.used;

    reader_for_each_record_string(reader, [&](data_t* string) { reader_move_string(reader, string); });

    for (link_target_t& target : reader->link_targets) {
        data_t* strings[3] = {&target.name, &target.executable, &target.queue};
        for (data_t* string : strings) {
            string->reserved = string->used;
            data_t old = *string;
            reader_move_string(reader, string);
            // A string edited in a text box lives in block storage until now.
            reader_link_target_string_release(old);
        }
    }

    u32 seen = 0;
    for (u32 i = 0; i < reader->metas.max_entry_count && seen < reader->metas.entry_count; i++) {
        feed_meta_t* meta = (feed_meta_t*)pool_at(&reader->metas, sizeof(feed_meta_t), i);
        if (!meta->feed_id) continue;
        seen++;
        u64 index = (u64)(meta->link_target - reader->link_targets);
        ASSERT(index < reader_link_target_count);
        meta->link_target = (link_target_t*)(uintptr_t)index;
    }

    data_decommit(&reader->string_region_spare, reader->string_region_spare.used);

    log_write_c_string(log_main, "compact_memory diff: ");
    log_write_u64(log_main, before);
    log_write_c_string(log_main, " - ");
    log_write_u64(log_main, reader->strings.used);
    log_write_c_string(log_main, " = ");
    log_write_i64(log_main, (i64)before - (i64)reader->strings.used);
    log_write_c_string(log_main, "\n");
}

void reader_rebase_strings(reader_t* reader) {
    u8* base = reader->strings.bytes;
    reader_for_each_record_string(reader, [&](data_t* string) { string->bytes = base + (uintptr_t)string->bytes; });
    for (link_target_t& target : reader->link_targets) {
        target.name.bytes = base + (uintptr_t)target.name.bytes;
        target.executable.bytes = base + (uintptr_t)target.executable.bytes;
        target.queue.bytes = base + (uintptr_t)target.queue.bytes;
    }
    u32 seen = 0;
    for (u32 i = 0; i < reader->metas.max_entry_count && seen < reader->metas.entry_count; i++) {
        feed_meta_t* meta = (feed_meta_t*)pool_at(&reader->metas, sizeof(feed_meta_t), i);
        if (!meta->feed_id) continue;
        seen++;
        u64 index = (u64)(uintptr_t)meta->link_target;
        ASSERT(index < reader_link_target_count);
        meta->link_target = &reader->link_targets[index];
    }
}

// ---------------------------------------------------------------------------
// Check

static u32 pool_count_alive(pool_t* pool, u64 entry_size, pool_filter_t alive) {
    u32 count = 0;
    for (u32 i = 0; i < pool->max_entry_count; i++) {
        if (alive(pool->entries + i * entry_size)) count++;
    }
    return count;
}

static void reader_check_write_counts(const char* label, const char* actual_label, const char* difference_label,
                                      u32 count, u32 actual) {
    log_write_value(log_main, count, true, label, true);
    log_write_value(log_main, actual, true, actual_label, true);
    log_write_indentation(log_main);
    log_write_c_string(log_main, difference_label);
    log_write_i64(log_main, (i64)actual - (i64)count);
    log_write_c_string(log_main, "\n");
}

// A damaged file must not stop the program: the check gives false on the first
// count that doesn't agree, and reader_check turns that into the stop.
#define CHECK(condition)         \
    do {                         \
        if (!(condition)) return false; \
    } while (0)

// Tables of the check, from record id to slot, open addressing on the id. Sized
// for the pools' fixed capacities at half load at most.
constexpr u32 check_feed_table_size = 256;
constexpr u32 check_entry_table_size = 32768;
constexpr u32 check_category_table_size = 32768;
constexpr u32 check_person_table_size = 2048;
constexpr u32 check_no_slot = 0xFFFFFFFF;

struct id_slot_t {
    u32 id;
    u32 slot;
};

struct check_tables_t {
    id_slot_t feed_slots[check_feed_table_size];
    id_slot_t entry_slots[check_entry_table_size];
    id_slot_t category_slots[check_category_table_size];
    id_slot_t person_slots[check_person_table_size];
    u32 feed_tally[reader_feed_capacity][4];
    u32 entry_tally[reader_entry_capacity][4];
    u32 feed_entries[reader_feed_capacity];
    u8 feed_has_meta[reader_feed_capacity];
};

static check_tables_t* check_tables() {
    static data_t block = {};
    if (!block.bytes) {
        block = data_allocate(sizeof(check_tables_t));
        ASSERT(block.bytes);
    }
    return (check_tables_t*)block.bytes;
}

static void check_tables_reset(check_tables_t* t) { bytes_zero(t, sizeof(check_tables_t)); }

static u32 id_table_home(u32 id, u32 size) { return (id * 2654435761u) & (size - 1); }

static void id_table_put(id_slot_t* table, u32 size, u32 id, u32 slot) {
    if (id == 0) return;
    u32 i = id_table_home(id, size);
    while (table[i].id != 0) {
        if (table[i].id == id) return;  // a second record with one id: the first counts
        i = (i + 1) & (size - 1);
    }
    table[i] = id_slot_t{id, slot};
}

static u32 id_table_get(const id_slot_t* table, u32 size, u32 id) {
    if (id == 0) return check_no_slot;
    u32 i = id_table_home(id, size);
    while (table[i].id != 0) {
        if (table[i].id == id) return table[i].slot;
        i = (i + 1) & (size - 1);
    }
    return check_no_slot;
}

bool reader_is_consistent(reader_t* reader) {
    u32 feeds = pool_count_alive(&reader->feeds, sizeof(feed_t), feed_is_alive);
    u32 entries = pool_count_alive(&reader->entries, sizeof(entry_t), entry_is_alive);
    u32 categories = pool_count_alive(&reader->categories, sizeof(category_t), category_is_alive);
    u32 persons = pool_count_alive(&reader->persons, sizeof(person_t), person_is_alive);
    u32 links = pool_count_alive(&reader->atom_links, sizeof(atom_link_t), atom_link_is_alive);
    u32 relations = pool_count_alive(&reader->relations, sizeof(relation_t), relation_is_alive);
    u32 metas = pool_count_alive(&reader->metas, sizeof(feed_meta_t), meta_is_alive);

    log_indent_more(log_main);
    reader_check_write_counts("feed count: ", "actual feed count: ", "feed count difference: ",
                              reader->feeds.entry_count, feeds);
    reader_check_write_counts("entry count: ", "actual entry count: ", "entry count difference: ",
                              reader->entries.entry_count, entries);
    reader_check_write_counts("category count: ", "actual category count: ", "category count difference: ",
                              reader->categories.entry_count, categories);
    reader_check_write_counts("atom person count: ", "actual atom person count: ", "person count difference: ",
                              reader->persons.entry_count, persons);
    reader_check_write_counts("atom link count: ", "actual atom link count: ", "atom link count difference: ",
                              reader->atom_links.entry_count, links);
    reader_check_write_counts("link count: ", "actual link count: ", "link count difference: ",
                              reader->relations.entry_count, relations);
    reader_check_write_counts("meta count: ", "actual meta count: ", "meta count difference: ",
                              reader->metas.entry_count, metas);
    log_indent_less(log_main);

    CHECK(feeds == reader->feeds.entry_count);
    CHECK(entries == reader->entries.entry_count);
    CHECK(categories == reader->categories.entry_count);
    CHECK(persons == reader->persons.entry_count);
    CHECK(links == reader->atom_links.entry_count);
    CHECK(relations == reader->relations.entry_count);
    CHECK(metas == reader->metas.entry_count);
    CHECK(reader->feeds.entry_count == reader->metas.entry_count);

    // Every count field against a recount. The records are tallied in one pass per
    // pool through tables from id to slot, so that a check of a full store costs a
    // few milliseconds rather than a walk of every pool for every record.
    check_tables_t* t = check_tables();
    check_tables_reset(t);
    for (u32 i = 0; i < reader->feeds.max_entry_count; i++) {
        feed_t* feed = (feed_t*)pool_at(&reader->feeds, sizeof(feed_t), i);
        if (feed_is_alive(feed)) id_table_put(t->feed_slots, check_feed_table_size, feed->id, i);
    }
    for (u32 i = 0; i < reader->entries.max_entry_count; i++) {
        entry_t* entry = (entry_t*)pool_at(&reader->entries, sizeof(entry_t), i);
        if (entry_is_alive(entry)) id_table_put(t->entry_slots, check_entry_table_size, entry->id, i);
    }
    for (u32 i = 0; i < reader->categories.max_entry_count; i++) {
        category_t* category = (category_t*)pool_at(&reader->categories, sizeof(category_t), i);
        if (category->id) id_table_put(t->category_slots, check_category_table_size, category->id, i);
    }
    for (u32 i = 0; i < reader->persons.max_entry_count; i++) {
        person_t* person = (person_t*)pool_at(&reader->persons, sizeof(person_t), i);
        if (person->id) id_table_put(t->person_slots, check_person_table_size, person->id, i);
    }
    for (u32 i = 0; i < reader->metas.max_entry_count; i++) {
        feed_meta_t* meta = (feed_meta_t*)pool_at(&reader->metas, sizeof(feed_meta_t), i);
        if (!meta->feed_id) continue;
        u32 slot = id_table_get(t->feed_slots, check_feed_table_size, meta->feed_id);
        if (slot != check_no_slot) t->feed_has_meta[slot] = 1;
    }
    // Relations count for their owner when their target exists; slot 0 to 2 of an
    // owner's tally are categories, authors, contributors, slot 3 its links.
    for (u32 i = 0; i < reader->relations.max_entry_count; i++) {
        relation_t* relation = (relation_t*)pool_at(&reader->relations, sizeof(relation_t), i);
        if (!relation_is_alive(relation)) continue;
        bool is_category = relation->kind <= relation_atom_entry_category;
        u32 target = is_category ? id_table_get(t->category_slots, check_category_table_size, relation->target_id)
                                 : id_table_get(t->person_slots, check_person_table_size, relation->target_id);
        if (target == check_no_slot) continue;
        u32 role = is_category ? 0 : relation->kind <= relation_atom_entry_author ? 1 : 2;
        u32 kind = relation->kind;
        if (kind % 2 == 1) {
            u32 owner = id_table_get(t->feed_slots, check_feed_table_size, relation->owner_id);
            if (owner == check_no_slot) continue;
            u32 owner_kind = feed_kind((feed_t*)pool_at(&reader->feeds, sizeof(feed_t), owner));
            if ((kind == relation_rss_feed_category) != (owner_kind == record_kind_rss)) continue;
            t->feed_tally[owner][role]++;
        } else {
            u32 owner = id_table_get(t->entry_slots, check_entry_table_size, relation->owner_id);
            if (owner == check_no_slot) continue;
            u32 owner_kind = entry_kind((entry_t*)pool_at(&reader->entries, sizeof(entry_t), owner));
            if ((kind == relation_rss_entry_category) != (owner_kind == record_kind_rss)) continue;
            t->entry_tally[owner][role]++;
        }
    }
    for (u32 i = 0; i < reader->atom_links.max_entry_count; i++) {
        atom_link_t* link = (atom_link_t*)pool_at(&reader->atom_links, sizeof(atom_link_t), i);
        if (link->owner_kind == atom_owner_feed) {
            u32 owner = id_table_get(t->feed_slots, check_feed_table_size, link->owner_id);
            if (owner != check_no_slot) t->feed_tally[owner][3]++;
        } else if (link->owner_kind == atom_owner_entry) {
            u32 owner = id_table_get(t->entry_slots, check_entry_table_size, link->owner_id);
            if (owner != check_no_slot) t->entry_tally[owner][3]++;
        }
    }

    for (u32 i = 0; i < reader->entries.max_entry_count; i++) {
        entry_t* entry = (entry_t*)pool_at(&reader->entries, sizeof(entry_t), i);
        if (!entry_is_alive(entry)) continue;
        u32 owner = id_table_get(t->feed_slots, check_feed_table_size, entry->feed_id);
        if (owner == check_no_slot) continue;
        feed_t* feed = (feed_t*)pool_at(&reader->feeds, sizeof(feed_t), owner);
        t->feed_entries[owner]++;
        u32 kind = feed_kind(feed);
        CHECK(entry_kind(entry) == kind);
        CHECK(!feed_is_deleted(feed) || entry_is_deleted(entry));
        CHECK(entry->generation <= reader->generation);
        u32* tally = t->entry_tally[i];
        if (kind == record_kind_rss) {
            CHECK(tally[0] == entry->rss.category_count);
        } else {
            entry_atom_t* a = &entry->atom;
            CHECK(tally[0] == a->category_count);
            CHECK(tally[1] == a->author_count);
            CHECK(tally[2] == a->contributor_count);
            CHECK(tally[3] == a->link_count);
        }
    }
    for (u32 i = 0; i < reader->feeds.max_entry_count; i++) {
        feed_t* feed = (feed_t*)pool_at(&reader->feeds, sizeof(feed_t), i);
        if (!feed_is_alive(feed)) continue;
        CHECK(t->feed_has_meta[i]);
        u32* tally = t->feed_tally[i];
        if (feed_kind(feed) == record_kind_rss) {
            CHECK(tally[0] == feed->rss.category_count);
        } else {
            CHECK(feed_kind(feed) == record_kind_atom);
            feed_atom_t* a = &feed->atom;
            CHECK(tally[0] == a->category_count);
            CHECK(tally[1] == a->author_count);
            CHECK(tally[2] == a->contributor_count);
            CHECK(tally[3] == a->link_count);
        }
        CHECK(t->feed_entries[i] == feed->entry_count);
    }
    return true;
}

void reader_check(reader_t* reader) {
    ASSERT(reader_is_consistent(reader));
    ASSERT(reader_entry_heads_match(reader));
}

// ---------------------------------------------------------------------------
// Dump

static const char* const relation_labels[9] = {
    "",
    "rss  feed  category    ",
    "rss  entry category    ",
    "atom feed  category    ",
    "atom entry category    ",
    "atom feed  author      ",
    "atom entry author      ",
    "atom feed  contributor ",
    "atom entry contributor ",
};

// One section of the listing: its heading, a line per live record, the count.
template <typename T, typename line_t>
static void dump_section(u64 channel, const char* heading, pool_t* pool, pool_filter_t alive, line_t line) {
    log_write_c_string(channel, heading);
    pool_iterator_t walk = pool_iterator_start(pool, sizeof(T), alive);
    while (T* record = (T*)pool_iterator_next(&walk)) {
        line(record);
        log_write_c_string(channel, "\n");
    }
    log_write_value(channel, walk.found, false, "count: ", false);
}

void reader_dump_to_log(reader_t* reader) {
    const u64 c = log_reader_dump;
    log_channel_t* channel = log_channel(c);
    channel->text.used = 0;
    channel->overflowed = 0;
    channel->overflow_end = 0;

    dump_section<feed_t>(c, "feeds:\n", &reader->feeds, feed_is_alive, [c](const feed_t* feed) {
        log_write_u64(c, feed->id, 3, ' ');
        log_write_c_string(c, " ");
        log_write(c, feed->address);
    });
    dump_section<entry_t>(c, "\nentries:\n", &reader->entries, entry_is_alive, [c](const entry_t* entry) {
        log_write_c_string(c, "feed : ");
        log_write_u64(c, entry->feed_id);
        log_write_c_string(c, " entry : ");
        log_write_u64(c, entry->id);
    });
    dump_section<category_t>(c, "\ncategories:\n", &reader->categories, category_is_alive,
                             [c](const category_t* category) {
                                 log_write_u64(c, category->id);
                                 log_write_c_string(c, " ");
                                 log_write(c, category->term);
                             });
    dump_section<person_t>(c, "\npersons:\n", &reader->persons, person_is_alive, [c](const person_t* person) {
        log_write_u64(c, person->id);
        log_write_c_string(c, " ");
        log_write(c, person->name);
    });
    dump_section<atom_link_t>(c, "\natom links:\n", &reader->atom_links, atom_link_is_alive,
                              [c](const atom_link_t* link) {
                                  bool of_feed = link->owner_kind == atom_owner_feed;
                                  log_write_c_string(c, of_feed ? "type_feed  " : "type_entry ");
                                  log_write_u64(c, link->owner_id);
                                  log_write_c_string(c, " ");
                                  log_write(c, link->href);
                              });
    dump_section<relation_t>(c, "\nlinks:\n", &reader->relations, relation_is_alive, [c](const relation_t* relation) {
        log_write_c_string(c, relation_labels[relation->kind]);
        log_write_u64(c, relation->owner_id);
        log_write_c_string(c, " ");
        log_write_u64(c, relation->target_id);
    });
}
