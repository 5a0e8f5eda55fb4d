// Profile files made in the test from chosen events, to give the reader and the
// report exact inputs.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "base/data.h"
#include "profiler/profile_file.h"

struct built_thread_t {
    uint32_t kind;
    std::vector<profiler_event_t> events;
};

// One microsecond per cycle: 1000 cycles are 0.001000 s.
inline profile_time_base_t built_microsecond_clock() {
    profile_time_base_t time = {};
    time.frequency = 1000000000;
    time.cycle_span = 1000;
    time.tick_span = 1000000;
    time.has_time_base = 1;
    time.method = 3;
    time.shift = 32;
    time.scale = 1000ull << 32;
    return time;
}

// The profiler's own header and information block, then the given events.
inline std::string profile_build(const std::vector<built_thread_t>& threads, const profile_time_base_t& time) {
    std::vector<uint32_t> kinds;
    std::vector<uint64_t> sizes;
    for (const built_thread_t& thread : threads) {
        kinds.push_back(thread.kind);
        sizes.push_back(thread.events.size() * sizeof(profiler_event_t));
    }
    data_t start = profile_file_start((u32)threads.size(), kinds.data(), sizes.data(), &time);
    std::string file((const char*)start.bytes, start.used);
    data_free(&start);
    for (const built_thread_t& thread : threads) {
        file.append((const char*)thread.events.data(), thread.events.size() * sizeof(profiler_event_t));
    }
    return file;
}

// The file's bytes where profile_read wants them: aligned, and kept as long as the
// profile that points into them.
struct profile_bytes_t {
    std::vector<uint64_t> storage;
    std::vector<uint64_t> memory_storage;
    data_t file = {};
    data_t memory = {};
    profile_t profile = {};

    const char* read(const std::string& bytes) {
        storage.assign(bytes.size() / 8 + 1, 0);
        memcpy(storage.data(), bytes.data(), bytes.size());
        file = data_from_size(bytes.size(), storage.data());
        memory_storage.assign(bytes.size() + 512, 0);
        memory = data_make(memory_storage.size() * 8, 0, memory_storage.data());
        return profile_read(file, &memory, &profile);
    }
};

inline std::string report_text(const profile_t* profile) {
    data_t report = profile_report(profile);
    std::string text((const char*)report.bytes, report.used);
    data_free(&report);
    return text;
}
