// profile.bin: what profiler_write makes of a run, how a reader checks it, and the
// text report that lets a person read it without an external viewer.
//
// All numbers are little-endian.
//
// Header, 40 bytes:
//    0  4  "PROF"
//    4  4  version, 1
//    8  8  size of the information block
//   16  8  offset of the information block, 40
//   24  8  total size of the events
//   32  8  offset of the events: 40 + information size, rounded up to 16
//
// Information block, in order:
//   u32 thread kinds (2), u32 threads, u32 zones (116)
//   u64 total length of the thread-kind names, u64 total length of the zone names
//   u16 length of each thread-kind name, then their bytes, without terminators
//   u64 byte size of each thread's events, then u32 thread kind of each thread
//   u16 length of each zone name, then their bytes
//   u64 tick frequency, u64 cycle span of the run, u64 tick span of the run
//   u8 has_time_base, u8 method, u8 shift
//   u64 bias, u64 scale, u64 offset
//   u32, u32: zero
// Zero padding up to the events' offset, then each thread's events in thread order,
// 16 bytes each (u64 cycles, u32 zone, u32 kind), a whole number of begin-end
// pairs, so that each thread's block is a multiple of 32 bytes.
//
// The time base. Events are stamped with the processor's time-stamp counter, whose
// rate the system doesn't tell, so it is measured: profiler_start reads the counter
// and CLOCK_MONOTONIC (the "ticks", nanoseconds, so the tick frequency is 10^9)
// together, profiler_stop reads both again, and the two spans give the rate.
// `method` 3 says that the fields mean, on Linux:
//   ticks   = ((cycles * scale) >> shift) + offset     (128-bit product, modulo 2^64)
//   seconds = (ticks - bias) / frequency
// with `shift` 32 (scale is ticks per cycle in 32.32 fixed point), `offset` the
// ticks at the counter's zero as seen from the start of the run (two's complement),
// and `bias` 0. A duration in cycles is ((cycles * scale) >> shift) / frequency
// seconds. `has_time_base` is 0 when the run was too short to measure; then only
// the two spans, if any, give a rate.
#pragma once

#include "base/data.h"
#include "profiler/profiler.h"

constexpr u32 profile_version = 1;
constexpr u64 profile_header_size = 40;
constexpr u8 profile_time_method_measured = 3;
constexpr u8 profile_time_shift = 32;

// The fields of the information block that describe time.
struct profile_time_base_t {
    u64 frequency;    // ticks per second
    u64 cycle_span;   // time-stamp counter from start to stop
    u64 tick_span;    // ticks from start to stop
    u8 has_time_base;
    u8 method;
    u8 shift;
    u64 bias;
    u64 scale;
    u64 offset;
};

// The header and the information block of a file of `thread_count` threads, of
// kinds `kinds`, whose events take `event_sizes` bytes each; the zero padding is
// counted in `used`, and the block has room for the events, which the caller
// appends in thread order. Gives an empty block when the memory can't be had.
data_t profile_file_start(u32 thread_count, const u32* kinds, const u64* event_sizes, const profile_time_base_t* time);

// Measures the time base from the two readings of each clock.
profile_time_base_t profile_time_base_measure(u64 frequency, u64 cycles_start, u64 ticks_start, u64 cycles_stop,
                                              u64 ticks_stop);
// Seconds in `cycles` of the counter: by the time base where there is one, else by
// the spans of the run; 0 when neither says.
f64 profile_seconds(const profile_time_base_t* time, u64 cycles);

struct profile_thread_t {
    u32 kind;
    u64 event_count;
    const profiler_event_t* events;
};

// A profile read from a file: views into the file's bytes and into the memory that
// profile_read was given.
struct profile_t {
    u32 thread_kind_count;
    u32 thread_count;
    u32 zone_count;
    data_t* thread_kind_names;
    data_t* zone_names;
    profile_thread_t* threads;
    profile_time_base_t time;
    u32 reserved[2];
};

// Checks every size and count of `file` (whose bytes must stay) and fills `profile`.
// Gives null, or the text of the first thing found wrong. `memory` holds the arrays;
// file.used * 8 + 4096 bytes are always enough.
const char* profile_read(data_t file, data_t* memory, profile_t* profile);

// The report: for each thread "Timeline[ N ] - KIND", its totals per zone (hits,
// cycles, cycles per hit, seconds, seconds per hit and a bar of its share of the
// timeline) and its tree of calls. The block is allocated here; the caller frees it
// with data_free. Gives an empty block when the memory can't be had.
data_t profile_report(const profile_t* profile);
