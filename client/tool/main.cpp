#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>

#include "client/tool/Commands.h"
#include "client/tool/frame_source.h"

namespace {

using namespace zeltool;

constexpr const char* kExitCodes =
    "Exit codes:\n"
    "  0  done\n"
    "  1  the command line cannot be understood\n"
    "  2  a picture, video or camera cannot be read\n"
    "  3  a result cannot be written\n"
    "  4  the host does not start, or not with that model; doctor: a check failed\n"
    "  5  the host gave no mask for a frame\n";

std::string examples(const std::string& lines) {
    return "Examples:\n" + lines + "\n" + kExitCodes;
}

void addHostOptions(CLI::App& command, HostOptions& host) {
    command.add_option("--host", host.program,
                       "the host program; else $ZELHOST_PROGRAM, else zelhost beside zelclient");
    command.add_option("--timeout", host.timeoutMs, "milliseconds to wait for a model and for a mask")
        ->capture_default_str();
    command.add_flag("--verbose", host.verbose, "the host's log on stderr");
}

void addType(CLI::App& command, uint32_t& type) {
    command.add_option("--type", type, "model type: 2 segmentation on the GPU if there is one, 3 on the CPU")
        ->capture_default_str()
        ->check(CLI::Range(0, 10));
}

void addSegment(CLI::App& app, HostOptions& host, SegmentOptions& options) {
    CLI::App* command = app.add_subcommand("segment", "cut the person out of pictures, a video or a camera");
    CLI::Option* input = command->add_option("input", options.input, "a picture, a folder of pictures, or a video");
    command->add_option("--camera", options.camera, "a camera in place of the input: 0, or /dev/video0")
        ->excludes(input);
    addType(*command, options.type);
    command->add_option("--capacity", options.capacity, "0 the smaller network (256x144), 1 the larger (640x360)")
        ->capture_default_str()
        ->check(CLI::Range(0, 1));
    command->add_option("--background", options.background, "#rrggbb, blur, or a picture to put behind the person")
        ->capture_default_str();
    command->add_option("--out", options.out,
                        "the person over the background: a picture file for one picture, else a folder or a video");
    command->add_option("--mask-out,--mask", options.maskOut, "the masks, the same way");
    command->add_option("--cutout", options.cutout, "PNG with the mask as transparency, the same way");
    command->add_option("--repeat", options.repeat, "how often each picture is sent, until its mask has settled")
        ->capture_default_str()
        ->check(CLI::Range(1, 1000));
    command->add_option("--frames", options.frames, "stop after so many frames of a video or camera");
    command->add_flag("!--no-skip", options.skip, "segment every frame of a video, also where nothing has changed");
    command->add_flag("--json", options.json, "one JSON object a line for each frame");
    addHostOptions(*command, host);
    command->footer(
        examples("  zelclient segment me.jpg --out me.png --background '#2060a0'\n"
                 "  zelclient segment me.jpg --capacity 1 --cutout me.png --mask-out mask.png\n"
                 "  zelclient segment photos/ --out results --background beach.jpg --json\n"
                 "  zelclient segment talk.mp4 --out talk-blurred.mp4 --background blur\n"
                 "  zelclient segment --camera 0 --frames 100 --out camera.mkv\n"));
    command->callback([&options] {
        if (options.input.empty() && options.camera.empty())
            throw CLI::ValidationError("segment", "an input or --camera is needed");
        if (options.background.empty()) throw CLI::ValidationError("--background", "a colour, blur or a picture");
    });
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
    CLI::App* command = app.add_subcommand("doctor", "check what a host needs: program, libraries, memory, models");
    command->add_flag("--json", options.json, "the findings as JSON");
    addHostOptions(*command, host);
    command->footer(
        examples("  zelclient doctor\n"
                 "  zelclient doctor --host /opt/zelhost/zelhost --json\n"));
}

int run(int count, char** arguments) {
    CLI::App app("Starts zelhost and does with pictures, videos and cameras what a client of it does.", "zelclient");
    app.set_version_flag("--version", std::string("zelclient ") + zelclient_version());
    app.require_subcommand(0, 1);
    app.footer(
        examples("  zelclient segment me.jpg --out me.png\n"
                 "  zelclient bench\n"
                 "  zelclient doctor\n"
                 "zelclient COMMAND --help tells more.\n"));
    HostOptions host;
    SegmentOptions segmentOptions;
    BenchOptions benchOptions;
    DoctorOptions doctorOptions;
    addSegment(app, host, segmentOptions);
    addBench(app, host, benchOptions);
    addDoctor(app, host, doctorOptions);
    try {
        app.parse(count, arguments);
        if (app.get_subcommands().empty()) throw CLI::RequiredError("A command: segment, bench or doctor");
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? kDone : kUsage;
    }
    if (app.got_subcommand("doctor")) return doctor(host, doctorOptions);
    if (app.got_subcommand("bench")) {
        bench(host, benchOptions);
    } else {
        segment(host, segmentOptions);
    }
    return kDone;
}

}  // namespace

int main(int count, char** arguments) {
    try {
        return run(count, arguments);
    } catch (const Failure& failure) {
        std::fprintf(stderr, "zelclient: %s\n", failure.text.c_str());
        return failure.code;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "zelclient: %s\n", error.what());
        return kInput;
    }
}
