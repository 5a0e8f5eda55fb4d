// panel_draw_items: what every right-hand view does last, drawing the items of its
// finished layout.
#pragma once

struct app_t;
struct panel_t;
struct layout_t;

// The text runs in the colour and font that the items before them set; pictures
// are to come. The layout must have run all its passes.
void panel_draw_items(app_t* ctx, panel_t* panel, layout_t* layout);
