// newsloom-tool update [-path DIR] [-list FILE] [ADDRESS...]: an update without a
// window. It loads the newest store, queues the addresses (or every feed, as F5
// does), downloads on six workers, drains and merges as the frame loop does, saves
// with rotation and prints one line per feed.
#include <cstdio>
#include <cstring>

#include "app/app.h"
#include "app/update.h"
#include "base/data.h"
#include "base/log.h"
#include "net/block_storage.h"
#include "net/http_file.h"
#include "net/queries.h"
#include "net/work_queue.h"
#include "platform/wake.h"
#include "store/codepoint_set.h"
#include "store/reader.h"
#include "store/reader_file.h"
#include "tools/tool.h"
#include "views/panel.h"

static app_t update_app;
static reader_t update_reader;
static panel_t update_panel;
static query_t update_queries[query_table_size];
static codepoint_set_t update_codepoints;

// Addresses whose documents were merged, kept to name the feeds they went into.
static data_t update_done[query_table_size * 4];
static u32 update_done_count;
static u8 update_done_text[MIB(1)];
static data_t update_done_block = data_make(sizeof(update_done_text), 0, update_done_text);

// Noted by the drain itself: a download that finishes while the drain runs is
// merged in that drain and must be named too.
static void update_note_merged(void* context, data_t address) {
    if (update_done_count == ARRAY_COUNT(update_done)) return;
    u8* copy = data_push_string(&update_done_block, address.bytes, address.used);
    if (copy) update_done[update_done_count++] = data_make(address.used, address.used, copy);
}

static bool update_pending() {
    for (u64 i = 0; i < update_app.query_count; i++) {
        if (atomic_load_acquire_u32(&update_app.queries[i].state) != query_state_free) return true;
    }
    return false;
}

// What the drain wrote for the user: one paragraph per failed address.
static void update_print_user_log(u64 start) {
    log_channel_t* user = log_channel(log_user);
    if (user->text.used <= start) return;
    tool_write(stdout, user->text.bytes + start, user->text.used - start);
    fputc('\n', stdout);
}

// One line per feed, made before the save (which renumbers the generations the
// count needs) and printed after it, so that a failed save can be said on each.
static u8 update_line_text[MIB(1)];
static data_t update_line_block = data_make(sizeof(update_line_text), 0, update_line_text);
static data_t update_lines[query_table_size * 4];
static u32 update_line_count;

static void update_add_line(data_t address, const char* rest, u32 count) {
    char tail[64];
    int length = snprintf(tail, sizeof(tail), rest, count, count == 1 ? "y" : "ies");
    u8* start = data_end(update_line_block);
    if (!data_push_string(&update_line_block, address.bytes, address.used) ||
        !data_push_string(&update_line_block, tail, (u64)length) || update_line_count == ARRAY_COUNT(update_lines)) {
        return;
    }
    update_lines[update_line_count++] = data_from_range(start, data_end(update_line_block));
}

static void update_make_feed_lines() {
    u32 printed[query_table_size * 4];
    u32 printed_count = 0;
    for (u32 i = 0; i < update_done_count; i++) {
        feed_t* feed = reader_find_feed_by_address(&update_reader, update_done[i]);
        if (!feed) {
            update_add_line(update_done[i], ": no feed in the document", 0);
            continue;
        }
        bool seen = false;
        for (u32 p = 0; p < printed_count; p++) seen = seen || printed[p] == feed->id;
        if (seen) continue;
        printed[printed_count++] = feed->id;
        u32 fresh = 0;
        pool_iterator_t walk = pool_iterator_start(&update_reader.entries, sizeof(entry_t), entry_is_alive);
        while (entry_t* entry = (entry_t*)pool_iterator_next(&walk)) {
            fresh += entry->feed_id == feed->id && entry->generation == update_reader.generation;
        }
        update_add_line(feed->address, ": %u new entr%s", fresh);
    }
}

static void update_print_feed_lines(bool saved) {
    for (u32 i = 0; i < update_line_count; i++) {
        tool_write(stdout, update_lines[i].bytes, update_lines[i].used);
        fputs(saved ? "\n" : ", not saved\n", stdout);
    }
}

static int update_usage() {
    fprintf(stderr, "usage: newsloom-tool update [-path DIR] [-list FILE] [ADDRESS...]\n");
    return 2;
}

static int tool_update(int argc, char** argv) {
    const char* list = nullptr;
    for (int i = 1; i < argc; i++) {
        if (strcmp(argv[i], "-path") == 0 || strcmp(argv[i], "-list") == 0) {
            if (i + 1 >= argc) return update_usage();
            if (argv[i][1] == 'l') list = argv[i + 1];
            i++;
        } else if (argv[i][0] == '-') {
            return update_usage();
        }
    }

    // The start-up of the program, less the window: scratch and storage folder,
    // session, reader and its newest file, panel, workers, queries, block storage.
    update_app.scratch = data_allocate(0xa00000);
    if (!storage_path_resolve(&update_app)) {
        fputs(storage_path_too_long_message, stderr);
        return 1;
    }
    http_error_t http_error = 0;
    http_session_open(data_literal("newsloom"), &http_error);
    data_t codepoint_block;
    reader_init_standalone(&update_reader, &update_codepoints, &codepoint_block);
    reader_load_status_t status = {};
    if (!reader_load(&update_app.scratch, update_app.storage_path, &update_reader, &status)) {
        char message[2048];
        u64 length = reader_load_message(&status, message, sizeof(message));
        fprintf(stderr, "%.*s\n", (int)length, message);
        return 1;
    }
    update_app.start_generation = update_reader.generation;
    update_panel.generation_min = update_app.start_generation;
    update_panel.generation_max = update_app.start_generation;
    update_panel.right_panel = panel_right_add_feed;
    update_panel.log_auto_scroll = 1;
    update_app.panel = &update_panel;
    thread_queue_create(&thread_queue, 6);
    update_app.queries = update_queries;
    update_app.query_count = query_table_size;
    block_storage_create(&block_storage, block_storage_region_size, block_storage_commit_size,
                         block_storage_block_size);

    u64 user_start = log_channel(log_user)->text.used;
    bool any_address = false;
    if (list) {
        reader_add_address_list(&update_app, &update_reader, data_from_size(strlen(list), list));
        any_address = true;
    }
    for (int i = 1; i < argc; i++) {
        if (argv[i][0] == '-') {
            i++;
            continue;
        }
        reader_add_address(&update_app, &update_reader, data_from_size(strlen(argv[i]), argv[i]));
        any_address = true;
    }
    if (!any_address) reader_update_all(&update_app, &update_reader);
    update_print_user_log(user_start);

    // The frame loop, idle between wake-ups: each round drains what finished.
    while (update_pending()) {
        wake_wait(1000);
        user_start = log_channel(log_user)->text.used;
        queries_drain(&update_app, &update_reader, update_note_merged, nullptr);
        data_clear(&update_app.scratch);
        update_print_user_log(user_start);
    }

    // The program's shutdown.
    thread_terminate(&thread_queue);
    reader_purge_deleted(&update_reader);
    reader_check(&update_reader);
    update_make_feed_lines();
    user_start = log_channel(log_user)->text.used;
    bool saved = reader_save(&update_app.scratch, update_app.storage_path, &update_reader);
    http_session_close(&http_error);
    update_print_feed_lines(saved);
    if (!saved) {
        log_channel_t* user = log_channel(log_user);
        tool_write(stderr, user->text.bytes + user_start, user->text.used - user_start);
        fputc('\n', stderr);
        return 1;
    }
    return 0;
}

TOOL_COMMAND("update", "[-path DIR] [-list FILE] [ADDRESS...]", tool_update);
