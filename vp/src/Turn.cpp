#include "vp/src/Turn.h"

#include <algorithm>

namespace qorvp {

namespace {

// Writes rows of `width` samples in order, each sample from where `source(x, y)` points.
template <int bytes, class Source>
void writeInOrder(const Plane& to, int width, int height, Source source) {
    for (int y = 0; y < height; ++y) {
        uint8_t* out = to.row(y);
        for (int x = 0; x < width; ++x, out += bytes) std::copy_n(source(x, y), bytes, out);
    }
}

template <int bytes>
struct Turns {
    static void by90(const Plane& from, const Plane& to) {
        writeInOrder<bytes>(to, from.height, from.width,
                            [&](int x, int y) { return from.row(from.height - 1 - x) + y * bytes; });
    }
    static void by180(const Plane& from, const Plane& to) {
        writeInOrder<bytes>(to, from.width, from.height,
                            [&](int x, int y) { return from.row(from.height - 1 - y) + (from.width - 1 - x) * bytes; });
    }
    static void by270(const Plane& from, const Plane& to) {
        writeInOrder<bytes>(to, from.height, from.width,
                            [&](int x, int y) { return from.row(x) + (from.width - 1 - y) * bytes; });
    }
    static void mirror(uint8_t* row, int width) {
        for (int left = 0, right = width - 1; left < right; ++left, --right)
            std::swap_ranges(row + left * bytes, row + (left + 1) * bytes, row + right * bytes);
    }
};

// Calls `action` with the turns of samples of so many bytes.
template <class Action>
void withTurns(int bytes, Action action) {
    switch (bytes) {
        case 1:
            return action(Turns<1>());
        case 2:
            return action(Turns<2>());
        case 3:
            return action(Turns<3>());
        default:
            return action(Turns<4>());
    }
}

}  // namespace

void turn90(const Plane& from, const Plane& to) {
    withTurns(from.bytes, [&](auto turns) { turns.by90(from, to); });
}
void turn180(const Plane& from, const Plane& to) {
    withTurns(from.bytes, [&](auto turns) { turns.by180(from, to); });
}
void turn270(const Plane& from, const Plane& to) {
    withTurns(from.bytes, [&](auto turns) { turns.by270(from, to); });
}
void mirrorRow(uint8_t* row, int width, int bytes) {
    withTurns(bytes, [&](auto turns) { turns.mirror(row, width); });
}

}  // namespace qorvp
