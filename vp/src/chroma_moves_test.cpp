#include "vp/src/ChromaMoves.h"

#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;

}  // namespace

TEST(ChromaMovesTest, PlanesBecomePairsAndBack) {
    const uint8_t first[] = {1, 2, 3}, second[] = {11, 12, 13};
    uint8_t pairs[7] = {};
    qorvp::interleaveRow(first, second, pairs, 3);
    EXPECT_THAT(pairs, ElementsAre(1, 11, 2, 12, 3, 13, 0));
    uint8_t a[4] = {}, b[4] = {};
    qorvp::separateRow(pairs, a, b, 3);
    EXPECT_THAT(a, ElementsAre(1, 2, 3, 0));
    EXPECT_THAT(b, ElementsAre(11, 12, 13, 0));
}

TEST(ChromaMovesTest, PairsAreExchanged) {
    const uint8_t from[] = {1, 2, 3, 4};
    uint8_t to[5] = {};
    qorvp::exchangeRow(from, to, 2);
    EXPECT_THAT(to, ElementsAre(2, 1, 4, 3, 0));
}
