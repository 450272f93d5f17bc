#pragma once

#include <cstdint>

// Decides whether a frame can reuse the last mask, and cleans up masks of low resolution. Plain functions over buffers
// of the caller, without a state of their own. A frame has 3 bytes a pixel, a mask one (0..255), an edge map one (0 or
// 1); rows are packed. No call allocates.
namespace MotionDetect {

// 1 when the frame has changed along the edge since the reference frame, or when 17 frames in a row were unchanged;
// else 0. Counts unchanged frames in *skipCounter and clears it on a change; a negative counter counts up and tests
// nothing. A null buffer is logged and is a change. A pixelCount below 1 has no pixels.
int32_t isChanged(int32_t pixelCount, const uint8_t* frame, const uint8_t* refFrame, const uint8_t* edgeMap,
                  int32_t edgeCount, int32_t* skipCounter);

// Sets the band of about 5 pixels along the mask's outline (bytes above 128 are inside) to 1 in edgeMap, which the
// caller has zeroed, and gives its size in *edgeCount. A null buffer is logged and leaves both alone.
void getMaskEdge(int32_t width, int32_t height, const uint8_t* mask, int32_t* edgeCount, uint8_t* edgeMap);

// Takes the minimum of the 3x3 window where the mask falls steadily across it, and at the border. 0 on success, -1 and
// nothing written for a null pointer or a dimension below 3. The buffers must not overlap.
int32_t erodeMask(int32_t width, int32_t height, const uint8_t* src, uint8_t* dst);

}  // namespace MotionDetect
