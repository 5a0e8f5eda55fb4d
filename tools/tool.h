// Commands of newsloom-tool. Each tool_*.cpp registers its commands with
// TOOL_COMMAND; the dispatcher finds them by name.
#pragma once

#include <cstdio>

typedef int (*tool_function_t)(int argc, char** argv);  // argv[0] is the command name

struct tool_command_t {
    const char* name;
    const char* usage;
    tool_function_t run;
    tool_command_t* next;
};

struct tool_registration_t {
    explicit tool_registration_t(tool_command_t* command);
};

#define TOOL_COMMAND(name, usage, function)                                        \
    static tool_command_t tool_command_##function = {name, usage, function, nullptr}; \
    static tool_registration_t tool_registration_##function(&tool_command_##function)

// Start-up shared by the commands: arguments, page size, empty profiler.
void tool_start(int argc, char** argv);
// Writes log channel 0 to standard output.
void tool_print_log(unsigned long long channel);
// fwrite that takes an empty text with null bytes, as an empty data_t has them:
// the C library's fwrite must not be given a null pointer even for 0 bytes.
void tool_write(FILE* stream, const void* bytes, unsigned long long size);
