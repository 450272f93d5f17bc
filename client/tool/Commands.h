#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "client/tool/Frames.h"
#include "client/tool/Tool.h"

// The subcommands. Each prints its data to stdout and everything else to stderr, and throws Failure.
namespace zeltool {

struct SegmentOptions {
    InputOptions input;
    uint32_t type = ZELCLIENT_MODEL_SEGMENTATION_CPU;
    uint32_t capacity = 0;
    std::string background = "#2060a0";  // as Background takes it
    std::string out;                     // composed pictures: a file, a folder or a video
    std::string maskOut;                 // masks
    std::string cutout;                  // PNG with the mask as alpha
    uint32_t repeat = 4;                 // how often each picture is sent
    bool skip = true;                    // videos: the host may repeat a mask
    bool json = false;
};
void segment(const HostOptions& host, const SegmentOptions& options);

struct LadonOptions {
    InputOptions input;
    uint32_t type = ZELCLIENT_MODEL_LADON_CPU;
    uint32_t capacity = 0;
    std::string out;         // pictures with what was found drawn over: a file, a folder or a video
    std::string background;  // as above; "" for the picture's own, the person tinted
    uint32_t repeat = 4;     // as above
    bool skip = true;
    bool json = false;
};
void ladon(const HostOptions& host, const LadonOptions& options);

struct LutOptions {
    InputOptions input;
    uint32_t type = ZELCLIENT_MODEL_LADON_XNN_CPU;
    uint32_t capacity = 0;
    std::string out;   // pictures with the table applied: a file, a folder or a video
    std::string cube;  // the table of the last frame
    bool json = false;
};
void lut(const HostOptions& host, const LutOptions& options);

struct FacesOptions {
    InputOptions input;
    std::string out;
    bool json = false;
};
void faces(const HostOptions& host, const FacesOptions& options);

struct ContentOptions {
    InputOptions input;
    std::string out;
    bool json = false;
};
void content(const HostOptions& host, const ContentOptions& options);

struct BenchOptions {
    std::string picture;  // "" for a drawn one
    uint32_t type = ZELCLIENT_MODEL_SEGMENTATION_CPU;
    std::vector<uint32_t> capacities = {0, 1};
    uint64_t frames = 500;
    bool json = false;
};
void bench(const HostOptions& host, const BenchOptions& options);

struct DoctorOptions {
    bool json = false;
};
// Returns kDone, or kHost when a check failed.
ExitCode doctor(const HostOptions& host, const DoctorOptions& options);

}  // namespace zeltool
