// Decoding throughput of the encoding frame against glibc's iconv on the same
// bytes: the gb2312 feed of the corpus (GBK) and generated Big5, Shift_JIS and
// EUC-KR text. Prints MB/s medians and the ratio frame / iconv.
#include <benchmark/benchmark.h>
#include <iconv.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "bench/median_reporter.h"
#include "html/encoding.h"

struct sample_t {
    const char* name;
    encoding_t encoding;
    const char* iconv_name;
    std::string bytes;
};

static std::vector<sample_t> samples;

static bool iconv_accepts(iconv_t converter, const std::string& bytes) {
    iconv(converter, nullptr, nullptr, nullptr, nullptr);
    char output[64];
    char* in = (char*)bytes.data();
    size_t in_left = bytes.size();
    char* out = output;
    size_t out_left = sizeof(output);
    return iconv(converter, &in, &in_left, &out, &out_left) != (size_t)-1 && in_left == 0;
}

// Text of every pair in [lead_first, lead_last] x [trail_first, trail_last] that
// both decoders read, with an ASCII blank or letter every few characters, as
// running text would have, repeated to about 1 MB.
static std::string generated_text(encoding_t encoding, const char* iconv_name, int lead_first, int lead_last,
                                  int trail_first, int trail_last) {
    iconv_t converter = iconv_open("UTF-32LE", iconv_name);
    std::string one;
    u32 count = 0;
    for (int lead = lead_first; lead <= lead_last; lead++) {
        for (int trail = trail_first; trail <= trail_last; trail++) {
            std::string pair = {(char)lead, (char)trail};
            u32 codepoint = 0, second = 0;
            u8 length = 0;
            decoder_error_t error = 0;
            encoding_decode(encoding, (const u8*)pair.data(), (const u8*)pair.data() + 2, &codepoint, &second,
                            &length, nullptr, &error);
            if (error || length != 2 || second != 0xFFFFFFFF || !iconv_accepts(converter, pair)) continue;
            one += pair;
            if (++count % 7 == 0) one += (count % 14) ? ' ' : 'a';
        }
    }
    iconv_close(converter);
    std::string text;
    while (text.size() < 1000000) text += one;
    return text;
}

static std::string read_test_file(const char* name) {
    std::ifstream file(std::string(NEWSLOOM_TEST_DATA) + "/" + name, std::ios::binary);
    std::stringstream bytes;
    bytes << file.rdbuf();
    return bytes.str();
}

static void bench_frame(benchmark::State& state, const sample_t* sample) {
    std::vector<u32> output(sample->bytes.size() + 1);
    for (auto _ : state) {
        const u8* position = (const u8*)sample->bytes.data();
        const u8* end = position + sample->bytes.size();
        u32* target = output.data();
        u8 iso2022_state[4] = {};
        for (;;) {
            u32 codepoint = 0, second = 0;
            u8 length = 0;
            decoder_error_t error = 0;
            encoding_decode(sample->encoding, position, end, &codepoint, &second, &length, iso2022_state, &error);
            if (error == decoder_error_end_of_input) break;
            *target++ = error ? 0xFFFD : codepoint;
            position += length;
        }
        benchmark::DoNotOptimize(target);
    }
    state.SetBytesProcessed((int64_t)state.iterations() * (int64_t)sample->bytes.size());
}

static void bench_iconv(benchmark::State& state, const sample_t* sample) {
    std::vector<u32> output(sample->bytes.size() + 1);
    iconv_t converter = iconv_open("UTF-32LE", sample->iconv_name);
    for (auto _ : state) {
        iconv(converter, nullptr, nullptr, nullptr, nullptr);
        char* in = (char*)sample->bytes.data();
        size_t in_left = sample->bytes.size();
        char* out = (char*)output.data();
        size_t out_left = output.size() * 4;
        size_t result = iconv(converter, &in, &in_left, &out, &out_left);
        if (result == (size_t)-1) state.SkipWithError("iconv stopped on the sample");
        benchmark::DoNotOptimize(out);
    }
    iconv_close(converter);
    state.SetBytesProcessed((int64_t)state.iterations() * (int64_t)sample->bytes.size());
}

int main(int argc, char** argv) {
    samples.push_back({"gbk_kc0011", encoding_gbk, "GBK", read_test_file("feeds/kc0011.rss")});
    samples.push_back({"big5", encoding_big5, "BIG5", generated_text(encoding_big5, "BIG5", 0xA4, 0xC6, 0x40, 0xFE)});
    samples.push_back(
        {"shift_jis", encoding_shift_jis, "SHIFT_JIS", generated_text(encoding_shift_jis, "SHIFT_JIS", 0x88, 0x9F, 0x40, 0xFC)});
    samples.push_back({"euc_kr", encoding_euc_kr, "EUC-KR", generated_text(encoding_euc_kr, "EUC-KR", 0xB0, 0xC8, 0xA1, 0xFE)});
    for (const sample_t& sample : samples) {
        if (sample.bytes.empty()) {
            fprintf(stderr, "bench_decode: no data for %s\n", sample.name);
            return 1;
        }
        benchmark::RegisterBenchmark((std::string("frame/") + sample.name).c_str(), bench_frame, &sample)
            ->Repetitions(5)
            ->ReportAggregatesOnly(true);
        benchmark::RegisterBenchmark((std::string("iconv/") + sample.name).c_str(), bench_iconv, &sample)
            ->Repetitions(5)
            ->ReportAggregatesOnly(true);
    }
    benchmark::Initialize(&argc, argv);
    median_reporter_t reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);

    printf("\nmedian throughput, frame against iconv (glibc):\n");
    for (const sample_t& sample : samples) {
        double frame = reporter.real[std::string("frame/") + sample.name];
        double peer = reporter.real[std::string("iconv/") + sample.name];
        if (frame <= 0 || peer <= 0) continue;
        // Times are per iteration in the reporter's unit, which is the same for both.
        double frame_rate = sample.bytes.size() / frame;
        double peer_rate = sample.bytes.size() / peer;
        printf("  %-12s %8zu bytes   ratio frame/iconv %.2fx (iconv takes %.2f of the frame's time)\n",
               sample.name, sample.bytes.size(), frame_rate / peer_rate, peer / frame);
    }
    benchmark::Shutdown();
    return 0;
}
