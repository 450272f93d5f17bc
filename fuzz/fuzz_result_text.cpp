#include <cmath>

#include "client/src/Answers.h"
#include "fuzz/Records.h"
#include "fuzz/SilentEvents.h"

namespace {

class Boxes final : public fuzz::Answered {
  public:
    using Answered::Answered;

    void onFaces(const client::TextView& text) override {
        check(answer([&](client::Result& to) { return client::readFaces(text, to); }), text);
    }
    void onContent(const client::TextView& text, bool valid) override {
        check(answer([&](client::Result& to) { return client::readContent(text, valid, to); }), text);
    }

  private:
    static void check(const zelclient_result& result, const client::TextView& text) {
        fuzz::require(result.status != ZELCLIENT_MASK && result.box_count <= text.most / 10);
        for (uint32_t at = 0; at < result.box_count; ++at) {
            const zelclient_rect& rect = result.boxes[at].rect;
            fuzz::require(rect.left <= rect.right && rect.top <= rect.bottom && std::isfinite(result.boxes[at].score));
        }
    }
};

}  // namespace

// The texts of a host about faces and content, read by a client. The input begins with a byte that says of which.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::Input input(data, size);
    const bool faces = input.byte() % 2 == 0;
    Boxes boxes(160, 90);
    client::HostRecords records(boxes);
    static fuzz::Slot<ipc::FrameHolder<ipc::kRoiBytes>> faceSlot;
    static fuzz::Slot<ipc::FrameHolder<ipc::kContentBytes>> contentSlot;
    while (!input.empty()) {
        if (faces) {
            records.faces(faceSlot.next(input));
        } else {
            records.content(contentSlot.next(input));
        }
    }
    return 0;
}
