#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "bench/Picture.h"
#include "bench/ServedHost.h"

namespace zelbench {

// A camera of 30 frames a second for a Ladon model of 256x144. A frame that is answered late delays the next.
class PacedFrames {
  public:
    explicit PacedFrames(const std::string& picture) : mSeries(readFrames(picture, 256, 144)) {}

    // Waits for the next frame's time. Microseconds from the frame's way into the channel to its record.
    double exchange(ServedHost& host);

  private:
    using Clock = std::chrono::steady_clock;

    const FrameSeries mSeries;
    const std::unique_ptr<ipc::LadonResult> mResult = std::make_unique<ipc::LadonResult>();
    uint64_t mCount = 0;
    Clock::time_point mNext = Clock::now();
};

}  // namespace zelbench
