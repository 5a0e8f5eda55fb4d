// The window's content until the real panels come: a row of widgets over a long
// wrapped text with its scroll bars, so that every widget can be seen and tried.
#pragma once

#include "ui/ui_core.h"
#include "ui/ui_layout_bars.h"

struct demo_panel_t {
    const char* const* buttons;  // labels, one button each; the first counts clicks
    u32 button_count;
    const char* const* choices;  // the drop-down's rows: the text's font, by number
    u32 choice_count;
    u32 with_text_box;

    u32 clicks;
    u32 wrap;  // the check box: wrap the text to the view
    u64 font;  // the drop-down's choice
    u8 line_bytes[256];
    data_t line;  // the text box's text
    u32 last_key;  // what the text box returned last (Return, Escape, Tab)
    scroll_offsets_t scroll;
    data_t text;  // the long text
};

// One button, the four fonts, a text box, and a generated text of some thousand
// words in `memory`.
void demo_panel_init(demo_panel_t* panel, data_t* memory);
// Draws the panel over `rect`; `memory` holds the layout's items for this frame.
void demo_panel_draw(ui_t* ui, demo_panel_t* panel, data_t* memory, rect_t rect);
