// The zone-call interface of the profiler. Every thread reaches its record through
// thread-local storage and calls through its four function pointers, so that with
// the empty functions installed a zone costs one indirect call and nothing else.
#pragma once

#include "base/types.h"
#include "profiler/zones.h"

enum : u32 {
    profiler_event_zone_begin = 1,
    profiler_event_zone_end = 2,
    profiler_event_frame_begin = 5,
    profiler_event_frame_end = 6,
};

enum : u32 {
    profiler_thread_worker = 0,
    profiler_thread_main = 1,
};

typedef u64 (*profiler_zone_function_t)(u32 zone, u32 kind);

struct profiler_calls_t {
    profiler_zone_function_t zone_begin;
    profiler_zone_function_t zone_end;
    profiler_zone_function_t frame_start;
    profiler_zone_function_t frame_stop;
};

// The calls of the current thread; never null. Read anew at every zone, straight
// from thread-local storage, so that a zone costs a load and one indirect call.
extern __thread profiler_calls_t* profiler_current;
inline profiler_calls_t* profiler_thread_calls() { return profiler_current; }

void profiler_start(u32 thread_kind, u64 capacity, u32* error);
void profiler_thread_register(u32 thread_kind, u64 capacity, u32* error);
// mask 0 means all; bit 1 the zone calls, bit 2 the frame calls.
void profiler_install_empty(u32 mask);
void profiler_install_live(u32 mask);
void profiler_stop();
void profiler_free();
void profiler_write(const char* path, bool overwrite, u32* error);

struct profiler_scope_t {
    u32 zone;
    explicit profiler_scope_t(u32 z) : zone(z) { profiler_thread_calls()->zone_begin(zone, profiler_event_zone_begin); }
    ~profiler_scope_t() { profiler_thread_calls()->zone_end(zone, profiler_event_zone_end); }
    profiler_scope_t(const profiler_scope_t&) = delete;
    profiler_scope_t& operator=(const profiler_scope_t&) = delete;
};

#define PROFILER_CONCAT_INNER(a, b) a##b
#define PROFILER_CONCAT(a, b) PROFILER_CONCAT_INNER(a, b)
// Opens zone `name` (without its zone_ prefix) until the end of the scope.
#define PROFILE_ZONE(name) profiler_scope_t PROFILER_CONCAT(profile_zone_, __LINE__)(zone_##name)
