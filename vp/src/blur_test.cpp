#include "vp/src/Blur.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "vp/src/AlignedFloats.h"
#include "vp/src/FeatureSetName.h"
#include "vp/src/TestImage.h"

namespace {

using qorvp::BlurCoefficients;
using qorvp::blurCoefficients;
using qorvp::Plane;
using qorvp::test::Guard;
using qorvp::test::TestImage;

// The filter once more, in double precision and in the terms that it is made of.
struct Filter {
    double a0, a1, a2, a3, b1, b2, cp, cn;

    explicit Filter(double sigma) {
        const double alpha = std::exp(0.527076) / std::max(sigma, 0.5);
        const double a = std::exp(-alpha);
        b2 = std::exp(-2 * alpha);
        const double k = (1 - a) * (1 - a) / (1 + 2 * alpha * a - b2);
        a0 = k;
        a1 = k * (alpha - 1) * a;
        a2 = k * (alpha + 1) * a;
        a3 = -k * b2;
        b1 = -2 * a;
        cp = (a0 + a1) / (1 + b1 + b2);
        cn = (a2 + a3) / (1 + b1 + b2);
    }

    std::vector<double> run(const std::vector<double>& x) const {
        std::vector<double> result(x.size());
        double y = cp * x.front();
        for (size_t i = 0; i < x.size(); ++i) result[i] = y = (a0 + a1) * x[i] - (b1 + b2) * y;
        double z = cn * x.back();
        for (size_t i = x.size(); i-- > 0;) result[i] += z = (a2 + a3) * x[i] - (b1 + b2) * z;
        return result;
    }
};

// One channel of a plane, blurred: rows, then columns.
std::vector<double> blurred(const Plane& plane, int channels, int channel, double sigma) {
    const Filter filter(sigma);
    const auto width = static_cast<size_t>(plane.width), height = static_cast<size_t>(plane.height);
    std::vector<double> image(width * height);
    for (size_t y = 0; y < height; ++y) {
        std::vector<double> row(width);
        for (size_t x = 0; x < width; ++x)
            row[x] = plane.row(static_cast<int>(y))[x * static_cast<size_t>(channels) + static_cast<size_t>(channel)];
        row = filter.run(row);
        std::copy(row.begin(), row.end(), image.begin() + static_cast<ptrdiff_t>(y * width));
    }
    for (size_t x = 0; x < width; ++x) {
        std::vector<double> column(height);
        for (size_t y = 0; y < height; ++y) column[y] = image[y * width + x];
        column = filter.run(column);
        for (size_t y = 0; y < height; ++y) image[y * width + x] = column[y];
    }
    return image;
}

void blur(const qorvp::BlurKernel& kernel, const Plane& from, const Plane& to, int channels, float sigma) {
    const qorvp::BlurWork work = qorvp::blurWork(kernel, channels, from.width, from.height);
    qorvp::AlignedFloats lines, transposed;
    lines.reserve(work.lines);
    transposed.reserve(work.transposed);
    kernel.blurPlane(from, to, channels, blurCoefficients(sigma), lines.data(), transposed.data());
}

// The kernel for each set of instructions.
class BlurTest : public testing::TestWithParam<qorvp::FeatureSet> {
  protected:
    void blur(const Plane& from, const Plane& to, int channels, float sigma) const {
        ::blur(m_kernel, from, to, channels, sigma);
    }

  private:
    const qorvp::BlurKernel m_kernel = qorvp::blurKernel(GetParam().features);
};

void expectClose(const Plane& from, const Plane& to, int channels, float sigma, double most = 0.51) {
    for (int channel = 0; channel < channels; ++channel) {
        const std::vector<double> expected = blurred(from, channels, channel, sigma);
        for (int y = 0; y < from.height; ++y)
            for (int x = 0; x < from.width; ++x)
                ASSERT_NEAR(to.row(y)[x * channels + channel],
                            std::clamp(expected[static_cast<size_t>(y * from.width + x)], 0.0, 255.0), most)
                    << sigma << " at " << x << ", " << y << ", channel " << channel << " of " << from.width << "x"
                    << from.height;
    }
}

}  // namespace

TEST(BlurCoefficientsTest, SigmaBelowAHalfIsAHalf) {
    const BlurCoefficients half = blurCoefficients(0.5f);
    for (const float sigma : {0.49f, 0.0f, -3.0f, std::nanf("")}) {
        const BlurCoefficients other = blurCoefficients(sigma);
        EXPECT_EQ(other.inForward, half.inForward) << sigma;
        EXPECT_EQ(other.feedback, half.feedback) << sigma;
    }
    EXPECT_NE(blurCoefficients(0.51f).feedback, half.feedback);
}

TEST(BlurCoefficientsTest, SigmaAbove40960Is40960) {
    const BlurCoefficients largest = blurCoefficients(40960);
    for (const float sigma : {40961.0f, 1e9f, std::numeric_limits<float>::infinity()}) {
        const BlurCoefficients other = blurCoefficients(sigma);
        EXPECT_EQ(other.inForward, largest.inForward) << sigma;
        EXPECT_EQ(other.startForward, largest.startForward) << sigma;
    }
    EXPECT_NE(blurCoefficients(40950).inForward, largest.inForward);
}

INSTANTIATE_TEST_SUITE_P(Sets, BlurTest, testing::ValuesIn(qorvp::featureSets()), qorvp::test::nameOf);

TEST(BlurCoefficientsTest, CoefficientsAreThoseOfTheFilter) {
    for (const float sigma : {0.5f, 1.0f, 3.0f, 10.0f, 30.0f, 300.0f}) {
        const Filter filter(sigma);
        const BlurCoefficients k = blurCoefficients(sigma);
        EXPECT_FLOAT_EQ(k.inForward, static_cast<float>(filter.a0 + filter.a1)) << sigma;
        EXPECT_FLOAT_EQ(k.inBackward, static_cast<float>(filter.a2 + filter.a3)) << sigma;
        EXPECT_FLOAT_EQ(k.feedback, static_cast<float>(filter.b1 + filter.b2)) << sigma;
        EXPECT_NEAR(k.startForward, filter.cp, 1e-5) << sigma;
        EXPECT_NEAR(k.startForward + k.startBackward, 1, 1e-6) << sigma;
    }
}

TEST_P(BlurTest, PlanesAreTheFiltersForAllSizesAndStrides) {
    std::mt19937 random(1);
    for (const auto& [format, channels] : {std::pair{qorvp::kFormatGrey, 1}, {qorvp::kFormatBgra, 4}}) {
        for (const auto& [width, height] :
             {std::pair{1, 1}, {1, 40}, {40, 1}, {2, 3}, {17, 9}, {31, 33}, {33, 31}, {130, 64}}) {
            for (const Guard guard : {Guard::kBehind, Guard::kBefore}) {
                TestImage from(format, width, height, 3, guard), to(format, width, height, 5, guard);
                from.fillRandom(random);
                for (const float sigma : {0.5f, 2.0f, 25.0f}) {
                    blur(from.planes().plane[0], to.planes().plane[0], channels, sigma);
                    expectClose(from.planes().plane[0], to.planes().plane[0], channels, sigma);
                }
            }
        }
    }
}

TEST_P(BlurTest, EveryWidthAndHeightIsThePlainFormButForRounding) {
    std::mt19937 random(2);
    for (const auto& [format, channels] : {std::pair{qorvp::kFormatGrey, 1}, {qorvp::kFormatBgra, 4}}) {
        for (int side = 1; side <= 130; ++side) {
            for (const auto& [width, height] : {std::pair{side, 36}, {36, side}}) {
                const Guard guard = side % 2 == 0 ? Guard::kBehind : Guard::kBefore;
                TestImage from(format, width, height, 3, guard), plain(format, width, height, 1, guard),
                    image(format, width, height, 7, guard);
                from.fillRandom(random);
                const float sigma = side % 3 == 0 ? 0.5f : side % 3 == 1 ? 4.0f : 30.0f;
                ::blur(qorvp::plainBlur(), from.planes().plane[0], plain.planes().plane[0], channels, sigma);
                blur(from.planes().plane[0], image.planes().plane[0], channels, sigma);
                const auto expected = plain.samples(), actual = image.samples();
                for (size_t i = 0; i < expected.size(); ++i)
                    ASSERT_NEAR(expected[i], actual[i], 1) << i << " of " << width << "x" << height;
            }
        }
    }
}

TEST_P(BlurTest, EvenAreaStaysAsItIs) {
    for (const int value : {0, 1, 127, 254, 255}) {
        TestImage image(qorvp::kFormatGrey, 300, 200);
        image.fill(static_cast<uint8_t>(value));
        blur(image.planes().plane[0], image.planes().plane[0], 1, 30);
        const std::vector<uint8_t> samples = image.samples();
        EXPECT_EQ(std::count(samples.begin(), samples.end(), value), 300 * 200) << value;
    }
}

TEST_P(BlurTest, HugeSigmaIsTheFiltersToo) {
    std::mt19937 random(1);
    for (const auto& [format, channels] : {std::pair{qorvp::kFormatGrey, 1}, {qorvp::kFormatBgra, 4}}) {
        TestImage from(format, 50, 50), to(format, 50, 50);
        from.fillRandom(random);
        for (const float sigma : {1e3f, 1e4f}) {
            blur(from.planes().plane[0], to.planes().plane[0], channels, sigma);
            expectClose(from.planes().plane[0], to.planes().plane[0], channels, sigma, 0.6);
        }
    }
}

TEST_P(BlurTest, SigmaAboveTheLargestGivesTheBytesOfTheLargest) {
    std::mt19937 random(1);
    TestImage from(qorvp::kFormatGrey, 50, 50), largest(qorvp::kFormatGrey, 50, 50), to(qorvp::kFormatGrey, 50, 50);
    from.fillRandom(random);
    blur(from.planes().plane[0], largest.planes().plane[0], 1, 40960);
    for (const float sigma : {1e9f, std::numeric_limits<float>::infinity()}) {
        blur(from.planes().plane[0], to.planes().plane[0], 1, sigma);
        EXPECT_EQ(to.samples(), largest.samples()) << sigma;
    }
}
