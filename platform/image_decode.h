// Decoding downloaded pictures (stb_image): any format it knows, rows bottom-up as
// GL wants them, components as the file has them.
#pragma once

#include "base/types.h"

// Pictures whose pixels would take more than this are refused like a file that
// doesn't decode: one hostile header must not take the machine's memory.
constexpr u64 image_decode_max_bytes = MIB(256);

// The pixels, bottom row first, or null when the bytes don't decode. Any thread.
u8* image_decode(const u8* bytes, u64 size, u32* width, u32* height, u32* channels);
void image_decode_free(u8* pixels);
