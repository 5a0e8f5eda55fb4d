// TrueType fonts through stb_truetype: the program uses its functions directly,
// the implementation is compiled once, in platform/truetype.cpp.
#pragma once

#include <stb/stb_rect_pack.h>
#include <stb/stb_truetype.h>
