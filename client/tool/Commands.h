#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "client/tool/Tool.h"

// The subcommands. Each prints its data to stdout and everything else to stderr, and throws Failure.
namespace zeltool {

struct SegmentOptions {
    std::string input;   // picture, folder of pictures or video
    std::string camera;  // in place of input
    uint32_t type = ZELCLIENT_MODEL_SEGMENTATION_CPU;
    uint32_t capacity = 0;
    std::string background = "#2060a0";  // "#rrggbb", "blur" or a picture file
    std::string out;                     // composed pictures: a file, a folder or a video
    std::string maskOut;                 // masks
    std::string cutout;                  // PNG with the mask as alpha
    uint64_t frames = 0;                 // of a video or camera; 0: all
    uint32_t repeat = 4;                 // how often each picture is sent
    bool skip = true;                    // videos: the host may repeat a mask
    bool json = false;
};
void segment(const HostOptions& host, const SegmentOptions& options);

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
