#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "ipc/channel.h"

// What a peer may do to a channel: the first bytes of the input are laid over the lists of an open mapping, the others
// are operations of a writer and a reader on it, with stores into the lists in between. The mapping is a heap block of
// exactly its size, so that the address sanitizer sees every access outside it.
namespace {

struct Record {
    uint32_t words[16];
};
using FuzzChannel = ipc::channel<Record, 4>;

// One mapping and events that live in this process; a wait never blocks.
class HeapObjects final : public platform::KernelObjects {
  public:
    HeapObjects() { platform::replaceKernelObjects(this); }
    ~HeapObjects() override { platform::replaceKernelObjects(nullptr); }

    platform::Handle createEvent(const char* name) override {
        return &mSet[std::string(name).find("_evt_avl") == std::string::npos ? 0 : 1];
    }
    void setEvent(platform::Handle event) override { *static_cast<bool*>(event) = true; }
    platform::WaitResult waitEvent(platform::Handle event, uint32_t) override {
        const bool wasSet = *static_cast<bool*>(event);
        *static_cast<bool*>(event) = false;
        return wasSet ? platform::WaitResult::kSignalled : platform::WaitResult::kTimeout;
    }
    void closeEvent(platform::Handle) override {}
    platform::Handle openMapping(const char*, size_t) override { return mBytes.get(); }
    platform::Handle createMapping(const char*, size_t size, const void* content, size_t contentSize) override {
        mBytes = std::make_unique<uint8_t[]>(size);
        std::memcpy(mBytes.get(), content, contentSize);
        return mBytes.get();
    }
    void* mapView(platform::Handle mapping, size_t) override { return mapping; }
    void unmapView(void*, size_t) override {}
    void closeMapping(platform::Handle) override {}
    uint32_t lastError() override { return 0; }
    std::string lastErrorText() override { return ""; }

    uint8_t* bytes() { return mBytes.get(); }

  private:
    bool mSet[2] = {false, false};
    std::unique_ptr<uint8_t[]> mBytes;
};

void require(bool holds) {
    if (!holds) std::abort();
}

// Operations of one byte: 0 write, 1 read, 2 store a small value into a word of the lists, 3 store any value there.
class Peer {
  public:
    Peer(const uint8_t* data, size_t size) : mData(data), mSize(size) {}

    void run(HeapObjects& objects, FuzzChannel& writer, FuzzChannel& reader) {
        while (mSize > 0) {
            switch (next() % 4) {
                case 0:
                    write(writer);
                    break;
                case 1:
                    read(reader);
                    break;
                case 2:
                    store(objects, static_cast<int8_t>(next()));
                    break;
                default:
                    store(objects, next() | next() << 8 | next() << 16 | static_cast<int32_t>(next()) << 24);
            }
        }
    }

  private:
    uint8_t next() {
        if (mSize == 0) return 0;
        --mSize;
        return *mData++;
    }

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

    void store(HeapObjects& objects, int32_t value) {
        const size_t word = next() % (FuzzChannel::kSlotsOffset / 4);
        std::memcpy(objects.bytes() + 4 * word, &value, sizeof(value));
    }

    const uint8_t* mData;
    size_t mSize;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    ipc::printOpenErrors(false);
    HeapObjects objects;
    objects.createMapping("", FuzzChannel::kMappingBytes, "", 0);
    const size_t laid = size < FuzzChannel::kSlotsOffset ? size : FuzzChannel::kSlotsOffset;
    std::memcpy(objects.bytes(), data, laid);
    const auto writer = FuzzChannel::openForWrite("fuzz");
    const auto reader = FuzzChannel::openForRead("fuzz");
    require(writer && reader);
    Peer(data + laid, size - laid).run(objects, *writer, *reader);
    return 0;
}
