#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iostream>

#include "client/tool/Commands.h"
#include "client/tool/Outputs.h"
#include "client/tool/PictureFile.h"

namespace zeltool {

namespace {

// A blur that hides what is written on a wall, in parts of the picture's width.
constexpr uint32_t kBlurPart = 40;

// What lies behind the person: a colour, a picture, or the frame itself, softened.
class Background {
  public:
    explicit Background(const std::string& told) : mBlur(told == "blur") {
        if (mBlur) return;
        if (told[0] == '#') {
            mColour = parseColour(told);
            return;
        }
        std::string error;
        if (!loadPicture(told, mPicture, &error)) throw Failure{kInput, error};
    }

    const Image& behind(const Image& frame) {
        if (mBlur) {
            mReady = blurred(frame, std::max(1u, frame.width / kBlurPart));
        } else if (mReady.width != frame.width || mReady.height != frame.height) {
            const auto part = [this](int shift) { return static_cast<uint8_t>(mColour >> shift); };
            mReady = mPicture.empty() ? plainColour(frame.width, frame.height, part(16), part(8), part(0))
                                      : covering(mPicture, frame.width, frame.height);
        }
        return mReady;
    }

  private:
    static uint32_t parseColour(const std::string& told) {
        const bool hex = told.find_first_not_of("0123456789abcdefABCDEF", 1) == std::string::npos;
        if (told.size() != 7 || !hex) throw Failure{kUsage, "a background colour is written #rrggbb, not " + told};
        return static_cast<uint32_t>(std::strtoul(told.c_str() + 1, nullptr, 16));
    }

    const bool mBlur;
    uint32_t mColour = 0;
    Image mPicture;
    Image mReady;
};

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
    Output cutoutOut(options.cutout, "cutout", frames.source());

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
