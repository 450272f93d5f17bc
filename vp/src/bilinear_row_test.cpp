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

// The samples in groups are as the plain form has them, and nothing is written behind the slack.
void expectPlainBytes(const BilinearKernels& kernels, const ScaleAxis& axis, int channels, const uint8_t* from,
                      const BilinearGroups& groups) {
    const size_t bytes = bytesOf(groups.samples, channels);
    Bytes expected(bytes);
    qorvp::bilinearRow(axis, channels, from, expected.data(), 0, groups.samples);
    GuardedMemory to(bytes + BilinearGroups::kSlack);
    kernels.groups(groups, from, to.data());
    ASSERT_TRUE(std::equal(expected.begin(), expected.end(), to.begin()))
        << axis.source() << " to " << axis.destination() << " of " << channels;
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

TEST(BilinearKernelsTest, OnlyTheWordsAvx2BringsGroups) {
    for (const auto& set : qorvp::featureSets())
        EXPECT_EQ(qorvp::bilinearKernels(set.features).groups != nullptr, (set.features & qorvp::kAvx2) != 0)
            << set.name;
}

TEST(BilinearKernelsTest, GroupsHaveThePlainBytes) {
    std::mt19937 random(1);
    for (const auto& set : qorvp::featureSets()) {
        const BilinearKernels kernels = qorvp::bilinearKernels(set.features);
        if (!kernels.groups) continue;
        BilinearGroups groups;
        for (int channels = 1; channels <= 4; ++channels) {
            for (int source = 1; source <= 130; source += 1 + source / 16) {
                for (const Guard guard : {Guard::kBehind, Guard::kBefore}) {
                    GuardedMemory from(bytesOf(source, channels), guard);
                    fillRandom(from, random);
                    for (int destination = 1; destination <= 270; destination += 1 + destination / 7) {
                        const ScaleAxis axis(source, destination);
                        qorvp::makeGroups(axis, channels, groups);
                        ASSERT_EQ(groups.samples, source * channels < 16 ? 0 : destination / 16 * 16);
                        expectPlainBytes(kernels, axis, channels, from.data(), groups);
                    }
                }
            }
        }
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
