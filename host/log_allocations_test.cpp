#include "host/HostFixture.h"
#include "tests/support/AllocationCount.h"

namespace {

using LogAllocationsTest = HostTest;

size_t allocationsOfALine(ZelMLHost& host, ipc::LogChannel& logs, std::string text) {
    return zeltest::allocationsOf([&] {
        host.sendLog(1, text.data(), static_cast<uint32_t>(text.size()));
        while (logs.read([](const auto&) {}, 0)) {
        }
    });
}

// The crash filter sends lines while the heap may be locked.
TEST_F(LogAllocationsTest, LineOfOneChunkOrOfSeveralTakesNoMemory) {
    EXPECT_EQ(allocationsOfALine(*mHost, *mClient->logs, "zelhost crashed!!!"), 0u);
    EXPECT_EQ(allocationsOfALine(*mHost, *mClient->logs, std::string(1300, 'x')), 0u);
}

}  // namespace
