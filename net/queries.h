// The query table: 1024 slots, each bringing one feed's document from the network
// to the merge. The main thread fills a slot and queues query_job_download; a
// worker downloads into a block of its own, sets state 2 and posts a wake-up; the
// drain of the frame loop merges and frees the slot. The slot's state is the only
// hand-over, without a lock.
#pragma once

#include "base/data.h"
#include "platform/http.h"

constexpr u64 query_table_size = 1024;
constexpr u32 query_new_feed = 0xffffffff;           // feed_id of an address with no feed yet
constexpr u64 query_default_block_size = 0x500000;  // for a response without Content-Length

enum : u32 {
    query_state_free = 0,
    query_state_queued = 1,  // queued or running: the worker's
    query_state_finished = 2,
};

struct query_t {
    volatile u32 state;  // written with release order, read with acquire order
    data_t address;      // in block_storage, a zero byte behind used
    // Or query_new_feed. The main thread's alone, never the worker's: a save in
    // mid-run renumbers it while the download runs.
    u32 feed_id;
    u32 error;           // http_error_t
    data_t data;         // the document, in a block of its own
    // The system's reason for a failure, for log channel 0: workers don't write
    // logs, since log channels aren't synchronised.
    char error_message[os_http_message_size];
    char content_type[128];  // of the response, zero-terminated; for the merge
};

// How many slots of any table are queued or running: raised by query_fill before
// the slot's state, lowered after the worker (or a refused submit) leaves that
// state. Never below the true number, so a frame that reads 0 skips its look
// through the table.
extern volatile u32 query_running_count;

query_t* query_find_free(query_t* table, u64 count);
// Sets every field and the state last. The wake-up goes to whoever installed it
// (platform/wake.h), so the slot needs no window.
void query_fill(query_t* query, data_t address, u32 feed_id);
// The worker's job; the argument is the slot.
void query_job_download(void* query);

// Takes a free slot of the table for the copy (block_storage_copy's) and queues the download. With every
// slot in use, or the ring full, nothing is queued: the copy is freed, one line
// goes to log channel 2, and false comes back.
bool query_submit(query_t* table, u64 count, data_t address_copy, u32 feed_id);
