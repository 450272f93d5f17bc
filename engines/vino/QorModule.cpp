#include "engines/vino/QorModule.h"

#include <atomic>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>

#include "platform/include/module.h"
#include "util/include/CmSystem.h"
#include "util/include/CmTrace.h"

namespace vreek {

namespace {

constexpr uint32_t kTracedLoads = 150;

// Whether this load is among the first, whose entry and exit are traced. A client that asks again and again for a
// module that is not there must not fill the log.
bool countLoad() {
    static std::atomic<uint32_t> loads{0};
    return loads.load() < kTracedLoads && loads.fetch_add(1) < kTracedLoads;
}

}  // namespace

CQorModule::CQorModule(const char* moduleName) {
    const size_t length = strnlen(moduleName, sizeof m_strModuleName - 1);
    std::memcpy(m_strModuleName, moduleName, length);
    m_strModuleName[length] = 0;
}

CQorModule::~CQorModule() {
    const CCmMutexGuard lock(mLock);
    if (!m_hModule) return;
    kmo_free_library_s(m_hModule);
    QOR_INFO("CQorModule::UnloadModule(m_strModuleName) " << m_strModuleName);
}

bool CQorModule::LoadModule() {
    char functionLine[cm::kTraceBufferSize];
    CCmTextFormator line(functionLine, sizeof functionLine);
    line << "CQorModule::LoadModule,line=" << __LINE__ << CM_THIS;
    const CCmUtilFuncTracer tracer(countLoad(), false, "zelhost", line, "CQorModule::LoadModule");

    const std::string path = platform::executableDirectory() + platform::pathSeparator() + m_strModuleName;
    const CCmMutexGuard lock(mLock);
    void* const earlier = std::exchange(m_hModule, kmo_load_library_s(path.c_str(), enPathAppendNone, true));
    if (!m_hModule) {
        const uint32_t error = platform::lastLibraryError();
        char shownPath[512];
        kmo_get_filepath_trace(path.c_str(), shownPath, sizeof shownPath);
        QOR_ERROR("CQorModule::LoadModule open " << m_strModuleName << " fail, error = " << error
                                                 << ",strPathName=" << shownPath);
    }
    QOR_INFO("CQorModule::LoadModule(strPathName) " << m_strModuleName << ", m_hModule= " << m_hModule);
    kmo_free_library_s(earlier);
    return m_hModule != nullptr;
}

void* CQorModule::QueryMethod(const char* name) {
    const CCmMutexGuard lock(mLock);
    return m_hModule ? platform::findSymbol(m_hModule, name) : nullptr;
}

const char* CQorModule::GetModuleName() {
    const CCmMutexGuard lock(mLock);
    return m_strModuleName;
}

}  // namespace vreek
