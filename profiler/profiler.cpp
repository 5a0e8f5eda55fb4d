// The profiler's thread records, the empty and the live calls, the 60-frame ring
// with its collapse, and the writing of profile.bin.
#include "profiler/profiler.h"

#include <cstring>

#include "base/data.h"
#include "base/file.h"
#include "base/log.h"
#include "platform/os.h"
#include "platform/thread.h"
#include "profiler/profile_file.h"

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "the profile file is written from memory as it stands");
static_assert(zone_count * sizeof(u32) == 464, "one open counter per zone");

const char* const profiler_thread_kind_names[profiler_thread_kind_count] = {"worker_thread", "main"};

profiler_thread_t profiler_threads[profiler_thread_capacity];
volatile u32 profiler_thread_count;

// Events past `end` that only the closing of open zones may use, when a thread runs
// out: a stopped thread still leaves a stream whose zones pair up.
constexpr u64 profiler_closing_room = 256;

static u64 profiler_empty(u32 zone, u32 kind) { return 0; }

static profiler_thread_t profiler_unregistered = {
    nullptr, nullptr, nullptr, {}, {}, 0, 0, 0, profiler_empty, profiler_empty, profiler_empty, profiler_empty,
};
__thread profiler_thread_t* profiler_current = &profiler_unregistered;

static bool profiler_started;
// The calls that profiler_install_empty switched off for every thread, as its mask
// bits; a thread that registers later starts with these empty too.
static u32 profiler_empty_groups;
static u64 profiler_cycles_start, profiler_ticks_start, profiler_frequency;
static profile_time_base_t profiler_time;

// Stopping on full events -------------------------------------------------------

// Walks back from `end` and pairs ends with begins by nesting alone. For each begin
// left open, innermost first, writes the event that closes it into `closing` while
// there is room. Gives the number of open begins; `outermost` the earliest of them.
static u64 profiler_open_scan(const profiler_event_t* first, const profiler_event_t* end,
                              profiler_event_t* closing, u64 closing_capacity, u64 time,
                              const profiler_event_t** outermost) {
    u64 pending_ends = 0;
    u64 open = 0;
    for (const profiler_event_t* event = end; event != first;) {
        event -= 1;
        u32 kind = event->kind & ~profiler_event_collapsed;
        if (kind == profiler_event_zone_end || kind == profiler_event_frame_end) {
            pending_ends += 1;
        } else if (pending_ends) {
            pending_ends -= 1;
        } else {
            if (closing && open < closing_capacity) {
                closing[open] = profiler_event_t{time, event->zone, event->kind + 1};
            }
            open += 1;
            if (outermost) *outermost = event;
        }
    }
    return open;
}

static void profiler_record_install(profiler_thread_t* thread, u32 groups, bool live);

// The events ran out: the thread's open zones and frame are closed now, its
// recording ends for good, and profiler_stop says so on log channel 0.
static void profiler_thread_stop(profiler_thread_t* thread) {
    u64 time = os_cycles();
    profiler_event_t* closing = thread->next;
    const profiler_event_t* outermost = nullptr;
    u64 open = profiler_open_scan(thread->events, thread->next, closing, profiler_closing_room, time, &outermost);
    // Deeper than the room: drop everything from the outermost open begin on, which
    // leaves only what had closed.
    profiler_event_t* next = open <= profiler_closing_room ? closing + open : (profiler_event_t*)outermost;
    __atomic_store_n(&thread->next, next, __ATOMIC_RELEASE);
    memset(thread->open_counts, 0, zone_count * sizeof(u32));
    thread->in_frame = 0;
    thread->stopped = 1;
    profiler_record_install(thread, profiler_install_zones | profiler_install_frames, false);
}

// The live calls ------------------------------------------------------------------

static inline void profiler_publish(profiler_thread_t* thread, profiler_event_t* next) {
    // The writer of the file reads `next` from another thread once this one is done;
    // a release store is a plain store on x86.
    __atomic_store_n(&thread->next, next, __ATOMIC_RELEASE);
}

// The next event, with the time read last, so that the profiler's own work falls
// before the zone; null when the events ran out (the thread has stopped then).
static inline profiler_event_t* profiler_event_begin(profiler_thread_t* thread, u32 zone, u32 kind, u64* time) {
    profiler_event_t* event = thread->next;
    if (event == thread->end) {
        profiler_thread_stop(thread);
        return nullptr;
    }
    event->zone = zone;
    event->kind = kind;
    *time = os_cycles();
    event->time = *time;
    profiler_publish(thread, event + 1);
    return event;
}

// The next event at `time`, read by the caller first, so that the profiler's own
// work falls after the zone; null when the events ran out.
static inline profiler_event_t* profiler_event_end(profiler_thread_t* thread, u64 time, u32 zone, u32 kind) {
    profiler_event_t* event = thread->next;
    if (event == thread->end) {
        profiler_thread_stop(thread);
        return nullptr;
    }
    *event = profiler_event_t{time, zone, kind};
    profiler_publish(thread, event + 1);
    return event;
}

static u64 profiler_live_zone_begin(u32 zone, u32 kind) {
    profiler_thread_t* thread = profiler_current;
    thread->open_counts[zone] += 1;
    u64 time = 0;
    profiler_event_begin(thread, zone, kind, &time);
    return time;
}

static u64 profiler_live_zone_end(u32 zone, u32 kind) {
    u64 time = os_cycles();
    profiler_thread_t* thread = profiler_current;
    if (!profiler_event_end(thread, time, zone, kind)) return 0;
    thread->open_counts[zone] -= 1;
    return time;
}

// Folds the frame in ring slot `slot` to its two events, inside a zone of its own.
// False when the events ran out on the way (the thread has stopped).
static bool profiler_collapse(profiler_thread_t* thread, u64 slot) {
    profiler_live_zone_begin(zone_profiler_collapse, profiler_event_zone_begin);
    if (thread->stopped) return false;
    profiler_event_t* first = thread->frame_begin[slot];
    profiler_event_t* last = thread->frame_end[slot];
    first->kind |= profiler_event_collapsed;
    last->kind |= profiler_event_collapsed;
    profiler_event_t* target = first + 1;
    u64 distance = (u64)(last - target);
    if (distance) {
        memmove(target, last, (u64)(thread->next - last) * sizeof(profiler_event_t));
        profiler_publish(thread, thread->next - distance);
        for (u32 i = 0; i < profiler_frame_ring_size; i++) {
            if (thread->frame_begin[i] > last) thread->frame_begin[i] -= distance;
            if (thread->frame_end[i] > last) thread->frame_end[i] -= distance;
        }
        thread->frame_end[slot] = target;
    }
    profiler_live_zone_end(zone_profiler_collapse, profiler_event_zone_end);
    return !thread->stopped;
}

static u64 profiler_live_frame_start(u32 zone, u32 kind) {
    profiler_thread_t* thread = profiler_current;
    ASSERT(thread->in_frame == 0);
    thread->in_frame = 1;
    u64 slot = thread->frame_count % profiler_frame_ring_size;
    if (thread->frame_count >= profiler_frame_ring_size && !profiler_collapse(thread, slot)) return 0;
    u64 time = 0;
    profiler_event_t* event = profiler_event_begin(thread, zone, kind, &time);
    if (event) thread->frame_begin[slot] = event;
    return time;
}

static u64 profiler_live_frame_stop(u32 zone, u32 kind) {
    u64 time = os_cycles();
    profiler_thread_t* thread = profiler_current;
    ASSERT(thread->in_frame == 1);
    profiler_event_t* event = profiler_event_end(thread, time, zone, kind);
    if (!event) return 0;
    thread->frame_end[thread->frame_count % profiler_frame_ring_size] = event;
    thread->frame_count += 1;
    thread->in_frame = 0;
    return time;
}

// Registration and switching ------------------------------------------------------

static u32 profiler_groups(u32 mask) {
    u32 groups = mask & (profiler_install_zones | profiler_install_frames);
    return groups ? groups : profiler_install_zones | profiler_install_frames;
}

static void profiler_record_install(profiler_thread_t* thread, u32 groups, bool live) {
    // A thread without events, or one that ran out, has nothing to record into.
    if (live && (thread->stopped || !thread->events)) return;
    if (groups & profiler_install_zones) {
        thread->zone_begin = live ? profiler_live_zone_begin : profiler_empty;
        thread->zone_end = live ? profiler_live_zone_end : profiler_empty;
    }
    if (groups & profiler_install_frames) {
        thread->frame_start = live ? profiler_live_frame_start : profiler_empty;
        thread->frame_stop = live ? profiler_live_frame_stop : profiler_empty;
    }
}

static void profiler_install(u32 mask, bool live) {
    u32 groups = profiler_groups(mask);
    if (mask & profiler_install_this_thread) {
        if (profiler_current != &profiler_unregistered) profiler_record_install(profiler_current, groups, live);
        return;
    }
    if (live) {
        profiler_empty_groups &= ~groups;
    } else {
        profiler_empty_groups |= groups;
    }
    u32 count = min_of(atomic_load_acquire_u32(&profiler_thread_count), profiler_thread_capacity);
    for (u32 i = 0; i < count; i++) profiler_record_install(&profiler_threads[i], groups, live);
}

void profiler_install_empty(u32 mask) { profiler_install(mask, false); }
void profiler_install_live(u32 mask) { profiler_install(mask, true); }

void profiler_start(u32 thread_kind, u64 capacity, u32* error) {
    ASSERT(!profiler_started);
    profiler_frequency = os_tick_frequency();
    profiler_cycles_start = os_cycles();
    profiler_ticks_start = os_ticks();
    profiler_time = profile_time_base_t{};
    profiler_time.frequency = profiler_frequency;
    profiler_started = true;
    profiler_thread_register(thread_kind, capacity, error);
}

void profiler_thread_register(u32 thread_kind, u64 capacity, u32* error) {
    if (*error) return;
    if (!profiler_started) return;
    ASSERT(profiler_current == &profiler_unregistered);
    u32 index = atomic_add_u32(&profiler_thread_count, 1) - 1;
    ASSERT(index < profiler_thread_capacity);
    profiler_thread_t* thread = &profiler_threads[index];
    *thread = profiler_thread_t{};
    thread->thread_kind = thread_kind;
    thread->zone_begin = thread->zone_end = thread->frame_start = thread->frame_stop = profiler_empty;
    profiler_current = thread;

    data_t counts = data_allocate(zone_count * sizeof(u32));
    data_t events = {};
    if (capacity <= (~0ull / sizeof(profiler_event_t)) - profiler_closing_room) {
        events = data_allocate((capacity + profiler_closing_room) * sizeof(profiler_event_t));
    }
    if (!counts.bytes || !events.bytes) {
        data_free(&counts);
        data_free(&events);
        *error = profiler_error_memory;
        return;
    }
    thread->events = (profiler_event_t*)events.bytes;
    thread->next = thread->events;
    thread->end = thread->events + capacity;
    thread->open_counts = (u32*)counts.bytes;
    thread->capacity = capacity;
    profiler_record_install(thread, ~profiler_empty_groups & (profiler_install_zones | profiler_install_frames),
                            true);
}

void profiler_stop() {
    u64 cycles = os_cycles();
    u64 ticks = os_ticks();
    profiler_time = profile_time_base_measure(profiler_frequency, profiler_cycles_start, profiler_ticks_start,
                                              cycles, ticks);
    u32 count = min_of(atomic_load_acquire_u32(&profiler_thread_count), profiler_thread_capacity);
    for (u32 i = 0; i < count; i++) {
        profiler_thread_t* thread = &profiler_threads[i];
        if (!thread->stopped || thread->stop_reported) continue;
        thread->stop_reported = 1;
        log_write_c_string(log_main, "Profiler: thread ");
        log_write_u64(log_main, i);
        log_write_c_string(log_main, " (");
        log_write_c_string(log_main, profiler_thread_kind_names[thread->thread_kind % profiler_thread_kind_count]);
        log_write_c_string(log_main, ") used all of its ");
        log_write_u64(log_main, thread->capacity);
        log_write_c_string(log_main, " events; it recorded nothing after that.\n");
    }
}

void profiler_free() {
    u32 count = min_of(atomic_load_acquire_u32(&profiler_thread_count), profiler_thread_capacity);
    for (u32 i = 0; i < count; i++) {
        profiler_thread_t* thread = &profiler_threads[i];
        if (thread->events) {
            data_t events = {(thread->capacity + profiler_closing_room) * sizeof(profiler_event_t), 0,
                             (u8*)thread->events};
            data_free(&events);
        }
        if (thread->open_counts) {
            data_t counts = {zone_count * sizeof(u32), 0, (u8*)thread->open_counts};
            data_free(&counts);
        }
        *thread = profiler_unregistered;
    }
    __atomic_store_n(&profiler_thread_count, 0, __ATOMIC_RELEASE);
    profiler_current = &profiler_unregistered;
    profiler_empty_groups = 0;
    profiler_started = false;
}

// The file ------------------------------------------------------------------------

void profiler_write(const char* path, bool overwrite, u32* error) {
    if (*error) return;
    u32 thread_count = min_of(atomic_load_acquire_u32(&profiler_thread_count), profiler_thread_capacity);

    // What each thread hands over: its events as they stand, and an end for each
    // zone still open (a worker may be leaving its last zone as the file is made).
    const profiler_event_t* firsts[profiler_thread_capacity];
    const profiler_event_t* ends[profiler_thread_capacity];
    u64 open_counts[profiler_thread_capacity];
    u32 kinds[profiler_thread_capacity] = {};
    u64 sizes[profiler_thread_capacity] = {};
    u64 events_size = 0;
    for (u32 i = 0; i < thread_count; i++) {
        profiler_thread_t* thread = &profiler_threads[i];
        firsts[i] = thread->events;
        ends[i] = thread->events ? __atomic_load_n(&thread->next, __ATOMIC_ACQUIRE) : nullptr;
        open_counts[i] = profiler_open_scan(firsts[i], ends[i], nullptr, 0, 0, nullptr);
        kinds[i] = thread->thread_kind;
        sizes[i] = ((u64)(ends[i] - firsts[i]) + open_counts[i]) * sizeof(profiler_event_t);
        events_size += sizes[i];
    }
    data_t file = profile_file_start(thread_count, kinds, sizes, &profiler_time);
    if (!file.bytes) {
        *error = profiler_error_file_memory;
        return;
    }
    u64 total = file.used + events_size;

    u64 close_time = os_cycles();
    for (u32 i = 0; i < thread_count; i++) {
        u64 count = (u64)(ends[i] - firsts[i]);
        if (count) memcpy(file.bytes + file.used, firsts[i], count * sizeof(profiler_event_t));
        file.used += count * sizeof(profiler_event_t);
        profiler_event_t* closing = (profiler_event_t*)(file.bytes + file.used);
        u64 closed = profiler_open_scan(firsts[i], ends[i], closing, open_counts[i], close_time, nullptr);
        ASSERT(closed == open_counts[i]);
        file.used += closed * sizeof(profiler_event_t);
        ASSERT((count + closed) % 2 == 0);
    }
    ASSERT(file.used == total);

    file_error_t file_error = 0;
    data_t name = data_from_size(strlen(path), path);
    file_write_all(name, file.bytes, file.used, overwrite, &file_error);
    if (file_error) *error = profiler_error_file_write;
    data_free(&file);
}
