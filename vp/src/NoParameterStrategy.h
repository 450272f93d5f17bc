#pragma once

#include "qorvp/IQorVP.h"

namespace qorvp {

// A strategy that has no parameter: SetParam and GetParam answer kErrorArgument for null and kErrorUnsupported for
// anything else, which is left as it is.
class NoParameterStrategy : public IStrategy {
  public:
    int32_t SetParam(uint32_t, const void* value) override { return value ? kErrorUnsupported : kErrorArgument; }
    int32_t GetParam(uint32_t, void* value) override { return value ? kErrorUnsupported : kErrorArgument; }
};

}  // namespace qorvp
