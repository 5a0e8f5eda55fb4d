// A link target's stand-in for the tests: a script that writes its arguments, one
// a line, to a file, which the test reads once the script has ended (the opening
// code doesn't wait for it). And the desktop's programs, present or missing, as a
// PATH of the test's own.
#pragma once

#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>

struct link_recorder_t {
    std::string script, record;

    void create(const std::string& folder) {
        script = folder + "/record.sh";
        record = folder + "/arguments";
        std::ofstream(script) << "#!/bin/sh\nfor a in \"$@\"; do echo \"$a\" >> " << record << ".tmp; done\nmv "
                              << record << ".tmp " << record << "\n";
        chmod(script.c_str(), 0755);
    }
    // The arguments of the last run, which is then forgotten; "(nothing)" after 5 s.
    std::string recorded() {
        for (int i = 0; i < 500; i++) {
            std::ifstream in(record);
            if (in) {
                std::stringstream all;
                all << in.rdbuf();
                unlink(record.c_str());
                return all.str();
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return "(nothing)";
    }
    bool ran() const { return access(record.c_str(), F_OK) == 0; }
};

// An environment variable set for the time of a test, then put back.
struct environment_swap_t {
    std::string name, saved;
    bool had;
    environment_swap_t(const char* variable, const std::string& value) : name(variable) {
        const char* old = getenv(variable);
        had = old != nullptr;
        if (had) saved = old;
        setenv(variable, value.c_str(), 1);
    }
    ~environment_swap_t() {
        if (had) {
            setenv(name.c_str(), saved.c_str(), 1);
        } else {
            unsetenv(name.c_str());
        }
    }
};

// A program in `folder` made of a shell script's body.
inline void program_write(const std::string& folder, const std::string& name, const std::string& body) {
    std::string path = folder + "/" + name;
    std::ofstream(path) << "#!/bin/sh\n" << body << "\n";
    chmod(path.c_str(), 0755);
}

// What a log channel received is one line and nothing more (a paragraph's blank
// lines before it aside).
inline bool one_line(const std::string& log) {
    size_t start = log.find_first_not_of('\n');
    return start != std::string::npos && log.find('\n', start) == log.size() - 1;
}
