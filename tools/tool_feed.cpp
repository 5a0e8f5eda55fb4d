// newsloom-tool feed FILE... [-address A]: merges each document into a fresh reader
// as the program does and prints the records, then log channel 0. It tells a user
// why a feed shows what it shows.
#include <cstdio>
#include <cstring>

#include "base/file.h"
#include "base/log.h"
#include "store/feed_merge.h"
#include "store/reader.h"
#include "tools/tool.h"

static void print_data(data_t text) { tool_write(stdout, text.bytes, text.used); }

static void print_field(const char* label, data_t value) {
    if (value.used == 0) return;
    printf("    %s: ", label);
    print_data(value);
    printf("\n");
}

static void print_date(const char* label, date_t date) {
    if (date_is_zero(date)) return;
    printf("    %s: %04u-%02u-%02u %02u:%02u:%02u\n", label, date.year, date.month, date.day, date.hour, date.minute,
           date.second);
}

static void print_number(const char* label, u64 value) {
    if (value) printf("    %s: %llu\n", label, (unsigned long long)value);
}

// A part of a line that shows only when its text isn't empty.
static void print_part(const char* before, data_t text, const char* after) {
    if (!text.used) return;
    printf("%s", before);
    print_data(text);
    printf("%s", after);
}

static void print_relations(reader_t* reader, u32 owner_id, u32 kind, const char* label) {
    pool_iterator_t walk = pool_iterator_start(&reader->relations, sizeof(relation_t), relation_is_alive);
    while (relation_t* relation = (relation_t*)pool_iterator_next(&walk)) {
        if (relation->kind != kind || relation->owner_id != owner_id) continue;
        if (kind <= relation_atom_entry_category) {
            category_t* category = reader_find_category(reader, relation->target_id);
            if (!category) continue;
            printf("    %s: ", label);
            print_data(category->term);
            print_part(" (scheme ", category->scheme, ")");
            print_part(" (label ", category->label, ")");
            printf("\n");
        } else {
            person_t* person = reader_find_person(reader, relation->target_id);
            if (!person) continue;
            printf("    %s: ", label);
            print_data(person->name);
            print_part(" <", person->uri, ">");
            print_part(" ", person->email, "");
            printf("\n");
        }
    }
}

static void print_links(reader_t* reader, u32 owner_id, u32 owner_kind) {
    static const char* const rels[5] = {"alternate", "related", "self", "enclosure", "via"};
    pool_iterator_t walk = pool_iterator_start(&reader->atom_links, sizeof(atom_link_t), atom_link_is_alive);
    while (atom_link_t* link = (atom_link_t*)pool_iterator_next(&walk)) {
        if (link->owner_kind != owner_kind || link->owner_id != owner_id) continue;
        printf("    link (%s", link->rel < 5 ? rels[link->rel] : "?");
        print_part(", ", link->type, "");
        printf("): ");
        print_data(link->href);
        printf("\n");
    }
}

static void print_feed(reader_t* reader, feed_t* feed) {
    bool rss = feed_kind(feed) == record_kind_rss;
    printf("feed %u %s, %u entries\n", feed->id, rss ? "rss" : "atom", feed->entry_count);
    print_field("address", feed->address);
    if (rss) {
        feed_rss_t* f = &feed->rss;
        print_field("title", f->title);
        print_field("link", f->link);
        print_field("description", f->description);
        print_field("language", f->language);
        print_field("copyright", f->copyright);
        print_field("managing editor", f->managing_editor);
        print_field("web master", f->web_master);
        print_date("pub date", f->pub_date);
        print_date("last build date", f->last_build_date);
        print_field("generator", f->generator);
        print_field("docs", f->docs);
        print_field("cloud domain", f->cloud_domain);
        print_number("cloud port", f->cloud_port);
        print_field("cloud path", f->cloud_path);
        print_field("cloud register procedure", f->cloud_register_procedure);
        print_field("cloud protocol", f->cloud_protocol);
        print_number("ttl", f->ttl);
        print_field("image url", f->image_url);
        print_field("image title", f->image_title);
        print_field("image link", f->image_link);
        print_number("image width", f->image_width);
        print_number("image height", f->image_height);
        print_field("image description", f->image_description);
        print_field("rating", f->rating);
        print_field("text input title", f->text_input_title);
        print_field("text input description", f->text_input_description);
        print_field("text input name", f->text_input_name);
        print_field("text input link", f->text_input_link);
        for (u32 h = 0; h < 24; h++) {
            if (f->skip_hours[h]) printf("    skip hour: %u\n", h);
        }
        static const char* const days[7] = {"Monday", "Tuesday", "Wednesday", "Thursday",
                                            "Friday", "Saturday", "Sunday"};
        for (u32 d = 0; d < 7; d++) {
            if (f->skip_days[d]) printf("    skip day: %s\n", days[d]);
        }
        print_relations(reader, feed->id, relation_rss_feed_category, "category");
    } else {
        feed_atom_t* f = &feed->atom;
        print_field("title", f->title);
        print_field("subtitle", f->subtitle);
        print_field("id", f->atom_id);
        print_field("generator", f->generator);
        print_field("generator uri", f->generator_uri);
        print_field("generator version", f->generator_version);
        print_field("icon", f->icon);
        print_field("logo", f->logo);
        print_field("rights", f->rights);
        print_date("updated", f->updated);
        print_links(reader, feed->id, atom_owner_feed);
        print_relations(reader, feed->id, relation_atom_feed_category, "category");
        print_relations(reader, feed->id, relation_atom_feed_author, "author");
        print_relations(reader, feed->id, relation_atom_feed_contributor, "contributor");
    }

    pool_iterator_t walk = pool_iterator_start(&reader->entries, sizeof(entry_t), entry_is_alive);
    while (entry_t* entry = (entry_t*)pool_iterator_next(&walk)) {
        if (entry->feed_id != feed->id) continue;
        printf("entry %u %s, generation %u\n", entry->id, entry_kind(entry) == record_kind_rss ? "rss" : "atom",
               entry->generation);
        if (entry_kind(entry) == record_kind_rss) {
            entry_rss_t* e = &entry->rss;
            print_field("title", e->title);
            print_date("date", e->pub_date);
            print_field("guid", e->guid);
            if (e->guid.used && !e->guid_is_perma_link) printf("    guid is no permalink\n");
            print_field("link", e->link);
            print_field("author", e->author);
            print_field("comments", e->comments);
            print_field("enclosure", e->enclosure_url);
            print_number("enclosure length", e->enclosure_length);
            print_field("enclosure type", e->enclosure_type);
            print_field("source", e->source);
            print_field("source url", e->source_url);
            printf("    description: %llu bytes\n", (unsigned long long)e->description.used);
            print_relations(reader, entry->id, relation_rss_entry_category, "category");
        } else {
            entry_atom_t* e = &entry->atom;
            print_field("title", e->title);
            print_date("date", e->updated);
            print_date("published", e->published);
            print_field("id", e->atom_id);
            print_field("rights", e->rights);
            print_field("source", e->source);
            printf("    summary: %llu bytes, content: %llu bytes\n", (unsigned long long)e->summary.used,
                   (unsigned long long)e->content.used);
            print_links(reader, entry->id, atom_owner_entry);
            print_relations(reader, entry->id, relation_atom_entry_category, "category");
            print_relations(reader, entry->id, relation_atom_entry_author, "author");
            print_relations(reader, entry->id, relation_atom_entry_contributor, "contributor");
        }
    }
}

static int tool_feed(int argc, char** argv) {
    data_t address = {};
    u32 files = 0;
    for (int i = 1; i < argc; i++) {
        if (strcmp(argv[i], "-address") == 0 && i + 1 < argc) {
            address = data_from_size(strlen(argv[i + 1]), argv[i + 1]);
            i++;
        } else {
            files++;
        }
    }
    if (files == 0) {
        fprintf(stderr, "usage: newsloom-tool feed FILE... [-address A]\n");
        return 2;
    }

    data_t scratch = data_allocate(MIB(10));
    data_t codepoint_block;
    codepoint_set_t codepoints;
    codepoint_set_create(&codepoints, &codepoint_block);

    int status = 0;
    for (int i = 1; i < argc; i++) {
        if (strcmp(argv[i], "-address") == 0) {
            i++;
            continue;
        }
        data_t path = data_from_size(strlen(argv[i]), argv[i]);
        file_error_t error = 0;
        data_t document = file_read_all(path, false, &error);
        if (error) {
            fprintf(stderr, "newsloom-tool feed: can't read %s\n", argv[i]);
            status = 1;
            continue;
        }
        reader_t reader = {};
        reader_init(&reader);
        reader.codepoints = &codepoints;
        data_t feed_address = address.used ? address : path;
        log_write_c_string(log_main, "Parsing: ");
        log_write(log_main, feed_address);
        log_write_c_string(log_main, "\n");
        u32 merge_error = merge_error_none;
        feed_t* feed = reader_merge_document(&scratch, &reader, document, feed_address, nullptr, &merge_error);
        printf("== %s\n", argv[i]);
        if (merge_error) {
            data_t why = merge_error_text(merge_error);
            printf("not merged: %.*s\n", (int)why.used, (const char*)why.bytes);
        } else if (!feed) {
            printf("no feed in this document\n");
        } else {
            reader_ensure_meta(&reader, feed);
            reader_sort_feed(&reader, feed);
            print_feed(&reader, feed);
        }
        reader_check(&reader);
        data_clear(&scratch);
        data_free(&document);
        reader_release(&reader);
    }
    log_channel_t* user = log_channel(log_user);
    if (user->text.used) {
        printf("== log channel 2\n");
        tool_print_log(log_user);
        printf("\n");
    }
    printf("== log channel 0\n");
    tool_print_log(log_main);
    return status;
}

TOOL_COMMAND("feed", "FILE... [-address A]", tool_feed);
