// POSIX threads behind platform/thread.h: the semaphore and the events are a mutex
// and a condition variable each, since sem_t knows no maximum and POSIX has no
// auto-reset event.
#include <pthread.h>
#include <stdlib.h>
#include <time.h>

#include "platform/condition_posix.h"
#include "platform/thread.h"

struct thread_semaphore_s {
    pthread_mutex_t mutex;
    pthread_cond_t condition;
    u32 count;
    u32 maximum;
};

struct thread_event_s {
    pthread_mutex_t mutex;
    pthread_cond_t condition;
    bool set;
};

struct thread_start_t {
    thread_function_t function;
    void* argument;
};

static u32 thread_serial;

static void* thread_trampoline(void* start_pointer) {
    thread_start_t start = *(thread_start_t*)start_pointer;
    free(start_pointer);
    start.function(start.argument);
    return nullptr;
}

u32 thread_start(thread_function_t function, void* argument) {
    thread_start_t* start = (thread_start_t*)malloc(sizeof(thread_start_t));
    if (!start) return 0;
    start->function = function;
    start->argument = argument;
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_t thread;
    int result = pthread_create(&thread, &attributes, thread_trampoline, start);
    pthread_attr_destroy(&attributes);
    if (result != 0) {
        free(start);
        return 0;
    }
    return atomic_add_u32(&thread_serial, 1);
}

thread_semaphore_t thread_semaphore_create(u32 initial, u32 maximum) {
    thread_semaphore_t semaphore = (thread_semaphore_t)calloc(1, sizeof(thread_semaphore_s));
    ASSERT(semaphore);
    pthread_mutex_init(&semaphore->mutex, nullptr);
    condition_init_monotonic(&semaphore->condition);
    semaphore->count = initial;
    semaphore->maximum = maximum;
    return semaphore;
}

// The owner closes only once every waiter has left (the queue counts them out).
void thread_semaphore_close(thread_semaphore_t semaphore) {
    pthread_cond_destroy(&semaphore->condition);
    pthread_mutex_destroy(&semaphore->mutex);
    free(semaphore);
}

bool thread_semaphore_release(thread_semaphore_t semaphore, u32 count) {
    pthread_mutex_lock(&semaphore->mutex);
    bool fits = (u64)semaphore->count + count <= semaphore->maximum;
    if (fits) {
        semaphore->count += count;
        if (count == 1) {
            pthread_cond_signal(&semaphore->condition);
        } else {
            pthread_cond_broadcast(&semaphore->condition);
        }
    }
    pthread_mutex_unlock(&semaphore->mutex);
    return fits;
}

void thread_semaphore_wait(thread_semaphore_t semaphore) {
    pthread_mutex_lock(&semaphore->mutex);
    while (semaphore->count == 0) pthread_cond_wait(&semaphore->condition, &semaphore->mutex);
    semaphore->count -= 1;
    pthread_mutex_unlock(&semaphore->mutex);
}

thread_event_t thread_event_create() {
    thread_event_t event = (thread_event_t)calloc(1, sizeof(thread_event_s));
    ASSERT(event);
    pthread_mutex_init(&event->mutex, nullptr);
    condition_init_monotonic(&event->condition);
    return event;
}

void thread_event_close(thread_event_t event) {
    pthread_cond_destroy(&event->condition);
    pthread_mutex_destroy(&event->mutex);
    free(event);
}

void thread_event_set(thread_event_t event) {
    pthread_mutex_lock(&event->mutex);
    event->set = true;
    pthread_cond_signal(&event->condition);
    pthread_mutex_unlock(&event->mutex);
}

void thread_event_wait(thread_event_t event) {
    pthread_mutex_lock(&event->mutex);
    while (!event->set) pthread_cond_wait(&event->condition, &event->mutex);
    event->set = false;
    pthread_mutex_unlock(&event->mutex);
}
