// Shared by the tests that run newsloom-tool as a program.
#pragma once

#include <string>

#include "file_support.h"

inline std::string tool_binary() { return std::string(NEWSLOOM_BINARY_DIR) + "/newsloom-tool"; }

// The tool's standard output; its exit status in `status`.
inline std::string tool_run(const std::string& arguments, int* status) {
    return run_command(tool_binary() + " " + arguments, status);
}
