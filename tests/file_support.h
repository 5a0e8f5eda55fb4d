// Shared by tests of several layers: real files in fresh temporary folders, the
// documents under tests/data, and programs run through the shell.
#pragma once

#include <gtest/gtest.h>

#include <stdio.h>
#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

// A fresh folder in the system's temporary folder; empty when none could be made.
inline std::string temporary_folder(const char* prefix) {
    std::string pattern = (std::filesystem::temp_directory_path() / (std::string(prefix) + "XXXXXX")).string();
    return mkdtemp(pattern.data()) ? pattern : std::string();
}

inline std::string file_bytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void write_file(const std::string& path, const std::string& bytes) {
    std::ofstream out(path, std::ios::binary);
    out << bytes;
}

inline std::string read_test_file(const char* relative) {
    return file_bytes(std::string(NEWSLOOM_TEST_DATA) + "/" + relative);
}

// The names in a folder, sorted; none when it isn't there.
inline std::vector<std::string> folder_names(const std::string& folder) {
    std::vector<std::string> names;
    std::error_code missing;
    for (const auto& item : std::filesystem::directory_iterator(folder, missing)) {
        names.push_back(item.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

// A fresh folder, removed with what it holds.
struct temp_folder_t {
    std::string path;
    explicit temp_folder_t(const char* prefix = "newsloom_test_") : path(temporary_folder(prefix)) {
        EXPECT_FALSE(path.empty());
    }
    temp_folder_t(const temp_folder_t&) = delete;
    ~temp_folder_t() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    std::string write(const std::string& name, const std::string& bytes) {
        write_file(path + "/" + name, bytes);
        return path + "/" + name;
    }
};

// Runs a shell command line; gives its standard output, and the exit status (or -1
// when it didn't exit) in `status`.
inline std::string run_command(const std::string& command, int* status) {
    std::string output;
    *status = -1;
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return output;
    char buffer[4096];
    size_t count;
    while ((count = fread(buffer, 1, sizeof(buffer), pipe)) > 0) output.append(buffer, count);
    int result = pclose(pipe);
    *status = WIFEXITED(result) ? WEXITSTATUS(result) : -1;
    return output;
}
