// Font files through fontconfig: a family is found only when fontconfig's best
// match really is that family, so that the caller can fall back to its own choice.
#include <fontconfig/fontconfig.h>
#include <strings.h>

#include <cstring>

#include "platform/fonts.h"

bool font_file_find(const char* family, char* path, u64 path_size) {
    if (path_size == 0) return false;
    path[0] = 0;
    if (!FcInit()) return false;
    FcPattern* pattern = FcPatternCreate();
    if (!pattern) return false;
    FcPatternAddString(pattern, FC_FAMILY, (const FcChar8*)family);
    FcPatternAddInteger(pattern, FC_WEIGHT, FC_WEIGHT_REGULAR);
    FcPatternAddInteger(pattern, FC_SLANT, FC_SLANT_ROMAN);
    FcConfigSubstitute(nullptr, pattern, FcMatchPattern);
    FcDefaultSubstitute(pattern);
    FcResult result = FcResultNoMatch;
    FcPattern* match = FcFontMatch(nullptr, pattern, &result);
    bool found = false;
    if (match) {
        bool same_family = false;
        FcChar8* name = nullptr;
        for (int i = 0; FcPatternGetString(match, FC_FAMILY, i, &name) == FcResultMatch; i++) {
            if (strcasecmp((const char*)name, family) == 0) same_family = true;
        }
        FcChar8* file = nullptr;
        if (same_family && FcPatternGetString(match, FC_FILE, 0, &file) == FcResultMatch) {
            u64 length = strlen((const char*)file);
            if (length + 1 <= path_size) {
                memcpy(path, file, length + 1);
                found = true;
            }
        }
        FcPatternDestroy(match);
    }
    FcPatternDestroy(pattern);
    // The lookups are few and at start-up; releasing fontconfig keeps nothing of it
    // alive for the rest of the run.
    FcFini();
    return found;
}
