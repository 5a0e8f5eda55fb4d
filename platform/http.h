// HTTP and HTTPS GET through libcurl, cut to the four steps the program needs: open
// a session, open an address (blocks until the head of the final response is in,
// redirects followed), read the body in pieces straight into the caller's memory,
// close. Status codes are not looked at. Failures give the library's message.
#pragma once

#include "base/types.h"

typedef struct os_http_session_s* os_http_session_t;
typedef struct os_http_request_s* os_http_request_t;

constexpr u64 os_http_message_size = 256;

// Direct connections: no proxy, no cache, no compression (a Content-Length must be
// the size of the bytes read). Null on failure.
os_http_session_t os_http_session_open(const char* user_agent);
bool os_http_session_close(os_http_session_t session);

// Connect time-out, the time a transfer may receive nothing, and the time a whole
// download may take from its open to its last byte, before it fails: 30 s, 60 s and
// 300 s unless changed. The last holds against a server that trickles a byte at a
// time and so never falls silent. Tests shorten them.
void os_http_set_time_outs(u64 connect_milliseconds, u64 idle_milliseconds, u64 total_milliseconds = 300000);

// Null on failure, with the reason in `message`, zero-terminated.
os_http_request_t os_http_open_url(os_http_session_t session, const char* address, char* message);
// The Content-Length of the final response as its text, zero-terminated; false
// when the response has none or it doesn't fit.
bool os_http_query_content_length(os_http_request_t request, char* buffer, u64 size);
// The Content-Type of the final response, zero-terminated; false when it has none
// or it doesn't fit.
bool os_http_query_content_type(os_http_request_t request, char* buffer, u64 size);
// The status code of the final response (after redirects); 0 when none was read.
u32 os_http_status(os_http_request_t request);
// The next bytes of the body, at most `size`; *read 0 with true means the end.
// False on failure, with the reason in `message`.
bool os_http_read(os_http_request_t request, void* buffer, u64 size, u64* read, char* message);
bool os_http_close(os_http_request_t request);
