// Reading a profile file back: the checks that refuse a damaged one, the time base,
// and the text report to the byte.
#include <gtest/gtest.h>

#include "profiler/profile_file.h"
#include "profiler/profiler.h"
#include "profiler/profile_builder.h"

static profiler_event_t event(uint64_t time, uint32_t zone, uint32_t kind) { return profiler_event_t{time, zone, kind}; }

// A frame of 1000 cycles with layout_text twice, the second holding a decode.
static built_thread_t main_thread() {
    return built_thread_t{1,
                          {event(0, zone_frame, 5), event(100, zone_layout_text, 1), event(300, zone_layout_text, 2),
                           event(400, zone_layout_text, 1), event(500, zone_hp_decode_codepoint, 1),
                           event(600, zone_hp_decode_codepoint, 2), event(700, zone_layout_text, 2),
                           event(1000, zone_frame, 6)}};
}

TEST(ProfileReport, TotalsAndTreeToTheByte) {
    profile_bytes_t bytes;
    ASSERT_EQ(bytes.read(profile_build({main_thread(), built_thread_t{0, {}}}, built_microsecond_clock())), nullptr);
    std::string expected =
        "Timeline[ 0 ] - main\n"
        "\n"
        "# Totals\n"
        "frame               |          1h | 1000c | 1000c/h | 0.001000s | 0.001000000s/h | ==================== |\n"
        "layout_text         |          2h |  500c |  250c/h | 0.000500s | 0.000250000s/h | ==========           |\n"
        "hp_decode_codepoint |          1h |  100c |  100c/h | 0.000100s | 0.000100000s/h | ==                   |\n"
        "\n"
        "# Tree\n"
        "frame                   1000c 0.001000s\n"
        "  layout_text            500c 0.000500s\n"
        "    hp_decode_codepoint  100c 0.000100s\n"
        "\n" +
        std::string(100, '-') +
        "\n"
        "Timeline[ 1 ] - worker_thread\n"
        "\n"
        "# Totals\n"
        "\n"
        "# Tree\n";
    EXPECT_EQ(report_text(&bytes.profile), expected);
}

TEST(ProfileReport, RecursionCollapsedFramesAndStrayEvents) {
    // A zone inside itself counts its outer time once in the totals; a folded frame
    // is a hit of its zone with nothing under it; an end without a begin is passed
    // over, and a zone left open closes at the last event.
    built_thread_t worker = {0,
                             {event(0, zone_thread_loop, 5 | 0x100), event(50, zone_thread_loop, 6 | 0x100),
                              event(60, zone_http_file_get, 2), event(100, zone_thread_loop, 5),
                              event(110, zone_hp_consume, 1), event(120, zone_hp_consume, 1),
                              event(130, zone_hp_consume, 2), event(150, zone_hp_consume, 2),
                              event(200, zone_thread_loop, 6), event(300, zone_thread_do_work, 1),
                              event(400, zone_thread_do_work, 2), event(500, zone_sleep, 1)}};
    profile_bytes_t bytes;
    ASSERT_EQ(bytes.read(profile_build({worker}, built_microsecond_clock())), nullptr);
    std::string text = report_text(&bytes.profile);
    EXPECT_NE(text.find("\nthread_loop    |          2h | 150c |  75c/h |"), std::string::npos) << text;
    EXPECT_NE(text.find("\nthread_do_work |          1h | 100c | 100c/h |"), std::string::npos) << text;
    EXPECT_NE(text.find("\nhp_consume     |          2h |  40c |  20c/h |"), std::string::npos) << text;
    EXPECT_NE(text.find("\nsleep          |          1h |   0c |   0c/h |"), std::string::npos) << text;
    EXPECT_LT(text.find("\nthread_do_work |"), text.find("\nhp_consume     |"));
    EXPECT_EQ(text.find("http_file_get"), std::string::npos) << text;
    // The tree keeps both levels of hp_consume; the open sleep ends with the stream.
    EXPECT_NE(text.find("\nthread_loop    150c"), std::string::npos) << text;
    EXPECT_NE(text.find("\n  hp_consume    40c"), std::string::npos) << text;
    EXPECT_NE(text.find("\n    hp_consume  10c"), std::string::npos) << text;
    EXPECT_NE(text.find("\nthread_do_work 100c"), std::string::npos) << text;
    EXPECT_NE(text.find("\nsleep            0c"), std::string::npos) << text;
}

TEST(ProfileRead, DamagedFilesAreRefusedWithWhatIsWrong) {
    std::string good = profile_build({main_thread()}, built_microsecond_clock());
    profile_bytes_t check;
    ASSERT_EQ(check.read(good), nullptr);
    uint64_t events_offset;
    memcpy(&events_offset, good.data() + 32, 8);
    // Offsets inside the information block.
    uint64_t kind_names_total = 40 + 12, first_thread_size = 40 + 12 + 16 + 4 + 17;
    uint64_t first_thread_kind = first_thread_size + 8;

    struct damage_t {
        const char* what;
        std::string bytes;
        const char* message;
    };
    auto with = [&](uint64_t offset, const void* bytes, size_t size) {
        std::string copy = good;
        copy.replace(offset, size, (const char*)bytes, size);
        return copy;
    };
    uint64_t forty_one = 41;
    uint32_t two = 2, zone_too_large = zone_count, kind_three = 3;
    uint64_t sixteen = 16, eighteen = 18;
    uint32_t collapsed_zone_begin = 1 | 0x100;
    std::vector<damage_t> damages = {
        {"header cut", good.substr(0, 39), "shorter than the 40-byte header"},
        {"magic", "XROF" + good.substr(4), "doesn't start with \"PROF\""},
        {"version", with(4, &two, 4), "version isn't 1"},
        {"information offset", with(16, &forty_one, 8), "information block isn't at offset 40"},
        {"events cut", good.substr(0, good.size() - 16), "cut short"},
        {"bytes behind", good + std::string(16, '\0'), "bytes follow its events"},
        {"events offset", with(32, &sixteen, 8), "don't start where the information block ends"},
        {"kind names total", with(kind_names_total, &eighteen, 8), "thread-kind names don't add up"},
        {"half a pair", with(first_thread_size, &sixteen, 8), "aren't whole begin-end pairs"},
        {"kind without a name", with(first_thread_kind, &two, 4), "kind that has no name"},
        {"zone out of the table", with(events_offset + 16 + 8, &zone_too_large, 4), "zone that isn't in the table"},
        {"unknown kind", with(events_offset + 12, &kind_three, 4), "unknown kind"},
        {"a zone marked folded", with(events_offset + 16 + 12, &collapsed_zone_begin, 4), "unknown kind"},
        {"thread count too large", with(40 + 4, &kind_three, 4), "aren't whole begin-end pairs"},
    };
    for (const damage_t& damage : damages) {
        profile_bytes_t bytes;
        const char* message = bytes.read(damage.bytes);
        ASSERT_NE(message, nullptr) << damage.what;
        EXPECT_NE(std::string(message).find(damage.message), std::string::npos) << damage.what << ": " << message;
    }
}

TEST(ProfileTimeBase, ConvertsCyclesToTheMonotonicClock) {
    // 3 GHz against nanoseconds: a second of cycles is 10^9 ticks.
    uint64_t cycles_start = 123456789012ull, ticks_start = 987654321ull;
    profile_time_base_t time =
        profile_time_base_measure(1000000000, cycles_start, ticks_start, cycles_start + 3000000000ull,
                                  ticks_start + 1000000000ull);
    EXPECT_EQ(time.has_time_base, 1);
    auto ticks_at = [&](uint64_t cycles) {
        return (uint64_t)(((unsigned __int128)cycles * time.scale) >> time.shift) + time.offset;
    };
    EXPECT_NEAR((double)(int64_t)(ticks_at(cycles_start) - ticks_start), 0, 2);
    EXPECT_NEAR((double)(int64_t)(ticks_at(cycles_start + 3000000000ull) - ticks_start - 1000000000ull), 0, 2);
    EXPECT_NEAR(profile_seconds(&time, 3000000000ull), 1.0, 1e-8);
    EXPECT_NEAR(profile_seconds(&time, 3000), 1e-6, 1e-12);

    // A run too short to see the counter move has no time base and no seconds.
    profile_time_base_t none = profile_time_base_measure(1000000000, 5, 7, 5, 9);
    EXPECT_EQ(none.has_time_base, 0);
    EXPECT_EQ(profile_seconds(&none, 1000), 0.0);
    // Without a time base the spans still give a rate.
    profile_time_base_t spans = {};
    spans.frequency = 1000;
    spans.cycle_span = 4000;
    spans.tick_span = 2000;
    EXPECT_DOUBLE_EQ(profile_seconds(&spans, 2000), 1.0);
}
