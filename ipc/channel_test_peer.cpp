#include <cstdlib>
#include <cstring>
#include <string>

#include "ipc/channel_test_support.h"

// The other process of channel_process_test. Arguments: what to do, a channel's name, how many records (0: for ever).
//   write NAME COUNT    sends the numbers 0, 1, 2, ...
//   read NAME COUNT     takes them, and ends with 3 when one is missing or damaged
//   echo NAME COUNT     takes records from NAME + "in" and sends them back on NAME + "out"
//   pump NAME COUNT     sends records to an echo and takes them back; tells of each on NAME + "done"
namespace {

constexpr int kWrongRecord = 3;
constexpr int kNoChannel = 4;
constexpr int kRefused = 5;

bool isDue(uint32_t count, uint32_t done) {
    return count == 0 || done < count;
}

int writeRecords(const std::string& name, uint32_t count) {
    const auto channel = ipc::TestChannel::openForWrite(name);
    if (!channel) return kNoChannel;
    for (uint32_t i = 0; isDue(count, i); ++i) {
        if (!channel->write([i](ipc::TestRecord& record) { record.fill(i); })) return kRefused;
    }
    return 0;
}

int readRecords(const std::string& name, uint32_t count) {
    const auto channel = ipc::TestChannel::openForRead(name);
    if (!channel) return kNoChannel;
    for (uint32_t i = 0; isDue(count, i); ++i) {
        bool right = false;
        if (!channel->read([&](const ipc::TestRecord& record) { right = record.holds(i); })) return kRefused;
        if (!right) return kWrongRecord;
    }
    return 0;
}

int echoRecords(const std::string& name, uint32_t count) {
    const auto in = ipc::TestChannel::openForRead(name + "in");
    const auto out = ipc::TestChannel::openForWrite(name + "out");
    if (!in || !out) return kNoChannel;
    for (uint32_t i = 0; isDue(count, i); ++i) {
        bool sent = false;
        const auto answer = [&](const ipc::TestRecord& record) {
            sent = out->write([&](ipc::TestRecord& reply) { reply = record; });
        };
        if (!in->read(answer) || !sent) return kRefused;
    }
    return 0;
}

int pumpRecords(const std::string& name, uint32_t count) {
    const auto out = ipc::TestChannel::openForWrite(name + "in");
    const auto in = ipc::TestChannel::openForRead(name + "out");
    const auto done = ipc::TestChannel::openForWrite(name + "done");
    if (!in || !out || !done) return kNoChannel;
    for (uint32_t i = 0; isDue(count, i); ++i) {
        const auto fill = [i](ipc::TestRecord& record) { record.fill(i); };
        bool right = false;
        const auto check = [&](const ipc::TestRecord& record) { right = record.holds(i); };
        if (!out->write(fill) || !in->read(check) || !done->write(fill)) return kRefused;
        if (!right) return kWrongRecord;
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) return 2;
    ipc::printOpenErrors(false);
    const std::string what = argv[1];
    const std::string name = argv[2];
    const auto count = static_cast<uint32_t>(std::strtoul(argv[3], nullptr, 10));
    if (what == "write") return writeRecords(name, count);
    if (what == "read") return readRecords(name, count);
    if (what == "echo") return echoRecords(name, count);
    if (what == "pump") return pumpRecords(name, count);
    return 2;
}
