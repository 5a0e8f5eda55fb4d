// Entry point of the desktop program: start-up, the frame loop, shutdown.
#include "app/startup.h"

// Too large for the entry function's stack; nothing but main touches it by name.
static program_t program;

int main(int argc, char** argv) {
    if (!program_start(&program, argc, argv, nullptr)) return 1;
    frame_loop_run(&program.loop);
    program_shutdown(&program);
    return 0;
}
