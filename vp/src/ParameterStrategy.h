#pragma once

#include "qorvp/IQorVP.h"

namespace qorvp {

// A strategy whose parameter is one value, copied as it comes; all zeros before the first.
template <class Parameter>
class ParameterStrategy : public IStrategy {
  public:
    int32_t SetParam(uint32_t, const void* value) override {
        if (!value) return kErrorArgument;
        m_parameter = *static_cast<const Parameter*>(value);
        return kOk;
    }
    int32_t GetParam(uint32_t, void* value) override {
        if (!value) return kErrorArgument;
        *static_cast<Parameter*>(value) = m_parameter;
        return kOk;
    }

  protected:
    Parameter m_parameter{};
};

}  // namespace qorvp
