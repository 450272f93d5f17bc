#include "vp/src/Turn.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "vp/src/TestImage.h"

namespace {

using qorvp::Plane;
using qorvp::test::Guard;
using qorvp::test::TestImage;

constexpr std::pair<int, int> kSizes[] = {{1, 1}, {1, 7}, {7, 1}, {2, 3}, {16, 16}, {17, 33}, {130, 65}};

bool isSample(const Plane& from, int x, int y, const Plane& to, int toX, int toY) {
    return std::equal(from.row(y) + x * from.bytes, from.row(y) + (x + 1) * from.bytes, to.row(toY) + toX * to.bytes);
}

}  // namespace

TEST(TurnTest, SamplesGoToTheirPlaces) {
    std::mt19937 random(1);
    for (const uint32_t format : {qorvp::kFormatGrey, qorvp::kFormatRgb565, qorvp::kFormatBgr, qorvp::kFormatBgra}) {
        for (const auto& [width, height] : kSizes) {
            for (const Guard guard : {Guard::kBehind, Guard::kBefore}) {
                TestImage image(format, width, height, 3, guard);
                image.fillRandom(random);
                TestImage across(format, height, width, 1, guard), along(format, width, height, 2, guard),
                    back(format, height, width, 5, guard);
                const Plane from = image.planes().plane[0];
                const Plane right = across.planes().plane[0], round = along.planes().plane[0],
                            left = back.planes().plane[0];
                qorvp::turn90(from, right);
                qorvp::turn180(from, round);
                qorvp::turn270(from, left);
                for (int y = 0; y < height; ++y) {
                    for (int x = 0; x < width; ++x) {
                        ASSERT_TRUE(isSample(from, x, y, right, height - 1 - y, x)) << format << x << ' ' << y;
                        ASSERT_TRUE(isSample(from, x, y, round, width - 1 - x, height - 1 - y)) << format;
                        ASSERT_TRUE(isSample(from, x, y, left, y, width - 1 - x)) << format;
                    }
                }
            }
        }
    }
}

TEST(TurnTest, MirroredRowIsInTheOppositeOrder) {
    uint8_t row[] = {1, 2, 3, 4, 5, 6, 7};
    qorvp::mirrorRow(row, 3, 2);
    EXPECT_TRUE(std::equal(row, row + 7, std::initializer_list<uint8_t>{5, 6, 3, 4, 1, 2, 7}.begin()));
    qorvp::mirrorRow(row, 7, 1);
    EXPECT_TRUE(std::equal(row, row + 7, std::initializer_list<uint8_t>{7, 2, 1, 4, 3, 6, 5}.begin()));
}
