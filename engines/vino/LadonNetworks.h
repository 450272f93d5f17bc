#pragma once

#include <string>
#include <vector>

#include "engines/vino/MaskNetworks.h"

// For tests: small networks with the outputs of a Ladon network, so that the bytes of a picture say what is found
// in it. Byte 0 of the pixels from the front gives first the gesture scores, then one value for each column of faces,
// then motion, then the colour table; the mask is made of all planes.
namespace ladon_networks {

struct Options {
    std::string name = "SmallLadon";
    int height = 8;
    int width = 16;
    int inputs = 1;
    // Value of the mask: sum over the planes c of factors[c] * input, so by default byte 1 of a pixel.
    std::vector<float> factors = {0, 1, 0, 0};
    // Scores are the bytes minus 100.
    std::vector<int> gesture = {1, 9};
    // The last dimension but one has the columns, value k of face f is the column's byte plus 1000 * f plus k.
    std::vector<int> landmarks = {1, 1, 9, 16, 1439};
    // The byte by 8.
    std::vector<int> motion = {1, 1, 1, 1};
    // Of a colour table: value k of the table and of its vertices is a byte plus k, its confidence a byte by 8. Without
    // dimensions there is none.
    std::vector<int> lut;
    std::vector<int> lutVertices;
    std::vector<int> lutConfidence;
    // Outputs that the network lacks.
    std::vector<std::string> missing;
};

mask_networks::Pair make(const Options& options);

// Pixel whose byte 0 is gesture score 0, column 0, and motion, in a network of the default shapes.
inline constexpr size_t kGesturePixel = 0;
inline constexpr size_t kColumnPixel = 9;
inline constexpr size_t kMotionPixel = 25;
inline constexpr size_t kLutPixel = 26;
inline constexpr size_t kLutVerticesPixel = 27;
inline constexpr size_t kLutConfidencePixel = 28;
inline constexpr float kGestureZero = 100;
inline constexpr float kFaceStep = 1000;
inline constexpr float kMotionFactor = 0.125f;

}  // namespace ladon_networks
