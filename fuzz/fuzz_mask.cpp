#include <algorithm>

#include "client/src/Answers.h"
#include "fuzz/Records.h"
#include "fuzz/SilentEvents.h"

namespace {

class Masks final : public fuzz::Answered {
  public:
    using Answered::Answered;

    void onMask(const client::MaskView& mask) override {
        const zelclient_result result = answer([&](client::Result& to) { return client::readMask(mask, to); });
        if (!result.mask) return;
        fuzz::require(mask.width == mWidth && mask.height == mHeight && mask.size == mWidth * mHeight);
        fuzz::require(std::equal(mask.bytes, mask.bytes + mask.size, result.mask));
    }
};

}  // namespace

// The masks of a host, read by a client. The input begins with the frame's width and height less one.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    constexpr uint32_t kMostPixels = ipc::kFrameBytes / 3;
    fuzz::Input input(data, size);
    const uint32_t width = fuzz::sideFrom(input, kMostPixels);
    const uint32_t height = fuzz::sideFrom(input, kMostPixels / width);
    Masks masks(width, height);
    client::HostRecords records(masks);
    static fuzz::Slot<ipc::FrameHolder<ipc::kFrameBytes>> slot;
    while (!input.empty()) records.mask(slot.next(input));
    return 0;
}
