#pragma once

#include <mutex>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "util/include/CmTrace.h"

// For tests: takes the trace lines of this process, in order, while it lives. One at a time.
class TraceCapture {
  public:
    struct Line {
        unsigned long level;
        std::string text;
        bool operator==(const Line& other) const { return level == other.level && text == other.text; }
    };

    TraceCapture() {
        set_external_trace_mask(2);
        sLines.clear();
        set_util_external_trace_sink(take);
    }
    ~TraceCapture() { set_util_external_trace_sink(nullptr); }

    std::vector<Line> lines() const {
        const std::lock_guard<std::mutex> lock(sMutex);
        return sLines;
    }
    std::vector<Line> takeLines() {
        const std::lock_guard<std::mutex> lock(sMutex);
        return std::exchange(sLines, {});
    }

  private:
    static void take(unsigned long level, char* text, unsigned length) {
        const std::lock_guard<std::mutex> lock(sMutex);
        sLines.push_back({level, std::string(text, length)});
    }

    static inline std::mutex sMutex;
    static inline std::vector<Line> sLines;
};

inline std::ostream& operator<<(std::ostream& out, const TraceCapture::Line& line) {
    return out << line.level << " \"" << line.text << '"';
}
