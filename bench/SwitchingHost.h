#pragma once

#include <cstdint>
#include <string>

#include "bench/ServedHost.h"
#include "platform/test_support.h"
#include "util/include/CmMutex.h"

namespace zelbench {

// A host that runs Ladon through the loaded library, on the processor and on an "NPU" that is the processor too. Each
// compiles its network for itself, as for a true one. The compiled networks are kept in a folder of its own.
class SwitchingHost {
  public:
    // Serves on the processor.
    SwitchingHost();

    ServedHost& served() { return mServed; }

    // Has the networks compiled anew from now on.
    void emptyCache();
    // Begins a switch to the NPU. The processor serves until it is done.
    void beginNpu();
    // Whether the network for the NPU is being made.
    bool making();
    // Whether the NPU does not serve yet.
    bool switching();
    // Waits until it does. Raises std::runtime_error with the host's words when its network cannot be made.
    void awaitNpu();
    // Back to the processor, which serves when this returns. The host has no network in between.
    void backToCpu();

  private:
    void onLogLine(const std::string& line);

    const platform::test::TemporaryFolder mCache;
    cm::Mutex mMutex;
    cm::Condition mTold;
    uint64_t mBegun ZEL_GUARDED_BY(mMutex) = 0;
    uint64_t mMade ZEL_GUARDED_BY(mMutex) = 0;
    uint64_t mSwitched ZEL_GUARDED_BY(mMutex) = 0;
    std::string mFailure ZEL_GUARDED_BY(mMutex);
    ServedHost mServed;  // last: its log uses what is above
};

}  // namespace zelbench
