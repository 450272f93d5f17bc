#include <gtest/gtest.h>

#include <random>
#include <string>

#include "platform/include/guarded_memory.h"
#include "vp/src/BlendRow.h"
#include "vp/src/ChromaMoves.h"
#include "vp/src/FeatureSetName.h"
#include "vp/src/Features.h"
#include "vp/src/YuvToRgb.h"

// Every vector form gives the bytes of the plain one, at every width and on rows that lie anywhere.
namespace {

using platform::GuardedMemory;
using qorvp::ChromaLayout;
using qorvp::FeatureSet;
using qorvp::PixelLayout;
using Guard = GuardedMemory::Guard;

constexpr int kWidest = 130;

// Memory with a guard page on either end, filled with random bytes: a row behind some bytes, which it must leave alone.
class Row {
  public:
    Row(int bytes, Guard guard, std::mt19937& random) : m_memory(static_cast<size_t>(bytes), guard) {
        for (uint8_t& byte : m_memory) byte = static_cast<uint8_t>(random());
    }
    Row(const Row& other, Guard guard) : m_memory(other.m_memory.size(), guard) {
        std::copy(other.m_memory.begin(), other.m_memory.end(), m_memory.begin());
    }
    uint8_t* data() const { return m_memory.data(); }
    bool operator==(const Row& other) const {
        return std::equal(m_memory.begin(), m_memory.end(), other.m_memory.begin(), other.m_memory.end());
    }

  private:
    GuardedMemory m_memory;
};

class RowKernelsTest : public testing::TestWithParam<FeatureSet> {
  protected:
    // Both ends guarded in turn, at odd places too: a guard behind puts a row of any width at any alignment.
    template <class Check>
    void forEachRow(Check check) {
        for (int width = 1; width <= kWidest; ++width) {
            for (const Guard guard : {Guard::kBehind, Guard::kBefore}) {
                SCOPED_TRACE("width " + std::to_string(width));
                check(width, guard);
            }
        }
    }
    Row row(int bytes, Guard guard) { return Row(bytes, guard, m_random); }

    const uint32_t m_features = GetParam().features;
    std::mt19937 m_random{5};
};

constexpr ChromaLayout kChromaLayouts[] = {ChromaLayout::kPlanar, ChromaLayout::kUv, ChromaLayout::kVu};
constexpr std::pair<PixelLayout, int> kPixelLayouts[] = {{PixelLayout::kRgb565, 2}, {PixelLayout::kBgr, 3},
                                                         {PixelLayout::kBgra, 4},   {PixelLayout::kRgba, 4},
                                                         {PixelLayout::kArgb, 4},   {PixelLayout::kAbgr, 4}};

}  // namespace

INSTANTIATE_TEST_SUITE_P(Sets, RowKernelsTest, testing::ValuesIn(qorvp::featureSets()), qorvp::test::nameOf);

TEST_P(RowKernelsTest, ChromaMovesEqualThePlainOnes) {
    const qorvp::ChromaKernels kernels = qorvp::chromaKernels(m_features);
    forEachRow([&](int width, Guard guard) {
        const Row first = row(width, guard), second = row(width, guard), pairs = row(width * 2, guard);
        const Row expected = row(width * 2, guard), actual(expected, guard);
        qorvp::interleaveRow(first.data(), second.data(), expected.data(), width);
        kernels.interleaveRow(first.data(), second.data(), actual.data(), width);
        EXPECT_EQ(actual, expected);
        qorvp::exchangeRow(pairs.data(), expected.data(), width);
        kernels.exchangeRow(pairs.data(), actual.data(), width);
        EXPECT_EQ(actual, expected);
        const Row a = row(width, guard), b = row(width, guard), c(a, guard), d(b, guard);
        qorvp::separateRow(pairs.data(), a.data(), b.data(), width);
        kernels.separateRow(pairs.data(), c.data(), d.data(), width);
        EXPECT_EQ(a, c);
        EXPECT_EQ(b, d);
    });
}

TEST_P(RowKernelsTest, BlendEqualsThePlainOne) {
    const qorvp::BlendRow blend = qorvp::blendRowFor(m_features);
    for (const int bytes : {1, 3, 4}) {
        forEachRow([&](int width, Guard guard) {
            const Row foreground = row(width * bytes, guard), mask = row(width, guard);
            const Row expected = row(width * bytes, guard), actual(expected, guard);
            qorvp::blendRow(foreground.data(), mask.data(), expected.data(), width, bytes);
            blend(foreground.data(), mask.data(), actual.data(), width, bytes);
            EXPECT_EQ(actual, expected) << bytes;
        });
    }
}

TEST_P(RowKernelsTest, BlendOfEveryMaskAndEveryPairOfBytesEqualsThePlainOne) {
    const qorvp::BlendRow blend = qorvp::blendRowFor(m_features);
    std::vector<uint8_t> mask(256), foreground(256), expected(256), actual(256);
    for (int m = 0; m < 256; ++m) mask[static_cast<size_t>(m)] = static_cast<uint8_t>(m);
    for (int f = 0; f < 256; ++f) {
        for (int b = 0; b < 256; ++b) {
            std::fill(foreground.begin(), foreground.end(), static_cast<uint8_t>(f));
            std::fill(expected.begin(), expected.end(), static_cast<uint8_t>(b));
            actual = expected;
            qorvp::blendRow(foreground.data(), mask.data(), expected.data(), 256, 1);
            blend(foreground.data(), mask.data(), actual.data(), 256, 1);
            ASSERT_EQ(actual, expected) << f << ' ' << b;
        }
    }
}

TEST_P(RowKernelsTest, PixelsEqualThePlainOnes) {
    for (const ChromaLayout chroma : kChromaLayouts) {
        for (const auto& [layout, bytes] : kPixelLayouts) {
            const qorvp::YuvKernel plain = qorvp::yuvKernel(chroma, layout);
            const qorvp::YuvKernel convert = qorvp::yuvKernels(m_features)(chroma, layout);
            forEachRow([&, pixelBytes = bytes](int halfWidth, Guard guard) {
                const int width = halfWidth * 2, gap = 3, stride = width * pixelBytes + gap;
                const Row luma = row(width * 2 + gap, guard), u = row(width, guard), v = row(width, guard);
                const Row expected = row(stride + width * pixelBytes, guard), actual(expected, guard);
                // Planes of half the width end where their memory does, or begin there.
                const int skipped = chroma == ChromaLayout::kPlanar && guard == Guard::kBehind ? halfWidth : 0;
                qorvp::YuvRowPair rows = {
                    luma.data(), width + gap, u.data() + skipped, v.data() + skipped, expected.data(), stride, width};
                plain(rows);
                rows.pixels = actual.data();
                convert(rows);
                EXPECT_EQ(actual, expected) << static_cast<int>(chroma) << ' ' << pixelBytes;
            });
        }
    }
}

TEST_P(RowKernelsTest, LongRowsOfPixelsEqualThePlainOnes) {
    constexpr int kWidth = 1102;
    const Row luma = row(kWidth * 2, Guard::kBehind), chroma = row(kWidth, Guard::kBehind);
    const qorvp::YuvKernel plain = qorvp::yuvKernel(ChromaLayout::kUv, PixelLayout::kBgr);
    const qorvp::YuvKernel convert = qorvp::yuvKernels(m_features)(ChromaLayout::kUv, PixelLayout::kBgr);
    const Row expected = row(kWidth * 6, Guard::kBehind), actual(expected, Guard::kBehind);
    plain({luma.data(), kWidth, chroma.data(), nullptr, expected.data(), kWidth * 3, kWidth});
    convert({luma.data(), kWidth, chroma.data(), nullptr, actual.data(), kWidth * 3, kWidth});
    EXPECT_EQ(actual, expected);
}

TEST_P(RowKernelsTest, PixelOfEveryColourEqualsThePlainOne) {
    const qorvp::YuvKernel plain = qorvp::yuvKernel(ChromaLayout::kPlanar, PixelLayout::kBgra);
    const qorvp::YuvKernel convert = qorvp::yuvKernels(m_features)(ChromaLayout::kPlanar, PixelLayout::kBgra);
    std::vector<uint8_t> luma(512), u(256), v(256), expected(2048), actual(2048);
    for (size_t i = 0; i < 256; ++i) u[i] = static_cast<uint8_t>(i);
    for (int y = 0; y < 256; ++y) {
        // The odd pixels have another luma than the even ones.
        for (size_t i = 0; i < 512; ++i) luma[i] = static_cast<uint8_t>(i % 2 == 0 ? y : 255 - y);
        for (int value = 0; value < 256; ++value) {
            std::fill(v.begin(), v.end(), static_cast<uint8_t>(value));
            plain({luma.data(), 0, u.data(), v.data(), expected.data(), 0, 512});
            convert({luma.data(), 0, u.data(), v.data(), actual.data(), 0, 512});
            ASSERT_EQ(actual, expected) << y << ' ' << value;
        }
    }
}
