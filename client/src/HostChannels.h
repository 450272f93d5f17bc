#pragma once

#include <memory>
#include <string>

#include "ipc/channel_list.h"
#include "ipc/channel_names.h"
#include "platform/include/kernel_objects.h"

namespace client {

// Tells whether the reader of a channel has given every slot back. Looks at the channel's mapping through a view of its
// own and changes nothing.
class SlotWatch {
  public:
    // Null when the channel `name` of that many slots is not open.
    static std::unique_ptr<SlotWatch> open(const std::string& name, int32_t slots, size_t mappingBytes);
    ~SlotWatch();
    SlotWatch(const SlotWatch&) = delete;
    SlotWatch& operator=(const SlotWatch&) = delete;

    // Not to be called while this process writes the channel. A damaged list counts as not given back.
    bool allGivenBack() const;

  private:
    SlotWatch(platform::Handle mapping, void* view, int32_t slots, size_t bytes)
        : mMapping(mapping), mView(view), mSlots(slots), mBytes(bytes) {}

    platform::Handle mMapping;
    void* mView;
    int32_t mSlots;
    size_t mBytes;
};

// The nine channels of one host, opened from the client's side. They are opened before the host is started, so that the
// first commands lie ready and a lack of shared memory is told before a process runs.
struct HostChannels {
    std::shared_ptr<ipc::CommandChannel> command;
    std::shared_ptr<ipc::EventChannel> event;
    std::shared_ptr<ipc::FrameChannel> frame;
    std::shared_ptr<ipc::FrameChannel> sharing;
    std::shared_ptr<ipc::FrameChannel> result;
    std::shared_ptr<ipc::RoiChannel> roi;
    std::shared_ptr<ipc::ContentChannel> content;
    std::shared_ptr<ipc::LadonChannel> ladon;
    std::shared_ptr<ipc::LogChannel> log;
    std::unique_ptr<SlotWatch> frameSlots;

    // False when one cannot be opened; *error then says which and why.
    bool open(const std::string& baseName, std::string* error);
    // Wakes every reader; queued records are still delivered.
    void stop();
    // Whether the shared lists of any were found damaged.
    bool broken() const;
};

}  // namespace client
