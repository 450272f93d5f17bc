#include "vp/src/CScaler.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

#include "qorvp/Parameters.h"
#include "qorvp/createFrameWork.h"
#include "vp/src/TestImage.h"

namespace {

using qorvp::CScaler;
using qorvp::kErrorArgument;
using qorvp::kErrorUnsupported;
using qorvp::kOk;
using qorvp::Plane;
using qorvp::Planes;
using qorvp::VpImage;
using qorvp::test::Guard;
using qorvp::test::TestImage;

constexpr uint32_t kScaled[] = {2, 5, 6, 7, 8, 23, 24, 26, 29, 31};
constexpr uint32_t kEven[] = {23, 24, 26, 29};

bool isEvenOnly(uint32_t format) {
    return std::find(std::begin(kEven), std::end(kEven), qorvp::formatOf(format)) != std::end(kEven);
}

// Where a sample comes from: the two beside its position, and 16 bits between them.
struct Place {
    int first;
    int second;
    int fraction;
};

Place placeOf(int index, int source, int destination) {
    const int64_t step = int64_t{source} * 65536 / destination;
    const int64_t last = (int64_t{source} - 1) * 65536;
    const int64_t position = std::clamp<int64_t>(step / 2 - 32768 + index * step, 0, last);
    const auto whole = static_cast<int>(position / 65536);
    return {whole, std::min(whole + 1, source - 1), static_cast<int>(position % 65536)};
}

// The value of a byte by the rules, one at a time.
int valueAt(const Plane& from, const Place& across, const Place& down, int c) {
    const auto along = [&](int y) {
        const int x0 = from.row(y)[across.first * from.bytes + c], x1 = from.row(y)[across.second * from.bytes + c];
        return x0 + (((x1 - x0) * (across.fraction >> 9) + 64) >> 7);
    };
    const int f = down.fraction >> 8;
    return (along(down.first) * (256 - f) + along(down.second) * f) >> 8;
}

std::vector<uint8_t> expectedOf(TestImage& source, TestImage& destination) {
    std::vector<uint8_t> all;
    const Planes from = source.planes(), to = destination.planes();
    for (int index = 0; index < from.count; ++index) {
        const int divisor = index == 0 ? 1 : 2;
        Plane region = from.plane[index];
        const int left = source.image().cropX / divisor, top = source.image().cropY / divisor;
        region.data += top * region.stride + left * region.bytes;
        region.width -= left;
        region.height -= top;
        const Plane& plane = to.plane[index];
        for (int y = 0; y < plane.height; ++y) {
            const Place down = placeOf(y, region.height, plane.height);
            for (int i = 0; i < plane.width * plane.bytes; ++i) {
                const Place across = placeOf(i / plane.bytes, region.width, plane.width);
                all.push_back(static_cast<uint8_t>(valueAt(region, across, down, i % plane.bytes)));
            }
        }
    }
    return all;
}

struct Sizes {
    int fromWidth, fromHeight, toWidth, toHeight;
};

constexpr Sizes kEvenSizes[] = {{2, 2, 2, 2},    {2, 2, 38, 6},    {38, 6, 2, 2},  {64, 8, 64, 8},
                                {64, 6, 96, 10}, {96, 10, 64, 6},  {70, 8, 34, 6}, {34, 4, 130, 14},
                                {90, 12, 16, 4}, {200, 10, 48, 2}, {16, 4, 32, 8}, {32, 36, 70, 26}};
constexpr Sizes kOtherSizes[] = {{1, 1, 1, 1},   {1, 1, 33, 7},  {33, 7, 1, 1},   {3, 2, 4, 5},
                                 {17, 3, 16, 7}, {65, 9, 97, 4}, {131, 5, 48, 3}, {5, 64, 80, 33}};

class ScalerTest : public testing::Test {
  protected:
    int32_t scale(TestImage& from, TestImage& to) { return mScaler.Process(4, &from.image(), &to.image()); }

    void expectByTheRules(uint32_t format, const Sizes& sizes, Guard guard) {
        TestImage from(format, sizes.fromWidth, sizes.fromHeight, 3, guard),
            to(format, sizes.toWidth, sizes.toHeight, 5, guard);
        from.fillRandom(mRandom);
        to.fill(0xAA);
        for (const auto& set : qorvp::featureSets()) {
            CScaler scaler(set.features);
            ASSERT_EQ(scaler.Process(4, &from.image(), &to.image()), kOk);
            ASSERT_EQ(to.samples(), expectedOf(from, to)) << set.name << ' ' << format << ' ' << sizes.fromWidth << 'x'
                                                          << sizes.fromHeight << " to " << sizes.toWidth;
        }
        const Plane first = to.planes().plane[0];
        for (int i = 0; first.height > 1 && i < 5; ++i)
            EXPECT_EQ(to.image().planes[0][first.width * first.bytes + i], 0xAA) << "between the rows";
    }

    std::mt19937 mRandom{1};
    CScaler mScaler;
};

}  // namespace

TEST_F(ScalerTest, EveryByteFollowsTheRules) {
    for (const uint32_t format : kScaled) {
        for (const Guard guard : {Guard::kBehind, Guard::kBefore}) {
            for (const Sizes& sizes : kEvenSizes) expectByTheRules(format, sizes, guard);
            if (isEvenOnly(format)) continue;
            for (const Sizes& sizes : kOtherSizes) expectByTheRules(format, sizes, guard);
        }
    }
}

TEST_F(ScalerTest, RowsMayLieBottomUp) {
    for (const uint32_t format : kScaled) {
        expectByTheRules(format | qorvp::kBottomUp, {64, 6, 96, 10}, Guard::kBehind);
        expectByTheRules(format | qorvp::kBottomUp, {70, 12, 34, 6}, Guard::kBefore);
    }
}

TEST_F(ScalerTest, OnlyTheRegionIsScaled) {
    for (const uint32_t format : kScaled) {
        for (const uint32_t order : {0u, qorvp::kBottomUp}) {
            TestImage from(format | order, 80, 20, 3), to(format | order, 50, 14, 1);
            from.fillRandom(mRandom);
            from.image().cropX = 12;
            from.image().cropY = 6;
            to.image().cropX = 4;
            ASSERT_EQ(scale(from, to), kOk) << format;
            EXPECT_EQ(to.samples(), expectedOf(from, to)) << format;
        }
    }
    TestImage from(qorvp::kFormatGrey, 3, 2), to(qorvp::kFormatGrey, 2, 1);
    for (uint8_t i = 0; i < 6; ++i) from.image().planes[0][i] = i;
    from.image().cropX = from.image().cropY = 1;
    ASSERT_EQ(scale(from, to), kOk);
    EXPECT_EQ(to.samples(), (std::vector<uint8_t>{4, 5}));
}

TEST_F(ScalerTest, SameSizeIsACopy) {
    for (const uint32_t format : kScaled) {
        TestImage from(format, 70, 12, 3), to(format, 70, 12);
        from.fillRandom(mRandom);
        ASSERT_EQ(scale(from, to), kOk);
        EXPECT_EQ(to.samples(), from.samples()) << format;
    }
}

TEST_F(ScalerTest, OneColourStaysAtAnySize) {
    for (const uint8_t value : {uint8_t{0}, uint8_t{77}, uint8_t{255}}) {
        for (int size = 1; size < 70; ++size) {
            TestImage one(qorvp::kFormatBgr, 1, 1), many(qorvp::kFormatBgr, size, size), back(qorvp::kFormatBgr, 1, 1);
            one.fill(value);
            ASSERT_EQ(scale(one, many), kOk);
            ASSERT_EQ(scale(many, back), kOk);
            const std::vector<uint8_t> all = many.samples();
            EXPECT_EQ(std::count(all.begin(), all.end(), value), size * size * 3) << size;
            EXPECT_EQ(back.samples(), one.samples()) << size;
        }
    }
}

// Between rows f is 64 and 192: 100 * 64 / 256 is 25, and 100 * 192 / 256 is 75, with nothing added to round.
TEST_F(ScalerTest, TwiceTheHeightFollowsTheFormula) {
    TestImage from(qorvp::kFormatGrey, 1, 3), to(qorvp::kFormatGrey, 1, 6);
    const uint8_t column[] = {0, 100, 3};
    std::copy(std::begin(column), std::end(column), from.image().planes[0]);
    ASSERT_EQ(scale(from, to), kOk);
    EXPECT_EQ(to.samples(), (std::vector<uint8_t>{0, 25, 75, 75, 27, 3}));
}

TEST_F(ScalerTest, LongestSidesAreScaled) {
    const std::pair<int, int> lengths[] = {{40960, 1},   {40960, 3}, {40960, 40960},
                                           {40960, 640}, {1, 40960}, {7, 40960}};
    for (const auto& [source, destination] : lengths) {
        TestImage wide(qorvp::kFormatBgra, source, 1), row(qorvp::kFormatBgra, destination, 1);
        TestImage high(qorvp::kFormatBgra, 1, source), column(qorvp::kFormatBgra, 1, destination);
        wide.fillRandom(mRandom);
        high.fillRandom(mRandom);
        ASSERT_EQ(scale(wide, row), kOk);
        EXPECT_EQ(row.samples(), expectedOf(wide, row)) << source << ' ' << destination;
        ASSERT_EQ(scale(high, column), kOk);
        EXPECT_EQ(column.samples(), expectedOf(high, column)) << source << ' ' << destination;
    }
}

TEST_F(ScalerTest, WorkMemoryIsForTheNextImageToo) {
    TestImage from(qorvp::kFormatI420, 64, 8), small(qorvp::kFormatI420, 32, 4), large(qorvp::kFormatI420, 160, 20);
    for (TestImage* const to : {&small, &large, &small, &large}) {
        from.fillRandom(mRandom);
        ASSERT_EQ(scale(from, *to), kOk);
        EXPECT_EQ(to->samples(), expectedOf(from, *to));
        if (to == &small) continue;
        EXPECT_EQ(mScaler.Uninit(4), kOk);
    }
}

TEST_F(ScalerTest, OtherFormatsAreUnsupported) {
    TestImage from(qorvp::kFormatRgb565, 4, 4), to(qorvp::kFormatRgb565, 8, 8);
    for (const uint32_t format : {1u, 1u | qorvp::kBottomUp, 0u, 9u, 3u, 25u}) {
        from.image().format = to.image().format = format;
        EXPECT_EQ(scale(from, to), kErrorUnsupported) << format;
    }
}

TEST_F(ScalerTest, ImagesThatDoNotGoAreRefused) {
    TestImage from(qorvp::kFormatBgra, 8, 4), to(qorvp::kFormatBgra, 6, 3);
    EXPECT_EQ(mScaler.Process(4, nullptr, &to.image()), kErrorArgument);
    EXPECT_EQ(mScaler.Process(4, &from.image(), nullptr), kErrorArgument);
    const auto resultWith = [&](int32_t VpImage::*field, int32_t value, bool inSource) {
        VpImage source = from.image(), destination = to.image();
        VpImage& changed = inSource ? source : destination;
        changed.*field = value;
        return mScaler.Process(4, &source, &destination);
    };
    for (const bool inSource : {true, false}) {
        for (const int32_t size : {0, -1, 40961, 0x7FFFFFFF}) {
            EXPECT_EQ(resultWith(&VpImage::width, size, inSource), kErrorArgument) << size;
            EXPECT_EQ(resultWith(&VpImage::height, size, inSource), kErrorArgument) << size;
        }
        EXPECT_EQ(resultWith(&VpImage::stride0, 23, inSource), kErrorArgument);
        EXPECT_EQ(resultWith(&VpImage::stride0, -32, inSource), kErrorArgument);
    }
    for (const int32_t crop : {-1, -2, std::numeric_limits<int32_t>::min(), 8, 0x7FFFFFFF}) {
        EXPECT_EQ(resultWith(&VpImage::cropX, crop, true), kErrorArgument) << crop;
        EXPECT_EQ(resultWith(&VpImage::cropY, crop, true), kErrorArgument) << crop;
    }
    EXPECT_EQ(resultWith(&VpImage::cropY, 4, true), kErrorArgument);
    VpImage other = to.image();
    other.format = qorvp::kFormatRgba;
    EXPECT_EQ(mScaler.Process(4, &from.image(), &other), kErrorArgument);
    other.format = qorvp::kFormatBgra | qorvp::kBottomUp;
    EXPECT_EQ(mScaler.Process(4, &from.image(), &other), kErrorArgument);
    VpImage part = from.image();
    part.width = 4;
    EXPECT_EQ(mScaler.Process(4, &from.image(), &part), kErrorArgument);
    from.image().planes[0] = nullptr;
    EXPECT_EQ(scale(from, to), kErrorArgument);
}

TEST_F(ScalerTest, CropBelowZeroThatTheFrontObjectPassesIsRefused) {
    const auto vp = qorvp::createFrameWork();
    TestImage from(qorvp::kFormatI420, 8, 8), to(qorvp::kFormatI420, 6, 6);
    ASSERT_EQ(vp->Process(qorvp::kScaler, &from.image(), &to.image()), kOk);
    for (int32_t VpImage::*const field : {&VpImage::cropX, &VpImage::cropY}) {
        VpImage outside = from.image();
        outside.*field = -2;
        EXPECT_EQ(vp->Process(qorvp::kScaler, &outside, &to.image()), kErrorArgument);
    }
}

TEST_F(ScalerTest, HalvedChromaWantsEvenSizes) {
    for (const uint32_t format : kEven) {
        TestImage from(format, 8, 8), to(format, 6, 6);
        ASSERT_EQ(scale(from, to), kOk);
        for (int32_t VpImage::*const field : {&VpImage::width, &VpImage::height, &VpImage::cropX, &VpImage::cropY}) {
            VpImage odd = from.image();
            odd.*field ^= 1;
            if (odd.*field > 8) odd.*field -= 2;
            EXPECT_EQ(mScaler.Process(4, &odd, &to.image()), kErrorArgument) << format;
        }
        for (int32_t VpImage::*const field : {&VpImage::width, &VpImage::height}) {
            VpImage odd = to.image();
            odd.*field = 5;
            EXPECT_EQ(mScaler.Process(4, &from.image(), &odd), kErrorArgument) << format;
        }
        to.image().planes[1] = nullptr;
        EXPECT_EQ(scale(from, to), kErrorArgument);
    }
}

TEST_F(ScalerTest, ThereIsNoParameter) {
    int32_t value = 7;
    EXPECT_EQ(mScaler.SetParam(4, &value), kErrorUnsupported);
    EXPECT_EQ(mScaler.GetParam(4, &value), kErrorUnsupported);
    EXPECT_EQ(value, 7);
    EXPECT_EQ(mScaler.SetParam(4, nullptr), kErrorArgument);
    EXPECT_EQ(mScaler.GetParam(4, nullptr), kErrorArgument);
}
