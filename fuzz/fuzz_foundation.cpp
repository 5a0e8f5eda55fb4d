// Arbitrary bytes through the foundation's readers: the date parsers, the number
// parser and the UTF-8 and UTF-16 coders. None may stop or read out of bounds,
// and the converters must always make progress and stay within their targets.
#include <string.h>

#include <vector>

#include "base/date.h"
#include "base/format.h"
#include "base/text.h"

extern "C" int LLVMFuzzerTestOneInput(const u8* bytes, size_t size) {
    // An exact-size copy, so that any read past the end is caught.
    std::vector<u8> input(bytes, bytes + size);
    const u8* first = input.data();
    const u8* end = first + size;
    data_t text = data_from_size(size, first);

    date_parse_rfc822(text);
    date_parse_rfc3339(text);
    date_from_file_name(text);
    parse_u64(first, size);

    utf8_last_char_length(first, end);

    std::vector<u16> wide(size + 1);
    utf_error_t error = 0;
    u64 units = utf8_to_utf16(first, size, wide.data(), wide.size(), &error);
    if (error || units > size) __builtin_trap();
    std::vector<u8> narrow(units * 4 + 1);
    u64 written = utf16_to_utf8(wide.data(), units, narrow.data(), narrow.size(), &error);
    if (error || written > narrow.size()) __builtin_trap();
    std::vector<u16> raw(size / 2);
    if (!raw.empty()) memcpy(raw.data(), first, raw.size() * 2);
    std::vector<u8> back(raw.size() * 4 + 1);
    utf16_to_utf8(raw.data(), raw.size(), back.data(), back.size(), &error);
    if (error) __builtin_trap();
    return 0;
}
