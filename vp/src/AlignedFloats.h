#pragma once

#include <cstddef>
#include <memory>
#include <new>

namespace qorvp {

// Floats that begin at a multiple of 64 bytes, not set to anything. std::bad_alloc when there is no memory.
class AlignedFloats {
  public:
    // Room for at least so many; what it held is lost when it grows.
    void reserve(size_t count) {
        if (count <= m_count) return;
        m_floats.reset();
        m_count = 0;
        m_floats.reset(static_cast<float*>(::operator new(count * sizeof(float), kAlignment)));
        m_count = count;
    }
    void release() {
        m_floats.reset();
        m_count = 0;
    }
    float* data() const { return m_floats.get(); }

  private:
    static constexpr std::align_val_t kAlignment{64};
    struct Delete {
        void operator()(float* floats) const { ::operator delete(floats, kAlignment); }
    };

    std::unique_ptr<float, Delete> m_floats;
    size_t m_count = 0;
};

}  // namespace qorvp
