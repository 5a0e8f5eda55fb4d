// The work queue's ring, its workers and temp_memory.
#include "net/work_queue.h"

#include "profiler/profiler.h"

thread_queue_t thread_queue;
data_t temp_memory;

static u32 thread_loop(void* context_pointer);

void thread_queue_create(thread_queue_t* queue, u32 thread_count) {
    thread_count = min_of(thread_count, thread_max_count);
    queue->read_index = 0;
    queue->write_index = 0;
    queue->completed_count = 0;
    queue->terminate = 0;
    queue->terminated_count = 0;
    queue->thread_count = thread_count;
    queue->semaphore = thread_semaphore_create(0, thread_count);
    // The event outlives termination (the last worker may still be inside its
    // set), so a queue record made again keeps the one it has.
    if (!queue->terminated_event) queue->terminated_event = thread_event_create();
    for (u32 i = 0; i < thread_count; i++) {
        thread_context_t* context = &queue->contexts[i];
        context->queue = queue;
        context->index = i;
        context->waiting = 0;
        context->thread_id = thread_start(thread_loop, context);
        ASSERT(context->thread_id != 0);
    }
}

bool thread_queue_work(thread_queue_t* queue, thread_job_function_t function, void* argument) {
    PROFILE_ZONE(thread_queue_work);
    u32 write_index = queue->write_index;
    u32 next = (write_index + 1) % thread_queue_capacity;
    if (next == atomic_load_acquire_u32(&queue->read_index)) return false;
    queue->jobs[write_index].function = function;
    queue->jobs[write_index].argument = argument;
    // Release order: a worker that sees the new write_index sees the whole job.
    atomic_store_release_u32(&queue->write_index, next);
    {
        PROFILE_ZONE(thread_queue_signal);
        // Fails when every worker already has a wake-up pending; awake workers take
        // jobs without the semaphore.
        thread_semaphore_release(queue->semaphore, 1);
    }
    return true;
}

bool thread_do_work(thread_queue_t* queue) {
    PROFILE_ZONE(thread_do_work);
    u32 read_index = atomic_load_acquire_u32(&queue->read_index);
    if (read_index == atomic_load_acquire_u32(&queue->write_index)) return false;
    thread_job_t job = queue->jobs[read_index];
    u32 next = (read_index + 1) % thread_queue_capacity;
    // Another worker took this job first: the ring still had work, so the caller
    // looks again.
    if (atomic_compare_exchange_u32(&queue->read_index, read_index, next) != read_index) return true;
    {
        PROFILE_ZONE(thread_user_function);
        job.function(job.argument);
    }
    atomic_add_u32(&queue->completed_count, 1);
    return true;
}

static u32 thread_loop(void* context_pointer) {
    thread_context_t* context = (thread_context_t*)context_pointer;
    thread_queue_t* queue = context->queue;
    u32 error = 0;
    profiler_thread_register(profiler_thread_worker, 1000, &error);
    // terminate is looked at before each job, so that jobs left in the ring at the
    // end are dropped unrun.
    while (atomic_load_acquire_u32(&queue->terminate) == 0) {
        profiler_thread_calls()->frame_start(zone_thread_loop, profiler_event_frame_begin);
        if (!thread_do_work(queue)) {
            context->waiting = 1;
            {
                PROFILE_ZONE(thread_wait_for_work);
                thread_semaphore_wait(queue->semaphore);
            }
            context->waiting = 0;
        }
        profiler_thread_calls()->frame_stop(zone_thread_loop, profiler_event_frame_end);
    }
    u32 terminated = atomic_add_u32(&queue->terminated_count, 1);
    if (terminated == queue->thread_count) {
        PROFILE_ZONE(thread_queue_terminated_signal);
        thread_event_set(queue->terminated_event);
    }
    return 0;
}

void thread_terminate(thread_queue_t* queue) {
    PROFILE_ZONE(thread_terminate);
    queue->terminated_count = 0;
    {
        PROFILE_ZONE(thread_terminate_signal);
        atomic_add_u32(&queue->terminate, 1);
        // One by one: a release of all at once fails whole when a wake-up is still
        // pending, and a worker that went to sleep just before terminate was set
        // would then sleep for ever. Singly, the count ends at its maximum, which is
        // enough for every worker.
        for (u32 i = 0; i < queue->thread_count; i++) thread_semaphore_release(queue->semaphore, 1);
    }
    while (atomic_load_acquire_u32(&queue->terminated_count) != queue->thread_count) {
        PROFILE_ZONE(thread_wait_for_termination);
        thread_event_wait(queue->terminated_event);
    }
    thread_semaphore_close(queue->semaphore);
    queue->semaphore = nullptr;
}

void temp_memory_create(u64 size) {
    ASSERT(temp_memory.bytes == nullptr);
    temp_memory = data_allocate(size);
}
