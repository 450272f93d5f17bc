#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <thread>

#include "crash/ExceptionFilter.h"
#include "host/LogWaitBound.h"
#include "host/ZELHostUtils.h"
#include "host/ZelMLHost.h"
#include "platform/include/clock.h"
#include "platform/include/exception_filter.h"
#include "platform/include/resource.h"
#include "platform/include/terminal.h"
#include "platform/include/thread.h"
#include "util/include/CmThread.h"

// Started by the tests: host_crash_child KIND ARGUMENTS, a host that fails in a way that the real one should not.

namespace {

void writeToNowhere() {
    asm volatile("movl $1, (%0)" : : "r"(nullptr) : "memory");
}

ACmThread& dispatchThread() {
    ACmThread* thread = nullptr;
    ACmThreadSingletonFactory::Instance().GetSingletonThread("zelml-disp", thread);
    return *thread;
}

// "main MAIN, dispatch DISPATCH, failing FAILING": the threads' ids.
unsigned long gMainThread = 0;
void announce(unsigned long failing) {
    char line[128];
    const int length = std::snprintf(line, sizeof line, "main %lu, dispatch %lu, failing %lu\n", gMainThread,
                                     dispatchThread().GetThreadId(), failing);
    platform::writeToStandardError(line, static_cast<size_t>(length));
}

void failOnThisThread() {
    announce(platform::currentThreadId());
    writeToNowhere();
}

// The first frame of a kind looks for its network, on the thread that takes frames.
constexpr int kContentStructure = 200;
constexpr int kContentWeights = 210;

template <void (*fail)()>
void failAtTheFirstFrame() {
    platform::replaceResources([](int) {
        fail();
        return platform::Resource{};
    });
}

[[gnu::noinline]] int useUpStack(volatile int* depth) {
    volatile char room[4096];
    room[0] = static_cast<char>(*depth);
    *depth = *depth + 1;
    return *depth < 0 ? 0 : useUpStack(depth) + room[0];
}

void runOutOfStackOnThisThread() {
    announce(platform::currentThreadId());
    volatile int depth = 0;
    useUpStack(&depth);
}

// Every network but the one for content is loaded as ever.
platform::Resource failForContent(int id) {
    if (id == kContentStructure || id == kContentWeights) runOutOfStackOnThisThread();
    platform::replaceResources(nullptr);
    const platform::Resource own = platform::findResource(id);
    platform::replaceResources(failForContent);
    return own;
}
void failAtTheFirstContentFrame() {
    platform::replaceResources(failForContent);
}

class Failure : public ICmEvent {
  public:
    Failure() : ICmEvent(0) {}
    void OnFire() override { writeToNowhere(); }
};

// The thread of the heart beat.
void failOnTheDispatchThread() {
    announce(dispatchThread().GetThreadId());
    dispatchThread().GetEventQueue()->PostEvent(new Failure, CM_EVENT_PRIORITY_NORMAL, 0);
    for (;;) platform::sleepMilliseconds(1000);
}

// A line whose text cannot be read fails in the middle of the channel's slot.
void failWhileALineIsWritten() {
    char* volatile nowhere = reinterpret_cast<char*>(16);
    ZelMLHost::instance().sendLog(2, nowhere, 100);
}

void failWhenTheLogIsFull() {
    static char line[] = "a line that nobody reads";
    const LogWaitBound bound;
    for (uint32_t slot = 0; slot <= ipc::LogChannel::kSlots; ++slot) {
        ZelMLHost::instance().sendLog(2, line, sizeof line - 1);
    }
    writeToNowhere();
}

// On a thread that no shutdown waits for, as libraries have them. The filter takes its time for each line.
void failSlowly() {
    set_util_external_trace_sink([](unsigned long level, char* text, unsigned length) {
        if (platform::isThreadInFilter()) {
            announce(platform::currentThreadId());
            platform::sleepMilliseconds(1000);
        }
        ZelMLHost::instance().sendLog(static_cast<uint32_t>(level), text, length);
    });
    std::thread(writeToNowhere).detach();
}

const std::map<std::string, void (*)()> kKinds = {
    {"content-frame", failAtTheFirstContentFrame},
    {"dispatch-thread", failAtTheFirstFrame<failOnTheDispatchThread>},
    {"frame-thread", failAtTheFirstFrame<failOnThisThread>},
    {"full-log", failAtTheFirstFrame<failWhenTheLogIsFull>},
    {"log-lock", failAtTheFirstFrame<failWhileALineIsWritten>},
    {"slowly", failAtTheFirstFrame<failSlowly>},
};

}  // namespace

int main(int count, char** arguments) {
    const auto kind = count > 1 ? kKinds.find(arguments[1]) : kKinds.end();
    if (kind == kKinds.end()) return 98;
    gMainThread = platform::currentThreadId();
    std::string line;
    for (int i = 2; i < count; ++i) line += std::string(i > 2 ? " " : "") + arguments[i];
    installCrashFilter();
    kind->second();
    ZELHostUtils::ZELHostInit(line);
    return 99;
}
