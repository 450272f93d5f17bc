#include <algorithm>
#include <iterator>

#include "client/src/Client.h"
#include "fuzz/Records.h"

// The events of a host, read by a client. The client has no host process, so what it would send stays unsent; all that
// it reads and remembers is as with one.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    client::Client client{client::Settings{}};
    client::HostRecords records(client);
    fuzz::Input input(data, size);
    fuzz::Slot<ipc::Event> slot;
    while (!input.empty()) {
        const auto& packet = slot.next(input);
        records.event(packet);
        const auto& text = packet.record.text;
        fuzz::require(std::all_of(std::begin(text), std::end(text), [](char byte) { return byte == 0; }));
    }
    zelclient_info info{};
    client.info(info);
    fuzz::require(info.model_name[sizeof info.model_name - 1] == 0);
    fuzz::require(client.state() <= ZELCLIENT_FAILED && client.lastError().size() < 256);
    return 0;
}
