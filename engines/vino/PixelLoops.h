#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// The loops over pixels of the OpenVINO helpers: a plain form of each, which says what the loop does, and vector forms
// of it that give the same bytes. No call allocates, except that the plain edge map keeps two work arrays for each
// thread. No buffer needs an alignment, none is read or written beyond the elements named, and outputs overlap no
// input. Any thread may call.
namespace PixelLoops {

// Value of the change test that a pixel's byte differences must pass, and of the mask byte that foreground must pass.
inline constexpr int kChangedPixelSum = 30;
inline constexpr int kForegroundAbove = 128;

struct Kernels {
    // The instruction set in lower case: "plain", "ssse3", "sse4", "avx2", "avx3", "avx3_dl".
    std::string name;

    // Frame of 3 bytes a pixel and mask of 1 byte a pixel to `channels` planes of `pixels` floats, 0..255: planes 0 to
    // 2 are the bytes of the pixel, every later one is the mask. `mask` may be null when channels is below 4.
    void (*fillPlanes)(const uint8_t* frame, const uint8_t* mask, size_t pixels, size_t channels, float* planes);

    // Frame of 3 bytes a pixel to three planes of `pixels` floats (byte - 127) / 128.
    void (*fillCentredPlanes)(const uint8_t* frame, size_t pixels, float* planes);

    // Bytes to floats byte / 255, divided in double precision or, with the same result, in single.
    void (*bytesToFractions)(const uint8_t* bytes, size_t count, float* floats);

    // Low byte of values[i] * scale, multiplied in single precision and truncated toward zero to a 32-bit integer.
    // Products outside the integer's range, NaN included, give 0.
    void (*floatsToBytes)(const float* values, size_t count, float scale, uint8_t* bytes);

    // Sum of the bytes modulo 2^32.
    uint32_t (*sumBytes)(const uint8_t* bytes, size_t count);

    // Sets edgeMap to 1, and leaves it alone elsewhere, where the window of 2 pixels each way, clipped at the border,
    // holds mask bytes above 128 and others. Returns how many such pixels there are.
    int32_t (*markEdges)(size_t width, size_t height, const uint8_t* mask, uint8_t* edgeMap);

    // Minimum of the 3x3 window, clipped, at the border and where the mask falls steadily across the window from side
    // to side; a copy elsewhere. Both dimensions are at least 3.
    void (*erode)(size_t width, size_t height, const uint8_t* src, uint8_t* dst);

    // Pixels whose edgeMap byte is not 0 and whose three byte differences add up to more than 30. The vector forms may
    // read the bytes of neighbouring pixels, within `pixels`.
    int32_t (*countChanged)(size_t pixels, const uint8_t* frame, const uint8_t* refFrame, const uint8_t* edgeMap);
};

// The form in force. Chosen at the first call: the best that the processor has or, when the environment variable
// ZELHOST_SIMD names one that it has, that one. A name that it does not have is told on stderr and ignored.
const Kernels& active();

// The reference form.
const Kernels& plain();

// Every form that this processor can run, the plain one first and the best one last.
std::vector<const Kernels*> available();

// What active() chooses for a given value of ZELHOST_SIMD; null when the name is not among the available ones.
const Kernels* select(const std::string& name);

}  // namespace PixelLoops
