#include <algorithm>
#include <cstdio>
#include <iostream>

#include "client/tool/Commands.h"
#include "client/tool/PictureFile.h"
#include "platform/include/clock.h"

namespace zeltool {

namespace {

constexpr uint64_t kWarmUpFrames = 20;

struct Row {
    uint32_t capacity;
    uint32_t width;
    uint32_t height;
    const char* kind;  // "inferred" or "still"
    uint64_t frames;
    uint64_t p50;  // microseconds, round trip from submit to mask
    uint64_t p99;
    double rate;         // frames a second, one after the other
    uint64_t firstMask;  // microseconds from the start of the process
};

// A figure before a wall, for want of a photograph: what it shows does not change what a frame costs.
Image drawnPicture() {
    Image picture = plainColour(640, 360, 170, 180, 190);
    for (uint32_t y = 60; y < 360; ++y) {
        for (uint32_t x = 0; x < 640; ++x) {
            const int dx = static_cast<int>(x) - 320;
            const int dy = static_cast<int>(y) - 150;
            const bool head = dx * dx + dy * dy < 80 * 80;
            const bool body = y > 220 && dx * dx < 150 * 150;
            if (!head && !body) continue;
            uint8_t* pixel = picture.row(y) + 3 * x;
            pixel[0] = head ? 205 : 60;
            pixel[1] = head ? 160 : 70;
            pixel[2] = head ? 135 : 110;
        }
    }
    return picture;
}

Row measure(const HostOptions& hostOptions, const BenchOptions& options, uint32_t capacity, bool still,
            const Image& picture) {
    const uint64_t start = platform::monotonicMicroseconds();
    HostRun host(hostOptions, options.type, capacity, still);
    host.waitForModel();
    Area area;
    const Image frame = letterboxed(picture, host.width(), host.height(), &area);
    host.measure(frame);
    Row row{capacity, host.width(), host.height(), still ? "still" : "inferred", options.frames, 0, 0, 0, 0};
    row.firstMask = platform::monotonicMicroseconds() - start;
    for (uint64_t count = 0; count < kWarmUpFrames; ++count) host.measure(frame);
    std::vector<uint64_t> times;
    Progress progress("bench " + std::to_string(row.width) + "x" + std::to_string(row.height) + " " + row.kind,
                      options.frames);
    const uint64_t begin = platform::monotonicMicroseconds();
    while (times.size() < options.frames) {
        times.push_back(host.measure(frame));
        progress.show(times.size());
    }
    row.rate = 1e6 * static_cast<double>(times.size()) / static_cast<double>(platform::monotonicMicroseconds() - begin);
    std::sort(times.begin(), times.end());
    row.p50 = percentile(times, 0.5);
    row.p99 = percentile(times, 0.99);
    return row;
}

void printTable(const std::vector<Row>& rows) {
    std::printf("%-9s %-9s %-9s %7s %11s %11s %10s %14s\n", "capacity", "size", "frames", "count", "p50 ms", "p99 ms",
                "frames/s", "first mask ms");
    for (const Row& row : rows) {
        const std::string size = std::to_string(row.width) + "x" + std::to_string(row.height);
        std::printf("%-9u %-9s %-9s %7llu %11s %11s %10.1f %14s\n", row.capacity, size.c_str(), row.kind,
                    static_cast<unsigned long long>(row.frames), milliseconds(row.p50).c_str(),
                    milliseconds(row.p99).c_str(), row.rate, milliseconds(row.firstMask).c_str());
    }
    std::printf(
        "\n\"inferred\": every frame runs the network. \"still\": the picture does not change, the host may "
        "repeat its mask.\nTimes are round trips from frame to mask, one frame at a time.\n");
}

void printJson(const std::vector<Row>& rows) {
    std::printf("[");
    for (const Row& row : rows) {
        std::printf(
            "%s\n  {\"capacity\":%u,\"width\":%u,\"height\":%u,\"frames\":\"%s\",\"count\":%llu,\"p50_us\":%llu,"
            "\"p99_us\":%llu,\"frames_per_second\":%.1f,\"first_mask_us\":%llu}",
            &row == rows.data() ? "" : ",", row.capacity, row.width, row.height, row.kind,
            static_cast<unsigned long long>(row.frames), static_cast<unsigned long long>(row.p50),
            static_cast<unsigned long long>(row.p99), row.rate, static_cast<unsigned long long>(row.firstMask));
    }
    std::printf("\n]\n");
}

}  // namespace

void bench(const HostOptions& hostOptions, const BenchOptions& options) {
    Image picture;
    std::string error;
    if (options.picture.empty()) {
        picture = drawnPicture();
    } else if (!loadPicture(options.picture, picture, &error)) {
        throw Failure{kInput, error};
    }
    std::vector<Row> rows;
    for (const uint32_t capacity : options.capacities) {
        for (const bool still : {false, true}) rows.push_back(measure(hostOptions, options, capacity, still, picture));
    }
    if (options.json) {
        printJson(rows);
    } else {
        printTable(rows);
    }
}

}  // namespace zeltool
