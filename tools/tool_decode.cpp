// newsloom-tool decode LABEL FILE: the code points of a file as the decoder frame
// reads them, one per line, so a user can see what a document's bytes become.
#include <cstdio>
#include <cstring>

#include "base/data.h"
#include "base/file.h"
#include "html/encoding.h"
#include "tools/tool.h"

static void decode_print(char* line, u32 codepoint) {
    snprintf(line, 16, "U+%04X\n", codepoint);
    fputs(line, stdout);
}

static int tool_decode(int argc, char** argv) {
    if (argc != 3) {
        fprintf(stderr, "usage: newsloom-tool decode LABEL FILE\n");
        return 2;
    }
    const char* label = argv[1];
    encoding_t encoding = encoding_from_label((const u8*)label, strlen(label));
    if (encoding == encoding_none) {
        fprintf(stderr, "newsloom-tool decode: unknown encoding label '%s'\n", label);
        return 1;
    }
    file_error_t file_error = 0;
    data_t path = data_from_size(strlen(argv[2]), argv[2]);
    data_t input = file_read_all(path, false, &file_error);
    if (file_error) {
        fprintf(stderr, "newsloom-tool decode: cannot read '%s'\n", argv[2]);
        return 1;
    }

    char line[16];
    const u8* position = input.bytes;
    const u8* end = input.bytes + input.used;
    u8 state[4] = {};
    for (;;) {
        u32 codepoint = 0;
        u32 second = 0;
        u8 length = 0;
        decoder_error_t error = 0;
        encoding_decode(encoding, position, end, &codepoint, &second, &length, state, &error);
        if (error == decoder_error_end_of_input) break;
        // A bad sequence is one U+FFFD; reading goes on behind it.
        decode_print(line, error ? 0xFFFD : codepoint);
        if (!error && second != 0xFFFFFFFF) decode_print(line, second);
        position += length;
    }
    if (input.bytes) data_free(&input);
    return 0;
}

TOOL_COMMAND("decode", "LABEL FILE", tool_decode);
