#pragma once

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <string>

#include "platform/include/kernel_objects.h"

namespace fuzz {

// Named mappings and events that live in this process until the object goes, in force meanwhile. A mapping is a heap
// block of exactly its size, so that the address sanitizer sees every access outside it; a wait never blocks. Whatever
// is open must be closed before. Objects are opened on one thread; events may be set and waited for on any.
class HeapObjects final : public platform::KernelObjects {
  public:
    HeapObjects() { platform::replaceKernelObjects(this); }
    ~HeapObjects() override { platform::replaceKernelObjects(nullptr); }

    platform::Handle createEvent(const char* name) override { return &mEvents[name]; }
    void setEvent(platform::Handle event) override { static_cast<Event*>(event)->store(true); }
    platform::WaitResult waitEvent(platform::Handle event, uint32_t) override {
        const bool wasSet = static_cast<Event*>(event)->exchange(false);
        return wasSet ? platform::WaitResult::kSignalled : platform::WaitResult::kTimeout;
    }
    void closeEvent(platform::Handle) override {}
    platform::Handle openMapping(const char* name, size_t) override {
        const auto found = mMappings.find(name);
        return found == mMappings.end() ? nullptr : found->second.get();
    }
    // Pages that nobody touches cost nothing, unlike those of a block that is cleared here.
    platform::Handle createMapping(const char* name, size_t size, const void* content, size_t contentSize) override {
        Mapping& mapping = mMappings[name];
        mapping.reset(static_cast<uint8_t*>(std::calloc(1, size)));
        std::memcpy(mapping.get(), content, contentSize);
        return mapping.get();
    }
    void* mapView(platform::Handle mapping, size_t) override { return mapping; }
    void unmapView(void*, size_t) override {}
    void closeMapping(platform::Handle) override {}
    uint32_t lastError() override { return 0; }
    std::string lastErrorText() override { return ""; }

  private:
    struct Free {
        void operator()(uint8_t* bytes) const { std::free(bytes); }
    };
    using Mapping = std::unique_ptr<uint8_t, Free>;
    using Event = std::atomic<bool>;

    std::map<std::string, Mapping> mMappings;
    std::map<std::string, Event> mEvents;
};

}  // namespace fuzz
