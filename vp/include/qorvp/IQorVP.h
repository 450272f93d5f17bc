#pragma once

#include "qorvp/VpImage.h"

namespace qorvp {

// What an operation returns when it could not be done.
inline constexpr int32_t kOk = 0;
inline constexpr int32_t kErrorFailed = -1;       // no memory, or a size that cannot be worked out
inline constexpr int32_t kErrorArgument = -2;     // a null pointer, a size, a stride or a format that does not go
inline constexpr int32_t kErrorUnsupported = -4;  // nothing here does that

// What the front object and all strategies can be asked. The first argument is the strategy's number, 1..18; a strategy
// itself does not look at it. Every operation returns one of the numbers above.
class IQorVP {
  public:
    virtual ~IQorVP() = default;

    virtual int32_t Init(uint32_t number, void* param) = 0;
    virtual int32_t Uninit(uint32_t number) = 0;
    virtual int32_t Reserved(uint32_t number) = 0;
    // From source to destination; a strategy says which of the two it needs and what it changes in them.
    virtual int32_t Process(uint32_t number, VpImage* source, VpImage* destination) = 0;
    // `value` points to the strategy's own parameter, which is copied.
    virtual int32_t SetParam(uint32_t number, const void* value) = 0;
    // `value` points to where the strategy's parameter goes.
    virtual int32_t GetParam(uint32_t number, void* value) = 0;
    virtual int32_t Reserved2(uint32_t number) = 0;
};

// One way of processing images. One call at a time, as the front object makes them. What a strategy has no use for is
// done at once.
class IStrategy : public IQorVP {
  public:
    int32_t Init(uint32_t, void*) override { return kOk; }
    int32_t Uninit(uint32_t) override { return kOk; }
    int32_t Reserved(uint32_t) override { return kOk; }
    int32_t Reserved2(uint32_t) override { return kOk; }
};

}  // namespace qorvp
