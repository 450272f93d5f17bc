#pragma once

#include <cstdint>
#include <vector>

namespace zeltest {

// The photograph of a person that lies beside the networks, at another size of 16:9, scaled by averaging: width x
// height pixels of 3 bytes, R, G, B. Raises std::runtime_error when it cannot be read.
std::vector<uint8_t> samplePhotograph(int32_t width, int32_t height);

}  // namespace zeltest
