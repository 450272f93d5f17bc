#pragma once

#include <algorithm>
#include <mutex>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "util/include/CmTrace.h"

namespace zeltest {

// Keeps every trace line of this process that passes the mask, in order, while it lives. One at a time.
class TraceCapture {
  public:
    struct Line {
        unsigned long level;
        std::string text;
        friend bool operator==(const Line&, const Line&) = default;
    };

    explicit TraceCapture(int mask = 2) : mOldMask(get_external_trace_mask()) {
        takeLines();
        set_external_trace_mask(mask);
        set_util_external_trace_sink(take);
    }
    ~TraceCapture() {
        set_util_external_trace_sink(nullptr);
        set_external_trace_mask(mOldMask);
    }
    TraceCapture(const TraceCapture&) = delete;
    TraceCapture& operator=(const TraceCapture&) = delete;

    std::vector<Line> lines() const {
        const std::lock_guard lock(sMutex);
        return sLines;
    }
    // The lines so far, which are then forgotten.
    std::vector<Line> takeLines() {
        const std::lock_guard lock(sMutex);
        return std::exchange(sLines, {});
    }
    bool contains(const std::string& part) const {
        const std::vector<Line> all = lines();
        return std::any_of(all.begin(), all.end(),
                           [&](const Line& line) { return line.text.find(part) != std::string::npos; });
    }
    long count(unsigned long level, const std::string& part) const {
        const std::vector<Line> all = lines();
        return std::count_if(all.begin(), all.end(), [&](const Line& line) {
            return line.level == level && line.text.find(part) != std::string::npos;
        });
    }

  private:
    static void take(unsigned long level, char* text, unsigned length) {
        const std::lock_guard lock(sMutex);
        sLines.push_back({level, std::string(text, length)});
    }

    inline static std::mutex sMutex;
    inline static std::vector<Line> sLines;
    const int mOldMask;
};

inline std::ostream& operator<<(std::ostream& out, const TraceCapture::Line& line) {
    return out << line.level << " \"" << line.text << '"';
}

// The object's address as trace lines show it, with the words around it.
inline std::string thisTail(const void* object) {
    char buffer[64];
    CCmTextFormator text(buffer, sizeof buffer);
    text << " [this=" << const_cast<void*>(object) << "]";
    return buffer;
}

}  // namespace zeltest
