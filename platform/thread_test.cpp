#include "platform/include/thread.h"

#include <gtest/gtest.h>

#include <thread>

namespace platform {
namespace {

TEST(ThreadTest, EachThreadHasItsOwnLastingId) {
    const unsigned long own = currentThreadId();
    EXPECT_NE(own, 0u);
    EXPECT_EQ(currentThreadId(), own);
    unsigned long other = own;
    std::thread([&] { other = currentThreadId(); }).join();
    EXPECT_NE(other, own);
}

TEST(ThreadTest, ProcessIdIsTheSameOnEveryThread) {
    int other = 0;
    std::thread([&] { other = currentProcessId(); }).join();
    EXPECT_EQ(other, currentProcessId());
    EXPECT_GT(other, 0);
}

TEST(ThreadTest, NamesOfAnyLengthAreTaken) {
    std::thread([] {
        EXPECT_EQ(setThreadName("scn-ipc"), 0);
        EXPECT_EQ(setThreadName(""), 0);
        EXPECT_EQ(setThreadName("a name that is longer than the kernel keeps"), 0);
    }).join();
}

}  // namespace
}  // namespace platform
