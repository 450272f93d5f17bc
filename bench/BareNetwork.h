#pragma once

#include <openvino/c/openvino.h>

#include <cstdint>
#include <string>
#include <vector>

namespace zelbench {

// A network of the executable called bare through the runtime's C interface, with the settings that a host
// gives it. What a frame costs over this is what a host costs.
class BareNetwork {
  public:
    // How the host sets the processor up: with its streams and requests told for the models in force, as the runtime
    // has them for faces and screens. The library that the host loads leaves them to the runtime too.
    enum class Settings { kModel, kPlain };

    // Reads the pair `reads` times, as a host does at its start, compiles it for the CPU and makes a request.
    BareNetwork(int xmlId, int binId, int reads = 1, Settings settings = Settings::kModel);
    ~BareNetwork();
    BareNetwork(const BareNetwork&) = delete;
    BareNetwork& operator=(const BareNetwork&) = delete;

    uint32_t width() const { return mWidth; }
    uint32_t height() const { return mHeight; }
    // Its planes of width x height.
    float* input() const { return mInput; }
    // The output that has so many values.
    float* output(size_t values) const;
    // The output of that name.
    float* output(const std::string& name) const;
    void infer();
    // Keeps a copy of what lies in input(), to be inferred again by inferKept; the first has number 0.
    void keepInput();
    // Infers a kept input, by its number modulo their count. input() is not used from then on.
    void inferKept(uint64_t number);

  private:
    void read(int xmlId, int binId);
    void makeInputFp32();
    void compile(Settings settings);

    ov_core_t* mCore = nullptr;
    ov_model_t* mModel = nullptr;
    ov_compiled_model_t* mCompiled = nullptr;
    ov_infer_request_t* mRequest = nullptr;
    ov_tensor_t* mInputTensor = nullptr;
    std::vector<ov_tensor_t*> mKept;
    float* mInput = nullptr;
    size_t mInputBytes = 0;
    uint32_t mWidth = 0;
    uint32_t mHeight = 0;
};

}  // namespace zelbench
