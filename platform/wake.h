// The wake-up: the one door by which a worker ends the main thread's wait. Without a
// window (the tool, the tests) the main thread waits here; the window backend
// installs its own post function, which ends its wait for input instead.
#pragma once

#include "base/types.h"

typedef void (*wake_post_function_t)();

// Called on the main thread before any worker starts; null goes back to the
// headless wait alone.
void wake_install(wake_post_function_t post);
// From any thread. Posts are not counted: several before a wait end one wait.
void wake_post();
// Headless wait: true when a post arrived since the last wait (it is consumed),
// false when `milliseconds` passed first.
bool wake_wait(u64 milliseconds);
