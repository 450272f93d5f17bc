#pragma once

#include <cstdint>
#include <string>

#include "client/src/HostRecords.h"
#include "client/src/Results.h"
#include "fuzz/Records.h"

namespace fuzz {

// Hears what a host says and does nothing about it, but for what a target overrides.
class SilentEvents : public client::SessionEvents {
  public:
    void onHello() override {}
    void onBeat() override {}
    void onModelName(const std::string&) override {}
    void onModelType(uint32_t) override {}
    void onLogLine(uint32_t, const std::string&) override {}
    void onMask(const client::MaskView&) override {}
    void onFaces(const client::TextView&) override {}
    void onContent(const client::TextView&, bool) override {}
    void onLadon(const ipc::LadonResult&) override {}
    uint64_t frameGivenBack(client::AnswerChannels) override { return 0; }
    void onNoAnswer(client::AnswerChannels, uint64_t) override {}
};

// Answers to frames of one size, each made into a result for the caller as the client makes it. Which frame an answer
// belongs to is told by the order alone, so that nothing of the record has a part in it.
class Answered : public SilentEvents {
  public:
    Answered(uint32_t width, uint32_t height) : mWidth(width), mHeight(height) {}

  protected:
    // read(result) as the functions of Answers.h; `result` is what the caller sees, good until the next.
    template <class Read>
    zelclient_result answer(const Read& read) {
        client::Result result;
        result.width = mWidth;
        result.height = mHeight;
        result.data = mResults.spareData();
        const std::string wrong = read(result);
        require(wrong.empty() == (result.status != ZELCLIENT_FRAME_FAILED));
        mResults.put(std::move(result));
        zelclient_result shown{};
        require(mResults.poll(0, shown) && shown.width == mWidth && shown.height == mHeight);
        require((shown.status == ZELCLIENT_MASK) == (shown.mask != nullptr));
        require((shown.box_count > 0) == (shown.boxes != nullptr));
        return shown;
    }

    const uint32_t mWidth;
    const uint32_t mHeight;

  private:
    client::ResultQueue mResults{nullptr, nullptr};
};

// A frame's side from two bytes, brought into the range that zelclient_submit accepts.
inline uint32_t sideFrom(Input& input, uint32_t most) {
    return 1 + input.word16() % most;
}

}  // namespace fuzz
