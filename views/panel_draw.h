// panel_draw_items: what every right-hand view does last, drawing the items of its
// finished layout.
#pragma once

struct app_t;
struct panel_t;
struct layout_t;
struct renderer_t;

// The text runs in the colour and font that the items before them set, and the
// pictures of boxes whose user value points at a data_t with the address (valid
// for the frame), as pictures of the panel's selected entry. The layout must have
// run all its passes.
void panel_draw_items(app_t* ctx, panel_t* panel, layout_t* layout);

// The renderer that makes the pictures' textures also deletes them when a slot is
// released, and its texture limit bounds the size a picture is scaled to. Null
// detaches.
void panel_pictures_attach(renderer_t* renderer);
