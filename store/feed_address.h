// From what the user gives to a download request: the video service's channel
// pages turned into their feeds.
#pragma once

#include "base/data.h"

constexpr u64 feed_address_capacity = 4096;

// The address as it will be queued: a channel page of the video service becomes
// its feed, and leading white space goes. `buffer` holds feed_address_capacity
// bytes for a rewritten address. Empty when nothing remains.
data_t feed_address_normalise(data_t address, u8* buffer);
