// What the colour table makes of photographs with a cast, by the tool and the real host.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <string>

#include "client/tool/Picture.h"
#include "client/tool/PictureFile.h"
#include "platform/include/module.h"
#include "platform/include/process.h"
#include "platform/test_support.h"
#include "tests/support/HostProcess.h"

namespace fs = std::filesystem;

namespace {

using zeltool::Image;
using Gains = std::array<double, 3>;

constexpr double kDegrees = 180.0 / 3.14159265358979323846;
constexpr uint8_t kNearClipping = 250;

struct Cast {
    const char* name;
    Gains gains;
};
constexpr Cast kCasts[] = {
    {"warm", {1.4, 1.0, 0.6}},
    {"cold", {0.7, 1.0, 1.35}},
    {"green", {0.85, 1.15, 0.8}},
};

Image loaded(const fs::path& path) {
    Image picture;
    std::string error;
    EXPECT_TRUE(zeltool::loadPicture(path.string(), picture, &error)) << error;
    return picture;
}

void save(const fs::path& path, const Image& picture) {
    std::string error;
    ASSERT_TRUE(zeltool::savePicture(path.string(), picture, &error)) << error;
}

Image withGains(Image picture, const Gains& gains) {
    for (size_t at = 0; at < picture.bytes.size(); ++at)
        picture.bytes[at] = static_cast<uint8_t>(std::clamp(std::lround(picture.bytes[at] * gains[at % 3]), 0L, 255L));
    return picture;
}

// How far, in degrees, the ratio of both pictures' mean colours is from grey, over the pixels that `cast` does not
// clip.
double angleToGrey(const Image& picture, const Image& plain, const Image& cast) {
    Gains sums{}, plainSums{};
    for (size_t pixel = 0; pixel < cast.bytes.size(); pixel += 3) {
        const uint8_t* bytes = cast.bytes.data() + pixel;
        if (*std::max_element(bytes, bytes + 3) >= kNearClipping) continue;
        for (size_t channel = 0; channel < 3; ++channel) {
            sums[channel] += picture.bytes[pixel + channel];
            plainSums[channel] += plain.bytes[pixel + channel];
        }
    }
    double sum = 0, squares = 0;
    for (size_t channel = 0; channel < 3; ++channel) {
        const double ratio = sums[channel] / plainSums[channel];
        sum += ratio;
        squares += ratio * ratio;
    }
    return std::acos(std::min(1.0, sum / std::sqrt(3 * squares))) * kDegrees;
}

class ColourCastTest : public testing::Test {
  protected:
    ColourCastTest() {
        fs::create_directories(in);
        save(in / "plain.png", photograph);
        for (const Cast& cast : kCasts) save(file(in, cast), withGains(photograph, cast.gains));
    }
    ~ColourCastTest() override { platform::test::removeFolder(folder); }

    static fs::path file(const fs::path& where, const Cast& cast, const char* ending = ".png") {
        return where / (cast.name + std::string(ending));
    }

    // `zelclient lut` from one folder into the other.
    int applyTables() {
        platform::ProcessOptions options;
        options.standardOutput = (folder / "stdout").string();
        options.standardError = (folder / "stderr").string();
        std::string error;
        const auto tool = platform::startProcess(platform::executableDirectory() + "/../bin/" + ZEL_CLIENT_TOOL,
                                                 {"lut", in.string(), "--out", out.string()}, options, &error);
        if (!tool || !tool->waitForExit(3 * zeltest::kDeadlineMs)) return -1;
        return tool->exitCode();
    }

    const fs::path folder = fs::temp_directory_path() / ("colour_cast" + zeltest::uniqueInstanceId());
    const fs::path in = folder / "in";
    const fs::path out = folder / "out";
    const Image photograph = loaded(ZEL_SAMPLE_PHOTOGRAPH);
};

// Against the photograph itself, with the table that it gets without a cast.
TEST_F(ColourCastTest, StrongCastsAreTakenOut) {
    ASSERT_EQ(applyTables(), 0);
    const Image neutral = loaded(out / "plain-lut.png");
    ASSERT_EQ(neutral.bytes.size(), photograph.bytes.size());
    for (const Cast& cast : kCasts) {
        const Image before = loaded(file(in, cast));
        const Image after = loaded(file(out, cast, "-lut.png"));
        ASSERT_EQ(after.bytes.size(), photograph.bytes.size());
        const double angleBefore = angleToGrey(before, photograph, before);
        const double angleAfter = angleToGrey(after, neutral, before);
        RecordProperty(cast.name + std::string("_before"), std::to_string(angleBefore));
        RecordProperty(cast.name + std::string("_after"), std::to_string(angleAfter));
        EXPECT_GT(angleBefore, 9.0) << cast.name;
        EXPECT_LT(angleAfter, 3.0) << cast.name;
    }
}

}  // namespace
