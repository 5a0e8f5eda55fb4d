// The store file: the whole reader in one binary file, written anew at each save
// under a dated name in the storage folder, the ten newest kept.
#pragma once

#include "base/data.h"
#include "base/file.h"
#include "base/pool.h"

struct reader_t;

constexpr u32 reader_file_version = 1;
constexpr u64 reader_file_header_size = 88;
constexpr u32 reader_file_keep = 10;
constexpr u32 reader_file_list_capacity = 100;
// Every store file's path fits: the storage folder (a path the system takes) and
// the file's name. Paths are never cut to fit.
constexpr u64 reader_file_path_capacity = file_path_capacity + 64;

// Why a store file couldn't be read. A file that gives any of these is left
// exactly where and as it is.
enum : u32 {
    reader_file_fine = 0,
    reader_file_unreadable = 1,    // the system refused to open or read it
    reader_file_wrong_magic = 2,   // not a store file
    reader_file_newer_version = 3, // written by a later version of the program
    reader_file_wrong_sizes = 4,   // the section table doesn't match the sections
    reader_file_short = 5,         // cut off before its end
    reader_file_inconsistent = 6,  // records that don't agree with each other
};

struct reader_load_status_t {
    u32 problem;
    file_error_t file_error;
    u64 path_length;
    u8 path[reader_file_path_capacity];  // the file that was (or would have been) read
    char reason[256];                    // the system's words when it refused the file
};
// Notes the outcome of a read; a refusal keeps the system's words at once, before
// another file routine can replace them.
void reader_load_status_note(reader_load_status_t* status, u32 problem, file_error_t error);

// Gives a sortable number for a store file's name, 0 for any other name.
u64 reader_file_date(const u8* bytes, u64 length);

// Both keep the error chain of the file routines: nothing happens once it is set.
void pool_write(file_handle_t file, u64* position, pool_t* pool, u64 slot_size, file_error_t* error);
void pool_read(file_handle_t file, u64* position, pool_t* pool, u64 slot_size, file_error_t* error);

// Writes the reader to `path` through a temporary name beside it, synced before the
// rename, so that a crash mid-save leaves the newest file whole. Compacts and
// renumbers the reader on the way, as every save does.
void reader_file_write(reader_t* reader, data_t* scratch, data_t path, file_error_t* error);
// Reads a store file into an empty reader. Returns one of the reader_file_ values;
// on any but reader_file_fine the reader is left empty.
u32 reader_file_read(reader_t* reader, data_t path, file_error_t* error);

// Saves into the storage folder `folder` with rotation, using the free part of
// `scratch`. False when nothing could be saved; the reason is on log channels 0 and 2.
bool reader_save(data_t* scratch, data_t folder, reader_t* reader);
// Loads the newest store file of the storage folder, if there is one. False when
// that file is damaged: `status` names it and why, and the caller must not go on
// (a later save would bury the damaged file under a newer, emptier one).
bool reader_load(data_t* scratch, data_t folder, reader_t* reader, reader_load_status_t* status);
// The window program's load, for a person who may never see standard error: a
// damaged file is kept whole as NAME.damaged (neither loaded nor rotated) and the
// next older file is tried, down to an empty store. False when a damaged file was
// met; a paragraph on log channel 2 then names it, its new name and the file the
// store started from.
bool reader_load_or_recover(data_t* scratch, data_t folder, reader_t* reader);
// The message for a failed load, for standard error: the file, what is wrong, and
// what to do. Gives the bytes written (no terminator).
u64 reader_load_message(const reader_load_status_t* status, char* buffer, u64 size);
