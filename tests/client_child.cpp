#include <iostream>
#include <string>

#include "platform/include/clock.h"
#include "tests/support/RawClient.h"

// A client for tests to kill: holds the channels of the base name in argv[1] open and answers heart beats until it is
// ended. With "deaf" as the second argument it opens them and reads nothing.
int main(int argc, char** argv) {
    if (argc < 2) return 2;
    zeltest::RawClient client(argv[1]);
    if (argc > 2 && std::string(argv[2]) == "deaf")
        while (true) platform::sleepMilliseconds(1000);
    while (true) {
        const auto event = client.event(100);
        if (event && event->code == static_cast<uint32_t>(ipc::EventCode::HeartBeat))
            client.command(ipc::CommandCode::HeartBeatAck);
        while (client.logLine(0)) {
        }
        while (client.mask(0)) {
        }
    }
}
