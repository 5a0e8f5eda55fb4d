// SIGTERM and SIGINT through a pipe: the handler only writes a byte, which is all a
// handler may safely do, and a thread that waits on the pipe calls the program's
// close function from ordinary code.
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include "platform/signals.h"
#include "platform/thread.h"

static int signal_pipe[2] = {-1, -1};
static signal_close_function_t signal_on_close;

static void signal_handler(int number) {
    int saved = errno;
    u8 byte = (u8)number;
    ssize_t written = write(signal_pipe[1], &byte, 1);
    (void)written;
    errno = saved;
}

static u32 signal_watch(void*) {
    for (;;) {
        u8 byte = 0;
        ssize_t result = read(signal_pipe[0], &byte, 1);
        if (result < 0 && errno == EINTR) continue;
        if (result <= 0) return 0;
        signal_close_function_t on_close = __atomic_load_n(&signal_on_close, __ATOMIC_ACQUIRE);
        if (on_close) on_close();
    }
}

void signal_close_install(signal_close_function_t on_close) {
    __atomic_store_n(&signal_on_close, on_close, __ATOMIC_RELEASE);
    if (signal_pipe[0] < 0) {
        if (pipe2(signal_pipe, O_CLOEXEC) != 0) return;
        if (!thread_start(signal_watch, nullptr)) return;
    }
    struct sigaction action = {};
    action.sa_handler = signal_handler;
    sigemptyset(&action.sa_mask);
    // The first signal asks; the default comes back for the next one, so that a
    // program that doesn't end can still be stopped.
    action.sa_flags = SA_RESTART | SA_RESETHAND;
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);
}
