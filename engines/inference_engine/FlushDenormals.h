#pragma once

#include <xmmintrin.h>

namespace InferenceEngine::details {

// While it lives, this thread makes no denormal numbers; afterwards it does as before. The runtime's own setting
// reaches its workers and the thread that loads a network, which would keep it and hand it on to the threads that it
// starts. An inference also computes on the thread that asks for it. Operands are left alone: on processors without
// AVX-512 the runtime's kernels move whole numbers through instructions for floats, which would take small ones for
// zero.
class FlushDenormals {
  public:
    FlushDenormals() : mBefore(_mm_getcsr()) { _mm_setcsr(mBefore | kToZero); }
    ~FlushDenormals() { _mm_setcsr(mBefore); }
    FlushDenormals(const FlushDenormals&) = delete;
    FlushDenormals& operator=(const FlushDenormals&) = delete;

  private:
    static constexpr unsigned kToZero = 0x8000;  // of results, bit 15

    const unsigned mBefore;
};

}  // namespace InferenceEngine::details
