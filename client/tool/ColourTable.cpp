#include "client/tool/ColourTable.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>

#include "client/tool/file_paths.h"

namespace zeltool {

namespace {

constexpr size_t kSide = ZELCLIENT_LUT_SIDE;
constexpr size_t kPoints = kSide * kSide * kSide;

uint8_t byteOf(float share) {
    return static_cast<uint8_t>(std::lround(std::clamp(share, 0.0f, 1.0f) * 255));
}

void writeColour(std::ostream& out, const Rgb& colour) {
    char line[64];
    const int length = std::snprintf(line, sizeof line, "%.6f %.6f %.6f\n", static_cast<double>(colour[0]),
                                     static_cast<double>(colour[1]), static_cast<double>(colour[2]));
    out.write(line, length);
}

}  // namespace

ColourTable::ColourTable(const zelclient_ladon& ladon)
    : mColours(ladon.lut, ladon.lut + 3 * kPoints), mVertices(ladon.lut_vertices, ladon.lut_vertices + 3 * kSide) {}

ColourTable::Place ColourTable::placeOf(size_t channel, float value) const {
    const float* const first = mVertices.data() + channel * kSide;
    // The first point above the value; the last interval serves what lies beyond.
    const auto above = static_cast<size_t>(std::upper_bound(first, first + kSide, value) - first);
    const size_t below = std::clamp<size_t>(above, 1, kSide - 1) - 1;
    const float step = first[below + 1] - first[below];
    return {below, step > 0 ? std::clamp((value - first[below]) / step, 0.0f, 1.0f) : 0.0f};
}

Rgb ColourTable::at(const Rgb& colour) const {
    const Place places[] = {placeOf(0, colour[0]), placeOf(1, colour[1]), placeOf(2, colour[2])};
    Rgb result = {};
    for (size_t corner = 0; corner < 8; ++corner) {
        float weight = 1;
        size_t index = 0;
        size_t stride = 1;
        for (size_t channel = 0; channel < 3; ++channel, stride *= kSide) {
            const size_t up = corner >> channel & 1;
            weight *= up ? places[channel].share : 1 - places[channel].share;
            index += (places[channel].below + up) * stride;
        }
        for (size_t channel = 0; channel < 3; ++channel)
            result[channel] += weight * mColours[channel * kPoints + index];
    }
    return result;
}

Image ColourTable::applied(const Image& picture) const {
    Image result(picture.width, picture.height, 3);
    for (size_t at = 0; at + 2 < picture.bytes.size(); at += 3) {
        const Rgb colour =
            this->at({static_cast<float>(picture.bytes[at]) / 255, static_cast<float>(picture.bytes[at + 1]) / 255,
                      static_cast<float>(picture.bytes[at + 2]) / 255});
        std::transform(colour.begin(), colour.end(), result.bytes.begin() + static_cast<ptrdiff_t>(at), byteOf);
    }
    return result;
}

bool ColourTable::save(const std::string& path, std::string title, std::string* error) const {
    std::replace(title.begin(), title.end(), '"', '\'');
    std::ofstream out(pathOf(path), std::ios::binary);
    out << "TITLE \"" << title << "\"\nLUT_3D_SIZE " << kSide << '\n';
    const auto step = [](size_t index) { return static_cast<float>(index) / (kSide - 1); };
    for (size_t point = 0; point < kPoints; ++point)
        writeColour(out, at({step(point % kSide), step(point / kSide % kSide), step(point / kSide / kSide)}));
    out.close();
    if (out) return true;
    *error = "cannot write " + path;
    return false;
}

}  // namespace zeltool
