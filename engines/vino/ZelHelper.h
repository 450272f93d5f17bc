#pragma once

#include <cstdint>
#include <memory>

#include "engines/vino/QorModule.h"
#include "plugins/qorml/qorml.h"

// Runs the one model that the module "qorml.dll" makes; plugins/qorml/qorml.h is what both agree on.
//
// No lock of its own: one call at a time. Nothing that the model throws leaves a call: it is traced and counts as a
// failure.
class ZelHelper {
  public:
    ZelHelper() = default;
    // Releases.
    ~ZelHelper();
    ZelHelper(const ZelHelper&) = delete;
    ZelHelper& operator=(const ZelHelper&) = delete;

    // Loads the module, makes its model and initialises it; what was held before is released. False, with a line and
    // everything released, when one of these fails.
    bool Init();

    // Ends the model and lets the module go. Without them it does nothing.
    void Release();

    // One frame of width x height pixels (at most 230,400, neither negative), 4 bytes each, rows packed: so many bytes
    // of `data` are read, and `size`, the bytes that the frame is said to have, is not looked at. On success *outMask
    // is a mask of width x height bytes, the model's own and valid until the next call. On false, which has its line,
    // *outMask is untouched.
    bool processByZelML(int32_t width, int32_t height, const uint8_t* data, int32_t size, uint8_t** outMask);

    // Exchanges module and model.
    void swap(ZelHelper& other) noexcept;

  private:
    bool start();
    bool findExports();
    bool createModel();
    bool initialiseModel();
    uint8_t* runModel(int32_t width, int32_t height, const uint8_t* data);

    std::unique_ptr<vreek::IQorModule> m_pModule;
    decltype(&CreateQorMLModel) m_pCreateQorMLModel = nullptr;
    decltype(&DestroyQorMLModel) m_pDestroyQorMLModel = nullptr;
    IQorMLModel* m_pZelMLModel = nullptr;
};
