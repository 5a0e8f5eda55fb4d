// Fetching the bytes at an address into a memory block: a session, and a download
// in two steps, since the size is known only once the response head is in. Status
// codes are not looked at; the error codes cover failures of transport only. Each
// operation does nothing when *error is already set, so a chain is tested once.
#pragma once

#include "base/data.h"
#include "platform/http.h"

typedef u32 http_error_t;
enum : u32 {
    http_error_none = 0,
    http_error_internet_open = 1,
    http_error_internet_close = 2,
    http_error_not_initialized = 3,
    http_error_file_not_opened = 4,
    http_error_internet_open_url = 5,
    http_error_internet_read_file = 6,
    http_error_internet_close_url = 7,
    http_error_not_enough_storage = 8,
    http_error_file_storage_not_initialized = 9,
    http_error_uri_is_not_zero_terminated = 10,
    http_error_count = 11,
};

// The most a declared Content-Length may be: a larger one fails the download with
// http_error_not_enough_storage before anything is allocated. Feeds and pictures
// both come through here.
constexpr u64 http_file_size_cap = 64ull << 20;

// The names are also the text the user sees.
extern const data_t http_error_names[http_error_count];
data_t http_error_name(u32 error);

struct http_file_t {
    os_http_request_t handle;  // null when not opened
    // On return from http_file_open, reserved is the Content-Length (0 without one).
    // The caller puts its own block here; http_file_get sets used to the bytes read.
    data_t storage;
    // The response's Content-Type, zero-terminated, empty without one: the feed's
    // charset may be there.
    char content_type[128];
};

extern os_http_session_t http_session;

void http_session_open(data_t user_agent, http_error_t* error);
// Says that another thread is about to open the session: until it has, a download
// waits for it rather than fail.
void http_session_expect();
void http_session_close(http_error_t* error);
// Blocks until the head of the final response is in.
http_file_t http_file_open(data_t address, http_error_t* error);
// Reads the body into storage and closes the file, even after a read error. A body
// longer than the block keeps what fit and gives http_error_not_enough_storage.
void http_file_get(http_file_t* file, http_error_t* error);
// The status code of the final response, between http_file_open and
// http_file_get; 0 for a file that isn't open. The download steps never look at
// it: a feed's 404 page is data. Pictures use it to tell a missing file from an
// undecodable one.
u32 http_file_status(const http_file_t* file);

// The system's message for the last failure of this thread, zero-terminated; empty
// when there was none. Log channels aren't synchronised, so the network layer,
// which runs on workers, never writes them: whoever reports the error does, on the
// main thread.
const char* http_error_message();
void http_error_message_clear();
