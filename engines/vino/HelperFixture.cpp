#include "engines/vino/HelperFixture.h"

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

HelperFixture::HelperFixture() {
    variables = {{"ZELHOST_DEVICE_ALIAS", "GPU=CPU,NPU=CPU"}};
    InferenceEngine::details::replaceVariableReader(readVariable);
    ticks = 0;
    tickReadings = 0;
    setTickSteps(1, 1);
    platform::replaceTickSource(countingTicks);
}

HelperFixture::~HelperFixture() {
    platform::replaceTickSource(nullptr);
    InferenceEngine::details::replaceVariableReader(nullptr);
}

ZelVinoHelper::NetworkSource HelperFixture::source() {
    return [this](const InferenceEngine::Core& core, int xmlId, int binId) {
        idsRead.emplace_back(xmlId, binId);
        const auto found = networks.find(xmlId);
        const mask_networks::Options options = found == networks.end() ? mask_networks::Options{} : found->second;
        return mask_networks::make(options).read(core);
    };
}

void HelperFixture::setVariable(const std::string& name, const std::string& value) {
    variables[name] = value;
}

void HelperFixture::setTickSteps(uint32_t first, uint32_t second) {
    tickSteps[0] = first;
    tickSteps[1] = second;
}

HelperFixture::Bytes HelperFixture::halfFrame(uint8_t inside) {
    Bytes frame(kFrameBytes, 0);
    for (int32_t i = 0; i < kPixels; ++i) {
        if (i % kWidth < kWidth / 2) frame[static_cast<size_t>(i) * 3] = inside;
    }
    return frame;
}
