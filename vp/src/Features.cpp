#include "vp/src/Features.h"

#include <algorithm>
#include <cstdlib>
#include <iostream>

#include "hwy/highway.h"

namespace qorvp {

namespace {

struct InstructionSet {
    const char* name;
    uint32_t bit;
    int64_t target;  // the dispatcher's number
};

constexpr InstructionSet kSets[] = {
    {"ssse3", kSsse3, HWY_SSSE3}, {"sse4", kSse4, HWY_SSE4}, {"avx2", kAvx2, HWY_AVX2}, {"avx3", kAvx3, HWY_AVX3}};

}  // namespace

uint32_t processorFeatures() {
    static const uint32_t kFeatures = [] {
        const char* const wanted =
            std::getenv("QORVP_SIMD");  // NOLINT(concurrency-mt-unsafe): once, and nobody sets it
        return featuresFor(wanted ? wanted : "");
    }();
    return kFeatures;
}

std::vector<FeatureSet> featureSets() {
    std::vector<FeatureSet> sets = {{"plain", 0}};
    // Compiled for a better processor, the lower sets have no forms of their own, but their bits stand.
    const int64_t usable = hwy::SupportedTargets() & HWY_TARGETS;
    uint32_t features = 0;
    for (const InstructionSet& set : kSets) {
        features |= set.bit;
        if (usable & set.target) sets.push_back({set.name, features});
    }
    return sets;
}

uint32_t featuresFor(const std::string& name) {
    const std::vector<FeatureSet> sets = featureSets();
    const auto named = std::find_if(sets.begin(), sets.end(), [&](const FeatureSet& set) { return set.name == name; });
    if (named != sets.end()) return named->features;
    if (!name.empty())
        std::cerr << "QORVP_SIMD=" << name << " is not available here, using " << sets.back().name << '\n';
    return sets.back().features;
}

std::optional<size_t> vectorForm(uint32_t features) {
    const auto best = std::find_if(std::rbegin(kSets), std::rend(kSets),
                                   [features](const InstructionSet& set) { return (features & set.bit) != 0; });
    if (best == std::rend(kSets)) return std::nullopt;
    hwy::ChosenTarget chosen;
    chosen.Update(best->target);
    return chosen.GetIndex();
}

}  // namespace qorvp
