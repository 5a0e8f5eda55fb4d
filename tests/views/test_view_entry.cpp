// The entry view's head values, computed from entries of merged feed documents.
#include <gtest/gtest.h>

#include <string>

#include "base/pool.h"
#include "store/store_support.h"
#include "views/view_entry.h"

namespace {

std::string text(data_t value) { return std::string((const char*)value.bytes, value.used); }

struct entry_head_test_t : ::testing::Test {
    store_fixture_t store;
    reader_t* reader = &store.reader;
    data_t block = data_allocate(MIB(1));
    ~entry_head_test_t() override { data_free(&block); }

    entry_t* first_entry(feed_t* feed) {
        for (u32 i = 0; i < reader->entries.max_entry_count; i++) {
            entry_t* entry = (entry_t*)pool_at(&reader->entries, sizeof(entry_t), i);
            if (entry_is_alive(entry) && entry->feed_id == feed->id) return entry;
        }
        return nullptr;
    }
    feed_t* merge(const char* document, const char* address) {
        std::string copy = document;
        return store.merge(copy, address);
    }
};

// The link comes from a permalink guid before the link element, and an item
// without date, author or enclosure leaves those pieces empty; an enclosure shows
// the last piece of its path and its size.
TEST_F(entry_head_test_t, rss_link_enclosure_and_missing_pieces) {
    feed_t* feed = merge(
        "<rss version=\"2.0\"><channel><title>t</title>"
        "<item><title>One</title><link>http://a.test/link</link>"
        "<guid isPermaLink=\"true\">http://a.test/guid</guid><description>Body</description></item>"
        "<item><title>Two</title><link>http://a.test/link</link><guid isPermaLink=\"false\">x</guid>"
        "<enclosure url=\"http://a.test/media/show.mp3?x=1/2\" length=\"2048\" type=\"audio/mpeg\"/>"
        "</item></channel></rss>",
        "http://a.test/feed");
    ASSERT_NE(feed, nullptr);
    entry_t* one = first_entry(feed);
    entry_t* two = nullptr;
    for (u32 i = 0; i < reader->entries.max_entry_count && !two; i++) {
        entry_t* e = (entry_t*)pool_at(&reader->entries, sizeof(entry_t), i);
        if (entry_is_alive(e) && e->feed_id == feed->id && e != one) two = e;
    }
    ASSERT_TRUE(one && two);
    if (text(one->rss.title) != "One") std::swap(one, two);
    entry_head_t head = entry_head_rss(reader, feed, one, &block);
    EXPECT_EQ(text(head.title), "One");
    EXPECT_EQ(text(head.link), "http://a.test/guid");
    EXPECT_EQ(head.date_text.used + head.author_text.used + head.enclosure_url.used, 0u);
    EXPECT_EQ(text(head.description), "Body");
    head = entry_head_rss(reader, feed, two, &block);
    EXPECT_EQ(text(head.link), "http://a.test/link");
    EXPECT_EQ(text(head.enclosure_name), "2");
    EXPECT_TRUE(head.show_enclosure);
    EXPECT_GT(head.enclosure_size.used, 0u);
}

TEST_F(entry_head_test_t, atom_title_is_trimmed_and_contributors_counted) {
    feed_t* feed = merge(
        "<feed xmlns=\"http://www.w3.org/2005/Atom\"><title>f</title><id>f</id>"
        "<entry><title> \t\nTitle\r\f\v </title><id>e1</id><updated>2024-01-02T03:04:05Z</updated>"
        "<link href=\"http://a.test/alt\"/>"
        "<author><name>Ann</name></author><author><name>Bob</name></author>"
        "<contributor><name>Cy</name></contributor>"
        "<summary>S</summary><content>C</content></entry></feed>",
        "http://a.test/atom");
    ASSERT_NE(feed, nullptr);
    entry_head_t head = entry_head_atom(reader, feed, first_entry(feed), &block);
    EXPECT_EQ(text(head.title), "Title");
    EXPECT_EQ(text(head.link), "http://a.test/alt");
    EXPECT_EQ(text(head.author_text), "Ann, Bob");
    EXPECT_EQ(text(head.contributor_text), "Cy");
    EXPECT_EQ(head.contributor_count, 1u);
    EXPECT_GT(head.date_text.used, 0u);
    EXPECT_EQ(text(head.description), "S");
    EXPECT_FALSE(head.video_feed);
}

TEST(entry_enclosure, names_and_picture_extensions) {
    struct row_t {
        const char* url;
        const char* name;
        bool picture;
    };
    const row_t rows[] = {
        {"http://a.test/p/pic.png", "pic.png", true},
        {"http://a.test/p/pic.jpg?w=1", "pic.jpg", true},  // a query is no part of the path
        {"http://a.test/p/pic.gif#x.png", "pic.gif#x.png", false},
        {"http://a.test/p/pic.jpeg", "pic.jpeg", true},
        {"http://a.test/p/pic.PNG", "pic.PNG", false},
        {"http://a.test/p/pic", "pic", false},
        {"http://a.test/p.png/pic", "pic", false},
        {"nothing", "nothing", false},
        {"http://a.test/dir/", "", false},
    };
    for (const row_t& row : rows) {
        data_t url = data_from_size(strlen(row.url), row.url);
        EXPECT_EQ(text(entry_enclosure_name(url)), row.name) << row.url;
        EXPECT_EQ(entry_enclosure_is_picture(url), row.picture) << row.url;
    }
}

}  // namespace
