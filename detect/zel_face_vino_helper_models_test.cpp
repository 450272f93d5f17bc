#include <gmock/gmock.h>

#include <array>
#include <cstdio>
#include <vector>

#include "detect/ZelFaceVinoHelper.h"
#include "tests/support/SamplePhotograph.h"
#include "tests/support/TraceCapture.h"

namespace {

constexpr int32_t kWidth = 160, kHeight = 90;
constexpr int64_t kPatientMs = 60000;

using Bytes = std::vector<uint8_t>;
using Box = std::array<int, 4>;  // left, top, width, height

// The face of the photograph in 160x90, drawn by hand.
constexpr Box kFace{57, 20, 32, 33};

class FaceModelTest : public testing::Test {
  protected:
    FaceModelTest() { mHelper.init("CPU"); }

    std::string found(const Bytes& picture) {
        std::string text;
        EXPECT_TRUE(mHelper.processVino(kWidth, kHeight, picture.data(), static_cast<int32_t>(picture.size()), text));
        return text;
    }
    // The only face; of another number, none.
    Box face(const Bytes& picture) {
        Box box{};
        const std::string text = found(picture);
        const int fields = std::sscanf(text.c_str(), "{\"faceNum\":1,\"facePos\":[[%d,%d,%d,%d]]}", &box[0], &box[1],
                                       &box[2], &box[3]);
        EXPECT_EQ(fields, 4) << text;
        return box;
    }

  private:
    ZelFaceVinoHelper mHelper{loadNetwork, kPatientMs};
};

double overlap(const Box& a, const Box& b) {
    const int width = std::min(a[0] + a[2], b[0] + b[2]) - std::max(a[0], b[0]);
    const int height = std::min(a[1] + a[3], b[1] + b[3]) - std::max(a[1], b[1]);
    const double common = std::max(width, 0) * std::max(height, 0);
    return common / (a[2] * a[3] + b[2] * b[3] - common);
}

// The photograph at another size on a grey picture, its left upper corner at a place.
Bytes onGrey(int32_t width, int32_t left, int32_t top) {
    const int32_t height = width * 9 / 16;
    const Bytes photograph = zeltest::samplePhotograph(width, height);
    Bytes picture(kWidth * kHeight * 3, 100);
    for (int32_t y = 0; y < height; ++y)
        for (int32_t i = 0; i < width * 3; ++i)
            picture[static_cast<size_t>(((top + y) * kWidth + left) * 3 + i)] =
                photograph[static_cast<size_t>(y * width * 3 + i)];
    return picture;
}

Bytes beside(Bytes left, const Bytes& right) {
    for (int32_t y = 0; y < kHeight; ++y)
        for (int32_t i = kWidth / 2 * 3; i < kWidth * 3; ++i)
            left[static_cast<size_t>(y * kWidth * 3 + i)] = right[static_cast<size_t>(y * kWidth * 3 + i)];
    return left;
}

}  // namespace

TEST_F(FaceModelTest, FaceOfThePhotographIsFoundWhereItIs) {
    EXPECT_GE(overlap(face(zeltest::samplePhotograph(kWidth, kHeight)), kFace), 0.7);
}

TEST_F(FaceModelTest, FacesAreFoundFromTwentyPixelsOfHeightUp) {
    for (const int32_t width : {97, 104, 120, 140}) {
        const int32_t left = (kWidth - width) / 2, top = (kHeight - width * 9 / 16) / 2;
        Box expected = kFace;
        for (int& value : expected) value = value * width / kWidth;
        expected[0] += left;
        expected[1] += top;
        EXPECT_GE(overlap(face(onGrey(width, left, top)), expected), 0.6) << width;
    }
}

TEST_F(FaceModelTest, TwoFacesAreTold) {
    const std::string text = found(beside(onGrey(80, 0, 20), onGrey(80, 80, 20)));
    EXPECT_THAT(text, testing::StartsWith("{\"faceNum\":2,\"facePos\":[["));
}

TEST_F(FaceModelTest, PictureWithoutAFaceHasNone) {
    EXPECT_EQ(found(Bytes(kWidth * kHeight * 3, 90)), "{\"faceNum\":0,\"facePos\":[]}");
    Bytes shuttle = zeltest::samplePhotograph(kWidth, kHeight);
    // The right third, where a model of a shuttle stands.
    for (int32_t y = 0; y < kHeight; ++y)
        for (int32_t i = 0; i < 110 * 3; ++i) shuttle[static_cast<size_t>(y * kWidth * 3 + i)] = 150;
    EXPECT_EQ(found(shuttle), "{\"faceNum\":0,\"facePos\":[]}");
}

TEST(FaceNetworkTest, SizesAreLoggedWhenItIsRead) {
    const ModelPair pair(132, 131);
    const zeltest::TraceCapture trace;
    const ZelFaceVinoHelper helper;
    const std::string line =
        "zelipc face>>ZelFaceVinoHelper::ZelFaceVinoHelper, load bin size: " + std::to_string(pair.weightsBytes()) +
        ", model size = " + std::to_string(pair.xmlBytes());
    EXPECT_THAT(trace.lines(), testing::ElementsAre(zeltest::TraceCapture::Line{2, line}));
}
