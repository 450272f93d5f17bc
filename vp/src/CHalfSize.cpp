#include "vp/src/CHalfSize.h"

namespace qorvp {

int32_t CHalfSize::Process(uint32_t, VpImage* source, VpImage* destination) {
    if (!source || !destination) return kErrorArgument;
    if (!hasChromaPairs(source->format)) return kErrorUnsupported;
    const bool fits = source->format == destination->format && isExactHalf(*source, *destination);
    const std::optional<Planes> from = planesOf(*source);
    const std::optional<Planes> to = planesOf(*destination);
    if (!fits || !from || !to || shareBytes(*from, *to)) return kErrorArgument;
    halveSize(*from, *to, m_kernels);
    return kOk;
}

}  // namespace qorvp
