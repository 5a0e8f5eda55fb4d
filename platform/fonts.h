// Finding the system's font files (fontconfig).
#pragma once

#include "base/types.h"

// Writes the path of the regular face of `family` as a zero-terminated text and
// gives true, only when the system has that family itself (no substitute).
bool font_file_find(const char* family, char* path, u64 path_size);
// Writes the path of a regular face that has a glyph for `codepoint`, and the face's
// index in that file; false when no installed face has one.
bool font_file_covering(u32 codepoint, char* path, u64 path_size, u32* index);
