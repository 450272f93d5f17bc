#pragma once

#include <xmmintrin.h>

namespace qorvp {

// While it lives, numbers too small for a normal float are zero on this thread. A decay that ends in them would take
// many times as long.
class FlushDenormals {
  public:
    FlushDenormals() : m_before(_mm_getcsr()) { _mm_setcsr(m_before | kFlushToZero | kDenormalsAreZero); }
    ~FlushDenormals() { _mm_setcsr(m_before); }
    FlushDenormals(const FlushDenormals&) = delete;
    FlushDenormals& operator=(const FlushDenormals&) = delete;

  private:
    static constexpr unsigned kFlushToZero = 1u << 15;
    static constexpr unsigned kDenormalsAreZero = 1u << 6;

    const unsigned m_before;
};

}  // namespace qorvp
