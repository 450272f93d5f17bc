#include "client/src/HostChannels.h"

#include <atomic>

namespace client {

namespace {

// The records of the lists as another process may change them at any moment.
int32_t load(int32_t& word) {
    return std::atomic_ref(word).load();
}

template <class Channel>
bool openOne(std::shared_ptr<Channel>& channel, std::shared_ptr<Channel> (*open)(const std::string&),
             const std::string& name, std::string* error) {
    channel = open(name);
    if (!channel) *error = "channel " + name + " cannot be opened: " + platform::kernelObjects().lastErrorText();
    return channel != nullptr;
}

}  // namespace

std::unique_ptr<SlotWatch> SlotWatch::open(const std::string& name, int32_t slots, size_t mappingBytes) {
    platform::KernelObjects& objects = platform::kernelObjects();
    platform::Handle mapping = objects.openMapping((name + "_shm").c_str(), mappingBytes);
    if (!mapping) return nullptr;
    void* view = objects.mapView(mapping, mappingBytes);
    if (!view) {
        objects.closeMapping(mapping);
        return nullptr;
    }
    return std::unique_ptr<SlotWatch>(new SlotWatch(mapping, view, slots, mappingBytes));
}

SlotWatch::~SlotWatch() {
    platform::kernelObjects().unmapView(mView, mBytes);
    platform::kernelObjects().closeMapping(mMapping);
}

bool SlotWatch::allGivenBack() const {
    auto* header = static_cast<ipc::ChannelHeader*>(mView);
    auto* nodes = reinterpret_cast<ipc::ChannelNode*>(header + 1);
    int32_t node = load(header->freeList.head);
    int32_t count = 0;
    while (node >= 0 && node < mSlots && count < mSlots) {
        ++count;
        node = load(nodes[node].next);
    }
    return count == mSlots && node == -1;
}

bool HostChannels::open(const std::string& base, std::string* error) {
    using namespace ipc;
    const bool opened = openOne(command, &CommandChannel::openForWrite, base + kCommandSuffix, error) &&
                        openOne(event, &EventChannel::openForRead, base + kEventSuffix, error) &&
                        openOne(frame, &FrameChannel::openForWrite, base + kFrameSuffix, error) &&
                        openOne(sharing, &FrameChannel::openForWrite, base + kSharingSuffix, error) &&
                        openOne(result, &FrameChannel::openForRead, base + kResultSuffix, error) &&
                        openOne(roi, &RoiChannel::openForRead, base + kRoiSuffix, error) &&
                        openOne(content, &ContentChannel::openForRead, base + kContentSuffix, error) &&
                        openOne(ladon, &LadonChannel::openForRead, base + kLadonSuffix, error) &&
                        openOne(log, &LogChannel::openForRead, base + kLogSuffix, error);
    if (!opened) return false;
    frameSlots = SlotWatch::open(base + kFrameSuffix, FrameChannel::kSlots, FrameChannel::kMappingBytes);
    if (!frameSlots) *error = "channel " + base + kFrameSuffix + ": " + platform::kernelObjects().lastErrorText();
    return frameSlots != nullptr;
}

void HostChannels::stop() {
    command->stop();
    event->stop();
    frame->stop();
    sharing->stop();
    result->stop();
    roi->stop();
    content->stop();
    ladon->stop();
    log->stop();
}

bool HostChannels::broken() const {
    return command->broken() || event->broken() || frame->broken() || sharing->broken() || result->broken() ||
           roi->broken() || content->broken() || ladon->broken() || log->broken();
}

}  // namespace client
