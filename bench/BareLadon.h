#pragma once

#include <cstdint>
#include <vector>

#include "bench/BareNetwork.h"
#include "bench/Picture.h"
#include "bench/ServedHost.h"

namespace zelbench {

// Whether the network has the colour table.
enum class LadonTable { kWithout, kWith };

// What the host does with a Ladon frame, step by step around the bare network.
class BareLadon {
  public:
    BareLadon(BareNetwork& network, LadonTable table) : mNetwork(network), mTable(table), mRaw(pixels()) {}

    // Infers the next frame and compares all that the host's record tells of it. Each takes the mask of the one before,
    // so that all frames of a host have to come here, from its first one on.
    bool gives(const std::vector<uint8_t>& frame, const ipc::LadonResult& result);

  private:
    size_t pixels() const { return size_t{mNetwork.width()} * mNetwork.height(); }
    std::vector<uint8_t> maskOf(const std::vector<uint8_t>& frame);
    bool tableIs(const ipc::LadonResult& result) const;

    BareNetwork& mNetwork;
    const LadonTable mTable;
    std::vector<uint8_t> mRaw;
};

// Sends the frames three times over and compares every record with what the bare network gives; it keeps the inputs of
// the last round, so that both sides infer the same from then on. Raises std::runtime_error when one differs.
void verifyLadon(ServedHost& host, BareNetwork& network, const FrameSeries& series, LadonTable table);

}  // namespace zelbench
