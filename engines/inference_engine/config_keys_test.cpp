#include "engines/inference_engine/ConfigKeys.h"

#include <gmock/gmock.h>

using namespace InferenceEngine::details;

namespace {

using Values = std::map<std::string, std::string>;

Values translated(const std::string& key, const std::string& value) {
    Settings settings;
    addSetting(settings, key, value);
    Values values;
    for (const auto& [newKey, setting] : settings) {
        EXPECT_EQ(setting.askedAs, key);
        values[newKey] = setting.value;
    }
    return values;
}

}  // namespace

TEST(ConfigKeysTest, OldKeysAreTranslated) {
    EXPECT_EQ(translated("CPU_THROUGHPUT_STREAMS", "CPU_THROUGHPUT_AUTO"),
              (Values{{"NUM_STREAMS", "AUTO"}, {"PERFORMANCE_HINT_NUM_REQUESTS", "1"}}));
    EXPECT_EQ(translated("CPU_THROUGHPUT_STREAMS", "2"), (Values{{"NUM_STREAMS", "2"}}));
    EXPECT_EQ(translated("CPU_BIND_THREAD", "NUMA"), (Values{{"ENABLE_CPU_PINNING", "NO"}}));
    EXPECT_EQ(translated("CPU_BIND_THREAD", "YES"), (Values{{"ENABLE_CPU_PINNING", "YES"}}));
    EXPECT_EQ(translated("CPU_THREADS_NUM", "1"), (Values{{"INFERENCE_NUM_THREADS", "1"}}));
    EXPECT_EQ(translated("CLDNN_PLUGIN_THROTTLE", "1"), (Values{{"GPU_QUEUE_THROTTLE", "LOW"}}));
    EXPECT_EQ(translated("CACHE_DIR", "/a"), (Values{{"CACHE_DIR", "/a"}}));
}

TEST(ConfigKeysTest, OtherKeysPassAsTheyAre) {
    EXPECT_EQ(translated("PERFORMANCE_HINT", "LATENCY"), (Values{{"PERFORMANCE_HINT", "LATENCY"}}));
}

TEST(ConfigKeysTest, LaterSettingReplacesTheEarlierOneUnderEitherName) {
    Settings settings;
    addSetting(settings, "CPU_THREADS_NUM", "1");
    addSetting(settings, "INFERENCE_NUM_THREADS", "2");
    ASSERT_EQ(settings.size(), 1u);
    EXPECT_EQ(settings["INFERENCE_NUM_THREADS"].value, "2");
}

TEST(ConfigKeysTest, KeyIsKnownAsAWholeWord) {
    EXPECT_TRUE(knowsKey("NUM_STREAMS INFERENCE_NUM_THREADS", "NUM_STREAMS"));
    EXPECT_TRUE(knowsKey("NUM_STREAMS INFERENCE_NUM_THREADS", "INFERENCE_NUM_THREADS"));
    EXPECT_FALSE(knowsKey("NUM_STREAMS INFERENCE_NUM_THREADS", "NUM_THREADS"));
    EXPECT_FALSE(knowsKey("", "NUM_STREAMS"));
    EXPECT_TRUE(knowsKey("", "CACHE_DIR"));
}

TEST(ConfigKeysTest, DroppedKeyIsReportedOnce) {
    static int repeat = 0;
    const std::string one = "KEY_ONE_" + std::to_string(++repeat);
    const std::string two = "KEY_TWO_" + std::to_string(repeat);
    testing::internal::CaptureStderr();
    reportDroppedKey("GPU", one);
    reportDroppedKey("CPU", one);
    reportDroppedKey("GPU", two);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "zelhost: device GPU does not know the setting " + one +
                                                          ", which is dropped\n"
                                                          "zelhost: device GPU does not know the setting " +
                                                          two + ", which is dropped\n");
}
