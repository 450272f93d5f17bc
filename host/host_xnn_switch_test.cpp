// The types that run an inference library, chosen at random under a client's frames. The host sees a GPU here; the
// processor stands in for it and for the NPU.

#include <gtest/gtest.h>

#include "host/HostXnnFixture.h"
#include "tests/support/CheckedLoad.h"
#include "tests/support/Environment.h"

namespace {

using zeltest::FrameLedger;
using zeltest::LoadPictures;

// The library looks at the environment itself.
template <class Fixture>
class AliasedDevices : public Fixture {
  protected:
    void SetUp() override {
        zeltest::setVariable("ZELHOST_DEVICE_ALIAS", "GPU=CPU,NPU=CPU");
        Fixture::SetUp();
    }
    void TearDown() override {
        Fixture::TearDown();
        zeltest::setVariable("ZELHOST_DEVICE_ALIAS", "");
    }

    void runLoad(const LoadPictures& pictures, uint32_t seconds) {
        zeltest::runCheckedLoad(
            *this->mClient, pictures, [this] { return this->tracedTexts(); }, seconds);
    }
};

class HostXnnSwitchTest : public AliasedDevices<HostXnnFixture> {};
class HostSmallXnnSwitchTest : public AliasedDevices<HostSmallXnnFixture> {};

TEST_F(HostSmallXnnSwitchTest, NoFrameIsLostButWhileTheProcessorsEngineIsMadeAnew) {
    LoadPictures pictures{kWidth, kHeight, {}};
    for (uint8_t i = 0; i < FrameLedger::kPictures; ++i) {
        const auto shade = static_cast<uint8_t>(7 * i);
        pictures.pictures.push_back(picture(shade, shade, shade));
    }
    runLoad(pictures, 2);
}

TEST_F(HostXnnSwitchTest, NoFrameIsLostButWhileTheProcessorsEngineIsMadeAnew) {
    runLoad(zeltest::movedPersons(256, 144), 2);
}

}  // namespace
