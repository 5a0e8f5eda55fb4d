// The work queue: a lock-free ring of 1024 jobs with one producer (the main thread)
// and up to seven worker threads, a semaphore for sleeping workers and an event
// for termination. Also the one global scratch block, temp_memory.
#pragma once

#include "base/data.h"
#include "platform/thread.h"

constexpr u32 thread_queue_capacity = 1024;  // holds at most 1023 jobs
constexpr u32 thread_max_count = 7;

typedef void (*thread_job_function_t)(void* argument);

struct thread_job_t {
    thread_job_function_t function;
    void* argument;
};

struct thread_queue_t;

struct thread_context_t {
    thread_queue_t* queue;
    u32 index;
    u32 thread_id;
    volatile u32 waiting;  // 1 while the worker sleeps on the semaphore
};

struct thread_queue_t {
    thread_semaphore_t semaphore;
    thread_event_t terminated_event;
    thread_job_t jobs[thread_queue_capacity];
    thread_context_t contexts[thread_max_count];
    volatile u32 read_index;        // changed by compare-exchange
    volatile u32 write_index;       // written by the producer only
    volatile u32 completed_count;   // added to atomically
    volatile u32 terminate;
    volatile u32 terminated_count;  // added to atomically
    u32 thread_count;
};

extern thread_queue_t thread_queue;

// Counts above 7 become 7.
void thread_queue_create(thread_queue_t* queue, u32 thread_count);
// False when the ring is full. Called from one thread only.
bool thread_queue_work(thread_queue_t* queue, thread_job_function_t function, void* argument);
// True when there was a job in the ring when it looked (run here or taken by another).
bool thread_do_work(thread_queue_t* queue);
// Stops the workers and blocks until all have gone. Jobs still in the ring stay unrun.
void thread_terminate(thread_queue_t* queue);

constexpr u64 temp_memory_size = 0x500000;
extern data_t temp_memory;

// Only the main thread uses temp_memory.
void temp_memory_create(u64 size);
