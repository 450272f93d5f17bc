#include <algorithm>
#include <memory>
#include <stdexcept>

#include "bench/BareLadon.h"
#include "bench/BareNetwork.h"
#include "bench/Picture.h"
#include "bench/Rows.h"
#include "bench/ServedHost.h"
#include "detect/ObjectDetectCommon.h"
#include "detect/ResultText.h"

namespace zelbench {

namespace {

constexpr uint32_t kLadonCpu = 7;
constexpr double kGoal = 1.05;

void require(bool holds, const char* what) {
    if (!holds) throw std::runtime_error(what);
}

// As for the segmentation networks: every frame is inferred on both sides, and the bare network infers what the host
// does.
void measureLadon(const Settings& settings, Report& report) {
    ServedHost host(kLadonCpu, 0);
    BareNetwork network(214, 213);
    const FrameSeries series = readFrames(settings.picture, network.width(), network.height());
    verifyLadon(host, network, series, LadonTable::kWithout);
    const auto result = std::make_unique<ipc::LadonResult>();
    uint64_t hostCount = 0, bareCount = 0;
    const Comparison figures = compare(
        settings.blocks.ofLongOperations(), [&] { host.exchangeLadon(modelPicture(series, hostCount++), *result); },
        [&] { network.inferKept(bareCount++); });
    report.addInference("Ladon frame to record, 256x144", figures, kGoal);

    // One frame in eighteen is inferred all the same; the median is a skipped one.
    const Comparison skipped = compare(
        settings.blocks.ofLongOperations(), [&] { host.exchangeLadon(modelPicture(series, 0), *result); },
        [&] { network.inferKept(bareCount++); });
    report.add({"still Ladon frame (skipped)", "the bare inference", "us", skipped, "", true, ""});
}

void fillFaces(BareNetwork& network, const std::vector<uint8_t>& frame) {
    const size_t pixels = frame.size() / 3;
    for (size_t c = 0; c < 3; ++c)
        for (size_t i = 0; i < pixels; ++i)
            network.input()[c * pixels + i] = (static_cast<float>(frame[i * 3 + c]) - 127.0f) * 0.0078125f;
}

// The text for a picture with one face.
std::string bareFaceText(const BareNetwork& network) {
    constexpr size_t kRows = 690;
    const float* box = network.output(kRows * 4);
    const DetectBox face{std::max(box[0], 0.0f), std::max(box[1], 0.0f),       std::min(box[2], 1.0f),
                         std::min(box[3], 1.0f), network.output(kRows * 2)[1], 0};
    return faceText(&face, 1, network.width(), network.height());
}

void measureFaces(const Settings& settings, Report& report) {
    ServedHost host(0, 0);
    BareNetwork network(132, 131, 1, BareNetwork::Settings::kPlain);
    const FrameSeries series = readFrames(settings.picture, network.width(), network.height());
    const auto picture = [&series](uint64_t number) {
        return Picture{series.width, series.height, ipc::FrameKind::Face, series.at(number)};
    };
    while (host.exchangeFaces(picture(0)).empty()) {
    }
    for (uint64_t count = 0; count < series.frames.size(); ++count) {
        fillFaces(network, series.at(count));
        network.infer();
        require(host.exchangeFaces(picture(count)) == bareFaceText(network),
                "the host's faces differ from the bare network's");
        network.keepInput();
    }
    uint64_t hostCount = 0, bareCount = 0;
    const Comparison figures = compare(
        settings.blocks, [&] { host.exchangeFaces(picture(hostCount++)); }, [&] { network.inferKept(bareCount++); });
    report.addInference("frame to faces, 160x90", figures, kGoal);
}

// Grey screens of 512x512 on which one region plays.
std::vector<std::vector<uint8_t>> playingScreens() {
    constexpr size_t kSide = 512;
    std::vector<std::vector<uint8_t>> screens;
    uint32_t state = 1;
    for (int number = 0; number < 3; ++number) {
        std::vector<uint8_t> screen(kSide * kSide, 220);
        for (size_t y = 100; y < 260; ++y)
            for (size_t x = 120; x < 400; ++x)
                screen[y * kSide + x] = static_cast<uint8_t>((state = state * 1664525 + 1013904223) >> 24);
        screens.push_back(std::move(screen));
    }
    return screens;
}

std::string bareContentText(const BareNetwork& network) {
    constexpr int32_t kRows = 16128, kColumns = 9, kClasses = 4, kMostBoxes = 20;
    DetectBox boxes[kMostBoxes] = {};
    int32_t count = 0;
    ObjectDetectCommon().postProcess(network.output(size_t{kRows} * kColumns), boxes, &count, kRows, 0.7f, 0.25f,
                                     kClasses, kColumns, kMostBoxes);
    return contentText(boxes, count);
}

// One operation is the three frames of which the host infers the last.
void measureContent(const Settings& settings, Report& report) {
    ServedHost host(0, 0);
    BareNetwork network(210, 200, 1, BareNetwork::Settings::kPlain);
    const auto screens = playingScreens();
    const auto exchange = [&] {
        std::string text;
        for (const auto& screen : screens)
            text = host.exchangeContent({network.width(), network.height(), ipc::FrameKind::Content, screen});
        return text;
    };
    const size_t pixels = screens[0].size();
    for (size_t i = 0; i < screens.size() * pixels; ++i) {
        const uint8_t byte = screens[screens.size() - 1 - i / pixels][i % pixels];
        network.input()[i] = static_cast<float>(static_cast<double>(byte) / 255.0);
    }
    network.keepInput();
    network.infer();
    require(exchange() == bareContentText(network), "the host's regions differ from the bare network's");
    const Comparison figures = compare(settings.blocks.ofLongOperations(), exchange, [&] { network.inferKept(0); });
    report.addInference("three screen frames to regions", figures, kGoal);
}

}  // namespace

void measureDetections(const Settings& settings, Report& report) {
    measureLadon(settings, report);
    measureFaces(settings, report);
    measureContent(settings, report);
}

}  // namespace zelbench
