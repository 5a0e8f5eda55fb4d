// The headless wake-up on a condition variable, and the hook for the window's.
#include <pthread.h>

#include "platform/condition_posix.h"
#include "platform/wake.h"

static pthread_mutex_t wake_mutex = PTHREAD_MUTEX_INITIALIZER;
static pthread_cond_t wake_condition;
static pthread_once_t wake_once = PTHREAD_ONCE_INIT;
static bool wake_pending;
static wake_post_function_t wake_installed;

static void wake_init() { condition_init_monotonic(&wake_condition); }

void wake_install(wake_post_function_t post) { __atomic_store_n(&wake_installed, post, __ATOMIC_RELEASE); }

void wake_post() {
    wake_post_function_t post = __atomic_load_n(&wake_installed, __ATOMIC_ACQUIRE);
    if (post) post();
    pthread_once(&wake_once, wake_init);
    pthread_mutex_lock(&wake_mutex);
    wake_pending = true;
    pthread_cond_signal(&wake_condition);
    pthread_mutex_unlock(&wake_mutex);
}

bool wake_wait(u64 milliseconds) {
    pthread_once(&wake_once, wake_init);
    timespec deadline = condition_deadline(milliseconds);
    pthread_mutex_lock(&wake_mutex);
    int result = 0;
    while (!wake_pending && result == 0) {
        result = pthread_cond_timedwait(&wake_condition, &wake_mutex, &deadline);
    }
    bool woken = wake_pending;
    wake_pending = false;
    pthread_mutex_unlock(&wake_mutex);
    return woken;
}
