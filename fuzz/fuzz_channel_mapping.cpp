#include <algorithm>
#include <cstdint>
#include <cstring>

#include "fuzz/HeapObjects.h"
#include "fuzz/Records.h"
#include "ipc/channel.h"

// What a peer may do to a channel: the first bytes of the input are laid over the lists of an open mapping, the others
// are operations of a writer and a reader on it, with stores into the lists in between.
namespace {

struct Record {
    uint32_t words[16];
};
using FuzzChannel = ipc::channel<Record, 4>;
using fuzz::require;

// Operations of one byte: 0 write, 1 read, 2 store a small value into a word of the lists, 3 store any value there.
class Peer {
  public:
    Peer(uint8_t* mapping, fuzz::Input input) : mMapping(mapping), mInput(input) {}

    void run(FuzzChannel& writer, FuzzChannel& reader) {
        while (!mInput.empty()) {
            switch (mInput.byte() % 4) {
                case 0:
                    write(writer);
                    break;
                case 1:
                    read(reader);
                    break;
                case 2:
                    store(static_cast<int8_t>(mInput.byte()));
                    break;
                default:
                    store(static_cast<int32_t>(mInput.word32()));
            }
        }
    }

  private:
    static void write(FuzzChannel& writer) {
        const bool wasBroken = writer.broken();
        const bool done = writer.write([](Record& record) { std::memset(&record, 0x5A, sizeof(record)); }, 0);
        require(!(wasBroken && (done || !writer.broken())));
    }

    static void read(FuzzChannel& reader) {
        const bool wasBroken = reader.broken();
        uint32_t sum = 0;
        const bool done = reader.read(
            [&](const Record& record) {
                for (const uint32_t word : record.words) sum += word;
            },
            0);
        require(!(wasBroken && (done || !reader.broken())));
    }

    void store(int32_t value) {
        const size_t word = mInput.byte() % (FuzzChannel::kSlotsOffset / 4);
        std::memcpy(mMapping + 4 * word, &value, sizeof(value));
    }

    uint8_t* mMapping;
    fuzz::Input mInput;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    ipc::printOpenErrors(false);
    fuzz::HeapObjects objects;
    auto* mapping = static_cast<uint8_t*>(objects.createMapping("fuzz_shm", FuzzChannel::kMappingBytes, "", 0));
    const size_t laid = std::min(size, FuzzChannel::kSlotsOffset);
    std::memcpy(mapping, data, laid);
    const auto writer = FuzzChannel::openForWrite("fuzz");
    const auto reader = FuzzChannel::openForRead("fuzz");
    require(writer && reader);
    Peer(mapping, fuzz::Input(data + laid, size - laid)).run(*writer, *reader);
    return 0;
}
