#include <iostream>
#include <optional>

#include "client/tool/ColourTable.h"
#include "client/tool/Commands.h"
#include "client/tool/Json.h"
#include "client/tool/Outputs.h"

namespace zeltool {

namespace {

// What the model says of a picture's colours.
struct Finding {
    ColourTable table;
    float confidence;
    uint64_t roundTripUs;
};

// The picture fills the frame: bars around it would count as black.
Finding findIn(HostRun& host, const Image& picture) {
    uint64_t roundTripUs = 0;
    const zelclient_result result = host.answer(covering(picture, host.width(), host.height()), &roundTripUs);
    if (!result.ladon || !result.ladon->lut)
        throw Failure{kNoResult, "the host gave no colour table: its model has none"};
    return {ColourTable(*result.ladon), result.ladon->lut_confidence, roundTripUs};
}

// Mean of each channel, 0 to 1.
Rgb meanOf(const Image& picture) {
    double sums[3] = {};
    for (size_t at = 0; at < picture.bytes.size(); ++at) sums[at % 3] += picture.bytes[at];
    const double scale = 255.0 * picture.width * picture.height;
    return {static_cast<float>(sums[0] / scale), static_cast<float>(sums[1] / scale),
            static_cast<float>(sums[2] / scale)};
}

std::string listOf(const Rgb& colour, const char* between) {
    return decimals(colour[0], 3) + between + decimals(colour[1], 3) + between + decimals(colour[2], 3);
}

void report(const std::string& name, const Image& before, const Image& after, const Finding& finding, bool json) {
    if (json) {
        std::cout << jsonHead(name, before) << ",\"confidence\":" << decimals(finding.confidence, 3)
                  << ",\"mean_before\":[" << listOf(meanOf(before), ",") << "],\"mean_after\":["
                  << listOf(meanOf(after), ",") << "],\"round_trip_us\":" << finding.roundTripUs << "}\n";
        return;
    }
    std::cout << name << "  " << before.width << 'x' << before.height << "  confidence "
              << decimals(finding.confidence, 2) << "  mean colour " << listOf(meanOf(before), " ") << " -> "
              << listOf(meanOf(after), " ") << "  " << milliseconds(finding.roundTripUs) << " ms\n";
}

void saveTable(const ColourTable& table, const std::string& path, const std::string& name) {
    std::string error;
    if (!table.save(path, name, &error)) throw Failure{kOutput, error};
}

}  // namespace

void lut(const HostOptions& hostOptions, const LutOptions& options) {
    Frames frames(options.input);
    Output out(options.out, "lut", frames.source());
    HostRun host(hostOptions, options.type, options.capacity, false);
    host.waitForModel();
    std::optional<ColourTable> last;
    std::string lastName;
    frames.each([&](const std::string& name, const Image& picture) {
        const Finding finding = findIn(host, picture);
        const Image after = finding.table.applied(picture);
        report(name, picture, after, finding, options.json);
        if (out.wanted()) out.put(name, after);
        last.emplace(finding.table);
        lastName = name;
    });
    out.finish();
    if (last && !options.cube.empty()) saveTable(*last, options.cube, lastName);
    frames.finish();
}

}  // namespace zeltool
