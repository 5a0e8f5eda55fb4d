// Fixed-width names used everywhere, the one assertion of the program, and a few
// small helpers that every layer needs.
#pragma once

#include <cstddef>
#include <cstdint>

typedef uint8_t u8;
typedef uint16_t u16;
typedef uint32_t u32;
typedef uint64_t u64;
typedef int8_t i8;
typedef int16_t i16;
typedef int32_t i32;
typedef int64_t i64;
typedef float f32;
typedef double f64;
typedef u32 b32;

// A broken invariant stops the program on the spot, in every build, like a
// breakpoint instruction. Never use it for what the network, a file or the user
// can cause.
#define ASSERT(condition)           \
    do {                            \
        if (!(condition)) {         \
            __builtin_trap();       \
        }                           \
    } while (0)

#define ARRAY_COUNT(array) (sizeof(array) / sizeof((array)[0]))

#define KIB(n) ((u64)(n) << 10)
#define MIB(n) ((u64)(n) << 20)
#define GIB(n) ((u64)(n) << 30)

template <typename T> inline T min_of(T a, T b) { return a < b ? a : b; }
template <typename T> inline T max_of(T a, T b) { return a > b ? a : b; }
