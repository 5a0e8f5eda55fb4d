// newsloom-tool store FILE: lists a store file as the reader's debug listing does.
// A damaged file is reported, left alone, and the command fails.
#include <cstdio>
#include <cstring>

#include "base/log.h"
#include "store/reader.h"
#include "store/reader_file.h"
#include "tools/tool.h"

static int tool_store(int argc, char** argv) {
    if (argc != 2) {
        fprintf(stderr, "usage: newsloom-tool store FILE\n");
        return 2;
    }
    data_t codepoint_block;
    codepoint_set_t codepoints;
    reader_t reader = {};
    reader_init_standalone(&reader, &codepoints, &codepoint_block);

    data_t path = data_from_size(strlen(argv[1]), argv[1]);
    file_error_t error = 0;
    reader_load_status_t status = {};
    u32 problem = reader_file_read(&reader, path, &error);
    reader_load_status_note(&status, problem, error);
    status.path_length = path.used < sizeof(status.path) ? path.used : sizeof(status.path);
    memcpy(status.path, path.bytes, status.path_length);
    if (status.problem != reader_file_fine) {
        char message[2048];
        u64 length = reader_load_message(&status, message, sizeof(message));
        tool_write(stderr, message, length);
        return 1;
    }
    printf("generation: %u, strings: %llu bytes, code points: %u\n", reader.generation,
           (unsigned long long)reader.strings.used, codepoints.count);
    reader_dump_to_log(&reader);
    tool_print_log(log_reader_dump);
    printf("\n");
    return 0;
}

TOOL_COMMAND("store", "FILE", tool_store);
