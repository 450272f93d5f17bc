#include <cstring>

#include "client/src/Client.h"
#include "fuzz/Records.h"

namespace {

void onLog(void*, uint32_t, const char* text, size_t length) {
    fuzz::require(length <= client::LogLines::kLongest && text[length] == 0);
    fuzz::require(std::memchr(text, 0, length + 1) != nullptr);
}

}  // namespace

// The log of a host, put together to lines by a client and handed to its callback.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    client::Settings settings;
    settings.onLog = onLog;
    client::Client client(settings);
    client::HostRecords records(client);
    fuzz::Input input(data, size);
    fuzz::Slot<ipc::Chunk<512>> slot;
    while (!input.empty()) records.log(slot.next(input));
    return 0;
}
