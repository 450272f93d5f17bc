#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "util/include/CmTrace.h"

namespace zeltest {

struct TraceLine {
    unsigned long level;
    std::string text;
    bool operator==(const TraceLine& other) const { return level == other.level && text == other.text; }
};

// Collects every trace line of this process while it lives. One at a time.
class TraceCapture {
  public:
    TraceCapture() {
        lines(true);
        set_util_external_trace_sink(&TraceCapture::take);
    }
    ~TraceCapture() { set_util_external_trace_sink(nullptr); }
    TraceCapture(const TraceCapture&) = delete;
    TraceCapture& operator=(const TraceCapture&) = delete;

    // The lines so far; `clear` empties the collection.
    static std::vector<TraceLine> lines(bool clear = false) {
        const std::lock_guard<std::mutex> lock(mutex());
        std::vector<TraceLine> result = store();
        if (clear) store().clear();
        return result;
    }
    static bool contains(const std::string& text) {
        for (const TraceLine& line : lines())
            if (line.text.find(text) != std::string::npos) return true;
        return false;
    }

  private:
    static void take(unsigned long level, char* text, unsigned length) {
        const std::lock_guard<std::mutex> lock(mutex());
        store().push_back({level, std::string(text, length)});
    }
    static std::mutex& mutex() {
        static std::mutex instance;
        return instance;
    }
    static std::vector<TraceLine>& store() {
        static std::vector<TraceLine> instance;
        return instance;
    }
};

}  // namespace zeltest
