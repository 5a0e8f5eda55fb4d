// The store file, byte for byte: magic, version, section table, counters, pools,
// link targets, code points and the string store; the save with its rotation of
// ten files and the load of the newest one.
#include "store/reader_file.h"

#include "base/date.h"
#include "base/log.h"
#include "base/text.h"
#include "store/reader.h"

static const u8 reader_file_magic[4] = {'f', 'e', 'e', 'd'};
static const u32 reader_section_count = 5;

struct reader_pool_entry_t {
    pool_t* pool;
    u64 slot_size;
    pool_filter_t alive;
};

static void reader_file_pools(reader_t* reader, reader_pool_entry_t pools[7]) {
    pools[0] = {&reader->feeds, sizeof(feed_t), feed_is_alive};
    pools[1] = {&reader->entries, sizeof(entry_t), entry_is_alive};
    pools[2] = {&reader->categories, sizeof(category_t), category_is_alive};
    pools[3] = {&reader->persons, sizeof(person_t), person_is_alive};
    pools[4] = {&reader->atom_links, sizeof(atom_link_t), atom_link_is_alive};
    pools[5] = {&reader->relations, sizeof(relation_t), relation_is_alive};
    pools[6] = {&reader->metas, sizeof(feed_meta_t), meta_is_alive};
}

// The first word of every slot says whether it is free.
static void slot_mark_dead(void* slot) { *(u32*)slot = 0; }

u64 reader_file_date(const u8* bytes, u64 length) {
    u64 name_start = 0;
    for (u64 i = length; i > 0; i--) {
        if (bytes[i - 1] == '/' || bytes[i - 1] == '\\') {
            name_start = i;
            break;
        }
    }
    data_t name = file_strip_extension(data_from_range(bytes + name_start, bytes + length));
    if (name.used != 25 || !data_starts_with(name, data_literal("feed_data_"))) return 0;
    date_t date = date_from_file_name(data_from_range(name.bytes + 10, name.bytes + name.used));
    if (date_is_zero(date)) return 0;
    return (u64)date.year * 10000000000ull + (u64)date.month * 100000000ull + (u64)date.day * 1000000ull +
           (u64)date.hour * 10000ull + (u64)date.minute * 100ull + (u64)date.second;
}

// ---------------------------------------------------------------------------
// Writing

void pool_write(file_handle_t file, u64* position, pool_t* pool, u64 slot_size, file_error_t* error) {
    u32 count = pool->entry_count;
    *position += file_write(file, *position, 4, &count, error);
    *position += file_write(file, *position, (u64)count * slot_size, pool->entries, error);
}

static void reader_renumber_generations(reader_t* reader, data_t* arena) {
    data_t free_part = data_free_view_64(arena);
    u64 table_size = ((u64)reader->generation + 1) * 4;
    ASSERT(free_part.reserved >= table_size);
    u32* table = (u32*)free_part.bytes;
    bytes_zero(table, table_size);
    u32 distinct = 0;
    u32 highest = 0;
    for (u32 i = 0; i < reader->entries.entry_count; i++) {
        entry_t* entry = (entry_t*)pool_at(&reader->entries, sizeof(entry_t), i);
        u32 g = entry->generation;
        if (!table[g]) {
            table[g] = 1;
            distinct++;
        }
        if (g > highest) highest = g;
    }
    u32 next = 1;
    for (u32 g = 0; g <= highest && distinct; g++) {
        if (table[g]) table[g] = next++;
    }
    for (u32 i = 0; i < reader->entries.entry_count; i++) {
        entry_t* entry = (entry_t*)pool_at(&reader->entries, sizeof(entry_t), i);
        entry->generation = table[entry->generation];
    }
    reader->generation = distinct;
}

struct id_pair_t {
    u32 old_id;
    u32 new_id;
};
struct id_map_t {
    id_pair_t* pairs;
    u32 count;
};

// The first pair that matches, as every walk but the entries' feed ids does.
static u32 id_map_first(const id_map_t* map, u32 id) {
    for (u32 i = 0; i < map->count; i++) {
        if (map->pairs[i].old_id == id) return map->pairs[i].new_id;
    }
    return id;
}

// Every pair in turn, so that a value changed by one pair can be changed again by
// a later one. The entries' feed ids have always gone through the map this way.
static u32 id_map_all(const id_map_t* map, u32 id) {
    for (u32 i = 0; i < map->count; i++) {
        if (map->pairs[i].old_id == id) id = map->pairs[i].new_id;
    }
    return id;
}

// Numbers a compacted pool's records 1, 2 and on in slot order; the map, which starts
// at `pairs`, notes each id that changed.
template <typename T> static id_map_t pool_renumber(pool_t* pool, id_pair_t* pairs) {
    id_map_t map = {pairs, 0};
    for (u32 i = 0; i < pool->entry_count; i++) {
        T* record = (T*)pool_at(pool, sizeof(T), i);
        if (record->id != i + 1) {
            map.pairs[map.count++] = {record->id, i + 1};
            record->id = i + 1;
        }
    }
    return map;
}

static void reader_renumber_ids(reader_t* reader, data_t* arena) {
    data_t free_part = data_free_view_64(arena);
    u64 capacity = free_part.reserved / sizeof(id_pair_t);
    u64 needed = (u64)reader->feeds.entry_count + reader->entries.entry_count + reader->categories.entry_count +
                 reader->persons.entry_count;
    ASSERT(capacity >= needed);
    id_map_t feeds = pool_renumber<feed_t>(&reader->feeds, (id_pair_t*)free_part.bytes);
    id_map_t entries = pool_renumber<entry_t>(&reader->entries, feeds.pairs + feeds.count);
    id_map_t categories = pool_renumber<category_t>(&reader->categories, entries.pairs + entries.count);
    id_map_t persons = pool_renumber<person_t>(&reader->persons, categories.pairs + categories.count);
    for (u32 i = 0; i < reader->entries.entry_count; i++) {
        entry_t* entry = (entry_t*)pool_at(&reader->entries, sizeof(entry_t), i);
        entry->feed_id = id_map_all(&feeds, entry->feed_id);
    }
    for (u32 i = 0; i < reader->relations.entry_count; i++) {
        relation_t* relation = (relation_t*)pool_at(&reader->relations, sizeof(relation_t), i);
        bool feed_owner = relation->kind % 2 == 1;
        relation->owner_id = id_map_first(feed_owner ? &feeds : &entries, relation->owner_id);
        bool category_target = relation->kind <= relation_atom_entry_category;
        relation->target_id = id_map_first(category_target ? &categories : &persons, relation->target_id);
    }
    for (u32 i = 0; i < reader->atom_links.entry_count; i++) {
        atom_link_t* link = (atom_link_t*)pool_at(&reader->atom_links, sizeof(atom_link_t), i);
        link->owner_id = id_map_first(link->owner_kind == atom_owner_feed ? &feeds : &entries, link->owner_id);
    }
    for (u32 i = 0; i < reader->metas.entry_count; i++) {
        feed_meta_t* meta = (feed_meta_t*)pool_at(&reader->metas, sizeof(feed_meta_t), i);
        meta->feed_id = id_map_first(&feeds, meta->feed_id);
    }
    reader->held_entry_id = id_map_first(&entries, reader->held_entry_id);
    reader->last_feed_id = reader->feeds.entry_count;
    reader->last_entry_id = reader->entries.entry_count;
    reader->last_category_id = reader->categories.entry_count;
    reader->last_person_id = reader->persons.entry_count;
}

// Sixteen bytes at a time; the compare gives 0xFF in each byte below 0x20, above
// 0x7E (signed, so 0x80 and up count as below) or equal to DEL.
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "the bitmap is read a word at a time");
typedef signed char codepoint_scan_lanes_t __attribute__((vector_size(16)));

// The offset of the first byte of `p[0..16)` that is not printable ASCII, or 16.
static u32 codepoint_scan_first_special(const u8* p) {
    codepoint_scan_lanes_t lanes;
    __builtin_memcpy(&lanes, p, 16);
    codepoint_scan_lanes_t special = (lanes < (signed char)0x20) | (lanes == (signed char)0x7F);
    u64 halves[2];
    __builtin_memcpy(halves, &special, 16);
    if (halves[0]) return (u32)__builtin_ctzll(halves[0]) / 8;
    if (halves[1]) return 8 + (u32)__builtin_ctzll(halves[1]) / 8;
    return 16;
}

static void reader_rebuild_codepoints(reader_t* reader) {
    codepoint_set_t* set = reader->codepoints;
    ASSERT(set->capacity == codepoint_set_capacity);
    // The set's own bitmap collects the code points, so that only it is cleared
    // and walked rather than a word for every code point there is; the walk then
    // gives them in ascending order.
    const u64 bitmap_words = ((u64)codepoint_set_capacity + 1) / 64;
    u64* bits = (u64*)set->present;
    bytes_zero(bits, bitmap_words * 8);
    for (u32 c : codepoint_defaults.values) bits[c >> 6] |= 1ull << (c & 63);
    const u8* p = reader->strings.bytes;
    const u8* end = p + reader->strings.used;
    while (p < end) {
        // Printable ASCII is in the defaults: most of the store is skipped here.
        while (end - p >= 16) {
            u32 skip = codepoint_scan_first_special(p);
            p += skip;
            if (skip < 16) break;
        }
        while (p < end && (u8)(*p - 0x20) < 0x5F) p++;
        if (p >= end) break;
        u32 c = codepoint_invalid;
        u8 lead = *p;
        if (lead < 0x80) {
            c = lead;
            p += 1;
        } else if (lead >= 0xC2 && lead <= 0xDF && end - p >= 2 && (p[1] & 0xC0) == 0x80) {
            c = ((u32)(lead & 0x1F) << 6) | (p[1] & 0x3F);
            p += 2;
        } else if (lead >= 0xE1 && lead <= 0xEF && lead != 0xED && end - p >= 3 && (p[1] & 0xC0) == 0x80 &&
                   (p[2] & 0xC0) == 0x80) {
            c = ((u32)(lead & 0x0F) << 12) | ((u32)(p[1] & 0x3F) << 6) | (p[2] & 0x3F);
            p += 3;
        } else {
            // The rare forms, and every fault, as the decoder sees them.
            u32 length = 0;
            utf_error_t error = 0;
            utf8_decode(p, end, &c, &length, &error);
            if (error || length == 0) {
                p += 1;
                continue;
            }
            p += length;
        }
        // U+0000 would mark its own slot as empty, and the table ends below U+10FFFF.
        if (c == 0 || c >= set->capacity) continue;
        bits[c >> 6] |= 1ull << (c & 63);
    }
    u32 count = 0;
    set->replacement_position = 0;
    for (u64 w = 0; w < bitmap_words; w++) {
        u64 word = bits[w];
        while (word) {
            u32 c = (u32)(w * 64 + (u64)__builtin_ctzll(word));
            word &= word - 1;
            if (c == codepoint_replacement) set->replacement_position = count;
            set->values[count++] = c;
        }
    }
    set->count = count;
}

// The folder part of a file's path: up to its last '/', or "." for a bare name.
static data_t reader_file_folder(data_t path) {
    for (u64 i = path.used; i > 0; i--) {
        if (path.bytes[i - 1] == '/') return data_from_size(i > 1 ? i - 1 : 1, path.bytes);
    }
    return data_literal(".");
}

void reader_file_write(reader_t* reader, data_t* scratch, data_t path, file_error_t* error) {
    reader_check(reader);
    reader_remove_unused_categories(reader);
    reader_remove_unused_persons(reader);
    reader_pool_entry_t pools[7];
    reader_file_pools(reader, pools);
    // The compaction takes entries from the top into the holes, out of their feeds'
    // order. Sorted back before the ids follow the slots, the file holds each feed
    // in the order the list shows, and a second save of the same reader writes the
    // same records under the same ids. Without holes nothing moves, and the sort,
    // the longest step of a save, is left out.
    pool_t* entries = &reader->entries;
    bool entries_move = false;
    for (u64 i = entries->entry_count; i < entries->max_entry_count && !entries_move; i++) {
        entries_move = entry_is_alive(pool_at(entries, sizeof(entry_t), i));
    }
    for (reader_pool_entry_t& entry : pools) pool_compact(entry.pool, entry.slot_size, entry.alive, slot_mark_dead);
    for (u32 i = 0; entries_move && i < reader->feeds.entry_count; i++) {
        reader_sort_feed(reader, (feed_t*)pool_at(&reader->feeds, sizeof(feed_t), i));
    }
    reader_compact_strings(reader);
    reader_renumber_generations(reader, scratch);
    reader_renumber_ids(reader, scratch);
    reader_rebuild_codepoints(reader);
    reader_rebuild_entry_heads(reader);
    reader_check(reader);

    // The temporary name has no "bin" extension, so that neither the load nor the
    // rotation ever sees a half-written file. A name too long for the system
    // fails at the open, with its reason.
    u8 temporary_buffer[reader_file_path_capacity + 4];
    ASSERT(path.used <= reader_file_path_capacity);
    data_t temporary = data_make(sizeof(temporary_buffer), 0, temporary_buffer);
    data_push_bytes(&temporary, path.bytes, path.used, 1);
    data_push_bytes(&temporary, ".new", 4, 1);

    file_handle_t file = file_open(temporary, true, true, error);
    u64 position = 0;
    u32 version = reader_file_version;
    u64 table[reader_section_count * 2] = {};
    position += file_write(file, position, 4, reader_file_magic, error);
    position += file_write(file, position, 4, &version, error);
    position += file_write(file, position, sizeof(table), table, error);

    table[0] = position;
    u32 counters[5] = {reader->last_feed_id, reader->last_entry_id, reader->last_category_id,
                       reader->last_person_id, reader->generation};
    position += file_write(file, position, sizeof(counters), counters, error);
    table[1] = position - table[0];

    table[2] = position;
    for (reader_pool_entry_t& entry : pools) pool_write(file, &position, entry.pool, entry.slot_size, error);
    table[3] = position - table[2];

    table[4] = position;
    position += file_write(file, position, sizeof(reader->link_targets), reader->link_targets, error);
    table[5] = position - table[4];

    table[6] = position;
    codepoint_set_t* set = reader->codepoints;
    position += file_write(file, position, 4, &set->count, error);
    position += file_write(file, position, (u64)set->count * 4, set->values, error);
    table[7] = position - table[6];

    table[8] = position;
    u32 string_size = (u32)reader->strings.used;
    position += file_write(file, position, 4, &string_size, error);
    position += file_write(file, position, reader->strings.used, reader->strings.bytes, error);
    table[9] = position - table[8];

    file_write(file, 8, sizeof(table), table, error);
    file_sync(file, error);
    file_close(file, error);
    reader_rebase_strings(reader);
    if (!*error) file_rename(temporary, path, error);
    // The new name is on the disk only once its folder is: without this a power
    // cut can leave the newest name pointing at nothing.
    directory_sync(reader_file_folder(path), error);
    if (*error) {
        file_error_t ignored = 0;
        file_delete(temporary, &ignored);
    }
}

// ---------------------------------------------------------------------------
// Reading

void pool_read(file_handle_t file, u64* position, pool_t* pool, u64 slot_size, file_error_t* error) {
    u32 count = 0;
    *position += file_read(file, *position, 4, &count, error);
    if (*error) return;
    if (count > pool->max_entry_count) {
        *error = file_error_size;
        return;
    }
    *position += file_read(file, *position, (u64)count * slot_size, pool->entries, error);
    if (*error) return;
    bytes_zero(pool->entries + (u64)count * slot_size, (u64)(pool->max_entry_count - count) * slot_size);
    pool->entry_count = count;
    pool_reset_free_stack(pool);
}

// Back to an empty store: what a failed read leaves behind.
static void reader_empty(reader_t* reader) {
    reader_pool_entry_t pools[7];
    reader_file_pools(reader, pools);
    for (reader_pool_entry_t& entry : pools) {
        bytes_zero(entry.pool->entries, (u64)entry.pool->max_entry_count * entry.slot_size);
        entry.pool->entry_count = 0;
        pool_reset_free_stack(entry.pool);
    }
    bytes_zero(reader->link_targets, sizeof(reader->link_targets));
    reader->strings.used = 0;
    reader->last_feed_id = reader->last_entry_id = reader->last_category_id = reader->last_person_id = 0;
    reader->generation = 0;
    codepoint_set_t* set = reader->codepoints;
    if (set) {
        for (u32 i = 0; i < codepoint_default_count; i++) set->values[i] = codepoint_defaults.values[i];
        set->count = codepoint_default_count;
        codepoint_set_rebuild_index(set);
    }
}

// A save leaves ids 1 to n in slot order, the counters at n, every owner and
// target id in range, and no more generations than entries: a file that says
// otherwise was not written so.
static bool reader_file_ids_are_dense(reader_t* reader) {
    if (reader->last_feed_id != reader->feeds.entry_count || reader->last_entry_id != reader->entries.entry_count ||
        reader->last_category_id != reader->categories.entry_count ||
        reader->last_person_id != reader->persons.entry_count || reader->generation > reader->entries.entry_count) {
        return false;
    }
    for (u32 i = 0; i < reader->feeds.entry_count; i++) {
        if (((feed_t*)pool_at(&reader->feeds, sizeof(feed_t), i))->id != i + 1) return false;
    }
    for (u32 i = 0; i < reader->entries.entry_count; i++) {
        entry_t* entry = (entry_t*)pool_at(&reader->entries, sizeof(entry_t), i);
        if (entry->id != i + 1 || entry->feed_id == 0 || entry->feed_id > reader->feeds.entry_count) return false;
        if (entry->generation > reader->generation) return false;
    }
    for (u32 i = 0; i < reader->categories.entry_count; i++) {
        if (((category_t*)pool_at(&reader->categories, sizeof(category_t), i))->id != i + 1) return false;
    }
    for (u32 i = 0; i < reader->persons.entry_count; i++) {
        if (((person_t*)pool_at(&reader->persons, sizeof(person_t), i))->id != i + 1) return false;
    }
    return true;
}

static u32 reader_file_read_sections(reader_t* reader, file_handle_t file, u64 file_size, file_error_t* error) {
    if (file_size < reader_file_header_size) return reader_file_short;
    u8 magic[4] = {};
    u32 version = 0;
    u64 table[reader_section_count * 2] = {};
    u64 position = 0;
    position += file_read(file, position, 4, magic, error);
    if (*error) return reader_file_unreadable;
    if (!bytes_equal(magic, 4, reader_file_magic, 4)) return reader_file_wrong_magic;
    position += file_read(file, position, 4, &version, error);
    if (version > reader_file_version) return reader_file_newer_version;
    position += file_read(file, position, sizeof(table), table, error);
    if (*error) return reader_file_unreadable;

    // The sections follow each other with no gap and the file ends with the last.
    u64 expected = reader_file_header_size;
    for (u32 s = 0; s < reader_section_count; s++) {
        if (table[s * 2] != expected) return reader_file_wrong_sizes;
        if (table[s * 2 + 1] > file_size) return reader_file_short;
        expected += table[s * 2 + 1];
        if (expected > file_size) return reader_file_short;
    }
    if (expected != file_size) return reader_file_wrong_sizes;
    if (table[1] != 20 || table[5] != sizeof(reader->link_targets)) return reader_file_wrong_sizes;

    u32 counters[5] = {};
    position += file_read(file, position, sizeof(counters), counters, error);
    reader->last_feed_id = counters[0];
    reader->last_entry_id = counters[1];
    reader->last_category_id = counters[2];
    reader->last_person_id = counters[3];
    reader->generation = counters[4];

    reader_pool_entry_t pools[7];
    reader_file_pools(reader, pools);
    for (reader_pool_entry_t& entry : pools) {
        u32 count = 0;
        file_read(file, position, 4, &count, error);
        if (*error) return reader_file_unreadable;
        if (count > entry.pool->max_entry_count) return reader_file_wrong_sizes;
        if (position + 4 + (u64)count * entry.slot_size > table[2] + table[3]) return reader_file_wrong_sizes;
        pool_read(file, &position, entry.pool, entry.slot_size, error);
    }
    if (*error) return reader_file_unreadable;
    if (position != table[4]) return reader_file_wrong_sizes;

    position += file_read(file, position, sizeof(reader->link_targets), reader->link_targets, error);

    codepoint_set_t* set = reader->codepoints;
    u32 codepoint_count = 0;
    position += file_read(file, position, 4, &codepoint_count, error);
    if (*error) return reader_file_unreadable;
    if (codepoint_count > set->capacity || table[7] != 4 + (u64)codepoint_count * 4) return reader_file_wrong_sizes;
    position += file_read(file, position, (u64)codepoint_count * 4, set->values, error);
    set->count = codepoint_count;

    u32 string_size = 0;
    position += file_read(file, position, 4, &string_size, error);
    if (*error) return reader_file_unreadable;
    if (table[9] != 4 + (u64)string_size) return reader_file_wrong_sizes;
    if (string_size > reader->strings.reserved && !reader_reserve_strings(reader, string_size)) {
        return reader_file_wrong_sizes;
    }
    position += file_read(file, position, string_size, reader->strings.bytes, error);
    if (*error) return reader_file_unreadable;
    reader->strings.used = string_size;
    if (position != file_size) return reader_file_wrong_sizes;

    for (u32 i = 0; i < set->count; i++) {
        if (set->values[i] > 0x10FFFF) return reader_file_inconsistent;
    }
    codepoint_set_rebuild_index(set);
    // A file made by hand may hold records that nothing uses; the first clean-up
    // looks.
    reader->categories_maybe_unused = 1;
    reader->persons_maybe_unused = 1;
    if (!reader_slots_are_sound(reader, string_size)) return reader_file_inconsistent;
    if (!reader_file_ids_are_dense(reader)) return reader_file_inconsistent;
    reader_rebase_strings(reader);
    if (!reader_is_consistent(reader)) return reader_file_inconsistent;
    return reader_file_fine;
}

u32 reader_file_read(reader_t* reader, data_t path, file_error_t* error) {
    file_handle_t file = file_open(path, false, false, error);
    if (*error) return reader_file_unreadable;
    u64 size = file_size(file, error);
    u32 problem = *error ? reader_file_unreadable : reader_file_read_sections(reader, file, size, error);
    file_close(file, error);
    if (problem == reader_file_fine && *error) problem = reader_file_unreadable;
    if (problem != reader_file_fine) reader_empty(reader);
    reader_rebuild_entry_heads(reader);
    return problem;
}

// ---------------------------------------------------------------------------
// Save, rotation and load

// Lists the "bin" files of the storage folder, at most 100, with full paths in
// `block`.
static directory_list_t reader_list_files(data_t folder, data_t* block) {
    directory_list_t list = directory_list_create(block, reader_file_list_capacity);
    directory_walk(&list, folder, data_literal("bin"), data_t{}, directory_walk_files);
    return list;
}

// The full path of a listed file; false, and nothing to touch, when it doesn't fit
// (a path is never cut: a cut one names another file).
static bool reader_list_path(data_t folder, directory_list_t* list, u32 index, u8* buffer, u64 size,
                             data_t* path) {
    *path = data_make(size, 0, buffer);
    if (folder.used + list->path_lengths[index] > size) return false;
    data_push_bytes(path, folder.bytes, folder.used, 1);
    data_push_bytes(path, list->paths[index], list->path_lengths[index], 1);
    return true;
}

// Deletes the listed file `index`; one that can't be deleted stays, as it was.
static void reader_list_delete(data_t folder, directory_list_t* list, u32 index) {
    u8 buffer[reader_file_path_capacity];
    data_t path;
    if (!reader_list_path(folder, list, index, buffer, sizeof(buffer), &path)) return;
    file_error_t error = 0;
    file_delete(path, &error);
}

// A save killed before its rename leaves its temporary file; the next save
// removes such files, known by a store file's name with ".new" behind it.
static void reader_remove_unfinished(data_t* scratch, data_t folder) {
    data_t block = data_free_view(scratch);
    directory_list_t list = directory_list_create(&block, reader_file_list_capacity);
    directory_walk(&list, folder, data_literal("new"), data_t{}, directory_walk_files);
    for (u32 i = 0; i < list.count; i++) {
        data_t name = file_strip_extension(data_from_size(list.path_lengths[i], list.paths[i]));
        if (reader_file_date(name.bytes, name.used)) reader_list_delete(folder, &list, i);
    }
}

// The store files of the folder, dated ones sorted oldest first, undated ones
// behind them; gives how many are dated. The list lives in the free part of
// `scratch`.
static u32 reader_list_by_date(data_t* scratch, data_t folder, directory_list_t* list) {
    data_t block = data_free_view(scratch);
    *list = reader_list_files(folder, &block);
    u64* keys = (u64*)data_push(&block, sizeof(u64) * list->count, 8);
    ASSERT(keys);
    u32 dated = 0;
    for (u32 i = 0; i < list->count; i++) {
        keys[i] = reader_file_date(list->paths[i], list->path_lengths[i]);
        if (keys[i]) {
            dated++;
        } else {
            keys[i] = ~(u64)0;
        }
    }
    directory_list_sort(list, keys);
    return dated;
}

static void reader_rotate(data_t* scratch, data_t folder) {
    directory_list_t list;
    u32 dated = reader_list_by_date(scratch, folder, &list);
    if (list.count <= reader_file_keep || dated <= reader_file_keep) return;
    for (u32 i = 0; i < dated - reader_file_keep; i++) reader_list_delete(folder, &list, i);
}

// Says why on log channels 0 and 2, naming the folder: a save that fails loses
// the run's changes, so the user must learn of it and of what to mend.
static void reader_save_failed(data_t folder, const char* what, data_t name, file_error_t error) {
    log_write_c_string(log_main, "Error while saving the reader.\n ");
    log_paragraph_start(log_user);
    const u64 channels[] = {log_main, log_user};
    for (u64 channel : channels) {
        log_write_c_string(channel, "Error while saving the store in ");
        log_write(channel, folder);
        log_write_c_string(channel, ": ");
        log_write_c_string(channel, what);
        log_write(channel, name);
        log_write_c_string(channel, ": ");
        log_file_error(channel, error);
        log_write_c_string(channel, ".");
    }
    log_write_c_string(log_main, "\n");
}

bool reader_save(data_t* scratch, data_t folder, reader_t* reader) {
    file_error_t error = 0;
    if (!directory_exists(folder, &error)) {
        error = 0;
        if (!directory_create_with_parents(folder, &error)) {
            reader_save_failed(folder, "can't make the folder", data_t{}, error);
            return false;
        }
    }
    // The folder's path is one the system took, so the name fits behind it.
    u8 buffer[reader_file_path_capacity];
    data_t path = data_make(sizeof(buffer), 0, buffer);
    data_push_bytes(&path, folder.bytes, folder.used, 1);
    data_push_bytes(&path, "/", 1, 1);
    u64 name_start = path.used;
    data_push_bytes(&path, "feed_data_", 10, 1);
    date_to_file_name(date_now(), &path);
    data_push_bytes(&path, ".bin", 4, 1);
    ASSERT(path.used == name_start + 29);

    error = 0;
    reader_file_write(reader, scratch, path, &error);
    if (error) {
        reader_save_failed(folder, "can't write ", data_from_range(path.bytes + name_start, path.bytes + path.used),
                           error);
        return false;
    }
    reader_remove_unfinished(scratch, folder);
    reader_rotate(scratch, folder);
    return true;
}

static const char* reader_problem_text(u32 problem) {
    switch (problem) {
    case reader_file_unreadable: return "the system refused to read it";
    case reader_file_wrong_magic: return "it isn't a Newsloom store file (wrong magic)";
    case reader_file_newer_version: return "it was written by a newer version of Newsloom";
    case reader_file_wrong_sizes: return "its sections have the wrong sizes";
    case reader_file_short: return "it is cut short";
    case reader_file_inconsistent: return "its records don't agree with each other";
    default: return "it can't be read";
    }
}

void reader_load_status_note(reader_load_status_t* status, u32 problem, file_error_t error) {
    status->problem = problem;
    status->file_error = error;
    status->reason[0] = 0;
    if (problem == reader_file_unreadable && error) file_error_text(error, status->reason, sizeof(status->reason));
}

// The problem in words, and the system's own where it gave them.
static void log_problem(u64 channel, const reader_load_status_t* status) {
    log_write_c_string(channel, reader_problem_text(status->problem));
    if (!status->reason[0]) return;
    log_write_c_string(channel, ": ");
    log_write_c_string(channel, status->reason);
}

// Reads the listed file `index` into the reader, noting it in `status`.
static bool reader_load_file(data_t folder, directory_list_t* list, u32 index, reader_t* reader,
                             reader_load_status_t* status) {
    *status = reader_load_status_t{};
    data_t path;
    if (!reader_list_path(folder, list, index, status->path, sizeof(status->path), &path)) {
        reader_load_status_note(status, reader_file_unreadable, 0);
        status->file_error = utf_error_target_too_small;
        const char too_long[] = "the path is longer than the system takes";
        bytes_copy(status->reason, too_long, sizeof(too_long));
        return false;
    }
    status->path_length = path.used;
    file_error_t error = 0;
    u32 problem = reader_file_read(reader, path, &error);
    reader_load_status_note(status, problem, error);
    return status->problem == reader_file_fine;
}

bool reader_load(data_t* scratch, data_t folder, reader_t* reader, reader_load_status_t* status) {
    *status = reader_load_status_t{};
    file_error_t error = 0;
    if (!directory_exists(folder, &error)) return true;
    directory_list_t list;
    u32 dated = reader_list_by_date(scratch, folder, &list);
    if (dated == 0) return true;
    return reader_load_file(folder, &list, dated - 1, reader, status);
}

bool reader_load_or_recover(data_t* scratch, data_t folder, reader_t* reader) {
    file_error_t error = 0;
    if (!directory_exists(folder, &error)) return true;
    directory_list_t list;
    u32 dated = reader_list_by_date(scratch, folder, &list);
    bool damaged = false;
    reader_load_status_t status;
    for (u32 i = dated; i > 0; i--) {
        if (reader_load_file(folder, &list, i - 1, reader, &status)) {
            if (damaged) {
                log_write_c_string(log_user, "Newsloom started from the older store file ");
                log_write_bytes(log_user, status.path, status.path_length);
                log_write_c_string(log_user, ".");
            }
            return !damaged;
        }
        // Kept whole under a name that is neither loaded nor rotated, so that the
        // next save doesn't bury it and nothing deletes it.
        if (!damaged) log_paragraph_start(log_user);
        damaged = true;
        data_t path = data_from_size(status.path_length, status.path);
        u8 kept_buffer[reader_file_path_capacity + 8];
        data_t kept = data_make(sizeof(kept_buffer), 0, kept_buffer);
        data_push_bytes(&kept, path.bytes, path.used, 1);
        data_push_bytes(&kept, ".damaged", 8, 1);
        file_error_t rename_error = 0;
        file_rename(path, kept, &rename_error);
        log_write_c_string(log_user, "The store file ");
        log_write(log_user, path);
        log_write_c_string(log_user, " is damaged: ");
        log_problem(log_user, &status);
        if (rename_error) {
            log_write_c_string(log_user, ". It stays under its name, since it can't be renamed: ");
            log_file_error(log_user, rename_error);
            log_write_c_string(log_user, ".\n");
        } else {
            log_write_c_string(log_user, ". It is kept as ");
            log_write(log_user, kept);
            log_write_c_string(log_user, ".\n");
        }
    }
    if (damaged) log_write_c_string(log_user, "Newsloom started with an empty store: no older store file loads.");
    return !damaged;
}

u64 reader_load_message(const reader_load_status_t* status, char* buffer, u64 size) {
    const char* reason = reader_problem_text(status->problem);
    data_t text = data_make(size, 0, buffer);
    auto put = [&](const void* bytes, u64 length) {
        u64 room = text.reserved - text.used;
        data_push_bytes(&text, bytes, length < room ? length : room, 1);
    };
    auto put_text = [&](const char* part) { put(part, text_length(part)); };
    put_text("newsloom: the store file ");
    put(status->path, status->path_length);
    put_text(" can't be loaded: ");
    put_text(reason);
    if (status->reason[0]) {
        put_text(": ");
        put_text(status->reason);
    }
    put_text(".\nIt has been left as it is. Move it out of its folder to start from the next older store "
             "file there, or start with -path pointing to another folder.\n");
    return text.used;
}
