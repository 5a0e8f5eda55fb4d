// newsloom-tool profile FILE: reads a profile.bin that `newsloom -profile` wrote,
// checks it, and prints each thread's timeline as text: totals per zone and the tree
// of calls. A damaged file is named with what is wrong, and the command fails.
#include <cstdio>
#include <cstring>

#include "base/file.h"
#include "profiler/profile_file.h"
#include "tools/tool.h"

static int tool_profile(int argc, char** argv) {
    if (argc != 2) {
        fprintf(stderr, "usage: newsloom-tool profile FILE\n");
        return 2;
    }
    data_t path = data_from_size(strlen(argv[1]), argv[1]);
    file_error_t error = 0;
    data_t file = file_read_all(path, false, &error);
    if (error) {
        fprintf(stderr, "newsloom-tool profile: cannot read '%s'\n", argv[1]);
        return 1;
    }
    data_t memory = data_allocate(file.used * 8 + 4096);
    profile_t profile = {};
    const char* problem = memory.bytes ? profile_read(file, &memory, &profile) : "there isn't memory enough to read it";
    if (problem) {
        fprintf(stderr, "newsloom-tool profile: '%s' is not a readable profile: %s.\n", argv[1], problem);
        return 1;
    }
    data_t report = profile_report(&profile);
    if (!report.bytes) {
        fprintf(stderr, "newsloom-tool profile: there isn't memory enough for the report of '%s'.\n", argv[1]);
        return 1;
    }
    fwrite(report.bytes, 1, report.used, stdout);
    data_free(&report);
    data_free(&memory);
    data_free(&file);
    return 0;
}

TOOL_COMMAND("profile", "FILE", tool_profile);
