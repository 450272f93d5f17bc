#pragma once

#include <cstring>
#include <type_traits>

#include "qorvp/IQorVP.h"

namespace qorvp {

// A strategy whose parameter is one value, copied as it comes, from any place; all zeros before the first.
template <class Parameter>
class ParameterStrategy : public IStrategy {
    static_assert(std::is_trivially_copyable_v<Parameter>);

  public:
    int32_t SetParam(uint32_t, const void* value) override {
        if (!value) return kErrorArgument;
        std::memcpy(&m_parameter, value, sizeof(m_parameter));
        return kOk;
    }
    int32_t GetParam(uint32_t, void* value) override {
        if (!value) return kErrorArgument;
        std::memcpy(value, &m_parameter, sizeof(m_parameter));
        return kOk;
    }

  protected:
    Parameter m_parameter{};
};

}  // namespace qorvp
