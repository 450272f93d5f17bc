#include <zmq.h>

#include <cstring>
#include <memory>
#include <stdexcept>

#include "bench/Rows.h"
#include "bench/posix/FutexRoad.h"
#include "ipc/channel_names.h"
#include "platform/include/module.h"
#include "platform/include/process.h"
#include "tests/support/RawClient.h"

namespace zelbench {

namespace {

constexpr size_t kInBytes = 256 * 144 * 3;
constexpr size_t kOutBytes = 256 * 144;

std::unique_ptr<platform::Process> startEcho(const std::string& kind, const std::string& name) {
    platform::ProcessOptions options;
    options.dieWithParent = true;
    options.standardError = "inherit";
    std::string error;
    auto process = platform::startProcess(platform::executablePath(), {"--echo", kind, name}, options, &error);
    if (!process) throw std::runtime_error("cannot start the echo process: " + error);
    return process;
}

// Ends the echo process with the scope.
struct Echo {
    Echo(const std::string& kind, const std::string& name) : process(startEcho(kind, name)) {}
    ~Echo() {
        process->kill();
        process->waitForExit(platform::kInfinite);
    }
    std::unique_ptr<platform::Process> process;
};

void exchange(zeltest::RawClient& client, const std::vector<uint8_t>& in, std::vector<uint8_t>& out) {
    client.frames->write([&in](auto& packet) {
        packet.record.size = static_cast<uint32_t>(in.size());
        std::memcpy(packet.record.data, in.data(), in.size());
    });
    client.results->read([&out](const auto& packet) { std::memcpy(out.data(), packet.record.data, out.size()); });
}

class ZeroMqRoad {
  public:
    explicit ZeroMqRoad(const std::string& address) : mContext(zmq_ctx_new()), mSocket(zmq_socket(mContext, ZMQ_PAIR)) {
        if (zmq_bind(mSocket, address.c_str()) != 0) throw std::runtime_error("cannot bind " + address);
    }
    ~ZeroMqRoad() {
        const int noWait = 0;
        zmq_setsockopt(mSocket, ZMQ_LINGER, &noWait, sizeof noWait);
        zmq_close(mSocket);
        zmq_ctx_term(mContext);
    }
    void exchange(const std::vector<uint8_t>& in, std::vector<uint8_t>& out) {
        zmq_send(mSocket, in.data(), in.size(), 0);
        zmq_recv(mSocket, out.data(), out.size(), 0);
    }

  private:
    void* mContext;
    void* mSocket;
};

void verify(const std::vector<uint8_t>& out, const char* road) {
    for (const uint8_t byte : out)
        if (byte != 7) throw std::runtime_error(std::string(road) + " returned other bytes");
}

}  // namespace

void serveChannelEcho(const std::string& baseName) {
    const auto frames = ipc::FrameChannel::openForRead(baseName + ipc::kFrameSuffix);
    const auto results = ipc::FrameChannel::openForWrite(baseName + ipc::kResultSuffix);
    const std::vector<uint8_t> answer(kOutBytes, 7);
    while (true) {
        frames->read([&](const auto&) {
            results->write([&answer](auto& packet) {
                packet.record.size = static_cast<uint32_t>(answer.size());
                std::memcpy(packet.record.data, answer.data(), answer.size());
            });
        });
    }
}

void serveZeroMqEcho(const std::string& address) {
    void* context = zmq_ctx_new();
    void* socket = zmq_socket(context, ZMQ_PAIR);
    zmq_connect(socket, address.c_str());
    std::vector<uint8_t> in(kInBytes);
    const std::vector<uint8_t> out(kOutBytes, 7);
    while (true) {
        zmq_recv(socket, in.data(), in.size(), 0);
        zmq_send(socket, out.data(), out.size(), 0);
    }
}

void measureChannels(const Settings& settings, Report& report) {
    const std::vector<uint8_t> in(kInBytes, 3);
    std::vector<uint8_t> out(kOutBytes);

    const std::string name = zeltest::uniqueBaseName();
    zeltest::RawClient client(name);
    const Echo channelEcho("channel", name);
    const auto ours = [&] { exchange(client, in, out); };
    ours();
    verify(out, "the channel");

    const std::string address = "ipc:///tmp/" + name + ".zeromq";
    ZeroMqRoad zeroMq(address);
    const Echo zeroMqEcho("zeromq", address);
    const auto overZeroMq = [&] { zeroMq.exchange(in, out); };
    out.assign(kOutBytes, 0);
    overZeroMq();
    verify(out, "ZeroMQ");

    FutexRoad futex(kInBytes, kOutBytes);
    const auto overFutex = [&] { futex.exchange(in, out); };
    out.assign(kOutBytes, 0);
    overFutex();
    verify(out, "the bare futex");

    Blocks blocks = settings.blocks;
    blocks.operations *= 5;
    const Comparison zeroMqFigures = compare(blocks, ours, overZeroMq);
    report.add({"channel round trip 110592 B + 36864 B", "ZeroMQ ipc://", "us", zeroMqFigures, "<= 0.7x",
                zeroMqFigures.ratio <= 0.7, ""});
    const uint64_t before = platform::processorMicroseconds();
    const Comparison futexFigures = compare(blocks, ours, overFutex);
    const uint64_t spent = platform::processorMicroseconds() - before;
    const auto exchanges = static_cast<uint64_t>(2 * blocks.repeats * (blocks.operations + blocks.warmUp));
    report.add({"channel round trip 110592 B + 36864 B", "bare futex, same copies", "us", futexFigures, "<= 1.3x",
                futexFigures.ratio <= 1.3, "CPU time here " + std::to_string(spent / exchanges) + " us an exchange"});
}

}  // namespace zelbench
