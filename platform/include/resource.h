#pragma once

#include <cstddef>
#include <string>

// Read-only data inside the executable, addressed by a small id: real resources of the type FILE on Windows, a linked
// blob with an id table on Linux.
namespace platform {

struct Resource {
    const void* data = nullptr;  // null when the executable has no such id; valid until releaseResource
    size_t size = 0;             // bytes
    void* handle = nullptr;      // the system's
};

Resource findResource(int id);
// For tests: what findResource answers instead, with a null handle; null puts the executable's own back. Takes effect for
// later calls.
void replaceResources(Resource (*find)(int id));
void releaseResource(const Resource& resource);

// Copies string resource `id` into `buffer` of `capacity` characters, cut to fit and terminated. Returns its length.
int loadString(int id, wchar_t* buffer, int capacity);

// The product version that the build gave this executable, "1.2.3.4"; "" when it has none.
std::string productVersion();

}  // namespace platform
