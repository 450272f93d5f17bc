#include "vp/src/SteppedRows.h"

#include <gmock/gmock.h>

#include <algorithm>

#include "qorvp/Parameters.h"
#include "vp/src/Features.h"
#include "vp/src/TestImage.h"

namespace {

using qorvp::plainSteppedForms;
using qorvp::Plane;
using qorvp::SteppedColumns;
using qorvp::SteppedForms;
using qorvp::steppedKernels;
using qorvp::SteppedPosition;
using qorvp::SteppedPositions;
using qorvp::test::Guard;
using testing::ElementsAre;

constexpr int kLargest = 40960;

uint8_t mixed(int a, int b, int weight) {
    return static_cast<uint8_t>((a * (0x7FFF - weight) + b * weight + 0x4000) >> 15);
}

// A row of the source and one of the destination, in memory that ends or begins with them.
class Rows {
  public:
    Rows(int from, int to, int bytes, Guard guard)
        : mFrom(static_cast<size_t>(from * bytes), guard), mTo(static_cast<size_t>(to * bytes), guard) {
        std::mt19937 random(static_cast<unsigned>(from));
        std::generate(mFrom.begin(), mFrom.end(), [&random] { return static_cast<uint8_t>(random()); });
        mPlanes[0] = {mFrom.data(), 0, from, 1, bytes};
        mPlanes[1] = {mTo.data(), 0, to, 1, bytes};
    }

    const Plane& from() const { return mPlanes[0]; }
    const Plane& to() const { return mPlanes[1]; }
    std::vector<uint8_t> made(qorvp::SteppedRow row, const SteppedColumns& columns) {
        std::fill(mTo.begin(), mTo.end(), uint8_t{77});
        row(mFrom.data(), columns, mTo.data());
        return {mTo.begin(), mTo.end()};
    }

  private:
    platform::GuardedMemory mFrom, mTo;
    Plane mPlanes[2];
};

// Calls `check(from, to)` with widths that reach whole vectors, their tails, steps below and above one, and windows
// that do not fit.
template <class Check>
void forManyWidths(Check check) {
    for (int width = 1; width <= 130; ++width) {
        for (const int to : {width, width * 3 / 4, width * 3 / 2, width * 2, width / 2, width * 2 / 5, width / 4,
                             width / 7, 1, 64, 129})
            if (to > 0) check(width, to);
    }
}

}  // namespace

TEST(SteppedPositionsTest, StepIsTheRatioTruncated) {
    for (const auto& [from, to, step] : {std::tuple{1280, 1280, 32768},
                                         {1280, 640, 65536},
                                         {640, 1280, 16384},
                                         {1280, 960, 43690},
                                         {1280, 1920, 21845},
                                         {3, 2, 49152},
                                         {7, 1, 229376},
                                         {1, kLargest, 0},
                                         {kLargest, 1, 1342177280}})
        EXPECT_EQ(SteppedPositions(from, to, 15).step(), step) << from << " to " << to;
    EXPECT_EQ(SteppedPositions(1280, 960, 16).step(), 87381);
    EXPECT_EQ(SteppedPositions(kLargest, 1, 16).step(), int64_t{kLargest} << 16);
}

TEST(SteppedPositionsTest, PlacesAreCentred) {
    const SteppedPositions half(8, 4, 15), twice(2, 4, 15), same(3, 3, 15);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(half.weighted(i).index, 2 * i);
        EXPECT_EQ(half.weighted(i).weight, 0x4000);
    }
    const int index[] = {0, 0, 0, 1}, weight[] = {0, 0x2000, 0x6000, 0};
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(twice.weighted(i).index, index[i]) << i;
        EXPECT_EQ(twice.weighted(i).weight, weight[i]) << i;
        EXPECT_EQ(twice.nearest(i), i / 2) << i;
    }
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(same.weighted(i).index, i);
        EXPECT_EQ(same.weighted(i).weight, 0);
        EXPECT_EQ(same.nearest(i), i);
    }
}

TEST(SteppedPositionsTest, PlacesStayAmongTheSamples) {
    constexpr int kSizes[] = {1, 2, 3, 17, 1280, 40959, kLargest};
    for (const int from : kSizes) {
        for (const int to : kSizes) {
            for (const int bits : {15, 16}) {
                const SteppedPositions positions(from, to, bits);
                int last = 0;
                for (int i = 0; i < to; ++i) {
                    const int nearest = positions.nearest(i);
                    ASSERT_TRUE(nearest >= last && nearest < from) << from << " to " << to << ": " << i;
                    last = nearest;
                    if (bits == 16) continue;
                    const SteppedPosition weighted = positions.weighted(i);
                    ASSERT_TRUE(weighted.index >= 0 && weighted.index < from) << from << " to " << to << ": " << i;
                    ASSERT_TRUE(weighted.index < from - 1 || weighted.weight == 0) << from << " to " << to << ": " << i;
                }
                EXPECT_GE(last, from - 2 - (from / to + 1) / 2 - to / 32768) << from << " to " << to;
            }
        }
    }
}

TEST(SteppedColumnsTest, LastSampleIsTheSecondOfItsPair) {
    const Plane from = {nullptr, 0, 2, 1, 2}, to = {nullptr, 0, 4, 1, 2};
    const SteppedColumns columns = SteppedColumns::weighted(from, to, 15);
    EXPECT_THAT(columns.at, ElementsAre(0, 1, 0, 1, 0, 1, 0, 1));
    EXPECT_THAT(columns.weight, ElementsAre(0, 0, 0x2000, 0x2000, 0x6000, 0x6000, 0x7FFF, 0x7FFF));
    EXPECT_EQ(columns.next, 2);
}

TEST(SteppedColumnsTest, SingleSampleHasNoneBehindIt) {
    const Plane from = {nullptr, 0, 1, 1, 1}, to = {nullptr, 0, 3, 1, 1};
    const SteppedColumns columns = SteppedColumns::weighted(from, to, 15);
    EXPECT_THAT(columns.at, ElementsAre(0, 0, 0));
    EXPECT_EQ(columns.next, 0);
}

TEST(SteppedColumnsTest, WindowsLieInTheRow) {
    size_t found = 0;
    forManyWidths([&](int width, int to) {
        for (const int bytes : {1, 2}) {
            const Plane source = {nullptr, 0, width, 1, bytes}, destination = {nullptr, 0, to, 1, bytes};
            const SteppedColumns columns = SteppedColumns::weighted(source, destination, 15);
            for (const int32_t window : columns.window)
                ASSERT_TRUE(window >= 0 && window + columns.windowBytes <= width * bytes) << width << " to " << to;
            found += columns.window.size();
        }
    });
    EXPECT_GT(found, 0u);
}

TEST(SteppedColumnsTest, WindowsReachAFourfoldStep) {
    for (const int bytes : {1, 2}) {
        const Plane from = {nullptr, 0, 1280, 1, bytes};
        for (const auto& [width, window] :
             {std::pair{1920, 16}, {1280, 16}, {960, 16}, {640, 16}, {480, 32}, {320, 32}}) {
            const Plane to = {nullptr, 0, width, 1, bytes};
            const auto groups = static_cast<size_t>(width * bytes / 8);
            const SteppedColumns weighted = SteppedColumns::weighted(from, to, 15);
            EXPECT_EQ(weighted.window.size(), groups) << width;
            EXPECT_EQ(weighted.windowBytes, window) << width;
            EXPECT_EQ(SteppedColumns::nearest(from, to, 16).window.size(), groups) << width;
        }
        const Plane narrow = {nullptr, 0, 160, 1, bytes};
        EXPECT_TRUE(SteppedColumns::weighted(from, narrow, 15).window.empty());
    }
}

TEST(SteppedFactorsTest, PartsMakeTheWeights) {
    for (int weight = 0; weight <= 0x7FFF; ++weight) {
        const qorvp::SteppedFactors factors = qorvp::steppedFactors(weight);
        ASSERT_EQ(factors.low[0] - 256 * factors.negativeHigh[0], 0x7FFF - weight);
        ASSERT_EQ(factors.low[1] - 256 * factors.negativeHigh[1], weight);
    }
}

TEST(SteppedRowsTest, PairsAreMixedByTheFormula) {
    std::vector<uint8_t> above(256 * 256), below(above.size()), made(above.size()), expected(above.size());
    for (size_t i = 0; i < above.size(); ++i) {
        above[i] = static_cast<uint8_t>(i / 256);
        below[i] = static_cast<uint8_t>(i);
    }
    const auto sets = qorvp::featureSets();
    for (int weight = 0; weight <= 0x7FFF; weight += 0x7FFF / 217) {
        std::transform(above.begin(), above.end(), below.begin(), expected.begin(),
                       [weight](uint8_t a, uint8_t b) { return mixed(a, b, weight); });
        for (const auto& set : sets) {
            qorvp::vectorSteppedForms(set.features).mix(above.data(), below.data(), weight, above.size(), made.data());
            ASSERT_EQ(made, expected) << set.name << ' ' << weight;
        }
    }
}

TEST(SteppedRowsTest, FlatPairsStayFlat) {
    for (int weight = 0; weight <= 0x7FFF; ++weight) {
        for (const int value : {0, 1, 16, 127, 128, 235, 254, 255}) {
            const auto byte = static_cast<uint8_t>(value);
            uint8_t made = 77;
            plainSteppedForms().mix(&byte, &byte, weight, 1, &made);
            ASSERT_EQ(made, value) << weight;
        }
    }
}

TEST(SteppedRowsTest, PlainRowsFollowTheFormula) {
    forManyWidths([](int width, int to) {
        for (const int bytes : {1, 2}) {
            Rows rows(width, to, bytes, Guard::kBehind);
            const std::vector<uint8_t> weighted =
                rows.made(plainSteppedForms().weightedRow, SteppedColumns::weighted(rows.from(), rows.to(), 15));
            const std::vector<uint8_t> nearest =
                rows.made(plainSteppedForms().nearestRow, SteppedColumns::nearest(rows.from(), rows.to(), 16));
            const SteppedPositions pairs(width, to, 15), single(width, to, 16);
            for (int i = 0; i < to * bytes; ++i) {
                const uint8_t* const channel = rows.from().data + i % bytes;
                const SteppedPosition position = pairs.weighted(i / bytes);
                const int behind = std::min(position.index + 1, width - 1);
                const auto at = static_cast<size_t>(i);
                ASSERT_EQ(weighted[at],
                          mixed(channel[position.index * bytes], channel[behind * bytes], position.weight))
                    << width << " to " << to << ": " << i;
                ASSERT_EQ(nearest[at], channel[single.nearest(i / bytes) * bytes])
                    << width << " to " << to << ": " << i;
            }
        }
    });
}

TEST(SteppedRowsTest, EveryFormGivesThePlainBytes) {
    const SteppedForms plain = plainSteppedForms();
    for (const auto& set : qorvp::featureSets()) {
        const SteppedForms forms = qorvp::vectorSteppedForms(set.features);
        forManyWidths([&](int width, int to) {
            for (const Guard guard : {Guard::kBehind, Guard::kBefore}) {
                for (const int bytes : {1, 2}) {
                    Rows rows(width, to, bytes, guard);
                    const SteppedColumns weighted = SteppedColumns::weighted(rows.from(), rows.to(), 15);
                    const SteppedColumns nearest = SteppedColumns::nearest(rows.from(), rows.to(), 16);
                    ASSERT_EQ(rows.made(forms.weightedRow, weighted), rows.made(plain.weightedRow, weighted))
                        << set.name << ' ' << width << " to " << to;
                    ASSERT_EQ(rows.made(forms.nearestRow, nearest), rows.made(plain.nearestRow, nearest))
                        << set.name << ' ' << width << " to " << to;
                }
            }
        });
    }
}

TEST(SteppedRowsTest, EveryMixKeepsToItsRows) {
    std::mt19937 random(1);
    for (const auto& set : qorvp::featureSets()) {
        const qorvp::SteppedMix mix = qorvp::vectorSteppedForms(set.features).mix;
        for (const Guard guard : {Guard::kBehind, Guard::kBefore}) {
            for (size_t bytes = 1; bytes <= 130; ++bytes) {
                platform::GuardedMemory above(bytes, guard), below(bytes, guard), to(bytes, guard);
                for (auto* row : {&above, &below})
                    std::generate(row->begin(), row->end(), [&random] { return static_cast<uint8_t>(random()); });
                const int weight = static_cast<int>(random() & 0x7FFF);
                mix(above.data(), below.data(), weight, bytes, to.data());
                for (size_t i = 0; i < bytes; ++i)
                    ASSERT_EQ(to.data()[i], mixed(above.data()[i], below.data()[i], weight))
                        << set.name << ' ' << bytes;
            }
        }
    }
}

TEST(SteppedKernelsTest, ModesHaveKernelsOfTheirOwn) {
    const auto weighted = steppedKernels(qorvp::kScaleWeighted, 0), nearest = steppedKernels(qorvp::kScaleNearest, 0);
    ASSERT_TRUE(weighted && nearest);
    EXPECT_EQ(weighted->columnBits, 15);
    EXPECT_EQ(weighted->row, plainSteppedForms().weightedRow);
    EXPECT_EQ(weighted->mix, plainSteppedForms().mix);
    EXPECT_EQ(nearest->columnBits, 16);
    EXPECT_EQ(nearest->row, plainSteppedForms().nearestRow);
    EXPECT_EQ(nearest->mix, nullptr);
    for (const int mode : {2, 3, 255}) EXPECT_FALSE(steppedKernels(static_cast<uint8_t>(mode), 0)) << mode;
}

TEST(SteppedKernelsTest, EachBitReplacesItsKernels) {
    const SteppedForms plain = plainSteppedForms();
    for (const auto& set : qorvp::featureSets()) {
        const auto weighted = steppedKernels(qorvp::kScaleWeighted, set.features);
        const auto nearest = steppedKernels(qorvp::kScaleNearest, set.features);
        ASSERT_TRUE(weighted && nearest);
        EXPECT_EQ(weighted->mix != plain.mix, (set.features & qorvp::kSsse3) != 0) << set.name;
        EXPECT_EQ(weighted->row != plain.weightedRow, (set.features & qorvp::kSse4) != 0) << set.name;
        EXPECT_EQ(nearest->row != plain.nearestRow, (set.features & qorvp::kSse4) != 0) << set.name;
    }
}
