#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>

#include "ipc/channel_list.h"
#include "platform/include/exception_filter.h"
#include "platform/include/kernel_objects.h"
#include "platform/include/thread.h"

// A channel: N slots of one record type inside a named mapping, written by one process and read by another. A record is
// built and used in place in its slot, so that the transport itself copies nothing.
namespace ipc {

// A named auto-reset event and its name.
class ChannelEvent {
  public:
    ChannelEvent() = default;
    ChannelEvent(const ChannelEvent&) = delete;
    ChannelEvent& operator=(const ChannelEvent&) = delete;
    ~ChannelEvent() { close(); }

    // Creates or opens it; one that was open is closed first. False when the system refuses.
    bool open(const std::string& name);
    void close();
    bool isOpen() const { return mHandle != nullptr; }
    // All without effect when it is not open; wait then fails. setOnce saves the system call while nobody has taken the
    // last set; only set wakes also a waiter whose setter was killed half-way.
    void set();
    void setOnce();
    platform::WaitResult wait(uint32_t timeoutMs);

  private:
    platform::Handle mHandle = nullptr;
    std::string mName;
};

// Whether a channel that finds no mapping to open prints the system's error number to standard output, "%d", as the
// host does. On from the start; a program whose standard output is its own switches it off. Any thread.
void printOpenErrors(bool on);

class Deadline;

// Lets one writing thread at a time into a channel. Its waiting is timed, which a plain mutex does not offer.
class WriterTurn {
  public:
    // False when it stayed taken for that long.
    bool take(uint32_t timeoutMs);
    void giveBack();

  private:
    std::mutex mMutex;
    std::condition_variable mFreed;
    bool mTaken = false;
};

// What all channels have in common, over untyped slots. See `channel` for the contract.
class ChannelCore {
  public:
    ChannelCore(const ChannelCore&) = delete;
    ChannelCore& operator=(const ChannelCore&) = delete;
    virtual ~ChannelCore();

    bool open(const std::string& name);
    void stop();
    void close();
    bool broken() const { return mBroken.load(std::memory_order_relaxed); }
    bool closed() const { return mClosed.load(std::memory_order_relaxed); }

  protected:
    enum class Mode : uint32_t { Reader = 0, Writer = 1 };
    using SlotCallback = void (*)(void* context, void* slot);

    ChannelCore(Mode mode, uint32_t slots, size_t slotBytes);

    bool writeSlot(SlotCallback fill, void* context, uint32_t timeoutMs);
    bool readSlot(SlotCallback consume, void* context, uint32_t timeoutMs);

  private:
    bool writeInTurn(SlotCallback fill, void* context, const Deadline& deadline);
    bool openMapping(const std::string& name);
    bool mapView(size_t size);
    void releaseMapping();
    std::string initialLists() const;

    ChannelHeader& header() const;
    ChannelLists<> lists() const;
    void* slot(int32_t node) const;
    int32_t take(ChannelList& list, ChannelEvent& event);
    bool give(int32_t node, ChannelList& list, ChannelEvent& event);
    void deliver(int32_t node, SlotCallback consume, void* context);
    void countRetry();
    bool waitForFreeSlot(uint32_t timeoutMs);

    const Mode mMode;
    const int32_t mSlots;
    const size_t mSlotBytes;
    platform::Handle mMapping = nullptr;
    void* mView = nullptr;
    size_t mSize = 0;          // of the mapping, bytes
    uint8_t* mData = nullptr;  // equal to mView while open
    ChannelEvent mFilled;
    ChannelEvent mAvailable;
    std::atomic<bool> mClosed{false};
    std::atomic<bool> mBroken{false};
    std::atomic<uint32_t> mRetryCount{0};
    const uint32_t mRetryLimit = 500000;
    bool* mReadGuard = nullptr;  // on the stack of a read that is inside its callback
    DeliveryCount mDeliveries;
    WriterTurn mWriterTurn;  // held for a whole write, its wait included; stop never takes it
};

// One direction between two processes, opened the same way by both: whoever comes first builds the mapping, an existing
// one is used as found, queued records included. At most one thread reads an object at a time; several threads may
// write, one after the other. Neither callback may throw, nor call read or write of the same channel.
//
// The peer is not trusted. When the shared lists cannot be right the channel is broken for good: it delivers nothing
// more, a reader waits as on an empty channel, writes return false. It says nothing itself; its owner asks broken().
template <class T, uint32_t N>
class channel final : public ChannelCore {
    static_assert(std::is_trivially_copyable_v<T> && std::is_standard_layout_v<T>);
    static_assert(alignof(T) <= 4 && sizeof(T) % 4 == 0, "slots lie on 4-byte boundaries");

    struct Key {};

  public:
    using packet_type = T;
    static constexpr uint32_t kSlots = N;
    static constexpr size_t kSlotsOffset = slotsOffset(N);
    static constexpr size_t kMappingBytes = mappingBytes(N, sizeof(T));

    // Null when the channel cannot be opened; platform::kernelObjects().lastErrorText() then says why.
    static std::shared_ptr<channel> openForRead(const std::string& name) { return opened(Mode::Reader, name); }
    static std::shared_ptr<channel> openForWrite(const std::string& name) { return opened(Mode::Writer, name); }

    channel(Key, Mode mode) : ChannelCore(mode, N, sizeof(T)) {}

    // Takes an empty slot, lets `fill` build the record there and publishes it. While no slot is free it waits, at most
    // timeoutMs in all, for other writing threads included. False when none came free in time, after stop, on a broken
    // channel, and on a reader, which never has a free slot.
    bool write(std::function<void(T&)> fill, uint32_t timeoutMs = platform::kInfinite) {
        std::function<void(T&)> own = std::move(fill);
        return writeSlot([](void* context, void* slot) { call<std::function<void(T&)>>(context, slot); }, &own,
                         timeoutMs);
    }

    // Waits for the oldest full slot, lets `consume` use it in place and gives it back. Records that are queued are
    // delivered also after stop. False when none came within timeoutMs, when the channel is stopped and empty, and at
    // once on a writer. `consume` may destroy the channel; the record is gone then, and read returns true.
    bool read(std::function<void(const T&)> consume, uint32_t timeoutMs = platform::kInfinite) {
        std::function<void(const T&)> own = std::move(consume);
        return readSlot([](void* context, void* slot) { call<std::function<void(const T&)>>(context, slot); }, &own,
                        timeoutMs);
    }

    // From ChannelCore:
    //   stop()   wakes a blocked read and write of this object and refuses further blocking, for good. Any thread.
    //   close()  stop, then lets go of everything; nobody may be in read or write, but for a consume that calls it.
    //   broken() whether the shared lists were found damaged; stays so. Any thread.
    //   closed() whether stop or close was called. Any thread.

  private:
    static std::shared_ptr<channel> opened(Mode mode, const std::string& name) {
        auto made = std::make_shared<channel>(Key(), mode);
        if (!made->open(name)) made.reset();
        return made;
    }

    template <class Callback>
    static void call(void* context, void* slot) {
        Callback& callback = *static_cast<Callback*>(context);
        if (callback) callback(*static_cast<T*>(slot));
    }
};

// A thread, named "scn-ipc", that reads a channel until it is stopped. Not thread-safe; the callback may not call it.
template <class Channel>
class ChannelListener {
  public:
    using Consume = std::function<void(const typename Channel::packet_type&)>;

    ChannelListener() = default;
    ChannelListener(const ChannelListener&) = delete;
    ChannelListener& operator=(const ChannelListener&) = delete;
    ~ChannelListener() { stop(); }

    // Ends an earlier run; without a channel that is all. `consume` runs on the new thread.
    void start(std::shared_ptr<Channel> channel, Consume consume, uint32_t timeoutMs = platform::kInfinite) {
        stop();
        mStop = false;
        mChannel = std::move(channel);
        if (!mChannel) return;
        mThread = std::thread([this, own = std::move(consume), timeoutMs] {
            platform::prepareThreadForFilter();
            platform::setThreadName("scn-ipc");
            while (!mStop) mChannel->read(own, timeoutMs);
        });
    }

    // Stops the channel too, waits for the thread and lets the channel go.
    void stop() {
        if (!mChannel) return;
        mStop = true;
        mChannel->stop();
        if (mThread.joinable()) mThread.join();
        mChannel.reset();
    }

  private:
    std::atomic<bool> mStop{false};
    std::thread mThread;
    std::shared_ptr<Channel> mChannel;
};

}  // namespace ipc
