#include "vp/src/HalveRows.h"

namespace qorvp {

void halveRows(const uint8_t* upper, const uint8_t* lower, int channels, uint8_t* to, int count) {
    for (int i = 0; i < count; ++i, upper += channels, lower += channels) {
        for (int c = 0; c < channels; ++c, ++upper, ++lower) {
            const int above = (upper[0] + upper[channels] + 1) >> 1;
            const int below = (lower[0] + lower[channels] + 1) >> 1;
            *to++ = static_cast<uint8_t>((above + below) >> 1);
        }
    }
}

}  // namespace qorvp
