// Feed address normalisation.
#include "store/feed_address.h"

#include "base/text.h"
#include "store/feed_merge.h"

struct youtube_marker_t {
    data_t marker;
    data_t query_key;
};

data_t feed_address_normalise(data_t address, u8* buffer) {
    // The bare domain, so that any scheme or sub-domain in front matches.
    const youtube_marker_t markers[3] = {
        {data_literal("youtube.com/c/"), data_literal("user=")},
        {data_literal("youtube.com/user/"), data_literal("user=")},
        {data_literal("youtube.com/channel/"), data_literal("channel_id=")},
    };
    u8* end = address.bytes + address.used;
    for (const youtube_marker_t& m : markers) {
        u8* found = bytes_find(address.bytes, end, m.marker.bytes, m.marker.used);
        if (found == end) continue;
        u8* name = found + m.marker.used;
        u8* name_end = bytes_find(name, end, "/", 1);
        name_end = bytes_find(name, name_end, "?", 1);
        data_t rewritten = data_make(feed_address_capacity, 0, buffer);
        data_t prefix = data_literal(youtube_feed_address);
        data_push_bytes(&rewritten, prefix.bytes, prefix.used, 1);
        data_push_bytes(&rewritten, m.query_key.bytes, m.query_key.used, 1);
        u64 room = rewritten.reserved - rewritten.used;
        u64 name_length = (u64)(name_end - name);
        data_push_bytes(&rewritten, name, name_length < room ? name_length : room, 1);
        address = rewritten;
        end = address.bytes + address.used;
        break;
    }
    u8* first = bytes_find_not_space(address.bytes, end);
    if (!first) return data_t{};
    return data_from_range(first, end);
}
