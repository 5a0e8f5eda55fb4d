// A link target's stand-in for the tests: a script that writes its arguments, one
// a line, to a file, which the test reads once the script has ended (the opening
// code doesn't wait for it).
#pragma once

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
