#include "bench/SwitchingHost.h"

#include <chrono>
#include <filesystem>
#include <stdexcept>

namespace zelbench {

namespace {

constexpr uint32_t kLadonLibraryCpu = 9;
constexpr uint32_t kLadonLibraryNpu = 10;

bool contains(const std::string& line, const char* text) {
    return line.find(text) != std::string::npos;
}

}  // namespace

SwitchingHost::SwitchingHost()
    : mServed(kLadonLibraryCpu, 0,
              {{{"ZELHOST_DEVICE_ALIAS", "GPU=CPU,NPU=CPU"}, {"XDG_CACHE_HOME", mCache.path()}},
               [this](const std::string& line) { onLogLine(line); }}) {}

// The host tells these in lines of its log and nowhere else.
void SwitchingHost::onLogLine(const std::string& line) {
    const cm::LockGuard lock(mMutex);
    if (contains(line, "create model with device:AUTO, modelLoadTime=")) ++mMade;
    if (contains(line, "switchEngine success, current device: NPU")) ++mSwitched;
    if (contains(line, "zelipc >> ZelLadonXnnHelper::initXnn, ")) mFailure = line;
    mTold.notify_all();
}

void SwitchingHost::emptyCache() {
    for (const auto& entry : std::filesystem::directory_iterator(mCache.path()))
        std::filesystem::remove_all(entry.path());
}

void SwitchingHost::beginNpu() {
    {
        const cm::LockGuard lock(mMutex);
        ++mBegun;
    }
    mServed.start(kLadonLibraryNpu, 0);
}

bool SwitchingHost::making() {
    const cm::LockGuard lock(mMutex);
    return mMade < mBegun;
}

bool SwitchingHost::switching() {
    const cm::LockGuard lock(mMutex);
    return mSwitched < mBegun;
}

void SwitchingHost::awaitNpu() {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(zeltest::kDeadlineMs);
    const cm::LockGuard lock(mMutex);
    while (mSwitched < mBegun) {
        if (!mFailure.empty()) throw std::runtime_error("the host did not switch to the NPU: " + mFailure);
        if (mTold.wait_until(mMutex, end) == std::cv_status::timeout)
            throw std::runtime_error(mServed.ended() ? "the host has ended before it switched to the NPU"
                                                     : "the host did not switch to the NPU");
    }
}

void SwitchingHost::backToCpu() {
    mServed.start(kLadonLibraryCpu, 0);
}

}  // namespace zelbench
