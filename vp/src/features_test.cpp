#include "vp/src/Features.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "platform/include/module.h"
#include "platform/include/process.h"

TEST(FeaturesTest, EachSetHasAllThatComesBeforeIt) {
    const auto sets = qorvp::featureSets();
    ASSERT_EQ(sets.front().name, "plain");
    EXPECT_EQ(sets.front().features, 0u);
    for (size_t i = 1; i < sets.size(); ++i) {
        EXPECT_EQ(sets[i].features & sets[i - 1].features, sets[i - 1].features) << sets[i].name;
        EXPECT_NE(sets[i].features, sets[i - 1].features) << sets[i].name;
    }
}

TEST(FeaturesTest, NameForcesItsSetAndAnyOtherTheBest) {
    const auto sets = qorvp::featureSets();
    for (const auto& set : sets) EXPECT_EQ(qorvp::featuresFor(set.name), set.features);
    EXPECT_EQ(qorvp::featuresFor(""), sets.back().features);
    EXPECT_EQ(qorvp::featuresFor("sse9"), sets.back().features);
}

TEST(FeaturesTest, EverySetHasItsOwnVectorForm) {
    EXPECT_FALSE(qorvp::vectorForm(0).has_value());
    std::set<size_t> forms;
    const auto sets = qorvp::featureSets();
    for (const auto& set : sets) {
        if (const auto form = qorvp::vectorForm(set.features)) forms.insert(*form);
    }
    EXPECT_EQ(forms.size(), sets.size() - 1);
}

// Also run on its own by the tests below, which say in the environment what it has to find.
TEST(FeaturesTest, WordIsTheOneExpected) {
    const std::string told = platform::environmentVariable("QORVP_EXPECTED_WORD");
    const uint32_t expected = told.empty() ? qorvp::featuresFor(platform::environmentVariable("QORVP_SIMD"))
                                           : static_cast<uint32_t>(std::stoul(told));
    EXPECT_EQ(qorvp::processorFeatures(), expected);
}

namespace {

int runWithSet(const std::string& forced, uint32_t expected) {
    platform::ProcessOptions options;
    options.environment = {{"QORVP_SIMD", forced}, {"QORVP_EXPECTED_WORD", std::to_string(expected)}};
    std::string error;
    const auto child = platform::startProcess(platform::executablePath(),
                                              {"--gtest_filter=FeaturesTest.WordIsTheOneExpected"}, options, &error);
    if (!child) {
        ADD_FAILURE() << error;
        return -1;
    }
    EXPECT_TRUE(child->waitForExit(60000));
    return child->exitCode();
}

}  // namespace

TEST(FeaturesTest, WordIsForcedByTheEnvironment) {
    for (const auto& set : qorvp::featureSets()) EXPECT_EQ(runWithSet(set.name, set.features), 0) << set.name;
    EXPECT_NE(runWithSet("plain", 1), 0);
}

TEST(FeaturesTest, UnknownSetIsIgnored) {
    EXPECT_EQ(runWithSet("no such set", qorvp::featureSets().back().features), 0);
}
