// A download as its worker leaves it, for the tests and benchmarks that drive the
// program frame by frame without a server.
#pragma once

#include <string>

#include "app/startup.h"
#include "base/text.h"
#include "net/block_storage.h"

// Slot `slot` of the program's queries holds `document`, come back for `address`,
// for the next frame to drain and merge into the feed `feed_id` (query_new_feed
// for a new one).
inline query_t* finished_download(program_t* program, u32 slot, const std::string& address, u32 feed_id,
                                  const std::string& document) {
    query_t* query = &program->queries[slot];
    query->address = block_storage_copy(&block_storage, data_from_size(address.size(), address.data()));
    query->feed_id = feed_id;
    query->data = data_allocate(document.size());
    bytes_copy(query->data.bytes, document.data(), document.size());
    query->data.used = document.size();
    query->state = query_state_finished;
    return query;
}
