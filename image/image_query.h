// The image store: one table of 1024 slots for the pictures that entries show.
// Views ask for an address every frame and draw by the slot's state; a download
// job and a resize job on the work queue fill the slot and wake the main thread.
// Nothing survives a run. Textures are made and drawn on the GUI side; this side
// only provides the pixels.
#pragma once

#include "base/data.h"

constexpr u64 image_query_count = 1024;
// The file block of a server that gives no Content-Length.
constexpr u64 image_download_default_size = 0x500000;

enum : u32 {
    image_state_free = 0,
    image_state_loading = 1,  // job queued or running; also for good when the file didn't decode
    image_state_loaded = 2,   // decoded, waiting for a size
    image_state_resizing = 3,
    image_state_ready = 4,  // pixels usable
    image_state_load_error = 5,
    image_state_resize_error = 6,
    image_state_invalid_size = 7,
};

// The error of a slot in state 5 whose failure came after the download (the
// driver refused its texture): it names no download's code.
constexpr u32 image_error_local = 0xffffffff;

struct image_query_t {
    u32 entry_id;  // the entry that showed the picture: part of the slot's identity
    data_t image;  // decoded pixels from state 2 on, null before
    data_t url;    // in block storage, a zero byte behind used
    u32 width, height;
    u8 channels;
    volatile u32 state;  // written with release order, read with acquire order
    u32 texture;         // GL texture, 0 while none; made and deleted on the GUI side
    data_t pixels;       // what to draw: the resized copy, or image itself when no scaling was needed
    u32 requested_width, requested_height;  // after a finished resize, the real size
    u64 last_used;                          // ticks of the last request
    u32 remove;                             // the entry is gone: release once no worker holds it
    u32 error;                              // http_error_t in state 5, or image_error_local
    f32 placeholder_height;
    u64 seen_frame;
    u64 frame_state;
    // 1 from the queueing of a job to its very end, written last by the worker.
    // While it is set the slot is the worker's: it isn't evicted or released, and
    // the state alone can't tell, since a file that didn't decode stays loading.
    volatile u32 busy;
    // The final response's status in state 5 when the server answered with an
    // error status (0 for a failure of transport).
    u32 http_status;
    // Something the worker found that the log panel should tell, once: the
    // main thread writes the line at its next sweep (workers don't write logs).
    u32 report;
};

enum : u32 {
    image_report_none = 0,
    image_report_undecodable = 1,  // stays loading for the run, as the view shows
    image_report_too_large = 2,    // more than a download may take, declared or sent
};

// The longest side of a texture, from the GUI side's renderer: a picture larger
// than that is scaled down to fit when its size is asked for.
extern u32 image_texture_size_limit;

extern image_query_t image_queries[image_query_count];

// Textures belong to the GL thread: whoever makes them sets this so that a
// released slot deletes its texture. Null while no texture is ever made.
extern void (*image_texture_delete_hook)(u32 texture);

// Finds the slot of this entry and address, or with `start` takes a free one (the
// oldest idle slot when none is free) and queues its download. Null when nothing
// was found and nothing could be started: every slot busy, the work queue's ring
// full, or no room in block storage for the address (which the view shows as
// loading). Each is said once, until a picture starts again; an address without
// room is not tried again until block storage has some back.
// Main thread, like all below but the jobs.
image_query_t* image_query_get(u32 entry_id, data_t url, bool start);
// Forgets what was said about pictures that couldn't start: at each program start,
// as the slots outlive one.
void image_reports_reset();

// The state as the whole frame sees it: taken once per frame, so that every pass
// of a layout builds the same items although a worker moves on meanwhile.
u32 image_query_frame_state(image_query_t* query, u64 frame_counter);

// What a resize request needs of the layout that places the picture.
struct image_room_t {
    u32 pass_state;  // requests are made in pass 1 only
    f32 width, height;
    f32 padding_left, padding_right;
    f32 max_y;
};
// Asks for a size that fits the room, for a slot in state 2, once: a slot that
// has moved on (the same picture twice in one entry) is left alone. A refused job
// leaves it in state 2 for a later frame.
void image_request_resize(image_room_t room, image_query_t* query);

// Gives a slot back; no worker may hold it.
void image_query_release(image_query_t* query);
// The reader's removal hook: an entry's idle slots go now, the busy ones when
// their job ends (image_queries_sweep).
void image_queries_remove_entry(u32 entry_id);
// Each frame: releases the slots of removed entries whose job has ended, and
// tells the log panel what the jobs that ended found wrong.
void image_queries_sweep();

// The jobs; the argument is the slot. Each ends with the wake-up.
void image_download_job(void* query);
void image_resize_job(void* query);
