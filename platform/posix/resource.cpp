#include "platform/include/resource.h"

#include <algorithm>

#include "platform/posix/resource_table.h"
#include "platform/replaceable.h"

namespace platform {

Resource systemResource(int id) {
    const ZelResource* end = zel_resource_table + zel_resource_count;
    const ZelResource* found = std::find_if(zel_resource_table, end, [id](const ZelResource& r) { return r.id == id; });
    if (found == end) return {};
    return {found->data, static_cast<size_t>(found->size), const_cast<ZelResource*>(found)};
}

// The blocks are part of the program and stay with it.
void releaseResource(const Resource&) {}

}  // namespace platform
