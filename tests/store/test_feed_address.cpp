// From what the user gives to queued downloads: the video service's channel pages
// and blanks.
#include <gtest/gtest.h>

#include <string>

#include "store/feed_address.h"
#include "store_support.h"

TEST(FeedAddress, Normalisation) {
    const std::string feed = youtube_feed_address;
    struct case_t {
        const char* given;
        std::string queued;
    };
    const case_t cases[] = {
        {"https://www.youtube.com/channel/abc/videos", feed + "channel_id=abc"},
        {"https://www.youtube.com/user/abc?x=1", feed + "user=abc"},
        {"http://m.youtube.com/c/SomeName", feed + "user=SomeName"},
        {"youtube.com/channel/", feed + "channel_id="},
        // The first marker in the table's order counts, not the first in the text.
        {"https://youtube.com/channel/x?u=youtube.com/user/y", feed + "user=y"},
        {"https://www.youtube.com/feeds/videos.xml?channel_id=abc", feed + "channel_id=abc"},
        {"  \thttp://example.com/feed.xml ", "http://example.com/feed.xml "},
        {"   ", ""},
        {"", ""},
    };
    for (const case_t& c : cases) {
        u8 buffer[feed_address_capacity];
        data_t given = data_from_size(strlen(c.given), c.given);
        EXPECT_EQ(to_string(feed_address_normalise(given, buffer)), c.queued) << c.given;
    }
}
