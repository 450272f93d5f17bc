#include "bench/vp/Library.h"

#include <stdexcept>
#include <string>

namespace zelbench::vp {

namespace {

void require(int32_t answer, const char* call, uint32_t strategy) {
    if (answer == qorvp::kOk) return;
    std::string text =
        std::string(call) + " of strategy " + std::to_string(strategy) + " answers " + std::to_string(answer);
    if (answer == qorvp::kErrorUnsupported) text += ": the library does not do that";
    throw std::runtime_error(text);
}

}  // namespace

void Library::setParameter(uint32_t strategy, const void* value) {
    require(mFrameWork->SetParam(strategy, value), "SetParam", strategy);
}

void Library::process(uint32_t strategy, const Image& from, const Image& to) {
    qorvp::VpImage source = from.record(), destination = to.record();
    require(mFrameWork->Process(strategy, &source, &destination), "Process", strategy);
}

}  // namespace zelbench::vp
