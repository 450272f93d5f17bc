#include "crash/DumpCallback.h"

#include <new>
#include <optional>

#include "crash/CrashFiles.h"
#include "crash/CrashReport.h"
#include "crash/ExceptionName.h"
#include "util/include/CmTrace.h"

namespace {

// False for a step that has failed itself, or has used up its memory.
template <class Step>
bool tryStep(Step&& step) try {
    return platform::runFilterStep([](void* own) { (*static_cast<Step*>(own))(); }, &step);
} catch (const std::bad_alloc&) {
    return false;
}

}  // namespace

void DumpCallback(const platform::UncaughtException& exception, CrashSystem& system) {
    tryStep([] { CM_ERROR("zelhost crashed!!!"); });
    tryStep([&] { system.writeDump(exception, GetCrashFilePath(system, ".dmp")); });

    std::optional<CrashStack> stack;
    const bool walked = tryStep([&] { stack = system.readStack(exception, exception.code == kBreakpointException); });
    if (!walked) stack.emplace().stackText = kNoStackText;
    // For a debugger that stands here: the report does not carry it.
    if (stack->extraText.empty()) stack->extraText = L"No additional stack trace";

    tryStep([&] {
        system.writeReport(GetCrashFilePath(system, ".txt"), crashReport(*stack, exception.code, exception.thread));
    });
}
