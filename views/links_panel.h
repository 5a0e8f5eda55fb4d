#pragma once

#include "base/rect.h"

struct app_t;
struct reader_t;

// Targets are edited here and their queues seen and opened.
void draw_links(app_t* app, reader_t* reader, rect_t rect);
