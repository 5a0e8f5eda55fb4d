// Shared by the tests that run newsloom-tool as a program: the run with its
// standard output and exit status, and a temporary folder for its files.
#pragma once

#include <gtest/gtest.h>

#include <stdlib.h>

#include <cstdio>
#include <filesystem>
#include <string>

inline std::string tool_binary() { return std::string(NEWSLOOM_BINARY_DIR) + "/newsloom-tool"; }

// Runs a shell command line; gives its standard output and the status of pclose.
inline std::string tool_run_command(const std::string& command, int* status) {
    std::string output;
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return output;
    char buffer[4096];
    size_t count;
    while ((count = fread(buffer, 1, sizeof(buffer), pipe)) > 0) output.append(buffer, count);
    *status = pclose(pipe);
    return output;
}

inline std::string tool_run(const std::string& arguments, int* status) {
    return tool_run_command(tool_binary() + " " + arguments, status);
}

// A new empty folder in the system's temporary folder, removed with what it holds.
struct tool_folder_t {
    std::string path;
    tool_folder_t() {
        std::string pattern = (std::filesystem::temp_directory_path() / "newsloom_tool_XXXXXX").string();
        EXPECT_NE(mkdtemp(pattern.data()), nullptr);
        path = pattern;
    }
    std::string write(const std::string& name, const std::string& bytes) {
        std::string file = path + "/" + name;
        FILE* f = fopen(file.c_str(), "wb");
        EXPECT_NE(f, nullptr) << file;
        if (!f) return file;
        fwrite(bytes.data(), 1, bytes.size(), f);
        fclose(f);
        return file;
    }
    ~tool_folder_t() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
};
