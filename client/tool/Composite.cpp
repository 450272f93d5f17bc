#include "client/tool/Composite.h"

#include <algorithm>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>

#include "qorvp/Format.h"
#include "qorvp/Parameters.h"
#include "qorvp/createFrameWork.h"

namespace zeltool {

namespace {

constexpr size_t kRgb = 3;
constexpr size_t kRgba = 4;

// The library does not know red, green, blue; what treats all channels alike may take it for the opposite order.
uint32_t formatOf(const Image& picture) {
    switch (picture.channels) {
        case 1:
            return qorvp::kFormatGrey;
        case kRgb:
            return qorvp::kFormatBgr;
        default:
            return qorvp::kFormatRgba;
    }
}

// Sources are taken by the same record as destinations, but not written.
qorvp::VpImage recordOf(const Image& picture) {
    qorvp::VpImage record{};
    record.planes[0] = const_cast<uint8_t*>(picture.bytes.data());
    record.stride0 = static_cast<int32_t>(picture.width * picture.channels);
    record.width = static_cast<int32_t>(picture.width);
    record.height = static_cast<int32_t>(picture.height);
    record.format = formatOf(picture);
    return record;
}

// Each pixel of `from` in the first channels of `to`, as many as both have.
void copyChannels(const Image& from, Image& to) {
    const size_t channels = std::min(from.channels, to.channels);
    const uint8_t* source = from.bytes.data();
    for (size_t at = 0; at < to.bytes.size(); at += to.channels, source += from.channels)
        std::copy_n(source, channels, to.bytes.data() + at);
}

Image inChannels(const Image& picture, uint32_t channels) {
    Image result(picture.width, picture.height, channels);
    copyChannels(picture, result);
    return result;
}

// The front object. A strategy's parameter holds until the next call that sets it, so that both are one step here.
class Library {
  public:
    void process(uint32_t strategy, const void* parameter, qorvp::VpImage source, qorvp::VpImage destination) {
        const std::lock_guard lock(m_lock);
        int32_t result = parameter ? m_frameWork->SetParam(strategy, parameter) : qorvp::kOk;
        if (result == qorvp::kOk) result = m_frameWork->Process(strategy, &source, &destination);
        if (result == qorvp::kOk) return;
        const auto size = [](const qorvp::VpImage& image) {
            return std::to_string(image.width) + "x" + std::to_string(image.height);
        };
        throw std::runtime_error("the image library gave " + std::to_string(result) + " when it made a picture of " +
                                 size(destination) + " from one of " + size(source) +
                                 (result == qorvp::kErrorFailed ? ": there is not enough memory" : ""));
    }

  private:
    std::mutex m_lock;
    const std::unique_ptr<qorvp::CVpFrameWork> m_frameWork = qorvp::createFrameWork();
};

Library& library() {
    static Library one;
    return one;
}

}  // namespace

Image enlarged(const Image& picture, uint32_t width, uint32_t height) {
    Image result(width, height, picture.channels);
    library().process(qorvp::kScaler, nullptr, recordOf(picture), recordOf(result));
    return result;
}

Image blurred(const Image& picture, float sigma) {
    // The library blurs one channel or four.
    Image result = picture.channels == kRgb ? inChannels(picture, kRgba) : picture;
    library().process(qorvp::kBlur, &sigma, recordOf(result), recordOf(result));
    return picture.channels == kRgb ? inChannels(result, kRgb) : result;
}

Image composed(const Image& picture, const Image& mask, Image background) {
    const qorvp::BlendParameter person = {recordOf(mask)};
    library().process(qorvp::kBlend, &person, recordOf(picture), recordOf(background));
    return background;
}

Image converted(qorvp::VpImage video) {
    Image pixels(static_cast<uint32_t>(video.width), static_cast<uint32_t>(video.height), kRgba);
    library().process(qorvp::kConverter, nullptr, video, recordOf(pixels));
    return inChannels(pixels, kRgb);
}

}  // namespace zeltool
