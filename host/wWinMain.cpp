#include "crash/ExceptionFilter.h"
#include "host/ZELHostUtils.h"
#include "platform/include/entry.h"
#include "platform/include/exception_filter.h"
#include "platform/include/resource.h"
#include "platform/include/text.h"
#include "util/include/CmSystem.h"
#include "util/include/CmTrace.h"

namespace {

constexpr int kTitleId = 103;
constexpr int kWindowClassId = 109;
constexpr int kStringCharacters = 100;
wchar_t gTitle[kStringCharacters];
wchar_t gWindowClass[kStringCharacters];
void* gInstance = nullptr;

}  // namespace

int wWinMain(void* instance, void*, wchar_t* commandLine, int) {
    gInstance = instance;
    const kmo_AutoDllNotification_s notification;
    CCmKlxTrace::instance()->Init();
    const std::string line = platform::narrow(commandLine);
    QOR_INFO("zelipc>>zelhost.exe wWinMain start... strCmdLine=" << line);
    installCrashFilter();
    platform::loadString(kTitleId, gTitle, kStringCharacters);
    platform::loadString(kWindowClassId, gWindowClass, kStringCharacters);
    ZELHostUtils::ZELHostInit(line);
    QOR_INFO("zelipc>>_tWinMain, exit...");
    platform::yieldToFilter();
    return 0;
}
