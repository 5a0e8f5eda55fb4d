// Files and directories: whole-file and positioned reads and writes, delete,
// create, exists, directory walks and starting programs. Errors chain through a
// shared value that the caller zeroes and tests once at the end.
#pragma once

#include "base/data.h"
#include "base/text.h"

// Shares its variable with utf_error_t: a failed path conversion leaves one of those.
typedef u32 file_error_t;
enum : u32 {
    file_error_none = 0,
    file_error_open = 1,
    file_error_close_invalid = 2,
    file_error_invalid_handle = 3,
    file_error_seek = 4,
    file_error_short_read = 5,
    file_error_short_write = 6,
    file_error_read = 7,
    file_error_write = 8,
    file_error_delete = 12,
    file_error_read_nothing = 13,
    file_error_size = 14,
    file_error_no_buffer = 15,
    file_error_create_directory = 16,
    file_error_rename = 17,
};

// The longest path the system takes is one byte less, its terminator included;
// a path that doesn't fit fails with utf_error_target_too_small, never cut.
constexpr u64 file_path_capacity = 4096;

typedef u64 file_handle_t;
constexpr file_handle_t file_handle_invalid = ~(u64)0;

file_handle_t file_open(const u8* path, u64 path_size, bool write, bool overwrite, file_error_t* error);
file_handle_t file_open(data_t path, bool write, bool overwrite, file_error_t* error);
void file_close(file_handle_t handle, file_error_t* error);
u64 file_size(file_handle_t handle, file_error_t* error);
u64 file_read(file_handle_t handle, u64 offset, u64 size, void* buffer, file_error_t* error);
u64 file_write(file_handle_t handle, u64 offset, u64 size, const void* buffer, file_error_t* error);
// Waits until the written bytes are on the disk; a failure is a write error.
void file_sync(file_handle_t handle, file_error_t* error);
// The caller owns the block and frees it with data_free.
data_t file_read_all(data_t path, bool zero_terminate, file_error_t* error);
void file_write_all(data_t path, const void* bytes, u64 size, bool overwrite, file_error_t* error);
void file_delete(data_t path, file_error_t* error);
// Renames over an existing target; the save of the store relies on it being atomic.
void file_rename(data_t from, data_t to, file_error_t* error);
// Creates the folder and every missing folder above it, as `mkdir -p` does.
bool directory_create_with_parents(data_t path, file_error_t* error);
// Waits until the folder's names are on the disk: after a rename, so that a power
// cut can't leave the new name pointing at nothing. A failure is a write error.
void directory_sync(data_t path, file_error_t* error);
bool directory_exists(data_t path, file_error_t* error);

data_t file_extension(data_t name);
data_t file_strip_extension(data_t name);
u32 string_split_commas(data_t list, data_t* items, u32 max_count);

struct directory_list_t {
    data_t* text;
    u64 text_start;
    u8** paths;  // relative to the walk's root, each starting with '/'
    u64* sizes;
    u16* path_lengths;
    u8* is_directory;
    u64* times;
    u32 count;
    u32 capacity;
};

enum : u32 {
    directory_walk_recurse = 1,
    directory_walk_files = 2,
    directory_walk_directories = 4,
    directory_walk_dot_entries = 8,
};

directory_list_t directory_list_create(data_t* block, u32 capacity);
void directory_walk(directory_list_t* list, data_t root, data_t extensions, data_t excluded, u32 flags);
void directory_list_sort(directory_list_t* list, u64* keys);

// Why `error` came about, in words: the system's own text for the failure that set
// it on this thread, or what the value means when the system wasn't asked (a path
// too long, a short read). Gives the bytes written, at most size - 1, terminated.
u64 file_error_text(file_error_t error, char* buffer, u64 size);
// The same words written to a log channel.
void log_file_error(u64 channel, file_error_t error);
// A paragraph of its own on the log panel: `doing`, the path, then why.
void log_file_failure(const char* doing, data_t path, file_error_t error);
