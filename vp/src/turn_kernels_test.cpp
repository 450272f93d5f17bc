#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "platform/include/guarded_memory.h"
#include "qorvp/Format.h"
#include "vp/src/CConverter.h"
#include "vp/src/CRotation.h"
#include "vp/src/FeatureSetName.h"
#include "vp/src/TestImage.h"
#include "vp/src/Turn.h"

// Every vector form gives the bytes of the plain one, at every size and on planes that lie anywhere.
namespace {

using platform::GuardedMemory;
using qorvp::FeatureSet;
using qorvp::Plane;
using qorvp::PlaneTurn;
using qorvp::TurnKernels;
using qorvp::test::Guard;
using qorvp::test::TestImage;

constexpr size_t kMost = 400000;
constexpr size_t kBeside = 64;  // bytes beside a plane that are looked at too

struct Shape {
    int width;
    int height;
    int bytes;
    int padding;
    bool bottomUp;
};

// Memory with a guard page on either end, and planes that lie at that end.
class PlaneMemory {
  public:
    PlaneMemory(Guard guard, std::mt19937& random) : m_memory(kMost, guard), m_guard(guard) {
        std::generate(m_memory.begin(), m_memory.end(), [&random] { return static_cast<uint8_t>(random()); });
    }
    Plane plane(const Shape& shape) {
        const int stride = shape.width * shape.bytes + shape.padding;
        m_used = static_cast<size_t>(stride * shape.height - shape.padding);
        uint8_t* const first = m_guard == Guard::kBehind ? m_memory.end() - m_used : m_memory.begin();
        const Plane upright = {first, stride, shape.width, shape.height, shape.bytes};
        return shape.bottomUp ? qorvp::flipped(upright) : upright;
    }
    // The bytes of the last plane, the ones beside it included.
    std::vector<uint8_t> bytes() const {
        const size_t count = m_used + kBeside;
        const uint8_t* const first = m_guard == Guard::kBehind ? m_memory.end() - count : m_memory.begin();
        return {first, first + count};
    }
    void setBytes(const std::vector<uint8_t>& bytes) {
        std::copy(bytes.begin(), bytes.end(),
                  m_guard == Guard::kBehind ? m_memory.end() - bytes.size() : m_memory.begin());
    }

  private:
    GuardedMemory m_memory;
    const Guard m_guard;
    size_t m_used = 0;
};

class TurnKernelsTest : public testing::TestWithParam<FeatureSet> {
  protected:
    // All turns of planes of so many samples, guarded at both ends in turn. How the rows lie, and whether the
    // destination is larger than need be, changes from call to call.
    void expectPlainTurns(int width, int height) {
        for (int bytes = 1; bytes <= 4; ++bytes) {
            for (PlaneMemory* const memory : {&m_sources[0], &m_sources[1]}) {
                const Plane from = memory->plane({width, height, bytes, next(4), next(2) == 1});
                PlaneMemory& target = memory == m_sources ? m_targets[0] : m_targets[1];
                expectPlainTurn(qorvp::turn90, m_kernels.by90, from, target, height, width);
                expectPlainTurn(qorvp::turn180, m_kernels.by180, from, target, width, height);
                expectPlainTurn(qorvp::turn270, m_kernels.by270, from, target, height, width);
            }
        }
    }

    void expectPlainMirror(int width, int bytes, PlaneMemory& memory) {
        const Plane row = memory.plane({width, 1, bytes, 0, false});
        const std::vector<uint8_t> before = memory.bytes();
        qorvp::mirrorRow(row.data, width, bytes);
        const std::vector<uint8_t> expected = memory.bytes();
        memory.setBytes(before);
        m_kernels.mirrorRow(row.data, width, bytes);
        ASSERT_EQ(memory.bytes(), expected) << width << " of " << bytes;
    }

    std::mt19937 m_random{7};
    PlaneMemory m_sources[2] = {{Guard::kBehind, m_random}, {Guard::kBefore, m_random}};
    PlaneMemory m_targets[2] = {{Guard::kBehind, m_random}, {Guard::kBefore, m_random}};

  private:
    void expectPlainTurn(PlaneTurn plain, PlaneTurn turn, const Plane& from, PlaneMemory& target, int width,
                         int height) {
        const int more = next(3) == 0 ? 5 : 0;
        const Plane to = target.plane({width + more, height + more, from.bytes, next(5), next(2) == 1});
        const std::vector<uint8_t> before = target.bytes();
        plain(from, to);
        const std::vector<uint8_t> expected = target.bytes();
        target.setBytes(before);
        turn(from, to);
        ASSERT_EQ(target.bytes(), expected) << from.width << 'x' << from.height << " of " << from.bytes;
    }
    int next(int count) { return static_cast<int>(m_random() % static_cast<unsigned>(count)); }

    const TurnKernels m_kernels = qorvp::turnKernels(GetParam().features);
};

}  // namespace

INSTANTIATE_TEST_SUITE_P(Sets, TurnKernelsTest, testing::ValuesIn(qorvp::featureSets()), qorvp::test::nameOf);

TEST_P(TurnKernelsTest, TurnsOfEverySmallSizeEqualThePlainOnes) {
    for (int width = 1; width <= 40; ++width) {
        for (int height = 1; height <= 40; ++height) ASSERT_NO_FATAL_FAILURE(expectPlainTurns(width, height));
    }
}

TEST_P(TurnKernelsTest, TurnsOfEveryLengthEqualThePlainOnes) {
    for (int length = 1; length <= 130; ++length) {
        for (const int other : {1, 15, 16, 17, 33}) {
            ASSERT_NO_FATAL_FAILURE(expectPlainTurns(length, other));
            ASSERT_NO_FATAL_FAILURE(expectPlainTurns(other, length));
        }
    }
}

TEST_P(TurnKernelsTest, TurnsOfManyTilesEqualThePlainOnes) {
    for (const auto& [width, height] : {std::pair{128, 128}, {129, 161}, {161, 127}, {300, 140}, {140, 300}})
        ASSERT_NO_FATAL_FAILURE(expectPlainTurns(width, height));
}

TEST_P(TurnKernelsTest, MirroredRowsEqualThePlainOnes) {
    for (int bytes = 1; bytes <= 4; ++bytes) {
        for (int width = 1; width <= 200; ++width) {
            for (PlaneMemory& memory : m_targets) ASSERT_NO_FATAL_FAILURE(expectPlainMirror(width, bytes, memory));
        }
    }
}

TEST_P(TurnKernelsTest, RotationEqualsThePlainOne) {
    qorvp::CRotation rotation(GetParam().features), plain(0);
    for (const uint32_t format : qorvp::test::kAllFormats) {
        if (format == qorvp::kFormatGrey) continue;
        for (const int32_t degrees : {90, 180, 270}) {
            TestImage from(format, 71, 86, 1);
            from.fillRandom(m_random);
            const auto [width, height] = degrees == 180 ? std::pair{71, 86} : std::pair{86, 71};
            TestImage to(format, width, height, 2), expected(format, width, height, 2);
            for (auto [strategy, image] : {std::pair{&rotation, &to}, {&plain, &expected}}) {
                ASSERT_EQ(strategy->SetParam(3, &degrees), qorvp::kOk);
                ASSERT_EQ(strategy->Process(3, &from.image(), &image->image()), qorvp::kOk);
            }
            EXPECT_EQ(to.bytes(), expected.bytes()) << format << " by " << degrees;
        }
    }
}

TEST_P(TurnKernelsTest, TurnedConversionEqualsThePlainOne) {
    qorvp::CConverter converter(GetParam().features), plain(0);
    const int32_t degrees = 180;
    ASSERT_EQ(converter.SetParam(1, &degrees), qorvp::kOk);
    ASSERT_EQ(plain.SetParam(1, &degrees), qorvp::kOk);
    for (const uint32_t video : {qorvp::kFormatI420, qorvp::kFormatNv12}) {
        for (const uint32_t format : qorvp::test::kAllFormats) {
            if (format == qorvp::kFormatGrey) continue;
            TestImage from(video, 90, 6, 1), to(format, 90, 6, 2), expected(format, 90, 6, 2);
            from.fillRandom(m_random);
            ASSERT_EQ(converter.Process(1, &from.image(), &to.image()), qorvp::kOk);
            ASSERT_EQ(plain.Process(1, &from.image(), &expected.image()), qorvp::kOk);
            EXPECT_EQ(to.bytes(), expected.bytes()) << video << " to " << format;
        }
    }
}
