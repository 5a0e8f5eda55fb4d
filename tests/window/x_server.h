// A real X server for the window tests: Xvfb on a display it picks itself, with
// Mesa's software GL, and the helpers that run the program and talk to its window.
#pragma once

// Before Xlib, whose macros (Bool, Status) no other header expects.
#include "file_support.h"

#include <X11/Xlib.h>
#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

struct x_server_t {
    pid_t pid = -1;
    std::string display;
};

// True when the display takes a client and offers GLX, as the program will ask.
inline bool x_server_answers(const std::string& display_name) {
    Display* display = XOpenDisplay(display_name.c_str());
    if (!display) return false;
    int opcode = 0, event = 0, error = 0;
    bool glx = XQueryExtension(display, "GLX", &opcode, &event, &error);
    XCloseDisplay(display);
    return glx;
}

// One Xvfb, with the display number it reports once it listens, or none.
inline bool x_server_try(x_server_t* server) {
    int fds[2];
    if (pipe(fds) != 0) return false;
    pid_t pid = fork();
    if (pid == 0) {
        // The server leaves with the test, even one that stops on an assertion.
        prctl(PR_SET_PDEATHSIG, SIGTERM);
        close(fds[0]);
        int null = open("/dev/null", O_WRONLY);
        dup2(null, 1);
        dup2(null, 2);
        std::string fd = std::to_string(fds[1]);
        // Without -noreset the server starts over each time its last client
        // leaves, and a client that connects meanwhile (the program, while the
        // test's own probes come and go) loses its display or its GL context.
        execlp("Xvfb", "Xvfb", "-displayfd", fd.c_str(), "-noreset", "-screen", "0", "1920x1080x24", "-nolisten",
               "tcp", (char*)nullptr);
        _exit(127);
    }
    close(fds[1]);
    std::string number;
    char c;
    while (read(fds[0], &c, 1) == 1 && c != '\n') number += c;
    close(fds[0]);
    server->pid = pid;
    server->display = ":" + number;
    return !number.empty() && x_server_answers(server->display);
}

inline void x_server_stop(x_server_t* server);

// Starts Xvfb and waits until it accepts clients; DISPLAY is set for this process
// and everything it starts. A server that reports a display but doesn't answer
// on it (another machine-wide server took the number meanwhile) is stopped and
// another started.
inline bool x_server_start(x_server_t* server) {
    for (int attempt = 0; attempt < 3; attempt++) {
        if (x_server_try(server)) {
            setenv("DISPLAY", server->display.c_str(), 1);
            setenv("LIBGL_ALWAYS_SOFTWARE", "1", 1);
            return true;
        }
        x_server_stop(server);
    }
    return false;
}

inline void x_server_stop(x_server_t* server) {
    if (server->pid > 0) {
        kill(server->pid, SIGTERM);
        waitpid(server->pid, nullptr, 0);
    }
    server->pid = -1;
}

struct program_t {
    pid_t pid = -1;
    int status = -1;
};

// Starts newsloom in `folder` with the given environment additions.
inline program_t program_start(const std::string& folder, const std::vector<std::string>& arguments,
                               const std::vector<std::string>& environment = {}) {
    program_t program;
    program.pid = fork();
    if (program.pid == 0) {
        if (chdir(folder.c_str()) != 0) _exit(126);
        // Its kept shader programs go with its store, not into the user's cache.
        setenv("XDG_CACHE_HOME", (folder + "/cache").c_str(), 1);
        for (const std::string& pair : environment) putenv(strdup(pair.c_str()));
        std::vector<char*> argv;
        static std::string binary = NEWSLOOM_BINARY_DIR "/newsloom";
        argv.push_back((char*)binary.c_str());
        for (const std::string& a : arguments) argv.push_back((char*)a.c_str());
        argv.push_back(nullptr);
        std::string err = folder + "/stderr.txt";
        int fd = open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        dup2(fd, 2);
        execv(binary.c_str(), argv.data());
        _exit(127);
    }
    return program;
}

// True when the program ended within the time; its status is kept.
inline bool program_wait(program_t* program, double seconds) {
    auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    while (std::chrono::steady_clock::now() < end) {
        int status = 0;
        if (waitpid(program->pid, &status, WNOHANG) == program->pid) {
            program->status = status;
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return false;
}

inline void program_kill(program_t* program) {
    if (program->pid > 0 && program->status == -1) {
        kill(program->pid, SIGKILL);
        waitpid(program->pid, nullptr, 0);
    }
}

inline bool file_wait(const std::string& path, double seconds) {
    auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    while (std::chrono::steady_clock::now() < end) {
        if (access(path.c_str(), F_OK) == 0) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return false;
}

inline std::string command_output(const std::string& command) {
    int status = 0;
    return run_command(command, &status);
}

inline Window window_find(const std::string& title) {
    std::string output = command_output("xdotool search --onlyvisible --name '" + title + "' 2>/dev/null");
    return output.empty() ? 0 : (Window)strtoul(output.c_str(), nullptr, 10);
}

// What the window manager sends when the close button is pressed.
inline bool window_send_close(Window window) {
    Display* display = XOpenDisplay(nullptr);
    if (!display) return false;
    XEvent event = {};
    event.xclient.type = ClientMessage;
    event.xclient.window = window;
    event.xclient.message_type = XInternAtom(display, "WM_PROTOCOLS", False);
    event.xclient.format = 32;
    event.xclient.data.l[0] = (long)XInternAtom(display, "WM_DELETE_WINDOW", False);
    event.xclient.data.l[1] = CurrentTime;
    Status sent = XSendEvent(display, window, False, NoEventMask, &event);
    XFlush(display);
    XCloseDisplay(display);
    return sent != 0;
}

// A file's text, or nothing when it isn't there.
inline std::string file_text(const std::string& path) { return file_bytes(path); }

// True while the program's main thread waits for input in the window's own wait:
// a poll without a time-out on the X connection and its wake-up pipe. Its other
// waits (a reply of the X server, a worker) poll one descriptor or none. Seen
// after an input was sent, it tells that the program has taken the input and
// drawn the frame that it caused.
inline bool program_waits_for_input(const program_t& program) {
    std::string folder = "/proc/" + std::to_string(program.pid);
    std::string stat = file_text(folder + "/stat");
    size_t name_end = stat.rfind(") ");
    if (stat.empty() || (name_end != std::string::npos && stat[name_end + 2] == 'Z')) return true;  // gone
    long number = -1;
    unsigned long descriptors = 0, count = 0, timeout = 0;
    std::string call = file_text(folder + "/syscall");
    if (sscanf(call.c_str(), "%ld %lx %lx %lx", &number, &descriptors, &count, &timeout) != 4 || count < 2) {
        return false;
    }
#ifdef SYS_poll
    if (number == SYS_poll) return (int)timeout == -1;
#endif
    return number == SYS_ppoll && timeout == 0;
}

// Waits until the program waits for input again, however long a loaded machine
// makes its frame; false when it still runs frames at the end of the time (a view
// that asks for frame after frame).
inline bool program_settle(const program_t& program, double seconds = 20) {
    // The X server passes an input on a moment after its sender has gone.
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    while (!program_waits_for_input(program)) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

// Input through xdotool, with WINDOW standing for the program's window; then a
// wait until the program has taken it and drawn the frame that it caused.
inline bool program_input(const program_t& program, Window window, const std::string& arguments) {
    std::string command = "xdotool " + arguments;
    size_t at;
    while ((at = command.find("WINDOW")) != std::string::npos) command.replace(at, 6, std::to_string(window));
    bool sent = system(command.c_str()) == 0;
    // Carrying on is all there is to do, but a test that fails next should say why.
    if (!program_settle(program)) fprintf(stderr, "The program still ran frames after: %s\n", command.c_str());
    return sent;
}

// Keys one after the other, each press and each release in a frame of its own: a
// press released within the frame that sees it reads as a release alone, and
// several presses in one frame as one.
inline bool program_keys(const program_t& program, Window window, const std::string& keys) {
    bool sent = true;
    for (size_t at = 0, end; at < keys.size(); at = end + 1) {
        end = std::min(keys.find(' ', at), keys.size());
        if (end == at) continue;
        std::string one = keys.substr(at, end - at);
        sent = program_input(program, window, "keydown " + one) && program_input(program, window, "keyup " + one) && sent;
    }
    return sent;
}

// A press held over a frame, as a person's click is.
inline bool program_click(const program_t& program, Window window, int x, int y) {
    return program_input(program, window,
                         "mousemove --window WINDOW " + std::to_string(x) + " " + std::to_string(y)) &&
           program_input(program, window, "mousedown 1") && program_input(program, window, "mouseup 1");
}

// Typed text reaches a frame as a list of at most 32 characters; a few at a time
// keep a slow frame from dropping any. No single quotes.
inline bool program_type(const program_t& program, Window window, const std::string& text) {
    bool sent = true;
    for (size_t at = 0; at < text.size(); at += 12) {
        sent = program_input(program, window, "type --delay 20 '" + text.substr(at, 12) + "'") && sent;
    }
    return sent;
}
