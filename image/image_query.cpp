// The image slots, their requests, release and sweep, and the download job.
#include "image/image_query.h"

#include <cmath>

#include "base/log.h"
#include "base/text.h"
#include "image/image_resize.h"
#include "net/block_storage.h"
#include "net/http_file.h"
#include "net/work_queue.h"
#include "platform/image_decode.h"
#include "platform/os.h"
#include "platform/thread.h"
#include "platform/wake.h"

image_query_t image_queries[image_query_count];
void (*image_texture_delete_hook)(u32 texture) = nullptr;
u32 image_texture_size_limit = 1024;

// What was said about pictures that can't start, so that the view's request in
// every frame doesn't repeat the line: each is set while its cause lasts.
struct image_reports_t {
    bool wait;        // every slot is busy and a new picture was told to wait
    bool queue_full;  // the work queue's ring refused a download
    // No room in block storage for an address, and its count of frees then: no
    // copy is tried again until something was given back.
    bool copy_refused;
    u64 copy_refused_frees;
};
static image_reports_t image_reports;

void image_reports_reset() { image_reports = image_reports_t{}; }

static void image_log_paragraph(const char* text, data_t url) {
    log_paragraph_start(log_user);
    log_write_c_string(log_user, text);
    log_write(log_user, url);
}

static bool image_query_is_busy(image_query_t* query) { return atomic_load_acquire_u32(&query->busy) != 0; }

static bool image_query_is(image_query_t* query, u32 entry_id, data_t url) {
    return query->entry_id == entry_id && bytes_equal(query->url.bytes, query->url.used, url.bytes, url.used);
}

// Fills a free slot and queues its download. False when the ring refused it: the
// slot is free again and its copy of the address given back; the picture is asked
// for again in a later frame.
static bool image_query_start(image_query_t* query, u32 entry_id, data_t url_copy) {
    query->url = url_copy;
    query->entry_id = entry_id;
    query->requested_width = query->requested_height = 0;
    data_zero(&query->pixels);
    data_zero(&query->image);
    query->error = 0;
    query->http_status = 0;
    query->remove = 0;
    query->report = image_report_none;
    atomic_store_release_u32(&query->busy, 1);
    atomic_store_release_u32(&query->state, image_state_loading);
    if (thread_queue_work(&thread_queue, image_download_job, query)) {
        image_reports.queue_full = false;
        return true;
    }
    if (!image_reports.queue_full) {
        image_log_paragraph("Too many downloads are waiting; this picture waits for room: ", query->url);
        image_reports.queue_full = true;
    }
    // The copy that goes back is the slot's own: the caller's address lives in
    // memory block storage doesn't own.
    atomic_store_release_u32(&query->state, image_state_free);
    atomic_store_release_u32(&query->busy, 0);
    block_storage_free(&block_storage, query->url.bytes, query->url.reserved);
    data_zero(&query->url);
    return false;
}

// The slot's copy of the address, or null bytes when there is no room. The
// refusal is said once, and no copy is tried again until block storage has had
// something back, so that pictures on show don't try again in every frame.
static data_t image_address_copy(data_t url) {
    if (image_reports.copy_refused && block_storage.frees == image_reports.copy_refused_frees) return data_t{};
    data_t copy = block_storage_copy(&block_storage, url);
    if (!copy.bytes) {
        if (!image_reports.copy_refused) {
            image_log_paragraph("There is no room left to keep a picture's address; pictures wait for some to be "
                                "given back: ",
                                url);
        }
        image_reports.copy_refused = true;
        image_reports.copy_refused_frees = block_storage.frees;
        return copy;
    }
    image_reports.copy_refused = false;
    return copy;
}

image_query_t* image_query_get(u32 entry_id, data_t url, bool start) {
    image_query_t* found = nullptr;
    image_query_t* free_slot = nullptr;
    // The oldest slot, and the oldest that no worker holds: only that one may go.
    image_query_t* oldest = nullptr;
    image_query_t* victim = nullptr;
    u64 oldest_used = ~(u64)0;
    u64 victim_used = ~(u64)0;
    for (u64 i = 0; i < image_query_count; i++) {
        image_query_t* query = &image_queries[i];
        if (atomic_load_acquire_u32(&query->state) != image_state_free) {
            if (image_query_is(query, entry_id, url)) {
                found = query;
                break;
            }
            if (free_slot) continue;
            if (query->last_used < oldest_used) {
                oldest = query;
                oldest_used = query->last_used;
            }
            if (query->last_used < victim_used && !image_query_is_busy(query)) {
                victim = query;
                victim_used = query->last_used;
            }
        } else if (!free_slot) {
            free_slot = query;
        }
    }

    if (!found && start) {
        if (!free_slot && !victim) {
            // Every slot has a worker on it. Taking one from under its worker would
            // free what the worker still writes; the picture waits for a later frame
            // instead, when a download has ended.
            if (!image_reports.wait) {
                image_log_paragraph("Every picture slot is loading; this picture waits for one: ", url);
                image_reports.wait = true;
            }
            return nullptr;
        }
        image_reports.wait = false;
        // The copy comes first, so that no slot is given up for a picture that
        // can't start.
        data_t copy = image_address_copy(url);
        if (!copy.bytes) return nullptr;
        if (!free_slot) {
            // The oldest slot may still be loading: it is skipped for the next oldest
            // that no worker holds, rather than waited for, so that the main thread
            // never blocks on a download.
            if (victim != oldest) {
                image_log_paragraph("Picture slots are full and the oldest is still loading; the next oldest "
                                    "makes room for ",
                                    url);
            }
            image_query_release(victim);
            free_slot = victim;
        }
        found = free_slot;
        found->placeholder_height = 0;
        found->seen_frame = 0;
        found->frame_state = 0;
        if (!image_query_start(found, entry_id, copy)) return nullptr;
    }
    if (found) found->last_used = os_ticks();
    return found;
}

u32 image_query_frame_state(image_query_t* query, u64 frame_counter) {
    if (query->seen_frame < frame_counter) {
        query->frame_state = atomic_load_acquire_u32(&query->state);
        query->seen_frame = frame_counter;
    }
    return (u32)query->frame_state;
}

void image_request_resize(image_room_t room, image_query_t* query) {
    if (room.pass_state != 1) return;
    ASSERT(query->frame_state == image_state_loaded);
    // The frame saw it loaded, but an earlier request of this frame (the same
    // picture placed twice) or its worker may have moved it on since.
    if (image_query_is_busy(query) || atomic_load_acquire_u32(&query->state) != image_state_loaded) return;
    f32 paddings = room.padding_left + room.padding_right;
    u32 width = query->width;
    u32 height = query->height;
    if ((f32)width + paddings > room.width) {
        // A room narrower than its paddings asks for nothing, which ends as an
        // invalid size rather than in a negative width.
        f32 room_width = room.width - paddings;
        width = room_width > 0 ? (u32)floorf(room_width) : 0;
        height = (u32)(((f32)width / (f32)query->width) * (f32)query->height);
    }
    // A picture longer than a texture can hold (a strip a few pixels wide and
    // tens of thousands high) would never draw: it is scaled to fit one.
    u32 limit = image_texture_size_limit;
    if (width > limit || height > limit) {
        image_log_paragraph("A picture is larger than a texture can hold and is scaled down: ", query->url);
        f32 scale = (f32)limit / (f32)max_of(width, height);
        width = (u32)((f32)width * scale);
        height = (u32)((f32)height * scale);
    }
    // The picture replaces its placeholder; if it then overflows the view, a
    // scroll bar will take 16 pixels of the room. A picture of 16 pixels or less
    // keeps its width rather than coming to nothing.
    if (room.max_y - query->placeholder_height + (f32)height > room.height && width > 16) width -= 16;
    query->requested_width = width;
    query->requested_height = 0;
    atomic_store_release_u32(&query->busy, 1);
    atomic_store_release_u32(&query->state, image_state_resizing);
    if (thread_queue_work(&thread_queue, image_resize_job, query)) return;
    query->requested_width = query->requested_height = 0;
    atomic_store_release_u32(&query->state, image_state_loaded);
    atomic_store_release_u32(&query->busy, 0);
}

void image_query_release(image_query_t* query) {
    ASSERT(!image_query_is_busy(query));
    if (query->pixels.bytes != query->image.bytes) data_free(&query->pixels);
    data_zero(&query->pixels);
    image_decode_free(query->image.bytes);
    data_zero(&query->image);
    if (query->url.bytes) block_storage_free(&block_storage, query->url.bytes, query->url.reserved);
    data_zero(&query->url);
    if (query->texture && image_texture_delete_hook) image_texture_delete_hook(query->texture);
    query->texture = 0;
    query->entry_id = 0;
    query->remove = 0;
    query->report = image_report_none;
    atomic_store_release_u32(&query->state, image_state_free);
}

void image_queries_remove_entry(u32 entry_id) {
    for (u64 i = 0; i < image_query_count; i++) {
        image_query_t* query = &image_queries[i];
        if (atomic_load_acquire_u32(&query->state) == image_state_free || query->entry_id != entry_id) continue;
        if (image_query_is_busy(query)) {
            query->remove = 1;
        } else {
            image_query_release(query);
        }
    }
}

void image_queries_sweep() {
    for (u64 i = 0; i < image_query_count; i++) {
        image_query_t* query = &image_queries[i];
        if (!(query->remove || query->report) || image_query_is_busy(query)) continue;
        if (atomic_load_acquire_u32(&query->state) == image_state_free) continue;
        if (query->remove) {
            image_log_paragraph("A picture finished loading after its entry was removed, and was let go: ",
                                query->url);
            image_query_release(query);
            continue;
        }
        image_log_paragraph(query->report == image_report_undecodable
                                ? "A picture could not be decoded and shows as loading: "
                                : "A picture is larger than a download may take: ",
                            query->url);
        query->report = image_report_none;
    }
}

// Worker side. The slot is the worker's until busy goes back to 0, which is the
// last write: the main thread then sees everything that came before.
void image_download_job(void* argument) {
    image_query_t* query = (image_query_t*)argument;
    ASSERT(atomic_load_acquire_u32(&query->state) == image_state_loading && image_query_is_busy(query));
    http_error_t error = 0;
    http_file_t file = http_file_open(query->url, &error);
    u32 status = http_file_status(&file);
    if (!error) {
        u64 size = file.storage.reserved ? file.storage.reserved : image_download_default_size;
        // Not tested here: http_file_get reports a block that couldn't be had.
        file.storage = data_allocate(size);
    }
    http_file_get(&file, &error);
    // A server's error page is no picture: the file is missing, which the view
    // tells, rather than a file that doesn't decode, which stays loading.
    if (!error && status >= 400) error = http_error_internet_open_url;
    if (error) {
        data_free(&file.storage);
        query->error = error;
        query->http_status = status >= 400 ? status : 0;
        if (error == http_error_not_enough_storage) query->report = image_report_too_large;
        atomic_store_release_u32(&query->state, image_state_load_error);
    } else {
        u32 width = 0, height = 0, channels = 0;
        u8* pixels = image_decode(file.storage.bytes, file.storage.used, &width, &height, &channels);
        data_free(&file.storage);
        // A file that doesn't decode leaves the state at loading for the rest of the
        // run: the view keeps showing the picture as loading, and nothing else
        // reports it.
        if (pixels) {
            u64 size = (u64)width * height * channels;
            query->image = data_make(size, size, pixels);
            query->width = width;
            query->height = height;
            query->channels = (u8)channels;
            query->texture = 0;
            atomic_store_release_u32(&query->state, image_state_loaded);
        } else {
            query->report = image_report_undecodable;
        }
    }
    atomic_store_release_u32(&query->busy, 0);
    wake_post();
}

static void image_resize_end(image_query_t* query, u32 state) {
    atomic_store_release_u32(&query->state, state);
    atomic_store_release_u32(&query->busy, 0);
    wake_post();
}

// Pictures are only ever scaled down, once, to the room of the layout that asked.
void image_resize_job(void* argument) {
    image_query_t* query = (image_query_t*)argument;
    ASSERT(image_query_is_busy(query));
    if (query->requested_width == 0 && query->requested_height == 0) {
        image_resize_end(query, image_state_invalid_size);
        return;
    }
    ASSERT(atomic_load_acquire_u32(&query->state) == image_state_resizing && query->texture == 0);
    if (query->pixels.bytes != query->image.bytes) data_free(&query->pixels);
    data_zero(&query->pixels);
    bool needed = query->requested_width ? query->requested_width < query->width
                                         : query->requested_height && query->requested_height < query->height;
    if (!needed) {
        query->pixels = query->image;
        query->requested_width = query->width;
        query->requested_height = query->height;
        image_resize_end(query, image_state_ready);
        return;
    }
    u32 width = query->requested_width;
    u32 height = query->requested_height;
    u32 error = 0;
    image_resize(nullptr, query->width, query->height, nullptr, &width, &height, query->channels, false, 1.0f,
                 &error);
    u64 size = (u64)width * height * query->channels;
    // A wide strip can come out zero rows high: there is nothing to draw.
    if (!error && size == 0) error = 1;
    if (!error) {
        query->pixels = data_allocate(size);
        if (!query->pixels.bytes) error = 1;
    }
    image_resize(query->image.bytes, query->width, query->height, query->pixels.bytes, &width, &height,
                 query->channels, false, 1.0f, &error);
    if (error) {
        data_free(&query->pixels);
        data_zero(&query->pixels);
        image_resize_end(query, image_state_resize_error);
        return;
    }
    query->pixels.used = size;
    query->requested_width = width;
    query->requested_height = height;
    image_resize_end(query, image_state_ready);
}
