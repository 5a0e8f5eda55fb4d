// libcurl behind platform/http.h. Each request drives its own multi handle, so that
// opening can stop as soon as the head of the final response is in and the body is
// then pulled piece by piece into the caller's buffer: body bytes that arrive before
// there is a buffer stay inside libcurl (the transfer is paused), and only the part of
// one network read that overflows the caller's buffer is kept aside here.
//
// libcurl is loaded when the session opens, not with the program: it brings some
// forty libraries whose loading would hold up the window at start, and the session
// opens on start-up's loading thread.
#include <curl/curl.h>
#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>
#include <time.h>

#include "platform/http.h"

struct os_http_session_s {
    char user_agent[256];
};

struct os_http_request_s {
    CURL* easy;
    CURLM* multi;
    bool done;
    CURLcode result;
    bool head_done;
    bool paused;
    // The response whose head is being read; redirects and 1xx replies restart it.
    u32 status;
    bool has_location;
    char content_length[64];
    bool has_content_length;
    // The caller's buffer during a read.
    u8* target;
    u64 target_size;
    u64 target_filled;
    // What one network read brought beyond the caller's buffer.
    u8* spill;
    u64 spill_size;
    u64 spill_start;
    u64 spill_capacity;
    char error_buffer[CURL_ERROR_SIZE];
    u64 last_receive_ms;  // on the monotonic clock
    u64 start_ms;
};

static u64 os_http_connect_ms = 30000;
static u64 os_http_idle_ms = 60000;
static u64 os_http_total_ms = 300000;

static u64 os_http_now_ms() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (u64)now.tv_sec * 1000 + (u64)now.tv_nsec / 1000000;
}

void os_http_set_time_outs(u64 connect_milliseconds, u64 idle_milliseconds, u64 total_milliseconds) {
    os_http_connect_ms = connect_milliseconds;
    os_http_idle_ms = idle_milliseconds;
    os_http_total_ms = total_milliseconds;
}

// The libcurl functions used here, found once in the library loaded at run time.
#define CURL_FUNCTIONS(X)  \
    X(global_init)         \
    X(global_cleanup)      \
    X(easy_strerror)       \
    X(easy_init)           \
    X(easy_cleanup)        \
    X(easy_setopt)         \
    X(easy_getinfo)        \
    X(easy_pause)          \
    X(multi_init)          \
    X(multi_cleanup)       \
    X(multi_add_handle)    \
    X(multi_remove_handle) \
    X(multi_perform)       \
    X(multi_poll)          \
    X(multi_info_read)

struct curl_functions_t {
#define CURL_MEMBER(name) decltype(&::curl_##name) name;
    CURL_FUNCTIONS(CURL_MEMBER)
#undef CURL_MEMBER
};
static curl_functions_t curl;

// True once every function is there; a library that can't be loaded leaves the
// session unopened, and each download then says why.
static bool curl_load() {
    static bool loaded = false;
    if (loaded) return true;
    void* library = dlopen("libcurl.so.4", RTLD_LAZY | RTLD_LOCAL);
    if (!library) return false;
    curl_functions_t found = {};
    bool complete = true;
#define CURL_FIND(name)                                               \
    found.name = (decltype(found.name))dlsym(library, "curl_" #name); \
    complete = complete && found.name;
    CURL_FUNCTIONS(CURL_FIND)
#undef CURL_FIND
    if (!complete) return false;
    curl = found;
    loaded = true;
    return true;
}

os_http_session_t os_http_session_open(const char* user_agent) {
    if (!curl_load()) return nullptr;
    if (curl.global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK) return nullptr;
    os_http_session_t session = (os_http_session_t)calloc(1, sizeof(os_http_session_s));
    if (!session) return nullptr;
    strncpy(session->user_agent, user_agent, sizeof(session->user_agent) - 1);
    return session;
}

bool os_http_session_close(os_http_session_t session) {
    if (!session) return false;
    free(session);
    curl.global_cleanup();
    return true;
}

static void os_http_message(char* message, const char* text) {
    if (!message) return;
    strncpy(message, text, os_http_message_size - 1);
    message[os_http_message_size - 1] = 0;
}

// The detailed text libcurl wrote for this transfer, else the code's general text.
static void os_http_result_message(os_http_request_t request, CURLcode result, char* message) {
    os_http_message(message, request->error_buffer[0] ? request->error_buffer : curl.easy_strerror(result));
}

static bool header_name_is(const char* line, size_t size, const char* name) {
    size_t length = strlen(name);
    return size > length && strncasecmp(line, name, length) == 0 && line[length] == ':';
}

static size_t os_http_header(char* line, size_t one, size_t size, void* user) {
    os_http_request_t request = (os_http_request_t)user;
    request->last_receive_ms = os_http_now_ms();
    if (size >= 5 && strncmp(line, "HTTP/", 5) == 0) {
        // A new response: a redirect or an interim reply came before it.
        request->status = 0;
        request->has_location = false;
        request->has_content_length = false;
        const char* blank = (const char*)memchr(line, ' ', size);
        if (blank) {
            for (const char* c = blank + 1; c < line + size && *c >= '0' && *c <= '9'; c++) {
                request->status = request->status * 10 + (u32)(*c - '0');
            }
        }
    } else if (header_name_is(line, size, "location")) {
        request->has_location = true;
    } else if (header_name_is(line, size, "content-length")) {
        const char* value = line + strlen("content-length:");
        const char* end = line + size;
        while (value < end && (*value == ' ' || *value == '\t')) value++;
        while (end > value && (end[-1] == '\r' || end[-1] == '\n' || end[-1] == ' ' || end[-1] == '\t')) end--;
        size_t length = (size_t)(end - value);
        request->has_content_length = length < sizeof(request->content_length);
        if (request->has_content_length) {
            memcpy(request->content_length, value, length);
            request->content_length[length] = 0;
        }
    } else if ((size == 2 && line[0] == '\r') || (size == 1 && line[0] == '\n')) {
        bool interim = request->status >= 100 && request->status < 200;
        bool followed = request->status >= 300 && request->status < 400 && request->has_location;
        if (!interim && !followed) request->head_done = true;
    }
    return size;
}

static bool os_http_spill(os_http_request_t request, const u8* bytes, u64 size) {
    if (request->spill_size + size > request->spill_capacity) {
        u64 capacity = request->spill_size + size;
        u8* spill = (u8*)realloc(request->spill, capacity);
        if (!spill) return false;
        request->spill = spill;
        request->spill_capacity = capacity;
    }
    memcpy(request->spill + request->spill_size, bytes, size);
    request->spill_size += size;
    return true;
}

static size_t os_http_write(char* bytes, size_t one, size_t size, void* user) {
    os_http_request_t request = (os_http_request_t)user;
    u64 room = request->target ? request->target_size - request->target_filled : 0;
    if (room == 0) {
        // No buffer yet, or it is full: libcurl keeps the bytes until the next read.
        request->paused = true;
        return CURL_WRITEFUNC_PAUSE;
    }
    request->last_receive_ms = os_http_now_ms();
    u64 taken = size < room ? size : room;
    memcpy(request->target + request->target_filled, bytes, taken);
    request->target_filled += taken;
    if (taken < size && !os_http_spill(request, (const u8*)bytes + taken, size - taken)) return 0;
    return size;
}

// Runs the transfer until `enough` holds or it ends. The idle time is measured
// here rather than by libcurl's low-speed limit, which averages over several
// seconds and so lets a stalled transfer run on past the time.
static void os_http_drive(os_http_request_t request, bool (*enough)(os_http_request_t)) {
    while (!request->done && !enough(request)) {
        u64 now = os_http_now_ms();
        u64 idle = now - request->last_receive_ms;
        u64 total = now - request->start_ms;
        if (idle >= os_http_idle_ms || total >= os_http_total_ms) {
            request->done = true;
            request->result = CURLE_OPERATION_TIMEDOUT;
            if (idle >= os_http_idle_ms) {
                snprintf(request->error_buffer, sizeof(request->error_buffer),
                         "Operation timed out: nothing received for %llu s", (unsigned long long)(idle / 1000));
            } else {
                snprintf(request->error_buffer, sizeof(request->error_buffer),
                         "Operation timed out: the download took more than %llu s",
                         (unsigned long long)(os_http_total_ms / 1000));
            }
            break;
        }
        int running = 0;
        if (curl.multi_perform(request->multi, &running) != CURLM_OK) {
            request->done = true;
            request->result = CURLE_FAILED_INIT;
            break;
        }
        int left = 0;
        while (CURLMsg* message = curl.multi_info_read(request->multi, &left)) {
            if (message->msg == CURLMSG_DONE) {
                request->done = true;
                request->result = message->data.result;
            }
        }
        if (request->done || enough(request)) break;
        u64 wait = min_of<u64>(min_of<u64>(1000, os_http_idle_ms - idle), os_http_total_ms - total);
        curl.multi_poll(request->multi, nullptr, 0, (int)max_of<u64>(wait, 1), nullptr);
    }
}

static bool os_http_head_is_in(os_http_request_t request) { return request->head_done; }
static bool os_http_has_bytes(os_http_request_t request) { return request->target_filled > 0; }

static void os_http_free(os_http_request_t request) {
    if (request->multi) {
        curl.multi_remove_handle(request->multi, request->easy);
        curl.multi_cleanup(request->multi);
    }
    if (request->easy) curl.easy_cleanup(request->easy);
    free(request->spill);
    free(request);
}

os_http_request_t os_http_open_url(os_http_session_t session, const char* address, char* message) {
    os_http_request_t request = (os_http_request_t)calloc(1, sizeof(os_http_request_s));
    if (!request) {
        os_http_message(message, "Out of memory");
        return nullptr;
    }
    request->easy = curl.easy_init();
    request->multi = curl.multi_init();
    if (!request->easy || !request->multi) {
        os_http_message(message, "The transfer could not be set up");
        os_http_free(request);
        return nullptr;
    }
    CURL* easy = request->easy;
    curl.easy_setopt(easy, CURLOPT_URL, address);
    curl.easy_setopt(easy, CURLOPT_USERAGENT, session->user_agent);
    curl.easy_setopt(easy, CURLOPT_HTTPGET, 1L);
    curl.easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
    curl.easy_setopt(easy, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
    curl.easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 1L);
    curl.easy_setopt(easy, CURLOPT_MAXREDIRS, 20L);
    curl.easy_setopt(easy, CURLOPT_PROXY, "");
    curl.easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
    curl.easy_setopt(easy, CURLOPT_CONNECTTIMEOUT_MS, (long)os_http_connect_ms);
    curl.easy_setopt(easy, CURLOPT_ERRORBUFFER, request->error_buffer);
    curl.easy_setopt(easy, CURLOPT_HEADERFUNCTION, os_http_header);
    curl.easy_setopt(easy, CURLOPT_HEADERDATA, request);
    curl.easy_setopt(easy, CURLOPT_WRITEFUNCTION, os_http_write);
    curl.easy_setopt(easy, CURLOPT_WRITEDATA, request);
    curl.multi_add_handle(request->multi, easy);
    request->last_receive_ms = os_http_now_ms();
    request->start_ms = request->last_receive_ms;

    os_http_drive(request, os_http_head_is_in);
    if (request->done && request->result != CURLE_OK) {
        os_http_result_message(request, request->result, message);
        os_http_free(request);
        return nullptr;
    }
    return request;
}

bool os_http_query_content_length(os_http_request_t request, char* buffer, u64 size) {
    if (!request->has_content_length) return false;
    u64 length = strlen(request->content_length);
    if (length + 1 > size) return false;
    memcpy(buffer, request->content_length, length + 1);
    return true;
}

bool os_http_query_content_type(os_http_request_t request, char* buffer, u64 size) {
    const char* type = nullptr;
    if (curl.easy_getinfo(request->easy, CURLINFO_CONTENT_TYPE, &type) != CURLE_OK || !type) return false;
    u64 length = strlen(type);
    if (length + 1 > size) return false;
    memcpy(buffer, type, length + 1);
    return true;
}

u32 os_http_status(os_http_request_t request) { return request->status; }

bool os_http_read(os_http_request_t request, void* buffer, u64 size, u64* read, char* message) {
    *read = 0;
    if (size == 0) return true;
    request->target = (u8*)buffer;
    request->target_size = size;
    request->target_filled = 0;
    if (request->spill_start < request->spill_size) {
        u64 waiting = request->spill_size - request->spill_start;
        u64 taken = waiting < size ? waiting : size;
        memcpy(buffer, request->spill + request->spill_start, taken);
        request->spill_start += taken;
        request->target_filled = taken;
        if (request->spill_start == request->spill_size) request->spill_start = request->spill_size = 0;
    }
    if (request->target_filled == 0) {
        if (request->paused) {
            request->paused = false;
            // May hand over the held bytes at once, through os_http_write.
            curl.easy_pause(request->easy, CURLPAUSE_CONT);
        }
        // The caller reads again as soon as it has the last bytes; the time it took
        // in between isn't the server's.
        request->last_receive_ms = os_http_now_ms();
        os_http_drive(request, os_http_has_bytes);
    }
    request->target = nullptr;
    *read = request->target_filled;
    if (*read == 0 && request->done && request->result != CURLE_OK) {
        os_http_result_message(request, request->result, message);
        return false;
    }
    return true;
}

bool os_http_close(os_http_request_t request) {
    if (!request) return false;
    os_http_free(request);
    return true;
}
