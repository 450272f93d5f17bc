#include "vp/src/BilinearRow.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <random>
#include <vector>

#include "vp/src/Features.h"
#include "vp/src/TestImage.h"

namespace {

using platform::GuardedMemory;
using qorvp::BilinearGroups;
using qorvp::BilinearKernels;
using qorvp::ScaleAxis;
using qorvp::test::Guard;
using testing::ElementsAre;

using Bytes = std::vector<uint8_t>;

size_t bytesOf(int samples, int channels) {
    return static_cast<size_t>(samples) * static_cast<size_t>(channels);
}

Bytes scaled(const ScaleAxis& axis, int channels, const Bytes& from) {
    Bytes to(bytesOf(axis.destination(), channels));
    qorvp::bilinearRow(axis, channels, from.data(), to.data(), 0, axis.destination());
    return to;
}

void fillRandom(GuardedMemory& memory, std::mt19937& random) {
    std::generate(memory.begin(), memory.end(), [&random] { return static_cast<uint8_t>(random()); });
}

Bytes plainGroups(const ScaleAxis& axis, int channels, const uint8_t* from, const BilinearGroups& groups) {
    Bytes row(groups.bytes);
    qorvp::bilinearRow(axis, channels, from, row.data(), 0, groups.samples);
    return row;
}

bool beginsWith(const GuardedMemory& row, const Bytes& expected) {
    return std::equal(expected.begin(), expected.end(), row.begin());
}

struct Groups {
    ScaleAxis axis;
    int channels;
    BilinearGroups groups;
};

// Calls `check` with groups of all kinds of sizes.
template <class Check>
void forManySizes(Check check) {
    Groups made = {ScaleAxis(1, 1), 0, {}};
    for (made.channels = 1; made.channels <= 4; ++made.channels) {
        for (int source = 1; source <= 130; source += 1 + source / 16) {
            for (int destination = 1; destination <= 270; destination += 1 + destination / 7) {
                made.axis = ScaleAxis(source, destination);
                qorvp::makeGroups(made.axis, made.channels, made.groups);
                check(made);
            }
        }
    }
}

}  // namespace

TEST(ScaleAxisTest, PositionsLieCentreOnCentre) {
    const ScaleAxis twice(4, 8);
    EXPECT_EQ(twice.step(), 0x8000u);
    std::vector<uint32_t> positions;
    for (int i = 0; i < 8; ++i) positions.push_back(twice.position(i));
    EXPECT_THAT(positions, ElementsAre(0, 0x4000, 0xC000, 0x14000, 0x1C000, 0x24000, 0x2C000, 0x30000));
    EXPECT_EQ(twice.innerBegin(), 1);
    EXPECT_EQ(twice.innerEnd(), 7);
    EXPECT_EQ(ScaleAxis(4, 2).position(0), 0x8000u);
    EXPECT_EQ(ScaleAxis(4, 2).position(1), 0x28000u);
    EXPECT_EQ(ScaleAxis(5, 1).position(0), 0x20000u);
}

TEST(ScaleAxisTest, LargestSizesDoNotOverflow) {
    const ScaleAxis same(40960, 40960), down(40960, 1), up(1, 40960), most(40959, 40960);
    EXPECT_EQ(same.position(40959), 40959u << 16);
    EXPECT_EQ(same.innerEnd(), 40959);
    EXPECT_EQ(down.position(0), (20480u << 16) - 0x8000);
    EXPECT_EQ(up.position(0), 0u);
    EXPECT_EQ(up.position(40959), 0u);
    EXPECT_EQ(up.innerBegin(), up.innerEnd());
    EXPECT_EQ(most.position(40959), 65534 / 2 - 0x8000 + 40959ll * 65534);
}

TEST(ScaleAxisTest, InnerSamplesLieBetweenTwo) {
    for (int source = 1; source < 40; ++source) {
        for (int destination = 1; destination < 90; ++destination) {
            const ScaleAxis axis(source, destination);
            for (int i = 0; i < destination; ++i) {
                const int64_t free = int64_t{axis.step()} / 2 - 0x8000 + int64_t{axis.step()} * i;
                const bool inner = free >= 0 && free < (source - 1) * 0x10000;
                ASSERT_EQ(inner, i >= axis.innerBegin() && i < axis.innerEnd()) << source << ' ' << destination;
                if (!inner) continue;
                ASSERT_EQ(axis.position(i), free);
            }
        }
    }
}

// 100 * 32 + 64 is 3264, and that is 25 times 128 and a rest; -150 * 32 + 64 is -4736, and that is -37 times 128.
TEST(BilinearRowTest, TwiceTheWidthFollowsTheFormula) {
    EXPECT_THAT(scaled(ScaleAxis(4, 8), 1, {0, 100, 200, 50}), ElementsAre(0, 25, 75, 125, 175, 163, 88, 50));
}

TEST(BilinearRowTest, LineOfAnyCountFollowsTheFormula) {
    const Bytes from = {10, 250, 30, 0, 255, 7, 100, 101, 102};
    for (int channels = 1; channels <= 3; ++channels) {
        for (int count = 0; count <= 5; ++count) {
            const uint32_t position = 0x2345, step = 0x5A5A;
            Bytes to(bytesOf(count, channels) + 1, 0xAA);
            qorvp::bilinearLine(from.data(), channels, position, step, to.data(), count);
            for (int i = 0; i < count * channels; ++i) {
                const int at = static_cast<int>(position) + i / channels * static_cast<int>(step);
                const uint8_t* const sample = from.data() + (at >> 16) * channels + i % channels;
                const int x0 = sample[0], x1 = sample[channels];
                EXPECT_EQ(to[static_cast<size_t>(i)], x0 + (((x1 - x0) * (at >> 9 & 0x7F) + 0x40) >> 7)) << i;
            }
            EXPECT_EQ(to.back(), 0xAA);
        }
    }
}

TEST(BilinearRowTest, BorderIsTheFirstAndTheLastSample) {
    EXPECT_THAT(scaled(ScaleAxis(2, 8), 2, {1, 2, 101, 202}),
                ElementsAre(1, 2, 1, 2, 14, 27, 39, 77, 64, 127, 89, 177, 101, 202, 101, 202));
    EXPECT_THAT(scaled(ScaleAxis(1, 3), 1, {9}), ElementsAre(9, 9, 9));
    EXPECT_THAT(scaled(ScaleAxis(3, 1), 1, {9, 77, 200}), ElementsAre(77));
}

TEST(BilinearRowTest, PartOfARowIsWhatTheWholeHasThere) {
    const ScaleAxis axis(5, 13);
    const Bytes from = {10, 250, 30, 0, 255};
    const Bytes whole = scaled(axis, 1, from);
    for (int begin = 0; begin <= 13; ++begin) {
        for (int end = begin; end <= 13; ++end) {
            Bytes to(13, 0xAA), expected(13, 0xAA);
            qorvp::bilinearRow(axis, 1, from.data(), to.data(), begin, end);
            std::copy(whole.begin() + begin, whole.begin() + end, expected.begin() + begin);
            EXPECT_EQ(to, expected) << begin << ' ' << end;
        }
    }
}

TEST(BilinearGroupsTest, AllWholeGroupsOfARowAreMade) {
    forManySizes([](const Groups& made) {
        const int sourceBytes = made.axis.source() * made.channels;
        ASSERT_EQ(made.groups.samples, sourceBytes < 16 ? 0 : made.axis.destination() / 16 * 16);
        ASSERT_EQ(made.groups.bytes, bytesOf(made.groups.samples, made.channels));
    });
}

TEST(BilinearGroupsTest, PartsAreWholeUpToHalfTheWidth) {
    const std::pair<int, bool> expected[] = {{32, true}, {96, true}, {320, true}, {640, true}, {800, false}};
    for (const auto& [source, whole] : expected) {
        BilinearGroups groups;
        qorvp::makeGroups(ScaleAxis(source, 320), 4, groups);
        EXPECT_EQ(groups.whole, whole) << source;
    }
}

TEST(BilinearKernelsTest, OnlyTheWordsAvx2BringsGroups) {
    for (const auto& set : qorvp::featureSets()) {
        const BilinearKernels kernels = qorvp::bilinearKernels(set.features);
        EXPECT_EQ(kernels.groups != nullptr, (set.features & qorvp::kAvx2) != 0) << set.name;
        EXPECT_EQ(kernels.blendGroups != nullptr, (set.features & qorvp::kAvx2) != 0) << set.name;
        EXPECT_EQ(qorvp::bilinearKernels(set.features & ~qorvp::kAvx2).groups, nullptr) << set.name;
    }
}

TEST(BilinearKernelsTest, GroupsHaveThePlainBytes) {
    std::mt19937 random(1);
    for (const auto& set : qorvp::featureSets()) {
        const BilinearKernels kernels = qorvp::bilinearKernels(set.features);
        if (!kernels.groups) continue;
        forManySizes([&](const Groups& made) {
            for (const Guard guard : {Guard::kBehind, Guard::kBefore}) {
                GuardedMemory from(bytesOf(made.axis.source(), made.channels), guard);
                GuardedMemory to(made.groups.bytes + BilinearGroups::kSlack, guard);
                fillRandom(from, random);
                kernels.groups(made.groups, from.data(), to.data());
                ASSERT_TRUE(beginsWith(to, plainGroups(made.axis, made.channels, from.data(), made.groups)))
                    << made.axis.source() << " to " << made.axis.destination() << " of " << made.channels;
            }
        });
    }
}

TEST(BilinearKernelsTest, BlendedGroupsHaveThePlainBytes) {
    std::mt19937 random(1);
    for (const auto& set : qorvp::featureSets()) {
        const BilinearKernels kernels = qorvp::bilinearKernels(set.features);
        if (!kernels.groups) continue;
        forManySizes([&](const Groups& made) {
            const size_t bytes = made.groups.bytes, sourceBytes = bytesOf(made.axis.source(), made.channels);
            if (!made.groups.whole || bytes == 0) return;
            GuardedMemory fromUpper(sourceBytes), fromLower(sourceBytes), upper(bytes + BilinearGroups::kSlack),
                lower(bytes + BilinearGroups::kSlack), to(bytes);
            fillRandom(fromUpper, random);
            for (const bool isThere : {false, true}) {
                fillRandom(fromLower, random);
                const int f = 1 + static_cast<int>(random() % 255);
                const qorvp::RowPair rows = {isThere ? nullptr : fromUpper.data(), fromLower.data(), upper.data(),
                                             lower.data()};
                const size_t blended = kernels.blendGroups(made.groups, rows, f, to.data());
                const Bytes above = plainGroups(made.axis, made.channels, fromUpper.data(), made.groups);
                const Bytes below = plainGroups(made.axis, made.channels, fromLower.data(), made.groups);
                ASSERT_TRUE(beginsWith(upper, above));
                ASSERT_TRUE(beginsWith(lower, below));
                ASSERT_EQ(blended, bytes / 32 * 32);
                Bytes expected(blended);
                qorvp::plainBilinear().blendRows(above.data(), below.data(), f, expected.data(), blended);
                ASSERT_TRUE(beginsWith(to, expected)) << made.axis.source() << " to " << made.axis.destination();
            }
        });
    }
}

TEST(BilinearKernelsTest, BlendOfRowsFollowsTheFormula) {
    std::mt19937 random(1);
    for (const auto& set : qorvp::featureSets()) {
        const BilinearKernels kernels = qorvp::bilinearKernels(set.features);
        for (size_t count = 1; count <= 130; ++count) {
            for (const Guard guard : {Guard::kBehind, Guard::kBefore}) {
                GuardedMemory upper(count, guard), lower(count, guard), to(count, guard);
                for (int f = 1 + static_cast<int>(count) % 3; f < 256; f += 3) {
                    fillRandom(upper, random);
                    fillRandom(lower, random);
                    upper.data()[0] = lower.data()[count / 2] = 255;
                    kernels.blendRows(upper.data(), lower.data(), f, to.data(), count);
                    for (size_t i = 0; i < count; ++i) {
                        const int expected = (upper.data()[i] * (256 - f) + lower.data()[i] * f) >> 8;
                        ASSERT_EQ(to.data()[i], expected) << set.name << ' ' << count << ' ' << f;
                    }
                }
            }
        }
    }
}

// Every pair of bytes with every weight.
TEST(BilinearKernelsTest, EveryByteAndWeightIsExact) {
    Bytes upper(256 * 256), lower(256 * 256), expected(256 * 256), to(256 * 256);
    for (size_t i = 0; i < upper.size(); ++i) {
        upper[i] = static_cast<uint8_t>(i);
        lower[i] = static_cast<uint8_t>(i >> 8);
    }
    for (int f = 1; f < 256; ++f) {
        qorvp::plainBilinear().blendRows(upper.data(), lower.data(), f, expected.data(), expected.size());
        for (const auto& set : qorvp::featureSets()) {
            qorvp::bilinearKernels(set.features).blendRows(upper.data(), lower.data(), f, to.data(), to.size());
            ASSERT_EQ(to, expected) << set.name << ' ' << f;
        }
    }
}
