#include <opencv2/imgproc.hpp>

#include "bench/vp/Checks.h"
#include "bench/vp/OpenCv.h"
#include "bench/vp/Reference.h"
#include "bench/vp/Rows.h"
#include "qorvp/Format.h"
#include "qorvp/Parameters.h"

namespace zelbench::vp {

namespace {

constexpr float kSigma = 10, kSmallSigma = 3, kLargeSigma = 30;
// Of the scene's own; that sigma leaves 0.23 of it, and half as much 0.4.
constexpr double kMostRoughness = 0.3;

std::shared_ptr<Stage> stageOf(FrameSize size) {
    auto stage = std::make_shared<Stage>(qorvp::kFormatBgra, size.width, size.height, qorvp::kFormatBgra, size.width,
                                         size.height);
    stage->source.fillScene(6);
    return stage;
}

// Sigma is set each time: all blurs of a process share it.
void blur(Stage& stage, float sigma) {
    stage.library.setParameter(qorvp::kBlur, &sigma);
    stage.library.process(qorvp::kBlur, stage.source, stage.ours);
}

void blurAndCheck(Stage& stage, float sigma) {
    blur(stage, sigma);
    const Image expected(stage.ours.format(), stage.ours.width(), stage.ours.height());
    blurByRecursion(stage.source, static_cast<double>(sigma), expected);
    requireClose(expected, stage.ours, 1, "the recursion");
}

Contest prepareAgainstOpenCv(FrameSize size) {
    const auto stage = stageOf(size);
    Contest contest;
    contest.bytes = stage->source.bytes() + stage->ours.bytes();
    contest.goals.mostRatio = 0.5;
    contest.ours = [stage] { blur(*stage, kSigma); };
    blurAndCheck(*stage, kSigma);
    const Operation byOpenCv = [stage] {
        cv::Mat to = matrixOf(stage->openCv.planes()[0]);
        cv::GaussianBlur(matrixOf(stage->source.planes()[0]), to, {}, kSigma, kSigma, cv::BORDER_REPLICATE);
    };
    // One tap spreads farther than a Gaussian: the pictures are not alike, the job is.
    contest.admit({kOpenCv, byOpenCv}, [&] {
        requireSameBrightness(stage->ours, stage->openCv, kOpenCv);
        requireSmooth(stage->source, stage->openCv, kMostRoughness, kOpenCv);
    });
    stage->shareDestination();
    return contest;
}

// The time is to be the same for all sigmas.
Contest prepareSigmas(FrameSize size) {
    const auto stage = stageOf(size);
    Contest contest;
    contest.bytes = stage->source.bytes() + stage->ours.bytes();
    contest.goals.leastRatio = 0.95;
    contest.goals.mostRatio = 1.05;
    contest.ours = [stage] { blur(*stage, kSmallSigma); };
    blurAndCheck(*stage, kSmallSigma);
    contest.admit({"ours of sigma 30", [stage] { blur(*stage, kLargeSigma); }},
                  [&] { blurAndCheck(*stage, kLargeSigma); });
    stage->shareDestination();
    return contest;
}

}  // namespace

void addBlurRows(PlannedRows& rows) {
    for (const FrameSize size : kFrameSizes) {
        const std::string name = " " + sizeName(size.width, size.height);
        rows.push_back({"blur BGRA, sigma 10" + name, [size] { return prepareAgainstOpenCv(size); }});
        rows.push_back({"blur BGRA, sigma 3" + name, [size] { return prepareSigmas(size); }});
    }
}

}  // namespace zelbench::vp
