#include "qorvp/CGaussBlur.h"

#include <cstring>
#include <mutex>
#include <new>
#include <optional>

#include "vp/src/AlignedFloats.h"
#include "vp/src/Blur.h"
#include "vp/src/Features.h"
#include "vp/src/FlushDenormals.h"

namespace qorvp {

namespace {

// Of all blurs together.
class SharedCoefficients {
  public:
    void set(float sigma) {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_coefficients = blurCoefficients(sigma);
    }
    BlurCoefficients get() {
        const std::lock_guard<std::mutex> lock(m_lock);
        return m_coefficients;
    }

  private:
    std::mutex m_lock;
    BlurCoefficients m_coefficients = blurCoefficients(0);  // under m_lock
};

SharedCoefficients& sharedCoefficients() {
    static SharedCoefficients shared;
    return shared;
}

// Channels of the formats that are blurred; 0 for any other.
int channelsOf(uint32_t format) {
    const int bytes = sampleBytes(format);
    return bytes == 4 || (bytes == 1 && !hasChromaPairs(format)) ? bytes : 0;
}

}  // namespace

struct CGaussBlur::Work {
    const BlurKernel kernel = blurKernel(processorFeatures());
    AlignedFloats lines;
    AlignedFloats transposed;
};

CGaussBlur::CGaussBlur() : m_work(std::make_unique<Work>()) {}

CGaussBlur::~CGaussBlur() = default;

int32_t CGaussBlur::Uninit(uint32_t) {
    m_work->lines.release();
    m_work->transposed.release();
    return kOk;
}

int32_t CGaussBlur::Process(uint32_t, VpImage* source, VpImage* destination) try {
    if (!source || !destination) return kErrorArgument;
    const int channels = channelsOf(source->format);
    if (channels == 0) return kErrorUnsupported;
    const bool alike = source->format == destination->format && source->width == destination->width &&
                       source->height == destination->height;
    const std::optional<Planes> from = planesOf(*source);
    const std::optional<Planes> to = planesOf(*destination);
    if (!alike || !from || !to || overlapBadly(*from, *to)) return kErrorArgument;

    const FlushDenormals flush;
    const BlurCoefficients coefficients = sharedCoefficients().get();
    for (int index = 0; index < from->count; ++index) {
        const Plane& plane = from->plane[index];
        if (plane.width == 0 || plane.height == 0) continue;  // the chroma of a single row or column
        const BlurWork work = blurWork(m_work->kernel, channels, plane.width, plane.height);
        m_work->lines.reserve(work.lines);
        m_work->transposed.reserve(work.transposed);
        m_work->kernel.blurPlane(plane, to->plane[index], channels, coefficients, m_work->lines.data(),
                                 m_work->transposed.data());
    }
    return kOk;
} catch (const std::bad_alloc&) {
    return kErrorFailed;
}

int32_t CGaussBlur::SetParam(uint32_t, const void* value) {
    if (!value) return kErrorArgument;
    std::memcpy(&m_sigma, value, sizeof(m_sigma));
    sharedCoefficients().set(m_sigma);
    return kOk;
}

int32_t CGaussBlur::GetParam(uint32_t, void* value) {
    if (!value) return kErrorArgument;
    std::memcpy(value, &m_sigma, sizeof(m_sigma));
    return kOk;
}

}  // namespace qorvp
