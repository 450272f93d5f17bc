#include <algorithm>
#include <cstdio>
#include <cstring>

#include "host/LogWaitBound.h"
#include "host/ZELHostUtils.h"
#include "host/ZelMLHost.h"
#include "platform/include/exception_filter.h"
#include "util/include/CmThread.h"
#include "util/include/CmTrace.h"

namespace {

constexpr uint32_t kLogWaitMs = 200;
constexpr uint32_t kLogSliceMs = 50;

// Fills the record of a slot; false when the channel is missing.
template <class Channel, class Record>
bool send(const std::shared_ptr<Channel>& channel, std::function<void(Record&)>&& fill, uint32_t timeoutMs) {
    if (!channel) return false;
    return channel->write([&fill](ipc::packet<Record>& packet) { fill(packet.record); }, timeoutMs);
}

}  // namespace

bool ZelMLHost::sendEvent(const std::string&, std::function<void(ipc::Event&)>&& fill, uint32_t timeoutMs) {
    return send(copyOf(mEventChannel), std::move(fill), timeoutMs);
}

bool ZelMLHost::sendFrame(const std::string&, std::function<void(ipc::FrameHolder<ipc::kFrameBytes>&)>&& fill) {
    std::function<void(ipc::FrameHolder<ipc::kFrameBytes>&)> withLimit = [&fill](auto& frame) {
        frame.size = static_cast<uint32_t>(ipc::kFrameBytes);
        fill(frame);
    };
    return send(copyOf(mResultChannel), std::move(withLimit), platform::kInfinite);
}

bool ZelMLHost::sendROI(const std::string&, std::function<void(ipc::FrameHolder<ipc::kRoiBytes>&)>&& fill) {
    return send(copyOf(mRoiChannel), std::move(fill), platform::kInfinite);
}

bool ZelMLHost::sendContentROI(const std::string&, std::function<void(ipc::FrameHolder<ipc::kContentBytes>&)>&& fill) {
    return send(copyOf(mContentChannel), std::move(fill), platform::kInfinite);
}

bool ZelMLHost::sendLadonResults(const std::string&,
                                 std::function<void(ipc::LadonResultHolder<ipc::kFrameBytes>&)>&& fill) {
    return send(copyOf(mLadonChannel), std::move(fill), platform::kInfinite);
}

bool ZelMLHost::sendModelLoadTime() {
    if (mModelLoadTime != 0) {
        sendEvent("", [this](ipc::Event& event) {
            event.code = static_cast<uint32_t>(ipc::EventCode::ModelLoadTime);
            event.loadTime = mModelLoadTime;
        });
    }
    return true;
}

void ZelMLHost::sendLog(uint32_t level, char* message, uint32_t length) {
    const bool sent = sendLogLine(level, message, length);
    if (!sent && platform::isThreadInFilter()) cm::writeTraceToStderr(static_cast<int>(level), message, length);
}

// Takes no memory from the heap, since it runs in the crash filter too.
bool ZelMLHost::sendLogLine(uint32_t level, const char* text, uint32_t length) {
    char prefix[48];
    const auto prefixBytes = static_cast<uint32_t>(
        std::snprintf(prefix, sizeof prefix, "[%d:%d] ", ZELHostUtils::storedProcessId(), CmGetThreadID()));
    uint32_t rest = prefixBytes + length;
    const auto channel = platform::isThreadInFilter() ? tryCopyOf(mLogChannel) : copyOf(mLogChannel);
    if (!channel) return false;
    const BoundedLock lock(mLogMutex, logWaitMs());
    if (!lock) return false;

    const uint32_t first = std::min<uint32_t>(rest, ipc::kFirstChunkText);
    const uint32_t messageBytes = first - prefixBytes;
    const auto fillFirst = [&](LogChunk& chunk) {
        chunk.flags = first == rest ? ipc::kFirstChunk | ipc::kLastChunk : ipc::kFirstChunk;
        chunk.size = first + ipc::kChunkLevelBytes;
        std::memcpy(chunk.body, &level, ipc::kChunkLevelBytes);
        std::memcpy(chunk.body + ipc::kChunkLevelBytes, prefix, prefixBytes);
        std::memcpy(chunk.body + ipc::kChunkLevelBytes + prefixBytes, text, messageBytes);
    };
    bool sent = writeLogChunk(*channel, std::ref(fillFirst));
    text += messageBytes;
    rest -= first;
    while (rest > 0 && sent) {
        const uint32_t count = std::min<uint32_t>(rest, ipc::kLaterChunkText);
        const auto fillLater = [&](LogChunk& chunk) {
            chunk.flags = count == rest ? ipc::kLastChunk : 0;
            chunk.size = count;
            std::memcpy(chunk.body, text, count);
        };
        sent = writeLogChunk(*channel, std::ref(fillLater));
        text += count;
        rest -= count;
    }
    return sent;
}

uint32_t ZelMLHost::logWaitMs() const {
    if (platform::isThreadInFilter()) return 0;
    return mStopping || LogWaitBound::inForce() ? kLogWaitMs : platform::kInfinite;
}

// Waits in slices, so that a thread which went to sleep before the stop notices it.
bool ZelMLHost::writeLogChunk(ipc::LogChannel& channel, std::function<void(LogChunk&)> fill) {
    const auto write = [&fill](ipc::packet<LogChunk>& packet) { fill(packet.record); };
    if (platform::isThreadInFilter()) return channel.write(write, 0);
    uint32_t boundedMs = 0;
    while (true) {
        const bool bounded = mStopping || LogWaitBound::inForce();
        const uint32_t slice = bounded && mClientDeaf ? 0 : kLogSliceMs;
        if (channel.write(write, slice)) {
            mClientDeaf = false;
            return true;
        }
        if (channel.closed() || channel.broken()) return false;
        if (!bounded) continue;
        boundedMs += slice;
        if (slice == 0 || boundedMs >= kLogWaitMs) {
            mClientDeaf = true;
            return false;
        }
    }
}
