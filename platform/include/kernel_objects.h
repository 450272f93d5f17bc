#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// Named shared memory and named auto-reset events, with the lifetime of kernel objects: contents live as long as any
// process holds the object open, also when a holder is killed, and are gone when the last one lets go.
namespace platform {

inline constexpr uint32_t kInfinite = 0xFFFFFFFFu;

// An open event or mapping; null means none.
using Handle = void*;

enum class WaitResult { kSignalled, kTimeout, kFailed };

// The system's calls behind one interface, so that a test can make any of them fail. Every operation may be called from
// any thread; a Handle may be used by several threads at once, except while it is being closed.
class KernelObjects {
  public:
    virtual ~KernelObjects() = default;

    // Creates the named auto-reset event, not signalled, or opens the existing one. Null on failure.
    virtual Handle createEvent(const char* name) = 0;
    // Sets the event: wakes one waiter, or stays set until the next wait.
    virtual void setEvent(Handle event) = 0;
    // The same, but an event that is set already may be left as it is, without waking: who set it does that. Only for
    // one side's sets among themselves; if a process is killed inside one, its waiter sleeps until the next setEvent.
    virtual void setEventOnce(Handle event) { setEvent(event); }
    // Waits until the event is set and clears it. timeoutMs may be 0 or kInfinite.
    virtual WaitResult waitEvent(Handle event, uint32_t timeoutMs) = 0;
    virtual void closeEvent(Handle event) = 0;

    // Opens an existing mapping. Null if there is none, or if it is smaller than `size`, of another user or too open.
    virtual Handle openMapping(const char* name, size_t size) = 0;
    // Creates a mapping of `size` bytes that begins with the `contentSize` bytes of `content` and is zero behind them,
    // or opens the one of that name and leaves it as found. On Linux nobody ever sees it half-built, and its memory is
    // reserved at once, so that a full system fails here and not at a later store.
    virtual Handle createMapping(const char* name, size_t size, const void* content, size_t contentSize) = 0;
    virtual void* mapView(Handle mapping, size_t size) = 0;
    virtual void unmapView(void* view, size_t size) = 0;
    virtual void closeMapping(Handle mapping) = 0;

    // The system's error number of the calling thread's last failed operation here (GetLastError, errno).
    virtual uint32_t lastError() = 0;
    // The same as a line for people: what failed, on which name, and what to do.
    virtual std::string lastErrorText() = 0;
};

// The interface in force: the system's own unless a test has replaced it.
KernelObjects& kernelObjects();
// The system's own, also while a test has replaced it.
KernelObjects& systemKernelObjects();
// For tests: null puts the system's own back. Not to be called while another thread uses the interface.
void replaceKernelObjects(KernelObjects* replacement);

// Removes objects "zelhost*" of this user that no process holds any more, left by processes that were killed. Returns
// how many went. Nothing to do on Windows, where the system does this itself.
int sweepAbandonedObjects();

}  // namespace platform
