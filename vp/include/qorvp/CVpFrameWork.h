#pragma once

#include <array>
#include <memory>
#include <mutex>

#include "qorvp/IQorVP.h"

namespace qorvp {

// Holds up to 18 strategies by number and forwards calls to them, one at a time: each runs inside the object's lock, so
// any thread may call. Of a number the low 8 bits count; 0 means 1, anything above 18 means 18. A strategy may call the
// object back from inside a call, but not take itself away by setStrategy or destroy the object meanwhile.
//
// Images are looked at before a strategy sees them. kErrorArgument when the source has a plane 0 and
// - the strategy is 5 or 6 and the source's format is not one of 9, 23, 24, 26, 29 and 31: none of them bottom-up;
// - the destination has a plane 0 too and another format, but for strategy 1;
// - width or height is not in 1..40960, cropY is not below height, cropX not below width, or stride0 is below width;
// and when the destination has a plane 0 and such a geometry. A crop below 0 passes: what reads the crop refuses it.
class CVpFrameWork : public IQorVP {
  public:
    static constexpr uint32_t kStrategies = 18;

    CVpFrameWork() = default;
    // Uninits each strategy and destroys it.
    ~CVpFrameWork() override;
    CVpFrameWork(const CVpFrameWork&) = delete;
    CVpFrameWork& operator=(const CVpFrameWork&) = delete;

    // Puts a strategy under a number, in place of one that is there, which is uninited and destroyed; null empties it.
    void setStrategy(uint32_t number, std::unique_ptr<IStrategy> strategy);

    // Uninits the strategy, then inits it. kOk for an empty number.
    int32_t Init(uint32_t number, void* param) override;
    int32_t Uninit(uint32_t number) override;
    // kOk, always.
    int32_t Reserved(uint32_t number) override;
    // The strategy works on copies of both records; null is a record of zeros. The destination's copy comes back after
    // strategies 1 and 13, which may change it. kErrorUnsupported for an empty number.
    int32_t Process(uint32_t number, VpImage* source, VpImage* destination) override;
    // kErrorArgument for null, kOk for an empty number.
    int32_t SetParam(uint32_t number, const void* value) override;
    int32_t GetParam(uint32_t number, void* value) override;
    // kOk, always.
    int32_t Reserved2(uint32_t number) override;

  private:
    IStrategy* strategy(uint32_t number) const { return m_strategies[number - 1].get(); }

    std::array<std::unique_ptr<IStrategy>, kStrategies> m_strategies;  // number 1 first; under m_lock
    std::recursive_mutex m_lock;                                       // a strategy may call the object back
};

}  // namespace qorvp
