#pragma once

#include <gmock/gmock.h>

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "client/include/zelclient.h"

// A mask whose bytes all have this value. A frame without a mask has none, which does not match.
MATCHER_P(IsAMaskOf, value, "") {
    return testing::ExplainMatchResult(testing::AllOf(testing::Not(testing::IsEmpty()), testing::Each(value)), arg,
                                       result_listener);
}

// A box with these edges, in pixels.
MATCHER_P4(IsBox, left, top, right, bottom, "") {
    return arg.rect.left == left && arg.rect.top == top && arg.rect.right == right && arg.rect.bottom == bottom;
}

// Starts clients on the fake host and collects what they tell.
class ClientFixture : public testing::Test {
  protected:
    static constexpr uint32_t kDeadlineMs = 30000;
    static constexpr uint32_t kWidth = 16;
    static constexpr uint32_t kHeight = 9;

    struct Collected {
        uint64_t tag;
        zelclient_status status;
        std::vector<uint8_t> mask;
        std::vector<zelclient_box> boxes = {};
        bool fromLadon = false;
    };

    ClientFixture();
    ~ClientFixture() override;

    // How the fake host behaves, see its source; "only the first host" with `once`.
    void misbehave(const std::string& words, bool once = false);
    // Adds on_result, so that results are collected instead of polled.
    void collectResults();
    void start();
    void stop();

    // A frame whose bytes are all `shade`; the fake host's mask of it has the same, its boxes begin there.
    zelclient_error submit(uint64_t tag, uint8_t shade, uint32_t width = kWidth, uint32_t height = kHeight,
                           zelclient_kind kind = ZELCLIENT_KIND_MODEL);
    zelclient_error submitFaces(uint64_t tag, uint8_t shade) {
        return submit(tag, shade, 160, 90, ZELCLIENT_KIND_FACES);
    }
    zelclient_error submitContent(uint64_t tag, uint8_t shade) {
        return submit(tag, shade, 512, 300, ZELCLIENT_KIND_CONTENT);
    }
    // The next result by polling; fails the test when none comes.
    Collected next();
    Collected roundTrip(uint64_t tag, uint8_t shade);

    zelclient_info info() const;
    std::string lastError() const;

    // Waits until what was collected fulfils a condition; false at the deadline.
    bool waitFor(const std::function<bool()>& condition);
    bool waitForLine(const std::string& line);
    bool waitForState(zelclient_state state);
    // Until so many lines of the host's log begin with `begin`; they come on a thread of their own, at any time.
    bool waitForLines(const std::string& begin, size_t count);
    // The lines that have come so far and begin with `begin`.
    std::vector<std::string> lines(const std::string& begin);
    // Names of shared objects of this process's hosts; empty where the system keeps no list.
    static std::vector<std::string> leftovers();
    // Paths of what this process's hosts have left of their failures.
    static std::vector<std::string> crashFiles();

    zelclient_options options;
    zelclient* client = nullptr;

    std::mutex mutex;  // over what follows
    std::vector<Collected> results;
    std::vector<zelclient_state> states;
    std::vector<std::string> log;

  private:
    static Collected copyOf(const zelclient_result& result);

    std::condition_variable mChanged;
    std::vector<std::string> mEnvironment;
    std::vector<const char*> mEnvironmentPointers;
    std::string mOncePath;
    const std::string mProgram;
};
