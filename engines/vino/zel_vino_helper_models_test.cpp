#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "engines/inference_engine/DeviceAlias.h"
#include "engines/vino/ModelStore.h"
#include "engines/vino/ZelVinoHelper.h"
#include "tests/support/SamplePhotograph.h"
#include "tests/support/TraceCapture.h"

using testing::HasSubstr;

namespace {

using Bytes = std::vector<uint8_t>;
using Line = zeltest::TraceCapture::Line;

struct Network {
    const char* device;
    uint32_t performance;
    int xmlId, binId;
    const char* name;
    int32_t width, height;
};

const Network kNetworks[] = {
    {"CPU", 0, 140, 150, "Large_256144_Chan4_D5_V33_03012022U8", 256, 144},
    {"CPU", 1, 180, 190, "Large_640360_Chan4_D5_V33_03032022U8", 640, 360},
    {"GPU", 0, 101, 100, "Large_256144_Chan4_D5_V33_03032022", 256, 144},
    {"GPU", 1, 160, 170, "Large_640360_Chan4_D5_V33_03032022", 640, 360},
};

std::string readVariable(const char* name) {
    return name == std::string("ZELHOST_DEVICE_ALIAS") ? "GPU=CPU" : "";
}

class ZelVinoHelperModelsTest : public testing::Test {
  protected:
    ZelVinoHelperModelsTest() { InferenceEngine::details::replaceVariableReader(readVariable); }
    ~ZelVinoHelperModelsTest() override { InferenceEngine::details::replaceVariableReader(nullptr); }

    // The mask after a few frames of a still picture, enlarged to 640x360.
    static Bytes maskOf(const Network& network) {
        ZelVinoHelper helper;
        helper.preInit(network.device, network.performance);
        EXPECT_TRUE(helper.init(network.device));
        helper.setAutoSkipVBG(false);
        const Bytes frame = zeltest::samplePhotograph(network.width, network.height);
        uint8_t* mask = nullptr;
        for (int i = 0; i < 3; ++i) {
            EXPECT_TRUE(
                helper.process(network.width, network.height, frame.data(), static_cast<int32_t>(frame.size()), &mask));
        }
        Bytes enlarged;
        for (int32_t y = 0; y < 360; ++y) {
            for (int32_t x = 0; x < 640; ++x) {
                enlarged.push_back(mask[y * network.height / 360 * network.width + x * network.width / 640]);
            }
        }
        return enlarged;
    }

    static double overlap(const Bytes& a, const Bytes& b) {
        int both = 0;
        int either = 0;
        for (size_t i = 0; i < a.size(); ++i) {
            both += a[i] > 127 && b[i] > 127;
            either += a[i] > 127 || b[i] > 127;
        }
        return either == 0 ? 0 : static_cast<double>(both) / either;
    }

    zeltest::TraceCapture trace;
};

}  // namespace

TEST_F(ZelVinoHelperModelsTest, EveryNetworkIsReadWithItsNameAndSizes) {
    ZelVinoHelper helper;
    EXPECT_EQ(helper.networkName(), kNetworks[0].name);
    for (const Network& network : kNetworks) {
        trace.takeLines();
        helper.preInit(network.device, network.performance);
        EXPECT_EQ(helper.networkName(), network.name);
        const ModelPair pair(network.xmlId, network.binId);
        const std::vector<Line> lines = trace.takeLines();
        ASSERT_EQ(lines.size(), 4u);
        EXPECT_EQ(lines[1], (Line{2, "zelipc>> load bin size: " + std::to_string(pair.weightsBytes()) +
                                         ", model size = " + std::to_string(pair.xmlBytes())}));
        EXPECT_THAT(lines[2].text, HasSubstr("zelipc>>ZelVinoHelper::init number of physical core: "));
    }
}

TEST_F(ZelVinoHelperModelsTest, PersonIsInsideTheMaskAndTheBackgroundOutside) {
    for (const Network& network : kNetworks) {
        SCOPED_TRACE(network.name);
        const Bytes mask = maskOf(network);
        const auto at = [&mask](int x, int y) {
            return int{mask[static_cast<size_t>(y) * 640 + static_cast<size_t>(x)]};
        };
        EXPECT_GT(at(270, 130), 200) << "face";
        EXPECT_GT(at(260, 320), 200) << "chest";
        EXPECT_LT(at(20, 20), 50) << "upper left corner";
        EXPECT_LT(at(120, 100), 50) << "left of the head";
    }
}

TEST_F(ZelVinoHelperModelsTest, MasksOfAllNetworksAgree) {
    const Bytes first = maskOf(kNetworks[0]);
    for (const Network& network : kNetworks) EXPECT_GT(overlap(first, maskOf(network)), 0.93) << network.name;
}

TEST_F(ZelVinoHelperModelsTest, StillPhotographIsSkippedAndAMovedOneIsNot) {
    for (const Network& network : kNetworks) {
        SCOPED_TRACE(network.name);
        ZelVinoHelper helper;
        helper.preInit(network.device, network.performance);
        ASSERT_TRUE(helper.init(network.device));
        const Bytes frame = zeltest::samplePhotograph(network.width, network.height);
        Bytes moved(frame.size());
        std::copy(frame.begin(), frame.end() - 60, moved.begin() + 60);
        Bytes incoming(ZelVinoHelper::kMaskBytes, 0);
        const auto inferred = [&](const Bytes& picture) {
            uint8_t* mask = incoming.data();
            EXPECT_TRUE(helper.process(network.width, network.height, picture.data(),
                                       static_cast<int32_t>(picture.size()), &mask));
            return mask != incoming.data();
        };
        EXPECT_TRUE(inferred(frame));
        EXPECT_FALSE(inferred(frame));
        EXPECT_FALSE(inferred(frame));
        EXPECT_TRUE(inferred(moved));
    }
}

TEST_F(ZelVinoHelperModelsTest, GpuNetworkTakesOverWhileFramesFlow) {
    ZelVinoHelper helper;
    helper.preInit("GPU", 0);
    std::atomic<bool> loaded{false};
    std::thread loader([&, pending = helper.beginInit("GPU")] {
        EXPECT_TRUE(helper.finishInit(pending));
        loaded = true;
    });
    EXPECT_TRUE(helper.init("CPU"));
    const Bytes frame = zeltest::samplePhotograph(256, 144);
    Bytes incoming(ZelVinoHelper::kMaskBytes, 0);
    int dropped = 0;
    do {
        uint8_t* mask = incoming.data();
        dropped += !helper.process(256, 144, frame.data(), static_cast<int32_t>(frame.size()), &mask);
    } while (!loaded);
    loader.join();
    EXPECT_EQ(dropped, 0);
}
