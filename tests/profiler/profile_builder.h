// A profile file made in the test from its own reading of the format, to hold the
// writer to it byte for byte and to give the reader and the report exact inputs.
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

inline void put(std::string* out, const void* bytes, size_t size) { out->append((const char*)bytes, size); }
template <typename T> inline void put_value(std::string* out, T value) { put(out, &value, sizeof(value)); }

inline std::string profile_build(const std::vector<built_thread_t>& threads, const profile_time_base_t& time) {
    const char* kinds[2] = {"worker_thread", "main"};
    std::string info;
    put_value<uint32_t>(&info, 2);
    put_value<uint32_t>(&info, (uint32_t)threads.size());
    put_value<uint32_t>(&info, zone_count);
    uint64_t zone_names = 0;
    for (uint32_t z = 0; z < zone_count; z++) zone_names += strlen(profiler_zone_names[z]);
    put_value<uint64_t>(&info, 17);
    put_value<uint64_t>(&info, zone_names);
    put_value<uint16_t>(&info, 13);
    put_value<uint16_t>(&info, 4);
    put(&info, kinds[0], 13);
    put(&info, kinds[1], 4);
    uint64_t events_size = 0;
    for (const built_thread_t& thread : threads) {
        put_value<uint64_t>(&info, thread.events.size() * 16);
        events_size += thread.events.size() * 16;
    }
    for (const built_thread_t& thread : threads) put_value<uint32_t>(&info, thread.kind);
    for (uint32_t z = 0; z < zone_count; z++) put_value<uint16_t>(&info, (uint16_t)strlen(profiler_zone_names[z]));
    for (uint32_t z = 0; z < zone_count; z++) put(&info, profiler_zone_names[z], strlen(profiler_zone_names[z]));
    put_value(&info, time.frequency);
    put_value(&info, time.cycle_span);
    put_value(&info, time.tick_span);
    put_value(&info, time.has_time_base);
    put_value(&info, time.method);
    put_value(&info, time.shift);
    put_value(&info, time.bias);
    put_value(&info, time.scale);
    put_value(&info, time.offset);
    put_value<uint32_t>(&info, 0);
    put_value<uint32_t>(&info, 0);

    uint64_t events_offset = (40 + info.size() + 15) / 16 * 16;
    std::string file = "PROF";
    put_value<uint32_t>(&file, 1);
    put_value<uint64_t>(&file, info.size());
    put_value<uint64_t>(&file, 40);
    put_value<uint64_t>(&file, events_size);
    put_value<uint64_t>(&file, events_offset);
    file += info;
    file.resize(events_offset, '\0');
    for (const built_thread_t& thread : threads) put(&file, thread.events.data(), thread.events.size() * 16);
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
