#pragma once

#include "engines/vino/MaskNetworks.h"

// For tests: networks of their own in the place of those that the program carries, while one object exists. The program
// then has no others.
class ReplacedNetworks {
  public:
    ReplacedNetworks();
    ~ReplacedNetworks();
    ReplacedNetworks(const ReplacedNetworks&) = delete;
    ReplacedNetworks& operator=(const ReplacedNetworks&) = delete;

    // Not while a network is being read. A pair stays in memory for good: what was read from it may live on.
    static void put(int xmlId, int weightsId, const mask_networks::Pair& pair);
};
