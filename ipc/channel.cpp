#include "ipc/channel.h"

#include <chrono>
#include <cstdio>
#include <cstring>
#include <vector>

#include "platform/include/clock.h"

namespace ipc {

// The end of a timed call that may wait several times.
class Deadline {
  public:
    explicit Deadline(uint32_t timeoutMs)
        : mEndless(timeoutMs == platform::kInfinite),
          mEnd(mEndless ? 0 : platform::monotonicMicroseconds() + uint64_t{timeoutMs} * 1000) {}

    uint32_t remainingMs() const {
        if (mEndless) return platform::kInfinite;
        const uint64_t now = platform::monotonicMicroseconds();
        return now < mEnd ? static_cast<uint32_t>((mEnd - now + 999) / 1000) : 0;
    }

  private:
    bool mEndless;
    uint64_t mEnd;
};

namespace {

constexpr size_t kNameBytes = 1024;

std::atomic<bool> openErrorsArePrinted{true};

std::string objectName(const char* format, const std::string& name) {
    char text[kNameBytes];
    std::snprintf(text, sizeof(text), format, name.c_str());
    return text;
}

// Lets the channel's destructor tell a read, by way of its stack, that the object is gone.
class ReadGuard {
  public:
    explicit ReadGuard(bool** place) : mPlace(place) { *mPlace = &mDestroyed; }
    ReadGuard(const ReadGuard&) = delete;
    ReadGuard& operator=(const ReadGuard&) = delete;
    ~ReadGuard() {
        if (!mDestroyed) *mPlace = nullptr;
    }
    bool destroyed() const { return mDestroyed; }

  private:
    bool** mPlace;
    bool mDestroyed = false;
};

class TurnKeeper {
  public:
    explicit TurnKeeper(WriterTurn& turn) : mTurn(turn) {}
    TurnKeeper(const TurnKeeper&) = delete;
    TurnKeeper& operator=(const TurnKeeper&) = delete;
    ~TurnKeeper() { mTurn.giveBack(); }

  private:
    WriterTurn& mTurn;
};

}  // namespace

bool WriterTurn::take(uint32_t timeoutMs) {
    std::unique_lock lock(mMutex);
    const auto isFree = [this] { return !mTaken; };
    if (timeoutMs == platform::kInfinite) {
        mFreed.wait(lock, isFree);
    } else if (!mFreed.wait_for(lock, std::chrono::milliseconds(timeoutMs), isFree)) {
        return false;
    }
    mTaken = true;
    return true;
}

void WriterTurn::giveBack() {
    {
        const std::lock_guard lock(mMutex);
        mTaken = false;
    }
    mFreed.notify_one();
}

void printOpenErrors(bool on) {
    openErrorsArePrinted = on;
}

bool ChannelEvent::open(const std::string& name) {
    close();
    mName = name;
    mHandle = platform::kernelObjects().createEvent(mName.c_str());
    return isOpen();
}

void ChannelEvent::close() {
    if (mHandle) platform::kernelObjects().closeEvent(mHandle);
    mHandle = nullptr;
    mName.clear();
}

void ChannelEvent::set() {
    if (mHandle) platform::kernelObjects().setEvent(mHandle);
}

void ChannelEvent::setOnce() {
    if (mHandle) platform::kernelObjects().setEventOnce(mHandle);
}

platform::WaitResult ChannelEvent::wait(uint32_t timeoutMs) {
    if (!mHandle) return platform::WaitResult::kFailed;
    return platform::kernelObjects().waitEvent(mHandle, timeoutMs);
}

ChannelCore::ChannelCore(Mode mode, uint32_t slots, size_t slotBytes)
    : mMode(mode), mSlots(static_cast<int32_t>(slots)), mSlotBytes(slotBytes) {}

ChannelCore::~ChannelCore() {
    close();
    if (mReadGuard) *mReadGuard = true;
}

bool ChannelCore::open(const std::string& name) {
    if (!mAvailable.open(objectName("%s_evt_avl", name))) return false;
    if (!mFilled.open(objectName("%s_evt_fld", name))) return false;
    releaseMapping();
    if (openMapping(objectName("%s_shm", name))) return true;
    close();
    return false;
}

bool ChannelCore::openMapping(const std::string& name) {
    platform::KernelObjects& objects = platform::kernelObjects();
    const size_t size = mappingBytes(static_cast<size_t>(mSlots), mSlotBytes);
    mMapping = objects.openMapping(name.c_str(), size);
    if (!mMapping && openErrorsArePrinted) std::printf("%d", static_cast<int>(objects.lastError()));
    if (mMapping && mapView(size)) return true;

    const std::string lists = initialLists();
    mMapping = objects.createMapping(name.c_str(), size, lists.data(), lists.size());
    return mMapping && mapView(size);
}

bool ChannelCore::mapView(size_t size) {
    mView = platform::kernelObjects().mapView(mMapping, size);
    if (!mView) {
        releaseMapping();
        return false;
    }
    mSize = size;
    mData = static_cast<uint8_t*>(mView);
    return true;
}

void ChannelCore::releaseMapping() {
    platform::KernelObjects& objects = platform::kernelObjects();
    if (mView) objects.unmapView(mView, mSize);
    mView = nullptr;
    if (mMapping) objects.closeMapping(mMapping);
    mMapping = nullptr;
    mSize = 0;
    mData = nullptr;
}

// The header and nodes of a fresh mapping: all slots free, in order.
std::string ChannelCore::initialLists() const {
    const ChannelHeader header{{0, mSlots - 1, 0, {}}, {kNoNode, kNoNode, 0, {}}};
    std::vector<ChannelNode> nodes(static_cast<size_t>(mSlots));
    for (int32_t i = 0; i < mSlots; ++i) nodes[static_cast<size_t>(i)] = {i + 1, i - 1, i};
    nodes.back().next = kNoNode;

    std::string bytes(slotsOffset(nodes.size()), '\0');
    std::memcpy(bytes.data(), &header, sizeof(header));
    std::memcpy(bytes.data() + sizeof(header), nodes.data(), nodes.size() * sizeof(ChannelNode));
    return bytes;
}

void ChannelCore::stop() {
    if (mClosed.exchange(true)) return;
    mFilled.set();
    mAvailable.set();
}

void ChannelCore::close() {
    stop();
    mFilled.close();
    mAvailable.close();
    releaseMapping();
}

bool ChannelCore::writeSlot(SlotCallback fill, void* context, uint32_t timeoutMs) {
    const Deadline deadline(timeoutMs);
    if (!mWriterTurn.take(timeoutMs)) return false;
    const TurnKeeper keeper(mWriterTurn);
    const bool written = writeInTurn(fill, context, deadline);
    mRetryCount = 0;
    return written;
}

// The look behind the deadline is the last: a peer that keeps the event set does not prolong a call.
bool ChannelCore::writeInTurn(SlotCallback fill, void* context, const Deadline& deadline) {
    bool isLastLook = false;
    while (!mClosed && !broken()) {
        const int32_t node = mMode == Mode::Writer && mData ? take(header().freeList, mAvailable) : kNoNode;
        if (node != kNoNode) {
            fill(context, slot(node));
            return give(node, header().filledList, mFilled);
        }
        countRetry();
        if (isLastLook || broken() || !waitForFreeSlot(deadline.remainingMs())) break;
        isLastLook = deadline.remainingMs() == 0;
    }
    return false;
}

bool ChannelCore::readSlot(SlotCallback consume, void* context, uint32_t timeoutMs) {
    if (mMode != Mode::Reader || !mData) return false;
    const Deadline deadline(timeoutMs);
    bool isLastLook = false;
    for (;;) {
        const int32_t node = take(header().filledList, mFilled);
        if (node != kNoNode) {
            deliver(node, consume, context);
            return true;
        }
        if (mClosed || isLastLook) return false;
        if (mFilled.wait(deadline.remainingMs()) != platform::WaitResult::kSignalled) return false;
        mDeliveries.eventTaken();
        if (mClosed) return false;
        isLastLook = deadline.remainingMs() == 0;
    }
}

// The consumer may destroy this object: nothing of it is touched then.
void ChannelCore::deliver(int32_t node, SlotCallback consume, void* context) {
    {
        const ReadGuard guard(&mReadGuard);
        consume(context, slot(node));
        if (guard.destroyed()) return;
    }
    if (mData) give(node, header().freeList, mAvailable);
}

ChannelHeader& ChannelCore::header() const {
    return *reinterpret_cast<ChannelHeader*>(mData);
}

ChannelLists<> ChannelCore::lists() const {
    return ChannelLists<>(reinterpret_cast<ChannelNode*>(mData + sizeof(ChannelHeader)), mSlots);
}

void* ChannelCore::slot(int32_t node) const {
    return mData + slotsOffset(static_cast<size_t>(mSlots)) + static_cast<size_t>(node) * mSlotBytes;
}

int32_t ChannelCore::take(ChannelList& list, ChannelEvent& event) {
    if (broken()) return kNoNode;
    const int32_t node = lists().pop(list);
    if (node == kNoNode) return kNoNode;
    const auto takeEvent = [&event] { return event.wait(0) == platform::WaitResult::kSignalled; };
    if (node != kBrokenList && mDeliveries.countDelivery(mSlots, takeEvent)) return node;
    mBroken = true;
    return kNoNode;
}

bool ChannelCore::give(int32_t node, ChannelList& list, ChannelEvent& event) {
    if (!lists().push(node, list)) {
        mBroken = true;
        return false;
    }
    event.setOnce();
    return true;
}

// Only counts; nothing reads it.
void ChannelCore::countRetry() {
    if (mRetryCount == mRetryLimit) mRetryCount = 0;
    ++mRetryCount;
}

bool ChannelCore::waitForFreeSlot(uint32_t timeoutMs) {
    if (mAvailable.wait(timeoutMs) != platform::WaitResult::kSignalled) return false;
    if (mMode == Mode::Writer) mDeliveries.eventTaken();
    return true;
}

}  // namespace ipc
