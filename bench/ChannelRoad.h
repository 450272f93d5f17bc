#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "bench/EchoProcess.h"
#include "tests/support/RawClient.h"

namespace zelbench {

// An exchange over a frame channel and a result channel, as a client and its host have it, with nothing behind it: the
// request is copied into its slot and used there, the answer is copied into its slot and out of it.
class ChannelRoad {
  public:
    ChannelRoad() : mName(zeltest::uniqueBaseName()), mClient(mName), mEcho("channel", mName) {}

    // The answer has kMaskBytes of kAnswerByte; `out` takes them.
    void exchange(const std::vector<uint8_t>& in, std::vector<uint8_t>& out);
    int echoId() const { return mEcho.id(); }

  private:
    const std::string mName;
    zeltest::RawClient mClient;
    EchoProcess mEcho;
};

inline constexpr size_t kFrameBytes = 256 * 144 * 3;
inline constexpr size_t kMaskBytes = 256 * 144;
inline constexpr uint8_t kAnswerByte = 7;

}  // namespace zelbench
