#include "vp/src/HalveRows.h"

#include <algorithm>

namespace qorvp {

namespace {

template <class Across, class Down>
void halve(const uint8_t* upper, const uint8_t* lower, int channels, uint8_t* to, int count, Across across, Down down) {
    for (int i = 0; i < count; ++i, upper += channels, lower += channels) {
        for (int c = 0; c < channels; ++c, ++upper, ++lower)
            *to++ = static_cast<uint8_t>(down(across(upper[0], upper[channels]), across(lower[0], lower[channels])));
    }
}

int roundedUp(int a, int b) {
    return (a + b + 1) >> 1;
}

int roundedDown(int a, int b) {
    return (a + b) >> 1;
}

int stepped(int a, int b) {
    return (std::max(a, 1) + b) >> 1;
}

}  // namespace

void halveBilinear(const uint8_t* upper, const uint8_t* lower, int channels, uint8_t* to, int count) {
    halve(upper, lower, channels, to, count, roundedUp, roundedDown);
}

void halveStepped(const uint8_t* upper, const uint8_t* lower, int channels, uint8_t* to, int count) {
    halve(upper, lower, channels, to, count, stepped, stepped);
}

bool isHalf(const Plane& from, const Plane& to) {
    return from.width == to.width * 2 && from.height == to.height * 2;
}

void halvePlane(const Plane& from, const Plane& to, HalveRows halveRows) {
    for (int y = 0; y < to.height; ++y) halveRows(from.row(y * 2), from.row(y * 2 + 1), to.bytes, to.row(y), to.width);
}

}  // namespace qorvp
