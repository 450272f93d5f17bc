#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "client/include/zelclient.h"
#include "client/tool/Failure.h"
#include "client/tool/Picture.h"

// What the subcommands share.
namespace zeltool {

// How every subcommand reaches its host.
struct HostOptions {
    std::string program;   // "" for the one beside the tool
    std::string plugins;   // folder of the library xnn, "" for the host's own
    bool verbose = false;  // its log to stderr
    int32_t traceLevel = ZELCLIENT_TRACE_INHERIT;
    uint32_t timeoutMs = 60000;  // for a model, and for a result
};

// The host program that these options mean, "" when none is found.
std::string findHost(const HostOptions& options);

// A host for one kind of frames, one frame at a time. Failures are thrown as Failure.
class HostRun {
  public:
    // For frames of a model.
    HostRun(const HostOptions& options, uint32_t type, uint32_t capacity, bool autoSkip);
    // For frames of a kind that needs no model.
    HostRun(const HostOptions& options, zelclient_kind kind);
    ~HostRun();
    HostRun(const HostRun&) = delete;
    HostRun& operator=(const HostRun&) = delete;

    // Waits until the model is in force.
    void waitForModel();
    // The result of a frame, with a mask or boxes, or ZELCLIENT_NO_RESULT for content; what it points at is good until
    // the next. The frame has the size of width() and height(), for content at most that. One that was lost with its
    // host is sent again, once; so is one for faces that the host had no time for, several times.
    zelclient_result answer(const Image& frame, uint64_t* roundTripUs = nullptr);
    // The mask of a frame, and its round trip in microseconds.
    Image mask(const Image& frame, uint64_t* roundTripUs = nullptr);
    // How long the caller waits for a frame's result, in microseconds.
    uint64_t measure(const Image& frame);

    // Lines of the host's log that hold `part`.
    std::vector<std::string> logLines(const std::string& part);
    zelclient_info info() const;
    uint32_t width() const { return mWidth; }
    uint32_t height() const { return mHeight; }

  private:
    HostRun(const HostOptions& options, zelclient_kind kind, uint32_t type, uint32_t capacity, bool autoSkip);
    static void onLog(void* user, uint32_t level, const char* text, size_t length);
    zelclient_result roundTrip(const Image& frame);
    std::string why();

    const HostOptions mOptions;
    const zelclient_kind mKind;
    const uint32_t mType;
    zelclient* mClient = nullptr;
    uint32_t mWidth = 0;
    uint32_t mHeight = 0;
    uint64_t mTag = 0;
    std::mutex mMutex;  // over mLog
    std::vector<std::string> mLog;
};

// A bar on stderr, drawn only where a person watches it.
class Progress {
  public:
    // `total` 0 when it is not known.
    explicit Progress(std::string title, uint64_t total);
    ~Progress();
    void show(uint64_t done);

  private:
    void clear();

    const std::string mTitle;
    const uint64_t mTotal;
    const bool mVisible;
    uint64_t mShownAt = 0;  // microseconds
};

// A number at the given share of sorted values, 0.5 for the median.
uint64_t percentile(const std::vector<uint64_t>& sorted, double share);

// A rectangle as members of a JSON object, or as "at X,Y WIDTHxHEIGHT" in whole pixels.
std::string rectText(const zelclient_rect& rect, bool json);

std::string decimals(double value, int count);

// A copy of the mask of a result that has one.
Image maskOf(const zelclient_result& result);

// Microseconds as milliseconds with two decimals.
std::string milliseconds(uint64_t microseconds);

}  // namespace zeltool
