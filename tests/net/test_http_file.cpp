// Downloads through the real libcurl path from a local server: lengths, bodies
// longer and shorter than the block, status codes, redirects, stalls, refusals and
// a certificate nobody vouches for.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/text.h"
#include "net/http_file.h"
#include "tests/net/feed_server.h"

static feed_server_t http_server;

class HttpFile : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        ASSERT_TRUE(http_server.start(NEWSLOOM_TEST_DATA "/feeds", true));
        http_error_t error = 0;
        http_session_open(data_literal("newsloom"), &error);
        ASSERT_EQ(error, 0u);
        // Short enough that the stalls below fail within seconds.
        os_http_set_time_outs(1000, 1000);
    }
    static void TearDownTestSuite() {
        http_error_t error = 0;
        http_session_close(&error);
        os_http_set_time_outs(30000, 60000);
        http_server.stop();
    }
};

struct download_t {
    http_error_t error;
    u64 reported;  // Content-Length, 0 without
    std::vector<u8> bytes;
};

// The job's steps: open, a block of the reported size (or `block_size` when given),
// get.
static download_t download(const std::string& address, u64 block_size) {
    download_t result = {};
    http_error_message_clear();
    http_file_t file = http_file_open(data_from_size(address.size(), address.data()), &result.error);
    result.reported = file.storage.reserved;
    u64 size = block_size ? block_size : (file.storage.reserved ? file.storage.reserved : 4096);
    std::vector<u8> block(size);
    file.storage = data_make(size, 0, block.data());
    http_file_get(&file, &result.error);
    EXPECT_EQ(file.handle, nullptr) << address;  // closed whatever happened
    result.bytes.assign(block.begin(), block.begin() + file.storage.used);
    return result;
}

static bool is_pattern(const std::vector<u8>& bytes) {
    for (u64 i = 0; i < bytes.size(); i++) {
        if (bytes[i] != (u8)i) return false;
    }
    return true;
}

TEST_F(HttpFile, OutcomesOfTheLocalServer) {
    struct case_t {
        const char* path;
        u64 block_size;  // 0: as the job does
        http_error_t error;
        u64 reported;
        u64 used;
    };
    const case_t cases[] = {
        {"/bytes/1000", 0, http_error_none, 1000, 1000},  // exactly the reported length
        {"/bytes/0", 0, http_error_none, 0, 0},
        {"/bytes-nolength/1000", 0, http_error_none, 0, 1000},  // default block, shorter body
        {"/bytes-nolength/3000", 1000, http_error_not_enough_storage, 0, 1000},
        {"/bytes/70000", 20000, http_error_not_enough_storage, 70000, 20000},
        // Bytes past the Content-Length aren't part of the body.
        {"/longer/100/5000", 0, http_error_none, 100, 100},
        // Through two redirects, as an address moved twice comes.
        {"/redirect/redirect/bytes/300", 0, http_error_none, 300, 300},
        {"/cut/1000/500", 0, http_error_internet_read_file, 1000, 500},
        {"/stall-body/1000", 0, http_error_internet_read_file, 1000, 500},
        {"/stall", 0, http_error_internet_open_url, 0, 0},
    };
    for (const case_t& c : cases) {
        download_t result = download(http_server.address(c.path), c.block_size);
        EXPECT_EQ(result.error, c.error) << c.path << " " << http_error_message();
        EXPECT_EQ(result.reported, c.reported) << c.path;
        EXPECT_EQ(result.bytes.size(), c.used) << c.path;
        EXPECT_TRUE(is_pattern(result.bytes)) << c.path;
        // A failure leaves the system's reason for the log, and success nothing.
        EXPECT_EQ(http_error_message()[0] != 0,
                  c.error == http_error_internet_open_url || c.error == http_error_internet_read_file)
            << c.path << " " << http_error_message();
    }
}

// A server may declare any length and send at any pace: a declared length past
// 64 MiB fails before a block is taken, and a download that never falls silent
// still ends at the overall limit.
TEST_F(HttpFile, SizeCapAndOverallLimit) {
    struct case_t {
        const char* path;
        http_error_t error;
        u64 reported;
        const char* message;
    };
    const case_t cases[] = {
        {"/declared/67108865", http_error_not_enough_storage, 0,
         "The server declares a length of 67108865 bytes, more than the 64 MiB a download may take."},
        {"/declared/99999999999999999999999", http_error_not_enough_storage, 0, "more than the 64 MiB"},
        {"/declared/000000067108864", http_error_internet_read_file, 67108864, "nothing received"},
        {"/trickle/1000/100", http_error_internet_read_file, 1000, "the download took more than 2 s"},
    };
    os_http_set_time_outs(1000, 1000, 2000);
    for (const case_t& c : cases) {
        download_t result = download(http_server.address(c.path), 0);
        EXPECT_EQ(result.error, c.error) << c.path << " " << http_error_message();
        EXPECT_EQ(result.reported, c.reported) << c.path;
        EXPECT_NE(std::string(http_error_message()).find(c.message), std::string::npos)
            << c.path << " " << http_error_message();
    }
    os_http_set_time_outs(1000, 1000);
}

TEST_F(HttpFile, StatusCodesAreData) {
    download_t result = download(http_server.address("/status500"), 0);
    EXPECT_EQ(result.error, http_error_none);
    EXPECT_EQ(std::string(result.bytes.begin(), result.bytes.end()), "<html><body>Internal error</body></html>");
    result = download(http_server.address("/agent"), 0);
    EXPECT_EQ(result.error, http_error_none);
    EXPECT_EQ(std::string(result.bytes.begin(), result.bytes.end()), "newsloom");
}

TEST_F(HttpFile, OneRequestPerDownload) {
    EXPECT_EQ(download(http_server.address("/redirect/bytes/321"), 0).error, http_error_none);
    EXPECT_EQ(download(http_server.address("/bytes-nolength/3210"), 0).error, http_error_none);
    download_t seen = download(http_server.address("/requests"), 0);
    std::string requests(seen.bytes.begin(), seen.bytes.end());
    auto count = [&](const std::string& line) {
        u32 n = 0;
        for (size_t at = requests.find(line + "\n"); at != std::string::npos; at = requests.find(line + "\n", at + 1)) {
            n += at == 0 || requests[at - 1] == '\n';
        }
        return n;
    };
    EXPECT_EQ(count("GET /redirect/bytes/321"), 1u) << requests;
    EXPECT_EQ(count("GET /bytes/321"), 1u) << requests;
    EXPECT_EQ(count("GET /bytes-nolength/3210"), 1u) << requests;
    EXPECT_EQ(requests.find("HEAD "), std::string::npos) << requests;
}

TEST_F(HttpFile, ConnectionsThatFail) {
    std::string refused = "http://127.0.0.1:" + std::to_string(closed_port()) + "/feed";
    // 192.0.2.0/24 is reserved for documentation: nothing answers there, so only the
    // connect time-out ends the wait.
    const std::string addresses[] = {refused, http_server.tls_address("/bytes/10"), "http://192.0.2.1/feed",
                                     "notascheme://x/y", ""};
    for (const std::string& address : addresses) {
        download_t result = download(address, 0);
        EXPECT_EQ(result.error, http_error_internet_open_url) << address;
        EXPECT_NE(http_error_message()[0], 0) << address;
        EXPECT_TRUE(result.bytes.empty());
    }
}

TEST_F(HttpFile, ErrorsChain) {
    // A code set on entry: nothing happens, the file stays unopened.
    http_error_t error = http_error_internet_read_file;
    std::string address = http_server.address("/bytes/10");
    http_file_t file = http_file_open(data_from_size(address.size(), address.data()), &error);
    EXPECT_EQ(file.handle, nullptr);
    error = 0;
    http_file_get(&file, &error);
    EXPECT_EQ(error, http_error_file_not_opened);

    // A file without a block is closed and reported.
    error = 0;
    file = http_file_open(data_from_size(address.size(), address.data()), &error);
    ASSERT_EQ(error, 0u);
    file.storage = {};
    http_file_get(&file, &error);
    EXPECT_EQ(error, http_error_file_storage_not_initialized);
    EXPECT_EQ(file.handle, nullptr);

    // Without a session every download says so.
    os_http_session_t session = http_session;
    http_session = nullptr;
    error = 0;
    file = http_file_open(data_from_size(address.size(), address.data()), &error);
    EXPECT_EQ(error, http_error_not_initialized);
    http_session = session;
}
