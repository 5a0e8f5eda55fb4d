// Font files through fontconfig: a family is found only when fontconfig's best
// match really is that family, so that the caller can fall back to its own choice;
// a face for a code point only when it really has that code point.
#include <fontconfig/fontconfig.h>
#include <stdlib.h>
#include <strings.h>

#include <cstring>

#include "platform/fonts.h"

// The configuration is loaded at the first lookup and kept: faces for code points
// are looked up while the program runs, and loading it again each time would cost
// more than the lookup.
static FcConfig* config;

static void config_release() {
    FcConfigDestroy(config);
    FcFini();
}

static FcConfig* config_get() {
    if (!config) {
        config = FcInitLoadConfigAndFonts();
        if (config) atexit(config_release);
    }
    return config;
}

static bool path_copy(FcPattern* match, char* path, u64 path_size) {
    FcChar8* file = nullptr;
    if (FcPatternGetString(match, FC_FILE, 0, &file) != FcResultMatch) return false;
    u64 length = strlen((const char*)file);
    if (length + 1 > path_size) return false;
    memcpy(path, file, length + 1);
    return true;
}

static FcPattern* regular_pattern() {
    FcPattern* pattern = FcPatternCreate();
    if (!pattern) return nullptr;
    FcPatternAddInteger(pattern, FC_WEIGHT, FC_WEIGHT_REGULAR);
    FcPatternAddInteger(pattern, FC_SLANT, FC_SLANT_ROMAN);
    return pattern;
}

static FcPattern* best_match(FcConfig* config, FcPattern* pattern) {
    FcConfigSubstitute(config, pattern, FcMatchPattern);
    FcDefaultSubstitute(pattern);
    FcResult result = FcResultNoMatch;
    return FcFontMatch(config, pattern, &result);
}

bool font_file_find(const char* family, char* path, u64 path_size) {
    if (path_size == 0) return false;
    path[0] = 0;
    FcConfig* config = config_get();
    FcPattern* pattern = config ? regular_pattern() : nullptr;
    if (!pattern) return false;
    FcPatternAddString(pattern, FC_FAMILY, (const FcChar8*)family);
    FcPattern* match = best_match(config, pattern);
    bool found = false;
    if (match) {
        bool same_family = false;
        FcChar8* name = nullptr;
        for (int i = 0; FcPatternGetString(match, FC_FAMILY, i, &name) == FcResultMatch; i++) {
            if (strcasecmp((const char*)name, family) == 0) same_family = true;
        }
        found = same_family && path_copy(match, path, path_size);
        FcPatternDestroy(match);
    }
    FcPatternDestroy(pattern);
    return found;
}

bool font_file_covering(u32 codepoint, char* path, u64 path_size, u32* index) {
    if (path_size == 0) return false;
    path[0] = 0;
    *index = 0;
    FcConfig* config = config_get();
    FcPattern* pattern = config ? regular_pattern() : nullptr;
    if (!pattern) return false;
    FcCharSet* wanted = FcCharSetCreate();
    if (wanted) {
        FcCharSetAddChar(wanted, codepoint);
        FcPatternAddCharSet(pattern, FC_CHARSET, wanted);
        FcCharSetDestroy(wanted);
    }
    FcPattern* match = best_match(config, pattern);
    bool found = false;
    if (match) {
        // The best match is the closest face, not always one that has the code point.
        FcCharSet* has = nullptr;
        int face_index = 0;
        if (FcPatternGetCharSet(match, FC_CHARSET, 0, &has) == FcResultMatch && FcCharSetHasChar(has, codepoint)) {
            found = path_copy(match, path, path_size);
            if (FcPatternGetInteger(match, FC_INDEX, 0, &face_index) == FcResultMatch && face_index > 0) {
                *index = (u32)face_index & 0xFFFF;  // the high bits name a variable instance
            }
        }
        FcPatternDestroy(match);
    }
    FcPatternDestroy(pattern);
    return found;
}
