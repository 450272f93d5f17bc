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

constexpr SizeChange kSizeChanges[] = {{{1280, 720}, {1920, 1080}}, {{1920, 1080}, {1280, 720}}};

// Means over soft waves, where all samples taken one aside both ways make 2. libyuv takes ours; OpenCV, which goes by
// the corners, has half of them one aside when it makes an image smaller.
constexpr double kMostFromLibyuv = 0.1;
constexpr double kMostFromOpenCv = 1.5;

void takeByLibyuv(const std::vector<Plane>& from, const std::vector<Plane>& to) {
    libyuv::I420Scale(from[0].data, from[0].stride, from[1].data, from[1].stride, from[2].data, from[2].stride,
                      from[0].width, from[0].height, to[0].data, to[0].stride, to[1].data, to[1].stride, to[2].data,
                      to[2].stride, to[0].width, to[0].height, libyuv::kFilterNone);
}

void takeByOpenCv(const Image& from, const Image& to) {
    for (size_t index = 0; index < from.planes().size(); ++index) {
        cv::Mat taken = matrixOf(to.planes()[index]);
        cv::resize(matrixOf(from.planes()[index]), taken, taken.size(), 0, 0, cv::INTER_NEAREST);
    }
}

void checkByFormula(Stage& stage) {
    stage.source.fillRandom(10);
    stage.library.process(qorvp::kSteppedScaler, stage.source, stage.ours);
    const Image expected(stage.ours.format(), stage.ours.width(), stage.ours.height());
    takeNearestByFormula(stage.source, expected);
    requireClose(expected, stage.ours, 0, "the formula");
}

Contest prepare(SizeChange change) {
    const auto stage = std::make_shared<Stage>(qorvp::kFormatI420, change.from.width, change.from.height,
                                               qorvp::kFormatI420, change.to.width, change.to.height);
    stage->library.setParameter(qorvp::kSteppedScaler, &qorvp::kScaleNearest);
    Contest contest;
    contest.bytes = stage->source.bytes() + stage->ours.bytes();
    contest.ours = [stage] { stage->library.process(qorvp::kSteppedScaler, stage->source, stage->ours); };
    checkByFormula(*stage);
    // Samples beside each other differ little here.
    stage->source.fillWaves();
    contest.ours();
    contest.admit({kLibyuv, [stage] { takeByLibyuv(stage->source.planes(), stage->libyuv.planes()); }},
                  [&] { requireCloseOnAverage(stage->ours, stage->libyuv, kMostFromLibyuv, kLibyuv); });
    contest.admit({kOpenCv, [stage] { takeByOpenCv(stage->source, stage->openCv); }},
                  [&] { requireCloseOnAverage(stage->ours, stage->openCv, kMostFromOpenCv, kOpenCv); });
    stage->shareDestination();
    return contest;
}

}  // namespace

void addNearestRows(PlannedRows& rows) {
    for (const SizeChange& change : kSizeChanges)
        rows.push_back({"stepped nearest I420 " + sizeName(change.from.width, change.from.height) + " to " +
                            sizeName(change.to.width, change.to.height),
                        [change] { return prepare(change); }});
}

}  // namespace zelbench::vp
