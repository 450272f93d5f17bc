#pragma once

#include <algorithm>
#include <mutex>
#include <ostream>
#include <string>
#include <vector>

#include "util/include/CmTrace.h"

// For tests: keeps every line that reaches the sink while it lives, with the mask given. One at a time.
class TraceCapture {
  public:
    struct Line {
        unsigned long level;
        std::string text;
        friend bool operator==(const Line&, const Line&) = default;
    };

    explicit TraceCapture(int mask = 2) : m_oldMask(get_external_trace_mask()) {
        const std::lock_guard lock(s_mutex);
        s_lines.clear();
        set_external_trace_mask(mask);
        set_util_external_trace_sink(take);
    }
    ~TraceCapture() {
        set_util_external_trace_sink(nullptr);
        set_external_trace_mask(m_oldMask);
    }
    TraceCapture(const TraceCapture&) = delete;
    TraceCapture& operator=(const TraceCapture&) = delete;

    std::vector<Line> lines() const {
        const std::lock_guard lock(s_mutex);
        return s_lines;
    }

    long count(unsigned long level, const std::string& part) const {
        const std::vector<Line> all = lines();
        return std::count_if(all.begin(), all.end(), [&](const Line& line) {
            return line.level == level && line.text.find(part) != std::string::npos;
        });
    }

  private:
    static void take(unsigned long level, char* text, unsigned length) {
        const std::lock_guard lock(s_mutex);
        s_lines.push_back({level, std::string(text, length)});
    }

    inline static std::mutex s_mutex;
    inline static std::vector<Line> s_lines;
    const int m_oldMask;
};

inline std::ostream& operator<<(std::ostream& out, const TraceCapture::Line& line) {
    return out << line.level << " " << line.text;
}

// The object's address as trace lines show it, with the words around it.
inline std::string thisTail(const void* object) {
    char buffer[64];
    CCmTextFormator text(buffer, sizeof buffer);
    text << " [this=" << const_cast<void*>(object) << "]";
    return buffer;
}
