// The argument table, lookups of switches and their values, and the running
// program's own path.
#include "app/arguments.h"

#include "base/log.h"
#include "base/text.h"
#include "platform/os.h"

arguments_t arguments_table;
data_t executable_folder;
data_t executable_name;

static constexpr u64 executable_path_capacity = 2048;
static char executable_path[executable_path_capacity];

void arguments_store(i32 count, char** vector) {
    ASSERT(count >= 0);
    if ((u32)count > arguments_capacity) {
        // A long command line is the user's doing: keep what the table holds.
        log_write_c_string(log_user, "Too many command-line arguments: only the first 128 are read.\n");
        count = (i32)arguments_capacity;
    }
    arguments_table.argument_count = count;
    arguments_table.argument_vector = vector;
    for (i32 i = 0; i < count; i++) {
        u32 length = text_length(vector[i]);
        arguments_table.arguments[i] = data_make((u64)length + 1, length, vector[i]);
    }

    // Nothing needs the program's own path to run: one that doesn't fit the buffer
    // (or can't be had) leaves both views empty.
    if (!os_executable_path(executable_path, executable_path_capacity)) executable_path[0] = 0;
    u32 length = text_length(executable_path);
    u32 name_start = 0;
    for (u32 i = 0; i < length; i++) {
        if (executable_path[i] == '/' || executable_path[i] == '\\') name_start = i + 1;
    }
    executable_folder = data_make(name_start, name_start, executable_path);
    executable_name = data_make(length - name_start, length - name_start, executable_path + name_start);
}

u32 argument_find(const void* text, u64 size, u32 start) {
    for (i64 i = start; i < arguments_table.argument_count; i++) {
        data_t argument = arguments_table.arguments[i];
        if (bytes_equal(argument.bytes, argument.used, text, size)) return (u32)i;
    }
    return 0;
}

u32 argument_find_text(const char* text, u32 start) { return argument_find(text, text_length(text), start); }

data_t argument_value(const void* text, u64 size, u32* position) {
    u32 index = argument_find(text, size, position ? *position : 0);
    if (index == 0 || (i64)index + 1 >= arguments_table.argument_count) return data_t{};
    if (position) *position = index + 1;
    return arguments_table.arguments[index + 1];
}

data_t argument_value_text(const char* text, u32* position) {
    return argument_value(text, text_length(text), position);
}
