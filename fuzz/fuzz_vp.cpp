#include <memory>
#include <vector>

#include "fuzz/Records.h"
#include "qorvp/Format.h"
#include "qorvp/Parameters.h"
#include "qorvp/createFrameWork.h"

namespace {

using qorvp::VpImage;

constexpr size_t kMostBytes = 1 << 16;  // of a plane
constexpr uint32_t kFormats[] = {1, 2, 5, 6, 7, 8, 23, 24, 26, 29, 31};

// Mostly small.
int32_t number(fuzz::Input& input) {
    const uint8_t value = input.byte();
    return value < 250 ? value : static_cast<int32_t>(input.word32());
}

// An image by a record of any kind, with planes as large as it says. What no strategy may touch has one byte.
class Image {
  public:
    explicit Image(fuzz::Input& input) {
        const uint8_t kind = input.byte();
        record.format = kind % 16 < std::size(kFormats) ? kFormats[kind % 16] : input.word32();
        if (kind & 16) record.format |= qorvp::kBottomUp;
        record.width = number(input);
        record.height = number(input);
        record.stride0 = number(input);
        record.stride1 = number(input);
        record.cropX = crop(input);
        record.cropY = crop(input);
        const uint8_t missing = input.byte();
        for (int plane = 0; plane < 3; ++plane) {
            if (missing == plane) continue;
            mMemory.push_back(std::make_unique<std::vector<uint8_t>>(bytes(plane), uint8_t{77}));
            record.planes[plane] = mMemory.back()->data();
        }
    }

    VpImage record{};

  private:
    static int32_t crop(fuzz::Input& input) {
        const int32_t value = input.byte();
        return value < 200 ? value : value - 256;
    }

    size_t bytes(int plane) const {
        const int64_t stride = plane == 0 ? record.stride0 : record.stride1;
        const int64_t rows = plane == 0 ? record.height : record.height / 2;
        const int64_t whole = stride > 0 && rows > 0 ? stride * rows : 1;
        return whole <= static_cast<int64_t>(kMostBytes) ? static_cast<size_t>(whole) : 0;
    }

    std::vector<std::unique_ptr<std::vector<uint8_t>>> mMemory;
};

// Planes that would be too large to make are none.
bool isWhole(const VpImage& image) {
    const auto large = [](int64_t stride, int64_t rows) {
        return stride > 0 && rows > 0 && stride * rows > static_cast<int64_t>(kMostBytes);
    };
    return !large(image.stride0, image.height) && !large(image.stride1, image.height / 2);
}

// A region that the aspect fit found is one of the frame.
bool isWithin(const VpImage& region, const VpImage& frame) {
    return region.cropX >= 0 && region.cropX < region.width && region.width <= frame.width && region.cropY >= 0 &&
           region.cropY < region.height && region.height <= frame.height;
}

}  // namespace

// Images of any geometry and format through every strategy.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const std::unique_ptr<qorvp::CVpFrameWork> frameWork = qorvp::createFrameWork();
    fuzz::Input input(data, size);
    while (!input.empty()) {
        const uint8_t kind = input.byte();
        const int32_t degrees[] = {0, 90, 180, 270};
        const float sigma = static_cast<float>(input.byte()) / 4;
        Image source(input), destination(input), mask(input);
        qorvp::AspectFitParameter fit{};
        for (int32_t* const value : {&fit.targetWidth, &fit.targetHeight, &fit.ratioWidth, &fit.ratioHeight})
            *value = number(input);
        if (!isWhole(source.record) || !isWhole(destination.record) || !isWhole(mask.record)) continue;
        const qorvp::BlendParameter blend = {mask.record};
        frameWork->SetParam(qorvp::kBlur, &sigma);
        frameWork->SetParam(qorvp::kRotation, &degrees[kind / 18 % 4]);
        frameWork->SetParam(qorvp::kConverter, &degrees[kind / 18 % 4]);
        const uint8_t mode = kind / 18 % 3;
        frameWork->SetParam(qorvp::kSteppedScaler, &mode);
        frameWork->SetParam(qorvp::kBlend, &blend);
        frameWork->SetParam(qorvp::kAspectFit, &fit);
        const uint32_t strategy = kind % 18 + 1;
        const int32_t result = frameWork->Process(strategy, &source.record, &destination.record);
        fuzz::require(result == qorvp::kOk || result == qorvp::kErrorArgument || result == qorvp::kErrorUnsupported ||
                      result == qorvp::kErrorFailed);
        if (strategy == qorvp::kAspectFit && result == qorvp::kOk)
            fuzz::require(isWithin(destination.record, source.record));
        frameWork->Uninit(qorvp::kBlend);
    }
    return 0;
}
