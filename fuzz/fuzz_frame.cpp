#include "fuzz/HostUnderTest.h"
#include "fuzz/ServedModel.h"

namespace {

using FrameRecord = ipc::FrameHolder<ipc::kFrameBytes>;

// The model takes tens of milliseconds to start, so one host serves all inputs, as it does a client's frames. What an
// earlier input can have left behind is the last mask and frame, which are of the network's size always.
fuzz::HostUnderTest& servingHost() {
    static fuzz::HostUnderTest world;
    static const bool isServing = [] {
        world.command(ipc::CommandCode::SetModelType, fuzz::kServedType);
        return world.serve() == fuzz::kServedType;
    }();
    fuzz::require(isServing);
    return world;
}

// Hands a frame over while the bytes behind those that it says it has are closed.
void handOver(ZelMLHost& host, const ipc::packet<FrameRecord>& packet) {
    const FrameRecord& record = packet.record;
    const size_t used = std::min<size_t>(record.size, sizeof record.data);
    ASAN_POISON_MEMORY_REGION(record.data + used, sizeof record.data - used);
    host.onFrame(packet, "invalid frame, size=");
    ASAN_UNPOISON_MEMORY_REGION(record.data + used, sizeof record.data - used);
}

}  // namespace

// The frames of camera and shared screen, read by the host and run through the whole road to the answer. Only the
// network is another than the product's: small, so that it runs for every frame. The input's first byte is the option
// to repeat the mask of a still picture.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::HostUnderTest& world = servingHost();
    static fuzz::Slot<FrameRecord> slot;
    fuzz::Input input(data, size);
    world.command(ipc::CommandCode::SetOption, static_cast<uint32_t>(ipc::OptionNumber::AutoSkipVBG), 0,
                  static_cast<char>(input.byte()));
    while (!input.empty()) {
        handOver(world.host(), slot.next(input));
        world.serve();
    }
    return 0;
}
