// The update road: requests that fill query slots, and the drain of finished
// ones, with failures to the logs and the log panel, documents into the reader,
// and the selection found again after each merge.
#include "app/update.h"

#include "app/app.h"
#include "base/file.h"
#include "base/log.h"
#include "base/text.h"
#include "net/block_storage.h"
#include "net/http_file.h"
#include "net/queries.h"
#include "platform/thread.h"
#include "profiler/profiler.h"
#include "store/feed_address.h"
#include "store/feed_merge.h"
#include "store/reader.h"
#include "views/panel.h"

void generation_advance(app_t* app, reader_t* reader) {
    reader->generation += 1;
    if (app->panel) {
        app->panel->generation_min = reader->generation;
        app->panel->generation_max = reader->generation;
    }
}

// The first request of a run moves the generation on, so that the left panel
// shows what is about to come in.
static void update_generation(app_t* app, reader_t* reader) {
    if (app->start_generation == reader->generation) generation_advance(app, reader);
    ASSERT(reader->generation > 0);
}

void feed_update(app_t* app, reader_t* reader, feed_t* feed) {
    ASSERT(feed_is_alive(feed));
    query_submit(app->queries, app->query_count, block_storage_copy(&block_storage, feed->address), feed->id);
}

void reader_update_selected(app_t* app, reader_t* reader) {
    update_generation(app, reader);
    feed_t* feed = app->panel ? app->panel->selected_feed : nullptr;
    if (feed) feed_update(app, reader, feed);
}

void reader_update_all(app_t* app, reader_t* reader) {
    update_generation(app, reader);
    pool_iterator_t walk = pool_iterator_start(&reader->feeds, sizeof(feed_t), feed_is_alive);
    while (feed_t* feed = (feed_t*)pool_iterator_next(&walk)) {
        if (!feed_is_deleted(feed)) feed_update(app, reader, feed);
    }
}

void reader_add_address(app_t* app, reader_t* reader, data_t address) {
    update_generation(app, reader);
    if (address.used == 0) return;
    u8 buffer[feed_address_capacity];
    data_t text = feed_address_normalise(address, buffer);
    if (text.used == 0) return;
    data_t copy = block_storage_copy(&block_storage, text);
    u32 feed_id = query_new_feed;
    feed_t* feed = reader_find_feed_by_address(reader, text);
    if (feed) feed_id = feed->id;
    query_submit(app->queries, app->query_count, copy, feed_id);
}

void reader_add_address_list(app_t* app, reader_t* reader, data_t path) {
    update_generation(app, reader);
    file_error_t error = 0;
    data_t block = file_read_all(path, false, &error);
    if (error) log_file_failure("Could not read the list of feeds ", path, error);
    u8* p = block.bytes;
    u8* end = block.bytes + (error ? 0 : block.used);
    while (p && p < end) {
        while (p < end && char_is_space(*p)) p++;
        u8* line = p;
        while (p < end && *p != '\n' && *p != '\r') p++;
        if (p > line) reader_add_address(app, reader, data_from_range(line, p));
        while (p < end && (*p == '\n' || *p == '\r')) p++;
    }
    data_free(&block);
}

// A failed address's paragraph in the log panel, which opens; the caller writes
// the reason behind the indentation.
static void drain_failure_paragraph(app_t* app, data_t address) {
    log_paragraph_start(log_user);
    log_write(log_user, data_literal("Error while retrieving feed: "));
    log_write(log_user, address);
    log_write(log_user, data_literal("\n    "));
    panel_show_log(app->panel);
}

// "(5) http_error_internet_open_url": the error's number and its name.
static void drain_error_number(u64 channel, u32 error) {
    log_write(channel, data_literal("("));
    log_write_u64(channel, error);
    log_write(channel, data_literal(") "));
    log_write(channel, http_error_name(error));
}

// The slot's downloaded block and its copy of the address go back. A slot that
// no request filled (the tests' stand-ins) has no copy in block storage.
static void drain_release(query_t* query) {
    data_free(&query->data);
    if (query->address.bytes && block_storage_contains(&block_storage, query->address.bytes)) {
        block_storage_free(&block_storage, query->address.bytes, query->address.reserved);
    }
    data_zero(&query->address);
}

static void drain_failure(app_t* app, query_t* query) {
    if (query->error_message[0]) {
        log_write_c_string(log_main, query->error_message);
        log_write(log_main, data_literal("\n"));
    }
    log_write(log_main, data_literal("http_get_file error: "));
    log_write(log_main, query->address);
    log_write(log_main, data_literal(" returned "));
    drain_error_number(log_main, query->error);
    log_write(log_main, data_literal("\n"));

    drain_failure_paragraph(app, query->address);
    log_write(log_user, data_literal("Returned "));
    drain_error_number(log_user, query->error);
    // The number and name alone don't tell a refused connection from a bad
    // certificate or a time-out: the system's reason follows in words.
    if (query->error_message[0]) {
        log_write(log_user, data_literal("\n    "));
        log_write_c_string(log_user, query->error_message);
    }
    drain_release(query);
}

static void drain_merge(app_t* app, reader_t* reader, query_t* query, feed_t* feed, drain_merged_t merged_note,
                        void* context) {
    PROFILE_ZONE(queries_check_not_removed);
    panel_t* panel = app->panel;
    log_write(log_main, data_literal("Parsing: "));
    log_write(log_main, query->address);
    log_write(log_main, data_literal("\n"));

    // Merging moves entries, so the selection is kept by its unique id and found
    // again afterwards. An id too long for the buffer (a feed can write anything
    // there) falls back on the entry's record id below.
    u8 unique_buffer[1024];
    u32 shown_id = panel->selected_entry ? panel->selected_entry->id : 0;
    data_t unique_id = entry_unique_id(panel->selected_entry);
    u32 kept_feed_id = 0;
    u32 kept_entry_id = 0;
    bool by_unique_id = unique_id.used <= sizeof(unique_buffer);
    if (by_unique_id) {
        bytes_copy(unique_buffer, unique_id.bytes, unique_id.used);
        unique_id = data_make(sizeof(unique_buffer), unique_id.used, unique_buffer);
    } else {
        kept_feed_id = panel->selected_entry->feed_id;
        kept_entry_id = panel->selected_entry->id;
        unique_id = data_t{};
    }

    u32 merge_error = merge_error_none;
    data_t content_type = data_from_size(text_length(query->content_type), query->content_type);
    feed_t* merged =
        reader_merge_document(&app->scratch, reader, query->data, query->address, feed, &merge_error, content_type);
    if (merge_error) {
        // A document the merge refuses is a failed download, like one that never came.
        data_t why = merge_error_text(merge_error);
        log_write(log_main, why);
        log_write(log_main, data_literal("\n"));
        drain_failure_paragraph(app, query->address);
        log_write(log_user, why);
    } else if (merged_note) {
        merged_note(context, query->address);
    }

    if (by_unique_id && unique_id.used) {
        ASSERT(panel->selected_feed != nullptr);
        panel->selected_entry = reader_find_entry_by_unique_id(reader, panel->selected_feed->id, unique_id);
    } else if (!by_unique_id) {
        panel->selected_entry = reader_find_entry_by_id(reader, kept_feed_id, kept_entry_id);
    }
    drain_release(query);

    kept_feed_id = panel->selected_entry ? panel->selected_entry->feed_id : 0;
    kept_entry_id = panel->selected_entry ? panel->selected_entry->id : 0;
    if (merged) {
        // Every feed has its record of flags; a new one gets it here.
        feed_meta_t* meta = reader_ensure_meta(reader, merged);
        ASSERT(meta != nullptr);
        reader_sort_feed(reader, merged);
    }
    panel->selected_entry = reader_find_entry_by_id(reader, kept_feed_id, kept_entry_id);
    // A newer text of the shown entry comes as a new record in its place, with an
    // id of its own: the entry view parses it afresh, at the scroll it had.
    if ((panel->selected_entry ? panel->selected_entry->id : 0) != shown_id) panel->content_parsed = 0;
}

void queries_drain(app_t* app, reader_t* reader, drain_merged_t merged, void* context) {
    for (u64 i = 0; i < app->query_count; i++) {
        query_t* query = &app->queries[i];
        if (atomic_load_acquire_u32(&query->state) != query_state_finished) continue;
        if (query->error) {
            drain_failure(app, query);
            atomic_store_release_u32(&query->state, query_state_free);
            continue;
        }
        feed_t* feed = nullptr;
        if (query->feed_id != query_new_feed) {
            feed = reader_find_feed_by_id(reader, query->feed_id);
            // Removed while it downloaded: the result is dropped.
            if (!feed) {
                drain_release(query);
                atomic_store_release_u32(&query->state, query_state_free);
                continue;
            }
        } else {
            feed = reader_find_feed_by_address(reader, query->address);
            // The same new address was queued twice and the first copy made the
            // feed: this result merges into it rather than making a second one.
            if (feed) {
                log_paragraph_start(log_user);
                log_write(log_user, data_literal("Queued twice, merged into one feed: "));
                log_write(log_user, query->address);
            }
        }
        drain_merge(app, reader, query, feed, merged, context);
        atomic_store_release_u32(&query->state, query_state_free);
    }
}
