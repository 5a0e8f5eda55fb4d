// The one-line text box: edits a caller's data_t in place (UTF-8, never grown past
// `reserved`), with a selection, word moves and the clipboard. It is a weak active
// kind: it keeps the keyboard while other widgets take the mouse.
#pragma once

#include "ui/ui_core.h"

// The first control character met this frame (13, 10, 27 or 9), else 0.
u32 ui_text_box(ui_t* ui, pair_t id, rect_t rect, data_t* text, u32 font);

// Byte offsets of the moves, never inside a code point.
u64 text_previous_codepoint(const u8* text, u64 length, u64 offset);
u64 text_next_codepoint(const u8* text, u64 length, u64 offset);
// Back over spaces, then to the start of the word before them.
u64 text_previous_word(const u8* text, u64 length, u64 offset);
// Over the rest of the word, then over the spaces after it.
u64 text_next_word(const u8* text, u64 length, u64 offset);
