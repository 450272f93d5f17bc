#include <iostream>
#include <vector>

#include "client/tool/Commands.h"
#include "client/tool/Json.h"
#include "client/tool/Outputs.h"
#include "client/tool/Overlay.h"
#include "client/tool/Placement.h"

namespace zeltool {

namespace {

constexpr Colour kFaceColour = {255, 220, 0};

// The faces of a picture, in its own pixels.
std::vector<zelclient_box> facesOf(HostRun& host, const Image& picture, uint64_t* roundTripUs) {
    Area area;
    const Image input = letterboxed(picture, host.width(), host.height(), &area);
    const zelclient_result result = host.answer(input, roundTripUs);
    std::vector<zelclient_box> faces(result.boxes, result.boxes + result.box_count);
    const Placement placement(picture, area);
    for (zelclient_box& face : faces) face.rect = placement.back(face.rect);
    return faces;
}

void report(const std::string& name, const Image& picture, const std::vector<zelclient_box>& faces,
            uint64_t roundTripUs, bool json) {
    if (json) {
        std::cout << jsonHead(name, picture) << ",\"faces\":[";
        for (const zelclient_box& face : faces)
            std::cout << (&face == faces.data() ? "{" : ",{") << rectText(face.rect, true) << '}';
        std::cout << "],\"round_trip_us\":" << roundTripUs << "}\n";
        return;
    }
    std::cout << name << "  " << picture.width << 'x' << picture.height << "  " << faces.size()
              << (faces.size() == 1 ? " face" : " faces");
    for (const zelclient_box& face : faces) std::cout << "  " << rectText(face.rect, false);
    std::cout << "  " << milliseconds(roundTripUs) << " ms\n";
}

Image drawn(const Image& picture, const std::vector<zelclient_box>& faces) {
    Image result = picture;
    Overlay overlay(result);
    for (const zelclient_box& face : faces) overlay.frame(face.rect, kFaceColour);
    return result;
}

}  // namespace

void faces(const HostOptions& hostOptions, const FacesOptions& options) {
    Frames frames(options.input);
    Output out(options.out, "faces", frames.source());
    HostRun host(hostOptions, ZELCLIENT_KIND_FACES);
    host.waitForModel();
    frames.each([&](const std::string& name, const Image& picture) {
        uint64_t roundTripUs = 0;
        const std::vector<zelclient_box> found = facesOf(host, picture, &roundTripUs);
        report(name, picture, found, roundTripUs, options.json);
        if (out.wanted()) out.put(name, drawn(picture, found));
    });
    out.finish();
    frames.finish();
}

}  // namespace zeltool
