#include "bench/ZeroMqRoad.h"

#include <zmq.h>

#include <stdexcept>

#include "bench/ChannelRoad.h"
#include "bench/Rows.h"
#include "platform/include/folders.h"

namespace zelbench {

namespace {

void* boundSocket(void* context, const std::string& address) {
    void* const socket = zmq_socket(context, ZMQ_PAIR);
    if (zmq_bind(socket, address.c_str()) != 0) throw std::runtime_error("cannot bind " + address);
    return socket;
}

}  // namespace

ZeroMqRoad::ZeroMqRoad()
    : mAddress("ipc://" + platform::folders().temporary() + zeltest::uniqueBaseName() + ".zeromq"),
      mContext(zmq_ctx_new()),
      mSocket(boundSocket(mContext, mAddress)),
      mEcho("zeromq", mAddress) {}

ZeroMqRoad::~ZeroMqRoad() {
    const int noWait = 0;
    zmq_setsockopt(mSocket, ZMQ_LINGER, &noWait, sizeof noWait);
    zmq_close(mSocket);
    zmq_ctx_term(mContext);
}

void ZeroMqRoad::exchange(const std::vector<uint8_t>& in, std::vector<uint8_t>& out) {
    zmq_send(mSocket, in.data(), in.size(), 0);
    zmq_recv(mSocket, out.data(), out.size(), 0);
}

void serveZeroMqEcho(const std::string& address) {
    void* context = zmq_ctx_new();
    void* socket = zmq_socket(context, ZMQ_PAIR);
    zmq_connect(socket, address.c_str());
    std::vector<uint8_t> in(kFrameBytes);
    const std::vector<uint8_t> out(kMaskBytes, kAnswerByte);
    while (true) {
        zmq_recv(socket, in.data(), in.size(), 0);
        zmq_send(socket, out.data(), out.size(), 0);
    }
}

}  // namespace zelbench
