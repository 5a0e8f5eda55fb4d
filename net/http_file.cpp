// The download steps over the platform's HTTP client, and the error names.
#include "net/http_file.h"

#include "base/format.h"
#include "base/text.h"
#include "platform/thread.h"
#include "profiler/profiler.h"

os_http_session_t http_session;

const data_t http_error_names[http_error_count] = {
    data_literal("http_error_none"),
    data_literal("http_error_internet_open"),
    data_literal("http_error_internet_close"),
    data_literal("http_error_not_initialized"),
    data_literal("http_error_file_not_opened"),
    data_literal("http_error_internet_open_url"),
    data_literal("http_error_internet_read_file"),
    data_literal("http_error_internet_close_url"),
    data_literal("http_error_not_enough_storage"),
    data_literal("http_error_file_storage_not_initialized"),
    data_literal("http_error_uri_is_not_zero_terminated"),
};

static thread_local char http_message[os_http_message_size];

data_t http_error_name(u32 error) {
    if (error >= http_error_count) return data_literal("http_error_unknown");
    return http_error_names[error];
}

const char* http_error_message() { return http_message; }
void http_error_message_clear() { http_message[0] = 0; }

static void http_message_set(const char* text) {
    u64 length = min_of<u64>(text_length(text), sizeof(http_message) - 1);
    bytes_copy(http_message, text, length);
    http_message[length] = 0;
}

// Set by http_session_expect, and once the session's opening is over.
static thread_event_t http_session_opened;

// Made anew for each start: no download waits at that time.
void http_session_expect() {
    if (http_session_opened) thread_event_close(http_session_opened);
    http_session_opened = thread_event_create();
}

static void http_session_opening_over() {
    if (http_session_opened) thread_event_set(http_session_opened);
}

void http_session_open(data_t user_agent, http_error_t* error) {
    if (*error || http_session) {
        http_session_opening_over();
        return;
    }
    char agent[4096];
    u64 length = min_of<u64>(user_agent.used, sizeof(agent) - 1);
    bytes_copy(agent, user_agent.bytes, length);
    agent[length] = 0;
    http_session = os_http_session_open(agent);
    if (!http_session) *error = http_error_internet_open;
    http_session_opening_over();
}

void http_session_close(http_error_t* error) {
    if (!http_session) return;
    bool closed = os_http_session_close(http_session);
    http_session = nullptr;
    if (!closed && !*error) *error = http_error_internet_close;
}

// Digits behind blanks, signs and leading zeros: 9 or more are above the cap
// whatever value the parse made of them.
static u64 http_significant_digits(const char* text) {
    while (*text && !(*text >= '1' && *text <= '9')) text++;
    u64 count = 0;
    while (text[count] >= '0' && text[count] <= '9') count++;
    return count;
}

http_file_t http_file_open(data_t address, http_error_t* error) {
    PROFILE_ZONE(http_file_open);
    http_file_t file = {};
    if (*error) return file;
    if (!http_session && http_session_opened) {
        // Each waiter wakes the next: the event lets one through at a time.
        thread_event_wait(http_session_opened);
        thread_event_set(http_session_opened);
    }
    if (!http_session) {
        *error = http_error_not_initialized;
        return file;
    }
    // A pasted address can be of any length; one that doesn't fit is a failed
    // download, not a stop.
    char terminated[4096];
    if (address.used >= sizeof(terminated)) {
        http_message_set("The address is longer than 4095 bytes.");
        *error = http_error_internet_open_url;
        return file;
    }
    bytes_copy(terminated, address.bytes, address.used);
    terminated[address.used] = 0;
    char message[os_http_message_size] = {};
    file.handle = os_http_open_url(http_session, terminated, message);
    if (!file.handle) {
        http_message_set(message);
        *error = http_error_internet_open_url;
        return file;
    }
    char length[128];
    if (os_http_query_content_length(file.handle, length, sizeof(length))) {
        u64 declared = parse_u64((const u8*)length, text_length(length));
        // The block follows the declared length, and a server may declare
        // anything: past the cap (or past what a number holds) the download fails
        // before a byte of it is allocated.
        if (declared > http_file_size_cap || http_significant_digits(length) > 8) {
            char text[os_http_message_size];
            data_t said = data_make(sizeof(text) - 1, 0, text);
            data_push_string(&said, "The server declares a length of ", 32);
            data_push_string(&said, length, min_of<u64>(text_length(length), 40));
            data_push_string(&said, " bytes, more than the 64 MiB a download may take.", 49);
            text[said.used] = 0;
            http_message_set(text);
            os_http_close(file.handle);
            file.handle = nullptr;
            *error = http_error_not_enough_storage;
            return file;
        }
        file.storage.reserved = declared;
    }
    if (!os_http_query_content_type(file.handle, file.content_type, sizeof(file.content_type))) {
        file.content_type[0] = 0;
    }
    return file;
}

u32 http_file_status(const http_file_t* file) { return file->handle ? os_http_status(file->handle) : 0; }

void http_file_get(http_file_t* file, http_error_t* error) {
    PROFILE_ZONE(http_file_get);
    if (*error) return;
    if (!file->handle) {
        *error = http_error_file_not_opened;
        return;
    }
    char message[os_http_message_size] = {};
    if (!file->storage.bytes || file->storage.reserved == 0) {
        *error = http_error_file_storage_not_initialized;
    } else {
        u64 remaining = file->storage.reserved;
        u8* target = file->storage.bytes;
        u64 total = 0;
        u64 read = 0;
        u64 chunk = min_of<u64>(remaining, 0xffffffff);
        while (!*error) {
            if (!os_http_read(file->handle, target, chunk, &read, message)) {
                http_message_set(message);
                *error = http_error_internet_read_file;
                break;
            }
            remaining -= read;
            target += read;
            total += read;
            if (read == 0 || remaining == 0) break;
            chunk = min_of<u64>(remaining, 0xffffffff);
        }
        file->storage.used = total;
        // The block is full, and the body may go on: a longer body is read away so
        // that the transfer ends cleanly, and reported.
        if (!*error && remaining == 0 && read != 0) {
            u8 probe[1024] = {};
            for (;;) {
                if (!os_http_read(file->handle, probe, sizeof(probe), &read, message)) {
                    http_message_set(message);
                    if (!*error) *error = http_error_internet_read_file;
                    break;
                }
                if (read == 0) break;
                *error = http_error_not_enough_storage;
            }
        }
    }
    bool closed = os_http_close(file->handle);
    file->handle = nullptr;
    if (!closed && !*error) *error = http_error_internet_close_url;
}
