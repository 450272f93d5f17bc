#pragma once

#include "util/include/CmMutex.h"

namespace vreek {

// A library beside the executable whose functions are asked for by name.
class IQorModule {
  public:
    virtual ~IQorModule() = default;
    // The address of an export; null when the library is not loaded or has none of that name. Valid while the module
    // lives. Any thread.
    virtual void* QueryMethod(const char* name) = 0;
    // The library's told file name, loaded or not. The module's own. Any thread.
    virtual const char* GetModuleName() = 0;
};

class CQorModule : public IQorModule {
  public:
    // Loads nothing yet. `moduleName` is a told file name ("qorml.dll"), UTF-8, cut to 511 bytes.
    explicit CQorModule(const char* moduleName);
    // Lets the library go.
    ~CQorModule() override;
    CQorModule(const CQorModule&) = delete;
    CQorModule& operator=(const CQorModule&) = delete;

    // Loads the library from the directory of the running executable, under the name that the system gives such files;
    // what it needs may lie beside it. False, with a line, when that fails. One that was loaded before is let go.
    bool LoadModule();

    void* QueryMethod(const char* name) override;
    const char* GetModuleName() override;

  private:
    char m_strModuleName[512];
    CCmMutexThreadRecursive mLock;
    void* m_hModule ZEL_GUARDED_BY(mLock) = nullptr;
};

}  // namespace vreek
