// The feed scanner's three passes: tags, tree, and text at store time.
#include "store/xml_scanner.h"

#include "base/format.h"
#include "base/log.h"
#include "base/text.h"
#include "html/named_references.h"
#include "store/codepoint_set.h"
#include "store/reader.h"
#include "store/reader_seams.h"

static const char* const xml_tag_names[xml_tag_other] = {
    "xml",         "rss",        "rdf",        "channel",       "title",       "link",
    "description", "language",   "copyright",  "managingEditor", "webMaster",  "pubDate",
    "lastBuildDate", "category", "generator",  "docs",          "cloud",       "ttl",
    "image",       "rating",     "textInput",  "skipHours",     "skipDays",    "url",
    "width",       "height",     "name",       "hour",          "day",         "item",
    "author",      "comments",   "enclosure",  "guid",          "source",      "cdata",
    "comment",     "uri",        "email",      "feed",          "id",          "updated",
    "contributor", "icon",       "logo",       "rights",        "subtitle",    "entry",
    "content",     "published",  "summary",    "media:group",   "media:thumbnail", "media:description",
    "dc:creator",  "dc:date",    "dc:title",   "itunes:author", "rdf:RDF",
};

static const char* const xml_attribute_names[xml_attribute_other] = {
    "encoding", "xmlns", "version", "domain", "port",   "path", "registerProcedure",
    "protocol", "url",   "length",  "type",   "isPermaLink", "src", "term",
    "scheme",   "label", "uri",     "href",   "rel",    "hreflang", "title", "xml:base", "rdf:about",
};

static bool name_is(data_t name, const char* text) {
    u64 i = 0;
    for (; i < name.used; i++) {
        if (text[i] == 0 || (u8)text[i] != name.bytes[i]) return false;
    }
    return text[i] == 0;
}

xml_tag_t xml_tag_from_name(data_t name) {
    for (u32 i = 0; i < xml_tag_other; i++) {
        if (name_is(name, xml_tag_names[i])) return (xml_tag_t)i;
    }
    return xml_tag_other;
}

xml_attribute_kind_t xml_attribute_from_name(data_t name) {
    for (u32 i = 0; i < xml_attribute_other; i++) {
        if (name_is(name, xml_attribute_names[i])) return (xml_attribute_kind_t)i;
    }
    return xml_attribute_other;
}

// ---------------------------------------------------------------------------
// Pass 1: tags

// The first `byte` in the range, or `end`: eight bytes a word.
static inline const u8* xml_find_byte(const u8* p, const u8* end, u8 byte) {
    const u64 ones = 0x0101010101010101ull;
    const u64 highs = 0x8080808080808080ull;
    const u64 pattern = ones * byte;
    while (end - p >= 8) {
        u64 word;
        __builtin_memcpy(&word, p, 8);
        u64 x = word ^ pattern;
        u64 found = (x - ones) & ~x & highs;
        if (found) return p + (__builtin_ctzll(found) >> 3);
        p += 8;
    }
    while (p < end && *p != byte) p++;
    return p;
}

static const u64 xml_no_position = ~(u64)0;

xml_scan_t xml_scan_tags(data_t* arena, data_t document) {
    xml_scan_t scan = {};
    u8* doc = document.bytes;
    u64 size = document.used;
    u64 i = 0;
    while (i < size) {
        bool in_single_quote = false, in_double_quote = false, in_comment = false, in_cdata = false,
             in_declaration = false, self_closing = false;
        u64 opening = xml_no_position;
        u64 closing = xml_no_position;
        for (; i < size; i++) {
            // Text between tags, and the insides of comments and CDATA, have only one
            // byte that matters; skip to it a word at a time.
            if (opening == xml_no_position) {
                i = (u64)(xml_find_byte(doc + i, doc + size, '<') - doc);
                if (i >= size) break;
            } else if (in_comment || in_cdata) {
                i = (u64)(xml_find_byte(doc + i, doc + size, '>') - doc);
                if (i >= size) break;
            }
            u8 c = doc[i];
            if (c == '"' || c == '\'') {
                if (opening == xml_no_position || in_comment || in_cdata) continue;
                bool& own = c == '"' ? in_double_quote : in_single_quote;
                bool other = c == '"' ? in_single_quote : in_double_quote;
                if (!own && !other) {
                    own = true;
                } else if (own) {
                    own = false;
                }
            } else if (c == '<') {
                if (in_single_quote || in_double_quote || in_comment || in_cdata || in_declaration) continue;
                if (opening != xml_no_position) {
                    log_write_c_string(log_main, "'<' inside an already opened tag.\n");
                    continue;
                }
                opening = i;
                if (i + 1 < size) {
                    u8 next = doc[i + 1];
                    if (next == '!' && i + 3 < size && doc[i + 2] == '-' && doc[i + 3] == '-') {
                        in_comment = true;
                    } else if (next == '!' && i + 8 < size &&
                               bytes_equal(doc + i + 2, 7, "[CDATA[", 7)) {
                        in_cdata = true;
                    } else if (next == '?' && i + 4 < size && char_to_lower(doc[i + 2]) == 'x' &&
                               char_to_lower(doc[i + 3]) == 'm' && char_to_lower(doc[i + 4]) == 'l') {
                        in_declaration = true;
                        opening += 1;
                    }
                }
            } else if (c == '>') {
                if (in_single_quote || in_double_quote || opening == xml_no_position) continue;
                u64 d = i - opening;
                if (in_comment) {
                    if (d >= 5 && doc[i - 1] == '-' && doc[i - 2] == '-') closing = i;
                } else if (in_cdata) {
                    if (d >= 10 && doc[i - 1] == ']' && doc[i - 2] == ']') closing = i;
                } else if (in_declaration) {
                    closing = i;
                    if (doc[i - 1] != '?') log_write_c_string(log_main, "Malformed xml tag.\n");
                } else {
                    closing = i;
                    if (doc[i - 1] == '/') self_closing = true;
                }
                if (closing != xml_no_position) {
                    i += 1;
                    break;
                }
            }
        }
        if (opening == xml_no_position || closing == xml_no_position || opening >= closing) continue;

        xml_token_t* token = (xml_token_t*)data_push(arena, sizeof(xml_token_t), 8);
        if (!token) {
            scan.overflowed = 1;
            break;
        }
        if (!scan.tokens) scan.tokens = token;
        scan.token_count += 1;
        bytes_zero(token, sizeof(xml_token_t));
        token->start = doc + opening + 1;
        token->end = doc + closing;
        token->is_self_closing = self_closing;
        token->is_cdata = in_cdata;
        token->is_comment = in_comment;
        token->is_declaration = in_declaration;
        u8* name = token->start;
        if (*name == '/') {
            token->is_closing = 1;
            name += 1;
        }
        u64 length;
        if (in_comment) {
            length = 3;
        } else if (in_cdata) {
            length = 8;
        } else {
            u8* p = name;
            while (p < token->end && !char_is_space(*p)) p++;
            length = (u64)(p - name);
        }
        token->name = data_make(length, length, name);
    }
    return scan;
}

// ---------------------------------------------------------------------------
// Pass 2: tree

xml_node_t* xml_node_create(data_t* block, xml_token_t* token) {
    xml_node_t* node = (xml_node_t*)data_push(block, sizeof(xml_node_t), 8);
    if (!node) return nullptr;
    bytes_zero(node, sizeof(xml_node_t));
    if (token->is_cdata) {
        node->tag = xml_tag_cdata;
    } else if (token->is_comment) {
        node->tag = xml_tag_comment;
    } else {
        node->tag = xml_tag_from_name(token->name);
    }
    return node;
}

bool xml_parse_attributes(data_t* list_block, data_t* attribute_block, xml_token_t* token, xml_node_t* node) {
    u8* cursor = token->start + token->name.used;
    u8* end = token->end;
    node->attributes = (xml_attribute_t**)data_end(*list_block);
    // White space of any kind separates attributes and may stand around '=': an
    // attribute written on the next line, or after a tab, is read like any other.
    while (cursor < end) {
        while (cursor < end && char_is_space(*cursor)) cursor++;
        u8* name_start = cursor;
        while (cursor < end && *cursor != '=') cursor++;
        if (cursor >= end) return true;
        u8* name_end = cursor;
        while (name_end > name_start && char_is_space(name_end[-1])) name_end--;
        cursor++;
        while (cursor < end && char_is_space(*cursor)) cursor++;
        if (cursor >= end || (*cursor != '"' && *cursor != '\'')) {
            log_write_c_string(log_main, "Attribute value doesn't start with ' or \".\n");
            while (cursor < end && !char_is_space(*cursor)) cursor++;
        } else {
            u8 quote = *cursor;
            u8* value_start = cursor + 1;
            u8* value_end = value_start;
            while (value_end < end && *value_end != quote) value_end++;
            if (value_end >= end) return true;
            cursor = value_end;
            xml_attribute_t* attribute = (xml_attribute_t*)data_push(attribute_block, sizeof(xml_attribute_t), 8);
            xml_attribute_t** slot = attribute ? (xml_attribute_t**)data_push(list_block, sizeof(void*), 8) : nullptr;
            if (!slot) return false;
            attribute->kind = xml_attribute_from_name(data_from_range(name_start, name_end));
            attribute->value = data_from_range(value_start, value_end);
            *slot = attribute;
            node->attribute_count += 1;
        }
        cursor++;
    }
    return true;
}

static bool token_name_equal(const xml_token_t* a, const xml_token_t* b) {
    return a->name.used == b->name.used && bytes_equal(a->name.bytes, a->name.used, b->name.bytes, b->name.used);
}

// The node of a token, made once; parses its attributes unless it is CDATA or a
// comment. Null when the node block is full.
static xml_node_t* xml_token_node(xml_document_t* document, xml_token_t* token) {
    if (token->node) return token->node;
    xml_node_t* node = xml_node_create(&document->nodes, token);
    if (!node) {
        document->overflowed = 1;
        return nullptr;
    }
    document->node_count += 1;
    token->node = node;
    if (!token->is_cdata && !token->is_comment &&
        !xml_parse_attributes(&document->attribute_lists, &document->attributes, token, node)) {
        document->overflowed = 1;
    }
    return node;
}

static bool xml_append_child(xml_document_t* document, xml_node_t* parent, xml_node_t* child) {
    xml_node_t** slot = (xml_node_t**)data_push(&document->child_lists, sizeof(void*), 8);
    if (!slot) {
        document->overflowed = 1;
        return false;
    }
    *slot = child;
    parent->child_count += 1;
    return true;
}

xml_document_t xml_build_tree(data_t* arena, xml_token_t* tokens, u64 token_count) {
    xml_document_t document = {};
    document.nodes = data_sub_block(arena, xml_node_block_size, 0);
    document.attributes = data_sub_block(arena, xml_sub_block_size, 0);
    document.attribute_lists = data_sub_block(arena, xml_sub_block_size, 0);
    document.child_lists = data_sub_block(arena, xml_sub_block_size, 0);
    ASSERT(document.nodes.bytes && document.attributes.bytes && document.attribute_lists.bytes &&
           document.child_lists.bytes);
    document.node_count = 0;

    for (u64 i = 0; i < token_count; i++) {
        xml_token_t* t = &tokens[i];
        if (t->is_closing) continue;
        xml_node_t* node = xml_token_node(&document, t);
        if (!node) break;
        if (t->is_self_closing) continue;
        if (t->is_cdata) {
            node->text = data_from_range(t->start + 8, t->end - 2);
            continue;
        }
        if (t->is_comment) {
            node->text = data_from_range(t->start + 3, t->end - 2);
            continue;
        }
        node->children = (xml_node_t**)data_end(document.child_lists);
        u64 j = i + 1;
        for (; j < token_count; j++) {
            xml_token_t* other = &tokens[j];
            bool special = other->is_cdata || other->is_comment;
            if (!special && other->is_closing && token_name_equal(other, t)) break;
            xml_node_t* child = xml_token_node(&document, other);
            if (!child || !xml_append_child(&document, node, child)) break;
            if (special || other->is_self_closing) continue;
            i64 depth = 0;
            for (u64 k = j + 1; k < token_count; k++) {
                xml_token_t* inner = &tokens[k];
                if (!token_name_equal(inner, other)) continue;
                if (inner->is_closing) {
                    depth -= 1;
                } else if (!inner->is_self_closing) {
                    depth += 1;
                }
                if (depth < 0) {
                    j = k;
                    break;
                }
            }
        }
        bool closed = j < token_count && tokens[j].is_closing && !tokens[j].is_cdata && !tokens[j].is_comment &&
                      token_name_equal(&tokens[j], t);
        if (closed) {
            node->inner = data_from_range(t->end + 1, tokens[j].start - 1);
            if (j == i + 1) node->text = node->inner;
        }
        if (document.overflowed) break;
    }
    return document;
}

data_t xml_node_value(const xml_node_t* node) {
    if (node->text.used == 0 && node->child_count == 1 && node->children[0]->tag == xml_tag_cdata) {
        return node->children[0]->text;
    }
    return node->text;
}

void xml_print_node(xml_node_t* node) {
    log_write_indentation(log_main);
    if (node->tag < xml_tag_other) {
        log_write_c_string(log_main, xml_tag_names[node->tag]);
    } else {
        log_write_c_string(log_main, "?");
    }
    log_write_c_string(log_main, " ( ");
    for (u32 i = 0; i < node->attribute_count; i++) {
        xml_attribute_t* attribute = node->attributes[i];
        if (i) log_write_c_string(log_main, ", ");
        log_write_c_string(log_main, attribute->kind < xml_attribute_other ? xml_attribute_names[attribute->kind] : "?");
        log_write_c_string(log_main, "=");
        log_write(log_main, attribute->value);
    }
    log_write_c_string(log_main, " ) ");
    if (node->text.used) {
        log_write_c_string(log_main, ": ");
        log_write(log_main, node->text);
    }
    log_write_c_string(log_main, "\n");
    log_indent_more(log_main);
    for (u32 i = 0; i < node->child_count; i++) xml_print_node(node->children[i]);
    log_indent_less(log_main);
}

// ---------------------------------------------------------------------------
// Pass 3: text

// The table of names is walked linearly by its own lookup; feeds are full of
// "&lt;" and "&amp;", so the scanner keeps an index by hash beside it. It gives
// the same row as the walk: the first row with the name.
constexpr u32 entity_index_size = 8192;

static u32 entity_hash(const u8* name, u64 length) { return hash_fnv1a_32(name, length) & (entity_index_size - 1); }

static const u16* entity_index() {
    static u16 index[entity_index_size];  // row + 1, 0 for an empty place
    static bool built = false;
    if (built) return index;
    for (u32 row = 0; row < named_reference_row_count; row++) {
        const char* name = named_reference_names[row];
        if (!name) continue;
        u64 length = named_reference_lengths[row];
        u32 place = entity_hash((const u8*)name, length);
        bool taken = false;
        while (index[place]) {
            u32 other = index[place] - 1u;
            if (named_reference_lengths[other] == length &&
                bytes_equal(named_reference_names[other], length, name, length)) {
                taken = true;
                break;
            }
            place = (place + 1) & (entity_index_size - 1);
        }
        if (!taken) index[place] = (u16)(row + 1);
    }
    built = true;
    return index;
}

static bool entity_lookup(const u8* name, u64 length, u32* codepoint) {
    if (length == 0 || length > named_reference_name_capacity) return false;
    const u16* index = entity_index();
    u32 place = entity_hash(name, length);
    while (index[place]) {
        u32 row = index[place] - 1u;
        if (named_reference_lengths[row] == length && bytes_equal(named_reference_names[row], length, name, length)) {
            *codepoint = named_reference_codepoints[row];
            return true;
        }
        place = (place + 1) & (entity_index_size - 1);
    }
    return false;
}

// The value of the digits in base 10 or 16 that start at `at`, up to the first
// other byte; 0 without a digit. Anything past the last code point is held there,
// so that a long number can't wrap round to a small one.
static u64 xml_reference_number(const u8* at, const u8* end, u32 base) {
    u64 value = 0;
    for (; at < end; at++) {
        u32 digit;
        u8 c = *at;
        if (c >= '0' && c <= '9') {
            digit = c - '0';
        } else if (base == 16 && char_to_lower(c) >= 'a' && char_to_lower(c) <= 'f') {
            digit = char_to_lower(c) - 'a' + 10;
        } else {
            break;
        }
        value = min_of<u64>(value * base + digit, 0x110000);
    }
    return value;
}

void xml_parse_entity(u8* text, u64 length, u32* result) {
    if (length < 2) return;
    if (text[1] != '#') {
        u32 first = 0;
        if (entity_lookup(text + 1, length - 1, &first)) *result = first;
        return;
    }
    // Only a lower-case 'x' marks base 16. A number that is no scalar value (past
    // U+10FFFF, or a surrogate) stands for the replacement character.
    bool hex = length > 2 && text[2] == 'x';
    u64 value = xml_reference_number(text + (hex ? 3 : 2), text + length, hex ? 16 : 10);
    if (value == 0) return;
    *result = codepoint_is_valid((u32)value) && value <= 0x10FFFF ? (u32)value : codepoint_replacement;
}

// UTF-8 of one scalar value; the caller has made sure that it is one.
static inline u32 xml_utf8_put(u8* out, u32 c) {
    if (c <= 0x7F) {
        out[0] = (u8)c;
        return 1;
    }
    if (c <= 0x7FF) {
        out[0] = (u8)(0xC0 | (c >> 6));
        out[1] = (u8)(0x80 | (c & 0x3F));
        return 2;
    }
    if (c <= 0xFFFF) {
        out[0] = (u8)(0xE0 | (c >> 12));
        out[1] = (u8)(0x80 | ((c >> 6) & 0x3F));
        out[2] = (u8)(0x80 | (c & 0x3F));
        return 3;
    }
    out[0] = (u8)(0xF0 | (c >> 18));
    out[1] = (u8)(0x80 | ((c >> 12) & 0x3F));
    out[2] = (u8)(0x80 | ((c >> 6) & 0x3F));
    out[3] = (u8)(0x80 | (c & 0x3F));
    return 4;
}

// The end of the run of printable ASCII other than '&' that starts at p, eight
// bytes a word.
static inline const u8* xml_plain_ascii_end(const u8* p, const u8* end) {
    const u64 ones = 0x0101010101010101ull, highs = 0x8080808080808080ull;
    while (end - p >= 8) {
        u64 w;
        __builtin_memcpy(&w, p, 8);
        u64 del = w ^ (ones * 0x7F);
        u64 amp = w ^ (ones * '&');
        u64 special = (w & highs) | ((w - ones * 0x20) & ~w & highs) | ((del - ones) & ~del & highs) |
                      ((amp - ones) & ~amp & highs);
        if (special) break;
        p += 8;
    }
    while (p < end && (u8)(*p - 0x20) < 0x5F && *p != '&') p++;
    return p;
}

static inline void xml_note_codepoint(codepoint_set_t* codepoints, u32 c) {
    if (!codepoint_set_contains(codepoints, c)) codepoint_set_add(codepoints, c);
}

data_t xml_decode_text(data_t source, codepoint_set_t* codepoints, u32 encoding, data_t* arena, bool* complete_out,
                       bool expand_entities) {
    data_t output = data_free_view_64(arena);
    bool complete = true;
    const u8* first = source.bytes;
    const u8* end = source.bytes + source.used;
    const u8* p = first;
    u8* out = output.bytes;
    u8* out_end = output.bytes + output.reserved;
    // Where the last search for ';' ended: each '&' looks through the rest of the
    // text, and the answer holds until the position passes it.
    const u8* semicolon = nullptr;
    u8 decoder_state[3] = {};
    bool no_semicolon_left = false;
    // Encodings in which a byte below 0x80 at the start of a character is that
    // ASCII character; the others go through the decoder for every byte.
    bool ascii_runs = encoding != 34 && encoding != 37 && encoding != 38 && encoding != 39 && encoding <= 40;
    while (p < end) {
        if (ascii_runs) {
            // Printable ASCII other than '&' is copied as it stands; control bytes
            // and the rest take the path below, which notes new code points.
            u64 room = (u64)(out_end - out);
            const u8* run_end = (u64)(end - p) < room ? end : p + room;
            const u8* q = xml_plain_ascii_end(p, run_end);
            if (q > p) {
                __builtin_memcpy(out, p, (u64)(q - p));
                out += q - p;
                p = q;
                if (p >= end) break;
            }
        }
        if (out_end - out < 4) {
            complete = false;
            break;
        }
        u32 c;
        u32 length;
        if (*p < 0x80 && encoding == reader_encoding_utf8) {
            c = *p;
            length = 1;
        } else {
            reader_decode(encoding, p, end, &c, &length, decoder_state);
        }
        if (c != '&' || !expand_entities) {
            if (!codepoint_is_valid(c)) c = codepoint_replacement;
            if (c < 0x20 || c >= 0x7F) xml_note_codepoint(codepoints, c);
            out += xml_utf8_put(out, c);
            p += length;
            continue;
        }
        if (!no_semicolon_left && (!semicolon || semicolon <= p)) {
            semicolon = p;
            while (semicolon < end && *semicolon != ';') semicolon++;
            if (semicolon == end) no_semicolon_left = true;
        }
        if (no_semicolon_left) {
            *out++ = '&';
            p += 1;
            continue;
        }
        u32 result = 0;
        xml_parse_entity((u8*)p, (u64)(semicolon - p), &result);
        if (result == 0) {
            *out++ = '&';
            p += length;
            continue;
        }
        out += xml_utf8_put(out, result);
        p = semicolon + 1;
        xml_note_codepoint(codepoints, result);
    }
    u64 n = (u64)(out - output.bytes);
    output.used = n;
    output.reserved = n;
    *complete_out = complete;
    return output;
}

static bool reader_store_decoded(reader_t* reader, data_t source, data_t* destination, codepoint_set_t* codepoints,
                                 u32 encoding, data_t* arena, bool expand_entities) {
    bool complete = true;
    data_t output = xml_decode_text(source, codepoints, encoding, arena, &complete, expand_entities);
    u64 n = output.used;
    // Compares with the bytes behind the text, not with the text: a field that
    // holds anything is stored anew, as it always was.
    data_t room = data_free_view_64(arena);
    u8* behind = output.bytes + n;
    u8* free_end = room.bytes + room.reserved;
    if (destination->used != 0 && destination->used == n && behind + n <= free_end &&
        bytes_equal(destination->bytes, n, behind, n)) {
        return complete;
    }
    return reader_try_store_string(reader, output, destination) && complete;
}

bool reader_store_text(reader_t* reader, data_t source, data_t* destination, codepoint_set_t* codepoints,
                       u32 encoding, data_t* arena) {
    return reader_store_decoded(reader, source, destination, codepoints, encoding, arena, true);
}

bool reader_store_markup(reader_t* reader, data_t source, data_t* destination, codepoint_set_t* codepoints,
                         u32 encoding, data_t* arena) {
    return reader_store_decoded(reader, source, destination, codepoints, encoding, arena, false);
}
