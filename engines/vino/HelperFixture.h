#pragma once

#include <gmock/gmock.h>

#include <atomic>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "engines/inference_engine/DeviceAlias.h"
#include "engines/vino/MaskNetworks.h"
#include "engines/vino/ZelVinoHelper.h"
#include "platform/include/clock.h"
#include "tests/support/TraceCapture.h"

// For tests of the segmentation helper: small networks by resource id, devices under an alias, a clock that counts its
// readings, and the trace.
class HelperFixture : public testing::Test {
  protected:
    static constexpr int32_t kWidth = 16;
    static constexpr int32_t kHeight = 8;
    static constexpr int32_t kPixels = kWidth * kHeight;
    static constexpr int32_t kFrameBytes = kPixels * 3;

    using Lines = std::vector<zeltest::TraceCapture::Line>;
    using Bytes = std::vector<uint8_t>;

    HelperFixture();
    ~HelperFixture() override;

    // Reads `networks` by XML id, or the network of the default options, and notes the ids.
    ZelVinoHelper::NetworkSource source();
    // What the runtime's layer finds in its environment.
    static void setVariable(const std::string& name, const std::string& value);
    // Milliseconds that pass with each reading of the clock, by turns: the first before an inference, the second after.
    static void setTickSteps(uint32_t first, uint32_t second);

    bool process(ZelVinoHelper& helper, const Bytes& frame) {
        return helper.process(kWidth, kHeight, frame.data(), static_cast<int32_t>(frame.size()), &mask);
    }
    // A frame whose first plane has `inside` in its left half; the mask of the default network is `inside` - 1 there.
    static Bytes halfFrame(uint8_t inside);
    static Bytes uniformFrame(uint8_t value) { return Bytes(kFrameBytes, value); }
    Bytes maskBytes() const { return Bytes(mask, mask + kPixels); }

    zeltest::TraceCapture trace;
    std::map<int, mask_networks::Options> networks;
    std::vector<std::pair<int, int>> idsRead;
    Bytes incoming = Bytes(ZelVinoHelper::kMaskBytes, 0);
    uint8_t* mask = incoming.data();
};
