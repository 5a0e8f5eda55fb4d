// Draining the query table: failures to the logs and the log panel, documents
// into the reader, with the selection found again after each merge.
#include "app/queries_drain.h"

#include "app/app.h"
#include "app/panel.h"
#include "base/log.h"
#include "base/text.h"
#include "net/block_storage.h"
#include "net/http_file.h"
#include "net/queries.h"
#include "platform/thread.h"
#include "profiler/profiler.h"
#include "store/feed_merge.h"
#include "store/reader.h"

static void user_paragraph_start() {
    log_channel_t* user = log_channel(log_user);
    if (user->text.used || user->overflowed) log_write(log_user, data_literal("\n\n"));
}

static void drain_failure(app_t* app, query_t* query) {
    if (query->error_message[0]) {
        log_write_c_string(log_main, query->error_message);
        log_write(log_main, data_literal("\n"));
    }
    data_t name = http_error_name(query->error);
    log_write(log_main, data_literal("http_get_file error: "));
    log_write(log_main, query->address);
    log_write(log_main, data_literal(" returned ("));
    log_write_u64(log_main, query->error);
    log_write(log_main, data_literal(") "));
    log_write(log_main, name);
    log_write(log_main, data_literal("\n"));

    user_paragraph_start();
    log_write(log_user, data_literal("Error while retrieving feed: "));
    log_write(log_user, query->address);
    log_write(log_user, data_literal("\n    Returned ("));
    log_write_u64(log_user, query->error);
    log_write(log_user, data_literal(") "));
    log_write(log_user, name);
    panel_show_log(app->panel);
    // Neither the address nor the block is given back on this path: failures are
    // rare and the leak small.
}

static void drain_merge(app_t* app, reader_t* reader, query_t* query, feed_t* feed) {
    PROFILE_ZONE(queries_check_not_removed);
    panel_t* panel = app->panel;
    log_write(log_main, data_literal("Parsing: "));
    log_write(log_main, query->address);
    log_write(log_main, data_literal("\n"));

    // Merging moves entries, so the selection is kept by its unique id and found
    // again afterwards. An id too long for the buffer (a feed can write anything
    // there) falls back on the entry's record id below.
    u8 unique_buffer[1024];
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

    feed_t* merged = reader_merge_document(app, reader, query->data, query->address, feed);

    if (by_unique_id && unique_id.used) {
        ASSERT(panel->selected_feed != nullptr);
        panel->selected_entry = reader_find_entry_by_unique_id(reader, panel->selected_feed->id, unique_id);
    } else if (!by_unique_id) {
        panel->selected_entry = reader_find_entry_by_id(reader, kept_feed_id, kept_entry_id);
    }
    data_free(&query->data);
    block_storage_free(&block_storage, query->address.bytes, query->address.reserved);
    data_zero(&query->address);

    kept_feed_id = panel->selected_entry ? panel->selected_entry->feed_id : 0;
    kept_entry_id = panel->selected_entry ? panel->selected_entry->id : 0;
    if (merged) {
        // Every feed has its record of flags; a new one gets it here.
        feed_meta_t* meta = reader_ensure_meta(reader, merged);
        ASSERT(meta != nullptr);
        reader_sort_feed(reader, merged);
    }
    panel->selected_entry = reader_find_entry_by_id(reader, kept_feed_id, kept_entry_id);
}

void queries_drain(app_t* app, reader_t* reader) {
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
            // Removed while it downloaded: the result is dropped, nothing released.
            if (!feed) {
                atomic_store_release_u32(&query->state, query_state_free);
                continue;
            }
        } else {
            feed = reader_find_feed_by_address(reader, query->address);
            // The same new address was queued twice and the first copy made the
            // feed: this result merges into it rather than making a second one.
            if (feed) {
                user_paragraph_start();
                log_write(log_user, data_literal("Queued twice, merged into one feed: "));
                log_write(log_user, query->address);
            }
        }
        drain_merge(app, reader, query, feed);
        atomic_store_release_u32(&query->state, query_state_free);
    }
}
