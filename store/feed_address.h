// From what the user gives to download requests: one address, or a text file of
// them, with the video service's channel pages turned into their feeds.
#pragma once

#include "base/data.h"

struct app_t;
struct reader_t;

constexpr u64 feed_address_capacity = 4096;

// The address as it will be queued: a channel page of the video service becomes
// its feed, and leading white space goes. `buffer` holds feed_address_capacity
// bytes for a rewritten address. Empty when nothing remains.
data_t feed_address_normalise(data_t address, u8* buffer);

// One address to one query; a known address is an update of its feed.
void reader_add_address(app_t* app, reader_t* reader, data_t address);
// One query per non-blank line of a text file; a missing file does nothing.
void reader_add_address_list(app_t* app, reader_t* reader, data_t path);
