#include <cstdio>
#include <iostream>

#include "client/tool/Background.h"
#include "client/tool/Commands.h"
#include "client/tool/Composite.h"
#include "client/tool/Json.h"
#include "client/tool/Outputs.h"

namespace zeltool {

namespace {

// A frame's mask in the frame's own size.
Image maskOf(HostRun& host, const Image& frame, uint32_t times, uint64_t* roundTripUs) {
    Area area;
    const Image input = letterboxed(frame, host.width(), host.height(), &area);
    Image mask;
    for (uint32_t time = 0; time < times; ++time) mask = host.mask(input, roundTripUs);
    return scaled(cropped(mask, area), frame.width, frame.height);
}

void report(const std::string& name, const Image& mask, uint64_t roundTripUs, bool json) {
    const Area person = personArea(mask);
    char line[320];
    if (json) {
        std::snprintf(line, sizeof line,
                      ",\"coverage\":%.4f,\"person\":{\"x\":%u,\"y\":%u,\"width\":%u,\"height\":%u},"
                      "\"round_trip_us\":%llu}",
                      coverage(mask), person.x, person.y, person.width, person.height,
                      static_cast<unsigned long long>(roundTripUs));
        std::cout << jsonHead(name, mask) << line << '\n';
        return;
    }
    std::snprintf(line, sizeof line, "%ux%u  person %.1f %% in %ux%u at %u,%u  %s ms", mask.width, mask.height,
                  100 * coverage(mask), person.width, person.height, person.x, person.y,
                  milliseconds(roundTripUs).c_str());
    std::cout << name << "  " << line << '\n';
}

}  // namespace

void segment(const HostOptions& hostOptions, const SegmentOptions& options) {
    Frames frames(options.input);
    const bool stills = frames.stills();
    Background background(options.background);
    Output composedOut(options.out, "composed", frames.source());
    Output maskOut(options.maskOut, "mask", frames.source());
    Output cutoutOut(options.cutout, "cutout", frames.source(), true);

    // Pictures have nothing to do with each other, and each is sent several times to be segmented again.
    HostRun host(hostOptions, options.type, options.capacity, options.skip && !stills);
    host.waitForModel();
    const uint32_t times = stills ? options.repeat : 1;
    frames.each([&](const std::string& name, const Image& frame) {
        uint64_t roundTripUs = 0;
        const Image mask = maskOf(host, frame, times, &roundTripUs);
        report(name, mask, roundTripUs, options.json);
        if (composedOut.wanted()) composedOut.put(name, composed(frame, mask, background.behind(frame)));
        if (maskOut.wanted()) maskOut.put(name, mask);
        if (cutoutOut.wanted()) cutoutOut.put(name, cutOut(frame, mask));
    });
    composedOut.finish();
    maskOut.finish();
    cutoutOut.finish();
    frames.finish();
}

}  // namespace zeltool
