#include "bench/PacedFrames.h"

#include <algorithm>
#include <thread>

namespace zelbench {

double PacedFrames::exchange(ServedHost& host) {
    constexpr std::chrono::microseconds kPeriod{33333};
    std::this_thread::sleep_until(mNext);
    const Clock::time_point start = Clock::now();
    mNext = std::max(mNext + kPeriod, start);
    host.exchangeLadon(modelPicture(mSeries, mCount++), *mResult);
    return std::chrono::duration<double, std::micro>(Clock::now() - start).count();
}

}  // namespace zelbench
