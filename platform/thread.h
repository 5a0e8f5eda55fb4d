// Threads and the synchronisation that the work queue is built from: detached
// threads, a counting semaphore with a maximum, auto-reset events, and the few
// atomics that the queue and the query hand-over use.
#pragma once

#include "base/types.h"

// Opaque handles; null is never a valid one.
typedef struct thread_semaphore_s* thread_semaphore_t;
typedef struct thread_event_s* thread_event_t;

typedef u32 (*thread_function_t)(void* argument);

// Starts a detached thread: nobody joins it, it ends when `function` returns.
// Gives a small non-zero number naming the thread, or 0 when it couldn't start.
u32 thread_start(thread_function_t function, void* argument);

// Count starts at `initial`; a release that would pass `maximum` fails whole and
// changes nothing, which the queue relies on.
thread_semaphore_t thread_semaphore_create(u32 initial, u32 maximum);
void thread_semaphore_close(thread_semaphore_t semaphore);
bool thread_semaphore_release(thread_semaphore_t semaphore, u32 count);
void thread_semaphore_wait(thread_semaphore_t semaphore);

// Auto-reset, created unset: a wait that returns has consumed the signal.
thread_event_t thread_event_create();
void thread_event_close(thread_event_t event);
void thread_event_set(thread_event_t event);
void thread_event_wait(thread_event_t event);

// Compiler intrinsics rather than system calls, so they live here inline. All are
// sequentially consistent except where the name says otherwise.
inline u32 atomic_add_u32(volatile u32* target, u32 value) { return __atomic_add_fetch(target, value, __ATOMIC_SEQ_CST); }
// Gives the value that was there before; the exchange happened if it equals `expected`.
inline u32 atomic_compare_exchange_u32(volatile u32* target, u32 expected, u32 desired) {
    __atomic_compare_exchange_n(target, &expected, desired, false, __ATOMIC_SEQ_CST, __ATOMIC_SEQ_CST);
    return expected;
}
inline u32 atomic_load_acquire_u32(const volatile u32* source) { return __atomic_load_n(source, __ATOMIC_ACQUIRE); }
inline void atomic_store_release_u32(volatile u32* target, u32 value) { __atomic_store_n(target, value, __ATOMIC_RELEASE); }
inline void compiler_barrier() { __atomic_signal_fence(__ATOMIC_SEQ_CST); }
