#include <gtest/gtest.h>

#include <algorithm>

#include "qorvp/Parameters.h"
#include "qorvp/createFrameWork.h"
#include "vp/src/CHalfSize.h"
#include "vp/src/CSteppedScaler.h"
#include "vp/src/TestImage.h"

namespace {

using qorvp::CSteppedScaler;
using qorvp::kErrorArgument;
using qorvp::kErrorUnsupported;
using qorvp::kOk;
using qorvp::kScaleNearest;
using qorvp::kScaleWeighted;
using qorvp::Plane;
using qorvp::VpImage;
using qorvp::test::Guard;
using qorvp::test::TestImage;

constexpr uint32_t kFormats[] = {23, 24, 26, 29, 31};
constexpr uint8_t kModes[] = {kScaleWeighted, kScaleNearest};

struct Size {
    int width;
    int height;
};

constexpr std::pair<Size, Size> kSizes[] = {
    {{64, 36}, {48, 28}}, {{64, 36}, {96, 54}}, {{64, 36}, {32, 18}}, {{64, 36}, {64, 36}},  {{64, 36}, {8, 4}},
    {{64, 36}, {32, 36}}, {{2, 2}, {50, 6}},    {{50, 6}, {2, 2}},    {{66, 34}, {130, 70}}, {{130, 70}, {66, 34}}};

int32_t scale(CSteppedScaler& scaler, uint8_t mode, TestImage& from, TestImage& to) {
    EXPECT_EQ(scaler.SetParam(6, &mode), kOk);
    return scaler.Process(6, &from.image(), &to.image());
}

// A place among samples by the formulas, and the weight of the sample behind it.
struct Place {
    int64_t index;
    int64_t behind;
    int64_t weight;
};

Place weightedPlace(int from, int to, int i) {
    const auto step = static_cast<int64_t>(static_cast<float>(from) / static_cast<float>(to) * 32768.0F);
    const int64_t last = from - 1;
    const int64_t place = std::min(std::max<int64_t>(step / 2 - 16384 + i * step, 0), last * 32768);
    return {place / 32768, std::min(place / 32768 + 1, last), place % 32768};
}

int64_t nearestPlace(int from, int to, int i, float unit) {
    const auto step = static_cast<int64_t>(static_cast<float>(from) / static_cast<float>(to) * unit);
    return std::min<int64_t>((step / 2 + i * step) / static_cast<int64_t>(unit), from - 1);
}

int mixed(int a, int b, int64_t weight) {
    return static_cast<int>((a * (0x7FFF - weight) + b * weight + 0x4000) / 32768);
}

int weightedAt(const Plane& from, const Plane& to, int x, int y, int channel) {
    const Place column = weightedPlace(from.width, to.width, x), row = weightedPlace(from.height, to.height, y);
    const auto inRow = [&](int64_t at) {
        const uint8_t* const samples = from.row(static_cast<int>(at)) + channel;
        return mixed(samples[column.index * from.bytes], samples[column.behind * from.bytes], column.weight);
    };
    return mixed(inRow(row.index), inRow(row.behind), row.weight);
}

int nearestAt(const Plane& from, const Plane& to, int x, int y, int channel) {
    const int64_t column = nearestPlace(from.width, to.width, x, 65536.0F);
    const int64_t row = nearestPlace(from.height, to.height, y, 32768.0F);
    return from.row(static_cast<int>(row))[column * from.bytes + channel];
}

// The samples by the formulas, in the order of TestImage::samples().
std::vector<uint8_t> scaled(uint8_t mode, TestImage& from, TestImage& to) {
    const auto sampleAt = mode == kScaleWeighted ? weightedAt : nearestAt;
    std::vector<uint8_t> all;
    for (int index = 0; index < to.planes().count; ++index) {
        const Plane source = from.planes().plane[index], shape = to.planes().plane[index];
        for (int y = 0; y < shape.height; ++y) {
            for (int i = 0; i < shape.width * shape.bytes; ++i)
                all.push_back(static_cast<uint8_t>(sampleAt(source, shape, i / shape.bytes, y, i % shape.bytes)));
        }
    }
    return all;
}

bool isHalvedHere(uint32_t format, Size from, Size to) {
    return (format == 26 || format == 29) && to.width == from.width / 2 && to.height == from.height / 2;
}

}  // namespace

TEST(SteppedScalerTest, EverySampleFollowsTheFormulas) {
    std::mt19937 random(1);
    for (const auto& set : qorvp::featureSets()) {
        CSteppedScaler scaler(set.features);
        for (const uint32_t format : kFormats) {
            for (const auto& [source, destination] : kSizes) {
                if (isHalvedHere(format, source, destination)) continue;
                for (const Guard guard : {Guard::kBehind, Guard::kBefore}) {
                    TestImage from(format, source.width, source.height, 3, guard),
                        to(format, destination.width, destination.height, 1, guard);
                    from.fillRandom(random);
                    for (const uint8_t mode : kModes) {
                        ASSERT_EQ(scale(scaler, mode, from, to), kOk);
                        ASSERT_EQ(to.samples(), scaled(mode, from, to))
                            << set.name << ' ' << format << ": " << source.width << 'x' << source.height << " to "
                            << destination.width << 'x' << destination.height << ", mode " << int{mode};
                    }
                }
            }
        }
    }
}

TEST(SteppedScalerTest, FlatPictureStaysFlat) {
    CSteppedScaler scaler;
    for (const uint32_t format : kFormats) {
        for (const auto& [source, destination] : kSizes) {
            for (const int value : {0, 1, 128, 254, 255}) {
                TestImage from(format, source.width, source.height), to(format, destination.width, destination.height);
                from.fill(static_cast<uint8_t>(value));
                for (const uint8_t mode : kModes) {
                    to.fill(static_cast<uint8_t>(~value));
                    ASSERT_EQ(scale(scaler, mode, from, to), kOk);
                    const std::vector<uint8_t> samples = to.samples();
                    EXPECT_EQ(std::count(samples.begin(), samples.end(), value), std::ssize(samples)) << format;
                }
            }
        }
    }
}

TEST(SteppedScalerTest, SameSizeIsTheSamePicture) {
    std::mt19937 random(1);
    CSteppedScaler scaler;
    for (const uint32_t format : kFormats) {
        TestImage from(format, 66, 34, 1), to(format, 66, 34, 2);
        from.fillRandom(random);
        for (const uint8_t mode : kModes) {
            ASSERT_EQ(scale(scaler, mode, from, to), kOk);
            EXPECT_EQ(to.samples(), from.samples()) << format << ", mode " << int{mode};
        }
    }
}

TEST(SteppedScalerTest, PairsAtExactlyHalfAreMadeByTheHalfSizeKernels) {
    std::mt19937 random(1);
    for (const auto& set : qorvp::featureSets()) {
        CSteppedScaler scaler(set.features);
        qorvp::CHalfSize halfSize(set.features);
        for (const uint32_t format : {26u, 29u}) {
            for (const auto& [width, height] : {Size{64, 36}, {48, 36}, {40, 36}, {36, 36}, {37, 35}, {64, 34}}) {
                TestImage from(format, width, height), to(format, width / 2, height / 2),
                    expected(format, width / 2, height / 2);
                from.fillRandom(random);
                ASSERT_EQ(halfSize.Process(5, &from.image(), &expected.image()), kOk);
                for (const uint8_t mode : kModes) {
                    to.fill(0);
                    ASSERT_EQ(scale(scaler, mode, from, to), kOk);
                    EXPECT_EQ(to.samples(), expected.samples()) << set.name << ' ' << width << 'x' << height;
                }
            }
        }
    }
}

TEST(SteppedScalerTest, ModeHoldsUntilTheNext) {
    CSteppedScaler scaler;
    TestImage from(31, 2, 1), to(31, 4, 1);
    from.image().planes[0][1] = 200;
    const std::vector<uint8_t> weighted = {0, 50, 150, 200}, nearest = {0, 0, 200, 200};
    const auto samples = [&] {
        EXPECT_EQ(scaler.Process(6, &from.image(), &to.image()), kOk);
        return to.samples();
    };
    uint8_t mode = 77;
    EXPECT_EQ(scaler.GetParam(6, &mode), kOk);
    EXPECT_EQ(mode, kScaleWeighted);
    EXPECT_EQ(samples(), weighted);
    EXPECT_EQ(scaler.SetParam(6, &kModes[1]), kOk);
    EXPECT_EQ(samples(), nearest);
    mode = 2;
    EXPECT_EQ(scaler.SetParam(6, &mode), kErrorArgument);
    EXPECT_EQ(scaler.GetParam(6, &mode), kOk);
    EXPECT_EQ(mode, kScaleNearest);
    EXPECT_EQ(samples(), nearest);
    EXPECT_EQ(scaler.SetParam(6, &kModes[0]), kOk);
    EXPECT_EQ(samples(), weighted);
    EXPECT_EQ(scaler.SetParam(6, nullptr), kErrorArgument);
    EXPECT_EQ(scaler.GetParam(6, nullptr), kErrorArgument);
}

TEST(SteppedScalerTest, LongestRowsAreScaled) {
    CSteppedScaler scaler;
    for (const auto& [source, destination] : {std::pair{Size{40960, 1}, Size{1, 1}},
                                              {Size{1, 40960}, Size{1, 1}},
                                              {Size{40960, 1}, Size{40959, 1}},
                                              {Size{1, 1}, Size{40960, 2}},
                                              {Size{40959, 1}, Size{40960, 1}},
                                              {Size{2, 1}, Size{40960, 1}}}) {
        TestImage from(31, source.width, source.height), to(31, destination.width, destination.height);
        const size_t count = from.bytes().size();
        for (size_t i = 0; i < count; ++i) from.image().planes[0][i] = static_cast<uint8_t>(i * 7 + i / 256);
        for (const uint8_t mode : kModes) {
            ASSERT_EQ(scale(scaler, mode, from, to), kOk);
            EXPECT_EQ(to.samples(), scaled(mode, from, to)) << source.width << " to " << destination.width;
        }
    }
}

TEST(SteppedScalerTest, RowsMayLieBottomUp) {
    std::mt19937 random(1);
    CSteppedScaler scaler;
    TestImage from(23, 16, 8), to(23, 24, 12);
    from.fillRandom(random);
    from.image().format = to.image().format = 23 | qorvp::kBottomUp;
    for (const uint8_t mode : kModes) {
        ASSERT_EQ(scale(scaler, mode, from, to), kOk);
        EXPECT_EQ(to.samples(), scaled(mode, from, to));
    }
}

TEST(SteppedScalerTest, OddSizesOfVideoAreRefused) {
    CSteppedScaler scaler;
    for (const uint32_t format : kFormats) {
        for (const auto& [source, destination] : {std::pair{Size{15, 16}, Size{8, 8}},
                                                  {Size{16, 15}, Size{8, 8}},
                                                  {Size{16, 16}, Size{9, 8}},
                                                  {Size{16, 16}, Size{10, 7}}}) {
            TestImage from(format, source.width, source.height), to(format, destination.width, destination.height);
            EXPECT_EQ(scaler.Process(6, &from.image(), &to.image()), format == 31 ? kOk : kErrorArgument) << format;
        }
        TestImage from(format, 15, 17), half(format, 7, 8);
        EXPECT_EQ(scaler.Process(6, &from.image(), &half.image()), format == 23 || format == 24 ? kErrorArgument : kOk)
            << format;
    }
}

TEST(SteppedScalerTest, OtherFormatsAreUnsupported) {
    CSteppedScaler scaler;
    for (const uint32_t format : qorvp::test::kAllFormats) {
        TestImage from(format, 8, 8), to(format, 6, 6);
        const bool own = std::find(std::begin(kFormats), std::end(kFormats), format) != std::end(kFormats);
        EXPECT_EQ(scaler.Process(6, &from.image(), &to.image()), own ? kOk : kErrorUnsupported) << format;
    }
    TestImage from(23, 8, 8), to(23, 6, 6);
    const auto frameWork = qorvp::createFrameWork();
    EXPECT_EQ(frameWork->Process(qorvp::kSteppedScaler, &from.image(), &to.image()), kOk);
    from.image().format = to.image().format = 9;
    EXPECT_EQ(frameWork->Process(qorvp::kSteppedScaler, &from.image(), &to.image()), kErrorUnsupported);
}

TEST(SteppedScalerTest, ImagesThatDoNotGoTogetherAreRefused) {
    CSteppedScaler scaler;
    TestImage from(23, 8, 8), to(23, 6, 6), other(24, 6, 6);
    EXPECT_EQ(scaler.Process(6, &from.image(), &to.image()), kOk);
    EXPECT_EQ(scaler.Process(6, &from.image(), &other.image()), kErrorArgument);
    EXPECT_EQ(scaler.Process(6, nullptr, &to.image()), kErrorArgument);
    EXPECT_EQ(scaler.Process(6, &from.image(), nullptr), kErrorArgument);
    VpImage inside = from.image();
    inside.width = inside.height = 6;
    EXPECT_EQ(scaler.Process(6, &from.image(), &inside), kErrorArgument);
    to.image().stride1 = 2;
    EXPECT_EQ(scaler.Process(6, &from.image(), &to.image()), kErrorArgument);
    to.image().stride1 = 3;
    for (VpImage* image : {&from.image(), &to.image()}) {
        for (uint8_t*& plane : image->planes) {
            uint8_t* const held = std::exchange(plane, nullptr);
            EXPECT_EQ(scaler.Process(6, &from.image(), &to.image()), kErrorArgument);
            plane = held;
        }
    }
}
