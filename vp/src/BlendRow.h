#pragma once

#include <cstdint>

namespace qorvp {

// background = ((256 - m) background + m foreground) >> 8 for each byte of a row of `width` pixels of `bytes` bytes, m
// being the pixel's mask value as it stands: 255 leaves a trace of the background.
void blendRow(const uint8_t* foreground, const uint8_t* mask, uint8_t* background, int width, int bytes);

}  // namespace qorvp
