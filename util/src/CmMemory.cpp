#include "util/include/CmMemory.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cwchar>

namespace cm {

namespace {

std::atomic<ConstraintHandler> g_handler{nullptr};
std::atomic<ConstraintLog> g_log{nullptr};
std::atomic<int> g_verbosity{1};

void defaultHandler(unsigned code, const char* message) {
    if (g_verbosity.load() < 1) return;
    if (const ConstraintLog log = g_log.load()) {
        log(code, message);
        return;
    }
    std::fprintf(stderr, "DATA INCONSISTENCY/DATA CORRUPTION: (%u) %s\n", code, message);
    std::fflush(stderr);
}

int violated(const char* message) {
    const ConstraintHandler handler = g_handler.load();
    (handler != nullptr ? handler : defaultHandler)(EINVAL, message);
    errno = EINVAL;
    return EINVAL;
}

bool overlap(const void* a, const void* b, size_t bytes) {
    const auto first = reinterpret_cast<uintptr_t>(a);
    const auto second = reinterpret_cast<uintptr_t>(b);
    return std::max(first, second) - std::min(first, second) < bytes;
}

struct FillMessages {
    const char* null;
    const char* limit;
    const char* number;
    const char* room;
};

int fill(void* s, size_t smax, int c, size_t n, const FillMessages& messages) {
    if (s == nullptr) return violated(messages.null);
    if (smax > kMemoryMax) return violated(messages.limit);
    if (n > smax) {
        std::memset(s, 0, smax);
        return violated(n > kMemoryMax ? messages.number : messages.room);
    }
    std::memset(s, c, n);
    return 0;
}

size_t boundedLength(const wchar_t* text, size_t limit) {
    size_t length = 0;
    while (length < limit && text[length] != 0) ++length;
    return length;
}

}  // namespace

int memcpy_s(void* dest, size_t dmax, const void* src, size_t n) {
    if (dest == nullptr) return violated("memcpy_s: dest is NULL");
    if (src == nullptr) return violated("memcpy_s: src is NULL");
    if (n > dmax) return violated("memcpy_s: n exceeds dmax");
    if (dmax > kMemoryMax) return violated("memcpy_s: dmax exceeds max");
    if (overlap(dest, src, n)) return violated("memcpy_s: overlap undefined");
    return 0;
}

int memset_s(void* s, size_t smax, int c, size_t n) {
    return fill(
        s, smax, c, n,
        {"memset_s: s is null", "memset_s: smax exceeds max", "memset_s: n exceeds max", "memset_s: n exceeds smax"});
}

int smemzero_s(void* s, size_t smax, size_t n) {
    return fill(s, smax, 0, n,
                {"smemzero_s: s is null", "smemzero_s: smax exceeds max", "smemzero_s: n exceeds max",
                 "smemzero_s: n exceeds smax"});
}

int wcscpy_s(wchar_t* dest, size_t dmax, const wchar_t* src) {
    if (dest == nullptr) return violated("wcscpy_s: dest is null");
    if (dmax == 0) return violated("wcscpy_s: dmax is 0");
    const char* message = nullptr;
    const size_t length = src != nullptr ? boundedLength(src, dmax) : 0;
    if (src == nullptr) {
        message = "wcscpy_s: src is null";
    } else if (overlap(dest, src, std::min(length + 1, dmax) * sizeof(wchar_t))) {
        message = "wcscpy_s: overlapping objects";
    } else if (length == dmax) {
        message = "wcscpy_s: not enough space for src";
    }
    if (message != nullptr) {
        dest[0] = 0;
        return violated(message);
    }
    std::wmemcpy(dest, src, length + 1);
    return 0;
}

ConstraintHandler setConstraintHandler(ConstraintHandler handler) {
    return g_handler.exchange(handler);
}
ConstraintLog setConstraintLog(ConstraintLog log) {
    return g_log.exchange(log);
}
int setConstraintVerbosity(int level) {
    return g_verbosity.exchange(level);
}

}  // namespace cm
