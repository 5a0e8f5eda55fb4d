// Resolving a relative reference against a base address: split both into
// scheme, authority, path, query and fragment, take each from the reference or
// the base as RFC 3986 section 5.2 says, and remove the dot segments of the path.
#include "store/link_resolve.h"

#include "base/text.h"

struct link_parts_t {
    data_t scheme;     // without ':'
    data_t authority;  // without "//"
    data_t path;
    data_t query;  // with '?'
    data_t fragment;  // with '#'
    bool has_authority;
};

bool link_has_scheme(data_t text) {
    if (text.used == 0 || !char_is_alpha(text.bytes[0])) return false;
    for (u64 i = 1; i < text.used; i++) {
        u8 c = text.bytes[i];
        if (c == ':') return true;
        if (!char_is_alnum(c) && c != '+' && c != '-' && c != '.') return false;
    }
    return false;
}

static const u8* link_find_any(const u8* p, const u8* end, const char* set) {
    while (p < end && !char_is_any(*p, set, text_length(set))) p++;
    return p;
}

static link_parts_t link_split(data_t text) {
    link_parts_t parts = {};
    const u8* p = text.bytes;
    const u8* end = text.bytes + text.used;
    if (link_has_scheme(text)) {
        const u8* colon = link_find_any(p, end, ":");
        parts.scheme = data_from_range(p, colon);
        p = colon + 1;
    }
    if (end - p >= 2 && p[0] == '/' && p[1] == '/') {
        parts.has_authority = true;
        const u8* authority_end = link_find_any(p + 2, end, "/?#");
        parts.authority = data_from_range(p + 2, authority_end);
        p = authority_end;
    }
    const u8* path_end = link_find_any(p, end, "?#");
    parts.path = data_from_range(p, path_end);
    p = path_end;
    if (p < end && *p == '?') {
        const u8* query_end = link_find_any(p, end, "#");
        parts.query = data_from_range(p, query_end);
        p = query_end;
    }
    parts.fragment = data_from_range(p, end);
    return parts;
}

static bool link_push(data_t* out, const void* bytes, u64 size) {
    if (out->used + size > out->reserved) return false;
    if (size) bytes_copy(out->bytes + out->used, bytes, size);
    out->used += size;
    return true;
}

static bool link_push_data(data_t* out, data_t text) { return link_push(out, text.bytes, text.used); }

// Appends `path` to `out` with its "." and ".." segments taken out; a ".." never
// climbs above the path's start, whose first byte is at `root`.
static bool link_push_path(data_t* out, data_t path) {
    u64 root = out->used;
    const u8* p = path.bytes;
    const u8* end = path.bytes + path.used;
    while (p < end) {
        const u8* segment_end = link_find_any(p + (*p == '/' ? 1 : 0), end, "/");
        data_t segment = data_from_range(p, segment_end);
        bool slash = segment.used && segment.bytes[0] == '/';
        data_t name = slash ? data_from_range(segment.bytes + 1, segment_end) : segment;
        bool last = segment_end == end;
        if (bytes_equal(name.bytes, name.used, ".", 1)) {
            if (last && slash && !link_push(out, "/", 1)) return false;
        } else if (bytes_equal(name.bytes, name.used, "..", 2)) {
            // Drop the last segment written, with its slash.
            while (out->used > root && out->bytes[out->used - 1] != '/') out->used--;
            if (out->used > root) out->used--;
            if (last && slash && !link_push(out, "/", 1)) return false;
        } else if (!link_push_data(out, segment)) {
            return false;
        }
        p = segment_end;
    }
    return true;
}

static data_t link_trim(data_t text) {
    u8* first = text.bytes;
    u8* end = text.bytes + text.used;
    while (first < end && char_is_space(*first)) first++;
    while (end > first && char_is_space(end[-1])) end--;
    return data_from_range(first, end);
}

data_t link_resolve(data_t base, data_t reference, data_t* block) {
    reference = link_trim(reference);
    base = link_trim(base);
    if (reference.used == 0 || link_has_scheme(reference) || !link_has_scheme(base)) return reference;
    link_parts_t b = link_split(base);
    link_parts_t r = link_split(reference);

    data_t out = data_make(block->reserved - block->used, 0, block->bytes + block->used);
    bool fits = link_push_data(&out, b.scheme) && link_push(&out, ":", 1);
    if (r.has_authority) {
        fits = fits && link_push(&out, "//", 2) && link_push_data(&out, r.authority) && link_push_path(&out, r.path) &&
               link_push_data(&out, r.query);
    } else {
        if (b.has_authority) fits = fits && link_push(&out, "//", 2) && link_push_data(&out, b.authority);
        if (r.path.used == 0) {
            fits = fits && link_push_path(&out, b.path) && link_push_data(&out, r.query.used ? r.query : b.query);
        } else if (r.path.bytes[0] == '/') {
            fits = fits && link_push_path(&out, r.path) && link_push_data(&out, r.query);
        } else {
            // The base's path up to its last '/', then the reference's.
            u64 keep = b.path.used;
            while (keep > 0 && b.path.bytes[keep - 1] != '/') keep--;
            u8 merged_bytes[4096];
            data_t merged = data_make(sizeof(merged_bytes), 0, merged_bytes);
            if (b.has_authority && b.path.used == 0) fits = fits && link_push(&merged, "/", 1);
            fits = fits && link_push(&merged, b.path.bytes, keep) && link_push_data(&merged, r.path) &&
                   link_push_path(&out, merged) && link_push_data(&out, r.query);
        }
    }
    fits = fits && link_push_data(&out, r.fragment);
    if (!fits) return reference;
    block->used += out.used;
    return data_make(out.used, out.used, out.bytes);
}
