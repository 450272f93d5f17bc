#include "util/include/CmTrace.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include "platform/include/module.h"
#include "platform/include/process.h"
#include "platform/include/terminal.h"
#include "util/include/CmTime.h"

namespace {

constexpr unsigned kModuleNameSize = 128;

std::atomic<util_external_trace_sink> g_sink{nullptr};
std::atomic<bool> g_stderr{false};
std::atomic<unsigned long> g_assertions{0};
std::atomic<bool> g_maskComplaintMade{false};

// On the stack and in one call: it runs in the crash filter too, and lines of several processes share one stream.
void writeToStderr(int level, const char* module, const char* text, unsigned length) {
    char line[2 * cm::kTraceBufferSize];
    CCmTextFormator head(line, cm::kTraceBufferSize);
    head << "[" << level << "] " << module << ": ";
    const size_t room = sizeof line - 1 - head.tell();
    const size_t taken = std::min<size_t>(length, room);
    if (taken != 0) std::memcpy(line + head.tell(), text, taken);
    line[head.tell() + taken] = '\n';
    platform::writeToStandardError(line, head.tell() + taken + 1);
}

std::string_view afterLastSeparator(std::string_view path) {
    return path.substr(path.find_last_of("/\\") + 1);
}

std::string_view withoutExtension(std::string_view name) {
    for (const std::string_view extension : {".exe", ".dll", ".so"}) {
        if (name.size() > extension.size() && name.ends_with(extension)) {
            return name.substr(0, name.size() - extension.size());
        }
    }
    return name;
}

// Trivially destructible: lines are still traced while static objects go.
struct ModuleName {
    ModuleName() {
        if (!GetCallerModuleName(text, sizeof text)) text[0] = 0;
    }
    char text[kModuleNameSize] = {};
};

bool parseMask(const std::string& text, int& mask) {
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, mask);
    return error == std::errc() && rest == end;
}

unsigned long long nowMilliseconds() {
    return timer_policy::now() / 1000;
}

}  // namespace

void set_external_trace_mask(int mask) {
    cm::detail::traceMask.store(mask, std::memory_order_relaxed);
}

int util_adapter_trace(int level, const char* module, const char* text, unsigned length) {
    const int savedErrno = errno;
    const util_external_trace_sink sink = g_sink.load(std::memory_order_acquire);
    const bool toStderr = g_stderr.load(std::memory_order_relaxed);
    if (sink != nullptr) sink(static_cast<unsigned long>(level), const_cast<char*>(text), length);
    if (toStderr) writeToStderr(level, module, text, length);
    errno = savedErrno;
    return sink != nullptr || toStderr ? 0 : 1;
}

void cm::writeTraceToStderr(int level, const char* text, unsigned length) {
    if (!g_stderr.load(std::memory_order_relaxed)) writeToStderr(level, TraceModuleName(nullptr), text, length);
}

void set_util_external_trace_sink(util_external_trace_sink sink) {
    g_sink.store(sink, std::memory_order_release);
}

void set_external_trace_stderr(bool on) {
    g_stderr.store(on, std::memory_order_relaxed);
}

[[gnu::noinline]] bool GetCallerModuleName(char* buffer, unsigned size) {
    CCmTextFormator name(buffer, size);
    const std::string path = platform::modulePathOf(__builtin_extract_return_addr(__builtin_return_address(0)));
    name << std::string(withoutExtension(afterLastSeparator(path)));
    return name.tell() != 0;
}

const char* TraceModuleName(const char* tag) {
    if (tag != nullptr && *tag != 0) return tag;
    static const ModuleName name;
    return name.text;
}

void cm_assertion_report() {
    g_assertions.fetch_add(1, std::memory_order_relaxed);
}

unsigned long cm_assertion_count() {
    return g_assertions.load(std::memory_order_relaxed);
}

void cm::detail::traceAssertion(const char* text, const char* file, int line) {
    CM_ERROR(afterLastSeparator(file).data() << ":" << line << " Assert failed: " << text);
}

CCmKlxTrace* CCmKlxTrace::instance() {
    static CCmKlxTrace trace;
    return &trace;
}

void CCmKlxTrace::Init() {
    const std::string text = platform::environmentVariable("ZELHOST_TRACE");
    int mask = cm::kDefaultTraceMask;
    if (!text.empty() && !parseMask(text, mask)) {
        mask = cm::kDefaultTraceMask;
        if (!g_maskComplaintMade.exchange(true)) {
            std::fprintf(
                stderr,
                "ZELHOST_TRACE is \"%s\", not a whole number; using %d (-1 nothing, 0 errors, 1 and warnings, 2 all)\n",
                text.c_str(), mask);
        }
    }
    set_external_trace_mask(mask);
    set_external_trace_stderr(platform::environmentVariable("ZELHOST_TRACE_STDERR") == "1");
}

CCmUtilFuncTracer::CCmUtilFuncTracer(bool enabled, bool timed, const char* module, const char* functionLine,
                                     const char* message)
    : m_enabled(enabled), m_timed(timed), m_module(module), m_functionLine(functionLine), m_message(message) {
    if (!m_enabled) return;
    if (m_timed) m_startMilliseconds = nowMilliseconds();
    CM_TRACE_PARTS(2, TraceModuleName(m_module), m_message << ", enter, " << m_functionLine);
}

CCmUtilFuncTracer::~CCmUtilFuncTracer() {
    if (!m_enabled) return;
    if (!m_timed) {
        CM_TRACE_PARTS(2, TraceModuleName(m_module), m_message << ", leave, " << m_functionLine);
        return;
    }
    const unsigned long long elapsed = nowMilliseconds() - m_startMilliseconds;
    CM_TRACE_PARTS(2, TraceModuleName(m_module),
                   m_message << ", leave, " << m_functionLine << ", elapsed=" << elapsed << " ms");
}
