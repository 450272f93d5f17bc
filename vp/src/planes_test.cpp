#include "vp/src/Planes.h"

#include <gtest/gtest.h>

#include "vp/src/TestImage.h"

namespace {

using qorvp::kBottomUp;
using qorvp::overlapBadly;
using qorvp::Planes;
using qorvp::planesOf;
using qorvp::VpImage;
using qorvp::test::kAllFormats;
using qorvp::test::TestImage;

// One plane over that place of a memory.
Planes grey(uint8_t* place, int width, int height, int stride) {
    VpImage image = {{place}, 0, stride, 0, 0, 0, 0, width, height, qorvp::kFormatGrey};
    return *planesOf(image);
}

}  // namespace

TEST(PlanesTest, HalfSizesAreRoundedDown) {
    TestImage image(qorvp::kFormatI420, 5, 3);
    const Planes planes = image.planes();
    ASSERT_EQ(planes.count, 3);
    EXPECT_EQ(planes.plane[0].width, 5);
    EXPECT_EQ(planes.plane[2].width, 2);
    EXPECT_EQ(planes.plane[2].height, 1);
}

TEST(PlanesTest, EachFormatHasItsSamples) {
    const std::pair<uint32_t, int> bytes[] = {{1, 2}, {2, 4},  {5, 3},  {6, 4}, {7, 4},
                                              {8, 4}, {23, 1}, {26, 1}, {31, 1}};
    for (const auto& [format, count] : bytes)
        EXPECT_EQ(TestImage(format, 4, 4).planes().plane[0].bytes, count) << format;
    EXPECT_EQ(TestImage(qorvp::kFormatNv12, 4, 4).planes().plane[1].bytes, 2);
}

TEST(PlanesTest, BottomUpRowsBeginWithTheLast) {
    TestImage image(qorvp::kFormatBgra, 2, 3, 5);
    image.image().format |= kBottomUp;
    const Planes planes = image.planes();
    EXPECT_EQ(planes.plane[0].row(0), image.image().planes[0] + 2 * 13);
    EXPECT_EQ(planes.plane[0].row(2), image.image().planes[0]);
}

TEST(PlanesTest, MissingPlaneShortStrideOrUnknownFormatIsNoImage) {
    for (const uint32_t format : kAllFormats) {
        TestImage image(format, 6, 4);
        for (int plane = 0; plane < image.planes().count; ++plane) {
            VpImage without = image.image();
            without.planes[plane] = nullptr;
            EXPECT_FALSE(planesOf(without)) << format;
        }
        VpImage narrow = image.image();
        --narrow.stride0;
        EXPECT_FALSE(planesOf(narrow)) << format;
        if (image.planes().count > 1) {
            narrow = image.image();
            --narrow.stride1;
            EXPECT_FALSE(planesOf(narrow)) << format;
        }
    }
    TestImage image(qorvp::kFormatGrey, 6, 4);
    for (const uint32_t format : {0u, 3u, 9u, 25u, 32u, 0x7FFFFFFFu}) {
        image.image().format = format;
        EXPECT_FALSE(planesOf(image.image())) << format;
    }
    image.image().format = qorvp::kFormatGrey;
    image.image().height = 0;
    EXPECT_FALSE(planesOf(image.image()));
}

TEST(PlanesTest, PlanesThatShareBytesOverlapUnlessTheyAreOne) {
    uint8_t memory[100] = {};
    const Planes first = grey(memory, 5, 4, 10);
    EXPECT_FALSE(overlapBadly(first, first));
    EXPECT_TRUE(overlapBadly(first, grey(memory + 1, 5, 4, 10)));
    EXPECT_TRUE(overlapBadly(first, grey(memory + 10, 5, 4, 10)));
    EXPECT_TRUE(overlapBadly(first, grey(memory, 5, 4, 5)));
    EXPECT_FALSE(overlapBadly(first, grey(memory + 40, 5, 4, 10)));
    EXPECT_FALSE(overlapBadly(first, grey(memory + 35, 5, 4, 10)));
}

TEST(PlanesTest, PlanesSideBySideInTheSameRowsDoNotOverlap) {
    uint8_t memory[100] = {};
    const Planes left = grey(memory, 5, 4, 10);
    EXPECT_FALSE(overlapBadly(left, grey(memory + 5, 5, 4, 10)));
    EXPECT_FALSE(overlapBadly(left, grey(memory + 15, 5, 4, 10)));
    EXPECT_TRUE(overlapBadly(left, grey(memory + 6, 5, 4, 10)));
    EXPECT_FALSE(overlapBadly(grey(memory + 15, 5, 4, 10), left));
}

TEST(PlanesTest, RowsWithoutGapsInAllPlanesAreOneRow) {
    uint8_t memory[64];
    qorvp::Plane a = grey(memory, 4, 3, 4).plane[0], b = grey(memory + 32, 4, 3, 4).plane[0];
    qorvp::joinRows({&a, &b});
    EXPECT_EQ(a.width, 12);
    EXPECT_EQ(a.height, 1);
    EXPECT_EQ(b.width, 12);
    EXPECT_EQ(b.height, 1);
}

TEST(PlanesTest, RowsWithAGapStayApart) {
    uint8_t memory[64];
    qorvp::Plane a = grey(memory, 4, 3, 4).plane[0], b = grey(memory + 32, 4, 3, 5).plane[0];
    qorvp::joinRows({&a, &b});
    EXPECT_EQ(a.width, 4);
    EXPECT_EQ(a.height, 3);
    EXPECT_EQ(b.height, 3);
    qorvp::Plane upward = a;
    upward.stride = -4;
    qorvp::joinRows({&a, &upward});
    EXPECT_EQ(a.height, 3);
}
