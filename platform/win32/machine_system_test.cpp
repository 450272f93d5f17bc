#include <gtest/gtest.h>
#include <windows.h>

#include "platform/include/machine.h"

namespace platform::test {

TEST(WindowsMachineTest, ProcessorsAreThoseOfTheSystem) {
    SYSTEM_INFO information;
    GetNativeSystemInfo(&information);
    unsigned physical = 0;
    unsigned logical = 0;
    ASSERT_TRUE(machine().cpuCores(physical, logical));
    EXPECT_EQ(logical, information.dwNumberOfProcessors);
}

}  // namespace platform::test
