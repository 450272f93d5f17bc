#include "fuzz/HostUnderTest.h"

// The commands of a client, executed by a host. Its executable holds no networks, so that the start of a model, which
// takes two numbers of the command and much time, fails where it would read one.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static auto world = std::make_unique<fuzz::HostUnderTest>();
    fuzz::Slot<ipc::Command> slot;
    fuzz::Input input(data, size);
    while (!input.empty()) {
        const auto& packet = slot.next(input);
        world->host().onIpcCommand(packet);
        world->serve();
        if (packet.record.code != static_cast<uint32_t>(ipc::CommandCode::Terminate)) continue;
        world.reset();
        world = std::make_unique<fuzz::HostUnderTest>();
    }
    return 0;
}
