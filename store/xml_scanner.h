// The feed scanner: cuts a document into tags, builds a tree of nodes with raw
// attributes and text, and at store time decodes and expands that text into the
// reader. No conforming XML parser; malformed input is logged and scanned on.
#pragma once

#include "base/data.h"

struct reader_t;
struct codepoint_set_t;

enum xml_tag_t : u32 {
    xml_tag_xml = 0,
    xml_tag_rss = 1,
    xml_tag_rdf = 2,
    xml_tag_channel = 3,
    xml_tag_title = 4,
    xml_tag_link = 5,
    xml_tag_description = 6,
    xml_tag_language = 7,
    xml_tag_copyright = 8,
    xml_tag_managing_editor = 9,
    xml_tag_web_master = 10,
    xml_tag_pub_date = 11,
    xml_tag_last_build_date = 12,
    xml_tag_category = 13,
    xml_tag_generator = 14,
    xml_tag_docs = 15,
    xml_tag_cloud = 16,
    xml_tag_ttl = 17,
    xml_tag_image = 18,
    xml_tag_rating = 19,
    xml_tag_text_input = 20,
    xml_tag_skip_hours = 21,
    xml_tag_skip_days = 22,
    xml_tag_url = 23,
    xml_tag_width = 24,
    xml_tag_height = 25,
    xml_tag_name = 26,
    xml_tag_hour = 27,
    xml_tag_day = 28,
    xml_tag_item = 29,
    xml_tag_author = 30,
    xml_tag_comments = 31,
    xml_tag_enclosure = 32,
    xml_tag_guid = 33,
    xml_tag_source = 34,
    xml_tag_cdata = 35,
    xml_tag_comment = 36,
    xml_tag_uri = 37,
    xml_tag_email = 38,
    xml_tag_feed = 39,
    xml_tag_id = 40,
    xml_tag_updated = 41,
    xml_tag_contributor = 42,
    xml_tag_icon = 43,
    xml_tag_logo = 44,
    xml_tag_rights = 45,
    xml_tag_subtitle = 46,
    xml_tag_entry = 47,
    xml_tag_content = 48,
    xml_tag_published = 49,
    xml_tag_summary = 50,
    xml_tag_media_group = 51,
    xml_tag_media_thumbnail = 52,
    xml_tag_media_description = 53,
    // Elements of other vocabularies that feeds use in place of their own.
    xml_tag_dc_creator = 54,
    xml_tag_dc_date = 55,
    xml_tag_dc_title = 56,
    xml_tag_itunes_author = 57,
    xml_tag_rdf_root = 58,  // rdf:RDF, the root of RSS 1.0
    xml_tag_other = 59,
};

enum xml_attribute_kind_t : u32 {
    xml_attribute_encoding = 0,
    xml_attribute_xmlns = 1,
    xml_attribute_version = 2,
    xml_attribute_domain = 3,
    xml_attribute_port = 4,
    xml_attribute_path = 5,
    xml_attribute_register_procedure = 6,
    xml_attribute_protocol = 7,
    xml_attribute_url = 8,
    xml_attribute_length = 9,
    xml_attribute_type = 10,
    xml_attribute_is_perma_link = 11,
    xml_attribute_src = 12,
    xml_attribute_term = 13,
    xml_attribute_scheme = 14,
    xml_attribute_label = 15,
    xml_attribute_uri = 16,
    xml_attribute_href = 17,
    xml_attribute_rel = 18,
    xml_attribute_hreflang = 19,
    xml_attribute_title = 20,
    xml_attribute_xml_base = 21,
    xml_attribute_rdf_about = 22,  // an RSS 1.0 item's address, its identity
    xml_attribute_other = 23,
};

struct xml_node_t;

struct xml_token_t {
    u8* start;  // first byte after '<' (after "<?" for a declaration)
    u8* end;    // the closing '>'
    data_t name;
    u32 is_closing;
    u32 is_self_closing;
    u32 is_cdata;
    u32 is_comment;
    u32 is_declaration;
    xml_node_t* node;
};

struct xml_attribute_t {
    xml_attribute_kind_t kind;
    data_t value;  // raw view into the document
};

struct xml_node_t {
    xml_tag_t tag;
    xml_attribute_t** attributes;
    u32 attribute_count;
    xml_node_t** children;
    u32 child_count;
    data_t text;  // raw view into the document
    // All between the opening and the closing tag, markup included; empty when the
    // element has no closing tag.
    data_t inner;
};

constexpr u64 xml_sub_block_size = 0x100000;
// A document is read up to 16384 elements; the node block is sized for them.
constexpr u64 xml_node_capacity = 16384;
constexpr u64 xml_node_block_size = xml_node_capacity * sizeof(xml_node_t);
// The four blocks of a tree, carved from the arena.
constexpr u64 xml_tree_size = xml_node_block_size + 3 * xml_sub_block_size;

struct xml_document_t {
    data_t nodes;
    data_t attributes;
    data_t attribute_lists;
    data_t child_lists;
    u64 node_count;
    // Set when a block filled and nodes or attributes were dropped; the merge says so.
    u32 overflowed;
};

struct xml_scan_t {
    xml_token_t* tokens;
    u64 token_count;
    u32 overflowed;  // the arena filled: the tags behind the last token were dropped
};

xml_tag_t xml_tag_from_name(data_t name);
xml_attribute_kind_t xml_attribute_from_name(data_t name);

xml_scan_t xml_scan_tags(data_t* arena, data_t document);
xml_document_t xml_build_tree(data_t* arena, xml_token_t* tokens, u64 token_count);
// False when a block filled and attributes were dropped.
bool xml_parse_attributes(data_t* list_block, data_t* attribute_block, xml_token_t* token, xml_node_t* node);
xml_node_t* xml_node_create(data_t* block, xml_token_t* token);
// `text` begins at '&', `length` is the distance to ';'. Leaves *result alone when
// the reference means nothing.
void xml_parse_entity(u8* text, u64 length, u32* result);
void xml_print_node(xml_node_t* node);

// The element's value: its text, or the text of its one CDATA child.
data_t xml_node_value(const xml_node_t* node);

// Decodes `source` in `encoding`, and expands entities unless told not to, into
// the free room of the arena, whose `used` doesn't move; notes new code points.
// `complete` is false when the room was too small and the text was cut.
data_t xml_decode_text(data_t source, codepoint_set_t* codepoints, u32 encoding, data_t* arena, bool* complete,
                       bool expand_entities = true);
// Decodes `source` in `encoding`, expands entities and stores the text in the
// reader over `destination`. Gives false when the arena was too small and the text
// was cut.
bool reader_store_text(reader_t* reader, data_t source, data_t* destination, codepoint_set_t* codepoints,
                       u32 encoding, data_t* arena);
// The same for markup that is stored as HTML: its entities are the HTML's own and
// stay as they are written.
bool reader_store_markup(reader_t* reader, data_t source, data_t* destination, codepoint_set_t* codepoints,
                         u32 encoding, data_t* arena);
