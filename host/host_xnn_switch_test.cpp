// The types that run an inference library, chosen at random under a client's frames. The host sees a GPU here; the
// processor stands in for it and for the NPU. Small networks make for many switches; the real ones are switched in
// engine_switch_process_test.

#include <gtest/gtest.h>

#include <utility>

#include "host/HostXnnFixture.h"
#include "tests/support/CheckedLoad.h"
#include "tests/support/Environment.h"

namespace {

using zeltest::FrameLedger;

class HostXnnSwitchTest : public HostSmallXnnFixture {
  protected:
    // The library looks at the environment itself.
    void SetUp() override {
        zeltest::setVariable("ZELHOST_DEVICE_ALIAS", "GPU=CPU,NPU=CPU");
        HostSmallXnnFixture::SetUp();
    }
    void TearDown() override {
        HostSmallXnnFixture::TearDown();
        zeltest::setVariable("ZELHOST_DEVICE_ALIAS", "");
    }
};

TEST_F(HostXnnSwitchTest, NoFrameIsLostButWhileTheProcessorsEngineIsMadeAnew) {
    zeltest::LoadPictures pictures{kWidth, kHeight, {}};
    for (uint8_t i = 0; i < FrameLedger::kPictures; ++i) {
        const auto shade = static_cast<uint8_t>(7 * i);
        pictures.pictures.push_back(picture(shade, shade, shade));
    }
    zeltest::runCheckedLoad(
        *mClient, std::move(pictures), [this] { return tracedTexts(); }, 2);
}

}  // namespace
