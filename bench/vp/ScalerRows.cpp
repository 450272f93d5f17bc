#include <libyuv.h>
#include <libyuv/scale_rgb.h>

#include <opencv2/imgproc.hpp>

#include "bench/vp/Checks.h"
#include "bench/vp/OpenCv.h"
#include "bench/vp/Rows.h"
#include "qorvp/Format.h"
#include "qorvp/Parameters.h"

namespace zelbench::vp {

namespace {

// Means over noise. Samples that lie elsewhere, by the corners and not by the centres, differ by 16 and more; libyuv
// lays the centres of the outermost samples on each other when it enlarges, so that they drift by a sixth of a sample.
constexpr double kMostFromOpenCv = 1.5;
constexpr double kMostFromLibyuv = 2;
constexpr double kMostFromLibyuvEnlarged = 12;

using Planes = std::vector<Plane>;

void scalePixels(const Planes& from, const Planes& to) {
    libyuv::ARGBScale(from[0].data, from[0].stride, from[0].width, from[0].height, to[0].data, to[0].stride,
                      to[0].width, to[0].height, libyuv::kFilterBilinear);
}

void scaleTriples(const Planes& from, const Planes& to) {
    libyuv::RGBScale(from[0].data, from[0].stride, from[0].width, from[0].height, to[0].data, to[0].stride, to[0].width,
                     to[0].height, libyuv::kFilterBilinear);
}

void scalePlanar(const Planes& from, const Planes& to) {
    libyuv::I420Scale(from[0].data, from[0].stride, from[1].data, from[1].stride, from[2].data, from[2].stride,
                      from[0].width, from[0].height, to[0].data, to[0].stride, to[1].data, to[1].stride, to[2].data,
                      to[2].stride, to[0].width, to[0].height, libyuv::kFilterBilinear);
}

void scalePaired(const Planes& from, const Planes& to) {
    libyuv::NV12Scale(from[0].data, from[0].stride, from[1].data, from[1].stride, from[0].width, from[0].height,
                      to[0].data, to[0].stride, to[1].data, to[1].stride, to[0].width, to[0].height,
                      libyuv::kFilterBilinear);
}

struct Scaled {
    const char* name;
    uint32_t strategy;
    uint32_t format;
    void (*byLibyuv)(const Planes& from, const Planes& to);
};

constexpr Scaled kScaled[] = {
    {"scale BGRA", qorvp::kScaler, qorvp::kFormatBgra, scalePixels},
    {"scale BGR", qorvp::kScaler, qorvp::kFormatBgr, scaleTriples},
    {"scale I420", qorvp::kScaler, qorvp::kFormatI420, scalePlanar},
    {"scale NV12", qorvp::kScaler, qorvp::kFormatNv12, scalePaired},
    {"stepped I420", qorvp::kSteppedScaler, qorvp::kFormatI420, scalePlanar},
};

constexpr SizeChange kSizeChanges[] = {
    {{1280, 720}, {1920, 1080}}, {{1920, 1080}, {1280, 720}}, {{1920, 1080}, {960, 540}}};

void scaleByOpenCv(const Image& from, const Image& to) {
    for (size_t index = 0; index < from.planes().size(); ++index) {
        cv::Mat scaled = matrixOf(to.planes()[index]);
        cv::resize(matrixOf(from.planes()[index]), scaled, scaled.size(), 0, 0, cv::INTER_LINEAR);
    }
}

Contest prepare(const Scaled& scaled, SizeChange change) {
    const auto stage = std::make_shared<Stage>(scaled.format, change.from.width, change.from.height, scaled.format,
                                               change.to.width, change.to.height);
    stage->source.fillRandom(8);
    if (scaled.strategy == qorvp::kSteppedScaler)
        stage->library.setParameter(qorvp::kSteppedScaler, &qorvp::kScaleWeighted);
    Contest contest;
    contest.bytes = stage->source.bytes() + stage->ours.bytes();
    contest.ours = [stage, &scaled] { stage->library.process(scaled.strategy, stage->source, stage->ours); };
    contest.ours();
    contest.admit({kOpenCv, [stage] { scaleByOpenCv(stage->source, stage->openCv); }},
                  [&] { requireCloseOnAverage(stage->openCv, stage->ours, kMostFromOpenCv, kOpenCv); });
    const double fromLibyuv = change.to.width > change.from.width ? kMostFromLibyuvEnlarged : kMostFromLibyuv;
    contest.admit({kLibyuv, [stage, &scaled] { scaled.byLibyuv(stage->source.planes(), stage->libyuv.planes()); }},
                  [&] { requireCloseOnAverage(stage->libyuv, stage->ours, fromLibyuv, kLibyuv); });
    stage->shareDestination();
    return contest;
}

}  // namespace

void addScalerRows(PlannedRows& rows) {
    for (const Scaled& scaled : kScaled)
        for (const SizeChange& change : kSizeChanges)
            rows.push_back({std::string(scaled.name) + " " + sizeName(change.from.width, change.from.height) + " to " +
                                sizeName(change.to.width, change.to.height),
                            [&scaled, change] { return prepare(scaled, change); }});
}

}  // namespace zelbench::vp
