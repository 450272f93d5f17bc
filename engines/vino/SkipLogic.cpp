#include "engines/vino/SkipLogic.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "engines/vino/MotionDetect.h"
#include "engines/vino/PixelLoops.h"
#include "platform/include/clock.h"
#include "util/include/CmMemory.h"

namespace {

constexpr int32_t kMasksBetweenRefreshes = 10;
constexpr double kMovedMaskSum = 0.2;
constexpr float kSlowestMs = 150.0f;

const uint8_t* dataOrNull(const std::vector<uint8_t>& bytes) {
    return bytes.empty() ? nullptr : bytes.data();
}

}  // namespace

int32_t SkipLogic::test(int32_t width, int32_t height, const uint8_t* frame, int32_t size) {
    const int64_t readable = std::min({static_cast<int64_t>(size) / 3, static_cast<int64_t>(mRefFrame.size()) / 3,
                                       static_cast<int64_t>(mEdgeMask.size())});
    const int64_t asked = static_cast<int64_t>(std::max(width, 0)) * std::max(height, 0);
    const auto pixels = static_cast<int32_t>(std::max<int64_t>(std::min(asked, readable), 0));
    return MotionDetect::isChanged(pixels, frame, dataOrNull(mRefFrame), dataOrNull(mEdgeMask), edgeCount(), &mSkipRun);
}

void SkipLogic::update(int32_t width, int32_t height, const uint8_t* rawMask, const uint8_t* outMask,
                       const uint8_t* frame) {
    const uint32_t start = platform::tickCount();
    const size_t pixels = static_cast<size_t>(width) * static_cast<size_t>(height);
    const auto sum = static_cast<int32_t>(PixelLoops::active().sumBytes(rawMask, pixels));
    if (needsRefresh(sum)) {
        refresh(width, height, rawMask, frame);
        mPrevMaskSum = sum;
    }
    mPrevMask = {outMask, pixels};
    mVbgUpdateCount.fetch_add(1, std::memory_order_relaxed);
    mSkipCostMs += platform::tickCount() - start;
}

void SkipLogic::ownPreviousMask() {
    if (mPrevMask.empty() || mPrevMask.data() == mOwnMask.data()) return;
    mOwnMask.assign(mPrevMask.begin(), mPrevMask.end());
    mPrevMask = mOwnMask;
}

void SkipLogic::clearPreviousMask() {
    ownPreviousMask();
    cm::smemzero_s(mOwnMask.data(), mOwnMask.size(), mOwnMask.size());
}

bool SkipLogic::needsRefresh(int32_t sum) const {
    const double moved = std::fabs((mPrevMaskSum + 1.0) / (sum + 1.0) - 1.0);
    return moved > kMovedMaskSum || updateCount() % kMasksBetweenRefreshes == 0;
}

// A map that keeps its size is cleared; one that changes it keeps what it held, as its reader expects.
void SkipLogic::refresh(int32_t width, int32_t height, const uint8_t* rawMask, const uint8_t* frame) {
    const size_t pixels = static_cast<size_t>(width) * static_cast<size_t>(height);
    if (mEdgeMask.size() == pixels) {
        std::fill(mEdgeMask.begin(), mEdgeMask.end(), uint8_t{0});
    } else {
        mEdgeMask.resize(pixels);
    }
    int32_t edges = edgeCount();
    MotionDetect::getMaskEdge(width, height, rawMask, &edges, mEdgeMask.data());
    mEdgeCount.store(edges, std::memory_order_relaxed);
    mRefFrame.resize(pixels * 3);
    if (frame) std::memcpy(mRefFrame.data(), frame, pixels * 3);
}

bool tooSlowForDevice(uint32_t totalMs, int32_t inferences) {
    return static_cast<float>(totalMs) / static_cast<float>(inferences) > kSlowestMs;
}

bool gpuTooSlow(const std::string& device, uint32_t totalMs, int32_t inferences) {
    return device == "GPU" && tooSlowForDevice(totalMs, inferences);
}
