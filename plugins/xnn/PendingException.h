#pragma once

#include <cstddef>
#include <string_view>

namespace xnn {

// The text of a failure until the caller has asked for it. Plain memory, so that neither a want of memory nor the end
// of a thread, which may outlive the library, can harm it. Texts are cut to its size.
class PendingException {
  public:
    void set(std::string_view function, std::string_view what) noexcept;
    void reset() noexcept { mPending = false; }

    bool isPending() const { return mPending; }
    std::string_view text() const { return {mText, mPending ? mLength : 0}; }

  private:
    void append(std::string_view text) noexcept;

    bool mPending = false;
    size_t mLength = 0;
    char mText[4096] = {};
};

// Of calls on this thread that had no handle to leave a failure at.
PendingException& pendingOnThread();

}  // namespace xnn
