// The real faces the layout and font tests run on: DejaVu Sans at 14, 16 and 20 and
// DejaVu Sans Mono at 12.
#pragma once

#include <gtest/gtest.h>

#include "base/file.h"
#include "base/text.h"
#include "gfx/font.h"
#include "platform/fonts.h"
#include "store/codepoint_set.h"
#include <cstring>

struct test_fonts_t {
    font_set_t set;
    data_t sans;
    data_t mono;
};

inline data_t test_font_file(const char* family) {
    char path[4096];
    if (!font_file_find(family, path, sizeof(path))) return data_t{};
    file_error_t error = 0;
    data_t file = file_read_all(data_from_size(text_length(path), path), false, &error);
    return error ? data_t{} : file;
}

// Built once per test program; tests that change the set make their own.
inline test_fonts_t* test_fonts_make() {
    test_fonts_t* fonts = new test_fonts_t{};
    fonts->sans = test_font_file("DejaVu Sans");
    fonts->mono = test_font_file("DejaVu Sans Mono");
    font_set_create(&fonts->set, data_allocate(0x500000));
    font_load(&fonts->set, fonts->sans, 14, 0);
    font_load(&fonts->set, fonts->sans, 16, 0);
    font_load(&fonts->set, fonts->sans, 20, 0);
    font_load(&fonts->set, fonts->mono, 12, 1);
    return fonts;
}

inline test_fonts_t* test_fonts() {
    static test_fonts_t* fonts = test_fonts_make();
    return fonts;
}
