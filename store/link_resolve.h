// Relative references in feeds (links, xml:base) made absolute against the
// address they were read from, by the resolution rules of RFC 3986.
#pragma once

#include "base/data.h"

// True when `text` begins with a scheme and its ':' ("https:", "mailto:").
bool link_has_scheme(data_t text);

// `reference`, white space around it dropped, resolved against `base` and pushed
// to `block`. An absolute or empty reference, or a base without a scheme, gives
// the trimmed reference as it stands (a view, nothing pushed); so does a block
// too small for the result.
data_t link_resolve(data_t base, data_t reference, data_t* block);
