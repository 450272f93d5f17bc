#include "platform/include/entry.h"

#include <fcntl.h>

#include <csignal>
#include <string>

#include "platform/include/text.h"

namespace {

// In the place of a closed stream another file would take what is written to that.
void openClosedStreams() {
    for (int stream = 0; stream < 3; ++stream) {
        if (fcntl(stream, F_GETFD) == -1) open("/dev/null", O_RDWR);
    }
}

}  // namespace

int main(int count, char** arguments) {
    openClosedStreams();
    std::signal(SIGPIPE, SIG_IGN);  // output that nobody reads is an error and no end
    std::string line;
    for (int i = 1; i < count; ++i) {
        if (i > 1) line += ' ';
        line += arguments[i];
    }
    std::wstring wide = platform::widen(line);
    return wWinMain(nullptr, nullptr, wide.data(), 0);
}
