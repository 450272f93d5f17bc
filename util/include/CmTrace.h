#pragma once

#include <atomic>

#include "util/include/CmTextFormator.h"

// Trace. A line has a level: 0 for a failure, 1 for a warning, 2 for progress. The mask is a threshold: a line is made
// only if the mask is at least its level, so that a negative mask silences all. Any thread may trace at any time.

namespace cm {

inline constexpr unsigned kTraceBufferSize = 1024;  // a line of a trace site, its terminator included
inline constexpr int kDefaultTraceMask = 2;

namespace detail {
inline constinit std::atomic<int> traceMask{kDefaultTraceMask};
void traceAssertion(const char* text, const char* file, int line);
}  // namespace detail

// For a sink that could not pass its line on: writes "[level] module: text" to stderr, unless lines go there anyway.
void writeTraceToStderr(int level, const char* text, unsigned length);

}  // namespace cm

inline int get_external_trace_mask() {
    return cm::detail::traceMask.load(std::memory_order_relaxed);
}
// CCmKlxTrace::Init sets the mask from the environment; this sets it for a test or a program of its own.
void set_external_trace_mask(int mask);

// Emits one line, whatever the mask: hands level, text and length to the sink, exactly as given, and writes
// "[level] module: text" to stderr in one write when that is on. Keeps errno. Returns 0 if either took the line,
// else 1.
int util_adapter_trace(int level, const char* module, const char* text, unsigned length);

// The receiver of every line; null for none. It must not write to the text, keep it, or trace itself. It is called from
// every thread that traces, at once, and a call may still be under way in another thread when this returns.
using util_external_trace_sink = void (*)(unsigned long level, char* text, unsigned length);
void set_util_external_trace_sink(util_external_trace_sink sink);

// Lines to stderr as well; CCmKlxTrace::Init turns it on when ZELHOST_TRACE_STDERR is "1".
void set_external_trace_stderr(bool on);

// Writes the name of the module (program or library) that the call comes from, without directory and without ".exe",
// ".dll" or ".so", cut to fit and terminated. False, and an empty text if there is room, when no name can be found.
bool GetCallerModuleName(char* buffer, unsigned size);

// A non-empty tag itself; otherwise the name of this module, found once, "" when there is none. Lives until the process
// ends.
const char* TraceModuleName(const char* tag);

// Told of every failed assertion, after its line: counts it. The process goes on.
void cm_assertion_report();
// Assertions that failed in this process so far.
unsigned long cm_assertion_count();

// Start-up of the trace.
class CCmKlxTrace {
  public:
    static CCmKlxTrace* instance();

    // Reads the environment: ZELHOST_TRACE is the mask, a whole decimal number, 2 when unset; anything else is 2 too,
    // with one line on stderr for the first time. ZELHOST_TRACE_STDERR "1" sends lines to stderr as well. May be called
    // again, and reads again.
    void Init();

  private:
    CCmKlxTrace() = default;
};

// Traces the entry to a scope and the way out of it, on every path, at level 2:
//   message, enter, functionLine
//   message, leave, functionLine, elapsed=N ms
// The first flag turns the object on. The second one switches the measurement: without it the clock is not read and
// "elapsed" is left out. A null or empty module is the caller's module name. All three texts must outlive the object.
class CCmUtilFuncTracer {
  public:
    CCmUtilFuncTracer(bool enabled, bool timed, const char* module, const char* functionLine, const char* message);
    virtual ~CCmUtilFuncTracer();
    CCmUtilFuncTracer(const CCmUtilFuncTracer&) = delete;
    CCmUtilFuncTracer& operator=(const CCmUtilFuncTracer&) = delete;

  private:
    const bool m_enabled;
    const bool m_timed;
    const char* const m_module;
    const char* const m_functionLine;
    const char* const m_message;
    unsigned long long m_startMilliseconds = 0;
};

// A trace site. The parts are streamed, `QOR_INFO("zelipc>> size=" << size << CM_THIS)`; nothing of them is evaluated
// when the mask holds the line back. QOR_ lines carry the module name "QOR", CM_ lines the name of this module.
#define QOR_ERROR(...) CM_TRACE_PARTS(0, "QOR", __VA_ARGS__)
#define QOR_WARNING(...) CM_TRACE_PARTS(1, "QOR", __VA_ARGS__)
#define QOR_INFO(...) CM_TRACE_PARTS(2, "QOR", __VA_ARGS__)
#define CM_ERROR(...) CM_TRACE_PARTS(0, TraceModuleName(nullptr), __VA_ARGS__)
#define CM_WARNING(...) CM_TRACE_PARTS(1, TraceModuleName(nullptr), __VA_ARGS__)
#define CM_INFO(...) CM_TRACE_PARTS(2, TraceModuleName(nullptr), __VA_ARGS__)

// The tail of a member's line: " [this=", the object's address, "]". A part of a trace site, also in const members.
#define CM_THIS " [this=" << const_cast<void*>(static_cast<const void*>(this)) << "]"

#define CM_TRACE_PARTS(level, module, ...)                                                 \
    do {                                                                                   \
        if (get_external_trace_mask() >= (level)) {                                        \
            char cmTraceBuffer[cm::kTraceBufferSize];                                      \
            CCmTextFormator cmTraceFormator(cmTraceBuffer, sizeof cmTraceBuffer);          \
            cmTraceFormator << __VA_ARGS__;                                                \
            const char* const cmTraceText = cmTraceFormator;                               \
            const char* const cmTraceModule = module;                                      \
            util_adapter_trace(level, cmTraceModule, cmTraceText, cmTraceFormator.tell()); \
        }                                                                                  \
    } while (false)

// If `expr` is false: traces "file:line Assert failed: text" at level 0 (of the file only what follows the last
// separator), calls cm_assertion_report, whatever the mask, and returns `result` from the function.
#define CM_ASSERTE_RETURN(expr, text, file, line, result) \
    do {                                                  \
        if (!(expr)) {                                    \
            cm::detail::traceAssertion(text, file, line); \
            cm_assertion_report();                        \
            return result;                                \
        }                                                 \
    } while (false)

// Traces the enclosing scope of a member function under the module name "zelhost":
// `QOR_FUNC_TRACE("ZelVinoHelper::preInit", "zelipc>> ZelVinoHelper::preInit")`. The label and the message may be parts
// joined by <<. The second form is for functions without `this`.
#define QOR_FUNC_TRACE(label, message) CM_FUNC_TRACE_PARTS(__LINE__, label << ",line=" << __LINE__ << CM_THIS, message)
#define QOR_FREE_FUNC_TRACE(label, message) CM_FUNC_TRACE_PARTS(__LINE__, label << ",line=" << __LINE__, message)

#define CM_JOIN_EXPANDED(a, b) a##b
#define CM_JOIN(a, b) CM_JOIN_EXPANDED(a, b)
#define CM_FUNC_TRACE_PARTS(id, label, message)                                                 \
    char CM_JOIN(cmLabelBuffer, id)[cm::kTraceBufferSize];                                      \
    char CM_JOIN(cmMessageBuffer, id)[cm::kTraceBufferSize];                                    \
    CCmTextFormator CM_JOIN(cmLabel, id)(CM_JOIN(cmLabelBuffer, id), cm::kTraceBufferSize);     \
    CCmTextFormator CM_JOIN(cmMessage, id)(CM_JOIN(cmMessageBuffer, id), cm::kTraceBufferSize); \
    CM_JOIN(cmLabel, id) << label;                                                              \
    CM_JOIN(cmMessage, id) << message;                                                          \
    const CCmUtilFuncTracer CM_JOIN(cmTracer, id)(true, true, "zelhost", CM_JOIN(cmLabel, id), CM_JOIN(cmMessage, id))
