#include <algorithm>
#include <iostream>
#include <iterator>
#include <optional>
#include <vector>

#include "client/tool/Background.h"
#include "client/tool/Commands.h"
#include "client/tool/Composite.h"
#include "client/tool/Json.h"
#include "client/tool/Outputs.h"
#include "client/tool/Overlay.h"
#include "client/tool/Placement.h"

namespace zeltool {

namespace {

constexpr Colour kPersonColour = {40, 200, 120};
constexpr Colour kFaceColour = {255, 220, 0};
constexpr Colour kMeshColour = {90, 220, 255};
constexpr Colour kIrisColour = {255, 60, 160};
constexpr Colour kTextColour = {255, 255, 255};
constexpr int kFirstIrisPoint = 468;

struct Face {
    zelclient_rect rect;
    float score;
    std::vector<zelclient_point> points;  // ZELCLIENT_FACE_POINTS, or none
};

// What the model says of a picture, in the picture's own pixels.
struct Finding {
    Image mask;
    std::vector<Face> faces;
    int32_t gesture;
    float gestureScores[ZELCLIENT_GESTURES];
    float motion;
    uint32_t skipRun;
    bool hasTable;
    float tableConfidence;
    uint64_t roundTripUs;
};

Face broughtBack(const zelclient_face& face, const Placement& placement) {
    Face result{placement.back(face.rect), face.score, {}};
    for (int at = 0; face.points && at < ZELCLIENT_FACE_POINTS; ++at)
        result.points.push_back(placement.back(face.points[at]));
    return result;
}

Finding findIn(HostRun& host, const Image& picture, uint32_t times) {
    Area area;
    const Image input = letterboxed(picture, host.width(), host.height(), &area);
    Finding finding{};
    zelclient_result result{};
    for (uint32_t time = 0; time < times; ++time) result = host.answer(input, &finding.roundTripUs);
    if (!result.ladon) throw Failure{kNoResult, "the host gave a mask alone: its model is no Ladon model"};
    const zelclient_ladon& ladon = *result.ladon;
    finding.mask = scaled(cropped(maskOf(result), area), picture.width, picture.height);
    const Placement placement(picture, area);
    for (uint32_t face = 0; face < ladon.face_count; ++face)
        finding.faces.push_back(broughtBack(ladon.faces[face], placement));
    finding.gesture = ladon.gesture;
    std::copy(std::begin(ladon.gesture_scores), std::end(ladon.gesture_scores), finding.gestureScores);
    finding.motion = ladon.motion;
    finding.skipRun = ladon.skip_run;
    finding.hasTable = ladon.lut != nullptr;
    finding.tableConfidence = ladon.lut_confidence;
    return finding;
}

void reportFace(const Face& face) {
    std::cout << '{' << rectText(face.rect, true) << ",\"score\":" << decimals(face.score, 3) << ",\"points\":";
    if (face.points.empty()) {
        std::cout << "null}";
        return;
    }
    const char* before = "[";
    for (const zelclient_point& point : face.points) {
        std::cout << before << '[' << decimals(point.x, 1) << ',' << decimals(point.y, 1) << ',' << decimals(point.z, 1)
                  << ']';
        before = ",";
    }
    std::cout << "]}";
}

void reportJson(const std::string& name, const Image& picture, const Finding& finding) {
    std::cout << jsonHead(name, picture) << ",\"coverage\":" << decimals(coverage(finding.mask), 4)
              << ",\"gesture\":" << (finding.gesture < 0 ? "null" : quoted(zelclient_gesture_name(finding.gesture)))
              << ",\"gesture_scores\":";
    const char* before = "[";
    for (const float score : finding.gestureScores) {
        std::cout << before << decimals(score, 3);
        before = ",";
    }
    std::cout << "],\"motion\":" << decimals(finding.motion, 4) << ",\"skip_run\":" << finding.skipRun
              << ",\"faces\":[";
    for (const Face& face : finding.faces) {
        if (&face != finding.faces.data()) std::cout << ',';
        reportFace(face);
    }
    std::cout << "],\"table_confidence\":" << (finding.hasTable ? decimals(finding.tableConfidence, 3) : "null")
              << ",\"round_trip_us\":" << finding.roundTripUs << "}\n";
}

std::string gestureText(const Finding& finding) {
    const std::string name = zelclient_gesture_name(finding.gesture);
    return finding.gesture < 0 ? name : name + " " + decimals(finding.gestureScores[finding.gesture], 2);
}

void reportText(const std::string& name, const Image& picture, const Finding& finding) {
    std::cout << name << "  " << picture.width << 'x' << picture.height << "  person "
              << decimals(100 * coverage(finding.mask), 1) << " %  gesture " << gestureText(finding) << "  motion "
              << decimals(finding.motion, 3) << "  " << finding.faces.size()
              << (finding.faces.size() == 1 ? " face" : " faces");
    for (const Face& face : finding.faces)
        std::cout << "  " << decimals(face.score, 2) << ' ' << rectText(face.rect, false);
    std::cout << "  " << milliseconds(finding.roundTripUs) << " ms\n";
}

// Over a background if there is one, else with the person tinted.
Image drawn(const Image& picture, const Finding& finding, std::optional<Background>& background) {
    Image result = background ? composed(picture, finding.mask, background->behind(picture)) : picture;
    Overlay overlay(result);
    if (!background) overlay.tint(finding.mask, kPersonColour);
    for (const Face& face : finding.faces) {
        overlay.frame(face.rect, kFaceColour);
        for (size_t at = 0; at < face.points.size(); ++at)
            overlay.dot(face.points[at].x, face.points[at].y, at < kFirstIrisPoint ? kMeshColour : kIrisColour);
        overlay.text(face.rect.left, face.rect.top, decimals(face.score, 2), kFaceColour, true);
    }
    overlay.text(0, 0, "gesture: " + gestureText(finding), kTextColour);
    overlay.bar(finding.motion, "motion " + decimals(finding.motion, 3), kTextColour);
    return result;
}

}  // namespace

void ladon(const HostOptions& hostOptions, const LadonOptions& options) {
    Frames frames(options.input);
    std::optional<Background> background;
    if (!options.background.empty()) background.emplace(options.background);
    Output out(options.out, "ladon", frames.source());
    // Pictures have nothing to do with each other, and each is sent several times until its mask has settled.
    const bool stills = frames.stills();
    HostRun host(hostOptions, options.type, options.capacity, options.skip && !stills);
    host.waitForModel();
    frames.each([&](const std::string& name, const Image& picture) {
        const Finding finding = findIn(host, picture, stills ? options.repeat : 1);
        if (options.json) {
            reportJson(name, picture, finding);
        } else {
            reportText(name, picture, finding);
        }
        if (out.wanted()) out.put(name, drawn(picture, finding, background));
    });
    out.finish();
    frames.finish();
}

}  // namespace zeltool
