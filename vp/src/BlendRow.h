#pragma once

#include <cstdint>

namespace qorvp {

// background = ((256 - m) background + m foreground) >> 8 for each byte of a row of `width` pixels of `bytes` bytes, m
// being the pixel's mask value as it stands: 255 leaves a trace of the background. `foreground` may be the background's
// own row; no rows overlap otherwise.
using BlendRow = void (*)(const uint8_t* foreground, const uint8_t* mask, uint8_t* background, int width, int bytes);

// The plain form, which says what the others do.
void blendRow(const uint8_t* foreground, const uint8_t* mask, uint8_t* background, int width, int bytes);

// The form for a feature word; pixels of 1, 3 and 4 bytes.
BlendRow blendRowFor(uint32_t features);

}  // namespace qorvp
