#include <CLI/CLI.hpp>
#include <algorithm>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "client/tool/Commands.h"
#include "client/tool/frame_source.h"
#include "platform/include/process.h"

namespace {

using namespace zeltool;

constexpr const char* kExitCodes =
    "Exit codes:\n"
    "  0  done\n"
    "  1  the command line cannot be understood\n"
    "  2  a picture, video or camera cannot be read\n"
    "  3  a result cannot be written\n"
    "  4  the host does not start, or not with that model; doctor: a check failed\n"
    "  5  the host gave no result for a frame\n"
    "  6  the tool itself failed, as when memory runs out\n";

std::string examples(const std::string& lines) {
    return "Examples:\n" + lines + "\n" + kExitCodes;
}

void addHostOptions(CLI::App& command, HostOptions& host) {
    command.add_option("--host", host.program,
                       "the host program; else $ZELHOST_PROGRAM, else zelhost beside zelclient");
    command.add_option("--timeout", host.timeoutMs, "milliseconds to wait for a model and for a result")
        ->capture_default_str();
    command.add_option("--plugins", host.plugins,
                       "folder of the library xnn, for the types 8 to 10; else the host's own");
    command.add_flag("--verbose", host.verbose, "the host's log on stderr");
}

// The types that a host answers, be it with a refusal.
const std::set<uint32_t> kAnsweredTypes = {1, 2, 3, 5, 6, 7, 8, 9, 10};

void addType(CLI::App& command, uint32_t& type) {
    command
        .add_option("--type", type,
                    "model type: 1 through the module qorml, 2 segmentation on the GPU if there is one, 3 on the CPU")
        ->capture_default_str()
        ->check(CLI::IsMember(kAnsweredTypes));
}

void addInput(CLI::App& command, InputOptions& options) {
    CLI::Option* input = command.add_option("input", options.paths, "pictures, a folder of pictures, or a video");
    command.add_option("--camera", options.camera, "a camera in place of the input: 0, or /dev/video0")
        ->excludes(input);
    command.add_option("--frames", options.frames, "stop after so many frames of a video or camera");
    command.callback([&command, &options] {
        const bool missing = options.paths.empty() && options.camera.empty();
        if (missing) throw CLI::ValidationError(command.get_name(), "an input or --camera is needed");
    });
}

void addCapacity(CLI::App& command, uint32_t& capacity) {
    command.add_option("--capacity", capacity, "0 the smaller network (256x144), 1 the larger (640x360)")
        ->capture_default_str()
        ->check(CLI::Range(0, 1));
}

void addRepeat(CLI::App& command, uint32_t& repeat, bool& skip) {
    command.add_option("--repeat", repeat, "how often each picture is sent, until its mask has settled")
        ->capture_default_str()
        ->check(CLI::Range(1, 1000));
    command.add_flag("!--no-skip", skip, "infer every frame of a video, also where nothing has changed");
}

void addOverlay(CLI::App& command, std::string& out, bool& json) {
    command.add_option(
        "--out", out, "what was found, drawn over the input: a picture file for one picture, else a folder or a video");
    command.add_flag("--json", json, "one JSON object a line for each frame");
}

const std::string kAboutSigma =
    "A SIGMA is 0.5 to 100: at 2 the background is soft, at 10 only its lights and darks are left. Without one it goes "
    "by\n"
    "the picture's width: 5.7 for 640 pixels, 9.8 for 1920.\n\n";

CLI::Option* addBackground(CLI::App& command, std::string& background, const std::string& meaning) {
    return command.add_option("--background", background, meaning)->check([](const std::string& told) {
        return told.empty() ? "a colour, blur or a picture" : "";
    });
}

void addSegment(CLI::App& app, HostOptions& host, SegmentOptions& options) {
    CLI::App* command = app.add_subcommand("segment", "cut the person out of pictures, a video or a camera");
    addInput(*command, options.input);
    addType(*command, options.type);
    addCapacity(*command, options.capacity);
    addBackground(*command, options.background, "behind the person: #rrggbb, blur, blur:SIGMA, or a picture")
        ->capture_default_str();
    command->add_option("--out", options.out,
                        "the person over the background: a picture file for one picture, else a folder or a video");
    command->add_option("--mask-out,--mask", options.maskOut, "the masks, the same way");
    command->add_option("--cutout", options.cutout, "PNG with the mask as transparency, or a folder for several");
    addRepeat(*command, options.repeat, options.skip);
    command->add_flag("--json", options.json, "one JSON object a line for each frame");
    addHostOptions(*command, host);
    command->footer(kAboutSigma +
                    examples("  zelclient segment me.jpg --out me.png --background '#2060a0'\n"
                             "  zelclient segment me.jpg --out me.png --background blur:3\n"
                             "  zelclient segment me.jpg --capacity 1 --cutout me.png --mask-out mask.png\n"
                             "  zelclient segment photos/ --out results --background beach.jpg --json\n"
                             "  zelclient segment talk.mp4 --out talk-blurred.mp4 --background blur\n"
                             "  zelclient segment --camera 0 --frames 100 --out camera.mkv\n"));
}

void addLadon(CLI::App& app, HostOptions& host, LadonOptions& options) {
    CLI::App* command = app.add_subcommand("ladon", "mask, faces, landmarks, gesture and motion at once");
    addInput(*command, options.input);
    command
        ->add_option("--type", options.type, "model type: 6 on the GPU if there is one, 7 on the CPU; 8, 9, 10 by xnn")
        ->capture_default_str()
        ->check(CLI::Range(6, 10));
    addCapacity(*command, options.capacity);
    addRepeat(*command, options.repeat, options.skip);
    addOverlay(*command, options.out, options.json);
    addBackground(*command, options.background,
                  "put behind the person in place of the tint: #rrggbb, blur, blur:SIGMA, or a picture");
    addHostOptions(*command, host);
    command->footer(
        "JSON of a frame: name, width, height; coverage, the person's share of the picture; gesture, a name or null;\n"
        "gesture_scores, nine of them; motion, 0 to 1; skip_run, unchanged frames in a row; faces, each with x, y, "
        "width,\n"
        "height, score and points, 478 of [x, y, z] or null; table_confidence, 0 to 1 or null; round_trip_us.\n"
        "Places are in pixels of the input.\n" +
        kAboutSigma +
        examples("  zelclient ladon me.jpg --out me-found.png\n"
                 "  zelclient ladon me.jpg --out me-found.png --background blur\n"
                 "  zelclient ladon talk.mp4 --capacity 1 --out talk-found.mp4 --json\n"
                 "  zelclient ladon --camera 0 --frames 100 --out camera.mkv\n"));
}

void addLut(CLI::App& app, HostOptions& host, LutOptions& options) {
    CLI::App* command = app.add_subcommand("lut", "correct colours and light by the model's colour table");
    addInput(*command, options.input);
    command->add_option("--type", options.type, "model type: 8 on the GPU if there is one, 9 on the CPU, 10 on the NPU")
        ->capture_default_str()
        ->check(CLI::Range(8, 10));
    addCapacity(*command, options.capacity);
    command->add_option("--out", options.out,
                        "the input with its table applied: a picture file for one picture, else a folder or a video");
    command->add_option("--cube", options.cube, "the table of the last frame as a .cube file");
    command->add_flag("--json", options.json, "one JSON object a line for each frame");
    addHostOptions(*command, host);
    command->footer(
        "Each frame has a table of its own; a client smooths them over time before use.\n"
        "JSON of a frame: name, width, height; confidence, 0 to 1; mean_before and mean_after, the mean red, green "
        "and\n"
        "blue, 0 to 1; round_trip_us.\n\n" +
        examples("  zelclient lut me.jpg --out me-corrected.png --cube me.cube\n"
                 "  zelclient lut photos/ --out corrected --json\n"));
}

void addFaces(CLI::App& app, HostOptions& host, FacesOptions& options) {
    CLI::App* command = app.add_subcommand("faces", "find faces in pictures, a video or a camera");
    addInput(*command, options.input);
    addOverlay(*command, options.out, options.json);
    addHostOptions(*command, host);
    command->footer(
        "JSON of a frame: name, width, height; faces, each with x, y, width, height in pixels of the input;\n"
        "round_trip_us.\n\n" +
        examples("  zelclient faces me.jpg --out me-faces.png\n"
                 "  zelclient faces photos/ --json\n"
                 "  zelclient faces talk.mp4 --out talk-faces.mp4\n"));
}

void addContent(CLI::App& app, HostOptions& host, ContentOptions& options) {
    CLI::App* command = app.add_subcommand("content", "find the regions of a screen whose picture moves");
    addInput(*command, options.input);
    addOverlay(*command, options.out, options.json);
    addHostOptions(*command, host);
    command->footer(
        "Every third frame has a result, of itself and the two before it; one without is drawn with the last result.\n"
        "JSON of a frame: name, width, height; regions, each with x, y, width, height in pixels of the input, score "
        "and\n"
        "class, or null for a frame without a result; round_trip_us.\n\n" +
        examples("  zelclient content screen.mp4 --out screen-regions.mp4\n"
                 "  zelclient content 1.png 2.png 3.png --json\n"
                 "  zelclient content shots/ --out regions\n"));
}

void addBench(CLI::App& app, HostOptions& host, BenchOptions& options) {
    CLI::App* command = app.add_subcommand("bench", "measure round trips from frame to mask");
    command->add_option("picture", options.picture, "the picture that is sent; a drawn one if none is given");
    addType(*command, options.type);
    command->add_option("--capacity", options.capacities, "0, 1, or both")->check(CLI::Range(0, 1));
    command->add_option("--frames", options.frames, "frames to measure for each row")
        ->capture_default_str()
        ->check(CLI::Range(1, 10000000));
    command->add_flag("--json", options.json, "the table as JSON");
    addHostOptions(*command, host);
    command->footer(
        examples("  zelclient bench\n"
                 "  zelclient bench me.jpg --capacity 1 --frames 2000 --json\n"));
}

void addDoctor(CLI::App& app, HostOptions& host, DoctorOptions& options) {
    CLI::App* command =
        app.add_subcommand("doctor", "check what a host needs: program, libraries, memory, models; list crashes");
    command->add_flag("--json", options.json, "the findings as JSON");
    addHostOptions(*command, host);
    command->footer(
        "Hosts that died have left reports and dumps in the temporary folder: the newest five are listed, which is a\n"
        "note and no failure.\n\n" +
        examples("  zelclient doctor\n"
                 "  zelclient doctor --host /opt/zelhost/zelhost --json\n"));
}

// The arguments without the program's name.
int run(std::vector<std::string> arguments) {
    CLI::App app("Starts zelhost and does with pictures, videos and cameras what a client of it does.", "zelclient");
    app.set_version_flag("--version", std::string("zelclient ") + zelclient_version());
    app.require_subcommand(0, 1);
    app.footer(
        examples("  zelclient segment me.jpg --out me.png\n"
                 "  zelclient faces me.jpg --json\n"
                 "  zelclient bench\n"
                 "  zelclient doctor\n"
                 "zelclient COMMAND --help tells more.\n"));
    HostOptions host;
    SegmentOptions segmentOptions;
    LadonOptions ladonOptions;
    LutOptions lutOptions;
    FacesOptions facesOptions;
    ContentOptions contentOptions;
    BenchOptions benchOptions;
    DoctorOptions doctorOptions;
    addSegment(app, host, segmentOptions);
    addLadon(app, host, ladonOptions);
    addLut(app, host, lutOptions);
    addFaces(app, host, facesOptions);
    addContent(app, host, contentOptions);
    addBench(app, host, benchOptions);
    addDoctor(app, host, doctorOptions);
    try {
        std::reverse(arguments.begin(), arguments.end());
        app.parse(std::move(arguments));
        if (app.get_subcommands().empty())
            throw CLI::RequiredError("A command: segment, ladon, lut, faces, content, bench or doctor");
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? kDone : kUsage;
    }
    if (app.got_subcommand("doctor")) return doctor(host, doctorOptions);
    if (app.got_subcommand("segment")) segment(host, segmentOptions);
    if (app.got_subcommand("ladon")) ladon(host, ladonOptions);
    if (app.got_subcommand("lut")) lut(host, lutOptions);
    if (app.got_subcommand("faces")) faces(host, facesOptions);
    if (app.got_subcommand("content")) content(host, contentOptions);
    if (app.got_subcommand("bench")) bench(host, benchOptions);
    return kDone;
}

}  // namespace

int main(int count, char** arguments) {
    return exitCodeOf([&] {
        std::vector<std::string> words = platform::programArguments(count, arguments);
        if (!words.empty()) words.erase(words.begin());
        return run(std::move(words));
    });
}
