// Finding the system's font files by family name (fontconfig).
#pragma once

#include "base/types.h"

// Writes the path of the regular face of `family` as a zero-terminated text and
// gives true, only when the system has that family itself (no substitute).
bool font_file_find(const char* family, char* path, u64 path_size);
