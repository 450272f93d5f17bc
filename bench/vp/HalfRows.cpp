#include <libyuv.h>

#include <opencv2/imgproc.hpp>

#include "bench/vp/Checks.h"
#include "bench/vp/OpenCv.h"
#include "bench/vp/Reference.h"
#include "bench/vp/Rows.h"
#include "qorvp/Format.h"
#include "qorvp/Parameters.h"

namespace zelbench::vp {

namespace {

void halveByLibyuv(const std::vector<Plane>& from, const std::vector<Plane>& to) {
    libyuv::NV12Scale(from[0].data, from[0].stride, from[1].data, from[1].stride, from[0].width, from[0].height,
                      to[0].data, to[0].stride, to[1].data, to[1].stride, to[0].width, to[0].height,
                      libyuv::kFilterBox);
}

void halveByOpenCv(const Image& from, const Image& to) {
    for (size_t index = 0; index < from.planes().size(); ++index) {
        cv::Mat half = matrixOf(to.planes()[index]);
        cv::resize(matrixOf(from.planes()[index]), half, half.size(), 0, 0, cv::INTER_AREA);
    }
}

Contest prepare(FrameSize size) {
    const auto stage = std::make_shared<Stage>(qorvp::kFormatNv12, size.width, size.height, qorvp::kFormatNv12,
                                               size.width / 2, size.height / 2);
    stage->source.fillRandom(9);
    Contest contest;
    contest.bytes = stage->source.bytes() + stage->ours.bytes();
    contest.goals.leastCopyShare = 0.6;
    contest.ours = [stage] { stage->library.process(qorvp::kHalfSize, stage->source, stage->ours); };
    contest.ours();
    const Image expected(stage->ours.format(), stage->ours.width(), stage->ours.height());
    halveByFormula(stage->source, expected);
    requireClose(expected, stage->ours, 0, "the formula");
    contest.admit({kLibyuv, [stage] { halveByLibyuv(stage->source.planes(), stage->libyuv.planes()); }},
                  [&] { requireClose(stage->ours, stage->libyuv, 1, kLibyuv); });
    contest.admit({kOpenCv, [stage] { halveByOpenCv(stage->source, stage->openCv); }},
                  [&] { requireClose(stage->ours, stage->openCv, 1, kOpenCv); });
    stage->shareDestination();
    return contest;
}

}  // namespace

void addHalfRows(PlannedRows& rows) {
    for (const FrameSize size : kFrameSizes)
        rows.push_back({"half NV12 " + sizeName(size.width, size.height), [size] { return prepare(size); }});
}

}  // namespace zelbench::vp
