#include "engines/vino/LoadedNetwork.h"

#include "platform/include/clock.h"
#include "util/include/CmTrace.h"

using namespace InferenceEngine;

bool LoadedNetwork::takeInput(ColorFormat colours) {
    inputs = network.getInputsInfo();
    if (inputs.size() != 1) return false;
    input().setPrecision(Precision::FP32);
    input().setLayout(Layout::NCHW);
    input().getPreProcess().setColorFormat(colours);
    return true;
}

void LoadedNetwork::takeOutputs() {
    outputs = network.getOutputsInfo();
    for (const auto& [name, output] : outputs) {
        if (!output) throw details::InferenceEngineException("output data pointer is not valid");
        output->setPrecision(Precision::FP32);
    }
}

void LoadedNetwork::compile(Core& core, const std::string& device) {
    executable = core.LoadNetwork(network, device, {});
}

SizeVector LoadedNetwork::outputDims(const std::string& name) const {
    const auto found = outputs.find(name);
    return found == outputs.end() ? SizeVector{} : found->second->getDims();
}

uint32_t compileTraced(Core& core, LoadedNetwork& loaded, const std::string& device) {
    const uint32_t start = platform::tickCount();
    loaded.compile(core, device);
    const uint32_t elapsed = platform::tickCount() - start;
    if (device == "GPU") QOR_INFO("zelipc>>loadgpu finished, cache is ready.");
    QOR_INFO("zelipc>>ZelVinoHelper::init LoadNetwork time :" << elapsed);
    return elapsed;
}

bool prepareInput(LoadedNetwork& loaded) {
    loaded.makeRequest();
    if (!loaded.takeInput(BGR)) {
        QOR_ERROR("zelipc>> ZelVinoHelper::init mInputInfo.size() != 1");
        return false;
    }
    return true;
}

void prepareOutputs(LoadedNetwork& loaded) {
    const size_t batch = loaded.network.getBatchSize();
    QOR_INFO("zelipc>> ZelVinoHelper::init mNetwork.getBatchSize() = " << batch);
    loaded.network.setBatchSize(batch);
    loaded.takeOutputs();
}

std::string shapeText(const SizeVector& dims) {
    std::string text;
    for (const size_t dim : dims) text += (text.empty() ? "" : "x") + std::to_string(dim);
    return text;
}
