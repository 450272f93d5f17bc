#include <cstdio>

#include "platform/include/entry.h"
#include "platform/include/text.h"

// Says what its entry was given and returns a number that nothing else returns.
int wWinMain(void* instance, void* previous, wchar_t* commandLine, int) {
    std::printf("%s|%d|%d", platform::narrow(commandLine).c_str(), instance != nullptr, previous != nullptr);
    return 37;
}
