// The decoder frame and every decoder, over the edge cases of the standard: each
// case is a byte string and the steps it decodes to (see decode_steps.h).
#include <gtest/gtest.h>

#include <string>

#include "decode_steps.h"
#include "html/decoder_multibyte.h"
#include "html/encoding.h"

// "81 30 81 30" as bytes.
static std::string hex(const char* text) {
    std::string bytes;
    for (const char* p = text; *p;) {
        if (*p == ' ') {
            p++;
            continue;
        }
        bytes += (char)std::stoi(std::string(p, 2), nullptr, 16);
        p += 2;
    }
    return bytes;
}

struct decode_case_t {
    encoding_t encoding;
    const char* bytes;  // hex
    const char* steps;
};

static void check_cases(const decode_case_t* cases, size_t count) {
    for (size_t i = 0; i < count; i++) {
        const decode_case_t& c = cases[i];
        EXPECT_EQ(decode_steps(c.encoding, hex(c.bytes)), c.steps)
            << encoding_name(c.encoding) << " [" << c.bytes << "]";
    }
}

TEST(Decoders, FrameAndSimpleEncodings) {
    const decode_case_t cases[] = {
        // UTF-8: any bad sequence steps one byte.
        {encoding_utf_8, "41 E3 81 82 F0 9F 98 80", "41 3042 1F600"},
        {encoding_utf_8, "C0 80", "!5/1 !5/1"},
        {encoding_utf_8, "E0 80 80 41", "!6/1 !5/1 !5/1 41"},
        {encoding_utf_8, "ED A0 80", "!6/1 !5/1 !5/1"},
        {encoding_utf_8, "E2 82", "!2/1 !5/1"},
        {encoding_utf_8, "FF", "!5/1"},
        // Single byte: 128 entries, 0 meaning no mapping; 8-I shares 8's table.
        {encoding_windows_1252, "41 80 FF", "41 20AC FF"},
        {encoding_windows_1252, "81 9D", "81 9D"},
        {encoding_windows_1253, "AA", "!7/1"},
        {encoding_iso_8859_8, "E0 FA FB", "5D0 5EA !7/1"},
        {encoding_iso_8859_8_i, "E0 FA FB", "5D0 5EA !7/1"},
        {encoding_iso_8859_6, "C7 A1", "627 !7/1"},
        {encoding_koi8_r, "C1 E1", "430 410"},
        {encoding_ibm866, "80", "410"},
        {encoding_x_mac_cyrillic, "FF", "20AC"},
        // UTF-16: lengths in bytes; a bad surrogate pair steps one unit.
        {encoding_utf_16le, "41 00 3D D8 00 DE", "41 1F600"},
        {encoding_utf_16be, "00 41 D8 3D DE 00", "41 1F600"},
        {encoding_utf_16le, "00 DC 00 D8 41 00", "!45/2 !45/2 41"},
        {encoding_utf_16le, "3D D8", "!2/2"},
        {encoding_utf_16le, "41 00 42", "41"},
        // x-user-defined and replacement.
        {encoding_x_user_defined, "41 80 FF", "41 F780 F7FF"},
        {encoding_replacement, "41 42 43", "!43/1 !43/1 !43/1"},
        // No such encoding.
        {0, "41", "!47/0"},
        {41, "41", "!47/0"},
        {0xFFFFFFFF, "", "!47/0"},
    };
    check_cases(cases, sizeof(cases) / sizeof(cases[0]));
}

TEST(Decoders, EmptyRangeIsTheEnd) {
    for (encoding_t encoding = 1; encoding < encoding_count; encoding++) {
        u32 codepoint = 0, second = 0;
        u8 length = 77;
        u8 state[4] = {};
        decoder_error_t error = 0;
        u8 byte = 0;
        encoding_decode(encoding, &byte, &byte, &codepoint, &second, &length, state, &error);
        EXPECT_EQ(error, decoder_error_end_of_input) << encoding_name(encoding);
        EXPECT_EQ(codepoint, 0xFFFFFFFFu) << encoding_name(encoding);
        // UTF-8 leaves the length as it was; nothing reports bytes it didn't take.
        if (encoding == encoding_utf_8) {
            EXPECT_EQ(length, 77) << encoding_name(encoding);
        } else {
            EXPECT_EQ(length, 0) << encoding_name(encoding);
        }
    }
}

TEST(Decoders, ASetErrorMakesTheFrameDoNothing) {
    u8 byte = 'a';
    u32 codepoint = 5, second = 6;
    u8 length = 7;
    decoder_error_t error = decoder_error_big5_pair;
    encoding_decode(encoding_utf_8, &byte, &byte + 1, &codepoint, &second, &length, nullptr, &error);
    EXPECT_EQ(codepoint, 5u);
    EXPECT_EQ(second, 6u);
    EXPECT_EQ(length, 7);
    EXPECT_EQ(error, decoder_error_big5_pair);
}

TEST(Decoders, Gb18030) {
    const decode_case_t cases[] = {
        {encoding_gb18030, "80", "20AC"},
        {encoding_gb18030, "B0 A1 A1 A1", "554A 3000"},
        {encoding_gbk, "B0 A1 80", "554A 20AC"},
        // The 2022 edition's mapping of the vertical forms.
        {encoding_gb18030, "A6 D9", "FE10"},
        // Four bytes: the first value, the ranges, the special pointer 7457, the
        // last BMP pointer, the supplementary planes and their ends.
        {encoding_gb18030, "81 30 81 30", "80"},
        {encoding_gb18030, "81 35 F4 37", "E7C7"},
        {encoding_gb18030, "84 31 A4 39", "FFFF"},
        {encoding_gb18030, "84 31 A5 30", "!13/4"},
        {encoding_gb18030, "90 30 81 30", "10000"},
        {encoding_gb18030, "E3 32 9A 35", "10FFFF"},
        {encoding_gb18030, "E3 32 9A 36", "!13/4"},
        // Bad bytes, and how many of them a bad sequence takes.
        {encoding_gb18030, "FF 41", "!9/1 41"},
        {encoding_gb18030, "81 7F", "!10/1 7F"},
        {encoding_gb18030, "81 FF", "!10/2"},
        {encoding_gb18030, "81 30 20", "!11/1 30 20"},
        {encoding_gb18030, "81 30 81 20", "!12/1 30 !10/1 20"},
        {encoding_gb18030, "81", "!2/1"},
        {encoding_gb18030, "81 30", "!2/2"},
        {encoding_gb18030, "81 30 81", "!2/3"},
    };
    check_cases(cases, sizeof(cases) / sizeof(cases[0]));
}

TEST(Decoders, Big5) {
    const decode_case_t cases[] = {
        {encoding_big5, "A4 40 41", "4E00 41"},
        // Four pointers give a letter and a combining mark.
        {encoding_big5, "88 62 88 64", "CA+304 CA+30C"},
        {encoding_big5, "88 A3 88 A5", "EA+304 EA+30C"},
        {encoding_big5, "88 63 88 A4", "1EBE 1EBF"},
        // The first pointer of the index, a character of plane 2, the last.
        {encoding_big5, "87 40 87 45", "43F0 27267"},
        {encoding_big5, "F9 FE", "FFED"},
        // No mapping: before the first pointer, in a gap kept inside a run (with an
        // ASCII second byte given back), between runs; the last of a run maps.
        {encoding_big5, "86 FE", "!17/2"},
        {encoding_big5, "87 66", "!17/1 66"},
        {encoding_big5, "87 E0", "!17/2"},
        {encoding_big5, "87 DF", "9FCB"},
        {encoding_big5, "A1 7F", "!17/1 7F"},
        {encoding_big5, "80 FF", "!16/1 !16/1"},
        {encoding_big5, "A4", "!2/1"},
    };
    check_cases(cases, sizeof(cases) / sizeof(cases[0]));
}

TEST(Decoders, EucJp) {
    const decode_case_t cases[] = {
        {encoding_euc_jp, "8E A1 8E DF", "FF61 FF9F"},
        {encoding_euc_jp, "A4 A2 B0 A1", "3042 4E9C"},
        // JIS X 0212 behind 8F: three bytes.
        {encoding_euc_jp, "8F B0 A1", "4E02"},
        {encoding_euc_jp, "8F A2 AF", "2D8"},
        // Bad sequences give back a last ASCII byte.
        {encoding_euc_jp, "8E E0", "!20/2"},
        {encoding_euc_jp, "8E 41", "!20/1 41"},
        {encoding_euc_jp, "8F 41", "!20/1 41"},
        {encoding_euc_jp, "8F A1 41", "!20/2 41"},
        {encoding_euc_jp, "8F A1 A1", "!20/3"},
        {encoding_euc_jp, "A4 41", "!20/1 41"},
        {encoding_euc_jp, "80 A0 FF", "!19/1 !19/1 !19/1"},
        {encoding_euc_jp, "A4", "!2/1"},
        {encoding_euc_jp, "8F B0", "!2/2"},
    };
    check_cases(cases, sizeof(cases) / sizeof(cases[0]));
}

TEST(Decoders, ShiftJisAndEucKr) {
    const decode_case_t cases[] = {
        {encoding_shift_jis, "82 A0 B1 80 41", "3042 FF71 80 41"},
        {encoding_shift_jis, "88 9F", "4E9C"},
        {encoding_shift_jis, "E0 40", "6F3E"},
        // The user-defined rows become the private use area.
        {encoding_shift_jis, "F0 40 F9 FC", "E000 E757"},
        {encoding_shift_jis, "A0 FD FE FF", "!37/1 !37/1 !37/1 !37/1"},
        {encoding_shift_jis, "82 20", "!38/1 20"},
        {encoding_shift_jis, "85 40", "!38/1 40"},
        {encoding_shift_jis, "82 FD", "!38/2"},
        {encoding_shift_jis, "82", "!2/1"},
        {encoding_euc_kr, "B0 A1 41", "AC00 41"},
        {encoding_euc_kr, "81 41 FD FE", "AC02 8A70"},
        {encoding_euc_kr, "A3 41", "C971"},
        {encoding_euc_kr, "81 5B", "!41/1 5B"},
        {encoding_euc_kr, "A2 E8", "!41/2"},
        {encoding_euc_kr, "B0 20", "!41/1 20"},
        {encoding_euc_kr, "80 FF", "!40/1 !40/1"},
        {encoding_euc_kr, "B0", "!2/1"},
    };
    check_cases(cases, sizeof(cases) / sizeof(cases[0]));
}

TEST(Decoders, Iso2022Jp) {
    const decode_case_t cases[] = {
        {encoding_iso_2022_jp, "61 62", "61 62"},
        // A closing escape with nothing after it takes no step of its own.
        {encoding_iso_2022_jp, "1B 28 42 61 1B 28 42", "61"},
        {encoding_iso_2022_jp, "1B 28 4A 5C 7E 41", "A5 203E 41"},
        {encoding_iso_2022_jp, "1B 24 42 30 21 24 22 1B 28 42 61", "4E9C 3042 61"},
        {encoding_iso_2022_jp, "1B 24 40 30 21", "4E9C"},
        {encoding_iso_2022_jp, "1B 28 49 21 5F 60", "FF61 FF9F !27/1"},
        // Two escapes in a row are one bad sequence; the second one still holds.
        {encoding_iso_2022_jp, "1B 28 42 1B 28 4A 5C", "!32/6 A5"},
        // Bad bytes in each state.
        {encoding_iso_2022_jp, "0E 0F 80", "!25/1 !25/1 !25/1"},
        {encoding_iso_2022_jp, "1B 28 4A 0E 7F", "!26/4 !26/1"},
        {encoding_iso_2022_jp, "1B 24 42 0A", "!28/4"},
        {encoding_iso_2022_jp, "1B 24 42 30 0A", "!29/5"},
        {encoding_iso_2022_jp, "1B 24 42 22 2F", "!29/5"},
        // ESC after a lead byte, then the escape goes on in the next step.
        {encoding_iso_2022_jp, "1B 24 42 30 1B 28 42 61", "!30/5 61"},
        // After ESC a byte that starts no escape is read again, in the text state.
        {encoding_iso_2022_jp, "1B 61", "!31/1 61"},
        {encoding_iso_2022_jp, "1B 28 58 61", "!33/1 28 58 61"},
        {encoding_iso_2022_jp, "1B 24 42 1B 24 40", "!32/6"},
        // An unknown escape gives back its two bytes, read in the lead-byte state.
        {encoding_iso_2022_jp, "1B 24 42 1B 24 58", "!33/4 3078"},
        // The input ends: after a lead byte, inside an escape, in a text state.
        {encoding_iso_2022_jp, "1B 24 42 30", "!22/4"},
        {encoding_iso_2022_jp, "1B", "!23/1"},
        {encoding_iso_2022_jp, "1B 24", "!23/2"},
        {encoding_iso_2022_jp, "1B 24 42", "!2/3"},
        {encoding_iso_2022_jp, "1B 28 4A 61", "61"},
    };
    check_cases(cases, sizeof(cases) / sizeof(cases[0]));

    // The final call at the end reports the escape bytes it took.
    u32 end_length = 0;
    EXPECT_EQ(decode_steps(encoding_iso_2022_jp, hex("61 1B 28 42"), &end_length), "61");
    EXPECT_EQ(end_length, 3u);
}

TEST(DecodersDeathTest, RequiredPointers) {
    u8 bytes[2] = {0xA4, 0x40};
    u32 codepoint = 0;
    u8 length = 0;
    decoder_error_t error = 0;
    EXPECT_DEATH(encoding_decode(encoding_big5, bytes, bytes + 2, &codepoint, nullptr, &length, nullptr, &error), "");
    EXPECT_DEATH(
        encoding_decode(encoding_iso_2022_jp, bytes, bytes + 2, &codepoint, nullptr, &length, nullptr, &error), "");
    const u16 runs[][2] = {{0, 10}};
    EXPECT_DEATH(index_to_pointer(65535, runs, 1), "");
}

// Whatever the bytes, each decoder reaches the end of the input in a bounded number
// of calls and never steps past it: a bad sequence never stalls the reader.
TEST(Decoders, ArbitraryBytesAlwaysReachTheEnd) {
    const u8 alphabet[] = {0x1B, '$', '(', 'B', 'J', '@', 'I', 0x0E, 0x21, 0x30, 0x39, 0x5C, 0x7E, 0x7F, 0x80,
                           0x81, 0x8E, 0x8F, 0xA1, 0xA4, 0xB0, 0xD8, 0xDC, 0xE0, 0xF0, 0xFE, 0xFF, 0x00, 'a'};
    u32 seed = 12345;
    for (encoding_t encoding = 1; encoding < encoding_count; encoding++) {
        for (u32 sample = 0; sample < 400; sample++) {
            std::string bytes;
            seed = seed * 1103515245 + 12345;
            u32 size = (seed >> 16) % 17;
            for (u32 i = 0; i < size; i++) {
                seed = seed * 1103515245 + 12345;
                bytes += (char)alphabet[(seed >> 16) % sizeof(alphabet)];
            }
            std::string steps = decode_steps(encoding, bytes);
            ASSERT_EQ(steps.find("(no end)"), std::string::npos) << encoding_name(encoding) << ": " << steps;
            ASSERT_EQ(steps.find("(past the end)"), std::string::npos) << encoding_name(encoding) << ": " << steps;
        }
    }
}
