#include "engines/vino/HelperFixture.h"

NetworkSource HelperFixture::source() {
    return [this](const InferenceEngine::Core& core, int xmlId, int binId) {
        idsRead.emplace_back(xmlId, binId);
        const auto found = networks.find(xmlId);
        const mask_networks::Options options = found == networks.end() ? mask_networks::Options{} : found->second;
        return mask_networks::make(options).read(core);
    };
}

HelperFixture::Bytes HelperFixture::halfFrame(uint8_t inside) {
    Bytes frame(kFrameBytes, 0);
    for (int32_t i = 0; i < kPixels; ++i) {
        if (i % kWidth < kWidth / 2) frame[static_cast<size_t>(i) * 3] = inside;
    }
    return frame;
}
