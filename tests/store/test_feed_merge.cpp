// Real feed documents and small made-up ones through the merge: counts, samples,
// the date-then-identity rules, snapshots that leave nothing behind, and the
// guards for a store that fills.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "base/log.h"
#include "store/feed_merge.h"
#include "store/xml_scanner.h"
#include "store_support.h"

namespace {

std::set<u32> entry_ids(reader_t* reader, u32 feed_id) {
    std::set<u32> ids;
    pool_iterator_t walk = pool_iterator_start(&reader->entries, sizeof(entry_t), entry_is_alive);
    while (entry_t* entry = (entry_t*)pool_iterator_next(&walk)) {
        if (entry->feed_id == feed_id) ids.insert(entry->id);
    }
    return ids;
}

std::string user_log() {
    log_channel_t* channel = log_channel(log_user);
    return std::string((const char*)channel->text.bytes, channel->text.used);
}

void clear_user_log() { log_channel(log_user)->text.used = 0; }

std::string rss(const std::string& channel_extra, const std::string& items) {
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?><rss version=\"2.0\"><channel><title>T</title>" +
           channel_extra + items + "</channel></rss>";
}

std::string item(const std::string& guid, const std::string& date, const std::string& title = "x") {
    std::string text = "<item><title>" + title + "</title>";
    if (!guid.empty()) text += "<guid>" + guid + "</guid>";
    if (!date.empty()) text += "<pubDate>" + date + "</pubDate>";
    return text + "</item>";
}

}  // namespace

TEST(FeedMerge, CorpusDocuments) {
    struct sample_t {
        const char* file;
        u32 kind;
        u32 entries;
        const char* feed_title;
        const char* unique_id;  // empty: no sample entry
        const char* title;
        const char* date;
    };
    const sample_t samples[] = {
        {"atp.rss", record_kind_rss, 100, "Accidental Tech Podcast",
         "513abd71e4b0fe58c655c105:513abd71e4b0fe58c655c111:5c41524d562fa7e089140838",
         "309: Do Not Expect Five Nines From My Plex", "2019-01-18 15:47:16"},
        // RSS 1.0: the items beside the channel under rdf:RDF, dated by dc:date.
        {"bio.rdf", record_kind_rss, 30, "bioRxiv Subject Collection: Plant Biology",
         "http://biorxiv.org/cgi/content/short/743294v1?rss=1",
         "Wheat inositol pyrophosphate kinase (TaVIH2-3B) interacts with Fasciclin-like arabinogalactan (FLA6) "
         "protein and alters the plant cell-wall composition",
         "2019-08-27 00:00:00"},
        {"kc0011.rss", record_kind_rss, 20,
         "\xe6\x8a\x95\xe8\xb5\x84\xe8\xb5\x84\xe8\xae\xaf\xe7\xbd\x91\xe4\xba\xa4\xe6\x98\x93\xe5\x9c\xa8\xe7\xba"
         "\xbf--\xe6\xb5\x81\xe9\x80\x9a\xe7\xba\xaa\xe5\xbf\xb5\xe5\xb8\x81\xe6\x9c\x80\xe6\x96\xb0"
         "20\xe7\xaf\x87\xe8\xae\xba\xe5\x9d\x9b\xe4\xb8\xbb\xe9\xa2\x98-\xe5\x85\xa8\xe6\x96\x87",
         "", "", ""},
        // Two guids appear twice: the later item replaces the earlier.
        {"scriptingNews.rss", record_kind_rss, 48, "Scripting News", "", "", ""},
        {"theomnishow.rss", record_kind_rss, 4, "",
         "https://theomnishow.omnigroup.com/episode/curt-clifton-omnifocus-engineer/",
         "Curt Clifton, OmniFocus Engineer", "2017-11-06 17:00:00"},
        {"DaringFireball.atom", record_kind_atom, 48, "Daring Fireball", "tag:daringfireball.net,2017:/linked//6.33850",
         "The Verge: \xe2\x80\x98\x41pple\xe2\x80\x99s AR Is Closer to Reality Than Google\xe2\x80\x99s\xe2\x80\x99",
         "2017-06-26 23:02:23"},
        {"qemu.atom", record_kind_atom, 10, "", "/2025/03/06/gsoc-2025",
         "Announcing QEMU Google Summer of Code 2025 internships", ""},
        {"russcox.atom", record_kind_atom, 19, "research!rsc", "tag:research.swtch.com,2012:research.swtch.com/tlog",
         "Transparent Logs for Skeptical Clients", "2019-03-01 16:02:00"},  // -05:00 applied
    };
    for (const sample_t& s : samples) {
        SCOPED_TRACE(s.file);
        store_fixture_t store;
        feed_t* feed = store.merge_file(s.file);
        ASSERT_TRUE(feed);
        // Every byte decoded: no stored text holds a replacement character.
        EXPECT_EQ(to_string(data_from_size(store.reader.strings.used, store.reader.strings.bytes)).find("\xef\xbf\xbd"),
                  std::string::npos);
        EXPECT_EQ(feed_kind(feed), s.kind);
        EXPECT_EQ(feed->entry_count, s.entries);
        if (*s.feed_title) {
            EXPECT_EQ(to_string(feed_title(feed)), s.feed_title);
        }
        if (*s.unique_id) {
            data_t id = data_from_size(strlen(s.unique_id), s.unique_id);
            entry_t* entry = reader_find_entry_by_unique_id(&store.reader, feed->id, id);
            ASSERT_TRUE(entry);
            EXPECT_EQ(to_string(entry_title(entry)), s.title);
            date_t date = entry_kind(entry) == record_kind_rss ? entry->rss.pub_date : entry->atom.updated;
            if (*s.date) {
                EXPECT_EQ(date_text(date), s.date);
            }
        }
        reader_check(&store.reader);

        // A second merge of the same document adds nothing and replaces nothing.
        std::set<u32> before = entry_ids(&store.reader, feed->id);
        u32 entries_before = store.reader.entries.entry_count;
        u32 categories_before = store.reader.categories.entry_count;
        ASSERT_EQ(store.merge_file(s.file, nullptr, feed), feed);
        EXPECT_EQ(entry_ids(&store.reader, feed->id), before);
        EXPECT_EQ(store.reader.entries.entry_count, entries_before);
        EXPECT_EQ(store.reader.categories.entry_count, categories_before);
        reader_check(&store.reader);
    }
}

TEST(FeedMerge, DateDecidesBeforeIdentity) {
    store_fixture_t store;
    const char* d1 = "Mon, 02 Jan 2006 10:00:00 GMT";
    const char* d2 = "Mon, 02 Jan 2006 11:00:00 GMT";
    const char* d3 = "Mon, 02 Jan 2006 12:00:00 GMT";
    std::string first = rss("", item("a", d1, "A1") + item("b", d2, "B1"));
    feed_t* feed = store.merge(first, "http://example.com/feed");
    ASSERT_TRUE(feed);
    ASSERT_EQ(feed->entry_count, 2u);
    entry_t* a = store.entry(feed, "a");
    u32 a_id = a->id;

    store.reader.generation = 1;
    // A edited and later: replaced, with a new id and the current generation. B
    // changed but with its old date: not seen. C without a date: read each time.
    // D without date and guid: added each time. E with a date that doesn't parse
    // has no date, and is read each time like C.
    std::string second = rss("", item("a", d3, "A2") + item("b", d2, "B2") + item("c", "", "C") +
                                     item("", "", "D") + item("e", "yesterday", "E"));
    ASSERT_EQ(store.merge(second, "http://example.com/feed", feed), feed);
    a = store.entry(feed, "a");
    ASSERT_TRUE(a);
    EXPECT_NE(a->id, a_id);
    EXPECT_EQ(a->generation, 1u);
    EXPECT_EQ(to_string(a->rss.title), "A2");
    entry_t* b = store.entry(feed, "b");
    EXPECT_EQ(to_string(b->rss.title), "B1");
    EXPECT_TRUE(store.entry(feed, "e"));
    EXPECT_EQ(feed->entry_count, 5u);  // a, b, c, D, e

    u32 c_id = store.entry(feed, "c")->id;
    ASSERT_EQ(store.merge(second, "http://example.com/feed", feed), feed);
    EXPECT_EQ(feed->entry_count, 6u);  // D again
    EXPECT_NE(store.entry(feed, "c")->id, c_id);
    reader_check(&store.reader);
}

TEST(FeedMerge, LastBuildDateLaterThanItems) {
    store_fixture_t store;
    std::string first = rss("<lastBuildDate>Mon, 02 Jan 2006 20:00:00 GMT</lastBuildDate>",
                            item("a", "Mon, 02 Jan 2006 10:00:00 GMT"));
    feed_t* feed = store.merge(first, "http://example.com/feed");
    EXPECT_EQ(feed->entry_count, 1u);
    EXPECT_EQ(date_text(feed->rss.last_build_date), "2006-01-02 20:00:00");
    std::string second = rss("", item("m", "Mon, 02 Jan 2006 15:00:00 GMT") + item("n", "Mon, 02 Jan 2006 21:00:00 GMT"));
    store.merge(second, "http://example.com/feed", feed);
    EXPECT_FALSE(store.entry(feed, "m"));
    EXPECT_TRUE(store.entry(feed, "n"));
}

TEST(FeedMerge, ItemFields) {
    store_fixture_t store;
    std::string document = rss(
        "<category>news</category><ttl>60</ttl><cloud domain=\"d\" port=\"80\" path=\"/p\" "
        "registerProcedure=\"r\" protocol=\"soap\"/><image><url>u</url><width>88</width></image>"
        "<skipHours><hour>3</hour><hour>24</hour></skipHours><skipDays><day>Sunday</day><day>sunday</day></skipDays>",
        "<item><guid isPermaLink=\"false\">g1</guid><content>C</content><description>D</description>"
        "<category>news</category><category>more</category>"
        "<enclosure url=\"e.mp3\" length=\"123456789012\" type=\"audio/mpeg\"/>"
        "<source url=\"s\">S</source></item>"
        "<item><guid isPermaLink=\"True\">g2</guid><description><![CDATA[<b>x</b>]]></description>"
        "<content>C</content></item>");
    feed_t* feed = store.merge(document, "http://example.com/feed");
    ASSERT_TRUE(feed);
    feed_rss_t* f = &feed->rss;
    EXPECT_EQ(f->ttl, 60u);
    EXPECT_EQ(to_string(f->cloud_domain), "d");
    EXPECT_EQ(f->cloud_port, 80u);
    EXPECT_EQ(to_string(f->cloud_register_procedure), "r");
    EXPECT_EQ(to_string(f->image_url), "http://example.com/u");  // resolved against the feed's address
    EXPECT_EQ(f->image_width, 88u);
    EXPECT_EQ(f->skip_hours[3], 1u);
    EXPECT_EQ(f->skip_days[6], 1u);
    EXPECT_EQ(f->category_count, 1u);

    entry_t* e1 = store.entry(feed, "g1");
    entry_t* e2 = store.entry(feed, "g2");
    ASSERT_TRUE(e1 && e2);
    EXPECT_EQ(e1->rss.guid_is_perma_link, 0u);
    EXPECT_EQ(e2->rss.guid_is_perma_link, 0u);  // only "true" exactly
    EXPECT_EQ(to_string(e1->rss.description), "D");  // the description overwrites content
    EXPECT_EQ(to_string(e2->rss.description), "<b>x</b>");  // content after it is ignored
    EXPECT_EQ(e1->rss.enclosure_length, 123456789012ull);
    EXPECT_EQ(to_string(e1->rss.enclosure_type), "audio/mpeg");
    EXPECT_EQ(to_string(e1->rss.source_url), "http://example.com/s");
    EXPECT_EQ(e1->rss.category_count, 2u);
    // "news" is one category shared by the feed and the entry.
    EXPECT_EQ(store.reader.categories.entry_count, 2u);
    reader_check(&store.reader);
}

TEST(FeedMerge, AtomAndTheVideoService) {
    std::string document =
        "<feed><title>V</title><link rel=\"self\" href=\"s\"/><link href=\"a\"/>"
        "<author><name>N</name></author><author></author>"
        "<entry><id>yt:1</id><title>one</title><updated>2020-05-05T00:00:00+00:00</updated>"
        "<published>2020-01-01T10:00:00+00:00</published><link rel=\"bogus\" href=\"h\"/>"
        "<media:group><media:thumbnail url=\"thumb.jpg\" width=\"1\"/><media:description>words</media:description>"
        "</media:group><category term=\"c\" scheme=\"s\" label=\"l\"/><author><name>N</name></author></entry>"
        "<entry><id>yt:2</id><title>two</title><updated>2020-05-06T00:00:00Z</updated></entry></feed>";
    {
        store_fixture_t store;
        std::string address = std::string(youtube_feed_address) + "channel_id=abc";
        std::string copy = document;
        feed_t* feed = store.merge(copy, address.c_str());
        ASSERT_TRUE(feed);
        // "two" has only `updated`, which doesn't count here: it has no date, and is
        // read at each merge.
        EXPECT_EQ(feed->entry_count, 2u);
        entry_t* entry = store.entry(feed, "yt:1");
        ASSERT_TRUE(entry);
        EXPECT_EQ(date_text(entry->atom.updated), "2020-01-01 10:00:00");
        EXPECT_EQ(to_string(entry->atom.summary), "thumb.jpg");
        EXPECT_EQ(to_string(entry->atom.content), "words");
        EXPECT_EQ(entry->atom.link_count, 1u);
        EXPECT_EQ(to_string(reader_atom_link_by_rel(&store.reader, entry->id, 1, atom_owner_entry, 0)),
                  "https://www.youtube.com/feeds/h");
        EXPECT_EQ(feed->atom.link_count, 2u);
        EXPECT_EQ(feed->atom.author_count, 1u);  // the empty author adds nothing
        EXPECT_EQ(to_string(reader_atom_link_by_rel(&store.reader, feed->id, 2, atom_owner_feed, 2)),
                  "https://www.youtube.com/feeds/s");
        // The feed's links are replaced at each merge, not added to.
        store.merge(copy, address.c_str(), feed);
        EXPECT_EQ(feed->entry_count, 2u) << "the undated entry replaces itself";
        EXPECT_EQ(feed->atom.link_count, 2u);
        EXPECT_EQ(store.reader.atom_links.entry_count, 3u);
        reader_check(&store.reader);
    }
    {
        store_fixture_t store;
        std::string copy = document;
        feed_t* feed = store.merge(copy, "https://example.com/videos.xml");
        ASSERT_TRUE(feed);
        EXPECT_EQ(feed->entry_count, 2u);
        entry_t* entry = store.entry(feed, "yt:1");
        EXPECT_EQ(date_text(entry->atom.updated), "2020-05-05 00:00:00");
        EXPECT_EQ(date_text(feed->atom.updated), "2020-05-06 00:00:00");
    }
}

TEST(FeedMerge, RejectedEntryLeavesNoTrace) {
    store_fixture_t store;
    std::string first = "<feed><entry><id>1</id><updated>2020-01-02T00:00:00Z</updated></entry></feed>";
    feed_t* feed = store.merge(first, "http://example.com/atom");
    ASSERT_TRUE(feed);
    u64 strings = store.reader.strings.used;
    u32 categories = store.reader.categories.entry_count;
    u32 persons = store.reader.persons.entry_count;
    u32 last_category = store.reader.last_category_id;
    u32 links = store.reader.atom_links.entry_count;
    u32 relations = store.reader.relations.entry_count;
    // Older than the feed: dropped, with its new category, person and link.
    std::string old = "<feed><entry><id>2</id><title>long title text</title>"
                      "<category term=\"brand-new\"/><author><name>Someone New</name></author>"
                      "<link href=\"x\"/><updated>2019-01-01T00:00:00Z</updated></entry></feed>";
    store.merge(old, "http://example.com/atom", feed);
    EXPECT_EQ(feed->entry_count, 1u);
    EXPECT_EQ(store.reader.categories.entry_count, categories);
    EXPECT_EQ(store.reader.persons.entry_count, persons);
    EXPECT_EQ(store.reader.last_category_id, last_category);
    EXPECT_EQ(store.reader.atom_links.entry_count, links);
    EXPECT_EQ(store.reader.relations.entry_count, relations);
    EXPECT_EQ(store.reader.strings.used, strings);  // the channel had no text of its own
    reader_check(&store.reader);
}

TEST(FeedMerge, EntryOfDeletedFeedIsDeleted) {
    store_fixture_t store;
    std::string first = rss("", item("a", "Mon, 02 Jan 2006 10:00:00 GMT"));
    feed_t* feed = store.merge(first, "http://example.com/feed");
    feed_mark_deleted(&store.reader, feed);
    std::string second = rss("", item("b", "Mon, 02 Jan 2006 11:00:00 GMT"));
    store.merge(second, "http://example.com/feed", feed);
    entry_t* b = store.entry(feed, "b");
    ASSERT_TRUE(b);
    EXPECT_TRUE(entry_is_deleted(b));
    reader_check(&store.reader);
}

TEST(FeedMerge, FormatChangeOfAKnownFeedIsRefused) {
    store_fixture_t store;
    std::string atom = "<feed><title>A</title></feed>";
    feed_t* feed = store.merge(atom, "http://example.com/f");
    clear_user_log();
    std::string document = rss("", item("a", "Mon, 02 Jan 2006 10:00:00 GMT"));
    EXPECT_EQ(store.merge(document, "http://example.com/f", feed), feed);
    EXPECT_EQ(feed->entry_count, 0u);
    EXPECT_NE(user_log().find("http://example.com/f"), std::string::npos);
    reader_check(&store.reader);
}

// A pool that fills keeps what fits, drops the rest, says so once on the log
// panel, and the store stays consistent. (The entry pool: the test after this.)
TEST(FeedMerge, FullPoolsKeepWhatFits) {
    {
        store_fixture_t store;
        for (u32 i = 0; i < reader_feed_capacity; i++) {
            std::string document = "<feed><title>F</title></feed>";
            std::string address = "http://example.com/" + std::to_string(i);
            ASSERT_TRUE(store.merge(document, address.c_str()));
        }
        clear_user_log();
        std::string document = "<feed><title>F</title></feed>";
        EXPECT_EQ(store.merge(document, "http://example.com/101"), nullptr);
        EXPECT_NE(user_log().find("http://example.com/101"), std::string::npos);
        EXPECT_EQ(store.reader.feeds.entry_count, reader_feed_capacity);
        reader_check(&store.reader);
    }
    {
        store_fixture_t store;
        std::string entries;
        for (u32 i = 0; i < 1005; i++) {
            entries += "<entry><id>" + std::to_string(i) +
                       "</id><updated>2020-01-01T00:00:00Z</updated><link href=\"h\"/></entry>";
        }
        std::string document = "<feed>" + entries + "</feed>";
        clear_user_log();
        feed_t* feed = store.merge(document, "http://example.com/links");
        ASSERT_TRUE(feed);
        EXPECT_EQ(feed->entry_count, 1005u);
        EXPECT_EQ(store.reader.atom_links.entry_count, reader_atom_link_capacity);
        EXPECT_NE(user_log().find("dropped 0 entries, 5 categories"), std::string::npos);
        reader_check(&store.reader);
    }
    {
        store_fixture_t store;
        std::string items;
        for (u32 i = 0; i < 5001; i++) {
            items += "<item><category>a</category><category>b</category></item>";
        }
        std::string document = rss("", items);
        feed_t* feed = store.merge(document, "http://example.com/relations");
        ASSERT_TRUE(feed);
        EXPECT_EQ(store.reader.relations.entry_count, reader_relation_capacity);
        EXPECT_EQ(feed->entry_count, 5001u);
        reader_check(&store.reader);
    }
}

// With the entry pool full, an update reports only what it really dropped: items
// already stored are skipped by date, and one that replaces its earlier self
// takes that one's slot.
TEST(FeedMerge, FullEntryPoolReportsOnlyWhatWasDropped) {
    store_fixture_t store;
    std::string filler;
    for (u32 i = 0; i < reader_entry_capacity - 100; i++) filler += "<item />";
    std::string document = rss("", filler);
    ASSERT_TRUE(store.merge(document, "http://example.com/filler"));
    std::string items;
    for (u32 i = 0; i < 50; i++) {
        items += item("d" + std::to_string(i), "Mon, 02 Jan 2006 10:00:00 GMT");
        items += item("u" + std::to_string(i), "");
    }
    std::string update = rss("", items);
    feed_t* feed = store.merge(update, "http://example.com/update");
    ASSERT_TRUE(feed);
    ASSERT_EQ(store.reader.entries.entry_count, reader_entry_capacity);
    u32 undated_id = store.entry(feed, "u7")->id;

    clear_user_log();
    EXPECT_EQ(store.merge(update, "http://example.com/update", feed), feed);
    EXPECT_EQ(user_log(), "");
    EXPECT_EQ(feed->entry_count, 100u);
    entry_t* undated = store.entry(feed, "u7");
    ASSERT_TRUE(undated);
    EXPECT_NE(undated->id, undated_id) << "an item without a date is read again";

    // New items have no slot to take: they are dropped, and said in one line.
    std::string news;
    for (u32 i = 0; i < 5; i++) news += item("new" + std::to_string(i), "Mon, 02 Jan 2006 11:00:00 GMT");
    std::string more = rss("", items + news);
    store.merge(more, "http://example.com/update", feed);
    std::string log = user_log();
    EXPECT_NE(log.find("dropped 5 entries"), std::string::npos) << log;
    EXPECT_EQ(log.find("http://example.com/update"), log.rfind("http://example.com/update")) << "one line";
    EXPECT_EQ(feed->entry_count, 100u);
    reader_check(&store.reader);
}

TEST(FeedMerge, TooManyNodesKeepsWhatFits) {
    store_fixture_t store;
    // 16384 nodes fill the scanner's node block.
    std::string items;
    for (u32 i = 0; i < 9000; i++) items += "<item><guid>" + std::to_string(i) + "</guid></item>";
    std::string document = rss("", items);
    clear_user_log();
    feed_t* feed = store.merge(document, "http://example.com/nodes");
    ASSERT_TRUE(feed);
    EXPECT_GT(feed->entry_count, 8000u);
    EXPECT_LT(feed->entry_count, 9000u);
    std::string dropped = "dropped " + std::to_string(9000 - feed->entry_count) + " entries";
    EXPECT_NE(user_log().find("http://example.com/nodes"), std::string::npos);
    EXPECT_NE(user_log().find(dropped), std::string::npos) << user_log();
    reader_check(&store.reader);

    // Nothing whole fits: the document is dropped, and said.
    std::string categories;
    for (u32 i = 0; i < 20000; i++) categories += "<category>c</category>";
    std::string xhtml;
    for (u32 i = 0; i < 17000; i++) xhtml += "<b>x</b>";
    const std::string documents[] = {
        rss("", "<item>" + categories + "</item>"),
        "<feed><entry><id>1</id><content type=\"xhtml\"><div>" + xhtml + "</div></content></entry>\n</feed>",
    };
    for (std::string one : documents) {
        clear_user_log();
        store_fixture_t empty;
        EXPECT_EQ(empty.merge(one, "http://example.com/one"), nullptr);
        EXPECT_NE(user_log().find("http://example.com/one"), std::string::npos);
        EXPECT_NE(user_log().find("dropped 1 entries"), std::string::npos) << user_log();
    }
}

// A document cut short leaves its root open and is refused whole: the feed keeps
// its dates, so that the whole document of the next update brings every entry.
TEST(FeedMerge, ACutDocumentIsRefusedAndTheFeedKeepsItsDates) {
    store_fixture_t store;
    std::string first = rss("", item("a", "Mon, 02 Jan 2006 10:00:00 GMT"));
    feed_t* feed = store.merge(first, "http://example.com/feed");
    ASSERT_TRUE(feed);
    EXPECT_EQ(store.merge_error, (u32)merge_error_none);
    std::string whole = rss("", item("c", "Mon, 02 Jan 2006 12:00:00 GMT") + item("b", "Mon, 02 Jan 2006 11:00:00 GMT"));
    struct case_t {
        std::string document;
        u32 error;
    };
    const case_t cases[] = {
        {whole.substr(0, whole.find("<item>", whole.find("</item>"))), merge_error_root_not_closed},
        {whole.substr(0, whole.rfind("</rss>")), merge_error_root_not_closed},
        {whole.substr(0, whole.size() - 1), merge_error_root_not_closed},
        {"<?xml version=\"1.0\"?><!-- c --><feed><entry><id>x</id>", merge_error_root_not_closed},
        // Behind the root's end anything may stand; before it, nothing is a feed.
        {whole + "<!-- 0.1 s --><script>x</script>", merge_error_none},
        {"<html><body>Not found", merge_error_none},
        {"", merge_error_none},
    };
    for (const case_t& c : cases) {
        SCOPED_TRACE(c.document);
        std::string document = c.document;
        if (c.error != merge_error_none) {
            EXPECT_EQ(store.merge(document, "http://example.com/feed", feed), feed);
            EXPECT_EQ(store.merge_error, c.error);
            EXPECT_EQ(feed->entry_count, 1u);
            EXPECT_EQ(date_text(feed->rss.last_build_date), "2006-01-02 10:00:00");
            EXPECT_EQ(store.merge(document, "http://example.com/new"), nullptr) << "no feed is made";
            EXPECT_EQ(store.merge_error, c.error);
        } else {
            // Only the whole feed makes a feed; the page and the empty reply make none.
            store_fixture_t other;
            EXPECT_EQ(other.merge(document, "http://example.com/other") != nullptr, &c == &cases[4]);
            EXPECT_EQ(other.merge_error, (u32)merge_error_none);
        }
    }
    EXPECT_EQ(store.reader.feeds.entry_count, 1u);
    EXPECT_EQ(to_string(merge_error_text(merge_error_root_not_closed)),
              "the document ends before its root element is closed");
    store.merge(whole, "http://example.com/feed", feed);
    EXPECT_EQ(feed->entry_count, 3u);
    reader_check(&store.reader);
}

// The encoding comes from the byte order mark, then the response's charset, then
// the declaration; a document naming none that isn't UTF-8 is windows-1252.
TEST(FeedMerge, EncodingOrder) {
    const std::string cafe = "Caf\xc3\xa9 \xe2\x80\x9cquoted\xe2\x80\x9d \xe2\x82\xac";
    struct case_t {
        const char* file;
        const char* content_type;
        std::string feed_title;
        std::string entry_title;
    };
    const case_t cases[] = {
        {"encoding_utf16le_bom.atom", "", cafe, "\xc3\xbc" "ber \xf0\x9f\x98\x80"},
        {"encoding_utf16be.atom", "application/atom+xml", cafe, "\xc3\xbc" "ber \xf0\x9f\x98\x80"},
        {"encoding_latin1.rss", "", "Caf\xc3\xa9 d\xc3\xa9j\xc3\xa0 vu", "na\xc3\xafve"},
        {"encoding_latin1.rss", "text/xml; charset=\"utf-8\"", "Caf\xef\xbf\xbd d\xef\xbf\xbdj\xef\xbf\xbd vu",
         "na\xef\xbf\xbdve"},
        {"encoding_undeclared_1252.rss", "", cafe, "na\xc3\xafve"},
        {"encoding_undeclared_1252.rss", "text/xml;charset=windows-1251", "Caf\xd0\xb9 \xe2\x80\x9cquoted\xe2\x80\x9d \xd0\x82",
         "na\xd0\xbfve"},
        {"encoding_bom_over_declaration.rss", "text/xml; charset=iso-8859-1", cafe, "na\xc3\xafve"},
        // A label of UTF-16 on a document read as bytes can't be right.
        {"zones.rss", "text/xml; charset=utf-16", "Zones", "Eastern"},
    };
    for (const case_t& c : cases) {
        SCOPED_TRACE(std::string(c.file) + " " + c.content_type);
        store_fixture_t store;
        std::string document = read_test_file((std::string("feeds/") + c.file).c_str());
        ASSERT_FALSE(document.empty());
        data_t bytes = data_from_size(document.size(), document.data());
        data_t type = data_from_size(strlen(c.content_type), c.content_type);
        feed_t* feed = reader_merge_document(&store.scratch, &store.reader, bytes, data_literal("http://example.com/e"),
                                             nullptr, nullptr, type);
        ASSERT_TRUE(feed);
        EXPECT_EQ(to_string(feed_title(feed)), c.feed_title);
        pool_iterator_t walk = pool_iterator_start(&store.reader.entries, sizeof(entry_t), entry_is_alive);
        entry_t* entry = (entry_t*)pool_iterator_next(&walk);
        ASSERT_TRUE(entry);
        EXPECT_EQ(to_string(entry_title(entry)), c.entry_title);
    }
}

// No document stops the program: every corpus document cut at many places, and
// with bytes flipped, merges into a store that stays consistent.
TEST(FeedMerge, CutAndDamagedDocumentsNeverStop) {
    const char* files[] = {"489.rss", "kc0011.rss", "russcox.atom", "bio.rdf", "donthitsave.xml", "qemu.atom"};
    store_fixture_t store;
    u32 seed = 12345;
    auto next = [&]() {
        seed = seed * 1103515245u + 12345u;
        return seed >> 8;
    };
    for (const char* file : files) {
        SCOPED_TRACE(file);
        std::string whole = read_test_file((std::string("feeds/") + file).c_str());
        for (u32 cut = 1; cut <= 24; cut++) {
            std::string part = whole.substr(0, whole.size() * cut / 25);
            feed_t* feed = store.merge(part, file);
            if (feed) store.merge(part, file, feed);
            std::string damaged = whole;
            for (u32 flip = 0; flip < 40; flip++) {
                u32 at = next() % damaged.size();
                const char bytes[] = {'<', '>', '"', '\'', '&', ';', '/', '!', '?', '\n', ' ', '\0', '\xff', '\xe2'};
                damaged[at] = bytes[next() % sizeof(bytes)];
            }
            std::string address = std::string(file) + "#" + std::to_string(cut);
            feed = store.merge(damaged, address.c_str());
            ASSERT_TRUE(reader_is_consistent(&store.reader));
            // Start over now and then so that the store never fills.
            if (store.reader.feeds.entry_count > 60) {
                pool_iterator_t walk = pool_iterator_start(&store.reader.feeds, sizeof(feed_t), feed_is_alive);
                while (feed_t* f = (feed_t*)pool_iterator_next(&walk)) reader_remove_feed(&store.reader, f);
                reader_check(&store.reader);
            }
        }
    }
}

TEST(FeedMerge, MoreTagsThanScratchHoldsKeepsWholeItems) {
    store_fixture_t store;
    // Leave half a megabyte for the tokens beside the tree's blocks.
    u64 taken = store.scratch.reserved - (xml_tree_size + xml_sub_block_size + KIB(512));
    std::string items;
    for (u32 i = 0; i < 5000; i++) items += "<item><guid>" + std::to_string(i) + "</guid></item>";
    std::string document = rss("", items);
    clear_user_log();
    data_t bytes = data_from_size(document.size(), document.data());
    store.scratch.used = taken;
    feed_t* feed = reader_merge_document(&store.scratch, &store.reader, bytes, data_literal("http://example.com/t"), nullptr);
    EXPECT_EQ(store.scratch.used, taken);
    ASSERT_TRUE(feed);
    reader_ensure_meta(&store.reader, feed);
    EXPECT_GT(feed->entry_count, 1000u);
    EXPECT_LT(feed->entry_count, 5000u);
    // Whole items only: every entry kept its guid.
    pool_iterator_t walk = pool_iterator_start(&store.reader.entries, sizeof(entry_t), entry_is_alive);
    while (entry_t* entry = (entry_t*)pool_iterator_next(&walk)) EXPECT_GT(entry->rss.guid.used, 0u);
    EXPECT_NE(user_log().find("http://example.com/t"), std::string::npos);
    // The items the scan never reached count as dropped too.
    std::string dropped = "dropped " + std::to_string(5000 - feed->entry_count) + " entries";
    EXPECT_NE(user_log().find(dropped), std::string::npos) << user_log();
    reader_check(&store.reader);

    // With no room at all the document is refused with its line, and nothing else.
    store.scratch.used = store.scratch.reserved - KIB(100);
    clear_user_log();
    EXPECT_EQ(reader_merge_document(&store.scratch, &store.reader, bytes, data_literal("http://example.com/u"), nullptr),
              nullptr);
    EXPECT_NE(user_log().find("http://example.com/u"), std::string::npos);
    store.scratch.used = 0;
}
