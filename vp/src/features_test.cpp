#include "vp/src/Features.h"

#include <gtest/gtest.h>

#include <set>

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
