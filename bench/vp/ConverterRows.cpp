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

using PlanarCall = int (*)(const uint8_t* y, int yStride, const uint8_t* u, int uStride, const uint8_t* v, int vStride,
                           uint8_t* to, int stride, int width, int height);
using PairedCall = int (*)(const uint8_t* y, int yStride, const uint8_t* uv, int uvStride, uint8_t* to, int stride,
                           int width, int height);

constexpr int kNoCode = -1;

// Null and kNoCode: not there.
struct Conversion {
    uint32_t from, to;
    PlanarCall planar;
    PairedCall paired;
    int openCvCode;
};

// libyuv names pixels by their value as a word, lowest byte last.
const Conversion kConversions[] = {
    {qorvp::kFormatI420, qorvp::kFormatBgra, libyuv::I420ToARGB, nullptr, cv::COLOR_YUV2BGRA_I420},
    {qorvp::kFormatI420, qorvp::kFormatRgba, libyuv::I420ToABGR, nullptr, cv::COLOR_YUV2RGBA_I420},
    {qorvp::kFormatI420, qorvp::kFormatBgr, libyuv::I420ToRGB24, nullptr, cv::COLOR_YUV2BGR_I420},
    {qorvp::kFormatI420, qorvp::kFormatRgb565, libyuv::I420ToRGB565, nullptr, kNoCode},
    {qorvp::kFormatI420, qorvp::kFormatArgb, libyuv::I420ToBGRA, nullptr, kNoCode},
    {qorvp::kFormatI420, qorvp::kFormatAbgr, libyuv::I420ToRGBA, nullptr, kNoCode},
    {qorvp::kFormatNv12, qorvp::kFormatBgra, nullptr, libyuv::NV12ToARGB, cv::COLOR_YUV2BGRA_NV12},
    {qorvp::kFormatNv12, qorvp::kFormatRgba, nullptr, libyuv::NV12ToABGR, cv::COLOR_YUV2RGBA_NV12},
    {qorvp::kFormatNv12, qorvp::kFormatBgr, nullptr, libyuv::NV12ToRGB24, cv::COLOR_YUV2BGR_NV12},
    {qorvp::kFormatNv12, qorvp::kFormatRgb565, nullptr, libyuv::NV12ToRGB565, kNoCode},
    {qorvp::kFormatNv21, qorvp::kFormatBgra, nullptr, libyuv::NV21ToARGB, cv::COLOR_YUV2BGRA_NV21},
    {qorvp::kFormatNv21, qorvp::kFormatRgba, nullptr, libyuv::NV21ToABGR, cv::COLOR_YUV2RGBA_NV21},
    {qorvp::kFormatNv21, qorvp::kFormatBgr, nullptr, libyuv::NV21ToRGB24, cv::COLOR_YUV2BGR_NV21},
    {qorvp::kFormatNv21, qorvp::kFormatRgb565, nullptr, nullptr, kNoCode},
};

// The others take 74.5 for 74, so that their white is 255 and ours 253.
constexpr int kMostDifference = 6;

void convertByLibyuv(const Conversion& conversion, const Image& from, const Image& to) {
    const std::vector<Plane>& planes = from.planes();
    const Plane &luma = planes[0], &pixels = to.planes()[0];
    if (conversion.planar)
        conversion.planar(luma.data, luma.stride, planes[1].data, planes[1].stride, planes[2].data, planes[2].stride,
                          pixels.data, pixels.stride, luma.width, luma.height);
    else
        conversion.paired(luma.data, luma.stride, planes[1].data, planes[1].stride, pixels.data, pixels.stride,
                          luma.width, luma.height);
}

void convertByOpenCv(const Conversion& conversion, const Image& from, const Image& to) {
    const cv::Mat video(from.height() * 3 / 2, from.width(), CV_8UC1, from.data());
    cv::Mat pixels = matrixOf(to.planes()[0]);
    cv::cvtColor(video, pixels, conversion.openCvCode);
}

void checkByFormula(Stage& stage) {
    stage.source.fillRandom(1);
    stage.library.process(qorvp::kConverter, stage.source, stage.ours);
    const Image expected(stage.ours.format(), stage.ours.width(), stage.ours.height());
    convertByFormula(stage.source, expected);
    requireClose(expected, stage.ours, 0, "the formula");
}

Contest prepare(const Conversion& conversion, FrameSize size) {
    const auto stage =
        std::make_shared<Stage>(conversion.from, size.width, size.height, conversion.to, size.width, size.height);
    Contest contest;
    contest.bytes = stage->source.bytes() + stage->ours.bytes();
    contest.ours = [stage] { stage->library.process(qorvp::kConverter, stage->source, stage->ours); };
    checkByFormula(*stage);
    // Outside the levels of video the sides differ on purpose: OpenCV takes luma below 16 for 16.
    stage->source.fillRandomVideo(1);
    contest.ours();
    const auto requireLike = [stage](const Image& image, const char* whose) {
        requireClose(stage->ours, image, kMostDifference, whose);
    };
    if (conversion.planar || conversion.paired)
        contest.admit({kLibyuv, [stage, &conversion] { convertByLibyuv(conversion, stage->source, stage->libyuv); }},
                      [&] { requireLike(stage->libyuv, kLibyuv); });
    if (conversion.openCvCode != kNoCode)
        contest.admit({kOpenCv, [stage, &conversion] { convertByOpenCv(conversion, stage->source, stage->openCv); }},
                      [&] { requireLike(stage->openCv, kOpenCv); });
    stage->shareDestination();
    return contest;
}

}  // namespace

void addConverterRows(PlannedRows& rows) {
    for (const FrameSize size : kFrameSizes)
        for (const Conversion& conversion : kConversions)
            rows.push_back({"convert " + formatName(conversion.from) + " to " + formatName(conversion.to) + " " +
                                sizeName(size.width, size.height),
                            [&conversion, size] { return prepare(conversion, size); }});
}

}  // namespace zelbench::vp
