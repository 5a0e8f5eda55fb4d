// The query slots, the download job, and the queueing of a download.
#include "net/queries.h"

#include "base/log.h"
#include "base/text.h"
#include "net/block_storage.h"
#include "net/http_file.h"
#include "net/work_queue.h"
#include "platform/thread.h"
#include "platform/wake.h"

volatile u32 query_running_count = 0;

query_t* query_find_free(query_t* table, u64 count) {
    for (u64 i = 0; i < count; i++) {
        if (atomic_load_acquire_u32(&table[i].state) == query_state_free) return &table[i];
    }
    return nullptr;
}

void query_fill(query_t* query, data_t address, u32 feed_id) {
    query->address = address;
    query->feed_id = feed_id;
    query->error = 0;
    data_zero(&query->data);
    query->error_message[0] = 0;
    atomic_add_u32(&query_running_count, 1);
    atomic_store_release_u32(&query->state, query_state_queued);
}

void query_job_download(void* argument) {
    query_t* query = (query_t*)argument;
    ASSERT(atomic_load_acquire_u32(&query->state) == query_state_queued);
    http_error_message_clear();
    http_file_t file = http_file_open(query->address, &query->error);
    u64 size = file.storage.reserved ? file.storage.reserved : query_default_block_size;
    // Not tested here: a failed allocation is reported by http_file_get. A failed
    // open still takes its block, which the drain leaves to the end of the run.
    file.storage = data_allocate(size);
    http_file_get(&file, &query->error);
    query->data = file.storage;
    bytes_copy(query->content_type, file.content_type, sizeof(query->content_type));
    const char* message = http_error_message();
    u64 length = min_of<u64>(text_length(message), sizeof(query->error_message) - 1);
    bytes_copy(query->error_message, message, length);
    query->error_message[length] = 0;
    atomic_store_release_u32(&query->state, query_state_finished);
    atomic_add_u32(&query_running_count, ~0u);
    wake_post();
}

static void query_not_queued(data_t address, const char* reason) {
    log_paragraph_start(log_user);
    log_write_c_string(log_user, reason);
    log_write(log_user, address);
}

bool query_submit(query_t* table, u64 count, data_t address_copy, u32 feed_id) {
    // Pressing F5 again and again can fill the table or the ring; the download is
    // then refused instead of stopping the program or leaving a slot that never
    // finishes.
    if (!address_copy.bytes) {
        query_not_queued(data_t{}, "Not queued, no memory left for the address.");
        return false;
    }
    query_t* slot = query_find_free(table, count);
    if (!slot) {
        query_not_queued(address_copy, "Not queued, too many downloads at once: ");
        block_storage_free(&block_storage, address_copy.bytes, address_copy.reserved);
        return false;
    }
    query_fill(slot, address_copy, feed_id);
    if (!thread_queue_work(&thread_queue, query_job_download, slot)) {
        query_not_queued(address_copy, "Not queued, too many downloads waiting: ");
        atomic_store_release_u32(&slot->state, query_state_free);
        atomic_add_u32(&query_running_count, ~0u);
        block_storage_free(&block_storage, address_copy.bytes, address_copy.reserved);
        return false;
    }
    return true;
}
