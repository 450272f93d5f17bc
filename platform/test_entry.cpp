#include <cstdio>
#include <string>

#include "platform/include/entry.h"
#include "platform/include/text.h"

#ifndef _WIN32
#include <fcntl.h>
#endif

// Says what its entry was given and returns a number that nothing else returns. With "NUMBER" on Linux it returns the
// one that the next file gets.
int wWinMain(void* instance, void* previous, wchar_t* commandLine, int) {
    const std::string line = platform::narrow(commandLine);
#ifndef _WIN32
    if (line == "NUMBER") return open("/dev/null", O_RDONLY | O_CLOEXEC);
#endif
    std::fputs("entered\n", stderr);
    std::printf("%s|%d|%d", line.c_str(), instance != nullptr, previous != nullptr);
    return 37;
}
