// The one compiled copy of stb_truetype, with stb_rect_pack as its packer: without
// it stb_truetype packs with a stand-in whose pack functions don't match the
// system's stb library, which a program that links both (the benchmark's peer)
// would call.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wall"
#pragma GCC diagnostic ignored "-Wextra"
#pragma GCC diagnostic ignored "-Wsign-compare"
#define STB_RECT_PACK_IMPLEMENTATION
#define STB_TRUETYPE_IMPLEMENTATION
#include "platform/truetype.h"
#pragma GCC diagnostic pop
