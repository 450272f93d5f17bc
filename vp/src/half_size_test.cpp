#include "vp/src/HalfSize.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "vp/src/Features.h"
#include "vp/src/TestImage.h"

namespace {

using qorvp::HalfRow;
using qorvp::HalfSizeForm;
using qorvp::halfSizeForm;
using qorvp::HalfSizeKernel;
using qorvp::test::Guard;

constexpr size_t kLargest = 260;  // bytes written

// How many bytes of the destination a form's kernel must be given a multiple of.
constexpr std::pair<HalfSizeForm, size_t> kForms[] = {
    {HalfSizeForm::kBy32, 16}, {HalfSizeForm::kBy16, 8}, {HalfSizeForm::kBy8, 4}, {HalfSizeForm::kAny, 1}};

// Two rows and what is made of them, in memory that ends or begins with them.
class Rows {
  public:
    Rows(size_t bytes, Guard guard) : mAbove(2 * bytes, guard), mBelow(2 * bytes, guard), mTo(bytes, guard) {
        std::mt19937 random(static_cast<unsigned>(bytes));
        for (auto* row : {&mAbove, &mBelow})
            std::generate(row->begin(), row->end(), [&random] { return static_cast<uint8_t>(random()); });
    }

    std::vector<uint8_t> made(HalfRow row) {
        std::fill(mTo.begin(), mTo.end(), uint8_t{77});
        row(mAbove.data(), mBelow.data(), mTo.data(), mTo.size());
        return {mTo.begin(), mTo.end()};
    }

  private:
    platform::GuardedMemory mAbove, mBelow, mTo;
};

std::vector<uint8_t> halved(HalfRow row, const std::vector<uint8_t>& above, const std::vector<uint8_t>& below) {
    std::vector<uint8_t> to(above.size() / 2);
    row(above.data(), below.data(), to.data(), to.size());
    return to;
}

// Kernels that note which form's they are, and write nothing.
struct Taken {
    std::vector<HalfSizeForm> luma, pairs;
};
Taken taken;

template <HalfSizeForm form>
HalfSizeKernel notingKernel() {
    return {[](const uint8_t*, const uint8_t*, uint8_t*, size_t) { taken.luma.push_back(form); },
            [](const uint8_t*, const uint8_t*, uint8_t*, size_t) { taken.pairs.push_back(form); }};
}

}  // namespace

TEST(HalfSizeTest, FormGoesByTheWidthOfTheSource) {
    for (const auto& [width, form] : {std::pair{64, HalfSizeForm::kBy32},
                                      {32, HalfSizeForm::kBy32},
                                      {48, HalfSizeForm::kBy16},
                                      {16, HalfSizeForm::kBy16},
                                      {40, HalfSizeForm::kBy8},
                                      {8, HalfSizeForm::kBy8},
                                      {36, HalfSizeForm::kAny},
                                      {4, HalfSizeForm::kAny}})
        EXPECT_EQ(halfSizeForm(width, width / 2, 2), form) << width;
}

TEST(HalfSizeTest, OddDestinationTakesTheLastForm) {
    EXPECT_EQ(halfSizeForm(64, 32, 31), HalfSizeForm::kAny);
    EXPECT_EQ(halfSizeForm(48, 24, 1), HalfSizeForm::kAny);
    EXPECT_EQ(halfSizeForm(64, 31, 32), HalfSizeForm::kAny);
    EXPECT_EQ(halfSizeForm(64, 32, 30), HalfSizeForm::kBy32);
}

TEST(HalfSizeTest, PictureTakesTheFormOfItsLuma) {
    const qorvp::HalfSizeKernels kernels = {{notingKernel<HalfSizeForm::kBy32>(), notingKernel<HalfSizeForm::kBy16>(),
                                             notingKernel<HalfSizeForm::kBy8>(), notingKernel<HalfSizeForm::kAny>()}};
    struct Case {
        int width, height;
        HalfSizeForm form;
    };
    for (const auto& [width, height, form] : {Case{64, 4, HalfSizeForm::kBy32},
                                              {65, 5, HalfSizeForm::kAny},
                                              {48, 4, HalfSizeForm::kBy16},
                                              {40, 4, HalfSizeForm::kBy8},
                                              {36, 4, HalfSizeForm::kAny},
                                              {64, 6, HalfSizeForm::kAny},
                                              {66, 4, HalfSizeForm::kAny}}) {
        taken = {};
        qorvp::test::TestImage from(qorvp::kFormatNv12, width, height), to(qorvp::kFormatNv12, width / 2, height / 2);
        qorvp::halveSize(from.planes(), to.planes(), kernels);
        const auto rows = static_cast<size_t>(height / 2);
        EXPECT_EQ(taken.luma, std::vector<HalfSizeForm>(rows, form)) << width << 'x' << height;
        EXPECT_EQ(taken.pairs, std::vector<HalfSizeForm>(rows / 2, form)) << width << 'x' << height;
    }
}

TEST(HalfSizeTest, MeanOfFourIsRoundedToTheNearest) {
    for (const auto& set : qorvp::featureSets()) {
        const HalfSizeKernel any = qorvp::halfSizeKernels(set.features).of(HalfSizeForm::kAny);
        EXPECT_EQ(halved(any.luma, {0, 0, 0, 1, 1, 2, 255, 255, 255, 254}, {0, 1, 1, 0, 3, 1, 255, 255, 253, 252}),
                  (std::vector<uint8_t>{0, 1, 2, 255, 254}))
            << set.name;
        EXPECT_EQ(halved(any.pairs, {0, 200, 1, 100, 255, 0, 255, 3}, {1, 50, 0, 10, 255, 1, 255, 2}),
                  (std::vector<uint8_t>{1, 90, 255, 2}))
            << set.name;
    }
}

TEST(HalfSizeTest, EveryKernelGivesThePlainBytes) {
    const HalfSizeKernel plain = qorvp::plainHalfSize().of(HalfSizeForm::kAny);
    for (const auto& set : qorvp::featureSets()) {
        for (const auto& [form, unit] : kForms) {
            const HalfSizeKernel kernel = qorvp::halfSizeKernels(set.features).of(form);
            for (const Guard guard : {Guard::kBehind, Guard::kBefore}) {
                for (size_t bytes = unit; bytes <= kLargest; bytes += unit) {
                    Rows rows(bytes, guard);
                    ASSERT_EQ(rows.made(kernel.luma), rows.made(plain.luma)) << set.name << ' ' << unit << ' ' << bytes;
                    if (bytes % 2 != 0) continue;
                    ASSERT_EQ(rows.made(kernel.pairs), rows.made(plain.pairs))
                        << set.name << ' ' << unit << ' ' << bytes;
                }
            }
        }
    }
}

TEST(HalfSizeTest, FormsAreKernelsOfTheirOwn) {
    for (const auto& set : qorvp::featureSets()) {
        if (set.features == 0) continue;
        const qorvp::HalfSizeKernels kernels = qorvp::halfSizeKernels(set.features);
        for (const auto& [form, unit] : kForms) {
            const auto same = std::count_if(std::begin(kernels.form), std::end(kernels.form),
                                            [kernel = kernels.of(form)](const HalfSizeKernel& other) {
                                                return other.luma == kernel.luma || other.pairs == kernel.pairs;
                                            });
            EXPECT_EQ(same, 1) << set.name << ' ' << unit;
        }
    }
}
