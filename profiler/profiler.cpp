// The profiler's thread records and calls. Only the empty functions exist for now:
// recording, collapsing and the profile file come later.
#include "profiler/profiler.h"

static u64 profiler_empty(u32 zone, u32 kind) { return 0; }

static profiler_calls_t profiler_empty_calls = {profiler_empty, profiler_empty, profiler_empty, profiler_empty};
__thread profiler_calls_t* profiler_current = &profiler_empty_calls;

void profiler_start(u32 thread_kind, u64 capacity, u32* error) { profiler_thread_register(thread_kind, capacity, error); }

void profiler_thread_register(u32 thread_kind, u64 capacity, u32* error) {
    if (*error) return;
    profiler_current = &profiler_empty_calls;
}

void profiler_install_empty(u32 mask) { profiler_current = &profiler_empty_calls; }
void profiler_install_live(u32 mask) {}
void profiler_stop() {}
void profiler_free() {}
void profiler_write(const char* path, bool overwrite, u32* error) {}
