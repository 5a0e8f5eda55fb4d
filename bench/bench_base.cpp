// The foundation's hot paths against the C library doing the same work in the
// same run: UTF-8 to UTF-16 and back against iconv, number text against snprintf
// and strtoull, and RSS dates against strptime. Prints medians and ratios.
#include <benchmark/benchmark.h>
#include <iconv.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include <string>
#include <vector>

#include "base/date.h"
#include "base/format.h"
#include "base/text.h"
#include "bench/median_reporter.h"

// About 1 MB of running text: mostly ASCII with accented letters, Greek, CJK and
// the odd emoji, as feed titles and bodies mix them.
static std::string mixed_text() {
    const char* pieces[] = {"The quick brown fox ", "caf\xC3\xA9 na\xC3\xAFve ", "\xCE\xB1\xCE\xB2\xCE\xB3 ",
                            "\xE6\x96\xB0\xE9\x97\xBB ", "jumps over the lazy dog. ", "\xF0\x9F\x98\x80 "};
    std::string text;
    for (u32 i = 0; text.size() < 1000000; i++) text += pieces[(i * 7) % 6];
    return text;
}

static std::string utf8_sample;
static std::vector<u16> utf16_sample;
static std::vector<u64> numbers;
static std::vector<std::string> number_texts;
static std::vector<std::string> dates;

static void bench_utf8_to_utf16(benchmark::State& state) {
    std::vector<u16> out(utf8_sample.size() + 16);
    for (auto _ : state) {
        utf_error_t error = 0;
        u64 units = utf8_to_utf16((const u8*)utf8_sample.data(), utf8_sample.size(), out.data(), out.size(), &error);
        benchmark::DoNotOptimize(units);
    }
}

static void bench_iconv_utf8_to_utf16(benchmark::State& state) {
    iconv_t converter = iconv_open("UTF-16LE", "UTF-8");
    std::vector<u16> out(utf8_sample.size() + 16);
    for (auto _ : state) {
        iconv(converter, nullptr, nullptr, nullptr, nullptr);
        char* in = (char*)utf8_sample.data();
        size_t in_left = utf8_sample.size();
        char* target = (char*)out.data();
        size_t out_left = out.size() * 2;
        iconv(converter, &in, &in_left, &target, &out_left);
        benchmark::DoNotOptimize(out_left);
    }
    iconv_close(converter);
}

static void bench_utf16_to_utf8(benchmark::State& state) {
    std::vector<u8> out(utf16_sample.size() * 3 + 16);
    for (auto _ : state) {
        utf_error_t error = 0;
        u64 bytes = utf16_to_utf8(utf16_sample.data(), utf16_sample.size(), out.data(), out.size(), &error);
        benchmark::DoNotOptimize(bytes);
    }
}

static void bench_iconv_utf16_to_utf8(benchmark::State& state) {
    iconv_t converter = iconv_open("UTF-8", "UTF-16LE");
    std::vector<u8> out(utf16_sample.size() * 3 + 16);
    for (auto _ : state) {
        iconv(converter, nullptr, nullptr, nullptr, nullptr);
        char* in = (char*)utf16_sample.data();
        size_t in_left = utf16_sample.size() * 2;
        char* target = (char*)out.data();
        size_t out_left = out.size();
        iconv(converter, &in, &in_left, &target, &out_left);
        benchmark::DoNotOptimize(out_left);
    }
    iconv_close(converter);
}

static void bench_format_u64(benchmark::State& state) {
    u8 buffer[32];
    for (auto _ : state) {
        u64 total = 0;
        for (u64 n : numbers) total += format_u64(buffer, sizeof(buffer), n, 0, ' ', 0);
        benchmark::DoNotOptimize(total);
    }
}

static void bench_snprintf(benchmark::State& state) {
    char buffer[32];
    for (auto _ : state) {
        u64 total = 0;
        for (u64 n : numbers) total += (u64)snprintf(buffer, sizeof(buffer), "%llu", (unsigned long long)n);
        benchmark::DoNotOptimize(total);
    }
}

static void bench_parse_u64(benchmark::State& state) {
    for (auto _ : state) {
        u64 total = 0;
        for (const std::string& s : number_texts) total += parse_u64((const u8*)s.data(), s.size());
        benchmark::DoNotOptimize(total);
    }
}

static void bench_strtoull(benchmark::State& state) {
    for (auto _ : state) {
        u64 total = 0;
        for (const std::string& s : number_texts) total += strtoull(s.c_str(), nullptr, 10);
        benchmark::DoNotOptimize(total);
    }
}

static void bench_date_parse_rfc822(benchmark::State& state) {
    for (auto _ : state) {
        u64 total = 0;
        for (const std::string& s : dates) {
            total += date_to_number(date_parse_rfc822(data_from_size(s.size(), s.data())));
        }
        benchmark::DoNotOptimize(total);
    }
}

static void bench_strptime(benchmark::State& state) {
    for (auto _ : state) {
        u64 total = 0;
        for (const std::string& s : dates) {
            struct tm parts = {};
            strptime(s.c_str(), "%a, %d %b %Y %H:%M:%S %z", &parts);
            total += (u64)timegm(&parts);
        }
        benchmark::DoNotOptimize(total);
    }
}

int main(int argc, char** argv) {
    utf8_sample = mixed_text();
    utf16_sample.resize(utf8_sample.size());
    utf_error_t error = 0;
    utf16_sample.resize(utf8_to_utf16((const u8*)utf8_sample.data(), utf8_sample.size(), utf16_sample.data(),
                                      utf16_sample.size(), &error));
    u64 state = 88172645463325252ull;
    for (u32 i = 0; i < 4096; i++) {
        state ^= state << 13;
        state ^= state >> 7;
        state ^= state << 17;
        u64 n = state >> (state % 60);  // lengths from 1 to 20 digits
        numbers.push_back(n);
        number_texts.push_back(std::to_string(n));
    }
    const char* days[] = {"Mon", "Tue", "Wed", "Thu", "Fri", "Sat", "Sun"};
    const char* months[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    for (u32 i = 0; i < 4096; i++) {
        char text[64];
        snprintf(text, sizeof(text), "%s, %02u %s %u %02u:%02u:%02u %s", days[i % 7], 1 + i % 28, months[i % 12],
                 1990 + i % 40, i % 24, i % 60, (i * 7) % 60, i % 3 ? "+0200" : "-0500");
        dates.push_back(text);
    }

    struct pair_t {
        const char* name;
        void (*ours)(benchmark::State&);
        const char* peer_name;
        void (*peer)(benchmark::State&);
    } pairs[] = {
        {"utf8_to_utf16", bench_utf8_to_utf16, "iconv", bench_iconv_utf8_to_utf16},
        {"utf16_to_utf8", bench_utf16_to_utf8, "iconv", bench_iconv_utf16_to_utf8},
        {"format_u64", bench_format_u64, "snprintf", bench_snprintf},
        {"parse_u64", bench_parse_u64, "strtoull", bench_strtoull},
        {"date_parse_rfc822", bench_date_parse_rfc822, "strptime", bench_strptime},
    };
    for (const pair_t& pair : pairs) {
        benchmark::RegisterBenchmark(pair.name, pair.ours)->Repetitions(5)->ReportAggregatesOnly(true);
        std::string peer = std::string(pair.peer_name) + "/" + pair.name;
        benchmark::RegisterBenchmark(peer.c_str(), pair.peer)->Repetitions(5)->ReportAggregatesOnly(true);
    }
    benchmark::Initialize(&argc, argv);
    median_reporter_t reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);

    printf("\nmedian time, ours against the C library (above 1 means ours is faster):\n");
    for (const pair_t& pair : pairs) {
        double ours = reporter.real[pair.name];
        double peer = reporter.real[std::string(pair.peer_name) + "/" + pair.name];
        if (ours <= 0 || peer <= 0) continue;
        printf("  %-18s against %-9s %.2fx\n", pair.name, pair.peer_name, peer / ours);
    }
    benchmark::Shutdown();
    return 0;
}
