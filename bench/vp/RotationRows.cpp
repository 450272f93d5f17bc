#include <libyuv.h>

#include "bench/vp/Checks.h"
#include "bench/vp/OpenCv.h"
#include "bench/vp/Rows.h"
#include "qorvp/Format.h"
#include "qorvp/Parameters.h"

namespace zelbench::vp {

namespace {

struct Angle {
    int32_t degrees;
    libyuv::RotationMode libyuvMode;
    cv::RotateFlags openCvCode;
};

constexpr Angle kAngles[] = {
    {90, libyuv::kRotate90, cv::ROTATE_90_CLOCKWISE},
    {180, libyuv::kRotate180, cv::ROTATE_180},
    {270, libyuv::kRotate270, cv::ROTATE_90_COUNTERCLOCKWISE},
};

using Planes = std::vector<Plane>;
using LibyuvTurn = void (*)(const Planes& from, const Planes& to, libyuv::RotationMode mode);

void turnPixels(const Planes& from, const Planes& to, libyuv::RotationMode mode) {
    libyuv::ARGBRotate(from[0].data, from[0].stride, to[0].data, to[0].stride, from[0].width, from[0].height, mode);
}

void turnPlanar(const Planes& from, const Planes& to, libyuv::RotationMode mode) {
    libyuv::I420Rotate(from[0].data, from[0].stride, from[1].data, from[1].stride, from[2].data, from[2].stride,
                       to[0].data, to[0].stride, to[1].data, to[1].stride, to[2].data, to[2].stride, from[0].width,
                       from[0].height, mode);
}

// There is no call for the whole frame. A pair of chroma values turns like a sample of 16 bits; strides count these.
void turnPaired(const Planes& from, const Planes& to, libyuv::RotationMode mode) {
    libyuv::RotatePlane(from[0].data, from[0].stride, to[0].data, to[0].stride, from[0].width, from[0].height, mode);
    libyuv::RotatePlane_16(reinterpret_cast<const uint16_t*>(from[1].data), from[1].width,
                           reinterpret_cast<uint16_t*>(to[1].data), to[1].width, from[1].width, from[1].height, mode);
}

struct Turned {
    uint32_t format;
    LibyuvTurn byLibyuv;  // null: it has none
};

constexpr Turned kTurned[] = {
    {qorvp::kFormatBgra, turnPixels},
    {qorvp::kFormatBgr, nullptr},
    {qorvp::kFormatI420, turnPlanar},
    {qorvp::kFormatNv12, turnPaired},
};

void turnByOpenCv(const Image& from, const Image& to, cv::RotateFlags code) {
    for (size_t index = 0; index < from.planes().size(); ++index) {
        cv::Mat turned = matrixOf(to.planes()[index]);
        cv::rotate(matrixOf(from.planes()[index]), turned, code);
    }
}

Contest prepare(const Turned& turned, const Angle& angle, FrameSize size) {
    const bool across = angle.degrees != 180;
    const auto stage = std::make_shared<Stage>(turned.format, size.width, size.height, turned.format,
                                               across ? size.height : size.width, across ? size.width : size.height);
    stage->source.fillRandom(7);
    stage->library.setParameter(qorvp::kRotation, &angle.degrees);
    Contest contest;
    contest.bytes = stage->source.bytes() + stage->ours.bytes();
    contest.ours = [stage] { stage->library.process(qorvp::kRotation, stage->source, stage->ours); };
    contest.ours();
    contest.admit({kOpenCv, [stage, &angle] { turnByOpenCv(stage->source, stage->openCv, angle.openCvCode); }},
                  [&] { requireClose(stage->openCv, stage->ours, 0, kOpenCv); });
    if (turned.byLibyuv)
        contest.admit(
            {kLibyuv, [stage, &turned,
                       &angle] { turned.byLibyuv(stage->source.planes(), stage->libyuv.planes(), angle.libyuvMode); }},
            [&] { requireClose(stage->libyuv, stage->ours, 0, kLibyuv); });
    stage->shareDestination();
    return contest;
}

}  // namespace

void addRotationRows(PlannedRows& rows) {
    for (const FrameSize size : kFrameSizes)
        for (const Turned& turned : kTurned)
            for (const Angle& angle : kAngles)
                rows.push_back({"rotate " + formatName(turned.format) + " by " + std::to_string(angle.degrees) + " " +
                                    sizeName(size.width, size.height),
                                [&turned, &angle, size] { return prepare(turned, angle, size); }});
}

}  // namespace zelbench::vp
