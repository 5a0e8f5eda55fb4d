// The termination signals: SIGTERM and SIGINT end the program the way its window's
// close button does, so that the last frame runs and the store is saved.
#pragma once

typedef void (*signal_close_function_t)();

// From now on SIGTERM and SIGINT call `on_close` on a thread of their own (not in
// the signal handler), once for the first of them; a second signal ends the program
// at once, as if nothing were installed. Calling again arms both signals anew with
// the new function.
void signal_close_install(signal_close_function_t on_close);
