#pragma once

#include <openvino/c/openvino.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "plugins/qorml/EmbeddedNetworks.h"
#include "plugins/qorml/Resizer.h"

namespace qorml {

template <auto release>
struct Released {
    template <class T>
    void operator()(T* object) const {
        release(object);
    }
};
using Core = std::unique_ptr<ov_core_t, Released<ov_core_free>>;
using CompiledModel = std::unique_ptr<ov_compiled_model_t, Released<ov_compiled_model_free>>;
using InferRequest = std::unique_ptr<ov_infer_request_t, Released<ov_infer_request_free>>;
using Tensor = std::unique_ptr<ov_tensor_t, Released<ov_tensor_free>>;

// The runtime. Raises std::runtime_error with its own words.
Core startRuntime();

// A segmentation network on the processor, fed with pictures of any size. The mask before the last is its fourth plane,
// as long as the size stays the same: a picture of another size begins anew. One thread at a time.
class SegmentationNetwork {
  public:
    // Compiles the network. `core` must outlive it. Raises std::runtime_error.
    SegmentationNetwork(const ov_core_t* core, const EmbeddedNetwork& network);

    // Writes the mask of a picture, one byte a pixel, 255 for the person. `picture` has 4 bytes a pixel: blue, green,
    // red and one that is not read. Rows are packed and no side is 0. Raises std::runtime_error; the next picture then
    // begins anew.
    void segment(const uint8_t* picture, Size size, uint8_t* mask);

  private:
    void beginSize(Size size);
    void fillInput(const uint8_t* picture);
    void decodeMask();

    const Size mSize;
    CompiledModel mCompiled;
    InferRequest mRequest;
    Tensor mInputTensor;
    Tensor mOutputTensor;
    float* mInput = nullptr;         // 1x4xHxW: red, green, blue and the mask before, 0..255
    const float* mOutput = nullptr;  // 1x1xHxW, 0..1
    std::vector<uint8_t> mMask;      // of the network's size; the picture's before while the next is prepared
    Size mPictureSize;
    std::optional<Resizer> mPictureToInput;
    std::optional<Resizer> mMaskToPicture;
};

}  // namespace qorml
