#include "engines/vino/LadonFrames.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <functional>
#include <numeric>
#include <stdexcept>

#include "engines/vino/LoadedNetwork.h"
#include "engines/vino/MotionDetect.h"
#include "engines/vino/PixelLoops.h"
#include "platform/include/clock.h"
#include "util/include/CmTime.h"
#include "util/include/CmTrace.h"

namespace {

constexpr uint32_t kWindowMs = 10000;
constexpr size_t kFaceRows = 9;
constexpr size_t kFaceColumns = 16;
constexpr size_t kFaceValues = 1439;

using Dims = std::span<const size_t>;

// A dimension that is not there counts as 0.
size_t dimension(Dims dims, size_t index) {
    return index < dims.size() ? dims[index] : 0;
}

size_t elements(Dims dims) {
    return std::accumulate(dims.begin(), dims.end(), size_t{1}, std::multiplies<>());
}

}  // namespace

void LadonFrames::choose(bool keepRawMask) {
    mSkip.clearUpdateCount();
    mSkip.clearEdgeCount();
    mKeepRawMask = keepRawMask;
    setAutoSkipVBG(true);
}

void LadonFrames::reset() {
    mWarmupFrames.store(kWarmupInferences, std::memory_order_relaxed);
    mLastChanged.store(1, std::memory_order_relaxed);
    mSkip.clearPreviousMask();
}

void LadonFrames::requestReset() {
    mClearPending.store(true, std::memory_order_relaxed);
    mWarmupFrames.store(kWarmupInferences, std::memory_order_relaxed);
    mLastChanged.store(1, std::memory_order_relaxed);
}

void LadonFrames::clearRawMask() {
    std::fill(mRawMask.begin(), mRawMask.end(), uint8_t{0});
}

void LadonFrames::setModelSize(int32_t width, int32_t height) {
    mModelWidth.store(width, std::memory_order_relaxed);
    mModelHeight.store(height, std::memory_order_relaxed);
}

LadonFrames::Verdict LadonFrames::begin(bool inited, int32_t width, int32_t height, const uint8_t* data, int32_t size) {
    mPendingFrame = nullptr;
    if (mClearPending.exchange(false, std::memory_order_relaxed)) mSkip.clearPreviousMask();
    if (refusedAsNotInited(inited)) return Verdict::kRefused;
    if (!data || size < 1) {
        QOR_ERROR("zelipc>> " << mHelperName << "::runInference param invalid.");
        return Verdict::kRefused;
    }
    const int32_t modelWidth = mModelWidth.load(std::memory_order_relaxed);
    const int32_t modelHeight = mModelHeight.load(std::memory_order_relaxed);
    const bool sameSize = width == modelWidth && height == modelHeight;
    if (sameSize && tooShort(width, height, size)) return Verdict::kRefused;
    if (skipping() && skipFrame(data, size)) return Verdict::kSkipped;
    if (!sizeFits(width, height, modelWidth, modelHeight)) return Verdict::kRefused;
    if (warmupFrames() > 0) mWarmupFrames.fetch_sub(1, std::memory_order_relaxed);
    return Verdict::kInfer;
}

bool LadonFrames::refusedAsNotInited(bool inited) const {
    if (!inited) QOR_ERROR(mHelperName << "::runInference not inited.");
    return !inited;
}

// A frame of the network's size must not get as far as the change test with fewer bytes than it needs: that one would
// compare what there is of it.
bool LadonFrames::tooShort(int32_t width, int32_t height, int32_t size) const {
    if (size >= static_cast<int64_t>(width) * height * 3) return false;
    QOR_ERROR("zelipc>> " << mHelperName << " frame data too short, size = " << size << ", input sample: w = " << width
                          << " h = " << height);
    return true;
}

bool LadonFrames::sizeFits(int32_t width, int32_t height, int32_t modelWidth, int32_t modelHeight) const {
    if (width == modelWidth && height == modelHeight) return true;
    QOR_ERROR("zelipc>> " << mHelperName << " model size not the same, tensor: w =" << modelWidth
                          << " h = " << modelHeight << ", input sample: w = " << width << " h = " << height);
    return false;
}

bool LadonFrames::skipFrame(const uint8_t* data, int32_t size) {
    const uint32_t start = platform::tickCount();
    const int32_t changed = mSkip.test(mModelWidth.load(std::memory_order_relaxed),
                                       mModelHeight.load(std::memory_order_relaxed), data, size);
    mLastChanged.store(changed, std::memory_order_relaxed);
    if (changed == 0)
        mSkip.countSkip();
    else
        mPendingFrame = data;
    mSkip.addCost(platform::tickCount() - start);
    return changed == 0;
}

bool LadonFrames::infer(LadonEngine& engine, const uint8_t* data) {
    const size_t pixels = static_cast<size_t>(engine.width()) * static_cast<size_t>(engine.height());
    growMasks(pixels);
    PixelLoops::active().fillPlanes(data, mRawMask.data(), pixels, engine.planes(), engine.input());
    engine.handInput();
    const uint64_t start = timer_policy::now() / 1000;
    if (mStatStartTick == 0) mStatStartTick = platform::tickCount();
    engine.infer();
    return countInference(static_cast<uint32_t>(timer_policy::now() / 1000 - start));
}

// The mask to repeat may lie in the buffer that moves.
void LadonFrames::growMasks(size_t pixels) {
    const size_t bytes = std::max(pixels, kMaskBytes);
    if (mRawMask.size() >= bytes) return;
    mSkip.ownPreviousMask();
    mRawMask.resize(bytes);
    mOutMask.resize(bytes);
}

// The inference that closes a window is the first of the next.
bool LadonFrames::countInference(uint32_t milliseconds) {
    const uint32_t elapsed = platform::tickCount() - mStatStartTick;
    if (elapsed < kWindowMs || mTotalCount < 1) {
        ++mTotalCount;
        mInferTotalMs += milliseconds;
        return false;
    }
    const bool slow = closeWindow(elapsed);
    mTotalCount = 1;
    mInferTotalMs = milliseconds;
    mStatStartTick = 0;
    return slow;
}

bool LadonFrames::closeWindow(uint32_t elapsed) {
    const auto count = static_cast<uint32_t>(mTotalCount);
    QOR_INFO("zelipc>> " << mHelperName << " infer_request.Infer() predict "
                         << ", "
                         << "elapsed"
                         << "=" << elapsed << ", "
                         << "fps"
                         << "=" << mTotalCount * 1000.0 / elapsed << ", "
                         << "mTotalCount"
                         << "=" << mTotalCount << " times, total = " << mInferTotalMs
                         << " ms, average = " << mInferTotalMs / count << " ms, "
                         << " Skip / active is about " << mSkip.skipCount() / mTotalCount << ", VBG update "
                         << mSkip.updateCount() << ", skip VBG cost(ms)" << mSkip.skipCostMs() / 1000.0);
    mSkip.clearStatistics();
    return tooSlowForDevice(mInferTotalMs, mTotalCount);
}

void LadonFrames::parseSegmentation(const LadonEngine& engine) {
    mSegmentationValid = false;
    const LadonOutput output = engine.output(mSegmentationName);
    if (output.dims.size() < 4) throw std::out_of_range("mask output has no height and width");
    const auto height = static_cast<int32_t>(output.dims[2]);
    const auto width = static_cast<int32_t>(output.dims[3]);
    const size_t pixels = static_cast<size_t>(engine.width()) * static_cast<size_t>(engine.height());
    if (width != engine.width() || height != engine.height() || elements(output.dims) != pixels ||
        pixels > mRawMask.size()) {
        QOR_ERROR("zelipc>> " << mHelperName << "::parseSegmentationOutput, mask of another size than the picture: w = "
                              << width << " h = " << height);
        return;
    }
    const bool updating = skipping();
    if (!updating) mSkip.ownPreviousMask();
    PixelLoops::active().floatsToBytes(output.data, pixels, 1.0f, mRawMask.data());
    if (mKeepRawMask) {
        std::memcpy(mOutMask.data(), mRawMask.data(), pixels);
    } else {
        MotionDetect::erodeMask(width, height, mRawMask.data(), mOutMask.data());
    }
    mMaskPixels = pixels;
    if (updating) mSkip.update(width, height, mRawMask.data(), mOutMask.data(), mPendingFrame);
    mSegmentationValid = true;
}

void LadonFrames::readGesture(const LadonEngine& engine, const float** gesture) {
    mGestureValid = false;
    const LadonOutput output = engine.output(mGestureName);
    const size_t count = dimension(output.dims, 1);
    if (count != kGestures || elements(output.dims) != kGestures) {
        QOR_ERROR("zelipc>> " << mHelperName << "::getGestureOutput, gesture number not equal to preset number, actual:"
                              << count << ", preset:" << kGestures);
        return;
    }
    float best = 0;
    mGestureId = -1;
    for (size_t i = 0; i < kGestures; ++i) {
        if (output.data[i] > best) {
            best = output.data[i];
            mGestureId = static_cast<int32_t>(i);
        }
    }
    mGestureValid = true;
    *gesture = output.data;
}

void LadonFrames::readLandmarks(const LadonEngine& engine, const float** landmarks) {
    mLandmarksValid = false;
    const LadonOutput output = engine.output(mLandmarksName);
    const std::array actual = {dimension(output.dims, 1), dimension(output.dims, 2), dimension(output.dims, 3),
                               dimension(output.dims, 4)};
    constexpr std::array kPreset = {size_t{1}, kFaceRows, kFaceColumns, kFaceValues};
    if (actual != kPreset || elements(output.dims) != elements(kPreset)) {
        QOR_ERROR("zelipc >> " << mHelperName
                               << "::parseLandmarksOutput, output tensor shape not equal to preset shape, actual: "
                               << shapeText({actual.begin(), actual.end()})
                               << ", preset: " << shapeText({kPreset.begin(), kPreset.end()}));
        return;
    }
    *landmarks = output.data;
    mLandmarksValid = true;
}

float LadonFrames::readMotion(const LadonEngine& engine) const {
    return engine.output(mMotionName).first();
}
