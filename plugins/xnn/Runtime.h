#pragma once

#include <openvino/c/openvino.h>

#include <memory>
#include <string>
#include <vector>

// The runtime's C objects with owners, and its errors as exceptions.
namespace xnn {

[[noreturn]] void fail(const std::string& text);

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

// Raises "what: the runtime's own words" unless `status` is OK. Builds no text when it is.
void check(ov_status_e status, const char* what);

// What a C call creates through its last argument: create<ov_core_t>("no core", ov_core_create).
template <class T, class Call, class... Arguments>
Owned<T> create(const char* what, const Call& call, Arguments... arguments) {
    T* object = nullptr;
    const ov_status_e status = call(arguments..., &object);
    Owned<T> owner(object);
    check(status, what);
    return owner;
}

// The runtime and what it tells of devices. Raises std::runtime_error with its words.
class Core {
  public:
    Core();

    const ov_core_t* get() const { return mCore.get(); }
    std::vector<std::string> devices() const;
    // The value of a device's property as text. Of a device that is not there some can be had all the same.
    std::string property(const std::string& device, const std::string& name) const;
    std::vector<std::string> propertyNames(const std::string& device) const;

    // Name and version in one line.
    static std::string version();

  private:
    Owned<ov_core_t> mCore;
};

}  // namespace xnn
