// The reader's records: creation, lookup, soft delete, removal, the filtered walks
// of the views, ordering, the string store and generations.
#include "store/reader.h"

#include "base/log.h"
#include "base/text.h"

void (*reader_entry_removed_hook)(u32 entry_id) = nullptr;

// ---------------------------------------------------------------------------
// Life

struct reader_pool_shape_t {
    u64 entry_size;
    u64 alignment;
    u32 capacity;
};

static const reader_pool_shape_t reader_pool_shapes[7] = {
    {sizeof(feed_t), 8, reader_feed_capacity},         {sizeof(entry_t), 8, reader_entry_capacity},
    {sizeof(category_t), 8, reader_category_capacity}, {sizeof(person_t), 8, reader_person_capacity},
    {sizeof(atom_link_t), 8, reader_atom_link_capacity}, {sizeof(relation_t), 4, reader_relation_capacity},
    {sizeof(feed_meta_t), 8, reader_meta_capacity},
};

void reader_init(reader_t* reader) {
    u64 total = 0;
    for (const reader_pool_shape_t& shape : reader_pool_shapes) {
        total += pool_size(shape.entry_size, shape.alignment, shape.capacity);
        total += align_padding(total, 4);
    }
    total += align_padding(total, 8) + sizeof(entry_heads_t);
    reader->memory = data_allocate(total);
    ASSERT(reader->memory.bytes);
    pool_t* pools[7] = {&reader->feeds,      &reader->entries,   &reader->categories, &reader->persons,
                        &reader->atom_links, &reader->relations, &reader->metas};
    for (u32 i = 0; i < 7; i++) {
        const reader_pool_shape_t& shape = reader_pool_shapes[i];
        pool_create(&reader->memory, pools[i], shape.entry_size, shape.alignment, shape.capacity);
    }
    reader->entry_heads = (entry_heads_t*)data_push(&reader->memory, sizeof(entry_heads_t), 8);
    ASSERT(reader->entry_heads);
    reader_rebuild_entry_heads(reader);
    reader->string_region = data_reserve(reader_string_region_size);
    reader->string_region_spare = data_reserve(reader_string_region_size);
    // Each save commits the spare region and copies the whole text there; with
    // small pages that copy spends most of its time faulting pages in.
    data_advise_large_pages(&reader->string_region);
    data_advise_large_pages(&reader->string_region_spare);
    ASSERT(data_commit(&reader->string_region, reader_string_commit_step));
    reader->strings = data_make(reader->string_region.used, 0, reader->string_region.bytes);
    reader->last_feed_id = 0;
    reader->last_entry_id = 0;
    reader->last_category_id = 0;
    reader->last_person_id = 0;
    reader->generation = 0;
    reader->categories_maybe_unused = 0;
    reader->persons_maybe_unused = 0;
    reader->held_entry_id = 0;
}

void reader_init_standalone(reader_t* reader, codepoint_set_t* codepoints, data_t* codepoint_block) {
    codepoint_set_create(codepoints, codepoint_block);
    reader_init(reader);
    reader->codepoints = codepoints;
}

void reader_release(reader_t* reader) {
    data_free(&reader->memory);
    reader->entry_heads = nullptr;
    reader->string_region.used = 0;
    data_free(&reader->string_region);
    reader->string_region_spare.used = 0;
    data_free(&reader->string_region_spare);
    data_zero(&reader->strings);
}

// ---------------------------------------------------------------------------
// Alive tests, the filters of the pool walks

bool feed_is_alive(void* record) {
    if (!record) return false;
    u32 kind = ((feed_t*)record)->kind & 0x7FFFFFFFu;
    return kind == record_kind_rss || kind == record_kind_atom;
}
bool entry_is_alive(void* record) {
    if (!record) return false;
    u32 kind = ((entry_t*)record)->kind & 0x7FFFFFFFu;
    return kind == record_kind_rss || kind == record_kind_atom;
}
bool category_is_alive(void* record) { return ((category_t*)record)->id != 0; }
bool person_is_alive(void* record) { return ((person_t*)record)->id != 0; }
bool atom_link_is_alive(void* record) {
    u32 kind = ((atom_link_t*)record)->owner_kind;
    return kind == atom_owner_feed || kind == atom_owner_entry;
}
bool relation_is_alive(void* record) {
    u32 kind = ((relation_t*)record)->kind;
    return kind >= 1 && kind <= 8;
}
bool meta_is_alive(void* record) { return ((feed_meta_t*)record)->feed_id != 0; }

bool flags_match(u32 value, u32 required, u32 allowed) {
    if (required) {
        if ((value & required) != required) return false;
        allowed |= required;
    }
    if (allowed == 0) return value == 0;
    return (value & ~allowed) == 0;
}

// ---------------------------------------------------------------------------
// Finding

// The first live record of `pool` that `matches`, walking slots only until the
// last live one has been seen.
template <typename T, typename alive_t, typename match_t>
static T* pool_find(pool_t* pool, alive_t alive, match_t matches) {
    u32 seen = 0;
    for (u32 i = 0; i < pool->max_entry_count && seen < pool->entry_count; i++) {
        T* record = (T*)pool_at(pool, sizeof(T), i);
        if (!alive(record)) continue;
        seen++;
        if (matches(record)) return record;
    }
    return nullptr;
}

feed_t* reader_find_feed_by_id(reader_t* reader, u32 id) {
    return pool_find<feed_t>(&reader->feeds, feed_is_alive, [id](const feed_t* feed) { return feed->id == id; });
}

feed_t* reader_find_feed_by_address(reader_t* reader, data_t address) {
    return pool_find<feed_t>(&reader->feeds, feed_is_alive,
                             [address](const feed_t* feed) { return data_equal(feed->address, address); });
}

entry_t* reader_find_entry_by_id(reader_t* reader, u32 feed_id, u32 entry_id) {
    feed_t* feed = reader_find_feed_by_id(reader, feed_id);
    if (!feed) return nullptr;
    u32 seen = 0;
    for (u32 i = 0; i < reader->entries.max_entry_count && seen < feed->entry_count; i++) {
        entry_t* entry = (entry_t*)pool_at(&reader->entries, sizeof(entry_t), i);
        if (!entry_is_alive(entry) || entry->feed_id != feed_id) continue;
        seen++;
        if (entry->id == entry_id) return entry;
    }
    return nullptr;
}

data_t entry_unique_id(const entry_t* entry) {
    if (!entry || entry->id == 0) return data_t{};
    if (entry_kind(entry) == record_kind_rss) return entry->rss.guid;
    if (entry_kind(entry) == record_kind_atom) return entry->atom.atom_id;
    return data_t{};
}

entry_t* reader_find_entry_by_unique_id(reader_t* reader, u32 feed_id, data_t unique_id) {
    return reader_find_entry_by_unique_id_beside(reader, feed_id, unique_id, nullptr);
}

entry_t* reader_find_entry_by_unique_id_beside(reader_t* reader, u32 feed_id, data_t unique_id, entry_t* pending) {
    if (unique_id.used == 0) return nullptr;
    u32 seen = 0;
    for (u32 i = 0; i < reader->entries.max_entry_count && seen < reader->entries.entry_count; i++) {
        entry_t* entry = (entry_t*)pool_at(&reader->entries, sizeof(entry_t), i);
        if (entry == pending) seen++;
        if (!entry_is_alive(entry)) continue;
        seen++;
        if (entry->feed_id != feed_id) continue;
        data_t id = entry_kind(entry) == record_kind_rss ? entry->rss.guid : entry->atom.atom_id;
        if (id.used != 0 && reader_text_equal(id, unique_id)) return entry;
    }
    return nullptr;
}

// Categories, persons and metas have no flags: a zero key is a free slot.
category_t* reader_find_category(reader_t* reader, u32 id) {
    if (id == 0) return nullptr;
    return pool_find<category_t>(
        &reader->categories, [](const category_t* category) { return category->id != 0; },
        [id](const category_t* category) { return category->id == id; });
}

person_t* reader_find_person(reader_t* reader, u32 id) {
    if (id == 0) return nullptr;
    return pool_find<person_t>(
        &reader->persons, [](const person_t* person) { return person->id != 0; },
        [id](const person_t* person) { return person->id == id; });
}

feed_meta_t* reader_find_meta(reader_t* reader, u32 feed_id) {
    if (feed_id == 0) return nullptr;
    return pool_find<feed_meta_t>(
        &reader->metas, [](const feed_meta_t* meta) { return meta->feed_id != 0; },
        [feed_id](const feed_meta_t* meta) { return meta->feed_id == feed_id; });
}

data_t feed_title(const feed_t* feed) {
    if (feed_kind(feed) == record_kind_rss) return feed->rss.title;
    ASSERT(feed_kind(feed) == record_kind_atom);
    return feed->atom.title;
}

data_t entry_title(const entry_t* entry) {
    if (entry_kind(entry) == record_kind_rss) return entry->rss.title;
    ASSERT(entry_kind(entry) == record_kind_atom);
    return entry->atom.title;
}

data_t reader_atom_link_by_rel(reader_t* reader, u32 owner_id, u32 count, u32 owner_kind, u32 rel) {
    u32 seen = 0;
    for (u32 i = 0; i < reader->atom_links.max_entry_count && seen < count; i++) {
        atom_link_t* link = (atom_link_t*)pool_at(&reader->atom_links, sizeof(atom_link_t), i);
        if (link->owner_kind != owner_kind || link->owner_id != owner_id) continue;
        seen++;
        if (link->rel == rel) return link->href;
    }
    return data_t{};
}

// ---------------------------------------------------------------------------
// Creating

feed_t* reader_add_feed(reader_t* reader, u32 kind) {
    feed_t* feed = (feed_t*)pool_alloc(&reader->feeds, sizeof(feed_t));
    if (!feed) return nullptr;
    bytes_zero(feed, sizeof(feed_t));
    reader->last_feed_id += 1;
    feed->id = reader->last_feed_id;
    feed->kind = kind;
    return feed;
}

entry_t* reader_new_entry(reader_t* reader) {
    entry_t* entry = (entry_t*)pool_alloc(&reader->entries, sizeof(entry_t));
    if (!entry) return nullptr;
    bytes_zero(entry, sizeof(entry_t));
    entry->id = reader->last_entry_id + 1;
    entry->generation = reader->generation;
    reader_note_entry(reader, entry);
    return entry;
}

void reader_attach_entry(reader_t* reader, feed_t* feed, entry_t* entry) {
    feed->entry_count += 1;
    entry->feed_id = feed->id;
    entry->kind = feed->kind;
    reader_note_entry(reader, entry);
    reader->last_entry_id += 1;
    ASSERT(reader->last_entry_id == entry->id);
}

feed_meta_t* reader_add_meta(reader_t* reader, u32 feed_id) {
    feed_meta_t* meta = (feed_meta_t*)pool_alloc(&reader->metas, sizeof(feed_meta_t));
    if (!meta) return nullptr;
    meta->feed_id = feed_id;
    meta->flags = 0;
    meta->link_target = &reader->link_targets[0];
    return meta;
}

void reader_rebuild_entry_heads(reader_t* reader) {
    for (u32 i = 0; i < reader->entries.max_entry_count; i++) {
        reader_note_entry(reader, (const entry_t*)pool_at(&reader->entries, sizeof(entry_t), i));
    }
}

bool reader_entry_heads_match(reader_t* reader) {
    const entry_heads_t* heads = reader->entry_heads;
    for (u32 i = 0; i < reader->entries.max_entry_count; i++) {
        const entry_t* entry = (const entry_t*)pool_at(&reader->entries, sizeof(entry_t), i);
        if (heads->kind[i] != entry->kind || heads->feed_id[i] != entry->feed_id ||
            heads->generation[i] != entry->generation) {
            return false;
        }
    }
    return true;
}

// ---------------------------------------------------------------------------
// Soft delete

void entry_mark_deleted(reader_t* reader, entry_t* entry) {
    ASSERT(entry_kind(entry) < 3);
    entry->kind |= record_deleted_flag;
    reader_note_entry(reader, entry);
}

// Sets or clears the flag on every entry of the feed; the count must come out whole.
static void feed_entries_set_deleted(reader_t* reader, feed_t* feed, bool deleted) {
    u32 seen = 0;
    for (u32 i = 0; i < reader->entries.max_entry_count && seen < feed->entry_count; i++) {
        entry_t* entry = (entry_t*)pool_at(&reader->entries, sizeof(entry_t), i);
        if (!entry_is_alive(entry) || entry->feed_id != feed->id) continue;
        seen++;
        if (deleted) {
            entry->kind |= record_deleted_flag;
        } else {
            entry->kind &= ~record_deleted_flag;
        }
        reader_note_entry(reader, entry);
    }
    ASSERT(seen == feed->entry_count);
}

void feed_mark_deleted(reader_t* reader, feed_t* feed) {
    feed->kind |= record_deleted_flag;
    feed_entries_set_deleted(reader, feed, true);
}

void feed_restore(reader_t* reader, feed_t* feed, bool with_entries) {
    feed->kind &= ~record_deleted_flag;
    if (with_entries) feed_entries_set_deleted(reader, feed, false);
}

// ---------------------------------------------------------------------------
// Removing

static void relation_release(reader_t* reader, relation_t* relation) {
    // Only a released relation can leave a category or person unused.
    if (relation->kind <= relation_atom_entry_category) {
        reader->categories_maybe_unused = 1;
    } else {
        reader->persons_maybe_unused = 1;
    }
    relation->kind = relation_free;
    pool_release(&reader->relations, relation, sizeof(relation_t));
}

// Releases the relations of one owner whose kinds are given with their counters;
// stops as soon as every counter reached 0.
static void reader_release_relations(reader_t* reader, u32 owner_id, const u32* kinds, u32** counts,
                                     u32 kind_count) {
    auto remaining = [&]() {
        u32 sum = 0;
        for (u32 k = 0; k < kind_count; k++) sum += *counts[k];
        return sum;
    };
    for (u32 i = 0; i < reader->relations.max_entry_count && remaining() > 0; i++) {
        relation_t* relation = (relation_t*)pool_at(&reader->relations, sizeof(relation_t), i);
        if (relation->owner_id != owner_id) continue;
        for (u32 k = 0; k < kind_count; k++) {
            if (relation->kind == kinds[k] && *counts[k] > 0) {
                relation_release(reader, relation);
                *counts[k] -= 1;
                break;
            }
        }
    }
    for (u32 k = 0; k < kind_count; k++) ASSERT(*counts[k] == 0);
}

void reader_remove_atom_links(reader_t* reader, u32 owner_id, u32* link_count, u32 owner_kind) {
    for (u32 i = 0; i < reader->atom_links.max_entry_count && *link_count > 0; i++) {
        atom_link_t* link = (atom_link_t*)pool_at(&reader->atom_links, sizeof(atom_link_t), i);
        if (link->owner_kind != owner_kind || link->owner_id != owner_id) continue;
        link->owner_kind = atom_owner_free;
        pool_release(&reader->atom_links, link, sizeof(atom_link_t));
        *link_count -= 1;
    }
    ASSERT(*link_count == 0);
}

void reader_remove_entry(reader_t* reader, entry_t* entry, feed_t* feed) {
    u32 kind = entry_kind(entry);
    if (kind == record_kind_rss) {
        const u32 kinds[1] = {relation_rss_entry_category};
        u32* counts[1] = {&entry->rss.category_count};
        reader_release_relations(reader, entry->id, kinds, counts, 1);
    } else {
        ASSERT(kind == record_kind_atom);
        const u32 kinds[3] = {relation_atom_entry_category, relation_atom_entry_author,
                              relation_atom_entry_contributor};
        u32* counts[3] = {&entry->atom.category_count, &entry->atom.author_count,
                          &entry->atom.contributor_count};
        reader_release_relations(reader, entry->id, kinds, counts, 3);
        reader_remove_atom_links(reader, entry->id, &entry->atom.link_count, atom_owner_entry);
    }
    if (reader_entry_removed_hook) reader_entry_removed_hook(entry->id);
    entry->kind = record_kind_free;
    reader_note_entry(reader, entry);
    pool_release(&reader->entries, entry, sizeof(entry_t));
    if (feed) feed->entry_count -= 1;
}

void reader_remove_feed(reader_t* reader, feed_t* feed) {
    for (u32 i = 0; i < reader->entries.max_entry_count && feed->entry_count > 0; i++) {
        entry_t* entry = (entry_t*)pool_at(&reader->entries, sizeof(entry_t), i);
        if (entry_is_alive(entry) && entry->feed_id == feed->id) reader_remove_entry(reader, entry, feed);
    }
    ASSERT(feed->entry_count == 0);
    feed_meta_t* meta = reader_find_meta(reader, feed->id);
    ASSERT(meta);
    bytes_zero(meta, sizeof(feed_meta_t));
    pool_release(&reader->metas, meta, sizeof(feed_meta_t));
    if (feed_kind(feed) == record_kind_rss) {
        const u32 kinds[1] = {relation_rss_feed_category};
        u32* counts[1] = {&feed->rss.category_count};
        reader_release_relations(reader, feed->id, kinds, counts, 1);
    } else {
        ASSERT(feed_kind(feed) == record_kind_atom);
        const u32 kinds[3] = {relation_atom_feed_category, relation_atom_feed_author,
                              relation_atom_feed_contributor};
        u32* counts[3] = {&feed->atom.category_count, &feed->atom.author_count, &feed->atom.contributor_count};
        reader_release_relations(reader, feed->id, kinds, counts, 3);
        reader_remove_atom_links(reader, feed->id, &feed->atom.link_count, atom_owner_feed);
    }
    feed->kind = record_kind_free;
    pool_release(&reader->feeds, feed, sizeof(feed_t));
}

void reader_purge_deleted(reader_t* reader) {
    for (u32 i = 0; i < reader->feeds.max_entry_count; i++) {
        feed_t* feed = (feed_t*)pool_at(&reader->feeds, sizeof(feed_t), i);
        if (!feed_is_alive(feed)) continue;
        if (feed_is_deleted(feed)) {
            reader_remove_feed(reader, feed);
            continue;
        }
        u32 count = feed->entry_count;
        u32 seen = 0;
        for (u32 j = 0; j < reader->entries.max_entry_count && seen < count; j++) {
            entry_t* entry = (entry_t*)pool_at(&reader->entries, sizeof(entry_t), j);
            if (!entry_is_alive(entry) || entry->feed_id != feed->id) continue;
            seen++;
            if (entry_is_deleted(entry)) reader_remove_entry(reader, entry, feed);
        }
    }
}

// The ids that relations of kinds first to last aim at, as a set: open addressing
// with a stamp per place, so that a new set needs no clearing. Main thread only.
constexpr u32 target_set_size = 32768;  // twice the relations' capacity and more

struct target_set_t {
    u32 ids[target_set_size];
    u32 stamps[target_set_size];
    u32 stamp;
};

static target_set_t* reader_targets(reader_t* reader, u32 first_kind, u32 last_kind) {
    static data_t block = {};
    if (!block.bytes) {
        block = data_allocate(sizeof(target_set_t));
        ASSERT(block.bytes);
    }
    target_set_t* set = (target_set_t*)block.bytes;
    set->stamp += 1;
    if (set->stamp == 0) {
        bytes_zero(set->stamps, sizeof(set->stamps));
        set->stamp = 1;
    }
    u32 seen = 0;
    for (u32 i = 0; i < reader->relations.max_entry_count && seen < reader->relations.entry_count; i++) {
        relation_t* relation = (relation_t*)pool_at(&reader->relations, sizeof(relation_t), i);
        if (!relation_is_alive(relation)) continue;
        seen++;
        if (relation->kind < first_kind || relation->kind > last_kind) continue;
        u32 place = (relation->target_id * 2654435761u) & (target_set_size - 1);
        while (set->stamps[place] == set->stamp && set->ids[place] != relation->target_id) {
            place = (place + 1) & (target_set_size - 1);
        }
        set->ids[place] = relation->target_id;
        set->stamps[place] = set->stamp;
    }
    return set;
}

static bool target_set_has(const target_set_t* set, u32 id) {
    u32 place = (id * 2654435761u) & (target_set_size - 1);
    while (set->stamps[place] == set->stamp) {
        if (set->ids[place] == id) return true;
        place = (place + 1) & (target_set_size - 1);
    }
    return false;
}

// Each record with no relation aimed at it is released, in slot order. The set of
// targets is made once rather than walking the relations for every record; and
// when no relation was released since the last clean-up, none can be unused.
void reader_remove_unused_categories(reader_t* reader) {
    if (!reader->categories_maybe_unused) return;
    reader->categories_maybe_unused = 0;
    target_set_t* targets = reader_targets(reader, relation_rss_feed_category, relation_atom_entry_category);
    for (u32 i = 0; i < reader->categories.max_entry_count; i++) {
        category_t* category = (category_t*)pool_at(&reader->categories, sizeof(category_t), i);
        if (!category->id) continue;
        if (target_set_has(targets, category->id)) continue;
        category->id = 0;
        pool_release(&reader->categories, category, sizeof(category_t));
    }
}

void reader_remove_unused_persons(reader_t* reader) {
    if (!reader->persons_maybe_unused) return;
    reader->persons_maybe_unused = 0;
    target_set_t* targets = reader_targets(reader, relation_atom_feed_author, relation_atom_entry_contributor);
    for (u32 i = 0; i < reader->persons.max_entry_count; i++) {
        person_t* person = (person_t*)pool_at(&reader->persons, sizeof(person_t), i);
        if (!person->id) continue;
        if (target_set_has(targets, person->id)) continue;
        person->id = 0;
        pool_release(&reader->persons, person, sizeof(person_t));
    }
}

// ---------------------------------------------------------------------------
// Walks for views

static bool entry_matches(const entry_t* entry, u32 first_generation, u32 last_generation, u32 required,
                          u32 allowed) {
    return entry->generation >= first_generation && entry->generation <= last_generation &&
           flags_match(entry->kind & record_deleted_flag, required, allowed);
}

bool reader_has_entry_in_range(reader_t* reader, u32 first_generation, u32 last_generation, u32 required,
                               u32 allowed) {
    return pool_find<entry_t>(&reader->entries, entry_is_alive, [&](const entry_t* entry) {
        return entry_matches(entry, first_generation, last_generation, required, allowed);
    }) != nullptr;
}

u32 reader_previous_generation(reader_t* reader, u32 generation, u32 required, u32 allowed) {
    for (u32 g = generation - 1; g >= 1 && g < generation; g--) {
        if (reader_has_entry_in_range(reader, g, g, required, allowed)) return g;
    }
    return generation;
}

u32 reader_next_generation(reader_t* reader, u32 generation, u32 required, u32 allowed) {
    for (u32 g = generation + 1; g <= reader->generation; g++) {
        if (reader_has_entry_in_range(reader, g, g, required, allowed)) return g;
    }
    return generation;
}

static bool entry_of_feed_matches(const entry_t* entry, const feed_t* feed, u32 first_generation,
                                  u32 last_generation, u32 required, u32 allowed) {
    return entry_is_alive((void*)entry) && entry->feed_id == feed->id &&
           entry_matches(entry, first_generation, last_generation, required, allowed);
}

// The first slot from `start` on, walking by `step` (1 or -1), whose record
// `matches`; the walk ends at either end of the pool.
template <typename T, typename match_t> static T* pool_walk(pool_t* pool, i64 start, i64 step, match_t matches) {
    for (i64 i = start; i >= 0 && i < (i64)pool->max_entry_count; i += step) {
        T* record = (T*)pool_at(pool, sizeof(T), (u64)i);
        if (matches(record)) return record;
    }
    return nullptr;
}

entry_t* feed_first_entry(reader_t* reader, feed_t* feed, u32 first_generation, u32 last_generation,
                          u32 required, u32 allowed) {
    if (!feed) return nullptr;
    return pool_find<entry_t>(&reader->entries, entry_is_alive, [&](const entry_t* entry) {
        return entry_of_feed_matches(entry, feed, first_generation, last_generation, required, allowed);
    });
}

entry_t* feed_last_entry(reader_t* reader, feed_t* feed, u32 first_generation, u32 last_generation,
                         u32 required, u32 allowed) {
    if (!feed) return nullptr;
    i64 last_slot = (i64)reader->entries.max_entry_count - 1;
    return pool_walk<entry_t>(&reader->entries, last_slot, -1, [&](const entry_t* entry) {
        return entry_of_feed_matches(entry, feed, first_generation, last_generation, required, allowed);
    });
}

entry_t* feed_previous_entry(reader_t* reader, feed_t* feed, entry_t* entry, u32 first_generation,
                             u32 last_generation, u32 required, u32 allowed) {
    if (!feed || !entry) return nullptr;
    i64 index = (i64)pool_index_of(&reader->entries, sizeof(entry_t), entry);
    return pool_walk<entry_t>(&reader->entries, index - 1, -1, [&](const entry_t* other) {
        return entry_of_feed_matches(other, feed, first_generation, last_generation, required, allowed);
    });
}

entry_t* feed_next_entry(reader_t* reader, feed_t* feed, entry_t* entry, u32 first_generation,
                         u32 last_generation, u32 required, u32 allowed) {
    if (!feed || !entry) return nullptr;
    i64 index = (i64)pool_index_of(&reader->entries, sizeof(entry_t), entry);
    return pool_walk<entry_t>(&reader->entries, index + 1, 1, [&](const entry_t* other) {
        return entry_of_feed_matches(other, feed, first_generation, last_generation, required, allowed);
    });
}

static bool feed_matches(reader_t* reader, feed_t* feed, bool show_empty, u32 first_generation,
                         u32 last_generation, u32 required, u32 allowed, u32 entry_required, u32 entry_allowed) {
    if (!feed_is_alive(feed)) return false;
    if (!flags_match(feed->kind & record_deleted_flag, required, allowed)) return false;
    // Among deleted feeds, empty ones don't show.
    if (required & record_deleted_flag) show_empty = false;
    if (show_empty) return true;
    return feed->entry_count > 0 &&
           feed_first_entry(reader, feed, first_generation, last_generation, entry_required, entry_allowed);
}

// The first feed from slot `start` on, walking by `step`, that the list shows.
static feed_t* feed_walk(reader_t* reader, i64 start, i64 step, bool show_empty, u32 first_generation,
                         u32 last_generation, u32 required, u32 allowed, u32 entry_required, u32 entry_allowed) {
    return pool_walk<feed_t>(&reader->feeds, start, step, [&](feed_t* feed) {
        return feed_matches(reader, feed, show_empty, first_generation, last_generation, required, allowed,
                            entry_required, entry_allowed);
    });
}

feed_t* reader_first_feed(reader_t* reader, bool show_empty, u32 first_generation, u32 last_generation,
                          u32 required, u32 allowed, u32 entry_required, u32 entry_allowed) {
    return feed_walk(reader, 0, 1, show_empty, first_generation, last_generation, required, allowed,
                     entry_required, entry_allowed);
}

feed_t* reader_last_feed(reader_t* reader, bool show_empty, u32 first_generation, u32 last_generation,
                         u32 required, u32 allowed, u32 entry_required, u32 entry_allowed) {
    return feed_walk(reader, (i64)reader->feeds.max_entry_count - 1, -1, show_empty, first_generation,
                     last_generation, required, allowed, entry_required, entry_allowed);
}

feed_t* reader_previous_feed(reader_t* reader, feed_t* feed, bool show_empty, u32 first_generation,
                             u32 last_generation, u32 required, u32 allowed, u32 entry_required,
                             u32 entry_allowed) {
    if (!feed) return nullptr;
    i64 index = (i64)pool_index_of(&reader->feeds, sizeof(feed_t), feed);
    return feed_walk(reader, index - 1, -1, show_empty, first_generation, last_generation, required, allowed,
                     entry_required, entry_allowed);
}

feed_t* reader_next_feed(reader_t* reader, feed_t* feed, bool show_empty, u32 first_generation,
                         u32 last_generation, u32 required, u32 allowed, u32 entry_required,
                         u32 entry_allowed) {
    if (!feed) return nullptr;
    i64 index = (i64)pool_index_of(&reader->feeds, sizeof(feed_t), feed);
    return feed_walk(reader, index + 1, 1, show_empty, first_generation, last_generation, required, allowed,
                     entry_required, entry_allowed);
}

// ---------------------------------------------------------------------------
// Ordering

static bool entry_of_feed_filter(void* record, u64 feed_id) { return ((entry_t*)record)->feed_id == feed_id; }

static date_t entry_sort_date(const entry_t* entry) {
    return entry_kind(entry) == record_kind_rss ? entry->rss.pub_date : entry->atom.published;
}

static i32 entry_earlier_than(void* a, void* b) {
    entry_t* first = (entry_t*)a;
    entry_t* second = (entry_t*)b;
    // A deleted entry sorts among the live ones of its feed: the flag isn't its kind.
    ASSERT(entry_kind(first) == entry_kind(second) && first->feed_id == second->feed_id);
    return date_is_before(entry_sort_date(first), entry_sort_date(second)) ? 1 : 0;
}

static void entry_swap(void* a, void* b) {
    entry_t copy;
    bytes_copy(&copy, a, sizeof(entry_t));
    bytes_copy(a, b, sizeof(entry_t));
    bytes_copy(b, &copy, sizeof(entry_t));
}

void reader_sort_feed(reader_t* reader, feed_t* feed) {
    if (feed->entry_count < 2) return;
    feed_meta_t* meta = reader_find_meta(reader, feed->id);
    ASSERT(meta);
    // An exchange sort over this feed's slots alone, each compared and swapped with
    // every later one, gathered first so that the whole pool isn't walked for each
    // of the feed's entries.
    bool descending = (meta->flags & feed_meta_oldest_first) != 0;
    u32 slots[reader_entry_capacity];
    u32 count = 0;
    for (u32 i = 0; i < reader->entries.max_entry_count && count < feed->entry_count; i++) {
        entry_t* entry = (entry_t*)pool_at(&reader->entries, sizeof(entry_t), i);
        if (entry_is_alive(entry) && entry_of_feed_filter(entry, feed->id)) slots[count++] = i;
    }
    for (u32 a = 0; a + 1 < count; a++) {
        entry_t* first = (entry_t*)pool_at(&reader->entries, sizeof(entry_t), slots[a]);
        for (u32 b = a + 1; b < count; b++) {
            entry_t* later = (entry_t*)pool_at(&reader->entries, sizeof(entry_t), slots[b]);
            if (descending ? entry_earlier_than(later, first) : entry_earlier_than(first, later)) {
                entry_swap(first, later);
                reader_note_entry(reader, first);
                reader_note_entry(reader, later);
            }
        }
    }
}

// ---------------------------------------------------------------------------
// Strings

bool reader_reserve_strings(reader_t* reader, u64 size) {
    if (size <= reader->strings.reserved) return true;
    if (size >= reader->string_region.reserved) return false;
    u64 lack = size - reader->string_region.used;
    u64 amount = align_up(lack, reader_string_commit_step);
    if (reader->string_region.used + amount >= reader->string_region.reserved) return false;
    if (!data_commit(&reader->string_region, amount)) return false;
    reader->strings.reserved = reader->string_region.used;
    return true;
}

data_t reader_store_string(reader_t* reader, data_t text) {
    if (reader->strings.used + text.used > reader->strings.reserved) {
        ASSERT(reader_reserve_strings(reader, reader->strings.used + text.used));
    }
    u8* copy = reader->strings.bytes + reader->strings.used;
    if (text.used) bytes_copy(copy, text.bytes, text.used);
    reader->strings.used += text.used;
    return data_t{text.reserved, text.used, copy};
}

bool reader_try_store_string(reader_t* reader, data_t text, data_t* field) {
    if (reader->strings.used + text.used > reader->strings.reserved &&
        !reader_reserve_strings(reader, reader->strings.used + text.used)) {
        return false;
    }
    // With a larger reserved size than it holds, a later copy over the field in
    // place would write over the strings stored behind it.
    text.reserved = text.used;
    *field = reader_store_string(reader, text);
    return true;
}
