// newsloom-tool: command-line companion of the program, on the core library alone.
#include <cstdio>
#include <cstring>

#include "app/arguments.h"
#include "base/data.h"
#include "base/log.h"
#include "profiler/profiler.h"
#include "tools/tool.h"

static tool_command_t* tool_commands = nullptr;

tool_registration_t::tool_registration_t(tool_command_t* command) {
    // Keep the list sorted by name so that the usage text is stable.
    tool_command_t** place = &tool_commands;
    while (*place && strcmp((*place)->name, command->name) < 0) place = &(*place)->next;
    command->next = *place;
    *place = command;
}

void tool_start(int argc, char** argv) {
    arguments_store(argc, argv);
    memory_query_system(nullptr, nullptr, nullptr, nullptr);
    u32 error = 0;
    profiler_start(profiler_thread_main, 1, &error);
    profiler_install_empty(0);
}

void tool_write(FILE* stream, const void* bytes, unsigned long long size) {
    if (size) fwrite(bytes, 1, size, stream);
}

void tool_print_log(unsigned long long channel) {
    log_channel_t* log = log_channel(channel);
    if (log->overflowed) {
        // Oldest text first: from the write position to where the old text ended.
        u8* newest_end = log->text.bytes + log->text.used;
        tool_write(stdout, newest_end, log->overflow_end - log->text.used);
    }
    tool_write(stdout, log->text.bytes, log->text.used);
}

static void tool_usage() {
    fprintf(stderr, "usage: newsloom-tool COMMAND [ARGUMENTS]\n\ncommands:\n");
    for (tool_command_t* command = tool_commands; command; command = command->next) {
        fprintf(stderr, "  %s %s\n", command->name, command->usage);
    }
}

int main(int argc, char** argv) {
    if (argc < 2) {
        tool_usage();
        return 2;
    }
    for (tool_command_t* command = tool_commands; command; command = command->next) {
        if (strcmp(command->name, argv[1]) == 0) {
            tool_start(argc, argv);
            return command->run(argc - 1, argv + 1);
        }
    }
    fprintf(stderr, "newsloom-tool: unknown command '%s'\n", argv[1]);
    tool_usage();
    return 2;
}
