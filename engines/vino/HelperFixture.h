#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "engines/vino/EngineFixture.h"
#include "engines/vino/MaskNetworks.h"
#include "engines/vino/ZelVinoHelper.h"

// For tests of the segmentation helper: small networks by resource id.
class HelperFixture : public EngineFixture {
  protected:
    static constexpr int32_t kWidth = 16;
    static constexpr int32_t kHeight = 8;
    static constexpr int32_t kPixels = kWidth * kHeight;
    static constexpr int32_t kFrameBytes = kPixels * 3;

    using Bytes = std::vector<uint8_t>;

    // Reads `networks` by XML id, or the network of the default options, and notes the ids.
    NetworkSource source();

    bool process(ZelVinoHelper& helper, const Bytes& frame) {
        return helper.process(kWidth, kHeight, frame.data(), static_cast<int32_t>(frame.size()), &mask);
    }
    // A frame whose first plane has `inside` in its left half; the mask of the default network is `inside` - 1 there.
    static Bytes halfFrame(uint8_t inside);
    static Bytes uniformFrame(uint8_t value) { return Bytes(kFrameBytes, value); }
    Bytes maskBytes() const { return Bytes(mask, mask + kPixels); }

    std::map<int, mask_networks::Options> networks;
    std::vector<std::pair<int, int>> idsRead;
    Bytes incoming = Bytes(ZelVinoHelper::kMaskBytes, 0);
    uint8_t* mask = incoming.data();
};
