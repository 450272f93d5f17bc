#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "bench/EchoProcess.h"

namespace zelbench {

// The same exchange over a pair of ZeroMQ sockets, ipc://.
class ZeroMqRoad {
  public:
    ZeroMqRoad();
    ~ZeroMqRoad();
    ZeroMqRoad(const ZeroMqRoad&) = delete;
    ZeroMqRoad& operator=(const ZeroMqRoad&) = delete;

    void exchange(const std::vector<uint8_t>& in, std::vector<uint8_t>& out);
    int echoId() const { return mEcho.id(); }

  private:
    const std::string mAddress;
    void* mContext;
    void* mSocket;
    EchoProcess mEcho;
};

}  // namespace zelbench
