#pragma once

#include <gtest/gtest.h>

#include <string>

#include "vp/src/Features.h"

namespace qorvp::test {

// The name of a test that runs for each set of instructions.
inline std::string nameOf(const testing::TestParamInfo<FeatureSet>& info) {
    return info.param.name;
}

}  // namespace qorvp::test
