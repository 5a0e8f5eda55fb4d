// The profiler on real threads: recording, the 60-frame ring and its collapse, the
// empty calls chosen before start, registration, running out of events, and
// profile.bin as written and as newsloom-tool reads it.
#include <gtest/gtest.h>

#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>

#include "base/log.h"
#include "log_support.h"
#include "net/work_queue.h"
#include "profiler/profile_builder.h"
#include "profiler/profile_file.h"
#include "profiler/profiler.h"
#include "tools/tool_support.h"

static std::vector<profiler_event_t> events_of(u32 thread) {
    profiler_thread_t* record = &profiler_threads[thread];
    if (!record->events) return {};
    return std::vector<profiler_event_t>(record->events, record->next);
}

static std::string log_text() {
    log_channel_t* log = log_channel(log_main);
    return std::string((const char*)log->text.bytes, log->text.used);
}

static void zone_pair(u32 zone) {
    profiler_thread_calls()->zone_begin(zone, profiler_event_zone_begin);
    profiler_thread_calls()->zone_end(zone, profiler_event_zone_end);
}
static void frame_begin() { profiler_thread_calls()->frame_start(zone_frame, profiler_event_frame_begin); }
static void frame_end() { profiler_thread_calls()->frame_stop(zone_frame, profiler_event_frame_end); }

class Profiler : public testing::Test {
protected:
    temp_folder_t temp;
    std::string folder = temp.path;
    void TearDown() override { profiler_free(); }
};

// The events of a thread as "zone:kind" pairs, in order.
static std::vector<std::pair<u32, u32>> zones_and_kinds(const std::vector<profiler_event_t>& events) {
    std::vector<std::pair<u32, u32>> pairs;
    for (const profiler_event_t& event : events) pairs.push_back({event.zone, event.kind});
    return pairs;
}

TEST_F(Profiler, RecordsNestedZonesAndFramesInOrder) {
    u32 error = 0;
    profiler_start(profiler_thread_main, 1000, &error);
    ASSERT_EQ(error, 0u);
    frame_begin();
    {
        PROFILE_ZONE(layout_text);
        PROFILE_ZONE(hp_consume);
    }
    frame_end();
    std::vector<profiler_event_t> events = events_of(0);
    EXPECT_EQ(zones_and_kinds(events), (std::vector<std::pair<u32, u32>>{{zone_frame, 5},
                                                                          {zone_layout_text, 1},
                                                                          {zone_hp_consume, 1},
                                                                          {zone_hp_consume, 2},
                                                                          {zone_layout_text, 2},
                                                                          {zone_frame, 6}}));
    for (size_t i = 1; i < events.size(); i++) EXPECT_GE(events[i].time, events[i - 1].time) << i;
}

TEST_F(Profiler, TheRingKeepsSixtyFramesAndFoldsTheOlderOnes) {
    u32 error = 0;
    profiler_start(profiler_thread_main, 100000, &error);
    for (int i = 0; i < 120; i++) {
        frame_begin();
        zone_pair(zone_layout_text);
        frame_end();
    }
    std::vector<profiler_event_t> events = events_of(0);
    // 60 folded pairs in front of 60 whole frames, each behind its fold's zone.
    ASSERT_EQ(events.size(), 120 + 60 * 6u);
    for (size_t i = 0; i < 120; i++) {
        EXPECT_EQ(events[i].zone, (u32)zone_frame) << i;
        EXPECT_EQ(events[i].kind, (i % 2 ? 6u : 5u) | 0x100) << i;
    }
    const u32 frame_kinds[6] = {1, 2, 5, 1, 2, 6};
    const u32 frame_zones[6] = {zone_profiler_collapse, zone_profiler_collapse, zone_frame,
                                zone_layout_text,       zone_layout_text,       zone_frame};
    for (size_t i = 120; i < events.size(); i++) {
        EXPECT_EQ(events[i].kind, frame_kinds[(i - 120) % 6]) << i;
        EXPECT_EQ(events[i].zone, frame_zones[(i - 120) % 6]) << i;
    }
}

TEST(ProfilerDeath, FrameCallsOutOfTurnStop) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            u32 error = 0;
            profiler_start(profiler_thread_main, 100, &error);
            frame_begin();
            frame_begin();
        },
        "");
    EXPECT_DEATH(
        {
            u32 error = 0;
            profiler_start(profiler_thread_main, 100, &error);
            frame_end();
        },
        "");
}

// Without -profile the program chooses the empty calls before start: neither the
// main thread nor a worker that registers later records anything.
TEST_F(Profiler, EmptyCallsChosenBeforeStartHoldForEveryThread) {
    profiler_install_empty(0);
    u32 error = 0;
    profiler_start(profiler_thread_main, 1000, &error);
    frame_begin();
    zone_pair(zone_render);
    frame_end();
    std::thread([] {
        u32 worker_error = 0;
        profiler_thread_register(profiler_thread_worker, 100, &worker_error);
        zone_pair(zone_http_file_get);
    }).join();
    EXPECT_EQ(events_of(0).size(), 0u);
    EXPECT_EQ(events_of(1).size(), 0u);
}

TEST_F(Profiler, RegistrationNeedsAStartAndEmptiesAFailedThread) {
    u32 error = 0;
    profiler_thread_register(profiler_thread_worker, 100, &error);
    EXPECT_EQ(error, 0u);
    EXPECT_EQ(profiler_thread_count, 0u);

    profiler_start(profiler_thread_main, 100, &error);
    std::thread([] {
        // An error already set leaves the thread as it was.
        u32 preset = 7;
        profiler_thread_register(profiler_thread_worker, 100, &preset);
        EXPECT_EQ(preset, 7u);
        EXPECT_EQ(profiler_thread_count, 1u);
        // Memory that can't be had: the empty functions, and the program goes on.
        u32 failed = 0;
        profiler_thread_register(profiler_thread_worker, 1ull << 46, &failed);
        EXPECT_EQ(failed, profiler_error_memory);
        EXPECT_EQ(profiler_thread_count, 2u);
        frame_begin();
        zone_pair(zone_http_file_open);
        frame_end();
        profiler_install_live(0);
        zone_pair(zone_http_file_open);
    }).join();
    EXPECT_EQ(profiler_threads[1].events, nullptr);
    profiler_stop();
    std::string path = folder + "/profile.bin";
    profiler_write(path.c_str(), true, &error);
    ASSERT_EQ(error, 0u);
    profile_bytes_t bytes;
    ASSERT_EQ(bytes.read(file_bytes(path)), nullptr);
    ASSERT_EQ(bytes.profile.thread_count, 2u);
    EXPECT_EQ(bytes.profile.threads[1].event_count, 0u);
    EXPECT_EQ(bytes.profile.threads[1].kind, (u32)profiler_thread_worker);
}

TEST_F(Profiler, RunningOutStopsTheThreadWithItsZonesClosed) {
    u32 error = 0;
    profiler_start(profiler_thread_main, 8, &error);
    frame_begin();
    profiler_thread_calls()->zone_begin(zone_layout_text, 1);
    zone_pair(zone_hp_consume);
    for (u32 zone : {zone_hp_state_tag, zone_hp_state_raw, zone_hp_state_markup, zone_hp_state_xml}) {
        profiler_thread_calls()->zone_begin(zone, 1);
    }
    ASSERT_EQ(events_of(0).size(), 8u);
    // The ninth event doesn't fit: what is open closes, innermost first.
    profiler_thread_calls()->zone_begin(zone_hp_token_emit, 1);
    std::vector<profiler_event_t> events = events_of(0);
    ASSERT_EQ(events.size(), 14u);
    const u32 closed_zones[6] = {zone_hp_state_xml, zone_hp_state_markup, zone_hp_state_raw,
                                 zone_hp_state_tag, zone_layout_text,     zone_frame};
    for (u32 i = 0; i < 6; i++) {
        EXPECT_EQ(events[8 + i].zone, closed_zones[i]) << i;
        EXPECT_EQ(events[8 + i].kind, i == 5 ? 6u : 2u) << i;
    }
    // From now on nothing records and nothing stops, not even frames out of turn or
    // a later switch to the live calls.
    profiler_thread_calls()->zone_end(zone_hp_token_emit, 2);
    frame_end();
    frame_end();
    profiler_install_live(0);
    zone_pair(zone_render);
    EXPECT_EQ(events_of(0).size(), 14u);

    profiler_stop();
    profiler_stop();
    EXPECT_EQ(text_count(log_text(), "Profiler: thread 0 (main) used all of its 8 events"), 1u);
}

TEST_F(Profiler, RunningOutDeeperThanTheRoomKeepsWhatHadClosed) {
    u32 error = 0;
    profiler_start(profiler_thread_main, 1000, &error);
    zone_pair(zone_setup);
    for (int i = 0; i < 998; i++) profiler_thread_calls()->zone_begin(zone_layout_text, 1);
    profiler_thread_calls()->zone_begin(zone_layout_text, 1);
    std::vector<profiler_event_t> events = events_of(0);
    ASSERT_EQ(events.size(), 2u);
    EXPECT_EQ(events[0].zone, (u32)zone_setup);
    EXPECT_EQ(events[1].kind, 2u);
}

TEST_F(Profiler, FileHoldsEachThreadsEventsAsRecorded) {
    u32 error = 0;
    profiler_start(profiler_thread_main, 1000, &error);
    frame_begin();
    zone_pair(zone_window_content);
    frame_end();
    std::thread([] {
        u32 worker_error = 0;
        profiler_thread_register(profiler_thread_worker, 100, &worker_error);
        zone_pair(zone_http_file_get);
    }).join();
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    profiler_stop();
    std::string path = folder + "/profile.bin";
    profiler_write(path.c_str(), true, &error);
    ASSERT_EQ(error, 0u);

    std::string written = file_bytes(path);
    profile_bytes_t bytes;
    ASSERT_EQ(bytes.read(written), nullptr);
    profile_time_base_t time = bytes.profile.time;
    EXPECT_EQ(written, profile_build({{1, events_of(0)}, {0, events_of(1)}}, time));
    EXPECT_EQ(written.size() % 16, 0u);

    // The measured time base agrees with the monotonic clock over the run.
    EXPECT_GE(time.tick_span, 30000000u);
    EXPECT_NEAR(profile_seconds(&time, time.cycle_span), (double)time.tick_span / 1e9, 1e-6);

    // Kept, not replaced, without overwrite; a folder that isn't there fails; an
    // error already set writes nothing.
    profiler_write(path.c_str(), false, &error);
    EXPECT_EQ(error, profiler_error_file_write);
    EXPECT_EQ(file_bytes(path), written);
    error = 0;
    profiler_write((folder + "/missing/profile.bin").c_str(), true, &error);
    EXPECT_EQ(error, profiler_error_file_write);
    std::string other = folder + "/other.bin";
    profiler_write(other.c_str(), true, &error);
    EXPECT_NE(access(other.c_str(), F_OK), 0);
}

TEST_F(Profiler, WriteClosesZonesStillOpen) {
    u32 error = 0;
    profiler_start(profiler_thread_main, 1000, &error);
    std::string path = folder + "/profile.bin";
    {
        PROFILE_ZONE(loop);
        zone_pair(zone_render);
        profiler_stop();
        profiler_write(path.c_str(), true, &error);
    }
    ASSERT_EQ(error, 0u);
    profile_bytes_t bytes;
    ASSERT_EQ(bytes.read(file_bytes(path)), nullptr);
    ASSERT_EQ(bytes.profile.threads[0].event_count, 4u);
    EXPECT_EQ(bytes.profile.threads[0].events[3].zone, (u32)zone_loop);
    EXPECT_EQ(bytes.profile.threads[0].events[3].kind, 2u);
}

static thread_queue_t profiled_queue;
static void profiled_job(void*) { PROFILE_ZONE(http_file_get); }

TEST_F(Profiler, WorkersRegisterInTheirEntryAndTheToolReadsTheFile) {
    u32 error = 0;
    profiler_start(profiler_thread_main, 10000, &error);
    thread_queue_create(&profiled_queue, 2);
    for (int i = 0; i < 20; i++) ASSERT_TRUE(thread_queue_work(&profiled_queue, profiled_job, nullptr));
    while (__atomic_load_n(&profiled_queue.completed_count, __ATOMIC_ACQUIRE) != 20) std::this_thread::yield();
    thread_terminate(&profiled_queue);
    profiler_stop();
    ASSERT_EQ(profiler_thread_count, 3u);
    EXPECT_EQ(profiler_threads[1].thread_kind, (u32)profiler_thread_worker);
    EXPECT_EQ(profiler_threads[2].thread_kind, (u32)profiler_thread_worker);
    std::string path = folder + "/profile.bin";
    profiler_write(path.c_str(), true, &error);
    ASSERT_EQ(error, 0u);

    int status = -1;
    std::string report = tool_run("profile '" + path + "'", &status);
    EXPECT_EQ(status, 0);
    EXPECT_NE(report.find("Timeline[ 2 ] - worker_thread"), std::string::npos) << report;
    // Twenty jobs between the two workers, each inside its user function.
    size_t at = report.find("\nhttp_file_get ");
    size_t hits = 0;
    while (at != std::string::npos) {
        hits += strtoull(report.c_str() + report.find("| ", at) + 2, nullptr, 10);
        at = report.find("\nhttp_file_get ", at + 1);
    }
    EXPECT_EQ(hits, 20u) << report;
    EXPECT_NE(report.find("\n  thread_do_work"), std::string::npos) << report;

    // A damaged file: a message and exit status 1.
    write_file(path, file_bytes(path).substr(0, 100));
    std::string errors = tool_run("profile '" + path + "' 2>&1 >/dev/null", &status);
    EXPECT_EQ(status, 1);
    EXPECT_NE(errors.find("is not a readable profile: its information block runs past the end."), std::string::npos)
        << errors;
}
