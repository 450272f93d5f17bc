#include <gtest/gtest.h>
#include <windows.h>

#include <string>

#include "platform/include/kernel_objects.h"

// The same objects, reached by the system's own calls.
namespace platform {
namespace {

const std::string kName = "zelhostwin32" + std::to_string(GetCurrentProcessId());

TEST(NamedObjectTest, EventIsAnAutoResetEventOfThatName) {
    const Handle event = systemKernelObjects().createEvent(kName.c_str());
    ASSERT_TRUE(event);
    const HANDLE same = OpenEventA(EVENT_ALL_ACCESS, FALSE, kName.c_str());
    ASSERT_TRUE(same);
    systemKernelObjects().setEvent(event);
    EXPECT_EQ(WaitForSingleObject(same, 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(same, 0), static_cast<DWORD>(WAIT_TIMEOUT));
    CloseHandle(same);
    systemKernelObjects().closeEvent(event);
}

TEST(NamedObjectTest, NameTakenByAnotherKindOfObjectIsRefused) {
    const Handle event = systemKernelObjects().createEvent(kName.c_str());
    ASSERT_TRUE(event);
    EXPECT_EQ(systemKernelObjects().createMapping(kName.c_str(), 4096, "", 0), nullptr);
    EXPECT_EQ(systemKernelObjects().lastError(), static_cast<uint32_t>(ERROR_INVALID_HANDLE));
    EXPECT_NE(systemKernelObjects().lastErrorText().find(kName), std::string::npos);
    systemKernelObjects().closeEvent(event);
}

}  // namespace
}  // namespace platform
