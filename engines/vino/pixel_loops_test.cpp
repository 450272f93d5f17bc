#include "engines/vino/PixelLoops.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstring>
#include <limits>
#include <numeric>
#include <random>
#include <set>

#include "platform/include/guarded_memory.h"
#include "platform/include/module.h"
#include "platform/include/process.h"

using PixelLoops::Kernels;
using platform::GuardedMemory;

namespace {

constexpr size_t kWidest = 130;

std::vector<size_t> counts() {
    std::vector<size_t> result;
    for (size_t i = 0; i <= kWidest; ++i) result.push_back(i);
    result.insert(result.end(), {255, 256, 257, 1023, 4097});
    return result;
}

// Runs `check` for every vector form that this machine has.
template <class Check>
void forEachVectorForm(Check check) {
    for (const Kernels* form : PixelLoops::available()) {
        if (form == PixelLoops::available().front()) continue;
        SCOPED_TRACE(form->name);
        check(*form);
    }
}

class PixelLoopsTest : public testing::Test {
  protected:
    void fillRandom(const GuardedMemory& memory, int least = 0, int greatest = 255) {
        std::uniform_int_distribution<int> distribution(least, greatest);
        for (uint8_t& byte : memory) byte = static_cast<uint8_t>(distribution(random));
    }

    // Slopes and plateaus around the foreground threshold, with some noise: edges, ridges and steady falls.
    void fillMask(const GuardedMemory& memory, size_t width) {
        std::uniform_int_distribution<int> noise(0, 4);
        const double scale = std::uniform_real_distribution<double>(0.2, 2.0)(random);
        for (size_t i = 0; i < memory.size(); ++i) {
            const size_t row = i / width;
            const size_t column = i % width;
            const double wave =
                std::sin(static_cast<double>(column) * scale) * std::cos(static_cast<double>(row) * 0.7);
            memory.data()[i] = static_cast<uint8_t>(std::clamp(128 + wave * 140 + noise(random), 0.0, 255.0));
        }
    }

    static void expectSame(const GuardedMemory& expected, const GuardedMemory& actual) {
        ASSERT_EQ(expected.size(), actual.size());
        const auto [at, ignored] = std::mismatch(expected.begin(), expected.end(), actual.begin());
        ASSERT_EQ(at, expected.end()) << "differs at byte " << at - expected.begin() << " of " << expected.size();
    }

    std::mt19937 random{20220303};
};

float* floats(const GuardedMemory& memory) {
    return reinterpret_cast<float*>(memory.data());
}

}  // namespace

TEST(PixelLoopsDeathTest, GuardedMemoryEndsAtItsLastByte) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const GuardedMemory memory(100);
    volatile uint8_t* const last = memory.data() + 99;
    *last = 1;
    // A sanitizer would take the signal and report what is wanted here.
    EXPECT_DEATH(
        {
            std::signal(SIGSEGV, SIG_DFL);
            last[1] = 1;
        },
        "");
}

TEST_F(PixelLoopsTest, PlanesOfAVectorFormAreThoseOfThePlainOne) {
    forEachVectorForm([&](const Kernels& form) {
        for (const size_t pixels : counts()) {
            for (const size_t channels : {1, 2, 3, 4, 5}) {
                const GuardedMemory frame(pixels * 3), mask(pixels);
                const GuardedMemory expected(pixels * channels * 4), actual(pixels * channels * 4);
                fillRandom(frame);
                fillRandom(mask);
                PixelLoops::plain().fillPlanes(frame.data(), mask.data(), pixels, channels, floats(expected));
                form.fillPlanes(frame.data(), mask.data(), pixels, channels, floats(actual));
                expectSame(expected, actual);
            }
        }
    });
}

TEST_F(PixelLoopsTest, PlanesHoldTheBytesOfTheFrameAndThenTheMask) {
    const uint8_t frame[] = {1, 2, 3, 4, 5, 255};
    const uint8_t mask[] = {7, 200};
    float planes[10];
    PixelLoops::plain().fillPlanes(frame, mask, 2, 5, planes);
    EXPECT_EQ(std::vector<float>(planes, planes + 10), (std::vector<float>{1, 4, 2, 5, 3, 255, 7, 200, 7, 200}));
}

TEST_F(PixelLoopsTest, PlanesBelowFourNeedNoMask) {
    const uint8_t frame[] = {1, 2, 3};
    float planes[3];
    for (const Kernels* form : PixelLoops::available()) {
        form->fillPlanes(frame, nullptr, 1, 3, planes);
        EXPECT_EQ(planes[2], 3.0f) << form->name;
    }
}

TEST_F(PixelLoopsTest, CentredPlanesOfAVectorFormAreThoseOfThePlainOne) {
    forEachVectorForm([&](const Kernels& form) {
        for (const size_t pixels : counts()) {
            const GuardedMemory frame(pixels * 3), expected(pixels * 3 * 4), actual(pixels * 3 * 4);
            fillRandom(frame);
            PixelLoops::plain().fillCentredPlanes(frame.data(), pixels, floats(expected));
            form.fillCentredPlanes(frame.data(), pixels, floats(actual));
            expectSame(expected, actual);
        }
    });
}

TEST_F(PixelLoopsTest, CentredPlanesHoldTheBytesAroundZero) {
    const uint8_t frame[] = {0, 127, 255, 128, 126, 63};
    float planes[6];
    PixelLoops::plain().fillCentredPlanes(frame, 2, planes);
    EXPECT_EQ(std::vector<float>(planes, planes + 6),
              (std::vector<float>{-127 / 128.0f, 1 / 128.0f, 0, -1 / 128.0f, 1, -0.5f}));
}

TEST_F(PixelLoopsTest, EveryByteBecomesItsFractionInEveryForm) {
    std::vector<uint8_t> bytes(256);
    std::iota(bytes.begin(), bytes.end(), uint8_t{0});
    for (const Kernels* form : PixelLoops::available()) {
        std::vector<float> fractions(256);
        form->bytesToFractions(bytes.data(), bytes.size(), fractions.data());
        for (size_t i = 0; i < 256; ++i)
            ASSERT_EQ(fractions[i], static_cast<float>(static_cast<double>(i) / 255.0)) << form->name << ' ' << i;
    }
}

TEST_F(PixelLoopsTest, FractionsOfAVectorFormAreThoseOfThePlainOne) {
    forEachVectorForm([&](const Kernels& form) {
        for (const size_t count : counts()) {
            const GuardedMemory bytes(count), expected(count * 4), actual(count * 4);
            fillRandom(bytes);
            PixelLoops::plain().bytesToFractions(bytes.data(), count, floats(expected));
            form.bytesToFractions(bytes.data(), count, floats(actual));
            expectSame(expected, actual);
        }
    });
}

TEST_F(PixelLoopsTest, FloatsAreTruncatedTowardZeroToTheirLowByte) {
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    const struct {
        float value;
        int byte;
    } cases[] = {{0.0f, 0},
                 {0.999f, 0},
                 {-0.999f, 0},
                 {1.999f, 1},
                 {255.0f, 255},
                 {256.0f, 0},
                 {300.0f, 44},
                 {-1.0f, 255},
                 {-1.9f, 255},
                 {-300.0f, 212},
                 {1e6f, 64},
                 {-2147483648.0f, 0},
                 {2147483648.0f, 0},
                 {2147483520.0f, 128},
                 {1e10f, 0},
                 {-1e10f, 0},
                 {kInfinity, 0},
                 {-kInfinity, 0},
                 {3e38f, 0},
                 {std::numeric_limits<float>::quiet_NaN(), 0},
                 {-std::numeric_limits<float>::quiet_NaN(), 0},
                 {1e-40f, 0},
                 {-0.0f, 0}};
    for (const Kernels* form : PixelLoops::available()) {
        for (const auto& expected : cases) {
            const std::vector<float> values(67, expected.value);
            std::vector<uint8_t> bytes(67, 99);
            form->floatsToBytes(values.data(), values.size(), 1.0f, bytes.data());
            EXPECT_EQ(bytes, std::vector<uint8_t>(67, static_cast<uint8_t>(expected.byte)))
                << form->name << ' ' << expected.value;
        }
    }
}

TEST_F(PixelLoopsTest, MaskBytesOfAVectorFormAreThoseOfThePlainOne) {
    std::uniform_real_distribution<float> inside(-0.2f, 1.2f);
    std::uniform_int_distribution<uint32_t> anyBits;
    forEachVectorForm([&](const Kernels& form) {
        for (const size_t count : counts()) {
            const GuardedMemory values(count * 4), expected(count), actual(count);
            for (size_t i = 0; i < count; ++i) {
                const uint32_t bits = anyBits(random);
                const float value = inside(random);
                std::memcpy(values.data() + i * 4, i % 3 == 0 ? static_cast<const void*>(&bits) : &value, 4);
            }
            for (const float scale : {255.0f, 1.0f}) {
                PixelLoops::plain().floatsToBytes(floats(values), count, scale, expected.data());
                form.floatsToBytes(floats(values), count, scale, actual.data());
                expectSame(expected, actual);
            }
        }
    });
}

TEST_F(PixelLoopsTest, SumIsThatOfAllBytes) {
    for (const Kernels* form : PixelLoops::available()) {
        for (const size_t count : counts()) {
            const GuardedMemory bytes(count);
            fillRandom(bytes);
            uint32_t expected = 0;
            for (const uint8_t byte : bytes) expected += byte;
            ASSERT_EQ(form->sumBytes(bytes.data(), count), expected) << form->name << ' ' << count;
        }
    }
}

TEST_F(PixelLoopsTest, SumWrapsAt32Bits) {
    const std::vector<uint8_t> bytes(17000001, 255);
    const auto expected = static_cast<uint32_t>(uint64_t{17000001} * 255);
    for (const Kernels* form : PixelLoops::available()) {
        EXPECT_EQ(form->sumBytes(bytes.data(), bytes.size()), expected) << form->name;
    }
}

TEST_F(PixelLoopsTest, EdgesOfAVectorFormAreThoseOfThePlainOne) {
    const auto check = [&](const Kernels& form, size_t width, size_t height) {
        const GuardedMemory mask(width * height), expected(width * height), actual(width * height);
        fillMask(mask, width);
        fillRandom(expected, 0, 1);
        std::copy(expected.begin(), expected.end(), actual.begin());
        const int32_t count = PixelLoops::plain().markEdges(width, height, mask.data(), expected.data());
        ASSERT_EQ(form.markEdges(width, height, mask.data(), actual.data()), count) << width << 'x' << height;
        expectSame(expected, actual);
    };
    forEachVectorForm([&](const Kernels& form) {
        for (size_t width = 1; width <= kWidest; ++width) {
            for (const size_t height : {1, 2, 3, 4, 5, 6, 17}) check(form, width, height);
        }
        for (const size_t width : {640, 1022, 1023, 1024, 1025, 1026, 1027, 2047, 2050}) check(form, width, 7);
    });
}

TEST_F(PixelLoopsTest, EdgesOfAnEmptyPictureAreNone) {
    uint8_t none = 5;
    for (const Kernels* form : PixelLoops::available()) {
        EXPECT_EQ(form->markEdges(0, 0, &none, &none), 0);
        EXPECT_EQ(form->markEdges(0, 3, &none, &none), 0);
        EXPECT_EQ(form->markEdges(3, 0, &none, &none), 0);
    }
    EXPECT_EQ(none, 5);
}

TEST_F(PixelLoopsTest, ErosionOfAVectorFormIsThatOfThePlainOne) {
    const auto check = [&](const Kernels& form, size_t width, size_t height, bool slopes) {
        const GuardedMemory src(width * height), expected(width * height), actual(width * height);
        slopes ? fillMask(src, width) : fillRandom(src, 0, 3);
        PixelLoops::plain().erode(width, height, src.data(), expected.data());
        form.erode(width, height, src.data(), actual.data());
        expectSame(expected, actual);
    };
    forEachVectorForm([&](const Kernels& form) {
        for (size_t width = 3; width <= kWidest; ++width) {
            for (const size_t height : {3, 4, 5, 17}) {
                check(form, width, height, true);
                check(form, width, height, false);
            }
        }
        check(form, 256, 144, true);
    });
}

TEST_F(PixelLoopsTest, ChangedPixelsOfAVectorFormAreThoseOfThePlainOne) {
    forEachVectorForm([&](const Kernels& form) {
        for (const size_t pixels : counts()) {
            for (const int spread : {3, 24, 255}) {
                const GuardedMemory frame(pixels * 3), reference(pixels * 3), edges(pixels);
                fillRandom(frame);
                fillRandom(edges, -6, 1);
                for (uint8_t& byte : edges) byte = byte > 1 ? 0 : byte;
                std::uniform_int_distribution<int> change(-spread, spread);
                for (size_t i = 0; i < pixels * 3; ++i) {
                    reference.data()[i] = static_cast<uint8_t>(std::clamp(frame.data()[i] + change(random), 0, 255));
                }
                ASSERT_EQ(form.countChanged(pixels, frame.data(), reference.data(), edges.data()),
                          PixelLoops::plain().countChanged(pixels, frame.data(), reference.data(), edges.data()))
                    << pixels;
            }
        }
    });
}

TEST_F(PixelLoopsTest, DifferencesAddUpBeyondAByte) {
    for (const Kernels* form : PixelLoops::available()) {
        const std::vector<uint8_t> black(3 * 64, 0), white(3 * 64, 255), edges(64, 255);
        EXPECT_EQ(form->countChanged(64, black.data(), white.data(), edges.data()), 64) << form->name;
        EXPECT_EQ(form->countChanged(64, white.data(), black.data(), edges.data()), 64) << form->name;
    }
}

TEST_F(PixelLoopsTest, FormsAreDistinctAndThePlainOneIsFirst) {
    const std::vector<const Kernels*> forms = PixelLoops::available();
    std::set<decltype(Kernels::sumBytes)> functions;
    for (const Kernels* form : forms) {
        functions.insert(form->sumBytes);
        EXPECT_EQ(PixelLoops::select(form->name), form);
    }
    EXPECT_EQ(functions.size(), forms.size());
    EXPECT_EQ(forms.front()->name, "plain");
    EXPECT_EQ(forms.front()->sumBytes, PixelLoops::plain().sumBytes);
    EXPECT_EQ(PixelLoops::select("no such set"), nullptr);
    EXPECT_EQ(PixelLoops::select(""), nullptr);
}

// Also run on its own by the two tests below, which say in the environment what it has to find.
TEST_F(PixelLoopsTest, ActiveFormIsTheOneExpected) {
    const std::string best = PixelLoops::available().back()->name;
    const std::string forced = platform::environmentVariable("ZELHOST_SIMD");
    const std::string told = platform::environmentVariable("ZELHOST_EXPECTED_FORM");
    const std::string expected = !told.empty() ? told : forced.empty() ? best : forced;
    EXPECT_EQ(PixelLoops::active().name, expected);
    EXPECT_EQ(PixelLoops::active().sumBytes, PixelLoops::select(expected)->sumBytes);
}

namespace {

int runWithForm(const std::string& forced, const std::string& expected) {
    platform::ProcessOptions options;
    options.environment = {{"ZELHOST_SIMD", forced}, {"ZELHOST_EXPECTED_FORM", expected}};
    std::string error;
    const auto child = platform::startProcess(
        platform::executablePath(), {"--gtest_filter=PixelLoopsTest.ActiveFormIsTheOneExpected"}, options, &error);
    if (!child) {
        ADD_FAILURE() << error;
        return -1;
    }
    EXPECT_TRUE(child->waitForExit(60000));
    return child->exitCode();
}

}  // namespace

TEST_F(PixelLoopsTest, FormIsForcedByTheEnvironment) {
    for (const Kernels* form : PixelLoops::available()) EXPECT_EQ(runWithForm(form->name, form->name), 0) << form->name;
    EXPECT_NE(runWithForm("plain", PixelLoops::available().back()->name), 0);
}

TEST_F(PixelLoopsTest, UnknownFormIsIgnored) {
    EXPECT_EQ(runWithForm("no such set", PixelLoops::available().back()->name), 0);
}
