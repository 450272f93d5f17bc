#include <algorithm>

#include "client/src/HostRecords.h"
#include "client/src/Results.h"
#include "fuzz/Records.h"

namespace {

// What becomes of the masks that answer frames of one size: a result for the caller, as the client makes it. Which
// frame a mask answers is told by the order alone, so that nothing of the record has a part in it.
class Answers final : public client::SessionEvents {
  public:
    Answers(uint32_t width, uint32_t height) : mWidth(width), mHeight(height) {}

    void onMask(const client::MaskView& mask) override {
        mResults.put(mResults.answer(mask, mWidth, mHeight));
        zelclient_result result{};
        fuzz::require(mResults.poll(0, result) && result.width == mWidth && result.height == mHeight);
        fuzz::require((result.status == ZELCLIENT_MASK) == (result.mask != nullptr));
        if (!result.mask) return;
        fuzz::require(mask.width == mWidth && mask.height == mHeight && mask.size == mWidth * mHeight);
        fuzz::require(std::equal(mask.bytes, mask.bytes + mask.size, result.mask));
    }

    void onHello() override {}
    void onBeat() override {}
    void onModelName(const std::string&) override {}
    void onModelType(uint32_t) override {}
    void onLogLine(uint32_t, const std::string&) override {}
    uint64_t frameGivenBack() override { return 0; }
    void onNoMask(uint64_t) override {}

  private:
    const uint32_t mWidth;
    const uint32_t mHeight;
    client::ResultQueue mResults{nullptr, nullptr};
};

}  // namespace

// The masks of a host, read by a client. The input begins with the frame's width and height less one, each of two bytes
// and brought into the range that zelclient_submit accepts.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    constexpr uint32_t kMostPixels = ipc::kFrameBytes / 3;
    fuzz::Input input(data, size);
    const uint32_t width = 1 + input.word16() % kMostPixels;
    const uint32_t height = 1 + input.word16() % (kMostPixels / width);
    Answers answers(width, height);
    client::HostRecords records(answers);
    static fuzz::Slot<ipc::FrameHolder<ipc::kFrameBytes>> slot;
    while (!input.empty()) records.mask(slot.next(input));
    return 0;
}
