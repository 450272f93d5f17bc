#include "platform/include/machine.h"

#include <gtest/gtest.h>

#include <thread>

namespace platform::test {

TEST(MachineTest, ThisMachineHasCoresAndAtLeastAsManyProcessors) {
    unsigned physical = 0;
    unsigned logical = 0;
    ASSERT_TRUE(machine().cpuCores(physical, logical));
    EXPECT_GE(physical, 1u);
    EXPECT_GE(logical, physical);
    EXPECT_GE(logical, std::thread::hardware_concurrency());
}

TEST(MachineTest, ThisMachineHasAClockOfAPlausibleRate) {
    unsigned megahertz = 0;
    ASSERT_TRUE(machine().cpuFrequency(megahertz));
    EXPECT_GT(megahertz, 100u);
    EXPECT_LT(megahertz, 20000u);
}

TEST(MachineTest, EveryAdapterOfThisMachineHasAName) {
    for (const Adapter& adapter : machine().adapters()) EXPECT_FALSE(adapter.name.empty());
}

TEST(MachineTest, ReplacementIsInForceUntilItIsTakenBack) {
    class Other : public Machine {
        bool cpuCores(unsigned&, unsigned&) override { return false; }
        bool cpuFrequency(unsigned&) override { return false; }
        std::vector<Adapter> adapters() override { return {}; }
    } other;
    Machine& system = machine();
    replaceMachine(&other);
    EXPECT_EQ(&machine(), &other);
    replaceMachine(nullptr);
    EXPECT_EQ(&machine(), &system);
}

}  // namespace platform::test
