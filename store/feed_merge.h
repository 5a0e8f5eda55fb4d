// reader_merge_document: one downloaded RSS or Atom document into the reader, with
// the decision by date and then by identity of which entries are new.
#pragma once

#include "base/data.h"
#include "store/reader.h"

// The feed address of the video service, scheme and host included. The merge
// recognises the service's feeds by it, and the address code builds them from it.
constexpr char youtube_feed_address[] = "https://www.youtube.com/feeds/videos.xml?";

// Why a document was refused as a failed download.
enum : u32 {
    merge_error_none = 0,
    merge_error_root_not_closed = 1,  // cut short: the feed keeps its dates
};
// The words for the log panel; empty for none.
data_t merge_error_text(u32 error);

// Gives the feed merged into (new or given), or `feed` itself when the document
// holds none or was refused; a refusal sets *error when it is given. The arena is
// a free view of `scratch`, whose used doesn't move. `content_type` is the
// response's, whose charset comes before the document's own declaration.
feed_t* reader_merge_document(data_t* scratch, reader_t* reader, data_t document, data_t address, feed_t* feed,
                              u32* error = nullptr, data_t content_type = data_t{});

// Adds a category or person whose strings are raw views of the document, and the
// relation from the owner to it; `count` is the owner's counter of that relation.
// False when a pool was full and nothing was added.
bool reader_add_category(reader_t* reader, u32 encoding, category_t* record, u32 kind, u32 owner_id, u32* count,
                         data_t* arena);
bool reader_add_person(reader_t* reader, u32 encoding, person_t* record, u32 kind, u32 owner_id, u32* count,
                       data_t* arena);

// What the drain does after a merge that gave a feed: make its record of flags if
// it has none, with the first link target. Null only when the metas pool is full.
feed_meta_t* reader_ensure_meta(reader_t* reader, feed_t* feed);
// Back to an empty store that keeps its memory, so that the next merge is a first
// one (benchmarks and fuzzing merge the same documents again and again).
void reader_remove_all(reader_t* reader);
