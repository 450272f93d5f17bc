#include "engines/vino/MotionDetect.h"

#include <algorithm>
#include <cstddef>

#include "engines/vino/PixelLoops.h"
#include "util/include/CmTrace.h"

namespace MotionDetect {

namespace {

constexpr int32_t kLongestSkipRun = 16;
constexpr int32_t kSmallestEdge = 9;
constexpr double kChangedFraction = 0.18;

constexpr size_t kStretch = 8192;

size_t dimension(int32_t value) {
    return static_cast<size_t>(std::max(value, 0));
}

// Whether more than the fraction of the edge has changed. A moving picture shows it in its first rows with an edge, and
// the rest is left alone.
bool edgeHasChanged(size_t pixels, const uint8_t* frame, const uint8_t* refFrame, const uint8_t* edgeMap,
                    int32_t edgeCount) {
    const auto countChanged = PixelLoops::active().countChanged;
    int32_t count = 0;
    for (size_t i = 0; i < pixels; i += kStretch) {
        count += countChanged(std::min(kStretch, pixels - i), frame + i * 3, refFrame + i * 3, edgeMap + i);
        if (static_cast<double>(count) / edgeCount > kChangedFraction) return true;
    }
    return false;
}

int32_t changed(int32_t* skipCounter) {
    *skipCounter = 0;
    return 1;
}

}  // namespace

int32_t isChanged(int32_t pixelCount, const uint8_t* frame, const uint8_t* refFrame, const uint8_t* edgeMap,
                  int32_t edgeCount, int32_t* skipCounter) {
    if (!frame || !refFrame || !edgeMap) {
        QOR_ERROR("MotionDetect isChanged: Pointer is empty");
        return changed(skipCounter);
    }
    const int32_t run = *skipCounter;
    if (run > kLongestSkipRun) return changed(skipCounter);
    if (run >= 0 && edgeCount >= kSmallestEdge &&
        edgeHasChanged(dimension(pixelCount), frame, refFrame, edgeMap, edgeCount)) {
        return changed(skipCounter);
    }
    *skipCounter = run + 1;
    return 0;
}

void getMaskEdge(int32_t width, int32_t height, const uint8_t* mask, int32_t* edgeCount, uint8_t* edgeMap) {
    if (!mask || !edgeMap) {
        QOR_ERROR("MotionDetect getMaskEdge: Pointer is empty");
        return;
    }
    *edgeCount = PixelLoops::active().markEdges(dimension(width), dimension(height), mask, edgeMap);
}

int32_t erodeMask(int32_t width, int32_t height, const uint8_t* src, uint8_t* dst) {
    if (!src || !dst || width < 3 || height < 3) return -1;
    PixelLoops::active().erode(dimension(width), dimension(height), src, dst);
    return 0;
}

}  // namespace MotionDetect
