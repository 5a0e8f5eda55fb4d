// reader_t, the feed store: seven pools of fixed-size records that refer to each
// other by id, one append-only string region, and the operations on them.
#pragma once

#include "base/data.h"
#include "base/date.h"
#include "base/pool.h"
#include "store/codepoint_set.h"

// Low 31 bits of the first word of a feed or entry; the top bit is the soft delete.
enum : u32 {
    record_kind_free = 0,
    record_kind_rss = 1,
    record_kind_atom = 2,
    record_deleted_flag = 0x80000000u,
};

struct feed_rss_t {
    data_t title, link, description, language, copyright, managing_editor, web_master;
    date_t pub_date, last_build_date;
    u32 category_count;
    u32 unused_0;
    data_t generator, docs, cloud_domain;
    u32 cloud_port;
    u32 unused_1;
    data_t cloud_path, cloud_register_procedure, cloud_protocol;
    u32 ttl;
    u32 unused_2;
    data_t image_url, image_title, image_link;
    u32 image_width, image_height;
    data_t image_description, rating, text_input_title, text_input_description, text_input_name,
        text_input_link;
    u32 skip_hours[24];
    u32 skip_days[7];  // 0 Monday to 6 Sunday
    u32 unused_3;
};

struct feed_atom_t {
    u32 author_count, category_count, contributor_count, link_count;
    data_t generator, generator_uri, generator_version, icon, logo, atom_id, rights, subtitle, title;
    date_t updated;
};

struct feed_t {
    u32 kind;
    u32 id;
    u32 entry_count;
    u32 unused;
    data_t address;
    union {
        feed_rss_t rss;
        feed_atom_t atom;
    };
};

struct entry_rss_t {
    data_t title, link, description, author, comments, enclosure_url;
    u64 enclosure_length;
    data_t enclosure_type, source, source_url, guid;
    u32 guid_is_perma_link;
    u32 category_count;
    date_t pub_date;
};

struct entry_atom_t {
    u32 author_count, category_count, contributor_count, link_count;
    data_t content, atom_id, rights, source, summary, title;
    date_t published, updated;
};

struct entry_t {
    u32 kind;
    u32 id;
    u32 feed_id;
    u32 generation;
    union {
        entry_rss_t rss;
        entry_atom_t atom;
    };
};

struct category_t {
    u32 id;
    u32 unused;
    data_t term, scheme, label;
};

struct person_t {
    u32 id;
    u32 unused;
    data_t name, uri, email;
};

enum : u32 {
    atom_owner_free = 0,
    atom_owner_feed = 1,
    atom_owner_entry = 2,
};
enum : u32 {
    atom_rel_alternate = 0,
    atom_rel_related = 1,
    atom_rel_self = 2,
    atom_rel_enclosure = 3,
    atom_rel_via = 4,
};

struct atom_link_t {
    u32 owner_kind;
    u32 owner_id;
    data_t href, type, hreflang, title;
    u32 rel;
    u32 unused;
    u64 length;
};

enum : u32 {
    relation_free = 0,
    relation_rss_feed_category = 1,
    relation_rss_entry_category = 2,
    relation_atom_feed_category = 3,
    relation_atom_entry_category = 4,
    relation_atom_feed_author = 5,
    relation_atom_entry_author = 6,
    relation_atom_feed_contributor = 7,
    relation_atom_entry_contributor = 8,
};

struct relation_t {
    u32 kind;
    u32 owner_id;
    u32 target_id;
};

struct link_target_t {
    data_t name, executable, queue;
    u32 queue_enabled;
    u32 unused;
};

// feed_meta_t::flags, the feed view's options.
enum : u32 {
    feed_meta_oldest_first = 1,
    feed_meta_hide_enclosure = 2,
    feed_meta_draw_enclosure_picture = 4,
};

struct feed_meta_t {
    u32 feed_id;
    u32 flags;
    link_target_t* link_target;  // an index 0 to 9 while strings are compacted
};

// The file writes these slots as they stand in memory.
static_assert(sizeof(feed_t) == 744, "feed slot");
static_assert(sizeof(entry_t) == 280, "entry slot");
static_assert(sizeof(category_t) == 80, "category slot");
static_assert(sizeof(person_t) == 80, "person slot");
static_assert(sizeof(atom_link_t) == 120, "atom link slot");
static_assert(sizeof(relation_t) == 12, "relation slot");
static_assert(sizeof(feed_meta_t) == 16, "meta slot");
static_assert(sizeof(link_target_t) == 80, "link target record");
static_assert(sizeof(data_t) == 24 && sizeof(void*) == 8, "a string slot is three words");

constexpr u32 reader_feed_capacity = 100;
constexpr u32 reader_entry_capacity = 10000;
constexpr u32 reader_category_capacity = 10000;
constexpr u32 reader_person_capacity = 1000;
constexpr u32 reader_atom_link_capacity = 1000;
constexpr u32 reader_relation_capacity = 10000;
constexpr u32 reader_meta_capacity = 100;
constexpr u32 reader_link_target_count = 10;
constexpr u64 reader_string_region_size = 0x6400000;
constexpr u64 reader_string_commit_step = 0x100000;

// What the list's counting walk reads of the entry slots, kept beside the entry
// pool as three arrays in slot order, so that the walk reads 12 bytes per entry,
// four at a time, instead of a record of 280. Derived from the pool, never saved:
// every change of an entry's kind word, feed id or generation, and every move of
// a record, notes it here.
struct entry_heads_t {
    u32 kind[reader_entry_capacity];
    u32 feed_id[reader_entry_capacity];
    u32 generation[reader_entry_capacity];
};

struct reader_t {
    data_t memory;
    pool_t feeds;
    pool_t entries;
    pool_t categories;
    pool_t persons;
    pool_t atom_links;
    pool_t relations;
    data_t string_region;
    data_t string_region_spare;
    data_t strings;
    u32 last_feed_id;
    u32 last_entry_id;
    u32 last_category_id;
    u32 last_person_id;
    u32 generation;
    codepoint_set_t* codepoints;
    link_target_t link_targets[reader_link_target_count];
    pool_t metas;
    // Set when a relation is released: only then can a category or person have
    // become unused, and the clean-ups have anything to do. Never saved.
    u32 categories_maybe_unused;
    u32 persons_maybe_unused;
    // An entry id held outside the store over a save (the selected entry's): the
    // save's renumbering carries it to the entry's new id. 0 for none. Never saved.
    u32 held_entry_id;
    // In reader->memory after the pools.
    entry_heads_t* entry_heads;
};

// The image slots of a removed entry belong to the image layer, which the store
// doesn't reach: it sets this at start-up.
extern void (*reader_entry_removed_hook)(u32 entry_id);

void reader_init(reader_t* reader);
// A reader over a code point set of its own (codepoint_set_create), as the tool,
// benches and tests run it; reader_release and data_free of the block end them.
void reader_init_standalone(reader_t* reader, codepoint_set_t* codepoints, data_t* codepoint_block);
// Gives back the pools and both string regions.
void reader_release(reader_t* reader);

// Byte equality, compared from the end: identities, terms and names of one feed
// tend to share their start and differ at the end.
inline bool reader_text_equal(data_t a, data_t b) {
    if (a.used != b.used) return false;
    for (u64 i = a.used; i > 0; i--) {
        if (a.bytes[i - 1] != b.bytes[i - 1]) return false;
    }
    return true;
}

inline u32 feed_kind(const feed_t* feed) { return feed->kind & 0x7FFFFFFFu; }
inline u32 entry_kind(const entry_t* entry) { return entry->kind & 0x7FFFFFFFu; }
bool feed_is_alive(void* record);
bool entry_is_alive(void* record);
bool category_is_alive(void* record);
bool person_is_alive(void* record);
bool atom_link_is_alive(void* record);
bool relation_is_alive(void* record);
bool meta_is_alive(void* record);

bool flags_match(u32 value, u32 required, u32 allowed);

// Finding.
feed_t* reader_find_feed_by_id(reader_t* reader, u32 id);
feed_t* reader_find_feed_by_address(reader_t* reader, data_t address);
entry_t* reader_find_entry_by_id(reader_t* reader, u32 feed_id, u32 entry_id);
data_t entry_unique_id(const entry_t* entry);
entry_t* reader_find_entry_by_unique_id(reader_t* reader, u32 feed_id, data_t unique_id);
// The same while `pending`, made by reader_new_entry, isn't attached yet: its slot
// counts in the pool, so the walk counts it when it passes, and stops as early.
entry_t* reader_find_entry_by_unique_id_beside(reader_t* reader, u32 feed_id, data_t unique_id, entry_t* pending);
category_t* reader_find_category(reader_t* reader, u32 id);
person_t* reader_find_person(reader_t* reader, u32 id);
feed_meta_t* reader_find_meta(reader_t* reader, u32 feed_id);
data_t feed_title(const feed_t* feed);
data_t entry_title(const entry_t* entry);
data_t reader_atom_link_by_rel(reader_t* reader, u32 owner_id, u32 count, u32 owner_kind, u32 rel);

// Creating.
feed_t* reader_add_feed(reader_t* reader, u32 kind);
entry_t* reader_new_entry(reader_t* reader);
void reader_attach_entry(reader_t* reader, feed_t* feed, entry_t* entry);

// A feed's record of its own: flags and link target. Made with the feed by the
// merge; null when the metas pool is full.
feed_meta_t* reader_add_meta(reader_t* reader, u32 feed_id);

// The entry heads: one slot's copy brought up to date, all of them rebuilt from the
// pool (after a load or a compaction), and the comparison the checks use.
inline void reader_note_entry(reader_t* reader, const entry_t* entry) {
    u64 slot = (u64)((const u8*)entry - reader->entries.entries) / sizeof(entry_t);
    reader->entry_heads->kind[slot] = entry->kind;
    reader->entry_heads->feed_id[slot] = entry->feed_id;
    reader->entry_heads->generation[slot] = entry->generation;
}
void reader_rebuild_entry_heads(reader_t* reader);
bool reader_entry_heads_match(reader_t* reader);

// Soft delete.
void entry_mark_deleted(reader_t* reader, entry_t* entry);
inline bool entry_is_deleted(const entry_t* entry) { return (entry->kind & record_deleted_flag) != 0; }
inline bool feed_is_deleted(const feed_t* feed) { return (feed->kind & record_deleted_flag) != 0; }
inline void entry_clear_deleted(reader_t* reader, entry_t* entry) {
    entry->kind &= ~record_deleted_flag;
    reader_note_entry(reader, entry);
}
void feed_mark_deleted(reader_t* reader, feed_t* feed);
void feed_restore(reader_t* reader, feed_t* feed, bool with_entries);

// Removing.
void reader_remove_entry(reader_t* reader, entry_t* entry, feed_t* feed);
void reader_remove_atom_links(reader_t* reader, u32 owner_id, u32* link_count, u32 owner_kind);
void reader_remove_feed(reader_t* reader, feed_t* feed);
void reader_purge_deleted(reader_t* reader);
void reader_remove_unused_categories(reader_t* reader);
void reader_remove_unused_persons(reader_t* reader);

// Walks for views, generations inclusive on both ends.
bool reader_has_entry_in_range(reader_t* reader, u32 first_generation, u32 last_generation, u32 required,
                               u32 allowed);
u32 reader_previous_generation(reader_t* reader, u32 generation, u32 required, u32 allowed);
u32 reader_next_generation(reader_t* reader, u32 generation, u32 required, u32 allowed);
entry_t* feed_first_entry(reader_t* reader, feed_t* feed, u32 first_generation, u32 last_generation,
                          u32 required, u32 allowed);
entry_t* feed_last_entry(reader_t* reader, feed_t* feed, u32 first_generation, u32 last_generation,
                         u32 required, u32 allowed);
entry_t* feed_previous_entry(reader_t* reader, feed_t* feed, entry_t* entry, u32 first_generation,
                             u32 last_generation, u32 required, u32 allowed);
entry_t* feed_next_entry(reader_t* reader, feed_t* feed, entry_t* entry, u32 first_generation,
                         u32 last_generation, u32 required, u32 allowed);
feed_t* reader_first_feed(reader_t* reader, bool show_empty, u32 first_generation, u32 last_generation,
                          u32 required, u32 allowed, u32 entry_required, u32 entry_allowed);
feed_t* reader_last_feed(reader_t* reader, bool show_empty, u32 first_generation, u32 last_generation,
                         u32 required, u32 allowed, u32 entry_required, u32 entry_allowed);
feed_t* reader_previous_feed(reader_t* reader, feed_t* feed, bool show_empty, u32 first_generation,
                             u32 last_generation, u32 required, u32 allowed, u32 entry_required,
                             u32 entry_allowed);
feed_t* reader_next_feed(reader_t* reader, feed_t* feed, bool show_empty, u32 first_generation,
                         u32 last_generation, u32 required, u32 allowed, u32 entry_required,
                         u32 entry_allowed);

// Ordering.
void reader_sort_feed(reader_t* reader, feed_t* feed);

// Strings.
bool reader_reserve_strings(reader_t* reader, u64 size);
data_t reader_store_string(reader_t* reader, data_t text);
// A copy of `text` that owns exactly its bytes, into `*field`; false, with the
// field left as it was, when the strings can't grow that far.
bool reader_try_store_string(reader_t* reader, data_t text, data_t* field);

// Compaction of the string store, its reverse, the consistency check and the debug
// listing on log channel 5.
void reader_compact_strings(reader_t* reader);
void reader_rebase_strings(reader_t* reader);
void reader_check(reader_t* reader);
// The same counts without the stop: false on the first one that doesn't agree.
bool reader_is_consistent(reader_t* reader);
// For a loaded file whose strings are still offsets: every slot below a pool's
// count is a live record and every string lies inside the store.
bool reader_slots_are_sound(reader_t* reader, u64 string_store_size);
// A listing of the whole store on log channel 5, written nowhere.
void reader_dump_to_log(reader_t* reader);
