#include <cstdint>
#include <map>
#include <string>

#include "crash/ExceptionFilter.h"
#include "host/LogWaitBound.h"
#include "host/ZELHostUtils.h"
#include "host/ZelMLHost.h"
#include "platform/include/clock.h"
#include "platform/include/resource.h"
#include "util/include/CmThread.h"

// Started by the tests: host_crash_child KIND ARGUMENTS, a host that fails in a way that the real one should not.

namespace {

void writeToNowhere() {
    asm volatile("movl $1, (%0)" : : "r"(nullptr) : "memory");
}

// The first frame of faces looks for its network, on the thread that takes frames.
template <void (*fail)()>
void failAtTheFirstFrame() {
    platform::replaceResources([](int) {
        fail();
        return platform::Resource{};
    });
}

class Failure : public ICmEvent {
  public:
    Failure() : ICmEvent(0) {}
    void OnFire() override { writeToNowhere(); }
};

// The thread of the heart beat.
void failOnTheDispatchThread() {
    ACmThread* thread = nullptr;
    ACmThreadSingletonFactory::Instance().GetSingletonThread("zelml-disp", thread);
    thread->GetEventQueue()->PostEvent(new Failure, 128, 0);
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

const std::map<std::string, void (*)()> kKinds = {
    {"dispatch-thread", failAtTheFirstFrame<failOnTheDispatchThread>},
    {"frame-thread", failAtTheFirstFrame<writeToNowhere>},
    {"full-log", failAtTheFirstFrame<failWhenTheLogIsFull>},
    {"log-lock", failAtTheFirstFrame<failWhileALineIsWritten>},
};

}  // namespace

int main(int count, char** arguments) {
    const auto kind = count > 1 ? kKinds.find(arguments[1]) : kKinds.end();
    if (kind == kKinds.end()) return 98;
    std::string line;
    for (int i = 2; i < count; ++i) line += std::string(i > 2 ? " " : "") + arguments[i];
    installCrashFilter();
    kind->second();
    ZELHostUtils::ZELHostInit(line);
    return 99;
}
