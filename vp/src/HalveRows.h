#pragma once

#include <cstdint>

namespace qorvp {

// What the bilinear scaler makes of two rows where it halves width and height: each place lies in the middle of four
// samples, ((a + b + 1) / 2 + (c + d + 1) / 2) / 2, c and d being those of the lower row. `count` samples of `channels`
// bytes, 1, 2 or 4, from twice as many. `to` overlaps no row.
using HalveRows = void (*)(const uint8_t* upper, const uint8_t* lower, int channels, uint8_t* to, int count);

// The plain form, which says what the other does.
void halveRows(const uint8_t* upper, const uint8_t* lower, int channels, uint8_t* to, int count);

// The vector form for a feature word; null without kAvx2, since rows are then scaled as any other.
HalveRows halveRowsFor(uint32_t features);

}  // namespace qorvp
