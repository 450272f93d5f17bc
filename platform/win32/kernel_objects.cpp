#include "platform/include/kernel_objects.h"

#include <windows.h>

#include <atomic>
#include <cstring>
#include <system_error>

namespace platform {
namespace {

thread_local DWORD lastFailure = 0;
thread_local std::string lastFailureText;

Handle fail(const std::string& what, const char* name, DWORD code) {
    lastFailure = code;
    lastFailureText = "cannot " + what + " " + name + ": " + std::system_category().message(static_cast<int>(code)) +
                      " (error " + std::to_string(code) + ")";
    return nullptr;
}

bool isHandle(HANDLE handle) {
    return handle && handle != INVALID_HANDLE_VALUE;
}

std::string sized(const char* what, size_t size) {
    return what + (" (" + std::to_string(size)) + " bytes)";
}

class SystemKernelObjects final : public KernelObjects {
  public:
    Handle createEvent(const char* name) override {
        const HANDLE event = CreateEventA(nullptr, FALSE, FALSE, name);
        return isHandle(event) ? event : fail("create event", name, GetLastError());
    }

    void setEvent(Handle event) override { SetEvent(event); }

    WaitResult waitEvent(Handle event, uint32_t timeoutMs) override {
        static_assert(kInfinite == INFINITE);
        const DWORD result = WaitForSingleObject(event, timeoutMs);
        if (result == WAIT_OBJECT_0) return WaitResult::kSignalled;
        if (result == WAIT_TIMEOUT) return WaitResult::kTimeout;
        fail("wait on", "an event", GetLastError());
        return WaitResult::kFailed;
    }

    void closeEvent(Handle event) override { CloseHandle(event); }

    Handle openMapping(const char* name, size_t size) override {
        const HANDLE mapping = OpenFileMappingA(FILE_MAP_ALL_ACCESS, FALSE, name);
        if (!isHandle(mapping)) return fail(sized("open shared memory", size), name, GetLastError());
        return checked(mapping, name, size);
    }

    Handle createMapping(const char* name, size_t size, const void* content, size_t contentSize) override {
        const auto wide = static_cast<uint64_t>(size);
        const HANDLE mapping = CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE,
                                                  static_cast<DWORD>(wide >> 32), static_cast<DWORD>(wide), name);
        const DWORD code = GetLastError();
        if (!isHandle(mapping)) return fail(sized("create shared memory", size), name, code);
        if (code == ERROR_ALREADY_EXISTS) return checked(mapping, name, size);
        void* view = mapView(mapping, size);
        if (!view) {
            CloseHandle(mapping);
            return nullptr;
        }
        std::memcpy(view, content, contentSize);
        unmapView(view, size);
        return mapping;
    }

    void* mapView(Handle mapping, size_t size) override {
        void* view = MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, size);
        return view ? view : fail(sized("map shared memory", size), "", GetLastError());
    }

    void unmapView(void* view, size_t) override { UnmapViewOfFile(view); }

    void closeMapping(Handle mapping) override { CloseHandle(mapping); }

    uint32_t lastError() override { return lastFailure; }
    std::string lastErrorText() override { return lastFailureText; }

  private:
    // The mapping if a view of that size fits into it.
    Handle checked(HANDLE mapping, const char* name, size_t size) {
        if (void* view = MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, size)) {
            UnmapViewOfFile(view);
            return mapping;
        }
        const DWORD code = GetLastError();
        CloseHandle(mapping);
        return fail(sized("use existing shared memory", size), name, code);
    }
};

std::atomic<KernelObjects*> replaced{nullptr};

}  // namespace

KernelObjects& systemKernelObjects() {
    // Never destroyed: objects with static lifetime close their handles at exit.
    static auto* const objects = new SystemKernelObjects;
    return *objects;
}

KernelObjects& kernelObjects() {
    KernelObjects* const objects = replaced.load(std::memory_order_acquire);
    return objects ? *objects : systemKernelObjects();
}

void replaceKernelObjects(KernelObjects* replacement) {
    replaced = replacement;
}

int sweepAbandonedObjects() {
    return 0;
}

}  // namespace platform
