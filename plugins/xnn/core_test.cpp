#include <gmock/gmock.h>

#include "plugins/xnn/DeviceNames.h"
#include "plugins/xnn/DeviceProperties.h"
#include "plugins/xnn/LayerNames.h"
#include "plugins/xnn/PendingException.h"
#include "plugins/xnn/PluginFixture.h"

// What lies behind the interface and cannot be shown through it on every machine.

namespace xnn {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

class DeviceNamesTest : public testing::Test {
  protected:
    ~DeviceNamesTest() override { xnn_test::setVariable("ZELHOST_DEVICE_ALIAS", ""); }
};

TEST_F(DeviceNamesTest, WithoutAliasNamesStay) {
    EXPECT_EQ(runtimeDevice("GPU"), "GPU");
    EXPECT_EQ(runtimeDevice("AUTO:NPU,GPU"), "AUTO:NPU,GPU");
    EXPECT_THAT(runtimeDevices("NPU,GPU"), ElementsAre("NPU", "GPU"));
}

TEST_F(DeviceNamesTest, OnlyTheListedDevicesChange) {
    xnn_test::setVariable("ZELHOST_DEVICE_ALIAS", "GPU=CPU");
    EXPECT_EQ(runtimeDevice("GPU"), "CPU");
    EXPECT_EQ(runtimeDevice("GPU.1"), "GPU.1");
    EXPECT_EQ(runtimeDevice("NPU"), "NPU");
    EXPECT_EQ(runtimeDevice("AUTO"), "AUTO");
    EXPECT_EQ(runtimeDevice("AUTO:NPU,GPU"), "AUTO:NPU,CPU");
    EXPECT_THAT(runtimeDevices("NPU,GPU"), ElementsAre("NPU", "CPU"));
}

TEST_F(DeviceNamesTest, DevicesThatBecomeOneAreNamedOnce) {
    xnn_test::setVariable("ZELHOST_DEVICE_ALIAS", "GPU=CPU,NPU=CPU");
    EXPECT_THAT(runtimeDevices("NPU,GPU"), ElementsAre("CPU"));
    EXPECT_THAT(runtimeDevices(""), IsEmpty());
}

TEST_F(DeviceNamesTest, WhatIsNoAliasIsPassedOver) {
    xnn_test::setVariable("ZELHOST_DEVICE_ALIAS", ",GPU,=CPU,NPU=,GPU=CPU");
    EXPECT_EQ(runtimeDevice("GPU"), "CPU");
    EXPECT_EQ(runtimeDevice("NPU"), "NPU");
    EXPECT_EQ(runtimeDevice(""), "CPU");
}

TEST(DevicePropertiesTest, MapsOfNumbersAreReadInBothFormsOfTheRuntime) {
    EXPECT_THAT(readNumberMap("{FP16:1.5,FP32:0.75}"), ElementsAre(Pair("FP16", 1.5f), Pair("FP32", 0.75f)));
    EXPECT_THAT(readNumberMap("f16 1.5 f32 0.75"), ElementsAre(Pair("f16", 1.5f), Pair("f32", 0.75f)));
    EXPECT_THAT(readNumberMap("{}"), IsEmpty());
    EXPECT_THAT(readNumberMap("FP16 fast"), IsEmpty());
    EXPECT_THAT(readNumberMap("FP16:1.5,FP32"), ElementsAre(Pair("FP16", 1.5f)));
}

TEST(LayerNamesTest, OuterLayersAreToldInTheirOrder) {
    const Description description = readDescription(R"(<?xml version="1.0"?>
        <!DOCTYPE net>
        <!-- <net version="9"> -->
        <net name="a>b" version="11"><layers>
          <layer id="0" name="out/sink_port_0" type="Result"/>
          <layer id="1" name="loop" type="Loop"><body><layers>
            <layer id="0" name="inner" type="Parameter"/><layer id="1" name="inner_out" type="Result"></layer>
          </layers></body></layer>
          <layer id="2" name="in &amp; &lt;out&gt; &unknown;" type="Parameter"><data shape="1"/></layer>
          <layer id="3" type="Result" name='x"y'></layer>
        </layers></net>)");
    EXPECT_EQ(description.version, "11");
    EXPECT_THAT(description.inputs, ElementsAre("in & <out> &unknown;"));
    EXPECT_THAT(description.outputs, ElementsAre("out/sink_port_0", "x\"y"));
}

TEST(LayerNamesTest, AnyTextCanBeRead) {
    const std::string whole = R"(<net version="11"><layers><layer name="a" type="Result"/></layers></net>)";
    for (size_t size = 0; size < whole.size(); ++size) readDescription(std::string_view(whole).substr(0, size));
    for (const char* text : {"", "<", "<<", "</", "<!--", "<a b", "<a b=", "<a b=\"", "no network", "><"}) {
        EXPECT_EQ(readDescription(text).version, "") << text;
    }
}

TEST(LayerNamesTest, NamesAreListedWithoutTheSink) {
    EXPECT_EQ(listedName("lut/sink_port_0"), "lut");
    EXPECT_EQ(listedName("lut/sink_port_1"), "lut/sink_port_1");
    EXPECT_EQ(listedName("lut"), "lut");
}

TEST(PendingExceptionTest, LongTextIsCutBetweenCharacters) {
    PendingException pending;
    std::string text;
    for (int i = 0; i < 2000; ++i) text += "\xE2\x82\xAC";
    pending.set("f", text);
    EXPECT_EQ(pending.text().size(), 4096u - (4096u - 3u) % 3u);
    EXPECT_TRUE(pending.text().ends_with("\xE2\x82\xAC"));
    EXPECT_TRUE(pending.text().starts_with("f: \xE2\x82\xAC"));
}

}  // namespace
}  // namespace xnn
