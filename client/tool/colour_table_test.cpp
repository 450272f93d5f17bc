#include "client/tool/ColourTable.h"

#include <gmock/gmock.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <string>

#include "platform/include/thread.h"

namespace {

using namespace zeltool;
using testing::ElementsAre;
using testing::FloatNear;

constexpr size_t kSide = ZELCLIENT_LUT_SIDE;

// A table on a grid of squares, denser near black, that gives each channel's input times its factor; and green takes
// the blue one's place.
class ColourTableTest : public testing::Test {
  protected:
    ColourTableTest() {
        for (size_t channel = 0; channel < 3; ++channel)
            for (size_t i = 0; i < kSide; ++i) mVertices.push_back(vertex(i));
        for (size_t channel = 0; channel < 3; ++channel)
            for (size_t b = 0; b < kSide; ++b)
                for (size_t g = 0; g < kSide; ++g)
                    for (size_t r = 0; r < kSide; ++r) {
                        const float inputs[] = {vertex(r) * 0.5f, vertex(b), vertex(g) * 0.25f};
                        mColours.push_back(inputs[channel]);
                    }
        mLadon.lut = mColours.data();
        mLadon.lut_vertices = mVertices.data();
    }

    static float vertex(size_t index) { return static_cast<float>(index * index) / ((kSide - 1) * (kSide - 1)); }
    ColourTable table() const { return ColourTable(mLadon); }

    std::vector<float> mColours;
    std::vector<float> mVertices;
    zelclient_ladon mLadon{};
};

TEST_F(ColourTableTest, ColoursBetweenTheVerticesAreInterpolatedByThem) {
    for (const float share : {0.0f, 0.001f, 0.1f, 0.37f, 0.5f, 0.999f, 1.0f}) {
        EXPECT_THAT(table().at({share, 0.3f, 0.7f}),
                    ElementsAre(FloatNear(share * 0.5f, 1e-6f), FloatNear(0.7f, 1e-6f), FloatNear(0.075f, 1e-6f)))
            << share;
    }
}

TEST_F(ColourTableTest, ColoursOutsideTheGridTakeItsNearestPoints) {
    EXPECT_THAT(table().at({-1, 2, -0.5f}), ElementsAre(0, 0, 0.25f));
    EXPECT_THAT(table().at({2, -1, 3}), ElementsAre(0.5f, 1, 0));
}

// A host may send anything.
TEST_F(ColourTableTest, VerticesThatDoNotRiseReadNothingOutside) {
    std::fill(mVertices.begin(), mVertices.end(), 0.5f);
    for (const float share : {0.0f, 0.5f, 1.0f}) {
        for (const float value : table().at({share, share, share})) EXPECT_TRUE(std::isfinite(value));
    }
    for (size_t i = 0; i < mVertices.size(); ++i) mVertices[i] = i % 2 ? -1e30f : 1e30f;
    for (const float value : table().at({0.3f, 0.6f, 0.9f})) EXPECT_TRUE(std::isfinite(value));
}

TEST_F(ColourTableTest, PictureIsPutThroughTheTablePixelByPixel) {
    Image picture(2, 1, 3);
    picture.bytes = {200, 100, 40, 0, 255, 128};
    const Image result = table().applied(picture);
    EXPECT_EQ(result.width, 2u);
    EXPECT_THAT(result.bytes, ElementsAre(100, 40, 25, 0, 128, 64));
}

TEST_F(ColourTableTest, CubeFileHasItsSizeAndRedRunsFastest) {
    const std::string path = (std::filesystem::temp_directory_path() /
                              ("zelclient_table_" + std::to_string(platform::currentProcessId()) + ".cube"))
                                 .string();
    std::string error;
    ASSERT_TRUE(table().save(path, "a photograph", &error)) << error;
    {
        std::ifstream file(path);
        std::string line;
        std::getline(file, line);
        EXPECT_EQ(line, "TITLE \"a photograph\"");
        std::getline(file, line);
        EXPECT_EQ(line, "LUT_3D_SIZE 33");
        size_t points = 0;
        for (float r = 0, g = 0, b = 0; file >> r >> g >> b; ++points) {
            const auto step = [](size_t index) { return static_cast<float>(index) / (kSide - 1); };
            const Rgb input = {step(points % kSide), step(points / kSide % kSide), step(points / kSide / kSide)};
            ASSERT_NEAR(r, input[0] * 0.5f, 1e-5) << points;
            ASSERT_NEAR(g, input[2], 1e-5) << points;
            ASSERT_NEAR(b, input[1] * 0.25f, 1e-5) << points;
        }
        EXPECT_EQ(points, kSide * kSide * kSide);
    }
    std::filesystem::remove(path);
}

TEST_F(ColourTableTest, CubeFileThatCannotBeWrittenIsTold) {
    std::string error;
    EXPECT_FALSE(table().save("no/such/folder/table.cube", "any", &error));
    EXPECT_THAT(error, testing::HasSubstr("no/such/folder/table.cube"));
}

}  // namespace
