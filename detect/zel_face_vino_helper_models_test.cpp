#include <gmock/gmock.h>

#include <algorithm>
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

size_t byteAt(int32_t width, int32_t x, int32_t y) {
    return (static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)) * 3;
}

// Copies the pixels [begin, end) of a row to their places in another picture.
void copyRow(const Bytes& from, Bytes& to, int32_t begin, int32_t end, int32_t y) {
    std::copy(from.begin() + static_cast<ptrdiff_t>(byteAt(kWidth, begin, y)),
              from.begin() + static_cast<ptrdiff_t>(byteAt(kWidth, end, y)),
              to.begin() + static_cast<ptrdiff_t>(byteAt(kWidth, begin, y)));
}

// The photograph at another size on a grey picture, its left upper corner at a place.
Bytes onGrey(int32_t width, int32_t left, int32_t top) {
    const int32_t height = width * 9 / 16;
    const Bytes photograph = zeltest::samplePhotograph(width, height);
    Bytes picture(byteAt(kWidth, 0, kHeight), 100);
    for (int32_t y = 0; y < height; ++y) {
        std::copy_n(photograph.begin() + static_cast<ptrdiff_t>(byteAt(width, 0, y)), width * 3,
                    picture.begin() + static_cast<ptrdiff_t>(byteAt(kWidth, left, top + y)));
    }
    return picture;
}

// The left half of one picture beside the right half of another.
Bytes beside(Bytes left, const Bytes& right) {
    for (int32_t y = 0; y < kHeight; ++y) copyRow(right, left, kWidth / 2, kWidth, y);
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
    // Without the person: only the right third is left, where a model of a shuttle stands.
    Bytes shuttle = zeltest::samplePhotograph(kWidth, kHeight);
    const Bytes grey(shuttle.size(), 150);
    for (int32_t y = 0; y < kHeight; ++y) copyRow(grey, shuttle, 0, 110, y);
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
