#include "util/include/CmMutex.h"

#include <cerrno>
#include <system_error>

int CCmMutexThreadRecursive::Lock() {
    try {
        m_mutex.lock();
    } catch (const std::system_error& error) {
        return error.code().value() != 0 ? error.code().value() : EAGAIN;
    }
    m_owner.store(std::this_thread::get_id(), std::memory_order_relaxed);
    ++m_depth;
    return 0;
}

int CCmMutexThreadRecursive::UnLock() {
    // Only the owner itself can find its own id here, so that no order is needed.
    if (m_owner.load(std::memory_order_relaxed) != std::this_thread::get_id()) return EPERM;
    if (--m_depth == 0) m_owner.store(std::thread::id(), std::memory_order_relaxed);
    m_mutex.unlock();
    return 0;
}
