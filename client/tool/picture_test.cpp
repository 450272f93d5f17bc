#include "client/tool/Picture.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

#include "client/tool/PictureFile.h"
#include "platform/include/thread.h"
#include "platform/test_support.h"

namespace {

using namespace zeltool;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;

Image mask(uint32_t width, uint32_t height, std::vector<uint8_t> bytes) {
    Image image(width, height, 1);
    image.bytes = std::move(bytes);
    return image;
}

bool sameArea(const Area& area, uint32_t x, uint32_t y, uint32_t width, uint32_t height) {
    return area.x == x && area.y == y && area.width == width && area.height == height;
}

TEST(PictureTest, PlainPictureStaysPlainInAnySize) {
    const Image picture = plainColour(37, 23, 10, 200, 77);
    for (const auto& [width, height] : {std::pair{1u, 1u}, {7u, 100u}, {256u, 144u}, {36u, 24u}}) {
        const Image other = scaled(picture, width, height);
        ASSERT_EQ(other.bytes.size(), size_t{3} * width * height);
        for (size_t i = 0; i < other.bytes.size(); i += 3) {
            ASSERT_EQ(other.bytes[i], 10);
            ASSERT_EQ(other.bytes[i + 1], 200);
            ASSERT_EQ(other.bytes[i + 2], 77);
        }
    }
}

TEST(PictureTest, ScalingToTheSameSizeChangesNothing) {
    const Image picture = mask(3, 2, {1, 2, 3, 4, 5, 6});
    EXPECT_EQ(scaled(picture, 3, 2).bytes, picture.bytes);
}

TEST(PictureTest, ShrinkingTakesTheMeanOfFineDetail) {
    Image stripes(64, 64, 1);
    for (uint32_t y = 0; y < 64; ++y) {
        for (uint32_t x = 0; x < 64; ++x) stripes.row(y)[x] = x % 3 == 0 ? 210 : 0;
    }
    for (const uint8_t value : scaled(stripes, 8, 8).bytes) EXPECT_NEAR(value, 70, 7);
}

TEST(PictureTest, GrowingGoesEvenlyFromOnePixelToTheNext) {
    const Image grown = scaled(mask(2, 1, {0, 100}), 4, 1);
    EXPECT_THAT(grown.bytes, ElementsAre(0, 25, 75, 100));
}

TEST(PictureTest, ScalingKeepsPicturesInPlace) {
    Image dot(90, 90, 1);
    for (uint32_t y = 30; y < 60; ++y) std::fill_n(dot.row(y) + 30, 30, 255);
    const Area area = personArea(scaled(scaled(dot, 30, 30), 90, 90));
    EXPECT_TRUE(sameArea(area, 30, 30, 30, 30));
}

TEST(PictureTest, PictureLiesInTheMiddleOfTheFrame) {
    EXPECT_TRUE(sameArea(areaInside(1920, 1080, 256, 144), 0, 0, 256, 144));
    EXPECT_TRUE(sameArea(areaInside(512, 512, 256, 144), 56, 0, 144, 144));
    EXPECT_TRUE(sameArea(areaInside(720, 1280, 256, 144), 87, 0, 81, 144));
    EXPECT_TRUE(sameArea(areaInside(1000, 100, 256, 144), 0, 59, 256, 26));
    EXPECT_TRUE(sameArea(areaInside(1, 1, 256, 144), 56, 0, 144, 144));
}

TEST(PictureTest, SliverOfAPictureKeepsAPixel) {
    EXPECT_TRUE(sameArea(areaInside(100000, 1, 256, 144), 0, 71, 256, 1));
}

TEST(PictureTest, LetterboxCroppedGivesThePictureBack) {
    const Image picture = plainColour(100, 100, 9, 8, 7);
    Area area;
    const Image frame = letterboxed(picture, 256, 144, &area);
    EXPECT_EQ(frame.width, 256u);
    EXPECT_EQ(frame.height, 144u);
    EXPECT_EQ(frame.row(10)[0], 0);
    const Image back = scaled(cropped(frame, area), 100, 100);
    EXPECT_EQ(back.bytes, picture.bytes);
}

TEST(PictureTest, LargePictureIsFittedAndASmallOneLeft) {
    const Image wide = fitted(plainColour(1920, 1080, 1, 2, 3), 512, 512);
    EXPECT_EQ(std::pair(wide.width, wide.height), std::pair(512u, 288u));
    const Image tall = fitted(plainColour(100, 1000, 1, 2, 3), 512, 512);
    EXPECT_EQ(std::pair(tall.width, tall.height), std::pair(51u, 512u));
    const Image small = fitted(plainColour(30, 20, 1, 2, 3), 512, 512);
    EXPECT_EQ(std::pair(small.width, small.height), std::pair(30u, 20u));
}

TEST(PictureTest, GreyIsTheBrightness) {
    EXPECT_THAT(grey(plainColour(2, 1, 255, 255, 255)).bytes, ElementsAre(255, 255));
    EXPECT_THAT(grey(plainColour(1, 1, 200, 0, 0)).bytes, ElementsAre(60));
    EXPECT_THAT(grey(plainColour(1, 1, 0, 200, 0)).bytes, ElementsAre(117));
    EXPECT_THAT(grey(plainColour(1, 1, 0, 0, 200)).bytes, ElementsAre(23));
}

TEST(PictureTest, CoveringCutsTheSidesOff) {
    Image wide(300, 100, 3);
    for (uint32_t y = 0; y < 100; ++y) std::fill_n(wide.row(y) + 300, 300, 255);
    const Image square = covering(wide, 50, 50);
    EXPECT_EQ(square.width, 50u);
    EXPECT_THAT(square.bytes, Each(255));
}

TEST(PictureTest, CutOutCarriesTheMaskAsAlpha) {
    const Image result = cutOut(plainColour(2, 1, 1, 2, 3), mask(2, 1, {0, 77}));
    EXPECT_EQ(result.channels, 4u);
    EXPECT_THAT(result.bytes, ElementsAre(1, 2, 3, 0, 1, 2, 3, 77));
}

TEST(PictureTest, PersonIsMeasured) {
    Image person(10, 10, 1);
    person.row(2)[3] = 255;
    person.row(5)[6] = 128;
    person.row(9)[9] = 127;
    EXPECT_TRUE(sameArea(personArea(person), 3, 2, 4, 4));
    EXPECT_TRUE(sameArea(personArea(Image(4, 4, 1)), 0, 0, 0, 0));
    EXPECT_DOUBLE_EQ(coverage(mask(2, 1, {255, 0})), 0.5);
    EXPECT_DOUBLE_EQ(coverage(Image()), 0);
}

class PictureFileTest : public testing::Test {
  protected:
    ~PictureFileTest() override { platform::test::removeFolder(folder); }
    std::string path(const std::string& name) const { return (folder / name).string(); }

    std::filesystem::path folder = [] {
        auto made = std::filesystem::temp_directory_path() /
                    ("zelclient_pictures_" + std::to_string(platform::currentProcessId()));
        std::filesystem::create_directories(made);
        return made;
    }();
    std::string error;
};

TEST_F(PictureFileTest, PngComesBackAsItWas) {
    Image picture = plainColour(5, 3, 1, 2, 3);
    picture.row(2)[7] = 99;
    ASSERT_TRUE(savePicture(path("a.png"), picture, &error)) << error;
    Image back;
    ASSERT_TRUE(loadPicture(path("a.png"), back, &error)) << error;
    EXPECT_EQ(back.width, 5u);
    EXPECT_EQ(back.bytes, picture.bytes);
}

TEST_F(PictureFileTest, GreyAndTransparentPicturesAreWritten) {
    EXPECT_TRUE(savePicture(path("m.png"), Image(4, 4, 1), &error)) << error;
    EXPECT_TRUE(savePicture(path("c.PNG"), Image(4, 4, 4), &error)) << error;
    EXPECT_TRUE(savePicture(path("j.jpg"), Image(4, 4, 3), &error)) << error;
    EXPECT_FALSE(savePicture(path("c.jpg"), Image(4, 4, 4), &error));
    EXPECT_THAT(error, HasSubstr(".png"));
}

TEST_F(PictureFileTest, FailuresNameTheFileAndWhatToDo) {
    Image back;
    EXPECT_FALSE(loadPicture(path("none.png"), back, &error));
    EXPECT_THAT(error, HasSubstr("none.png"));
    EXPECT_FALSE(savePicture(path("no/folder.png"), Image(1, 1, 3), &error));
    EXPECT_THAT(error, HasSubstr("folder"));
    EXPECT_FALSE(savePicture(path("a.xyz"), Image(1, 1, 3), &error));
    EXPECT_THAT(error, HasSubstr(".jpg"));
}

TEST_F(PictureFileTest, FilesThatEndInAHeadAreRefused) {
    const std::string heads[] = {std::string("\xff\xd8\xff\xe0\x00\x10JF", 8), std::string("\xff\xd8\xff\xe1\x10", 5),
                                 std::string("\x89PNG\r\n\x1a\n\0\0\0\rIH", 14),
                                 std::string("BM\x46\0\0\0\0\0\0\0\x36\0\0\0\x28", 15)};
    for (const std::string& head : heads) {
        std::ofstream(path("head"), std::ios::binary) << head;
        Image picture;
        EXPECT_FALSE(loadPicture(path("head"), picture, &error));
        EXPECT_THAT(error, HasSubstr("cannot read the picture"));
    }
}

TEST_F(PictureFileTest, PictureNamesAreKnownInAnyCase) {
    EXPECT_TRUE(isPictureName("a/b.JPG"));
    EXPECT_TRUE(isPictureName("x.png"));
    EXPECT_FALSE(isPictureName("talk.mp4"));
    EXPECT_FALSE(isPictureName("png"));
}

}  // namespace
