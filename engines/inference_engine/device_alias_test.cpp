#include "engines/inference_engine/DeviceAlias.h"

#include <gtest/gtest.h>

using namespace InferenceEngine::details;

namespace {

std::string variables(const char* name) {
    const std::string variable = name;
    if (variable == "ZELHOST_DEVICE_ALIAS") return "GPU=CPU,NPU=CPU";
    if (variable == "ZELHOST_DEVICE_DELAY_MS") return "GPU=20,CPU=30";
    if (variable == "ZELHOST_DEVICE_INFER_DELAY_MS") return "NPU=7";
    if (variable == "ZELHOST_DEVICE_FAIL") return "NPU";
    if (variable == "ZELHOST_DEVICE_PRESENT") return "GPU";
    return {};
}

class DeviceAliasTest : public testing::Test {
  public:
    DeviceAliasTest() { replaceVariableReader(variables); }
    ~DeviceAliasTest() override { replaceVariableReader(nullptr); }
};

}  // namespace

TEST(ListValueTest, ValueIsFoundByItsWholeKey) {
    EXPECT_EQ(listValue("GPU=CPU,NPU=AUTO", "GPU"), "CPU");
    EXPECT_EQ(listValue("GPU=CPU,NPU=AUTO", "NPU"), "AUTO");
    EXPECT_EQ(listValue("GPU=CPU", "GP"), "");
    EXPECT_EQ(listValue("GPU=CPU", "GPU.0"), "");
    EXPECT_EQ(listValue("GPU=", "GPU"), "");
    EXPECT_EQ(listValue("", "GPU"), "");
    EXPECT_EQ(listValue("CPU,GPU", "GPU"), "GPU");
    EXPECT_EQ(listValue(",,GPU=1,", "GPU"), "1");
}

TEST_F(DeviceAliasTest, AliasIsGivenToTheRuntimeAndOtherNamesStay) {
    EXPECT_EQ(runtimeDevice("GPU"), "CPU");
    EXPECT_EQ(runtimeDevice("NPU"), "CPU");
    EXPECT_EQ(runtimeDevice("AUTO"), "AUTO");
}

#ifdef ZELHOST_TEST_HOOKS
TEST_F(DeviceAliasTest, HooksGoByTheHelpersName) {
    EXPECT_EQ(loadDelayMs("GPU"), 20u);
    EXPECT_EQ(loadDelayMs("NPU"), 0u);
    EXPECT_EQ(inferDelayMs("NPU"), 7u);
    EXPECT_EQ(inferDelayMs("CPU"), 0u);
    EXPECT_TRUE(loadFails("NPU"));
    EXPECT_FALSE(loadFails("GPU"));
    EXPECT_TRUE(countsAsPresent("GPU"));
    EXPECT_FALSE(countsAsPresent("NPU"));
}
#else
TEST_F(DeviceAliasTest, HooksAreNotBuiltIn) {
    EXPECT_EQ(loadDelayMs("GPU"), 0u);
    EXPECT_EQ(inferDelayMs("NPU"), 0u);
    EXPECT_FALSE(loadFails("NPU"));
    EXPECT_FALSE(countsAsPresent("GPU"));
}
#endif
