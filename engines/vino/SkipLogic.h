#pragma once

#include <atomic>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

// The state by which a helper reuses its last mask while the picture stands still, shared by the segmentation and Ladon
// helpers. One frame thread runs test and update; the two clear functions may run on other threads meanwhile.
class SkipLogic {
  public:
    // The change test on `width` x `height` pixels of `frame`, which has `size` bytes. Nothing beyond these or beyond
    // the reference is read, whatever the numbers. 1 for changed, 0 for unchanged.
    int32_t test(int32_t width, int32_t height, const uint8_t* frame, int32_t size);

    // Takes a new mask: refreshes reference frame and edge band when the mask's byte sum has moved by more than a fifth
    // or at every tenth mask, keeps `outMask` for reuse, counts the mask and adds the time to skipCostMs. Both masks
    // hold width x height bytes; `frame` holds width x height x 3, or is null, which leaves the reference's bytes.
    // `outMask` is not copied: it stays as it is until the next update or a call of ownPreviousMask. Allocates only
    // when the size changes.
    void update(int32_t width, int32_t height, const uint8_t* rawMask, const uint8_t* outMask, const uint8_t* frame);

    // Whether a mask was produced since the last clear, so that there is one to reuse.
    bool hasMask() const { return mVbgUpdateCount.load(std::memory_order_relaxed) != 0; }
    int32_t updateCount() const { return mVbgUpdateCount.load(std::memory_order_relaxed); }
    void clearUpdateCount() { mVbgUpdateCount.store(0, std::memory_order_relaxed); }
    void clearEdgeCount() { mEdgeCount.store(0, std::memory_order_relaxed); }

    // The mask to reuse; empty before the first update.
    std::span<const uint8_t> previousMask() const { return mPrevMask; }
    // Copies it, so that the bytes that update was given may change without another update. One that is a copy already
    // is left alone.
    void ownPreviousMask();
    // Clears its bytes; as many as before remain. One without bytes trips the handler of bounds-checked memory.
    void clearPreviousMask();

    int32_t skipRun() const { return mSkipRun; }
    int32_t edgeCount() const { return mEdgeCount.load(std::memory_order_relaxed); }

    // Of the current statistics window: frames skipped, and milliseconds spent on test and update.
    int32_t skipCount() const { return mSkipCount; }
    uint32_t skipCostMs() const { return mSkipCostMs; }
    void countSkip() { ++mSkipCount; }
    void addCost(uint32_t milliseconds) { mSkipCostMs += milliseconds; }
    void clearStatistics() {
        mSkipCount = 0;
        mSkipCostMs = 0;
    }

  private:
    bool needsRefresh(int32_t sum) const;
    void refresh(int32_t width, int32_t height, const uint8_t* rawMask, const uint8_t* frame);

    std::vector<uint8_t> mRefFrame;
    std::span<const uint8_t> mPrevMask;
    std::vector<uint8_t> mOwnMask;
    std::vector<uint8_t> mEdgeMask;
    uint32_t mSkipCostMs = 0;
    std::atomic<int32_t> mEdgeCount{0};
    int32_t mSkipRun = 0;
    std::atomic<int32_t> mVbgUpdateCount{0};
    int32_t mPrevMaskSum = 0;
    int32_t mSkipCount = 0;
};

// The limit from which a network is taken off its device: an average of more than 150 ms for each inference.
bool tooSlowForDevice(uint32_t totalMs, int32_t inferences);
// The rule that takes a network off the GPU: that limit on exactly "GPU".
bool gpuTooSlow(const std::string& device, uint32_t totalMs, int32_t inferences);
