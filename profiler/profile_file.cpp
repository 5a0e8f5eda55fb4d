// profile.bin: making its header and information block, reading it back, the time base, the checks of every size and count, and
// the text report of each thread's timeline.
#include "profiler/profile_file.h"

#include <cstring>

#include "base/format.h"

typedef unsigned __int128 u128;

static void profile_push(data_t* block, const void* bytes, u64 size) {
    ASSERT(block->used + size <= block->reserved);
    memcpy(block->bytes + block->used, bytes, size);
    block->used += size;
}
static void profile_push_u8(data_t* block, u8 value) { profile_push(block, &value, 1); }
static void profile_push_u16(data_t* block, u16 value) { profile_push(block, &value, 2); }
static void profile_push_u32(data_t* block, u32 value) { profile_push(block, &value, 4); }
static void profile_push_u64(data_t* block, u64 value) { profile_push(block, &value, 8); }

data_t profile_file_start(u32 thread_count, const u32* kinds, const u64* event_sizes, const profile_time_base_t* time) {
    u64 names_size = 0;
    for (u32 i = 0; i < profiler_thread_kind_count; i++) names_size += strlen(profiler_thread_kind_names[i]);
    u64 zone_names_size = 0;
    for (u32 i = 0; i < zone_count; i++) zone_names_size += strlen(profiler_zone_names[i]);
    u64 events_size = 0;
    for (u32 i = 0; i < thread_count; i++) events_size += event_sizes[i];
    u64 information_size = 3 * 4 + 2 * 8 + profiler_thread_kind_count * 2 + names_size + thread_count * (8 + 4) +
                           zone_count * 2 + zone_names_size + 3 * 8 + 3 + 3 * 8 + 2 * 4;
    u64 events_offset = align_up(profile_header_size + information_size, 16);
    data_t file = data_allocate(events_offset + events_size);
    if (!file.bytes) return file;

    profile_push(&file, "PROF", 4);
    profile_push_u32(&file, profile_version);
    profile_push_u64(&file, information_size);
    profile_push_u64(&file, profile_header_size);
    profile_push_u64(&file, events_size);
    profile_push_u64(&file, events_offset);

    profile_push_u32(&file, profiler_thread_kind_count);
    profile_push_u32(&file, thread_count);
    profile_push_u32(&file, zone_count);
    profile_push_u64(&file, names_size);
    profile_push_u64(&file, zone_names_size);
    for (u32 i = 0; i < profiler_thread_kind_count; i++) {
        profile_push_u16(&file, (u16)strlen(profiler_thread_kind_names[i]));
    }
    for (u32 i = 0; i < profiler_thread_kind_count; i++) {
        profile_push(&file, profiler_thread_kind_names[i], strlen(profiler_thread_kind_names[i]));
    }
    for (u32 i = 0; i < thread_count; i++) profile_push_u64(&file, event_sizes[i]);
    for (u32 i = 0; i < thread_count; i++) profile_push_u32(&file, kinds[i]);
    for (u32 i = 0; i < zone_count; i++) profile_push_u16(&file, (u16)strlen(profiler_zone_names[i]));
    for (u32 i = 0; i < zone_count; i++) profile_push(&file, profiler_zone_names[i], strlen(profiler_zone_names[i]));
    profile_push_u64(&file, time->frequency);
    profile_push_u64(&file, time->cycle_span);
    profile_push_u64(&file, time->tick_span);
    profile_push_u8(&file, time->has_time_base);
    profile_push_u8(&file, time->method);
    profile_push_u8(&file, time->shift);
    profile_push_u64(&file, time->bias);
    profile_push_u64(&file, time->scale);
    profile_push_u64(&file, time->offset);
    profile_push_u32(&file, 0);
    profile_push_u32(&file, 0);
    ASSERT(file.used == profile_header_size + information_size);
    file.used = events_offset;  // the padding is zero, as allocated
    return file;
}

profile_time_base_t profile_time_base_measure(u64 frequency, u64 cycles_start, u64 ticks_start, u64 cycles_stop,
                                              u64 ticks_stop) {
    profile_time_base_t time = {};
    time.frequency = frequency;
    time.cycle_span = cycles_stop > cycles_start ? cycles_stop - cycles_start : 0;
    time.tick_span = ticks_stop > ticks_start ? ticks_stop - ticks_start : 0;
    if (!time.cycle_span || !time.tick_span) return time;
    u128 scale = ((u128)time.tick_span << profile_time_shift) / time.cycle_span;
    if (scale == 0 || scale > ~0ull) return time;
    time.has_time_base = 1;
    time.method = profile_time_method_measured;
    time.shift = profile_time_shift;
    time.bias = 0;
    time.scale = (u64)scale;
    time.offset = ticks_start - (u64)(((u128)cycles_start * time.scale) >> profile_time_shift);
    return time;
}

f64 profile_seconds(const profile_time_base_t* time, u64 cycles) {
    if (!time->frequency) return 0;
    if (time->has_time_base && time->method == profile_time_method_measured) {
        // Kept in floating point, so that a short duration isn't cut to whole ticks.
        f64 ticks = (f64)cycles * (f64)time->scale;
        for (u8 i = 0; i < time->shift; i++) ticks *= 0.5;
        return ticks / (f64)time->frequency;
    }
    if (!time->cycle_span) return 0;
    return (f64)cycles * ((f64)time->tick_span / (f64)time->cycle_span) / (f64)time->frequency;
}

// Reading -------------------------------------------------------------------------

struct profile_cursor_t {
    const u8* at;
    u64 left;
};

static bool cursor_take(profile_cursor_t* cursor, void* target, u64 size) {
    if (cursor->left < size) return false;
    if (target) memcpy(target, cursor->at, size);
    cursor->at += size;
    cursor->left -= size;
    return true;
}

static bool event_kind_is_known(u32 kind) {
    u32 base = kind & ~profiler_event_collapsed;
    if (kind != base && base != profiler_event_frame_begin && base != profiler_event_frame_end) return false;
    return base == profiler_event_zone_begin || base == profiler_event_zone_end ||
           base == profiler_event_frame_begin || base == profiler_event_frame_end;
}

// `count` names: their 16-bit lengths, then their bytes, which must add up to `total`.
static bool read_names(profile_cursor_t* cursor, u32 count, u64 total, data_t* names) {
    u64 sum = 0;
    for (u32 i = 0; i < count; i++) {
        u16 length = 0;
        if (!cursor_take(cursor, &length, 2)) return false;
        names[i].used = names[i].reserved = length;
        sum += length;
    }
    if (sum != total || cursor->left < total) return false;
    for (u32 i = 0; i < count; i++) {
        names[i].bytes = (u8*)cursor->at;
        cursor_take(cursor, nullptr, names[i].used);
    }
    return true;
}

const char* profile_read(data_t file, data_t* memory, profile_t* profile) {
    ASSERT(((uintptr_t)file.bytes & 7) == 0);
    *profile = profile_t{};
    profile_cursor_t header = {file.bytes, file.used};
    u8 magic[4];
    u32 version = 0;
    u64 information_size = 0, information_offset = 0, events_size = 0, events_offset = 0;
    if (!cursor_take(&header, magic, 4) || !cursor_take(&header, &version, 4) ||
        !cursor_take(&header, &information_size, 8) || !cursor_take(&header, &information_offset, 8) ||
        !cursor_take(&header, &events_size, 8) || !cursor_take(&header, &events_offset, 8)) {
        return "it is shorter than the 40-byte header";
    }
    if (memcmp(magic, "PROF", 4) != 0) return "it doesn't start with \"PROF\"";
    if (version != profile_version) return "its version isn't 1";
    if (information_offset != profile_header_size) return "its information block isn't at offset 40";
    if (information_size > file.used - profile_header_size) return "its information block runs past the end";
    if (events_offset != align_up(profile_header_size + information_size, 16)) {
        return "its events don't start where the information block ends";
    }
    if (events_offset > file.used || file.used - events_offset < events_size) return "it is cut short";
    if (file.used - events_offset > events_size) return "bytes follow its events";

    profile_cursor_t cursor = {file.bytes + profile_header_size, information_size};
    u64 kind_names_size = 0, zone_names_size = 0;
    if (!cursor_take(&cursor, &profile->thread_kind_count, 4) || !cursor_take(&cursor, &profile->thread_count, 4) ||
        !cursor_take(&cursor, &profile->zone_count, 4) || !cursor_take(&cursor, &kind_names_size, 8) ||
        !cursor_take(&cursor, &zone_names_size, 8)) {
        return "its information block is cut short";
    }
    u64 needed = (u64)profile->thread_kind_count * 2 + (u64)profile->thread_count * 12 + (u64)profile->zone_count * 2;
    if (needed > cursor.left) return "its counts of threads, kinds and zones don't fit in the information block";

    profile->thread_kind_names = (data_t*)data_push(memory, profile->thread_kind_count * sizeof(data_t), 8);
    profile->zone_names = (data_t*)data_push(memory, profile->zone_count * sizeof(data_t), 8);
    profile->threads = (profile_thread_t*)data_push(memory, profile->thread_count * sizeof(profile_thread_t), 8);
    if ((profile->thread_kind_count && !profile->thread_kind_names) || (profile->zone_count && !profile->zone_names) ||
        (profile->thread_count && !profile->threads)) {
        return "there isn't memory enough to read it";
    }

    if (!read_names(&cursor, profile->thread_kind_count, kind_names_size, profile->thread_kind_names)) {
        return "its thread-kind names don't add up to their total";
    }
    u64 events_sum = 0;
    for (u32 i = 0; i < profile->thread_count; i++) {
        u64 size = 0;
        if (!cursor_take(&cursor, &size, 8)) return "its information block is cut short";
        if (size % 32 != 0) return "a thread's events aren't whole begin-end pairs";
        if (size > events_size - events_sum) return "its threads' events add up to more than its events";
        profile->threads[i].event_count = size / sizeof(profiler_event_t);
        profile->threads[i].events = (const profiler_event_t*)(file.bytes + events_offset + events_sum);
        events_sum += size;
    }
    if (events_sum != events_size) return "its threads' events don't add up to its events";
    for (u32 i = 0; i < profile->thread_count; i++) {
        if (!cursor_take(&cursor, &profile->threads[i].kind, 4)) return "its information block is cut short";
        if (profile->threads[i].kind >= profile->thread_kind_count) return "a thread is of a kind that has no name";
    }
    if (!read_names(&cursor, profile->zone_count, zone_names_size, profile->zone_names)) {
        return "its zone names don't add up to their total";
    }
    profile_time_base_t* time = &profile->time;
    if (!cursor_take(&cursor, &time->frequency, 8) || !cursor_take(&cursor, &time->cycle_span, 8) ||
        !cursor_take(&cursor, &time->tick_span, 8) || !cursor_take(&cursor, &time->has_time_base, 1) ||
        !cursor_take(&cursor, &time->method, 1) || !cursor_take(&cursor, &time->shift, 1) ||
        !cursor_take(&cursor, &time->bias, 8) || !cursor_take(&cursor, &time->scale, 8) ||
        !cursor_take(&cursor, &time->offset, 8) || !cursor_take(&cursor, &profile->reserved[0], 4) ||
        !cursor_take(&cursor, &profile->reserved[1], 4)) {
        return "its information block is cut short";
    }
    if (cursor.left) return "its information block is longer than its fields";

    for (u32 i = 0; i < profile->thread_count; i++) {
        const profile_thread_t* thread = &profile->threads[i];
        for (u64 e = 0; e < thread->event_count; e++) {
            const profiler_event_t* event = &thread->events[e];
            if (event->zone >= profile->zone_count) return "an event names a zone that isn't in the table";
            if (!event_kind_is_known(event->kind)) return "an event is of an unknown kind";
        }
    }
    return nullptr;
}

// The report ----------------------------------------------------------------------

constexpr u32 profile_node_none = 0xFFFFFFFF;
// Deeper rows of the tree are indented no further, so that a row stays short.
constexpr u32 profile_indent_levels = 64;
constexpr u32 profile_bar_width = 20;
constexpr u32 profile_seconds_decimals = 6;
constexpr u32 profile_seconds_per_hit_decimals = 9;

// One node per path of zones from a thread's root: the occurrences of a zone under
// the same parent path add up here.
struct profile_node_t {
    u32 zone;
    u32 parent;
    u32 first_child;
    u32 last_child;
    u32 next_sibling;
    u32 depth;
    u64 hits;
    u64 cycles;
    u64 outer_cycles;  // of the occurrences that no zone of the same number encloses
};

struct profile_open_t {
    u32 node;
    u64 start;
};

struct profile_work_t {
    profile_node_t* nodes;
    u32 node_count;
    profile_open_t* stack;
    u32* zone_depth;
    u64* zone_hits;
    u64* zone_cycles;
    u32* rows;
};

static u32 node_add(profile_work_t* work, u32 parent, u32 zone) {
    u32 index = work->node_count++;
    profile_node_t* node = &work->nodes[index];
    *node = profile_node_t{zone, parent, profile_node_none, profile_node_none, profile_node_none, 0, 0, 0, 0};
    if (parent != profile_node_none) {
        profile_node_t* up = &work->nodes[parent];
        node->depth = up->depth + 1;
        if (up->last_child == profile_node_none) {
            up->first_child = index;
        } else {
            work->nodes[up->last_child].next_sibling = index;
        }
        up->last_child = index;
    }
    return index;
}

static u32 node_child(profile_work_t* work, u32 parent, u32 zone) {
    for (u32 child = work->nodes[parent].first_child; child != profile_node_none;
         child = work->nodes[child].next_sibling) {
        if (work->nodes[child].zone == zone) return child;
    }
    return node_add(work, parent, zone);
}

static void node_close(profile_work_t* work, profile_open_t open, u64 time) {
    profile_node_t* node = &work->nodes[open.node];
    u64 duration = time > open.start ? time - open.start : 0;
    node->hits += 1;
    node->cycles += duration;
    work->zone_depth[node->zone] -= 1;
    if (work->zone_depth[node->zone] == 0) node->outer_cycles += duration;
}

// Builds the thread's tree under a new root; gives the root. Ends without a begin
// are passed over, and zones still open at the end close at the last event.
static u32 thread_tree_build(profile_work_t* work, const profile_t* profile, const profile_thread_t* thread) {
    u32 root = node_add(work, profile_node_none, profile_node_none);
    memset(work->zone_depth, 0, profile->zone_count * sizeof(u32));
    u64 depth = 0;
    for (u64 e = 0; e < thread->event_count; e++) {
        const profiler_event_t* event = &thread->events[e];
        u32 kind = event->kind & ~profiler_event_collapsed;
        if (kind == profiler_event_zone_begin || kind == profiler_event_frame_begin) {
            u32 parent = depth ? work->stack[depth - 1].node : root;
            u32 node = node_child(work, parent, event->zone);
            work->stack[depth++] = profile_open_t{node, event->time};
            work->zone_depth[event->zone] += 1;
            continue;
        }
        u64 match = depth;
        while (match > 0 && work->nodes[work->stack[match - 1].node].zone != event->zone) match -= 1;
        if (match == 0) continue;
        while (depth >= match) node_close(work, work->stack[--depth], event->time);
    }
    u64 last = thread->event_count ? thread->events[thread->event_count - 1].time : 0;
    while (depth > 0) node_close(work, work->stack[--depth], last);
    return root;
}

static void text_push(data_t* text, const void* bytes, u64 size) {
    ASSERT(text->used + size <= text->reserved);
    memcpy(text->bytes + text->used, bytes, size);
    text->used += size;
}
static void text_push_c(data_t* text, const char* string) { text_push(text, string, strlen(string)); }
static void text_repeat(data_t* text, u8 byte, u64 count) {
    ASSERT(text->used + count <= text->reserved);
    memset(text->bytes + text->used, byte, count);
    text->used += count;
}

// Numbers as text, into a buffer of 64 bytes; gives the length.
static u64 number_text(u8* buffer, u64 value) { return format_u64(buffer, 64, value, 0, ' ', 0); }
// Rounded to `decimals` (at most 9) places.
static u64 seconds_text(u8* buffer, f64 value, u32 decimals) {
    u64 unit = 1;
    for (u32 i = 0; i < decimals; i++) unit *= 10;
    f64 scaled = value * (f64)unit + 0.5;
    u64 whole = scaled > 0 && scaled < 1.8e19 ? (u64)scaled : 0;
    u64 size = format_u64(buffer, 64, whole / unit, 0, ' ', 0);
    buffer[size++] = '.';
    return size + format_u64(buffer + size, 64 - size, whole % unit, decimals, '0', 0);
}
static void text_right(data_t* text, const u8* bytes, u64 size, u64 width) {
    if (size < width) text_repeat(text, ' ', width - size);
    text_push(text, bytes, size);
}

static u64 name_length(const profile_t* profile, u32 zone) { return profile->zone_names[zone].used; }

struct totals_widths_t {
    u64 name, cycles, per_hit, seconds, seconds_per_hit;
};

static void totals_row(data_t* text, const profile_t* profile, u32 zone, u64 hits, u64 cycles, u64 timeline,
                       const totals_widths_t* widths, bool measure_only, totals_widths_t* measured) {
    u8 cycles_text[64], per_hit_text[64], seconds_text_buffer[64], per_hit_seconds_text[64], hits_text[64];
    f64 seconds = profile_seconds(&profile->time, cycles);
    u64 cycles_size = number_text(cycles_text, cycles);
    u64 per_hit_size = number_text(per_hit_text, hits ? cycles / hits : 0);
    u64 seconds_size = seconds_text(seconds_text_buffer, seconds, profile_seconds_decimals);
    u64 per_hit_seconds_size =
        seconds_text(per_hit_seconds_text, hits ? seconds / (f64)hits : 0, profile_seconds_per_hit_decimals);
    if (measure_only) {
        measured->name = max_of(measured->name, name_length(profile, zone));
        measured->cycles = max_of(measured->cycles, cycles_size);
        measured->per_hit = max_of(measured->per_hit, per_hit_size);
        measured->seconds = max_of(measured->seconds, seconds_size);
        measured->seconds_per_hit = max_of(measured->seconds_per_hit, per_hit_seconds_size);
        return;
    }
    data_t name = profile->zone_names[zone];
    text_push(text, name.bytes, name.used);
    text_repeat(text, ' ', widths->name - name.used);
    text_push_c(text, " | ");
    text_right(text, hits_text, number_text(hits_text, hits), 10);
    text_push_c(text, "h | ");
    text_right(text, cycles_text, cycles_size, widths->cycles);
    text_push_c(text, "c | ");
    text_right(text, per_hit_text, per_hit_size, widths->per_hit);
    text_push_c(text, "c/h | ");
    text_right(text, seconds_text_buffer, seconds_size, widths->seconds);
    text_push_c(text, "s | ");
    text_right(text, per_hit_seconds_text, per_hit_seconds_size, widths->seconds_per_hit);
    text_push_c(text, "s/h | ");
    f64 share = timeline ? (f64)cycles / (f64)timeline : 0;
    for (u32 k = 1; k <= profile_bar_width; k++) {
        text_push_c(text, share + 0.001 >= (f64)k / profile_bar_width ? "=" : " ");
    }
    text_push_c(text, " |\n");
}

// The next node of a walk of the tree in pre-order, or none after the last.
static u32 tree_next(const profile_work_t* work, u32 node, u32 root) {
    if (work->nodes[node].first_child != profile_node_none) return work->nodes[node].first_child;
    while (node != root) {
        if (work->nodes[node].next_sibling != profile_node_none) return work->nodes[node].next_sibling;
        node = work->nodes[node].parent;
    }
    return profile_node_none;
}

static u64 tree_indent(const profile_node_t* node) { return 2 * (u64)min_of(node->depth - 1, profile_indent_levels); }

// Writes one thread's timeline, or with a null `text` gives the bytes it needs at
// most.
static u64 thread_report(data_t* text, const profile_t* profile, profile_work_t* work, u32 index, u32 root) {
    const profile_thread_t* thread = &profile->threads[index];
    u64 timeline = 0;
    if (thread->event_count) {
        u64 first = thread->events[0].time, last = thread->events[thread->event_count - 1].time;
        timeline = last > first ? last - first : 0;
    }

    // Totals per zone from the nodes; a zone inside itself counts its outer time.
    memset(work->zone_hits, 0, profile->zone_count * sizeof(u64));
    memset(work->zone_cycles, 0, profile->zone_count * sizeof(u64));
    u32 node_end = root + 1;
    while (node_end < work->node_count && work->nodes[node_end].parent != profile_node_none) node_end += 1;
    for (u32 n = root + 1; n < node_end; n++) {
        work->zone_hits[work->nodes[n].zone] += work->nodes[n].hits;
        work->zone_cycles[work->nodes[n].zone] += work->nodes[n].outer_cycles;
    }
    // Rows: the zones that have time, the largest first (a shell sort, stable
    // enough for ties by zone number).
    u32 row_count = 0;
    for (u32 z = 0; z < profile->zone_count; z++) {
        if (work->zone_hits[z]) work->rows[row_count++] = z;
    }
    for (u32 gap = row_count / 2; gap > 0; gap /= 2) {
        for (u32 i = gap; i < row_count; i++) {
            u32 row = work->rows[i];
            u32 j = i;
            while (j >= gap && (work->zone_cycles[work->rows[j - gap]] < work->zone_cycles[row] ||
                                (work->zone_cycles[work->rows[j - gap]] == work->zone_cycles[row] &&
                                 work->rows[j - gap] > row))) {
                work->rows[j] = work->rows[j - gap];
                j -= gap;
            }
            work->rows[j] = row;
        }
    }
    totals_widths_t widths = {};
    for (u32 r = 0; r < row_count; r++) {
        u32 zone = work->rows[r];
        totals_row(nullptr, profile, zone, work->zone_hits[zone], work->zone_cycles[zone], timeline, nullptr, true,
                   &widths);
    }
    u64 tree_name = 0, tree_cycles = 0, tree_seconds = 0;
    u8 buffer[64];
    for (u32 n = root + 1; n < node_end; n++) {
        const profile_node_t* node = &work->nodes[n];
        tree_name = max_of(tree_name, tree_indent(node) + name_length(profile, node->zone));
        tree_cycles = max_of(tree_cycles, number_text(buffer, node->cycles));
        tree_seconds = max_of(tree_seconds,
                              seconds_text(buffer, profile_seconds(&profile->time, node->cycles), profile_seconds_decimals));
    }

    data_t kind = profile->thread_kind_names[thread->kind];
    if (!text) {
        u64 totals_row_size = widths.name + 3 + 10 + 4 + widths.cycles + 4 + widths.per_hit + 6 + widths.seconds + 4 +
                              widths.seconds_per_hit + 6 + profile_bar_width + 3;
        u64 tree_row_size = tree_name + 1 + tree_cycles + 2 + tree_seconds + 2;
        return 64 + kind.used + 32 + row_count * totals_row_size + (u64)(node_end - root) * tree_row_size;
    }

    text_push_c(text, "Timeline[ ");
    text_push(text, buffer, number_text(buffer, index));
    text_push_c(text, " ] - ");
    text_push(text, kind.bytes, kind.used);
    text_push_c(text, "\n\n# Totals\n");
    for (u32 r = 0; r < row_count; r++) {
        u32 zone = work->rows[r];
        totals_row(text, profile, zone, work->zone_hits[zone], work->zone_cycles[zone], timeline, &widths, false,
                   nullptr);
    }
    text_push_c(text, "\n# Tree\n");
    for (u32 n = tree_next(work, root, root); n != profile_node_none; n = tree_next(work, n, root)) {
        const profile_node_t* node = &work->nodes[n];
        data_t name = profile->zone_names[node->zone];
        u64 indent = tree_indent(node);
        text_repeat(text, ' ', indent);
        text_push(text, name.bytes, name.used);
        text_repeat(text, ' ', tree_name - indent - name.used + 1);
        text_right(text, buffer, number_text(buffer, node->cycles), tree_cycles);
        text_push_c(text, "c ");
        u64 size = seconds_text(buffer, profile_seconds(&profile->time, node->cycles), profile_seconds_decimals);
        text_right(text, buffer, size, tree_seconds);
        text_push_c(text, "s\n");
    }
    return 0;
}

data_t profile_report(const profile_t* profile) {
    u64 node_capacity = 0, deepest = 0;
    for (u32 i = 0; i < profile->thread_count; i++) {
        node_capacity += profile->threads[i].event_count + 1;
        deepest = max_of(deepest, profile->threads[i].event_count);
    }
    data_t text = {};
    if (node_capacity >= profile_node_none) return text;
    u64 zones = profile->zone_count;
    u64 work_size = node_capacity * sizeof(profile_node_t) + deepest * sizeof(profile_open_t) +
                    zones * (sizeof(u32) + 2 * sizeof(u64) + sizeof(u32)) + 64;
    data_t memory = data_allocate(work_size);
    if (!memory.bytes) return text;
    profile_work_t work = {};
    work.nodes = (profile_node_t*)data_push(&memory, node_capacity * sizeof(profile_node_t), 8);
    work.stack = (profile_open_t*)data_push(&memory, deepest * sizeof(profile_open_t), 8);
    work.zone_hits = (u64*)data_push(&memory, zones * sizeof(u64), 8);
    work.zone_cycles = (u64*)data_push(&memory, zones * sizeof(u64), 8);
    work.zone_depth = (u32*)data_push(&memory, zones * sizeof(u32), 4);
    work.rows = (u32*)data_push(&memory, zones * sizeof(u32), 4);

    // Every tree first, to know the size of the text; its roots have no parent.
    u32 roots[profiler_thread_capacity];
    u32* root_of = profile->thread_count <= profiler_thread_capacity
                       ? roots
                       : (u32*)data_allocate(profile->thread_count * sizeof(u32)).bytes;
    if (!root_of) {
        data_free(&memory);
        return text;
    }
    u64 size = 0;
    for (u32 i = 0; i < profile->thread_count; i++) {
        root_of[i] = thread_tree_build(&work, profile, &profile->threads[i]);
    }
    for (u32 i = 0; i < profile->thread_count; i++) {
        size += thread_report(nullptr, profile, &work, i, root_of[i]) + 102;
    }
    text = data_allocate(size + 1);
    if (text.bytes) {
        for (u32 i = 0; i < profile->thread_count; i++) {
            if (i) {
                text_push_c(&text, "\n");
                text_repeat(&text, '-', 100);
                text_push_c(&text, "\n");
            }
            thread_report(&text, profile, &work, i, root_of[i]);
        }
    }
    if (root_of != roots) {
        data_t block = {profile->thread_count * sizeof(u32), 0, (u8*)root_of};
        data_free(&block);
    }
    data_free(&memory);
    return text;
}
