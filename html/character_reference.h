// Character references: whether an '&' begins one, and its one or two code points.
// Strict: a semicolon always, no repair of bad numbers, no legacy names.
#pragma once

#include "html/stream.h"

// Called with the input just behind the '&'. Returns 0, 1 or 2 code points; on 0
// the input doesn't move, otherwise it stands behind the semicolon. `ambiguous`
// becomes 1 for an alphanumeric name closed by ';' that isn't a reference, which
// attribute values and escapable raw text treat as an error.
u32 hp_parse_character_reference(hp_t* hp, u32* first, u32* second, u32* ambiguous);

// The table lookup of a name without '&' and ';', case-sensitive: 0, 1 or 2 code
// points, the same answer as a walk over the whole table.
u32 hp_named_reference_lookup(const u8* name, u32 length, u32* first, u32* second);
