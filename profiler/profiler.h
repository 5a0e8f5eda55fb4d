// The instrumented profiler: every thread records zone and frame events into a
// block of its own, found through thread-local storage, and calls through four
// function pointers in its record, so that with the empty functions installed a
// zone costs one indirect call and nothing else. The last 60 frames of a thread are
// kept whole; older ones shrink to their two frame events. profile_file.h describes
// the file that profiler_write makes of it all.
#pragma once

#include "base/types.h"
#include "profiler/zones.h"

enum : u32 {
    profiler_event_zone_begin = 1,
    profiler_event_zone_end = 2,
    profiler_event_frame_begin = 5,
    profiler_event_frame_end = 6,
    // Added to both events of a frame whose inside was dropped to save room.
    profiler_event_collapsed = 0x100,
};

enum : u32 {
    profiler_thread_worker = 0,
    profiler_thread_main = 1,
    profiler_thread_kind_count = 2,
};
extern const char* const profiler_thread_kind_names[profiler_thread_kind_count];

// profiler_thread_register's error: the event block couldn't be had. The thread
// then runs with the empty functions.
constexpr u32 profiler_error_memory = 3;
// profiler_write's errors: the block for the file, or the file itself.
constexpr u32 profiler_error_file_memory = 4;
constexpr u32 profiler_error_file_write = 5;

constexpr u32 profiler_thread_capacity = 128;
constexpr u32 profiler_frame_ring_size = 60;

struct profiler_event_t {
    u64 time;  // the processor's time-stamp counter
    u32 zone;
    u32 kind;  // profiler_event_*
};
static_assert(sizeof(profiler_event_t) == 16, "events are 16 bytes in memory and in the file");

typedef u64 (*profiler_zone_function_t)(u32 zone, u32 kind);

struct profiler_thread_t {
    profiler_event_t* events;
    profiler_event_t* next;
    profiler_event_t* end;
    // A ring over the last 60 frames, at frame_count mod 60.
    profiler_event_t* frame_begin[profiler_frame_ring_size];
    profiler_event_t* frame_end[profiler_frame_ring_size];
    u64 frame_count;
    u32 in_frame;
    u32 thread_kind;
    profiler_zone_function_t zone_begin;
    profiler_zone_function_t zone_end;
    profiler_zone_function_t frame_start;
    profiler_zone_function_t frame_stop;
    u32* open_counts;  // per zone, the zones opened and not yet closed

    // Set when the events ran out: the open zones were closed and the thread stays
    // on the empty functions, whatever is installed later.
    u32 stopped;
    u32 stop_reported;
    u64 capacity;
};

extern profiler_thread_t profiler_threads[profiler_thread_capacity];
extern volatile u32 profiler_thread_count;

// The record of the current thread; never null: a thread that never registered
// sees a record whose functions are the empty ones. Read anew at every zone,
// straight from thread-local storage.
extern __thread profiler_thread_t* profiler_current;
inline profiler_thread_t* profiler_thread_calls() { return profiler_current; }

// On the main thread, once: reads the time base, then registers the thread.
void profiler_start(u32 thread_kind, u64 capacity, u32* error);
// Gives the calling thread its record and `capacity` events. Without a started
// profiler the thread keeps the empty functions and no record is taken. A failure
// sets `error` (profiler_error_memory) and leaves the thread on the empty functions.
// Does nothing when `error` is already set.
void profiler_thread_register(u32 thread_kind, u64 capacity, u32* error);

// Which calls to switch: mask 0 means all of them; bit 1 (2) the zone begin and end,
// bit 2 (4) the frame start and stop. Bit 0 (1) switches the calling thread only;
// without it every registered thread switches, and so do the threads that register
// later.
enum : u32 {
    profiler_install_this_thread = 1,
    profiler_install_zones = 2,
    profiler_install_frames = 4,
};
void profiler_install_empty(u32 mask);
void profiler_install_live(u32 mask);

// Reads the time base again and keeps the spans of the run. Writes one line on log
// channel 0 for each thread whose events ran out.
void profiler_stop();
// Releases each thread's blocks; the profiler can then start again (the tests
// start the program more than once). Only once no registered thread runs.
void profiler_free();
// Writes profile.bin: `overwrite` replaces a file that is there, else that is a
// failure. Sets `error` on failure, and does nothing when it is already set.
void profiler_write(const char* path, bool overwrite, u32* error);

struct profiler_scope_t {
    u32 zone;
    explicit profiler_scope_t(u32 z) : zone(z) { profiler_thread_calls()->zone_begin(zone, profiler_event_zone_begin); }
    ~profiler_scope_t() { profiler_thread_calls()->zone_end(zone, profiler_event_zone_end); }
    profiler_scope_t(const profiler_scope_t&) = delete;
    profiler_scope_t& operator=(const profiler_scope_t&) = delete;
};

// A frame of the 60-frame ring: frame_start here, frame_stop at the end of the scope.
struct profiler_frame_scope_t {
    u32 zone;
    explicit profiler_frame_scope_t(u32 z) : zone(z) {
        profiler_thread_calls()->frame_start(zone, profiler_event_frame_begin);
    }
    ~profiler_frame_scope_t() { profiler_thread_calls()->frame_stop(zone, profiler_event_frame_end); }
    profiler_frame_scope_t(const profiler_frame_scope_t&) = delete;
    profiler_frame_scope_t& operator=(const profiler_frame_scope_t&) = delete;
};

#define PROFILER_CONCAT_INNER(a, b) a##b
#define PROFILER_CONCAT(a, b) PROFILER_CONCAT_INNER(a, b)
// Opens zone `name` (without its zone_ prefix) until the end of the scope.
#define PROFILE_ZONE(name) profiler_scope_t PROFILER_CONCAT(profile_zone_, __LINE__)(zone_##name)
// Opens a frame in zone `name` until the end of the scope.
#define PROFILE_FRAME(name) profiler_frame_scope_t PROFILER_CONCAT(profile_frame_, __LINE__)(zone_##name)
