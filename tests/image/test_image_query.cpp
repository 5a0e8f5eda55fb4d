// The image slots against a local server with real PNG files: identity of a slot,
// what each kind of reply ends in, the frame snapshot, eviction, removal of an
// entry, and the guards for busy slots and a full ring.
#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "base/log.h"
#include "image/image_query.h"
#include "log_support.h"
#include "net/block_storage.h"
#include "net/http_file.h"
#include "net/work_queue.h"
#include "platform/http.h"
#include "platform/png.h"
#include "platform/thread.h"
#include "platform/wake.h"
#include "tests/net/feed_server.h"

static feed_server_t image_server;
static std::string image_folder;

// Three by two pixels: a red top row over a blue bottom row.
static const u8 picture[3 * 2 * 4] = {
    255, 0, 0, 255, 255, 0, 0, 255, 255, 0, 0, 255,
    0, 0, 255, 255, 0, 0, 255, 255, 0, 0, 255, 255,
};

// A picture of 64 by 32 pixels of one colour.
static const u8 wide_colour[4] = {10, 200, 30, 255};

static void file_write(const std::string& name, const std::string& bytes) {
    std::ofstream(image_folder + "/" + name, std::ios::binary) << bytes;
}

class ImageQueries : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        image_folder = temporary_folder("newsloom_images_");
        ASSERT_FALSE(image_folder.empty());
        std::string path = image_folder + "/picture.png";
        ASSERT_TRUE(png_write(data_from_size(path.size(), path.data()), picture, 3, 2, false));
        std::string wide_path = image_folder + "/wide.png";
        std::string wide(64 * 32 * 4, 0);
        for (u32 i = 0; i < 64 * 32; i++) memcpy(&wide[i * 4], wide_colour, 4);
        ASSERT_TRUE(png_write(data_from_size(wide_path.size(), wide_path.data()), (const u8*)wide.data(), 64, 32, false));
        file_write("text.png", "this is not a picture");
        ASSERT_TRUE(image_server.start(image_folder.c_str(), false));
        // A stalled server ends a download in a second rather than a minute.
        os_http_set_time_outs(1000, 1000);
        ASSERT_EQ(downloads_prepare(), 0u);
    }
    static void TearDownTestSuite() {
        http_error_t error = 0;
        http_session_close(&error);
        image_server.stop();
        std::filesystem::remove_all(image_folder);
    }
    void SetUp() override {
        thread_queue_create(&thread_queue, 6);
        image_reports_reset();
    }
    void TearDown() override {
        wait_idle();
        thread_terminate(&thread_queue);
        for (image_query_t& query : image_queries) {
            if (query.state != image_state_free) image_query_release(&query);
        }
    }

    static image_query_t* get(u32 entry_id, const std::string& address, bool start = true) {
        return image_query_get(entry_id, data_from_size(address.size(), address.data()), start);
    }
    static std::string picture_address(const char* name) { return image_server.address("/feed/") + name; }
    // Nothing listens there: the download fails at once.
    static std::string refused_address(u32 n) { return "http://127.0.0.1:1/" + std::to_string(n); }
    // What the frame loop does while idle: sleep until a worker posts, look again.
    static void wait_idle(image_query_t* query) {
        while (atomic_load_acquire_u32(&query->busy)) ASSERT_TRUE(wake_wait(30000));
    }
    static void wait_idle() {
        for (image_query_t& query : image_queries) wait_idle(&query);
    }
    static u64 used_slots() {
        u64 used = 0;
        for (image_query_t& query : image_queries) used += query.state != image_state_free;
        return used;
    }
};

TEST_F(ImageQueries, ASlotIsOneAddressOfOneEntry) {
    std::string address = picture_address("picture.png");
    EXPECT_EQ(get(1, address, false), nullptr);
    EXPECT_EQ(used_slots(), 0u);

    image_query_t* first = get(1, address);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(get(1, address), first);
    EXPECT_EQ(get(1, address, false), first);
    image_query_t* other_entry = get(2, address);
    ASSERT_NE(other_entry, nullptr);
    EXPECT_NE(other_entry, first);
    // An address that only begins like a known one is another picture.
    EXPECT_EQ(get(1, address.substr(0, address.size() - 1), false), nullptr);
    EXPECT_EQ(used_slots(), 2u);

    // The copy of the address stays terminated for the HTTP layer.
    EXPECT_EQ(first->url.reserved, address.size() + 1);
    EXPECT_EQ(first->url.bytes[first->url.used], 0);
    EXPECT_NE(first->url.bytes, (u8*)address.data());
    wait_idle();
    EXPECT_EQ(first->state, image_state_loaded);
    EXPECT_EQ(other_entry->state, image_state_loaded);
}

TEST_F(ImageQueries, EachReplyEndsInItsState) {
    struct case_t {
        std::string address;
        u32 state;
        u32 error;
        u32 http_status;
    };
    const case_t cases[] = {
        {picture_address("picture.png"), image_state_loaded, 0, 0},
        // Without a Content-Length the file goes into the default block.
        {image_server.address("/feed-nolength/picture.png"), image_state_loaded, 0, 0},
        {picture_address("missing.png"), image_state_load_error, http_error_internet_open_url, 404},
        {refused_address(1), image_state_load_error, http_error_internet_open_url, 0},
        // A file that doesn't decode stays loading for good, with no worker on it.
        {picture_address("text.png"), image_state_loading, 0, 0},
        {image_server.address("/status500"), image_state_load_error, http_error_internet_open_url, 500},
        // A server may declare any size, or send more than the default block.
        {image_server.address("/declared/99999999999"), image_state_load_error, http_error_not_enough_storage, 0},
        {image_server.address("/bytes-nolength/6000000"), image_state_load_error, http_error_not_enough_storage, 0},
    };
    image_query_t* slots[ARRAY_COUNT(cases)];
    for (u32 i = 0; i < ARRAY_COUNT(cases); i++) {
        slots[i] = get(7, cases[i].address);
        ASSERT_NE(slots[i], nullptr) << i;
    }
    wait_idle();
    for (u32 i = 0; i < ARRAY_COUNT(cases); i++) {
        image_query_t* query = slots[i];
        EXPECT_EQ(query->state, cases[i].state) << cases[i].address;
        EXPECT_EQ(query->error, cases[i].error) << cases[i].address;
        EXPECT_EQ(query->http_status, cases[i].http_status) << cases[i].address;
        EXPECT_EQ(query->busy, 0u) << cases[i].address;
        if (query->state != image_state_loaded) {
            EXPECT_EQ(query->image.bytes, nullptr) << cases[i].address;
            continue;
        }
        ASSERT_EQ(query->width, 3u);
        ASSERT_EQ(query->height, 2u);
        ASSERT_EQ(query->channels, 4);
        ASSERT_EQ(query->image.used, sizeof(picture));
        // Bottom row first: blue, then red.
        EXPECT_EQ(0, memcmp(query->image.bytes, picture + 12, 12));
        EXPECT_EQ(0, memcmp(query->image.bytes + 12, picture, 12));
    }
    // The undecodable file is still asked for by its view, and nothing new starts.
    EXPECT_EQ(get(7, cases[4].address), slots[4]);
    EXPECT_EQ(slots[4]->busy, 0u);
    // The file that doesn't decode and the ones too large are told once each, at
    // the main thread's sweep; a plain failure shows in the view alone.
    u8* log_start = log_test_mark(log_user);
    image_queries_sweep();
    image_queries_sweep();
    std::string log = log_test_since(log_user, log_start);
    for (u32 i = 0; i < ARRAY_COUNT(cases); i++) {
        bool told = i == 4 || cases[i].error == http_error_not_enough_storage;
        EXPECT_EQ(text_count(log, cases[i].address), told ? 1u : 0u) << cases[i].address << "\n" << log;
    }
}

TEST_F(ImageQueries, AFrameSeesOneStateThroughAllItsPasses) {
    image_query_t* query = get(3, picture_address("picture.png"));
    ASSERT_NE(query, nullptr);
    EXPECT_EQ(image_query_frame_state(query, 5), image_state_loading);
    wait_idle();
    EXPECT_EQ(query->state, image_state_loaded);
    EXPECT_EQ(image_query_frame_state(query, 5), image_state_loading);
    EXPECT_EQ(image_query_frame_state(query, 6), image_state_loaded);
}

// 1024 slots of entries 100 to 1123 whose downloads failed at once, each younger
// than the one before. The ring holds 1023 jobs: the table fills in two rounds.
#define FILL_TABLE_WITH_FAILURES()                                                              \
    for (u32 round = 0; round < 2; round++) {                                                  \
        for (u32 i = round * 512; i < (round + 1) * 512; i++) {                                \
            ASSERT_NE(get(100 + i, refused_address(i)), nullptr) << i;                         \
        }                                                                                      \
        wait_idle();                                                                           \
    }                                                                                          \
    ASSERT_EQ(used_slots(), image_query_count)

TEST_F(ImageQueries, ANewAddressInAFullTableTakesTheOldestSlot) {
    FILL_TABLE_WITH_FAILURES();
    // Looking at a slot counts as using it: the second one is now the oldest.
    ASSERT_NE(get(100, refused_address(0), false), nullptr);
    image_query_t* second = nullptr;
    for (image_query_t& query : image_queries) {
        if (query.entry_id == 101) second = &query;
    }

    u8* log_start = log_test_mark(log_user);
    image_query_t* taken = get(5000, picture_address("picture.png"));
    EXPECT_EQ(taken, second);
    EXPECT_EQ(get(101, refused_address(1), false), nullptr);
    EXPECT_EQ(used_slots(), image_query_count);
    // An ordinary eviction isn't worth a line.
    EXPECT_EQ(log_test_since(log_user, log_start), "");
    wait_idle();
    EXPECT_EQ(taken->state, image_state_loaded);
    EXPECT_EQ(taken->entry_id, 5000u);
}

TEST_F(ImageQueries, AnEvictionPassesOverASlotThatIsStillLoading) {
    FILL_TABLE_WITH_FAILURES();
    // The oldest slot goes to a download that stalls, and the others are used
    // after it: the stalled one is the oldest.
    image_query_t* oldest = get(100, refused_address(0), false);
    image_query_release(oldest);
    image_query_t* stalled = get(9, image_server.address("/stall"));
    ASSERT_EQ(stalled, oldest);
    for (u32 i = 1; i < image_query_count; i++) get(100 + i, refused_address(i), false);
    ASSERT_EQ(stalled->busy, 1u);

    u8* log_start = log_test_mark(log_user);
    std::string address = picture_address("picture.png");
    image_query_t* taken = get(5000, address);
    ASSERT_NE(taken, nullptr);
    EXPECT_NE(taken, stalled);
    EXPECT_EQ(get(101, refused_address(1), false), nullptr);
    EXPECT_EQ(stalled->busy, 1u);
    EXPECT_EQ(stalled->entry_id, 9u);
    std::string log = log_test_since(log_user, log_start);
    EXPECT_EQ(text_count(log, "the oldest is still loading"), 1u) << log;
    EXPECT_EQ(text_count(log, address), 1u) << log;
    // Found again, nothing more is said.
    EXPECT_EQ(get(5000, address), taken);
    EXPECT_EQ(log_test_since(log_user, log_start), log);
    wait_idle();
    EXPECT_EQ(stalled->state, image_state_load_error);
}

TEST_F(ImageQueries, RemovingAnEntryReleasesItsSlotsEvenWhileOneLoads) {
    static u32 deleted_texture = 0;
    image_texture_delete_hook = [](u32 texture) { deleted_texture = texture; };
    block_storage_node_t before = *block_storage.free_list;

    image_query_t* loaded = get(9, picture_address("picture.png"));
    image_query_t* undecodable = get(9, picture_address("text.png"));
    image_query_t* failed = get(9, picture_address("missing.png"));
    image_query_t* kept = get(10, picture_address("picture.png"));
    ASSERT_TRUE(loaded && undecodable && failed && kept);
    wait_idle();
    image_query_t* stalled = get(9, image_server.address("/stall"));
    ASSERT_NE(stalled, nullptr);
    loaded->texture = 77;

    u8* log_start = log_test_mark(log_user);
    image_queries_remove_entry(9);
    for (image_query_t* query : {loaded, undecodable, failed}) {
        EXPECT_EQ(query->state, image_state_free);
        EXPECT_EQ(query->url.bytes, nullptr);
        EXPECT_EQ(query->image.bytes, nullptr);
    }
    EXPECT_EQ(deleted_texture, 77u);
    EXPECT_EQ(kept->state, image_state_loaded);
    // The worker still has the stalled one: it stays until its job ends.
    EXPECT_EQ(stalled->state, image_state_loading);
    image_queries_sweep();
    EXPECT_EQ(stalled->state, image_state_loading);
    EXPECT_EQ(log_test_since(log_user, log_start), "");

    wait_idle(stalled);
    image_queries_sweep();
    image_queries_sweep();
    EXPECT_EQ(stalled->state, image_state_free);
    std::string log = log_test_since(log_user, log_start);
    EXPECT_EQ(text_count(log, "/stall"), 1u) << log;
    EXPECT_EQ(get(9, image_server.address("/stall"), false), nullptr);

    image_query_release(kept);
    image_texture_delete_hook = nullptr;
    // Every address went back to block storage.
    EXPECT_EQ(block_storage.free_list->address, before.address);
    EXPECT_EQ(block_storage.free_list->size, before.size);
}

TEST_F(ImageQueries, ABusyTableOrAFullRingStartsNothing) {
    // Without workers every job stays queued and every slot busy.
    thread_terminate(&thread_queue);
    thread_queue_create(&thread_queue, 0);
    block_storage_node_t before = *block_storage.free_list;
    for (u32 i = 0; i < 1023; i++) ASSERT_NE(get(1, refused_address(i)), nullptr) << i;

    // The ring is full: the 1024th slot is given back with its address, asked
    // for in every frame and said once.
    u8* log_start = log_test_mark(log_user);
    EXPECT_EQ(get(1, refused_address(1023)), nullptr);
    EXPECT_EQ(get(1, refused_address(1023)), nullptr);
    EXPECT_EQ(used_slots(), 1023u);
    EXPECT_EQ(text_count(log_test_since(log_user, log_start), refused_address(1023)), 1u);

    // With every slot held by a worker, a new picture waits, said once.
    image_query_t* last = nullptr;
    for (image_query_t& query : image_queries) {
        if (query.state == image_state_free) last = &query;
    }
    ASSERT_NE(last, nullptr);
    last->state = image_state_loading;
    last->busy = 1;
    EXPECT_EQ(get(2, refused_address(2000)), nullptr);
    EXPECT_EQ(get(2, refused_address(2000)), nullptr);
    std::string log = log_test_since(log_user, log_start);
    EXPECT_EQ(text_count(log, refused_address(2000)), 1u) << log;
    EXPECT_EQ(used_slots(), image_query_count);

    // The queued jobs never run; the slots are given back as their ends would.
    last->state = image_state_free;
    for (image_query_t& query : image_queries) query.busy = 0;
    for (image_query_t& query : image_queries) {
        if (query.state != image_state_free) image_query_release(&query);
    }
    EXPECT_EQ(block_storage.free_list->address, before.address);
    EXPECT_EQ(block_storage.free_list->size, before.size);
}

// Without room for a picture's address nothing starts: the pictures on show ask
// in every frame, but the line comes once, and they start once room has come back.
TEST_F(ImageQueries, NoRoomForTheAddressStartsNothingUntilRoomComesBack) {
    image_query_t* idle = get(1, refused_address(1));
    ASSERT_NE(idle, nullptr);
    wait_idle(idle);
    std::vector<std::pair<void*, u64>> taken;
    while (block_storage.free_list) {
        u64 size = block_storage.free_list->size;
        taken.push_back({block_storage_allocate(&block_storage, size), size});
    }
    u8* log_start = log_test_mark(log_user);
    for (u32 frame = 0; frame < 3; frame++) {
        EXPECT_EQ(get(2, refused_address(2)), nullptr);
        EXPECT_EQ(get(2, refused_address(3)), nullptr);
    }
    std::string log = log_test_since(log_user, log_start);
    EXPECT_EQ(text_count(log, "no room"), 1u) << log;
    EXPECT_EQ(used_slots(), 1u);
    // The next run's start forgets it: still without room, it is said again.
    image_reports_reset();
    EXPECT_EQ(get(2, refused_address(2)), nullptr);
    EXPECT_EQ(text_count(log_test_since(log_user, log_start), "no room"), 2u);
    for (auto [address, size] : taken) block_storage_free(&block_storage, address, size);
    EXPECT_NE(get(2, refused_address(2)), nullptr);
}

TEST_F(ImageQueries, AResizeAsksForWhatFitsTheRoom) {
    struct case_t {
        image_room_t room;
        f32 placeholder_height;
        u32 state;
        u32 width, height;
        u32 texture_limit = 1024;
    };
    const case_t cases[] = {
        // Wider than the room less its paddings: scaled to the room.
        {{1, 50, 1000, 5, 5, 0}, 0, image_state_ready, 40, 20},
        // It fits: the decoded pixels are drawn as they are.
        {{1, 200, 1000, 5, 5, 0}, 0, image_state_ready, 64, 32},
        {{1, 74, 1000, 5, 5, 0}, 0, image_state_ready, 64, 32},
        // It would make the view scroll, so room is left for the bar.
        {{1, 50, 1000, 5, 5, 990}, 0, image_state_ready, 24, 12},
        // The placeholder it replaces gives its height back.
        {{1, 50, 1000, 5, 5, 990}, 15, image_state_ready, 40, 20},
        // A room narrower than its paddings asks for nothing.
        {{1, 8, 1000, 5, 5, 0}, 0, image_state_invalid_size, 0, 0},
        // Larger than a texture takes: scaled to fit one.
        {{1, 200, 1000, 5, 5, 0}, 0, image_state_ready, 16, 8, 16},
    };
    const u32 count = ARRAY_COUNT(cases);
    image_query_t* slots[count];
    for (u32 i = 0; i < count; i++) ASSERT_NE(slots[i] = get(20 + i, picture_address("wide.png")), nullptr);
    wait_idle();
    for (u32 i = 0; i < count; i++) {
        ASSERT_EQ(image_query_frame_state(slots[i], 10), image_state_loaded) << i;
        slots[i]->placeholder_height = cases[i].placeholder_height;
        // Only the first pass asks.
        image_room_t later_pass = cases[i].room;
        later_pass.pass_state = 2;
        image_request_resize(later_pass, slots[i]);
        EXPECT_EQ(slots[i]->state, image_state_loaded) << i;
        image_texture_size_limit = cases[i].texture_limit;
        image_request_resize(cases[i].room, slots[i]);
        // The same picture placed twice in the frame asks once.
        image_request_resize(cases[i].room, slots[i]);
    }
    image_texture_size_limit = 1024;
    wait_idle();
    for (u32 i = 0; i < count; i++) {
        image_query_t* query = slots[i];
        EXPECT_EQ(query->state, cases[i].state) << i;
        EXPECT_EQ(query->requested_width, cases[i].width) << i;
        EXPECT_EQ(query->requested_height, cases[i].height) << i;
        if (query->state != image_state_ready) {
            EXPECT_EQ(query->pixels.bytes, nullptr) << i;
            continue;
        }
        bool scaled = cases[i].width < 64;
        EXPECT_EQ(query->pixels.bytes == query->image.bytes, !scaled) << i;
        ASSERT_EQ(query->pixels.used, (u64)cases[i].width * cases[i].height * 4) << i;
        for (u64 at = 0; at < query->pixels.used; at += 4) {
            ASSERT_EQ(0, memcmp(query->pixels.bytes + at, wide_colour, 4)) << i << " at " << at;
        }
    }
    // Pixels that alias the decoded image are freed with it, once.
    image_query_release(slots[1]);
    EXPECT_EQ(slots[1]->pixels.bytes, nullptr);
    EXPECT_EQ(slots[1]->image.bytes, nullptr);
}
