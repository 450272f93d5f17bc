#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "ipc/channel.h"
#include "platform/include/kernel_objects.h"
#include "platform/include/thread.h"

namespace ipc {

// A name of this process that no other test uses.
inline std::string uniqueName() {
    static std::atomic<int> count{0};
    return "zelhosttest" + std::to_string(platform::currentProcessId()) + "_" + std::to_string(count++);
}

// Opening prints no error numbers while it lives.
struct QuietOpening {
    QuietOpening() { printOpenErrors(false); }
    QuietOpening(const QuietOpening&) = delete;
    QuietOpening& operator=(const QuietOpening&) = delete;
    ~QuietOpening() { printOpenErrors(true); }
};

// A small record, large enough to show a torn one.
struct TestRecord {
    uint32_t number;
    uint32_t words[30];
    uint32_t check;

    void fill(uint32_t value) {
        number = value;
        for (uint32_t& word : words) word = value * 2654435761u;
        check = ~value;
    }
    bool holds(uint32_t value) const {
        for (const uint32_t word : words) {
            if (word != value * 2654435761u) return false;
        }
        return number == value && check == ~value;
    }
};

using TestChannel = channel<TestRecord, 4>;

// The bytes of a channel's mapping, as another process sees them.
class RawMapping {
  public:
    explicit RawMapping(const std::string& channelName, size_t size = TestChannel::kMappingBytes)
        : mHandle(platform::systemKernelObjects().openMapping((channelName + "_shm").c_str(), size)), mSize(size) {
        if (mHandle) mView = static_cast<uint8_t*>(platform::systemKernelObjects().mapView(mHandle, size));
    }
    RawMapping(const RawMapping&) = delete;
    RawMapping& operator=(const RawMapping&) = delete;
    ~RawMapping() {
        if (mView) platform::systemKernelObjects().unmapView(mView, mSize);
        if (mHandle) platform::systemKernelObjects().closeMapping(mHandle);
    }

    bool exists() const { return mView != nullptr; }
    uint8_t* bytes() { return mView; }
    std::vector<uint8_t> copy() const { return {mView, mView + mSize}; }
    ChannelHeader& header() { return *reinterpret_cast<ChannelHeader*>(mView); }
    ChannelNode& node(int i) { return reinterpret_cast<ChannelNode*>(mView + sizeof(ChannelHeader))[i]; }

  private:
    platform::Handle mHandle;
    uint8_t* mView = nullptr;
    size_t mSize;
};

// The system's kernel objects, watched, and failing on request. In force as long as it lives.
class WatchedKernelObjects final : public platform::KernelObjects {
  public:
    WatchedKernelObjects() { platform::replaceKernelObjects(this); }
    ~WatchedKernelObjects() override { platform::replaceKernelObjects(nullptr); }

    std::string failEvent;  // a name, to be set before it is used
    bool failOpenMapping = false;
    bool failCreateMapping = false;
    int failViews = 0;                  // so many calls fail
    std::atomic<bool> loseSets{false};  // those that come with records, as from a process killed at that moment
    // Called at the start of every wait, also of one that may not block; to be set before it is used.
    std::function<void(platform::Handle event, uint32_t timeoutMs)> beforeWait;

    // Names in the order of the calls, each with what was done: "event NAME", "open NAME", "create NAME".
    std::vector<std::string> calls() const {
        const std::lock_guard lock(mMutex);
        return mCalls;
    }

    // Returns when `count` waits that may block have begun since the start.
    void awaitWaits(int count) {
        std::unique_lock lock(mMutex);
        mWaitBegan.wait(lock, [&] { return mWaits >= count; });
    }
    int waits() const {
        const std::lock_guard lock(mMutex);
        return mWaits;
    }
    int openObjects() const {
        const std::lock_guard lock(mMutex);
        return mOpen;
    }

    platform::Handle createEvent(const char* name) override {
        note(std::string("event ") + name);
        return failEvent == name ? nullptr : counted(mSystem.createEvent(name));
    }
    void setEvent(platform::Handle event) override { mSystem.setEvent(event); }
    void setEventOnce(platform::Handle event) override {
        if (!loseSets) mSystem.setEventOnce(event);
    }
    platform::WaitResult waitEvent(platform::Handle event, uint32_t timeoutMs) override {
        if (timeoutMs != 0) {
            const std::lock_guard lock(mMutex);
            ++mWaits;
            mWaitBegan.notify_all();
        }
        if (beforeWait) beforeWait(event, timeoutMs);
        return mSystem.waitEvent(event, timeoutMs);
    }
    void closeEvent(platform::Handle event) override {
        released();
        mSystem.closeEvent(event);
    }
    platform::Handle openMapping(const char* name, size_t size) override {
        note(std::string("open ") + name);
        return failOpenMapping ? nullptr : counted(mSystem.openMapping(name, size));
    }
    platform::Handle createMapping(const char* name, size_t size, const void* content, size_t contentSize) override {
        note(std::string("create ") + name);
        return failCreateMapping ? nullptr : counted(mSystem.createMapping(name, size, content, contentSize));
    }
    void* mapView(platform::Handle mapping, size_t size) override {
        if (failViews > 0) {
            --failViews;
            return nullptr;
        }
        return counted(mSystem.mapView(mapping, size));
    }
    void unmapView(void* view, size_t size) override {
        released();
        mSystem.unmapView(view, size);
    }
    void closeMapping(platform::Handle mapping) override {
        released();
        mSystem.closeMapping(mapping);
    }
    uint32_t lastError() override { return mSystem.lastError(); }
    std::string lastErrorText() override { return mSystem.lastErrorText(); }

  private:
    void note(const std::string& call) {
        const std::lock_guard lock(mMutex);
        mCalls.push_back(call);
    }
    void* counted(void* object) {
        const std::lock_guard lock(mMutex);
        if (object) ++mOpen;
        return object;
    }
    void released() {
        const std::lock_guard lock(mMutex);
        --mOpen;
    }

    platform::KernelObjects& mSystem = platform::systemKernelObjects();
    mutable std::mutex mMutex;
    std::condition_variable mWaitBegan;
    std::vector<std::string> mCalls;
    int mWaits = 0;
    int mOpen = 0;
};

}  // namespace ipc
