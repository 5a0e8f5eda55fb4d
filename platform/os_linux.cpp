// Linux behind platform/os.h: mmap address space, POSIX files and directories,
// posix_spawn, clocks, the user's locale for date text and the XDG folders.
#include "platform/os.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <langinfo.h>
#include <locale.h>
#include <malloc.h>
#include <poll.h>
#include <pwd.h>
#include <signal.h>
#include <spawn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>
#if defined(__x86_64__) || defined(__i386__)
#include <x86intrin.h>
#endif

extern char** environ;

// Address space --------------------------------------------------------------

void* os_reserve(u64 size, void* address) {
    void* bytes = mmap(address, size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    return bytes == MAP_FAILED ? nullptr : bytes;
}

void* os_reserve_and_commit(u64 size, void* address) {
    void* bytes = mmap(address, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return bytes == MAP_FAILED ? nullptr : bytes;
}

bool os_commit(void* address, u64 size) { return mprotect(address, size, PROT_READ | PROT_WRITE) == 0; }

bool os_decommit(void* address, u64 size) {
    // MADV_DONTNEED gives the pages back; PROT_NONE makes a stray touch fault as it
    // would on an uncommitted page.
    if (madvise(address, size, MADV_DONTNEED) != 0) return false;
    return mprotect(address, size, PROT_NONE) == 0;
}

void os_release(void* address, u64 size) { munmap(address, size); }

void os_advise_large_pages(void* address, u64 size) {
    // Only a hint: without transparent huge pages the region keeps ordinary pages.
    madvise(address, size, MADV_HUGEPAGE);
}

void os_heap_keep_freed(u64 bytes) { mallopt(M_TRIM_THRESHOLD, (int)min_of(bytes, (u64)0x7FFFFFFF)); }

u32 os_page_size() { return (u32)sysconf(_SC_PAGESIZE); }

// Linux maps at page granularity; 64 KiB keeps reservations the size they are
// elsewhere and is a multiple of every page size in use.
u32 os_allocation_granularity() { return max_of(65536u, os_page_size()); }

void os_address_range(void** lowest, void** highest) {
    *lowest = (void*)(u64)65536;
    *highest = (void*)(u64)0x7FFFFFFEFFFFull;
}

// Files ------------------------------------------------------------------------

i64 os_file_open(const char* path, u32 mode) {
    int flags = O_CLOEXEC;
    if (mode == os_open_read) {
        flags |= O_RDONLY;
    } else if (mode == os_open_write_overwrite) {
        flags |= O_WRONLY | O_CREAT | O_TRUNC;
    } else {
        flags |= O_WRONLY | O_CREAT | O_EXCL;
    }
    int fd;
    do {
        fd = open(path, flags, 0644);
    } while (fd < 0 && errno == EINTR);
    if (fd >= 0 && mode == os_open_read) {
        // A directory opens for reading on Linux but can't be read as a file.
        struct stat info;
        if (fstat(fd, &info) != 0 || S_ISDIR(info.st_mode)) {
            close(fd);
            errno = EISDIR;
            return -1;
        }
    }
    return fd;
}

bool os_file_close(i64 handle) { return close((int)handle) == 0; }

// Loops over short transfers, so that a short result means the end of the file.
static i64 os_file_transfer(i64 handle, u8* bytes, u64 size, u64 offset, bool writing) {
    u64 done = 0;
    while (done < size) {
        ssize_t n = writing ? pwrite((int)handle, bytes + done, size - done, (off_t)(offset + done))
                            : pread((int)handle, bytes + done, size - done, (off_t)(offset + done));
        if (n < 0) {
            if (errno == EINTR) continue;
            return -1;
        }
        if (n == 0) break;
        done += (u64)n;
    }
    return (i64)done;
}

i64 os_file_pread(i64 handle, void* buffer, u64 size, u64 offset) {
    return os_file_transfer(handle, (u8*)buffer, size, offset, false);
}

i64 os_file_pwrite(i64 handle, const void* buffer, u64 size, u64 offset) {
    return os_file_transfer(handle, (u8*)buffer, size, offset, true);
}

bool os_file_size(i64 handle, u64* size) {
    struct stat info;
    if (fstat((int)handle, &info) != 0) return false;
    *size = (u64)info.st_size;
    return true;
}

bool os_file_sync(i64 handle) { return fsync((int)handle) == 0; }

bool os_file_delete(const char* path) { return unlink(path) == 0; }

bool os_file_rename(const char* from, const char* to) { return rename(from, to) == 0; }

bool os_directory_sync(const char* path) {
    int fd;
    do {
        fd = open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0) return false;
    bool synced = fsync(fd) == 0;
    int saved = errno;
    close(fd);
    errno = saved;
    return synced;
}

i32 os_directory_create(const char* path) {
    if (mkdir(path, 0755) == 0) return 0;
    return errno == EEXIST ? 1 : -1;
}

i32 os_path_kind(const char* path) {
    struct stat info;
    if (stat(path, &info) != 0) return -1;
    return S_ISDIR(info.st_mode) ? 1 : 0;
}

os_directory_t os_directory_open(const char* path) { return (os_directory_t)opendir(path); }

bool os_directory_next(os_directory_t directory, os_directory_entry_t* entry) {
    DIR* stream = (DIR*)directory;
    if (!stream) return false;
    struct dirent* found = readdir(stream);
    if (!found) return false;
    struct stat info;
    bool known = fstatat(dirfd(stream), found->d_name, &info, AT_SYMLINK_NOFOLLOW) == 0;
    entry->name = found->d_name;
    entry->size = known && !S_ISDIR(info.st_mode) ? (u64)info.st_size : 0;
    entry->time = known ? (u64)info.st_mtim.tv_sec * 1000000000ull + (u64)info.st_mtim.tv_nsec : 0;
    entry->is_directory = known ? S_ISDIR(info.st_mode) : found->d_type == DT_DIR;
    return true;
}

void os_directory_close(os_directory_t directory) {
    if (directory) closedir((DIR*)directory);
}

i32 os_last_error() { return errno; }

u64 os_error_text(i32 code, char* buffer, u64 size) {
    if (size == 0) return 0;
    const char* text = strerror_r(code, buffer, size);
    u64 length = 0;
    while (text[length] && length + 1 < size) {
        buffer[length] = text[length];
        length++;
    }
    buffer[length] = 0;
    return length;
}

// Processes --------------------------------------------------------------------

// Children that nobody waits for are reaped at the next start, so that opening
// links all day leaves no zombies behind.
static pid_t os_unwaited_children[64];

static void os_reap_children() {
    for (u64 i = 0; i < ARRAY_COUNT(os_unwaited_children); i++) {
        if (os_unwaited_children[i] > 0 && waitpid(os_unwaited_children[i], nullptr, WNOHANG) != 0) {
            os_unwaited_children[i] = 0;
        }
    }
}

bool os_process_start(char** argv, const char* working_directory, bool wait, i32* exit_status) {
    os_reap_children();
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (working_directory && working_directory[0]) {
        posix_spawn_file_actions_addchdir_np(&actions, working_directory);
    }
    pid_t child = 0;
    int result = posix_spawnp(&child, argv[0], &actions, nullptr, argv, environ);
    posix_spawn_file_actions_destroy(&actions);
    if (result != 0) {
        errno = result;
        return false;
    }
    if (!wait) {
        for (u64 i = 0; i < ARRAY_COUNT(os_unwaited_children); i++) {
            if (os_unwaited_children[i] == 0) {
                os_unwaited_children[i] = child;
                break;
            }
        }
        return true;
    }
    int status = 0;
    pid_t waited;
    do {
        waited = waitpid(child, &status, 0);
    } while (waited < 0 && errno == EINTR);
    if (waited != child) return false;
    if (exit_status) *exit_status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return true;
}

// Runs a program and keeps the first line of what it prints, without its line end.
// `started` (optional) tells a program that isn't there from one that failed. With
// a `limit` in milliseconds, a program that hasn't ended by then is killed with
// whatever it started, and `timed_out` says so.
static bool os_process_first_line(char** argv, char* buffer, u64 size, bool* started = nullptr, u32 limit = 0,
                                  bool* timed_out = nullptr) {
    if (started) *started = false;
    if (timed_out) *timed_out = false;
    int pipe_ends[2];
    if (pipe2(pipe_ends, O_CLOEXEC) != 0) return false;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, pipe_ends[1], 1);
    posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
    // A group of its own, so that a kill reaches what a helper script started.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    if (limit) {
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
        posix_spawnattr_setpgroup(&attributes, 0);
    }
    pid_t child = 0;
    int result = posix_spawnp(&child, argv[0], &actions, &attributes, argv, environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    close(pipe_ends[1]);
    if (started) *started = result == 0;
    u64 length = 0;
    u64 deadline = os_ticks() + (u64)limit * 1000000ull;
    bool late = false;
    while (result == 0 && length + 1 < size) {
        if (limit) {
            u64 now = os_ticks();
            late = now >= deadline;
            pollfd readable = {pipe_ends[0], POLLIN, 0};
            int ready = late ? 0 : poll(&readable, 1, (int)((deadline - now + 999999) / 1000000));
            if (ready < 0 && errno == EINTR) continue;
            late = ready == 0;
            if (ready <= 0) break;
        }
        ssize_t n = read(pipe_ends[0], buffer + length, size - 1 - length);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        length += (u64)n;
    }
    close(pipe_ends[0]);
    int status = 0;
    // One that closed its output may still not end.
    while (result == 0 && limit && !late && waitpid(child, &status, WNOHANG) == 0) {
        late = os_ticks() >= deadline;
        if (!late) usleep(5000);
    }
    if (result == 0 && (late || !limit)) {
        if (late) kill(-child, SIGKILL);
        while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
        }
    }
    if (timed_out) *timed_out = late;
    if (late || result != 0 || !WIFEXITED(status) || WEXITSTATUS(status) != 0) return false;
    u64 line = 0;
    while (line < length && buffer[line] != '\n') line++;
    buffer[line] = 0;
    return line > 0;
}

i32 os_file_choose(char* buffer, u64 size) {
    char zenity[] = "zenity", selection[] = "--file-selection";
    char kdialog[] = "kdialog", open[] = "--getopenfilename";
    char* zenity_argv[] = {zenity, selection, nullptr};
    char* kdialog_argv[] = {kdialog, open, nullptr};
    char** choosers[] = {zenity_argv, kdialog_argv};
    for (char** argv : choosers) {
        bool started = false;
        if (os_process_first_line(argv, buffer, size, &started)) return 1;
        if (started) return 0;
    }
    return -1;
}

// The Exec line of a desktop entry found in the usual data folders.
static bool desktop_entry_exec(const char* entry, char* buffer, u64 size) {
    char folders[4096];
    const char* data_home = getenv("XDG_DATA_HOME");
    const char* home = getenv("HOME");
    const char* data_dirs = getenv("XDG_DATA_DIRS");
    if (data_home && data_home[0]) {
        snprintf(folders, sizeof(folders), "%s:", data_home);
    } else {
        snprintf(folders, sizeof(folders), "%s/.local/share:", home ? home : "");
    }
    u64 used = strlen(folders);
    snprintf(folders + used, sizeof(folders) - used, "%s",
             data_dirs && data_dirs[0] ? data_dirs : "/usr/local/share:/usr/share");
    for (char* folder = strtok(folders, ":"); folder; folder = strtok(nullptr, ":")) {
        char path[4096];
        snprintf(path, sizeof(path), "%s/applications/%s", folder, entry);
        FILE* file = fopen(path, "r");
        if (!file) continue;
        char line[2048];
        bool found = false;
        while (!found && fgets(line, sizeof(line), file)) {
            if (strncmp(line, "Exec=", 5) != 0) continue;
            u64 length = strcspn(line + 5, "\r\n");
            if (length >= size) length = size - 1;
            memcpy(buffer, line + 5, length);
            buffer[length] = 0;
            found = true;
        }
        fclose(file);
        if (found) return true;
    }
    return false;
}

i32 os_default_http_command(char* buffer, u64 size) {
    char program[] = "xdg-mime", query[] = "query", kind[] = "default", scheme[] = "x-scheme-handler/http";
    char* argv[] = {program, query, kind, scheme, nullptr};
    char entry[1024];
    bool started = false;
    buffer[0] = 0;
    if (!os_process_first_line(argv, entry, sizeof(entry), &started)) return started ? 0 : -1;
    return desktop_entry_exec(entry, buffer, size) ? 1 : 0;
}

// Clocks -----------------------------------------------------------------------

u64 os_ticks() {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (u64)now.tv_sec * 1000000000ull + (u64)now.tv_nsec;
}

u64 os_tick_frequency() { return 1000000000ull; }

u64 os_cycles() {
#if defined(__x86_64__) || defined(__i386__)
    return __rdtsc();
#else
    return os_ticks();
#endif
}

void os_sleep_ms(u64 milliseconds) {
    struct timespec wanted = {(time_t)(milliseconds / 1000), (long)(milliseconds % 1000) * 1000000L};
    struct timespec left;
    while (nanosleep(&wanted, &left) != 0 && errno == EINTR) wanted = left;
}

os_utc_time_t os_utc_now() {
    struct timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    struct tm parts;
    gmtime_r(&now.tv_sec, &parts);
    return os_utc_time_t{(u32)parts.tm_year + 1900, (u32)parts.tm_mon + 1, (u32)parts.tm_mday,
                         (u32)parts.tm_hour,        (u32)parts.tm_min,     (u32)parts.tm_sec};
}

// The user's locale, made once and used through the _l calls, so that the rest
// of the program keeps the C locale.
static locale_t os_user_locale() {
    static locale_t locale = (locale_t)0;
    if (!locale) {
        locale = newlocale(LC_ALL_MASK, "", (locale_t)0);
        if (!locale) locale = newlocale(LC_ALL_MASK, "C", (locale_t)0);
    }
    return locale;
}

static u64 os_append(char* buffer, u64 size, u64 at, const char* text) {
    while (*text && at + 1 < size) buffer[at++] = *text++;
    buffer[at] = 0;
    return at;
}

u64 os_local_date_time_text(os_utc_time_t time, u32 flags, const char* separator, char* buffer, u64 size) {
    if (size == 0) return 0;
    buffer[0] = 0;
    struct tm parts = {};
    parts.tm_year = (int)time.year - 1900;
    parts.tm_mon = (int)time.month - 1;
    parts.tm_mday = (int)time.day;
    parts.tm_hour = (int)time.hour;
    parts.tm_min = (int)time.minute;
    parts.tm_sec = (int)time.second;
    time_t seconds = timegm(&parts);
    struct tm local;
    if (!localtime_r(&seconds, &local)) return 0;
    locale_t locale = os_user_locale();

    u64 at = 0;
    char piece[256];
    if (!(flags & 1)) {
        // The long form: the day's name, then the date in the locale's own order.
        char format[128] = "%A ";
        os_append(format, sizeof(format), 3, nl_langinfo_l(D_FMT, locale));
        u64 n = strftime_l(piece, sizeof(piece), format, &local, locale);
        piece[n] = 0;
        at = os_append(buffer, size, at, piece);
        if (separator && separator[0]) at = os_append(buffer, size, at, separator);
    }
    if (!(flags & 2)) {
        const char* time_format = nl_langinfo_l(T_FMT, locale);
        if (!time_format[0]) time_format = "%H:%M:%S";
        u64 n = strftime_l(piece, sizeof(piece), time_format, &local, locale);
        piece[n] = 0;
        at = os_append(buffer, size, at, piece);
    }
    return at;
}

// Folders ------------------------------------------------------------------------

static bool os_copy_folder(const char* folder, const char* tail, char* buffer, u64 size) {
    u64 at = os_append(buffer, size, 0, folder);
    at = os_append(buffer, size, at, tail);
    // No trailing '/', unless the folder is the root itself.
    while (at > 1 && buffer[at - 1] == '/') buffer[--at] = 0;
    return at > 0 && at + 1 < size;
}

static const char* os_home_folder() {
    const char* home = getenv("HOME");
    if (home && home[0]) return home;
    struct passwd* user = getpwuid(getuid());
    return user && user->pw_dir && user->pw_dir[0] ? user->pw_dir : nullptr;
}

// A base folder of the desktop's: the variable when it holds an absolute path,
// else `fallback` under the home folder.
static bool os_base_folder(const char* variable, const char* fallback, char* buffer, u64 size) {
    const char* folder = getenv(variable);
    if (folder && folder[0] == '/') return os_copy_folder(folder, "", buffer, size);
    const char* home = os_home_folder();
    return home && os_copy_folder(home, fallback, buffer, size);
}

bool os_config_folder(char* buffer, u64 size) { return os_base_folder("XDG_CONFIG_HOME", "/.config", buffer, size); }

bool os_cache_folder(char* buffer, u64 size) { return os_base_folder("XDG_CACHE_HOME", "/.cache", buffer, size); }

u32 os_process_id() { return (u32)getpid(); }

bool os_desktop_folder(char* buffer, u64 size, u32 limit, bool* timed_out) {
    char command[] = "xdg-user-dir";
    char folder_name[] = "DESKTOP";
    char* argv[] = {command, folder_name, nullptr};
    char line[4096];
    if (os_process_first_line(argv, line, sizeof(line), nullptr, limit, timed_out) && line[0] == '/') {
        return os_copy_folder(line, "", buffer, size);
    }
    const char* home = os_home_folder();
    return home && os_copy_folder(home, "/Desktop", buffer, size);
}

bool os_executable_path(char* buffer, u64 size) {
    if (size == 0) return false;
    ssize_t length = readlink("/proc/self/exe", buffer, size);
    if (length <= 0 || (u64)length >= size) return false;
    buffer[length] = 0;
    return true;
}
