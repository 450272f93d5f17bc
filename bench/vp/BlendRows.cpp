#include <libyuv.h>

#include "bench/vp/Checks.h"
#include "bench/vp/Reference.h"
#include "bench/vp/Rows.h"
#include "qorvp/Format.h"
#include "qorvp/Parameters.h"

namespace zelbench::vp {

namespace {

// Each side has a background of its own, over which it lays the foreground again and again.
struct BlendStage : Stage {
    BlendStage(uint32_t format, FrameSize size)
        : Stage(format, size.width, size.height, format, size.width, size.height),
          mask(qorvp::kFormatGrey, size.width, size.height) {
        source.fillRandom(3);
        mask.fillRandom(4);
        ours.fillRandom(5);
        libyuv.fillRandom(5);
        const qorvp::BlendParameter parameter{mask.record()};
        library.setParameter(qorvp::kBlend, &parameter);
    }

    Image mask;
};

void blendByLibyuv(const BlendStage& stage) {
    const Plane &foreground = stage.source.planes()[0], &mask = stage.mask.planes()[0];
    const Plane& background = stage.libyuv.planes()[0];
    libyuv::BlendPlane(foreground.data, foreground.stride, background.data, background.stride, mask.data, mask.stride,
                       background.data, background.stride, background.width, background.height);
}

// For one channel libyuv does the same; OpenCV and libyuv have nothing that weighs pixels by a plane of bytes.
Contest prepare(uint32_t format, FrameSize size) {
    const auto stage = std::make_shared<BlendStage>(format, size);
    Contest contest;
    contest.bytes = stage->source.bytes() + stage->mask.bytes() + 2 * stage->ours.bytes();
    contest.goals.leastCopyShare = 0.6;
    contest.ours = [stage] { stage->library.process(qorvp::kBlend, stage->source, stage->ours); };
    Image expected(format, size.width, size.height);
    expected.fillRandom(5);
    blendByFormula(stage->source, stage->mask, expected);
    contest.ours();
    requireClose(expected, stage->ours, 0, "the formula");
    if (format == qorvp::kFormatGrey)
        contest.admit({kLibyuv, [stage] { blendByLibyuv(*stage); }},
                      [&] { requireClose(stage->ours, stage->libyuv, 1, kLibyuv); });
    stage->shareDestination();
    return contest;
}

}  // namespace

void addBlendRows(PlannedRows& rows) {
    for (const FrameSize size : kFrameSizes)
        for (const uint32_t format : {qorvp::kFormatBgra, qorvp::kFormatBgr, qorvp::kFormatGrey})
            rows.push_back({"blend " + formatName(format) + " " + sizeName(size.width, size.height),
                            [format, size] { return prepare(format, size); }});
}

}  // namespace zelbench::vp
