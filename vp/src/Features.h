#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// The feature word, which says what instruction sets the processor has, and the forms of a kernel that go with it.
// Strategies take the word when they are made and keep the kernels that it picks.
namespace qorvp {

inline constexpr uint32_t kSsse3 = 4;
inline constexpr uint32_t kSse4 = 8;
inline constexpr uint32_t kAvx2 = 0x200;
inline constexpr uint32_t kAvx3 = 0x400;  // AVX-512 with bytes and words

// What kernels may use: all that the processor has or, when the environment variable QORVP_SIMD names one of
// featureSets(), that. Any other name is told on stderr and ignored. Probed once; any thread may call.
uint32_t processorFeatures();

// What QORVP_SIMD may name here, each with all that comes before it: "plain", "ssse3", "sse4", "avx2", "avx3", as far
// as the processor has them.
struct FeatureSet {
    std::string name;
    uint32_t features;
};
std::vector<FeatureSet> featureSets();

// What processorFeatures() answers when QORVP_SIMD has that value.
uint32_t featuresFor(const std::string& name);

// Where the vector form for the word's best bit lies in a table of HWY_EXPORT. Nothing when the word has no bit of the
// above: then the plain forms are meant.
std::optional<size_t> vectorForm(uint32_t features);

}  // namespace qorvp
