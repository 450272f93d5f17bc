#include "vp/src/ChromaMoves.h"

namespace qorvp {

void interleaveRow(const uint8_t* first, const uint8_t* second, uint8_t* pairs, int count) {
    for (int i = 0; i < count; ++i) {
        pairs[i * 2] = first[i];
        pairs[i * 2 + 1] = second[i];
    }
}

void separateRow(const uint8_t* pairs, uint8_t* first, uint8_t* second, int count) {
    for (int i = 0; i < count; ++i) {
        first[i] = pairs[i * 2];
        second[i] = pairs[i * 2 + 1];
    }
}

void exchangeRow(const uint8_t* from, uint8_t* to, int count) {
    for (int i = 0; i < count; ++i) {
        to[i * 2] = from[i * 2 + 1];
        to[i * 2 + 1] = from[i * 2];
    }
}

}  // namespace qorvp
