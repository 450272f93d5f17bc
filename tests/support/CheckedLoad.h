#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <iostream>
#include <string>
#include <utility>
#include <vector>

#include "platform/include/clock.h"
#include "tests/support/Repetitions.h"
#include "tests/support/SwitchLoad.h"

namespace zeltest {

// A SwitchLoad for so many seconds, ZELHOST_SWITCH_SECONDS in their place, with the seed ZELHOST_SWITCH_SEED or one of
// the time. Records what it has seen, and fails the test when a frame was lost outside a rebuild or answered wrongly.
inline LoadReport runCheckedLoad(RawClient& client, LoadPictures pictures,
                                 std::function<std::vector<std::string>()> lines, uint32_t seconds) {
    seconds = repetitions("ZELHOST_SWITCH_SECONDS", seconds);
    const uint32_t seed = repetitions("ZELHOST_SWITCH_SEED", platform::tickCount());
    std::cout << "ZELHOST_SWITCH_SECONDS=" << seconds << " ZELHOST_SWITCH_SEED=" << seed << std::endl;
    SwitchLoad load(client, std::move(pictures), std::move(lines));
    const LoadReport report = load.run(seconds, seed);
    std::cout << report << std::endl;

    const auto property = [](const char* name, size_t value) {
        testing::Test::RecordProperty(name, std::to_string(value));
    };
    property("seed", seed);
    property("sent", report.frames.sent);
    property("answered", report.frames.answered);
    property("lost_in_rebuilds", report.frames.lostInCostly);
    property("lost_elsewhere", report.frames.lostElsewhere);
    property("switches", report.switches);
    property("rebuilds", report.rebuilds);
    property("commands", report.commands);

    EXPECT_EQ(report.frames.lostElsewhere, 0u);
    EXPECT_EQ(report.frames.strays, 0u);
    EXPECT_EQ(report.wrongMasks, 0u);
    EXPECT_EQ(report.frames.sent, report.frames.answered + report.frames.lostInCostly);
    EXPECT_GT(report.frames.answered, 0u);
    EXPECT_GT(report.switches, 0u);
    EXPECT_GT(report.rebuilds, 0u);
    EXPECT_GT(report.nearestPicture, 2 * SwitchLoad::kMaskTolerance) << "masks do not tell pictures apart";
    return report;
}

}  // namespace zeltest
