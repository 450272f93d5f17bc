#include <qorvp/Format.h>
#include <qorvp/Parameters.h>
#include <qorvp/createFrameWork.h>

#include <cstdio>
#include <vector>

// Converts, blurs and blends a small frame as a user of the package would, and tells what is not as it should be.

namespace {

constexpr int kWidth = 32;
constexpr int kHeight = 16;
constexpr int kPixels = kWidth * kHeight;

qorvp::VpImage imageOf(uint32_t format, uint8_t* bytes, int stride) {
    qorvp::VpImage image{};
    image.planes[0] = bytes;
    image.stride0 = stride;
    image.width = kWidth;
    image.height = kHeight;
    image.format = format;
    return image;
}

class Check {
  public:
    void same(const char* what, int value, int expected) {
        if (value == expected) return;
        std::printf("%s is %d and not %d\n", what, value, expected);
        m_good = false;
    }
    bool good() const { return m_good; }

  private:
    bool m_good = true;
};

// Video of one grey: 74 (116 - 16) / 64 for each channel.
void convert(qorvp::CVpFrameWork& vp, Check& check) {
    std::vector<uint8_t> luma(kPixels, 116), chroma(kPixels / 2, 128), pixels(kPixels * 4);
    qorvp::VpImage video = imageOf(qorvp::kFormatNv12, luma.data(), kWidth);
    video.planes[1] = chroma.data();
    video.stride1 = kWidth;
    qorvp::VpImage picture = imageOf(qorvp::kFormatBgra, pixels.data(), kWidth * 4);
    check.same("the conversion", vp.Process(qorvp::kConverter, &video, &picture), qorvp::kOk);
    check.same("blue of the first pixel", pixels.front(), 115);
    check.same("alpha of the last pixel", pixels.back(), 255);
}

// A line of white spreads.
void blur(qorvp::CVpFrameWork& vp, Check& check) {
    std::vector<uint8_t> line(kPixels), soft(kPixels);
    for (size_t at = kWidth / 2; at < line.size(); at += kWidth) line[at] = 255;
    qorvp::VpImage sharp = imageOf(qorvp::kFormatGrey, line.data(), kWidth);
    qorvp::VpImage blurred = imageOf(qorvp::kFormatGrey, soft.data(), kWidth);
    const float sigma = 2;
    check.same("the sigma", vp.SetParam(qorvp::kBlur, &sigma), qorvp::kOk);
    check.same("the blur", vp.Process(qorvp::kBlur, &sharp, &blurred), qorvp::kOk);
    const int peak = soft[8 * kWidth + kWidth / 2], beside = soft[8 * kWidth + kWidth / 2 + 2];
    check.same("that the peak lies between 75 and 91", peak > 75 && peak < 91, true);
    check.same("that it falls to the side", beside > 10 && beside < peak, true);
}

void blend(qorvp::CVpFrameWork& vp, Check& check) {
    std::vector<uint8_t> over(kPixels, 200), under(kPixels, 100), weights(kPixels, 128);
    qorvp::VpImage foreground = imageOf(qorvp::kFormatGrey, over.data(), kWidth);
    qorvp::VpImage background = imageOf(qorvp::kFormatGrey, under.data(), kWidth);
    const qorvp::BlendParameter mask = {imageOf(qorvp::kFormatGrey, weights.data(), kWidth)};
    check.same("the mask", vp.SetParam(qorvp::kBlend, &mask), qorvp::kOk);
    check.same("the blend", vp.Process(qorvp::kBlend, &foreground, &background), qorvp::kOk);
    check.same("half of 200 over half of 100", under.back(), 150);
}

}  // namespace

int main() {
    const auto vp = qorvp::createFrameWork();
    Check check;
    convert(*vp, check);
    blur(*vp, check);
    blend(*vp, check);
    return check.good() ? 0 : 1;
}
