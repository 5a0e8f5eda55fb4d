// A download that finished with `document` as its body, put in a slot of the
// program's queries for the next frame to drain and merge as a new feed.
#pragma once

#include <cstring>
#include <string>

#include "app/startup.h"

inline query_t* finished_download(program_t* program, const char* address, const std::string& document) {
    query_t* query = &program->queries[7];
    query->address = query_address_copy(data_from_size(strlen(address), address));
    query->feed_id = query_new_feed;
    query->data = data_allocate(document.size());
    memcpy(query->data.bytes, document.data(), document.size());
    query->data.used = document.size();
    query->state = query_state_finished;
    return query;
}
