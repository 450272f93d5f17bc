#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "plugins/xnn/Runtime.h"

namespace xnn {

// A network's two halves as bytes; a network of one half has no weights.
struct ModelBytes {
    std::string_view description;
    std::string_view weights;
};

// A network as read: float32 at every end, whatever it computes in, and all dimensions fixed.
class Model {
  public:
    // The names of one input or output.
    struct End {
        std::string listed;
        std::string full;
    };

    // Reads `bytes` during the call only. Raises std::runtime_error when they are no network that the runtime takes.
    Model(const Core& core, const ModelBytes& bytes);

    const ov_model_t* get() const { return mModel.get(); }
    // In the order of the runtime's ports.
    const std::vector<End>& inputs() const { return mInputs; }
    const std::vector<End>& outputs() const { return mOutputs; }

  private:
    Owned<ov_model_t> mModel;
    std::vector<End> mInputs;
    std::vector<End> mOutputs;
};

}  // namespace xnn
