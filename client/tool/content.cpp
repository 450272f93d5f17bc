#include <iostream>
#include <iterator>
#include <optional>
#include <vector>

#include "client/tool/Commands.h"
#include "client/tool/Json.h"
#include "client/tool/Outputs.h"
#include "client/tool/Overlay.h"
#include "client/tool/Placement.h"

namespace zeltool {

namespace {

constexpr Colour kClassColours[] = {{255, 80, 60}, {255, 190, 0}, {80, 200, 255}, {200, 130, 255}};

// The regions of a screen that move, found over its frames, which must have one size.
class Regions {
  public:
    explicit Regions(HostRun& host) : mHost(host) {}

    // What the host tells with this frame; nothing for one that it keeps for a later result.
    std::optional<std::vector<zelclient_box>> next(const std::string& name, const Image& picture,
                                                   uint64_t* roundTripUs) {
        requireSameSize(name, picture);
        const Image input = fitted(grey(picture), mHost.width(), mHost.height());
        const zelclient_result result = mHost.answer(input, roundTripUs);
        if (result.status == ZELCLIENT_NO_RESULT) return std::nullopt;
        ++mResults;
        std::vector<zelclient_box> regions(result.boxes, result.boxes + result.box_count);
        const Placement placement(picture, {0, 0, input.width, input.height});
        for (zelclient_box& region : regions) region.rect = placement.back(region.rect);
        return regions;
    }

    // Throws when there was no result at all.
    void finish() const {
        if (mResults > 0) return;
        if (mFrames < kFramesForAResult)
            throw Failure{kInput, "regions are found over three frames, and there were only " +
                                      std::to_string(mFrames) + "; give more pictures, or a video"};
        throw Failure{kNoResult, "the host gave no result for any of " + std::to_string(mFrames) +
                                     " frames; --verbose shows its log"};
    }

  private:
    static constexpr uint64_t kFramesForAResult = 3;

    void requireSameSize(const std::string& name, const Image& picture) {
        if (mFrames++ == 0) {
            mWidth = picture.width;
            mHeight = picture.height;
        } else if (picture.width != mWidth || picture.height != mHeight) {
            throw Failure{kInput, name + " is " + std::to_string(picture.width) + "x" + std::to_string(picture.height) +
                                      " and the frames before it " + std::to_string(mWidth) + "x" +
                                      std::to_string(mHeight) + "; the frames of a screen have one size"};
        }
    }

    HostRun& mHost;
    uint32_t mWidth = 0;
    uint32_t mHeight = 0;
    uint64_t mFrames = 0;
    uint64_t mResults = 0;
};

void reportJson(const std::string& name, const Image& picture, const std::optional<std::vector<zelclient_box>>& regions,
                uint64_t roundTripUs) {
    std::cout << jsonHead(name, picture) << ",\"regions\":";
    if (regions) {
        std::cout << '[';
        for (const zelclient_box& region : *regions)
            std::cout << (&region == regions->data() ? "{" : ",{") << rectText(region.rect, true)
                      << ",\"score\":" << decimals(region.score, 3) << ",\"class\":" << region.class_id << '}';
        std::cout << ']';
    } else {
        std::cout << "null";
    }
    std::cout << ",\"round_trip_us\":" << roundTripUs << "}\n";
}

void reportText(const std::string& name, const Image& picture, const std::vector<zelclient_box>& regions,
                uint64_t roundTripUs) {
    std::cout << name << "  " << picture.width << 'x' << picture.height << "  " << regions.size()
              << (regions.size() == 1 ? " region" : " regions");
    for (const zelclient_box& region : regions)
        std::cout << "  class " << region.class_id << ' ' << decimals(region.score, 2) << ' '
                  << rectText(region.rect, false);
    std::cout << "  " << milliseconds(roundTripUs) << " ms\n";
}

Image drawn(const Image& picture, const std::vector<zelclient_box>& regions) {
    Image result = picture;
    Overlay overlay(result);
    for (const zelclient_box& region : regions) {
        const Colour colour = kClassColours[static_cast<uint32_t>(region.class_id) % std::size(kClassColours)];
        overlay.frame(region.rect, colour);
        overlay.text(region.rect.left, region.rect.top,
                     std::to_string(region.class_id) + " " + decimals(region.score, 2), colour);
    }
    return result;
}

}  // namespace

void content(const HostOptions& hostOptions, const ContentOptions& options) {
    Frames frames(options.input);
    Output out(options.out, "content", frames.source());
    HostRun host(hostOptions, ZELCLIENT_KIND_CONTENT);
    host.waitForModel();
    Regions regions(host);
    // A frame without a result of its own is drawn with the last one.
    std::vector<zelclient_box> shown;
    frames.each([&](const std::string& name, const Image& picture) {
        uint64_t roundTripUs = 0;
        const auto found = regions.next(name, picture, &roundTripUs);
        if (options.json) {
            reportJson(name, picture, found, roundTripUs);
        } else if (found) {
            reportText(name, picture, *found, roundTripUs);
        }
        if (found) shown = *found;
        if (out.wanted()) out.put(name, drawn(picture, shown));
    });
    out.finish();
    frames.finish();
    regions.finish();
}

}  // namespace zeltool
