#include "bench/BareLadon.h"

#include <algorithm>
#include <memory>
#include <stdexcept>

#include "engines/vino/PixelLoops.h"

namespace zelbench {

namespace {

template <size_t N>
bool same(const float (&values)[N], const float* output) {
    return std::equal(values, values + N, output);
}

}  // namespace

bool BareLadon::gives(const std::vector<uint8_t>& frame, const ipc::LadonResult& result) {
    const std::vector<uint8_t> mask = maskOf(frame);
    return result.skipRun == 0 && result.size == pixels() && std::equal(mask.begin(), mask.end(), result.mask) &&
           result.motion == mNetwork.output("motion")[0] && same(result.gesture, mNetwork.output("gesture")) &&
           same(result.landmarks, mNetwork.output("faces_and_landmarks")) &&
           (mTable == LadonTable::kWithout || tableIs(result));
}

std::vector<uint8_t> BareLadon::maskOf(const std::vector<uint8_t>& frame) {
    PixelLoops::plain().fillPlanes(frame.data(), mRaw.data(), pixels(), 4, mNetwork.input());
    mNetwork.infer();
    PixelLoops::plain().floatsToBytes(mNetwork.output("segmentation"), pixels(), 1.0f, mRaw.data());
    std::vector<uint8_t> mask(pixels());
    PixelLoops::plain().erode(mNetwork.width(), mNetwork.height(), mRaw.data(), mask.data());
    return mask;
}

bool BareLadon::tableIs(const ipc::LadonResult& result) const {
    return same(result.lut, mNetwork.output("lut")) && same(result.lutVertices, mNetwork.output("lut_vertices")) &&
           result.lutConfidence == mNetwork.output("lut_confidence")[0];
}

void verifyLadon(ServedHost& host, BareNetwork& network, const FrameSeries& series, LadonTable table) {
    BareLadon bare(network, table);
    const auto result = std::make_unique<ipc::LadonResult>();
    for (uint64_t count = 0; count < 3 * series.frames.size(); ++count) {
        host.exchangeLadon(modelPicture(series, count), *result);
        if (!bare.gives(series.at(count), *result))
            throw std::runtime_error("Ladon record " + std::to_string(count) +
                                     " of the host differs from the bare network's outputs");
        if (count >= 2 * series.frames.size()) network.keepInput();
    }
}

}  // namespace zelbench
