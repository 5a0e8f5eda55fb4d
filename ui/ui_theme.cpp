// The look of every widget: one table of styles, filled once at start-up.
#include "ui/ui_core.h"

ui_theme_t ui_theme;

namespace {

const colour_t g75 = {0.75f, 0.75f, 0.75f, 1};
const colour_t g50 = {0.5f, 0.5f, 0.5f, 1};
const colour_t g25 = {0.25f, 0.25f, 0.25f, 1};
const colour_t blue = {0, 0.48f, 0.8f, 1};
const colour_t magenta = {1, 0, 1, 1};
const colour_t white = {1, 1, 1, 1};
const colour_t black = {0, 0, 0, 1};
const colour_t none = {0, 0, 0, 0};

void set4(f32* target, f32 a, f32 b, f32 c, f32 d) {
    target[0] = a, target[1] = b, target[2] = c, target[3] = d;
}

void set3(colour_t* target, colour_t normal, colour_t hot, colour_t active) {
    target[0] = normal, target[1] = hot, target[2] = active;
}

// margin and padding: top, bottom, left, right.
void style(ui_style_t* s, f32 margin, const f32* padding, colour_t f0, colour_t f1, colour_t f2, colour_t b0,
           colour_t b1, colour_t b2, colour_t text) {
    set4(s->margin, margin, margin, margin, margin);
    set4(s->padding, padding[0], padding[1], padding[2], padding[3]);
    set3(s->frame, f0, f1, f2);
    set3(s->fill, b0, b1, b2);
    set3(s->text, text, text, text);
}

}  // namespace

void ui_theme_init() {
    ui_theme_t* t = &ui_theme;
    const f32 wide[4] = {2, 2, 10, 10};
    const f32 one[4] = {1, 1, 1, 1};
    const f32 two[4] = {2, 2, 2, 2};
    const f32 row[4] = {1, 1, 3, 3};
    const f32 light_row[4] = {2, 2, 3, 3};
    const f32 zero[4] = {0, 0, 0, 0};
    style(&t->button, 1, wide, g75, blue, blue, g50, g50, blue, white);
    style(&t->check_box, 1, one, g75, blue, blue, g50, g50, blue, white);
    style(&t->text_box, 1, two, g75, blue, blue, g25, g25, g25, white);
    style(&t->text_area, 1, two, g75, blue, blue, g25, g25, g25, white);
    style(&t->list_field, 1, two, g75, blue, blue, g50, g50, g50, white);
    style(&t->list_row, 0, row, magenta, magenta, magenta, g50, blue, blue, white);
    style(&t->scroll_button, 1, two, g75, blue, blue, g50, g50, blue, white);
    const colour_t track = {0.13f, 0.13f, 0.14f, 1};
    style(&t->scroll_track, 0, zero, none, none, none, track, none, none, none);
    style(&t->splitter, 1, wide, g75, blue, blue, g50, g75, blue, white);
    style(&t->light_list_field, 1, two, g75, blue, blue, white, white, white, black);
    style(&t->light_list_row, 0, light_row, magenta, magenta, magenta, white, blue, blue, black);
    t->background = colour_t{0.18f, 0.18f, 0.19f, 1};
}
