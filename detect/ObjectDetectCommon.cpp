#include "detect/ObjectDetectCommon.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

#include "util/include/CmMemory.h"

namespace {

constexpr int32_t kObjectness = 4;
constexpr int32_t kClassScores = 5;

bool fits(int32_t source, int32_t destination) {
    return source >= 0 && source <= destination;
}

struct BestClass {
    float score;
    int32_t id;
};

BestClass bestClass(float* scores, int32_t classCount, float objectness) {
    BestClass best{-std::numeric_limits<float>::infinity(), 0};
    for (int32_t id = 0; id < classCount; ++id) {
        scores[id] *= objectness;
        if (scores[id] >= best.score) best = {scores[id], id};
    }
    return best;
}

DetectBox boxOfRow(const float* row, int32_t classId) {
    return {row[0] - row[2] * 0.5f, row[1] - row[3] * 0.5f, row[2] * 0.5f + row[0],
            row[3] * 0.5f + row[1], row[kObjectness],       classId};
}

bool better(const DetectBox& a, const DetectBox& b) {
    return a.score > b.score || (std::isnan(b.score) && !std::isnan(a.score));
}

float area(const DetectBox& box) {
    return (box.right - box.left) * (box.bottom - box.top);
}

float intersectionOverUnion(const DetectBox& a, const DetectBox& b) {
    const float width = std::min(a.right, b.right) - std::max(a.left, b.left);
    const float height = std::min(a.bottom, b.bottom) - std::max(a.top, b.top);
    if (width <= 0 || height <= 0) return 0;
    const float intersection = width * height;
    const float sum = area(a) + area(b);
    return sum > intersection ? intersection / (sum - intersection) : 0;
}

DetectBox clipped(DetectBox box) {
    box.left = std::max(box.left, 0.0f);
    box.top = std::max(box.top, 0.0f);
    box.right = std::min(box.right, 1.0f);
    box.bottom = std::min(box.bottom, 1.0f);
    return box;
}

}  // namespace

bool ObjectDetectCommon::padCenter(const uint8_t* source, uint8_t* destination, int32_t sourceWidth,
                                   int32_t sourceHeight, int32_t destinationWidth, int32_t destinationHeight) {
    if (!source || !destination || !fits(sourceWidth, destinationWidth) || !fits(sourceHeight, destinationHeight))
        return false;
    const auto rowBytes = static_cast<size_t>(sourceWidth);
    const auto stride = static_cast<size_t>(destinationWidth);
    if (sourceWidth == destinationWidth && sourceHeight == destinationHeight) {
        const size_t bytes = rowBytes * static_cast<size_t>(sourceHeight);
        cm::checkedCopy(destination, bytes, source, bytes);
        return true;
    }
    mPadLeft = (destinationWidth - sourceWidth) / 2;
    mPadTop = (destinationHeight - sourceHeight) / 2;
    uint8_t* row = destination + static_cast<size_t>(mPadTop) * stride + static_cast<size_t>(mPadLeft);
    for (int32_t y = 0; y < sourceHeight; ++y, row += stride, source += rowBytes) std::copy_n(source, rowBytes, row);
    return true;
}

void ObjectDetectCommon::postProcess(float* rows, DetectBox* boxes, int32_t* count, int32_t rowCount,
                                     float objectnessThreshold, float classThreshold, int32_t classCount,
                                     int32_t rowStride, int32_t maxBoxes) {
    std::vector<DetectBox> candidates;
    for (int32_t i = 0; i < rowCount; ++i) {
        float* row = rows + static_cast<ptrdiff_t>(i) * rowStride;
        if (row[kObjectness] < objectnessThreshold) continue;
        const BestClass best = bestClass(row + kClassScores, classCount, row[kObjectness]);
        if (best.score > classThreshold) candidates.push_back(boxOfRow(row, best.id));
    }
    nonMaxSuppression(candidates, boxes, count, classThreshold, static_cast<int32_t>(candidates.size()), maxBoxes,
                      false);
    for (DetectBox* box = boxes; box != boxes + *count; ++box) {
        box->left -= static_cast<float>(mPadLeft);
        box->right -= static_cast<float>(mPadLeft);
        box->top -= static_cast<float>(mPadTop);
        box->bottom -= static_cast<float>(mPadTop);
    }
}

void ObjectDetectCommon::nonMaxSuppression(std::vector<DetectBox>& candidates, DetectBox* boxes, int32_t* count,
                                           float iouThreshold, int32_t candidateLimit, int32_t maxBoxes,
                                           bool clip) const {
    *count = 0;
    std::sort(candidates.begin(), candidates.end(), better);
    int32_t walked = 0;
    for (const DetectBox& candidate : candidates) {
        if (walked++ >= candidateLimit || *count >= maxBoxes) return;
        const bool covered = std::any_of(boxes, boxes + *count, [&](const DetectBox& box) {
            return intersectionOverUnion(candidate, box) > iouThreshold;
        });
        if (!covered) boxes[(*count)++] = clip ? clipped(candidate) : candidate;
    }
}
