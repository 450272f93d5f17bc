#include <libyuv.h>

#include "bench/vp/Checks.h"
#include "bench/vp/Rows.h"
#include "qorvp/Format.h"
#include "qorvp/Parameters.h"

namespace zelbench::vp {

namespace {

struct Move {
    uint32_t from, to;
    void (*byLibyuv)(const std::vector<Plane>& from, const std::vector<Plane>& to);
};

void interleave(const std::vector<Plane>& from, const std::vector<Plane>& to) {
    libyuv::I420ToNV12(from[0].data, from[0].stride, from[1].data, from[1].stride, from[2].data, from[2].stride,
                       to[0].data, to[0].stride, to[1].data, to[1].stride, from[0].width, from[0].height);
}

void separate(const std::vector<Plane>& from, const std::vector<Plane>& to) {
    libyuv::NV12ToI420(from[0].data, from[0].stride, from[1].data, from[1].stride, to[0].data, to[0].stride, to[1].data,
                       to[1].stride, to[2].data, to[2].stride, from[0].width, from[0].height);
}

void exchange(const std::vector<Plane>& from, const std::vector<Plane>& to) {
    libyuv::NV21ToNV12(from[0].data, from[0].stride, from[1].data, from[1].stride, to[0].data, to[0].stride, to[1].data,
                       to[1].stride, from[0].width, from[0].height);
}

void copySwapped(const std::vector<Plane>& from, const std::vector<Plane>& to) {
    libyuv::I420Copy(from[0].data, from[0].stride, from[1].data, from[1].stride, from[2].data, from[2].stride,
                     to[0].data, to[0].stride, to[2].data, to[2].stride, to[1].data, to[1].stride, from[0].width,
                     from[0].height);
}

constexpr Move kMoves[] = {
    {qorvp::kFormatI420, qorvp::kFormatNv12, interleave},  {qorvp::kFormatNv12, qorvp::kFormatI420, separate},
    {qorvp::kFormatNv12, qorvp::kFormatNv21, exchange},    {qorvp::kFormatNv21, qorvp::kFormatNv12, exchange},
    {qorvp::kFormatI420, qorvp::kFormatYv12, copySwapped},
};

Contest prepare(const Move& move, FrameSize size) {
    const auto stage = std::make_shared<Stage>(move.from, size.width, size.height, move.to, size.width, size.height);
    stage->source.fillRandom(2);
    Contest contest;
    contest.bytes = stage->source.bytes() + stage->ours.bytes();
    contest.goals.leastCopyShare = 0.6;
    contest.ours = [stage] { stage->library.process(qorvp::kConverter, stage->source, stage->ours); };
    contest.ours();
    contest.admit({kLibyuv, [stage, &move] { move.byLibyuv(stage->source.planes(), stage->libyuv.planes()); }},
                  [&] { requireClose(stage->libyuv, stage->ours, 0, kLibyuv); });
    stage->shareDestination();
    return contest;
}

}  // namespace

void addChromaRows(PlannedRows& rows) {
    for (const FrameSize size : kFrameSizes)
        for (const Move& move : kMoves)
            rows.push_back({"chroma " + formatName(move.from) + " to " + formatName(move.to) + " " +
                                sizeName(size.width, size.height),
                            [&move, size] { return prepare(move, size); }});
}

}  // namespace zelbench::vp
