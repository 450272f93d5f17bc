#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "engines/inference_engine/InferenceEngine.h"

// A network with what is loaded from it: what a helper of one network and one request holds. Empty until its steps have
// run: `network`, then takeInput and takeOutputs, then compile and makeRequest. One thread at a time.
struct LoadedNetwork {
    LoadedNetwork() = default;
    explicit LoadedNetwork(InferenceEngine::CNNNetwork read) : network(std::move(read)) {}

    InferenceEngine::CNNNetwork network;
    InferenceEngine::InputsDataMap inputs;
    InferenceEngine::OutputsDataMap outputs;
    InferenceEngine::ExecutableNetwork executable;
    InferenceEngine::InferRequest request;

    // Takes the one input, in planes of FP32. False when the network has another number of inputs; raises
    // PARAMETER_MISMATCH for one of another rank than 4.
    bool takeInput(InferenceEngine::ColorFormat colours);
    // Takes the outputs, in FP32.
    void takeOutputs();
    // Loads the network on the device; may take seconds.
    void compile(InferenceEngine::Core& core, const std::string& device);
    void makeRequest() { request = executable.CreateInferRequest(); }

    InferenceEngine::InputInfo& input() const { return *inputs.begin()->second; }
    const InferenceEngine::SizeVector& inputDims() const { return input().getTensorDesc().getDims(); }
    // Shape of an output, empty when there is none of that name.
    InferenceEngine::SizeVector outputDims(const std::string& name) const;

    // The request's memory.
    InferenceEngine::Blob::Ptr inputBlob() const { return request.GetBlob(inputs.begin()->first); }
};

// A load that has been asked for: the network as it was then, and where it is to run.
struct PendingLoad {
    InferenceEngine::CNNNetwork network;
    uint32_t generation = 0;  // of the helper's choice of a network
    std::string device;
};

// The steps of a load with their lines in the log, common to the helpers that choose a device.

// compile; returns the milliseconds that it took.
uint32_t compileTraced(InferenceEngine::Core& core, LoadedNetwork& loaded, const std::string& device);
// makeRequest and takeInput; false when the network has not exactly one input.
bool prepareInput(LoadedNetwork& loaded);
// Confirms the batch size; takeOutputs.
void prepareOutputs(LoadedNetwork& loaded);

// "1x4x144x256".
std::string shapeText(const InferenceEngine::SizeVector& dims);
