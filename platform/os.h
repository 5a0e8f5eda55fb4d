// The operating system behind the foundation: address space, files, processes,
// clocks and the user's folders. Nothing above platform/ calls the system itself.
#pragma once

#include "base/types.h"

// Address space. Reserve gives null on failure; commit and decommit work on whole
// pages inside a reservation.
void* os_reserve(u64 size, void* address);
void* os_reserve_and_commit(u64 size, void* address);
bool os_commit(void* address, u64 size);
bool os_decommit(void* address, u64 size);
void os_release(void* address, u64 size);
// A hint that pages committed later in this reservation may come as large pages:
// a region filled and emptied wholesale then costs a few faults, not one a page.
void os_advise_large_pages(void* address, u64 size);
// Freed heap memory up to `bytes` stays with the process instead of going back to
// the system, so that memory a library takes and gives back every frame isn't
// faulted in anew each time.
void os_heap_keep_freed(u64 bytes);
u32 os_page_size();
u32 os_allocation_granularity();
// The lowest and highest addresses a program's mappings can take.
void os_address_range(void** lowest, void** highest);

// Files; paths are zero-terminated UTF-8. A handle is a file descriptor, -1 invalid.
enum : u32 {
    os_open_read = 0,
    os_open_write_overwrite = 1,  // create or truncate
    os_open_write_new = 2,        // create, fail if it exists
};
i64 os_file_open(const char* path, u32 mode);
bool os_file_close(i64 handle);
// Gives the bytes moved, or -1 on failure.
i64 os_file_pread(i64 handle, void* buffer, u64 size, u64 offset);
i64 os_file_pwrite(i64 handle, const void* buffer, u64 size, u64 offset);
bool os_file_size(i64 handle, u64* size);
bool os_file_sync(i64 handle);
bool os_file_delete(const char* path);
bool os_file_rename(const char* from, const char* to);
// Flushes a folder's entries to the disk.
bool os_directory_sync(const char* path);
// 0 created, 1 already there, -1 failed.
i32 os_directory_create(const char* path);
// -1 missing, 0 file, 1 directory.
i32 os_path_kind(const char* path);

struct os_directory_entry_t {
    const char* name;
    u64 size;
    u64 time;
    bool is_directory;
};
typedef void* os_directory_t;
os_directory_t os_directory_open(const char* path);
bool os_directory_next(os_directory_t directory, os_directory_entry_t* entry);
void os_directory_close(os_directory_t directory);

// The last system error, and its text.
i32 os_last_error();
u64 os_error_text(i32 code, char* buffer, u64 size);

// Starts argv[0] (searched in PATH) without a shell. Gives false when it couldn't be
// started or, with `wait`, waited for.
bool os_process_start(char** argv, const char* working_directory, bool wait, i32* exit_status);
// The desktop's dialog for one file (zenity, else kdialog): 1 with the chosen path
// in `buffer`, 0 when cancelled, -1 when neither is installed.
i32 os_file_choose(char* buffer, u64 size);
// The Exec line of the desktop entry that opens http links: 1 with it in `buffer`,
// 0 when there is none, -1 when xdg-mime isn't installed.
i32 os_default_http_command(char* buffer, u64 size);

// Clocks.
u64 os_ticks();
u64 os_tick_frequency();
u64 os_cycles();
void os_sleep_ms(u64 milliseconds);
struct os_utc_time_t {
    u32 year, month, day, hour, minute, second;
};
os_utc_time_t os_utc_now();
// The UTC time as local date and time text in the user's locale. flags bit 0: no
// date, bit 1: no time. Gives the bytes written.
u64 os_local_date_time_text(os_utc_time_t time, u32 flags, const char* separator, char* buffer, u64 size);

// Folders, written as zero-terminated UTF-8 without a trailing '/'; false when they
// can't be found.
bool os_config_folder(char* buffer, u64 size);   // $XDG_CONFIG_HOME, else ~/.config
bool os_cache_folder(char* buffer, u64 size);    // $XDG_CACHE_HOME, else ~/.cache
u32 os_process_id();
// xdg-user-dir DESKTOP, else ~/Desktop, also when the helper gives no answer within
// `limit` milliseconds (then `timed_out`).
bool os_desktop_folder(char* buffer, u64 size, u32 limit, bool* timed_out);
bool os_executable_path(char* buffer, u64 size);
