#include "vp/src/CAspectFit.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "vp/src/Planes.h"

namespace qorvp {

namespace {

struct Size {
    int32_t width;
    int32_t height;
};

bool isLandscape(const Size& size) {
    return size.width >= size.height;
}

// Of the ratio in the frame's orientation. Nothing when there is no such size.
std::optional<Size> largestOf(Size ratio, const Size& frame) {
    if (ratio.width == 0 || ratio.height == 0) return std::nullopt;
    if (isLandscape(ratio) != isLandscape(frame)) std::swap(ratio.width, ratio.height);
    const int32_t times = std::min(frame.width / ratio.width, frame.height / ratio.height);
    if (times == 0) return std::nullopt;
    return Size{ratio.width * times, ratio.height * times};
}

void writeRegion(const VpImage& source, const Size& size, VpImage& destination) {
    const int32_t mask = hasHalfChroma(source.format) ? ~1 : ~0;
    destination.cropX = (source.width - size.width) / 2 & mask;
    destination.cropY = (source.height - size.height) / 2 & mask;
    destination.width = destination.cropX + size.width;
    destination.height = destination.cropY + size.height;
}

void view(const VpImage& source, VpImage& destination) {
    std::copy(std::begin(source.planes), std::end(source.planes), std::begin(destination.planes));
    destination.stride0 = source.stride0;
    destination.stride1 = source.stride1;
    destination.format = source.format;
}

}  // namespace

int32_t CAspectFit::Process(uint32_t, VpImage* source, VpImage* destination) {
    if (!source || !destination || source->width < 1 || source->height < 1) return kErrorArgument;
    const Size frame = {source->width, source->height};
    const Size target = {m_parameter.targetWidth, m_parameter.targetHeight};
    const Size ratio = {m_parameter.ratioWidth, m_parameter.ratioHeight};
    const bool aimed = target.width != 0 && target.height != 0;
    if (target.width < 0 || target.height < 0) return kErrorArgument;
    if (!aimed && (ratio.width < 0 || ratio.height < 0)) return kErrorArgument;
    if (aimed && (target.width > frame.width || target.height > frame.height)) return kErrorArgument;
    const std::optional<Size> size = aimed ? target : largestOf(ratio, frame);
    if (!size) return kErrorFailed;
    writeRegion(*source, *size, *destination);
    if (!destination->planes[0]) view(*source, *destination);
    return kOk;
}

}  // namespace qorvp
