// The three masks that the widgets' icons are scaled from: 64 by 64 coverage bytes,
// the top row first. Made by tools/gen_icon_masks.py.
#pragma once

#include "base/types.h"

constexpr u32 icon_mask_size = 64;
constexpr u32 icon_mask_bytes = icon_mask_size * icon_mask_size;

extern const u8 icon_mask_check[icon_mask_bytes];
extern const u8 icon_mask_chevron_up[icon_mask_bytes];
extern const u8 icon_mask_chevron_left[icon_mask_bytes];
