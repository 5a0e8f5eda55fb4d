// The feed list's logic: the keyboard, the per-frame counts and the scrolling. It
// walks the pools directly every frame and keeps nothing of its own between frames.
#include "views/view_list.h"

#include "app/app.h"
#include "base/text.h"
#include "net/queries.h"
#include "platform/thread.h"
#include "platform/window.h"
#include "store/reader.h"
#include "ui/ui_core.h"
#include "views/links.h"
#include "views/panel.h"

list_masks_t list_masks(u32 deleted_filter) {
    const u32 deleted = record_deleted_flag;
    list_masks_t masks = {};
    masks.entry_required = deleted_filter == 1 ? deleted : 0u;
    masks.entry_allowed = deleted_filter == 2 ? deleted : 0u;
    masks.feed_allowed = (deleted_filter == 1 || deleted_filter == 2) ? deleted : 0u;
    return masks;
}

bool feed_is_shown(const feed_t* feed, const panel_t* panel, u32 entry_rows, u32 updating) {
    bool deleted = feed_is_deleted(feed);
    switch (panel->deleted_filter) {
        case 0: return !deleted && (entry_rows != 0 || panel->show_empty || updating);
        case 1: return deleted || entry_rows != 0;
        case 2: return entry_rows != 0 || deleted || panel->show_empty || updating;
        default: return false;
    }
}

// The range and the deleted filter as two compares, for the walk over every entry.
// Alive: of kind RSS (1) or Atom (2), deleted or not.
static inline bool entry_kind_alive(u32 kind) { return (kind & ~record_deleted_flag) - 1 <= 1; }

// Slots counted at once: eight where the processor has registers that wide (two
// halves of four where it hasn't), four, then one.
typedef u32 list_lanes4_t __attribute__((vector_size(16)));
typedef u32 list_lanes8_t __attribute__((vector_size(32)));

struct entry_filter_t {
    u32 generation_min, generation_span;
    u32 deleted_mask, deleted_value;

    explicit entry_filter_t(const panel_t* panel)
        : generation_min(panel->generation_min), generation_span(panel->generation_max - panel->generation_min),
          deleted_mask(panel->deleted_filter < 2 ? record_deleted_flag : 0u),
          deleted_value(panel->deleted_filter == 1 ? record_deleted_flag : 0u) {
        // A range upside down lets nothing through: no kind has the flag outside the mask.
        if (panel->generation_min > panel->generation_max) deleted_mask = 0, deleted_value = 1;
    }
    // Without branches: the walk meets every entry and the outcome is a coin toss.
    bool passes(u32 kind, u32 generation) const {
        return (generation - generation_min <= generation_span) & ((kind & deleted_mask) == deleted_value);
    }
    bool passes(const entry_t* entry) const { return passes(entry->kind, entry->generation); }
    // A vector's worth of slots at once, when all of them are live entries of
    // `feed_id`: each lane of `passed` goes down by one for a slot that passes.
    // False, with nothing counted, when one of them isn't.
    template <typename lanes_t>
    [[gnu::always_inline]] bool count_slots(const entry_heads_t* heads, u32 at, u32 feed_id, lanes_t* passed) const {
        lanes_t kind, feed, generation;
        __builtin_memcpy(&kind, &heads->kind[at], sizeof(lanes_t));
        __builtin_memcpy(&feed, &heads->feed_id[at], sizeof(lanes_t));
        __builtin_memcpy(&generation, &heads->generation[at], sizeof(lanes_t));
        lanes_t live = (lanes_t)(((kind & ~record_deleted_flag) - 1u <= 1u) & (feed == feed_id));
        u64 words[sizeof(lanes_t) / 8];
        __builtin_memcpy(words, &live, sizeof(words));
        u64 all = ~0ull;
        for (u64 word : words) all &= word;
        if (all != ~0ull) return false;
        *passed +=
            (lanes_t)((generation - generation_min <= generation_span) & ((kind & deleted_mask) == deleted_value));
        return true;
    }
};

bool entry_is_shown(const entry_t* entry, const panel_t* panel) { return entry_filter_t(panel).passes(entry); }

void panel_reset(app_t* app) {
    panel_t* panel = app->panel;
    panel->right_panel = panel_right_selection;
    panel->content_parsed = 0;
    if (panel->selected_feed && !panel->selected_entry) {
        data_t address = panel->selected_feed->address;
        u64 size = address.used < sizeof(panel->uri_buffer_bytes) ? address.used : sizeof(panel->uri_buffer_bytes);
        if (size) bytes_copy(panel->uri_buffer_bytes, address.bytes, size);
        panel->uri_buffer = data_make(sizeof(panel->uri_buffer_bytes), size, panel->uri_buffer_bytes);
    }
}

data_t list_entry_link(reader_t* reader, const entry_t* entry) {
    if (entry_kind(entry) == record_kind_rss) return entry->rss.link;
    return reader_atom_link_by_rel(reader, entry->id, entry->atom.link_count, atom_owner_entry, atom_rel_alternate);
}

// ---------------------------------------------------------------------------
// Keys

// The walks with the panel's range and filter filled in.
struct list_walk_t {
    reader_t* reader;
    u32 first, last;
    list_masks_t masks;

    entry_t* first_entry(feed_t* feed) const {
        return feed_first_entry(reader, feed, first, last, masks.entry_required, masks.entry_allowed);
    }
    entry_t* last_entry(feed_t* feed) const {
        return feed_last_entry(reader, feed, first, last, masks.entry_required, masks.entry_allowed);
    }
    entry_t* next_entry(feed_t* feed, entry_t* entry) const {
        return feed_next_entry(reader, feed, entry, first, last, masks.entry_required, masks.entry_allowed);
    }
    entry_t* previous_entry(feed_t* feed, entry_t* entry) const {
        return feed_previous_entry(reader, feed, entry, first, last, masks.entry_required, masks.entry_allowed);
    }
    feed_t* first_feed(bool show_empty) const {
        return reader_first_feed(reader, show_empty, first, last, 0, masks.feed_allowed, masks.entry_required,
                                 masks.entry_allowed);
    }
    feed_t* last_feed(bool show_empty) const {
        return reader_last_feed(reader, show_empty, first, last, 0, masks.feed_allowed, masks.entry_required,
                                masks.entry_allowed);
    }
    feed_t* next_feed(feed_t* feed, bool show_empty) const {
        return reader_next_feed(reader, feed, show_empty, first, last, 0, masks.feed_allowed, masks.entry_required,
                                masks.entry_allowed);
    }
    feed_t* previous_feed(feed_t* feed, bool show_empty) const {
        return reader_previous_feed(reader, feed, show_empty, first, last, 0, masks.feed_allowed,
                                    masks.entry_required, masks.entry_allowed);
    }
};

static void scroll_reset(panel_t* panel) { panel->entry_scroll = panel_scroll_t{0, 0}; }

// Up and Down share their shape: step inside the feed, else into the neighbouring feed.
static void key_step(panel_t* panel, const list_walk_t& walk, bool down) {
    feed_t* feed = panel->selected_feed;
    if (!feed) {
        feed = walk.first_feed(false);
        panel->selected_feed = feed;
        panel->selected_entry = walk.first_entry(feed);
        return;
    }
    if (!panel->selected_entry) {
        panel->selected_entry = down ? walk.first_entry(feed) : walk.last_entry(feed);
        return;
    }
    entry_t* entry =
        down ? walk.next_entry(feed, panel->selected_entry) : walk.previous_entry(feed, panel->selected_entry);
    if (!entry) {
        feed_t* other = down ? walk.next_feed(feed, false) : walk.previous_feed(feed, false);
        if (other) {
            panel->selected_feed = other;
            entry = down ? walk.first_entry(other) : walk.last_entry(other);
        }
    }
    if (entry) {
        panel->selected_entry = entry;
        scroll_reset(panel);
    }
}

static void key_page(panel_t* panel, const list_walk_t& walk, bool down, bool shift) {
    bool show_empty = panel->show_empty != 0;
    feed_t* feed = panel->selected_feed;
    if (shift) {
        if (!feed) {
            panel->selected_feed = down ? walk.first_feed(show_empty) : walk.last_feed(show_empty);
        } else if (!panel->selected_entry) {
            feed_t* other = down ? walk.next_feed(feed, show_empty) : walk.previous_feed(feed, show_empty);
            if (!other) other = down ? walk.first_feed(show_empty) : walk.last_feed(show_empty);
            panel->selected_feed = other;
        }
        panel->selected_entry = nullptr;
        return;
    }
    if (feed) {
        feed_t* other = down ? walk.next_feed(feed, show_empty) : walk.previous_feed(feed, show_empty);
        if (other) {
            panel->selected_feed = other;
            panel->selected_entry = walk.first_entry(other);
        }
    } else {
        feed = down ? walk.first_feed(show_empty) : walk.last_feed(show_empty);
        panel->selected_feed = feed;
        panel->selected_entry = walk.first_entry(feed);
    }
}

static void list_key_delete(panel_t* panel, const list_walk_t& walk, bool shift) {
    reader_t* reader = walk.reader;
    feed_t* feed = panel->selected_feed;
    entry_t* entry = panel->selected_entry;
    if (entry) {
        feed_t* next_feed = feed;
        entry_t* next = walk.next_entry(feed, entry);
        if (!next) next = walk.previous_entry(feed, entry);
        if (!next) {
            next_feed = walk.next_feed(feed, false);
            if (next_feed) {
                next = walk.first_entry(next_feed);
            } else {
                next_feed = walk.previous_feed(feed, false);
                next = walk.last_entry(next_feed);
            }
        }
        if (entry_is_deleted(entry)) {
            reader_remove_entry(reader, entry, feed);
        } else {
            entry_mark_deleted(reader, entry);
        }
        panel->selected_feed = next_feed;
        panel->selected_entry = next_feed ? next : nullptr;
        scroll_reset(panel);
        return;
    }
    if (!shift) {
        panel->keyboard_moved = 0;
        return;
    }
    bool show_empty = panel->show_empty != 0;
    feed_t* next_feed = walk.next_feed(feed, show_empty);
    entry_t* next = nullptr;
    if (next_feed) {
        next = walk.first_entry(next_feed);
    } else {
        next_feed = walk.previous_feed(feed, show_empty);
        next = walk.last_entry(next_feed);
    }
    if (feed_is_deleted(feed)) {
        reader_remove_feed(reader, feed);
    } else {
        feed_mark_deleted(reader, feed);
    }
    panel->selected_feed = next_feed;
    panel->selected_entry = next;
    scroll_reset(panel);
}

static void list_key_backspace(panel_t* panel, reader_t* reader, bool shift) {
    feed_t* feed = panel->selected_feed;
    if (panel->selected_entry) {
        ASSERT(feed);
        if (feed_is_deleted(feed)) feed_restore(reader, feed, false);
        entry_clear_deleted(reader, panel->selected_entry);
    } else if (feed) {
        feed_restore(reader, feed, shift);
    }
}

void list_handle_keys(app_t* app, reader_t* reader, const input_frame_t* input) {
    panel_t* panel = app->panel;
    panel->keyboard_moved = 0;
    if (app->ui && ui_any_active(app->ui)) return;

    list_walk_t walk = {reader, panel->generation_min, panel->generation_max, list_masks(panel->deleted_filter)};
    feed_t* old_feed = panel->selected_feed;
    entry_t* old_entry = panel->selected_entry;
    bool shift = input_down(input, key_shift);

    if (input_struck_or_repeated(input, key_up)) {
        panel->keyboard_moved = 1;
        key_step(panel, walk, false);
    } else if (input_struck_or_repeated(input, key_down)) {
        panel->keyboard_moved = 1;
        key_step(panel, walk, true);
    } else if (input_struck_or_repeated(input, key_page_up)) {
        panel->keyboard_moved = 1;
        key_page(panel, walk, false, shift);
    } else if (input_struck_or_repeated(input, key_page_down)) {
        panel->keyboard_moved = 1;
        key_page(panel, walk, true, shift);
    } else if (input_struck_or_repeated(input, key_home)) {
        panel->keyboard_moved = 1;
        panel->selected_entry = walk.first_entry(panel->selected_feed);
    } else if (input_struck_or_repeated(input, key_end)) {
        panel->keyboard_moved = 1;
        panel->selected_entry = walk.last_entry(panel->selected_feed);
    } else if (input_struck_or_repeated(input, key_delete)) {
        // With nothing selected there is nothing to delete, and nothing moved.
        if (panel->selected_feed) {
            panel->keyboard_moved = 1;
            list_key_delete(panel, walk, shift);
        }
    } else if (input_struck(input, key_return)) {
        if (panel->selected_entry) {
            link_open_for_feed(reader, panel->selected_feed, list_entry_link(reader, panel->selected_entry));
        }
    } else if (input_struck(input, key_backspace)) {
        list_key_backspace(panel, reader, shift);
    }

    if (panel->selected_feed != old_feed || panel->selected_entry != old_entry) panel_reset(app);
}

// ---------------------------------------------------------------------------
// Counting

// Feed ids to feed slots for one frame: open addressing over twice the slots, so
// that one walk of the entry pool can find each entry's feed.
struct feed_slot_map_t {
    u32* ids;
    u32* slots;
    u32 mask, shift;

    u32 home(u32 id) const { return (id * 2654435769u) >> shift; }
    void insert(u32 id, u32 slot) {
        u32 at = home(id);
        while (ids[at]) at = (at + 1) & mask;
        ids[at] = id;
        slots[at] = slot;
    }
    u32 find(u32 id) const {
        for (u32 at = home(id);; at = (at + 1) & mask) {
            if (ids[at] == id) return slots[at];
            if (ids[at] == 0) return list_not_recorded;
        }
    }
};

static u32* scratch_u32s(app_t* app, u64 count) {
    u32* values = (u32*)data_push(&app->scratch, count * sizeof(u32), 8);
    ASSERT(values);
    for (u64 i = 0; i < count; i++) values[i] = 0;
    return values;
}

// One walk counts every feed's rows. It is most of the list's time in a full
// store, so it reads the store's arrays of entry heads (kind word, feed id,
// generation) rather than the records: entries of one feed mostly stand together,
// so a run of them is counted eight or four slots at a time while all are live and
// of the run's feed, one at a time otherwise, and its feed is looked up once at its
// end.
[[gnu::always_inline]] static inline void count_runs(const entry_filter_t& panel_filter, const reader_t* reader,
                                                     const feed_slot_map_t& map, list_counts_t* counts, u32* own) {
    // Copies that nothing the walk writes can reach stay in registers.
    const entry_filter_t filter = panel_filter;
    const entry_heads_t* heads = reader->entry_heads;
    const u32 slot_count = reader->entries.max_entry_count;
    u32 entries_left = reader->entries.entry_count;
    u32 at = 0;
    while (entries_left) {
        while (at < slot_count && !entry_kind_alive(heads->kind[at])) at++;
        if (at == slot_count) break;
        const u32 feed_id = heads->feed_id[at], first = at;
        u32 own_run = 0, rows_run = 0;
        list_lanes8_t passed8 = {};
        list_lanes4_t passed4 = {};
        for (;;) {
            // Blocks that fit both in the pool and in the entries not yet met.
            u32 blocks = min_of(slot_count - at, entries_left - own_run) / 8;
            for (; blocks && filter.count_slots(heads, at, feed_id, &passed8); blocks--) {
                own_run += 8;
                at += 8;
            }
            if (at + 4 <= slot_count && entries_left - own_run >= 4 &&
                filter.count_slots(heads, at, feed_id, &passed4)) {
                own_run += 4;
                at += 4;
            }
            if (at == slot_count) break;
            const u32 kind = heads->kind[at];
            if (entry_kind_alive(kind)) {
                if (heads->feed_id[at] != feed_id) break;
                rows_run += filter.passes(kind, heads->generation[at]);
                if (++own_run == entries_left) {
                    at++;
                    break;
                }
            }
            at++;
        }
        for (u32 lane = 0; lane < 8; lane++) rows_run -= passed8[lane];
        for (u32 lane = 0; lane < 4; lane++) rows_run -= passed4[lane];
        entries_left -= own_run;
        u32 slot = map.find(feed_id);
        if (slot == list_not_recorded) continue;
        if (own[slot] == 0) counts->feed_first_entry_slot[slot] = first;
        own[slot] += own_run;
        counts->feed_entry_rows[slot] += rows_run;
    }
}

// The same walk, compiled for processors with eight-lane registers and for those without.
[[gnu::target("avx2")]] static void count_runs_wide(const entry_filter_t& filter, const reader_t* reader,
                                                   const feed_slot_map_t& map, list_counts_t* counts, u32* own) {
    count_runs(filter, reader, map, counts, own);
}
static void count_runs_narrow(const entry_filter_t& filter, const reader_t* reader, const feed_slot_map_t& map,
                              list_counts_t* counts, u32* own) {
    count_runs(filter, reader, map, counts, own);
}

list_counts_t* list_count(app_t* app, reader_t* reader) {
    panel_t* panel = app->panel;
    u64 slots = reader->feeds.max_entry_count;
    list_counts_t* counts = (list_counts_t*)data_push(&app->scratch, sizeof(list_counts_t), 8);
    ASSERT(counts);
    *counts = list_counts_t{};
    counts->selected_feed_row = list_not_recorded;
    counts->selected_entry_row = list_not_recorded;
    counts->selected_entry_index = list_not_recorded;
    counts->feed_entry_rows = scratch_u32s(app, slots);
    counts->feed_updating = scratch_u32s(app, slots);
    counts->feed_first_entry_slot = scratch_u32s(app, slots);
    counts->slots = slots;
    u32* own = scratch_u32s(app, slots);

    feed_slot_map_t map = {};
    u32 buckets = 64, shift = 26;
    while (buckets < slots * 2) buckets *= 2, shift--;
    map.ids = scratch_u32s(app, buckets);
    map.slots = scratch_u32s(app, buckets);
    map.mask = buckets - 1;
    map.shift = shift;
    u32 feeds_seen = 0;
    for (u32 slot = 0; slot < slots && feeds_seen < reader->feeds.entry_count; slot++) {
        feed_t* feed = (feed_t*)pool_at(&reader->feeds, sizeof(feed_t), slot);
        if (!feed_is_alive(feed)) continue;
        feeds_seen++;
        map.insert(feed->id, slot);
    }
    ASSERT(feeds_seen == reader->feeds.entry_count);

    const entry_filter_t filter(panel);
    const entry_t* pool = (const entry_t*)reader->entries.entries;
    const entry_t* pool_end = pool + reader->entries.max_entry_count;
    static const bool wide = __builtin_cpu_supports("avx2");
    if (wide) {
        count_runs_wide(filter, reader, map, counts, own);
    } else {
        count_runs_narrow(filter, reader, map, counts, own);
    }
    // Only a frame that the keyboard moved records where the selected entry stands:
    // the rows of its feed before it, walked from the feed's first entry.
    u32 selected_index = list_not_recorded, selected_slot = list_not_recorded;
    const entry_t* selected = panel->selected_entry;
    if (panel->keyboard_moved && selected >= pool && selected < pool_end && entry_kind_alive(selected->kind) &&
        filter.passes(selected)) {
        u32 slot = map.find(selected->feed_id);
        if (slot != list_not_recorded) {
            selected_slot = slot;
            selected_index = 0;
            for (const entry_t* e = pool + counts->feed_first_entry_slot[slot]; e < selected; e++) {
                selected_index += entry_kind_alive(e->kind) && e->feed_id == selected->feed_id && filter.passes(e);
            }
        }
    }
    u64 query_count = atomic_load_acquire_u32(&query_running_count) ? app->query_count : 0;
    for (u64 q = 0; q < query_count; q++) {
        const query_t* query = &app->queries[q];
        if (atomic_load_acquire_u32(&query->state) != query_state_queued) continue;
        u32 slot = map.find(query->feed_id);
        if (slot != list_not_recorded) counts->feed_updating[slot] = 1;
    }

    feeds_seen = 0;
    for (u32 slot = 0; slot < slots && feeds_seen < reader->feeds.entry_count; slot++) {
        feed_t* feed = (feed_t*)pool_at(&reader->feeds, sizeof(feed_t), slot);
        if (!feed_is_alive(feed)) continue;
        feeds_seen++;
        ASSERT(own[slot] == feed->entry_count);
        u32 rows = counts->feed_entry_rows[slot];
        // An entry of a feed that isn't shown (a merge can bring new entries into a
        // deleted feed) has no row to scroll to.
        if (!feed_is_shown(feed, panel, rows, counts->feed_updating[slot])) {
            counts->feed_entry_rows[slot] = 0;
            counts->feed_updating[slot] = 0;
            continue;
        }
        if (panel->keyboard_moved && slot == selected_slot) {
            counts->selected_entry_index = selected_index;
            counts->selected_entry_row = counts->entry_rows + selected_index;
        }
        if (panel->keyboard_moved && feed == panel->selected_feed) {
            counts->selected_feed_row = counts->feed_rows;
            counts->selected_feed_slot = slot;
            counts->rows_before_selected_feed = counts->entry_rows;
        }
        counts->feed_rows++;
        counts->entry_rows += rows;
    }
    return counts;
}

f32 list_total_height(const list_counts_t* counts) {
    if (counts->feed_rows == 0) return 0;
    return (f32)counts->feed_rows * list_feed_block_height + (f32)(counts->feed_rows - 1) * list_block_gap +
           (f32)counts->entry_rows * list_entry_row_height;
}

// ---------------------------------------------------------------------------
// Scrolling

void list_scroll_update(panel_t* panel, const list_counts_t* counts, f32 panel_height, f32 wheel_steps) {
    if (wheel_steps != 0) {
        panel->list_scroll -= wheel_steps * list_entry_row_height * 3;
        if (panel->list_scroll < 0) panel->list_scroll = 0;
    }
    if (counts->selected_feed_row != list_not_recorded) {
        f32 feed_top = (f32)counts->selected_feed_row * (list_feed_block_height + list_block_gap);
        if (counts->selected_entry_row == list_not_recorded) {
            f32 block = list_feed_block_height +
                        list_entry_row_height * (f32)counts->feed_entry_rows[counts->selected_feed_slot];
            f32 top = feed_top + (f32)counts->rows_before_selected_feed * list_entry_row_height;
            if (top + block - panel->list_scroll >= panel_height) panel->list_scroll = top - panel_height + block;
            if (top < panel->list_scroll) panel->list_scroll = top;
        } else {
            f32 top = feed_top + list_feed_row_height + (f32)counts->selected_entry_row * list_entry_row_height;
            f32 row_in_panel = top - panel->list_scroll;
            if (row_in_panel + list_entry_row_height > panel_height - list_scroll_margin) {
                panel->list_scroll = top - panel_height + list_entry_row_height + list_scroll_margin;
            } else if (row_in_panel < list_scroll_margin) {
                panel->list_scroll = top - list_scroll_margin;
            }
        }
    } else {
        ASSERT(counts->selected_entry_row == list_not_recorded);
    }
    f32 most = list_total_height(counts) - panel_height;
    if (most < 0) most = 0;
    if (panel->list_scroll > most) panel->list_scroll = most;
    if (panel->list_scroll < 0) panel->list_scroll = 0;
}

// ---------------------------------------------------------------------------
// The generation bar's actions

static void selection_clear(panel_t* panel) {
    panel->selected_feed = nullptr;
    panel->selected_entry = nullptr;
}

void list_generation_action(app_t* app, reader_t* reader, u32 order) {
    panel_t* panel = app->panel;
    list_masks_t masks = list_masks(panel->deleted_filter);
    u32 required = masks.entry_required, allowed = masks.entry_allowed;
    u32 current = reader->generation;
    switch (order) {
        case 1:
            panel->generation_min = panel->generation_max = reader_next_generation(reader, 0, required, allowed);
            selection_clear(panel);
            break;
        case 2:
        case 3:
            if (panel->generation_min != 0) {
                panel->generation_min = reader_previous_generation(reader, panel->generation_min, required, allowed);
            }
            if (order == 3) {
                panel->generation_max = panel->generation_min;
                selection_clear(panel);
            }
            break;
        case 4:
            panel->generation_min = reader_next_generation(reader, 0, required, allowed);
            panel->generation_max = reader_previous_generation(reader, current + 1, required, allowed);
            selection_clear(panel);
            break;
        case 5:
        case 6:
            if (panel->generation_max < current) {
                panel->generation_max = reader_next_generation(reader, panel->generation_max, required, allowed);
            }
            if (order == 5) {
                panel->generation_min = panel->generation_max;
                selection_clear(panel);
            }
            break;
        case 7:
            panel->generation_min = panel->generation_max =
                reader_previous_generation(reader, current + 1, required, allowed);
            selection_clear(panel);
            break;
        default: break;
    }
}

void list_toggle_show_empty(app_t* app, reader_t*) {
    panel_t* panel = app->panel;
    panel->show_empty = !panel->show_empty;
    if (panel->selected_feed && panel->selected_feed->entry_count == 0) selection_clear(panel);
}
