#pragma once

#include <openvino/c/openvino.h>

#include <memory>
#include <string>

#include "engines/inference_engine/InferenceEngine.h"

// The runtime's C objects with owners, and its errors as exceptions. Only sources of this folder include it.
namespace InferenceEngine::details {

struct Release {
    void operator()(ov_core_t* object) const { ov_core_free(object); }
    void operator()(ov_model_t* object) const { ov_model_free(object); }
    void operator()(ov_tensor_t* object) const { ov_tensor_free(object); }
    void operator()(ov_compiled_model_t* object) const { ov_compiled_model_free(object); }
    void operator()(ov_infer_request_t* object) const { ov_infer_request_free(object); }
    void operator()(ov_output_const_port_t* object) const { ov_output_const_port_free(object); }
    void operator()(ov_preprocess_prepostprocessor_t* object) const { ov_preprocess_prepostprocessor_free(object); }
    void operator()(ov_preprocess_input_info_t* object) const { ov_preprocess_input_info_free(object); }
    void operator()(ov_preprocess_input_tensor_info_t* object) const { ov_preprocess_input_tensor_info_free(object); }
    void operator()(ov_preprocess_output_info_t* object) const { ov_preprocess_output_info_free(object); }
    void operator()(ov_preprocess_output_tensor_info_t* object) const { ov_preprocess_output_tensor_info_free(object); }
    void operator()(char* text) const { ov_free(text); }
};

template <class T>
using Owned = std::unique_ptr<T, Release>;

// Takes what a C call creates through its last argument: ov_core_create(out(core)).
template <class T>
class Out {
  public:
    explicit Out(Owned<T>& owner) : mOwner(owner) {}
    ~Out() { mOwner.reset(mObject); }
    Out(const Out&) = delete;
    Out& operator=(const Out&) = delete;
    operator T**() { return &mObject; }

  private:
    Owned<T>& mOwner;
    T* mObject = nullptr;
};

template <class T>
Out<T> out(Owned<T>& owner) {
    return Out<T>(owner);
}

[[noreturn]] void raise(StatusCode status, const std::string& what);

// Raises with the runtime's own words after `what` unless `status` is OK. Builds no text when it is.
[[noreturn]] void raiseRuntimeError(ov_status_e status, const std::string& what);

template <class Describe>
void check(ov_status_e status, const Describe& describe) {
    if (status != ov_status_e::OK) raiseRuntimeError(status, describe());
}

}  // namespace InferenceEngine::details
