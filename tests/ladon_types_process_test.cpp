// The Ladon network through every engine that can run it: one photograph, one host, the model types one after the
// other.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/include/clock.h"
#include "platform/include/module.h"
#include "platform/include/process.h"
#include "tests/support/HostProcess.h"
#include "tests/support/SamplePhotograph.h"

namespace {

constexpr uint32_t kVinoCpu = 7, kXnnGpu = 8, kXnnCpu = 9, kXnnNpu = 10;
constexpr int kSettlingFrames = 12;  // the mask is fed back

using Result = std::unique_ptr<ipc::LadonResult>;

// A host that takes the processor for a GPU and an NPU, and knows the library beside it.
class LadonTypesTest : public testing::TestWithParam<uint32_t> {
  protected:
    LadonTypesTest()
        : mHost({{"ZELHOST_DEVICE_ALIAS", "GPU=CPU,NPU=CPU"}, {"ZELHOST_DEVICE_PRESENT", "GPU"}}, &mArguments, mMid),
          mClient(mHost.baseName()) {
        mClient.command([](ipc::Command& command) {
            command.code = static_cast<uint32_t>(ipc::CommandCode::SetModelPath);
            command.pathKind = static_cast<int32_t>(ipc::PathKind::XnnLibrary);
            const std::string folder = platform::executableDirectory() + "/../bin";
            folder.copy(command.text, sizeof command.text - 1);
        });
    }
    ~LadonTypesTest() override {
        mClient.command(ipc::CommandCode::Terminate);
        mHost.process().waitForExit(zeltest::kDeadlineMs);
    }

    Result run() {
        mClient.frame(width(), height(), mPhotograph, 1, {}, false, false);
        Result result = mClient.ladonResult();
        if (!result) throw std::runtime_error("a frame was not answered: " + mHost.errorText());
        return result;
    }
    Result runSettled() {
        for (int frame = 1; frame < kSettlingFrames; ++frame) run();
        return run();
    }
    // Runs frames until the engine for `device` is in place.
    void awaitSwitchTo(const std::string& device) {
        const uint32_t start = platform::tickCount();
        for (;;) {
            while (const auto line = mClient.logLine(0))
                if (line->text.ends_with("switchEngine success, current device: " + device)) return;
            ASSERT_LT(platform::tickCount() - start, zeltest::kDeadlineMs) << device;
            run();
        }
    }

    uint32_t width() const { return GetParam() == 0 ? 256 : 640; }
    uint32_t height() const { return GetParam() == 0 ? 144 : 360; }

    const std::string mMid = zeltest::uniqueInstanceId();
    const std::vector<std::string> mArguments = {"PID=" + std::to_string(platform::currentProcessId()), "MID=" + mMid,
                                                 "LOG=2"};
    const std::vector<uint8_t> mPhotograph =
        zeltest::samplePhotograph(static_cast<int32_t>(width()), static_cast<int32_t>(height()));
    zeltest::HostProcess mHost;
    zeltest::RawClient mClient;
};

// Of the person, where a mask is above the middle.
double intersectionOverUnion(const ipc::LadonResult& one, const ipc::LadonResult& other) {
    size_t both = 0, either = 0;
    for (size_t i = 0; i < one.size; ++i) {
        const bool first = one.mask[i] > 127, second = other.mask[i] > 127;
        both += first && second;
        either += first || second;
    }
    return either == 0 ? 1.0 : static_cast<double>(both) / static_cast<double>(either);
}

template <size_t N>
double largestDifference(const float (&one)[N], const float (&other)[N]) {
    double largest = 0;
    for (size_t i = 0; i < N; ++i) largest = std::max(largest, std::fabs(static_cast<double>(one[i]) - other[i]));
    return largest;
}

// The colour table belongs to the library's road alone.
void expectSameFinding(const ipc::LadonResult& expected, const ipc::LadonResult& actual, const std::string& name) {
    ASSERT_EQ(actual.size, expected.size) << name;
    const double overlap = intersectionOverUnion(expected, actual);
    const double landmarks = largestDifference(expected.landmarks, actual.landmarks);
    const double gesture = largestDifference(expected.gesture, actual.gesture);
    testing::Test::RecordProperty(name + "_mask_iou", std::to_string(overlap));
    testing::Test::RecordProperty(name + "_landmarks_difference", std::to_string(landmarks));
    testing::Test::RecordProperty(name + "_gesture_difference", std::to_string(gesture));
    EXPECT_GE(overlap, 0.99) << name;
    EXPECT_LE(landmarks, 1e-3) << name;
    EXPECT_LE(gesture, 1e-3) << name;
    EXPECT_NEAR(actual.motion, expected.motion, 1e-3) << name;
}

TEST_P(LadonTypesTest, EveryEngineFindsTheSame) {
    ASSERT_EQ(mClient.startModel(kVinoCpu, GetParam()), kVinoCpu);
    const Result expected = runSettled();
    ASSERT_GT(std::count_if(expected->mask, expected->mask + expected->size, [](uint8_t m) { return m > 127; }), 0);
    ASSERT_GT(*std::max_element(std::begin(expected->landmarks), std::end(expected->landmarks)), 0.0f);

    ASSERT_EQ(mClient.startModel(kXnnCpu, GetParam()), kXnnCpu);
    const Result onCpu = runSettled();
    expectSameFinding(*expected, *onCpu, "type_9");
    EXPECT_GT(onCpu->lutConfidence, 0.0f);

    ASSERT_EQ(mClient.startModel(kXnnGpu, GetParam()), kXnnGpu);
    awaitSwitchTo("GPU");
    expectSameFinding(*expected, *runSettled(), "type_8");

    ASSERT_EQ(mClient.startModel(kXnnNpu, GetParam()), kXnnNpu);
    awaitSwitchTo("NPU");
    const Result onNpu = runSettled();
    expectSameFinding(*expected, *onNpu, "type_10");
    EXPECT_LE(largestDifference(onCpu->lut, onNpu->lut), 1e-3);
}

INSTANTIATE_TEST_SUITE_P(BothCapacities, LadonTypesTest, testing::Values(0u, 1u));

}  // namespace
