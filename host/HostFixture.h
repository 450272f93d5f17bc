#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "host/ZelMLHost.h"
#include "platform/include/clock.h"
#include "tests/support/RawClient.h"
#include "tests/support/TraceCapture.h"

// A host of this process's own under a unique name, its main loop on a thread, and a bare client at the other end.
class HostTest : public testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;

    // Starts the main loop and the frame threads.
    void serve();
    // Ends the main loop by Terminate and waits for it.
    void terminate();
    // Waits until the host has executed every command sent so far.
    void settle();
    // The trace lines so far that begin with one of the host's own beginnings, in order.
    bool traced(unsigned long level, const std::string& text) const;
    // Waits until a line with `text` was traced; what a frame without an answer causes comes at any time.
    void await(
        const std::string& text, const std::function<void()>& meanwhile = [] { platform::sleepMilliseconds(1); });

    std::string mName;
    zeltest::TraceCapture mTrace;
    std::unique_ptr<ZelMLHost> mHost;
    std::unique_ptr<zeltest::RawClient> mClient;
    std::thread mMain;
};
