#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "engines/vino/LadonEngine.h"
#include "engines/vino/SkipLogic.h"

// The road of a frame through a Ladon helper, whatever engine runs it: the change test, the four input planes, the
// statistics window, and the decoding of what one inference gives. One frame thread runs begin, infer and the decoders
// in this order; all functions but begin, the setters that say so and the plain readers need the owner's lock.
class LadonFrames {
  public:
    // What becomes of a frame.
    enum class Verdict { kRefused, kSkipped, kInfer };

    // Bytes that each mask has at least.
    static constexpr size_t kMaskBytes = size_t{640} * 360;
    static constexpr size_t kGestures = 9;

    // `helperName` is the class in the log lines: "ZelLadonVinoHelper".
    explicit LadonFrames(std::string helperName) : mHelperName(std::move(helperName)) {}

    // For a newly chosen network: nothing to reuse, no edge, skipping on. `keepRawMask`: its masks are not eroded.
    void choose(bool keepRawMask);
    // There is no mask to reuse from now on. Any thread.
    void clearUpdateCount() { mSkip.clearUpdateCount(); }
    // The next kWarmupInferences frames are inferred, and the mask to repeat is empty. An empty one that has no bytes
    // at all trips the handler of bounds-checked memory.
    void reset();
    // The same for a helper that serves meanwhile: the mask is emptied by the next begin. Any thread, without the lock.
    void requestReset();
    // The next inference is fed an empty mask.
    void clearRawMask();
    // Size of the pictures of the network in place. Any thread.
    void setModelSize(int32_t width, int32_t height);

    // Looks at a frame of `size` bytes, 3 a pixel, before the lock is taken. Refuses, with a line, while not `inited`,
    // without data, of another size than the network's or with too few bytes for it; skips one whose picture stands
    // still. The frame must stay as it is until it has been decoded.
    Verdict begin(bool inited, int32_t width, int32_t height, const uint8_t* data, int32_t size);
    // begin's checks again, for a helper that has waited since: true with a line while not `inited`...
    bool refusedAsNotInited(bool inited) const;
    // ... and whether a network of this size takes such a frame; false with a line.
    bool sizeFits(int32_t width, int32_t height, int32_t modelWidth, int32_t modelHeight) const;
    // Infers the frame that begin has let through. True when this closed a statistics window whose average is too slow
    // for a device other than the processor. Raises what the engine raises.
    bool infer(LadonEngine& engine, const uint8_t* data);

    // Decodes the mask of the last inference into outMask; segmentationValid tells the outcome. The raw mask is what
    // the next inference is fed. Refreshes what the change test compares with, unless skipping is off or the helper
    // warms up. Raises std::out_of_range for an output without dimensions.
    void parseSegmentation(const LadonEngine& engine);
    // Gives the nine scores and takes the strongest one's index, -1 when none is above 0. A pointer is left alone, and
    // a line written, when the output has another shape.
    void readGesture(const LadonEngine& engine, const float** gesture);
    // Gives the 1x9x16x1439 values; the same for another shape.
    void readLandmarks(const LadonEngine& engine, const float** landmarks);
    // First value of the output, 0 for one without values.
    float readMotion(const LadonEngine& engine) const;

    // Set by the host before each frame, from the frame's record. The frame thread's.
    void setFrameSkipAllowed(bool allowed) { mFrameSkipAllowed = allowed; }
    // Skipping on or off, until the next choose turns it on. Any thread.
    void setAutoSkipVBG(bool on) { mAutoSkipVBG.store(on, std::memory_order_relaxed); }
    bool autoSkipVBG() const { return mAutoSkipVBG.load(std::memory_order_relaxed); }

    // For the frame thread, after begin and the decoders.
    bool frameSkipAllowed() const { return mFrameSkipAllowed; }
    // Result of the last change test, 1 before the first.
    int32_t lastChanged() const { return mLastChanged.load(std::memory_order_relaxed); }
    bool segmentationValid() const { return mSegmentationValid; }
    bool gestureValid() const { return mGestureValid; }
    bool landmarksValid() const { return mLandmarksValid; }
    int32_t gestureId() const { return mGestureId; }
    int32_t skipRun() const { return mSkip.skipRun(); }
    int32_t updateCount() const { return mSkip.updateCount(); }
    int32_t warmupFrames() const { return mWarmupFrames.load(std::memory_order_relaxed); }
    // The mask last decoded, width x height of the network; valid until the next decoding.
    std::span<const uint8_t> outMask() const { return {mOutMask.data(), mMaskPixels}; }
    // The mask that a skipped frame repeats; empty before the first.
    std::span<const uint8_t> prevMask() const { return mSkip.previousMask(); }

  private:
    static constexpr int32_t kWarmupInferences = 10;

    bool skipping() const { return autoSkipVBG() && mFrameSkipAllowed && warmupFrames() == 0; }
    bool skipFrame(const uint8_t* data, int32_t size);
    bool tooShort(int32_t width, int32_t height, int32_t size) const;
    void growMasks(size_t pixels);
    bool countInference(uint32_t milliseconds);
    bool closeWindow(uint32_t elapsed);

    const std::string mHelperName;
    const std::string mSegmentationName = "segmentation";
    const std::string mGestureName = "gesture";
    const std::string mLandmarksName = "faces_and_landmarks";
    const std::string mMotionName = "motion";

    SkipLogic mSkip;
    std::vector<uint8_t> mRawMask;
    std::vector<uint8_t> mOutMask;
    size_t mMaskPixels = 0;
    // The frame under way, for the reference of the change test; null when that test did not run or skipped it.
    const uint8_t* mPendingFrame = nullptr;
    std::atomic<int32_t> mLastChanged{1};
    std::atomic<bool> mClearPending{false};
    std::atomic<int32_t> mWarmupFrames{0};
    std::atomic<int32_t> mModelWidth{0};
    std::atomic<int32_t> mModelHeight{0};
    int32_t mGestureId = -1;
    bool mGestureValid = false;
    bool mSegmentationValid = false;
    bool mLandmarksValid = false;
    bool mKeepRawMask = false;
    bool mFrameSkipAllowed = true;
    std::atomic<bool> mAutoSkipVBG{true};

    int32_t mTotalCount = 0;
    uint32_t mInferTotalMs = 0;
    uint32_t mStatStartTick = 0;  // 0: the window has not begun
};
