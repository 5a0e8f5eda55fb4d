// Starts tests/net/feed_server.py on 127.0.0.1 for the length of a test program and
// gives its addresses.
#pragma once

#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <netinet/in.h>
#include <unistd.h>

#include <string>

#include "net/block_storage.h"
#include "net/http_file.h"
#include "tests/file_support.h"

// What start-up makes for downloads, once per test program: the page size, block
// storage for the addresses, and the session. Gives the session's error.
inline http_error_t downloads_prepare() {
    memory_query_system(nullptr, nullptr, nullptr, nullptr);
    if (!block_storage.memory.bytes) {
        block_storage_create(&block_storage, block_storage_region_size, block_storage_commit_size,
                             block_storage_block_size);
    }
    http_error_t error = 0;
    http_session_open(data_literal("newsloom"), &error);
    return error;
}

struct feed_server_t {
    pid_t pid = 0;
    int port = 0;
    int tls_port = 0;

    // Gives false when python3 or the script can't be started.
    bool start(const char* feed_folder, bool with_tls) {
        int pipe_ends[2];
        if (pipe(pipe_ends) != 0) return false;
        std::string script = std::string(NEWSLOOM_SOURCE_DIR) + "/tests/net/feed_server.py";
        std::string certificate = std::string(NEWSLOOM_TEST_DATA) + "/tls/self_signed.pem";
        std::string key = std::string(NEWSLOOM_TEST_DATA) + "/tls/self_signed.key";
        pid = fork();
        if (pid == 0) {
            dup2(pipe_ends[1], 1);
            close(pipe_ends[0]);
            close(pipe_ends[1]);
            if (with_tls) {
                execlp("python3", "python3", script.c_str(), feed_folder, certificate.c_str(), key.c_str(), (char*)nullptr);
            } else {
                execlp("python3", "python3", script.c_str(), feed_folder, (char*)nullptr);
            }
            _exit(127);
        }
        close(pipe_ends[1]);
        FILE* output = fdopen(pipe_ends[0], "r");
        char line[64] = {};
        bool started = fgets(line, sizeof(line), output) != nullptr;
        fclose(output);
        if (!started) return false;
        sscanf(line, "%d %d", &port, &tls_port);
        return port != 0;
    }

    void stop() {
        if (pid > 0) {
            kill(pid, SIGKILL);
            waitpid(pid, nullptr, 0);
        }
        pid = 0;
    }

    std::string address(const char* path) const {
        return "http://127.0.0.1:" + std::to_string(port) + path;
    }
    std::string tls_address(const char* path) const {
        return "https://127.0.0.1:" + std::to_string(tls_port) + path;
    }
};

// A port on 127.0.0.1 that nothing listens on: bound, then let go.
inline int closed_port() {
    int s = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    bind(s, (sockaddr*)&address, sizeof(address));
    socklen_t size = sizeof(address);
    getsockname(s, (sockaddr*)&address, &size);
    close(s);
    return ntohs(address.sin_port);
}
