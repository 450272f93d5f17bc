#include "engines/vino/EngineFixture.h"

#include <atomic>
#include <map>

#include "engines/inference_engine/DeviceAlias.h"
#include "platform/include/clock.h"

namespace {

std::map<std::string, std::string> variables;
std::atomic<uint32_t> tickSteps[2];
std::atomic<uint32_t> tickReadings;
std::atomic<uint32_t> ticks;

std::string readVariable(const char* name) {
    const auto found = variables.find(name);
    return found == variables.end() ? std::string() : found->second;
}

uint32_t countingTicks() {
    return ticks += tickSteps[tickReadings++ % 2];
}

}  // namespace

EngineFixture::EngineFixture() {
    variables = {{"ZELHOST_DEVICE_ALIAS", "GPU=CPU,NPU=CPU"}};
    InferenceEngine::details::replaceVariableReader(readVariable);
    ticks = 0;
    tickReadings = 0;
    setTickSteps(1, 1);
    platform::replaceTickSource(countingTicks);
}

EngineFixture::~EngineFixture() {
    platform::replaceTickSource(nullptr);
    InferenceEngine::details::replaceVariableReader(nullptr);
}

void EngineFixture::setVariable(const std::string& name, const std::string& value) {
    variables[name] = value;
}

void EngineFixture::setTickSteps(uint32_t first, uint32_t second) {
    tickSteps[0] = first;
    tickSteps[1] = second;
}
