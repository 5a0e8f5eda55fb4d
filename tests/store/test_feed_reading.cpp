// How the merge reads what feeds really write: stand-ins for missing titles, authors
// and dates, markup inside text, attributes on lines of their own, relative links;
// and a store written before these readings.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "store/reader_file.h"
#include "store_support.h"

namespace {

// The names of the persons related to an owner by `kind`.
std::vector<std::string> persons(reader_t* reader, u32 kind, u32 owner_id) {
    std::vector<std::string> names;
    pool_iterator_t walk = pool_iterator_start(&reader->relations, sizeof(relation_t), relation_is_alive);
    while (relation_t* relation = (relation_t*)pool_iterator_next(&walk)) {
        if (relation->kind != kind || relation->owner_id != owner_id) continue;
        names.push_back(to_string(reader_find_person(reader, relation->target_id)->name));
    }
    return names;
}

}  // namespace

TEST(FeedReading, StandInsForTitlesAuthorsAndDates) {
    store_fixture_t store;
    const char* address = "https://example.org/feeds/stand_ins.rss";
    feed_t* feed = store.merge_file("stand_ins.rss", address);
    ASSERT_TRUE(feed);
    EXPECT_EQ(to_string(feed->rss.title), "Stand-ins");
    EXPECT_EQ(to_string(feed->rss.managing_editor), "The Show's Host");
    EXPECT_EQ(date_text(feed->rss.pub_date), "2021-03-04 04:06:07");
    ASSERT_EQ(feed->entry_count, 4u);

    struct case_t {
        const char* guid;
        const char* title;
        const char* author;
        const char* date;
    };
    const case_t cases[] = {
        {"dc", "Only Dublin Core", "Ada Lovelace", "2021-03-01 10:00:00"},
        {"both", "Both", "grace@example.org (Grace Hopper)", "2021-03-02 12:00:00"},
        {"episode", "Podcast episode", "Episode Guest", "2021-03-03 14:15:00"},
        {"undated", "Undated", "", "none"},  // a date that can't be read is none
    };
    for (const case_t& c : cases) {
        SCOPED_TRACE(c.guid);
        entry_t* entry = store.entry(feed, c.guid);
        ASSERT_TRUE(entry);
        EXPECT_EQ(to_string(entry->rss.title), c.title);
        EXPECT_EQ(to_string(entry->rss.author), c.author);
        EXPECT_EQ(date_text(entry->rss.pub_date), c.date);
    }
    EXPECT_EQ(to_string(store.entry(feed, "episode")->rss.link), "https://example.org/feeds/episodes/3.mp3");
    EXPECT_EQ(date_text(feed->rss.last_build_date), "2021-03-03 14:15:00");

    reader_check(&store.reader);
}

TEST(FeedReading, AtomDatesLinksAndText) {
    store_fixture_t store;
    const char* address = "https://example.net/feeds/atom.xml";
    feed_t* feed = store.merge_file("atom_reading.atom", address);
    ASSERT_TRUE(feed);
    feed_atom_t* f = &feed->atom;
    EXPECT_EQ(to_string(f->title), "Reading Atom");
    // The root's xml:base comes before the feed's address; the link's href stands
    // on a line of its own.
    EXPECT_EQ(to_string(reader_atom_link_by_rel(&store.reader, feed->id, f->link_count, atom_owner_feed, 2)),
              "https://example.net/blog/atom.xml");
    EXPECT_EQ(to_string(f->icon), "https://example.net/favicon.ico");
    EXPECT_EQ(persons(&store.reader, relation_atom_feed_author, feed->id), std::vector<std::string>{"Blog Author"});
    EXPECT_EQ(date_text(f->updated), "2024-05-01 10:00:00");
    ASSERT_EQ(feed->entry_count, 3u);

    entry_t* published_only = store.entry(feed, "tag:example.net,2024:1");
    ASSERT_TRUE(published_only);
    EXPECT_EQ(date_text(published_only->atom.updated), "2024-05-01 00:30:00");
    EXPECT_EQ(date_text(published_only->atom.published), "2024-05-01 00:30:00");
    EXPECT_EQ(to_string(reader_atom_link_by_rel(&store.reader, published_only->id, 1, atom_owner_entry, 0)),
              "https://example.net/blog/posts/1.html");
    // xhtml stays markup for the entry view, with its entities as written.
    EXPECT_EQ(to_string(published_only->atom.summary),
              "<div xmlns=\"http://www.w3.org/1999/xhtml\"><p>A <b>bold</b> &amp; short summary.</p></div>");

    entry_t* undated = store.entry(feed, "tag:example.net,2024:2");
    ASSERT_TRUE(undated);
    EXPECT_TRUE(date_is_zero(undated->atom.updated));
    EXPECT_EQ(to_string(reader_atom_link_by_rel(&store.reader, undated->id, 1, atom_owner_entry, 0)),
              "https://example.net/archive/2.html");
    EXPECT_EQ(to_string(undated->atom.content), "<p>Escaped markup stays text to the scanner.</p>");
    EXPECT_EQ(persons(&store.reader, relation_atom_entry_author, undated->id), std::vector<std::string>{"Someone"});

    entry_t* beside = store.entry(feed, "tag:example.net,2024:3");
    ASSERT_TRUE(beside);
    EXPECT_EQ(to_string(beside->atom.title), "Text <beside> CDATA");
    EXPECT_EQ(persons(&store.reader, relation_atom_entry_author, beside->id), std::vector<std::string>{"Guest Writer"});
    EXPECT_EQ(to_string(reader_atom_link_by_rel(&store.reader, beside->id, 1, atom_owner_entry, 0)),
              "https://elsewhere.example/absolute");

    // The entry with neither date is kept like an undated item: read again and
    // known by its id, never doubled.
    u32 undated_id = undated->id;
    store.merge_file("atom_reading.atom", address, feed);
    EXPECT_EQ(feed->entry_count, 3u);
    EXPECT_NE(store.entry(feed, "tag:example.net,2024:2")->id, undated_id);
    reader_check(&store.reader);
}

TEST(FeedReading, MarkupInsideRssText) {
    store_fixture_t store;
    feed_t* feed = store.merge_file("rss_markup.rss", "https://example.com/feeds/markup.rss");
    ASSERT_TRUE(feed);
    EXPECT_EQ(to_string(feed->rss.title), "Markup in RSS");
    entry_t* first = store.entry(feed, "markup-1");
    entry_t* second = store.entry(feed, "markup-2");
    ASSERT_TRUE(first && second);
    EXPECT_EQ(to_string(first->rss.title), "A bold move & more");
    EXPECT_EQ(to_string(first->rss.link), "https://example.com/news/1");
    EXPECT_EQ(to_string(first->rss.description), "First <a href=\"https://example.com/x\">a link</a> then text.");
    // The enclosure's attributes stand on lines of their own.
    EXPECT_EQ(to_string(first->rss.enclosure_url), "https://example.com/feeds/media/1.mp3");
    EXPECT_EQ(first->rss.enclosure_length, 1234u);
    EXPECT_EQ(to_string(first->rss.enclosure_type), "audio/mpeg");
    EXPECT_EQ(to_string(second->rss.title), "Before inside after");
    EXPECT_EQ(to_string(second->rss.description), "Intro <p>para</p>");
    reader_check(&store.reader);
}

// A store written before dates were read in UTC: an entry whose corrected date
// lies after its feed's stored date replaces itself by its guid or id; the others
// stay as they are. Nothing is doubled.
TEST(FeedReading, AStoreWrittenBeforeKeepsWorking) {
    store_fixture_t store;
    std::string path = std::string(NEWSLOOM_TEST_DATA) + "/stores/before_date_reading.bin";
    file_error_t error = 0;
    ASSERT_EQ(reader_file_read(&store.reader, data_from_size(path.size(), path.data()), &error),
              (u32)reader_file_fine);
    feed_t* rss = reader_find_feed_by_address(&store.reader, data_literal("http://127.0.0.1:8765/zones.rss"));
    feed_t* atom = reader_find_feed_by_address(&store.reader, data_literal("http://127.0.0.1:8765/offsets.atom"));
    ASSERT_TRUE(rss && atom);
    EXPECT_EQ(date_text(rss->rss.last_build_date), "2006-07-02 09:00:00");  // PDT read as UTC
    u32 est = store.entry(rss, "zone-est")->id;
    u32 pdt = store.entry(rss, "zone-pdt")->id;
    u32 gmt = store.entry(rss, "zone-gmt")->id;
    u32 west = store.entry(atom, "urn:west")->id;
    u32 east = store.entry(atom, "urn:east")->id;
    store.reader.generation += 1;

    store.merge_file("zones.rss", "http://127.0.0.1:8765/zones.rss", rss);
    EXPECT_EQ(rss->entry_count, 3u);
    EXPECT_EQ(store.entry(rss, "zone-est")->id, est) << "now 20:04 on January 2, still before July";
    EXPECT_EQ(store.entry(rss, "zone-gmt")->id, gmt);
    entry_t* replaced = store.entry(rss, "zone-pdt");
    EXPECT_NE(replaced->id, pdt);
    EXPECT_EQ(replaced->generation, store.reader.generation);
    EXPECT_EQ(date_text(replaced->rss.pub_date), "2006-07-02 16:00:00");

    store.merge_file("offsets.atom", "http://127.0.0.1:8765/offsets.atom", atom);
    EXPECT_EQ(atom->entry_count, 2u);
    EXPECT_NE(store.entry(atom, "urn:west")->id, west);
    EXPECT_EQ(store.entry(atom, "urn:east")->id, east) << "08:00 in UTC lies before the stored 15:04";
    EXPECT_EQ(date_text(atom->atom.updated), "2006-01-02 23:04:05");
    reader_check(&store.reader);
}
