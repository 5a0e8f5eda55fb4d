// What the POSIX thread events and the headless wake-up share: condition variables
// on the monotonic clock, so that a change of the wall clock can't stretch a wait,
// and the deadline of a wait on them.
#pragma once

#include <pthread.h>
#include <time.h>

#include "base/types.h"

inline void condition_init_monotonic(pthread_cond_t* condition) {
    pthread_condattr_t attributes;
    pthread_condattr_init(&attributes);
    pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
    pthread_cond_init(condition, &attributes);
    pthread_condattr_destroy(&attributes);
}

inline timespec condition_deadline(u64 milliseconds) {
    timespec deadline;
    clock_gettime(CLOCK_MONOTONIC, &deadline);
    deadline.tv_sec += (time_t)(milliseconds / 1000);
    deadline.tv_nsec += (long)(milliseconds % 1000) * 1000000;
    if (deadline.tv_nsec >= 1000000000) {
        deadline.tv_sec += 1;
        deadline.tv_nsec -= 1000000000;
    }
    return deadline;
}
