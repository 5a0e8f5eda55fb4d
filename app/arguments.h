// The command line: the argument table, lookups of switches and their values, and
// the folders the program keeps its files in.
#pragma once

#include "base/data.h"

constexpr u32 arguments_capacity = 128;

struct arguments_t {
    i32 argument_count;
    char** argument_vector;
    data_t arguments[arguments_capacity];
};

extern arguments_t arguments_table;
extern data_t executable_folder;  // up to and including the last '/'
extern data_t executable_name;    // both empty when the path can't be had

// On this system the arguments arrive split; past 128 the rest is ignored, with a
// line on the user log.
void arguments_store(i32 count, char** vector);
// The index of the first argument at or after `start` equal to the text, 0 if none.
u32 argument_find(const void* text, u64 size, u32 start);
u32 argument_find_text(const char* text, u32 start);
// The argument after the switch; empty when the switch is absent or last. With
// `position`, the search starts at *position and *position receives the value's index.
data_t argument_value(const void* text, u64 size, u32* position);
data_t argument_value_text(const char* text, u32* position);
