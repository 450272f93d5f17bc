#include "vp/src/CSteppedScaler.h"

#include <algorithm>
#include <array>

#include "qorvp/Format.h"
#include "qorvp/Parameters.h"

namespace qorvp {

namespace {

bool isEven(const VpImage& image) {
    return image.width % 2 == 0 && image.height % 2 == 0;
}

// Rows of the source at the destination's width, the two that were made last. Columns and source outlive it.
class HeldRows {
  public:
    HeldRows(const Plane& from, const SteppedColumns& columns, SteppedRow scale)
        : m_from(from), m_columns(columns), m_scale(scale) {
        for (Held& held : m_held) held.bytes.resize(columns.size());
    }

    // Holds until a row after the next one is asked for.
    const uint8_t* row(int y) {
        Held& held = m_held[y % 2];
        if (held.y != y) m_scale(m_from.row(y), m_columns, held.bytes.data());
        held.y = y;
        return held.bytes.data();
    }

  private:
    struct Held {
        int y = -1;
        std::vector<uint8_t> bytes;
    };

    const Plane& m_from;
    const SteppedColumns& m_columns;
    const SteppedRow m_scale;
    std::array<Held, 2> m_held;
};

void mixPlane(const Plane& from, const Plane& to, const SteppedKernels& kernels) {
    const SteppedColumns columns = SteppedColumns::weighted(from, to, kernels.columnBits);
    const SteppedPositions positions(from.height, to.height, kWeightBits);
    HeldRows rows(from, columns, kernels.row);
    for (int y = 0; y < to.height; ++y) {
        const auto [index, weight] = positions.weighted(y);
        if (weight == 0)
            std::copy_n(rows.row(index), columns.size(), to.row(y));
        else
            kernels.mix(rows.row(index), rows.row(index + 1), weight, columns.size(), to.row(y));
    }
}

void takePlane(const Plane& from, const Plane& to, const SteppedKernels& kernels) {
    const SteppedColumns columns = SteppedColumns::nearest(from, to, kernels.columnBits);
    const SteppedPositions positions(from.height, to.height, kWeightBits);
    for (int y = 0, last = -1; y < to.height; ++y) {
        const int index = positions.nearest(y);
        if (index == last)
            std::copy_n(to.row(y - 1), to.rowBytes(), to.row(y));
        else
            kernels.row(from.row(index), columns, to.row(y));
        last = index;
    }
}

}  // namespace

CSteppedScaler::CSteppedScaler(uint32_t features)
    : m_features(features),
      m_halfSize(halfSizeKernels(features)),
      m_halveRows((features & kSse4) != 0 ? halveKernels(features).stepped : nullptr),
      m_kernels(*steppedKernels(m_parameter, features)) {}

int32_t CSteppedScaler::Process(uint32_t, VpImage* source, VpImage* destination) {
    if (!source || !destination) return kErrorArgument;
    const bool video = hasHalfChroma(source->format);
    if (!video && formatOf(source->format) != kFormatGrey) return kErrorUnsupported;
    const std::optional<Planes> from = planesOf(*source);
    const std::optional<Planes> to = planesOf(*destination);
    if (source->format != destination->format || !from || !to || shareBytes(*from, *to)) return kErrorArgument;
    if (hasChromaPairs(source->format) && isExactHalf(*source, *destination)) {
        halveSize(*from, *to, m_halfSize);
        return kOk;
    }
    if (video && !(isEven(*source) && isEven(*destination))) return kErrorArgument;
    for (int index = 0; index < from->count; ++index) scalePlane(from->plane[index], to->plane[index]);
    return kOk;
}

void CSteppedScaler::scalePlane(const Plane& from, const Plane& to) const {
    if (!m_kernels.mix)
        takePlane(from, to, m_kernels);
    else if (m_halveRows && isHalf(from, to))
        halvePlane(from, to, m_halveRows);
    else
        mixPlane(from, to, m_kernels);
}

int32_t CSteppedScaler::SetParam(uint32_t number, const void* value) {
    if (!value) return kErrorArgument;
    const std::optional<SteppedKernels> kernels = steppedKernels(*static_cast<const uint8_t*>(value), m_features);
    if (!kernels) return kErrorArgument;
    m_kernels = *kernels;
    return ParameterStrategy::SetParam(number, value);
}

}  // namespace qorvp
