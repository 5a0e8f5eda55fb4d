// Shared by tests of several layers: what a log channel received since a mark.
#pragma once

#include <string>

#include "base/data.h"
#include "base/log.h"

// The channel's write position, its block made first so that a later write
// doesn't move it.
inline u8* log_test_mark(u64 channel) {
    log_reserve(channel, 0);
    return data_end(log_channel(channel)->text);
}

// How many times `part` stands in `text`.
inline size_t text_count(const std::string& text, const std::string& part) {
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) count++;
    return count;
}

inline std::string log_test_since(u64 channel, u8* mark) {
    data_t copy = data_allocate(log_block_size);
    log_copy_since(channel, mark, &copy);
    std::string text((const char*)copy.bytes, copy.used);
    data_free(&copy);
    return text;
}
