// A host for the client library's tests: speaks the channels as the real one does, and misbehaves as it is told by the
// environment variable ZELFAKE, "word=number,word=number". A mask is the frame's red plane (with model type 1 that of
// four bytes a pixel), and a box begins where the
// frame's first byte says, so that a test can see whose answer it got. Each third frame for content has a result. With
// model types 6 to 10 there is a face with points, another with a box only, and the gesture that the first byte says.
//
//   load-ms, slow-ms       time for a model, for a frame
//   late-ms                time between a model's coming into force and its event
//   beat-ms                time between beats, 1000 if not told
//   mute                   no reply to InitClient
//   deaf                   opens nothing, reads nothing, says nothing
//   quit                   ends at once with that code
//   die-at, die-after      ends at that frame, before or after its mask
//   leave                  before it ends by one of the last three, 1 the report of a failure, 2 a dump, 3 both
//   hang-at                never comes back from that frame
//   fail-every, fail-run   no answer for each n-th frame; for frames whose first byte is below n
//   bad-mask               1 wrong width, 2 size too large, 3 size 0
//   boxes                  as many in a text, 1 if not told
//   bad-text               1 cut short, 2 size too large, 3 a NUL and the size of an older text, 4 size 0
//   no-number              every float of a Ladon answer is none
//   stray                  as many masks that nobody asked for, before the first model
//   refuse, lower          the model stays at 0; type 6 becomes 7
//   ignore-terminate       goes on
//   name-length            letters of the first model's name; the second's has one
//   flood                  log lines written at InitClient
//   garbage                nonsense on the event and log channels at InitClient
//   scribble-at            random bytes over the channel of masks at that frame
//   noise                  writes to its standard streams
//
// With ZELFAKE_ONCE=FILE it misbehaves only if the file is not there yet, and makes it. It lives a minute at most.

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <mutex>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "client/src/HostChannels.h"
#include "ipc/channel_names.h"
#include "ipc/crash_file_names.h"
#include "platform/include/clock.h"
#include "platform/include/folders.h"
#include "platform/include/process.h"
#include "platform/include/thread.h"

namespace {

constexpr uint32_t kLongestLifeMs = 60000;

class Behaviour {
  public:
    Behaviour() {
        if (alreadyMisbehaved()) return;
        std::istringstream words(platform::environmentVariable("ZELFAKE"));
        for (std::string word; std::getline(words, word, ',');) {
            const size_t equals = word.find('=');
            mWords[word.substr(0, equals)] = std::stol(word.substr(equals + 1));
        }
    }
    long operator()(const char* word, long otherwise = 0) const {
        const auto found = mWords.find(word);
        return found == mWords.end() ? otherwise : found->second;
    }

  private:
    static bool alreadyMisbehaved() {
        const std::string path = platform::environmentVariable("ZELFAKE_ONCE");
        if (path.empty()) return false;
        if (std::FILE* there = std::fopen(path.c_str(), "rb")) {
            std::fclose(there);
            return true;
        }
        if (std::FILE* made = std::fopen(path.c_str(), "wb")) std::fclose(made);
        return false;
    }

    std::map<std::string, long> mWords;
};

// The ids that the client gave on the command line.
struct Ids {
    std::string pid;
    std::string mid;
};

// Ends the process, as a failure does when it was told to leave files.
[[noreturn]] void die(const Ids& ids, const Behaviour& tell, int code) {
    const std::string path = platform::folders().temporary() +
                             std::string(ipc::crashFileStem(ids.pid, ids.mid, platform::currentProcessId()));
    if (tell("leave") & 1) {
        std::ofstream(path + std::string(ipc::kCrashReportExtension))
            << "Version: 0.1.0.0\nException Type: EXCEPTION_ACCESS_VIOLATION\nCrashed Thread: 7\n"
               "client_fake_host+0x1a2b;libc.so.6+0x3c;";
    }
    if (tell("leave") & 2) std::ofstream(path + std::string(ipc::kCrashDumpExtension)) << "MDMP";
    platform::endProcess(code);
}

class FakeHost {
  public:
    FakeHost(const Ids& ids, const Behaviour& behaviour)
        : tell(behaviour), mIds(ids), mBase(ipc::channelBaseName(ids.pid, ids.mid)) {
        mCommands = ipc::CommandChannel::openForRead(mBase + ipc::kCommandSuffix);
        mEvents = ipc::EventChannel::openForWrite(mBase + ipc::kEventSuffix);
        mFrames = ipc::FrameChannel::openForRead(mBase + ipc::kFrameSuffix);
        mSharing = ipc::FrameChannel::openForRead(mBase + ipc::kSharingSuffix);
        mMasks = ipc::FrameChannel::openForWrite(mBase + ipc::kResultSuffix);
        mFaces = ipc::RoiChannel::openForWrite(mBase + ipc::kRoiSuffix);
        mContent = ipc::ContentChannel::openForWrite(mBase + ipc::kContentSuffix);
        mLadon = ipc::LadonChannel::openForWrite(mBase + ipc::kLadonSuffix);
        mLog = ipc::LogChannel::openForWrite(mBase + ipc::kLogSuffix);
    }

    void run() {
        std::thread([this] { beat(); }).detach();
        std::thread([this] {
            while (mFrames->read([this](const auto& packet) { onFrame(packet.record); })) {
            }
        }).detach();
        std::thread([this] {
            while (mSharing->read([this](const auto& packet) { onSharing(packet.record); })) {
            }
        }).detach();
        while (!mEnded) mCommands->read([this](const auto& packet) { onCommand(packet.record); });
    }

  private:
    using Frame = ipc::FrameHolder<ipc::kFrameBytes>;

    void beat() {
        const uint32_t pause = static_cast<uint32_t>(tell("beat-ms", 1000));
        for (uint32_t lived = 0; lived < kLongestLifeMs; lived += pause) {
            event(ipc::EventCode::HeartBeat, [](ipc::Event&) {});
            platform::sleepMilliseconds(pause);
        }
        platform::endProcess(99);
    }

    template <class Fill>
    void event(ipc::EventCode code, Fill fill) {
        mEvents->write([&](auto& packet) {
            packet.record.code = static_cast<uint32_t>(code);
            fill(packet.record);
        });
    }

    void onCommand(const ipc::Command& command) {
        switch (static_cast<ipc::CommandCode>(command.code)) {
            case ipc::CommandCode::InitClient:
                return onInit();
            case ipc::CommandCode::SetModelPath:
                return log(2, "path " + std::to_string(command.pathKind) + " " + command.text);
            case ipc::CommandCode::SetModelType:
                return onModel(command.arg0, command.arg1);
            case ipc::CommandCode::SetOption:
                return log(2, "option " + std::to_string(command.arg0) + " = " + std::to_string(command.text[0]));
            case ipc::CommandCode::HeartBeatAck:
                return log(2, "acknowledged");
            case ipc::CommandCode::Terminate:
                if (!tell("ignore-terminate")) mEnded = true;
                return;
            default:
                return;
        }
    }

    void onInit() {
        log(2, "mid " + mIds.mid);
        log(2, "trace " + platform::environmentVariable("ZELHOST_TRACE"));
        log(2, "own " + platform::environmentVariable("ZELFAKE_OWN"));
        if (tell("garbage")) writeGarbage();
        writeStrayMasks();
        if (!tell("mute")) {
            event(ipc::EventCode::InitClientReply, [](ipc::Event& reply) {
                const uint32_t words[] = {1, 0, 0, static_cast<uint32_t>(platform::currentProcessId()), 1};
                std::memcpy(reply.text, words, sizeof words);
            });
        }
        for (long line = 0; line < tell("flood"); ++line)
            log(1, "flood " + std::to_string(line) + std::string(line * 37 % 2000, 'x'));
    }

    // Returns when the client is through with them: a mask that came later would look like the answer to its first
    // frame.
    void writeStrayMasks() {
        if (!tell("stray")) return;
        for (long mask = 0; mask < tell("stray"); ++mask) writeMask(4, 4, 16, [](uint8_t*) {});
        const auto slots = client::SlotWatch::open(mBase + ipc::kResultSuffix, ipc::FrameChannel::kSlots,
                                                   ipc::FrameChannel::kMappingBytes);
        while (!slots->allGivenBack()) platform::sleepMilliseconds(1);
    }

    void onModel(uint32_t type, uint32_t capacity) {
        if (tell("load-ms")) platform::sleepMilliseconds(static_cast<uint32_t>(tell("load-ms")));
        if (type == 0) {
            mType = 0;
            return log(2, "model 0 " + std::to_string(capacity));
        }
        ++mModels;
        const size_t length = mModels == 1 ? static_cast<size_t>(tell("name-length", 5)) : 1;
        event(ipc::EventCode::ModelName,
              [&](ipc::Event& name) { std::memset(name.text, 'm', std::min(length, sizeof name.text)); });
        if (tell("refuse") && mModels == 1) type = 0;
        if (tell("lower") && type == 6) type = 7;
        log(2, "model " + std::to_string(type) + " " + std::to_string(capacity));
        mType = type;
        if (tell("late-ms")) platform::sleepMilliseconds(static_cast<uint32_t>(tell("late-ms")));
        event(ipc::EventCode::ModelType, [&](ipc::Event& model) { model.modelType = type; });
    }

    void onSharing(const Frame& frame) {
        log(2, "sharing kind " + std::to_string(frame.kind) + " size " + std::to_string(frame.size));
    }

    void onFrame(const Frame& frame) {
        const long number = ++mFrameCount;
        if (number == tell("die-at")) die(mIds, tell, 9);
        while (tell("hang-at") && number >= tell("hang-at")) platform::sleepMilliseconds(1000);
        if (tell("slow-ms")) platform::sleepMilliseconds(static_cast<uint32_t>(tell("slow-ms")));
        if (number == tell("scribble-at")) scribble();
        if (tell("fail-every") && number % tell("fail-every") == 0) return;
        if (frame.data[0] < tell("fail-run")) return;
        answer(frame);
        if (number == tell("die-after")) die(mIds, tell, 9);
    }

    void answer(const Frame& frame) {
        switch (static_cast<ipc::FrameKind>(frame.kind)) {
            case ipc::FrameKind::Face:
                mFaces->write([&](auto& packet) { fillText(packet.record, boxes(frame, "face")); });
                return;
            case ipc::FrameKind::Content:
                return answerContent(frame);
            case ipc::FrameKind::Model:
                break;
        }
        if (mType >= 6) {
            mLadon->write([&](auto& packet) { fillLadon(packet.record, frame); });
            return;
        }
        writeMask(tell("bad-mask") == 1 ? frame.width + 1 : frame.width, frame.height, maskSize(frame),
                  [&](uint8_t* mask) { fillMask(mask, frame); });
    }

    uint32_t maskSize(const Frame& frame) const {
        const long bad = tell("bad-mask");
        return bad == 2 ? 0xFFFFFFFFu : bad == 3 ? 0 : frame.width * frame.height;
    }

    void fillMask(uint8_t* mask, const Frame& frame) const {
        const bool module = mType == 1;
        const uint32_t step = module ? 4 : 3;
        const uint32_t red = module ? 2 : 0;
        for (uint32_t pixel = 0; pixel < frame.width * frame.height; ++pixel)
            mask[pixel] = frame.data[step * pixel + red];
    }

    void answerContent(const Frame& frame) {
        const bool result = ++mContentFrames % 3 == 0;
        mContent->write([&](auto& packet) {
            if (result) fillText(packet.record, boxes(frame, "Content"));
            packet.record.resultValid = result ? 1 : 0;
        });
    }

    // As the real host writes it, 20 pixels of x between one box and the next.
    std::string boxes(const Frame& frame, const std::string& what) const {
        const long count = tell("boxes", 1);
        const bool face = what == "face";
        std::string text = "{\"" + what + "Num\":" + std::to_string(count) + ",\"" + what + "Pos\":[";
        for (long box = 0; box < count; ++box) {
            text += (box ? ",[" : "[") + std::to_string(frame.data[0] + 20 * box);
            text += face ? ",20,30,40]" : ",20,230,240,0.912345,2]";
        }
        return text + "]}";
    }

    template <class Record>
    void fillText(Record& record, std::string text) const {
        const long bad = tell("bad-text");
        if (bad == 1) text.resize(text.size() / 2);
        if (bad == 3) text.assign(1, '\0');
        if (bad == 4) text.clear();
        std::memcpy(record.data, text.data(), std::min(text.size(), sizeof record.data));
        record.size = bad == 2 ? 0xFFFFFFFFu : bad == 3 ? 20 : static_cast<uint32_t>(text.size());
    }

    void fillLadon(ipc::LadonResult& record, const Frame& frame) const {
        std::memset(&record, 0, sizeof record);
        record.size = maskSize(frame);
        fillMask(record.mask, frame);
        record.motion = 0.25f;
        record.skipRun = 3;
        record.gesture[frame.data[0] % ipc::kGestureValues] = 0.875f;
        constexpr size_t kCell = ipc::kLandmarkValues / (9 * 16);
        float* withPoints = record.landmarks + kCell * (4 * 16 + 8);
        fillFace(withPoints, 0.9f, 0.25f);
        for (size_t value = 5; value < kCell; ++value) withPoints[value] = value % 3 == 1 ? -0.125f : 0.5f;
        fillFace(record.landmarks, 0.6f, 0);
        if (mType >= 8) {
            std::fill(std::begin(record.lut), std::end(record.lut), 0.5f);
            std::fill(std::begin(record.lutVertices), std::end(record.lutVertices), 0.25f);
            record.lutConfidence = 0.75f;
        }
        if (!tell("no-number")) return;
        const float none = std::nanf("");
        record.motion = record.lutConfidence = none;
        for (auto* values : {record.landmarks, record.gesture, record.lut, record.lutVertices}) *values = none;
        std::fill(withPoints, withPoints + kCell, none);
        std::fill(std::begin(record.gesture), std::end(record.gesture), none);
    }

    // A box from (left, left) to the picture's middle.
    static void fillFace(float* cell, float score, float left) {
        const float values[] = {score, left, left, 0.5f, 0.5f};
        std::copy(std::begin(values), std::end(values), cell);
    }

    template <class Fill>
    void writeMask(uint32_t width, uint32_t height, uint32_t size, Fill fill) {
        mMasks->write([&](auto& packet) {
            packet.record.width = width;
            packet.record.height = height;
            packet.record.size = size;
            fill(packet.record.data);
        });
    }

    void log(uint32_t level, const std::string& text) {
        std::lock_guard lock(mLogMutex);
        size_t at = 0;
        const size_t first = std::min(text.size(), ipc::kFirstChunkText);
        const bool whole = text.size() <= ipc::kFirstChunkText;
        mLog->write([&](auto& packet) {
            packet.record.flags = whole ? ipc::kFirstChunk | ipc::kLastChunk : ipc::kFirstChunk;
            packet.record.size = static_cast<uint32_t>(first + ipc::kChunkLevelBytes);
            std::memcpy(packet.record.body, &level, sizeof level);
            std::memcpy(packet.record.body + ipc::kChunkLevelBytes, text.data(), first);
        });
        for (at = first; at < text.size();) {
            const size_t count = std::min(text.size() - at, ipc::kLaterChunkText);
            mLog->write([&](auto& packet) {
                packet.record.flags = at + count == text.size() ? ipc::kLastChunk : 0;
                packet.record.size = static_cast<uint32_t>(count);
                std::memcpy(packet.record.body, text.data() + at, count);
            });
            at += count;
        }
    }

    void writeGarbage() {
        for (uint32_t code : {2u, 6u, 77u, 0xFFFFFFFFu, 3u}) {
            mEvents->write([&](auto& packet) {
                std::memset(&packet.record, 0xFF, sizeof packet.record);
                packet.record.code = code;
            });
        }
        const uint32_t sizes[] = {0, 1, 3, 4, 504, 505, 0xFFFFFFFFu};
        for (uint32_t size : sizes) {
            for (int flags = 0; flags < 256; flags += 5) {
                mLog->write([&](auto& packet) {
                    std::memset(&packet.record, 0xA5, sizeof packet.record);
                    packet.record.flags = static_cast<uint8_t>(flags);
                    packet.record.size = size;
                });
            }
        }
    }

    void scribble() {
        platform::KernelObjects& objects = platform::kernelObjects();
        const std::string name = mBase + ipc::kResultSuffix + "_shm";
        const size_t bytes = ipc::FrameChannel::kMappingBytes;
        auto* view = static_cast<uint8_t*>(objects.mapView(objects.openMapping(name.c_str(), bytes), bytes));
        std::mt19937 random(7);
        for (size_t at = 0; at < ipc::FrameChannel::kSlotsOffset; ++at) view[at] = static_cast<uint8_t>(random());
    }

    const Behaviour tell;
    const Ids mIds;
    const std::string mBase;
    std::shared_ptr<ipc::CommandChannel> mCommands;
    std::shared_ptr<ipc::EventChannel> mEvents;
    std::shared_ptr<ipc::FrameChannel> mFrames;
    std::shared_ptr<ipc::FrameChannel> mSharing;
    std::shared_ptr<ipc::FrameChannel> mMasks;
    std::shared_ptr<ipc::RoiChannel> mFaces;
    std::shared_ptr<ipc::ContentChannel> mContent;
    std::shared_ptr<ipc::LadonChannel> mLadon;
    std::shared_ptr<ipc::LogChannel> mLog;
    std::mutex mLogMutex;
    std::atomic<bool> mEnded{false};
    std::atomic<uint32_t> mType{0};
    long mModels = 0;
    long mFrameCount = 0;
    long mContentFrames = 0;
};

std::string valueOf(int count, char** arguments, const std::string& key) {
    for (int at = 1; at < count; ++at) {
        const std::string argument = arguments[at];
        if (argument.rfind(key, 0) == 0) return argument.substr(key.size());
    }
    return "";
}

}  // namespace

int main(int count, char** arguments) {
    const Behaviour tell;
    if (tell("noise")) {
        std::puts("noise on stdout");
        std::fputs("noise on stderr\n", stderr);
        std::fflush(stdout);
        std::fflush(stderr);  // not unbuffered everywhere
    }
    const Ids ids = {valueOf(count, arguments, "PID="), valueOf(count, arguments, "MID=")};
    if (tell("quit")) die(ids, tell, static_cast<int>(tell("quit")));
    if (tell("deaf")) {
        platform::sleepMilliseconds(kLongestLifeMs);
        return 98;
    }
    FakeHost host(ids, tell);
    host.run();
    platform::endProcess(0);
}
