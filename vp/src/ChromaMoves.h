#pragma once

#include <cstdint>

// Chroma samples between planes and pairs, one row at a time. Rows overlap none of the others.
namespace qorvp {

// first[0], second[0], first[1], ... to `pairs`.
void interleaveRow(const uint8_t* first, const uint8_t* second, uint8_t* pairs, int count);

// The same back.
void separateRow(const uint8_t* pairs, uint8_t* first, uint8_t* second, int count);

// Each pair with its samples exchanged.
void exchangeRow(const uint8_t* from, uint8_t* to, int count);

// The functions above are the plain forms, which say what the others do.
struct ChromaKernels {
    void (*interleaveRow)(const uint8_t* first, const uint8_t* second, uint8_t* pairs, int count);
    void (*separateRow)(const uint8_t* pairs, uint8_t* first, uint8_t* second, int count);
    void (*exchangeRow)(const uint8_t* from, uint8_t* to, int count);
};
inline constexpr ChromaKernels kPlainChromaKernels = {interleaveRow, separateRow, exchangeRow};

// The forms for a feature word.
ChromaKernels chromaKernels(uint32_t features);

}  // namespace qorvp
