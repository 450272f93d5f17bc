#include "tests/support/SwitchLoad.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <stdexcept>
#include <thread>
#include <utility>

#include "platform/include/clock.h"
#include "platform/include/thread.h"
#include "tests/support/SamplePhotograph.h"

namespace zeltest {

namespace {

using Bytes = std::vector<uint8_t>;

constexpr uint32_t kXnnGpu = 8, kXnnCpu = 9, kXnnNpu = 10;
constexpr uint64_t kFrameUs = 1000000 / 30;
constexpr uint32_t kPollMs = 50;
constexpr size_t kLastFrames = 30;
constexpr uint32_t kLongestPauseMs = 5000;
constexpr uint32_t kRetryMs = 200;

// Mean absolute difference of a pixel.
double distance(const Bytes& mask, const uint8_t* other) {
    uint64_t sum = 0;
    for (size_t i = 0; i < mask.size(); ++i) sum += static_cast<uint64_t>(std::abs(int{mask[i]} - int{other[i]}));
    return static_cast<double>(sum) / static_cast<double>(mask.size());
}

bool contains(const std::string& line, const char* part) {
    return line.find(part) != std::string::npos;
}

std::string behind(const std::string& line, const std::string& part) {
    const size_t at = line.find(part);
    return at == std::string::npos ? "" : line.substr(at + part.size());
}

// Columns `shift` to the left, round the edge, or that mirrored.
Bytes moved(const Bytes& picture, uint32_t width, uint32_t height, uint32_t shift, bool mirrored) {
    Bytes result;
    result.reserve(picture.size());
    for (uint32_t y = 0; y < height; ++y) {
        for (uint32_t x = 0; x < width; ++x) {
            const uint32_t column = (x + shift) % width;
            const size_t from = (size_t{y} * width + (mirrored ? width - 1 - column : column)) * 3;
            result.insert(result.end(), {picture[from], picture[from + 1], picture[from + 2]});
        }
    }
    return result;
}

// Ends the threads of a run, whatever ends the run.
class Threads {
  public:
    explicit Threads(std::function<void()> stop) : mStop(std::move(stop)) {}
    ~Threads() { join(); }
    Threads(const Threads&) = delete;
    Threads& operator=(const Threads&) = delete;

    void start(std::function<void()> body) { mThreads.emplace_back(std::move(body)); }
    void join() {
        mStop();
        for (std::thread& thread : mThreads) thread.join();
        mThreads.clear();
    }

  private:
    const std::function<void()> mStop;
    std::vector<std::thread> mThreads;
};

}  // namespace

LoadPictures movedPersons(uint32_t width, uint32_t height) {
    const Bytes photograph = samplePhotograph(static_cast<int32_t>(width), static_cast<int32_t>(height));
    LoadPictures result{width, height, {}};
    constexpr size_t kHalf = FrameLedger::kPictures / 2;
    for (size_t i = 0; i < FrameLedger::kPictures; ++i) {
        const auto shift = static_cast<uint32_t>(i % kHalf * width / (2 * kHalf));
        result.pictures.push_back(moved(photograph, width, height, shift, i >= kHalf));
    }
    return result;
}

std::ostream& operator<<(std::ostream& out, const LoadReport& report) {
    const FrameLedger::Totals& frames = report.frames;
    return out << frames.sent << " frames sent at " << report.framesPerSecond << " a second, " << frames.answered
               << " answered, " << frames.lostInCostly << " lost within " << report.rebuilds << " rebuilds, "
               << frames.lostElsewhere << " lost elsewhere, " << frames.strays << " strays; " << report.commands
               << " commands, " << report.switches << " switches; " << report.wrongMasks << " wrong masks, farthest "
               << report.farthestMask << ", nearest pictures " << report.nearestPicture;
}

SwitchLoad::SwitchLoad(RawClient& client, LoadPictures pictures, std::function<std::vector<std::string>()> lines)
    : mClient(client), mPictures(std::move(pictures)), mLines(std::move(lines)) {}

LoadReport SwitchLoad::run(uint32_t seconds, uint32_t seed) {
    Threads readers([this] { mReads = false; });
    readers.start([this] { readEvents(); });
    choose(kXnnCpu);
    awaitCommands();
    if (mTypeInForce != kXnnCpu) throw std::runtime_error("the host did not start the library");
    learnMasks();
    readers.start([this] { readAnswers(); });
    const uint64_t start = platform::monotonicMicroseconds();
    {
        Threads sender([this] { mSends = false; });
        sender.start([this] { sendFrames(); });
        std::mt19937 random(seed);
        chooseAtRandom(seconds * 1000, random);
        switchOnceMore();
    }
    const uint64_t elapsed = platform::monotonicMicroseconds() - start;
    await([this] { return mLedger.upToDate(); }, "the last frames were not answered");
    readers.join();
    settle(elapsed);
    return mReport;
}

// The line of a last command comes behind all that the others have led to.
void SwitchLoad::settle(uint64_t microseconds) {
    mClient.command(ipc::CommandCode::InitClient);
    await([this] { return story().ended; }, "the log did not end");
    const Story all = story();
    mReport.frames = mLedger.totals(all.rebuilds);
    mReport.switches = all.switches;
    mReport.rebuilds = all.rebuilds.size();
    mReport.framesPerSecond = static_cast<double>(mReport.frames.sent) * 1e6 / static_cast<double>(microseconds);
}

// What happened to the engine, line by line: whoever changes it holds its lock while the line is written.
SwitchLoad::Story SwitchLoad::story() const {
    Story story;
    bool fallsBack = false;
    for (const std::string& line : mLines()) {
        if (contains(line, "ZelMLHost::onIpcCommand, SetModelType received")) ++story.commands;
        if (contains(line, "ZelMLHost::onIpcCommand, InitClient")) story.ended = true;
        if (contains(line, "GPU exceed max processing time, fall back to CPU")) fallsBack = true;
        if (contains(line, "ZelLadonXnnHelper::Init(), mDeviceType=")) {
            // A frame that falls back rebuilds by itself, and is answered.
            if (story.device != "CPU" && !fallsBack) story.rebuilds.insert(story.commands);
            story.device = "CPU";
            fallsBack = false;
        }
        if (contains(line, "initXnn future is still running, ignore this init")) story.ignored = true;
        if (contains(line, "ZelLadonXnnHelper::init, dispatch init job")) story.ignored = false;
        const std::string device = behind(line, "switchEngine success, current device: ");
        if (device.empty()) continue;
        ++story.switches;
        story.device = device;
    }
    return story;
}

void SwitchLoad::choose(uint32_t type) {
    mLedger.beginCommand();
    ++mReport.commands;
    mClient.command(ipc::CommandCode::SetModelType, type, 0);
}

void SwitchLoad::awaitCommands() {
    await([this] { return mLedger.commandsEnded() == mReport.commands; }, "a command was not reported as done");
}

void SwitchLoad::await(const std::function<bool()>& done, const char* what) const {
    const uint32_t start = platform::tickCount();
    while (!done()) {
        if (platform::tickCount() - start > kDeadlineMs) throw std::runtime_error(what);
        platform::sleepMilliseconds(10);
    }
}

// The second time round each picture follows the one that it follows under load.
void SwitchLoad::learnMasks() {
    for (size_t picture = 0; picture < mPictures.pictures.size(); ++picture) firstMask(picture);
    for (size_t picture = 0; picture < mPictures.pictures.size(); ++picture) mMasks.push_back(firstMask(picture));
    mReport.nearestPicture = std::numeric_limits<double>::max();
    for (const Bytes& mask : mMasks) {
        for (const Bytes& other : mMasks) {
            if (&mask == &other) continue;
            mReport.nearestPicture = std::min(mReport.nearestPicture, distance(mask, other.data()));
        }
    }
}

Bytes SwitchLoad::firstMask(size_t picture) {
    mClient.frame(mPictures.width, mPictures.height, mPictures.pictures[picture], 1, {}, false, false);
    const auto answer = mClient.ladonResult();
    const size_t pixels = size_t{mPictures.width} * mPictures.height;
    if (!answer || answer->size != pixels) throw std::runtime_error("a first frame was not answered");
    return {answer->mask, answer->mask + pixels};
}

// Some at once, some while the last engine is still being made, some after it has come into place.
void SwitchLoad::chooseAtRandom(uint32_t milliseconds, std::mt19937& random) {
    const uint32_t start = platform::tickCount();
    const uint32_t longest = std::min(kLongestPauseMs, milliseconds / 2 + 1);
    while (platform::tickCount() - start < milliseconds) {
        choose(kXnnGpu + random() % 3);
        const uint32_t pauses[] = {1, std::min<uint32_t>(longest, 500), longest, longest};
        platform::sleepMilliseconds(random() % pauses[random() % std::size(pauses)]);
    }
    awaitCommands();
}

// A choice that comes while another engine is being made is ignored, and has to be made again.
void SwitchLoad::switchOnceMore() {
    const auto served = [this] { return story().device == "NPU"; };
    const uint32_t start = platform::tickCount();
    while (!served()) {
        if (platform::tickCount() - start > kDeadlineMs) throw std::runtime_error("no engine came into place");
        choose(kXnnCpu);
        choose(kXnnNpu);
        awaitCommands();
        platform::sleepMilliseconds(kRetryMs);
        if (!story().ignored) await(served, "a chosen engine did not come into place");
    }
    choose(kXnnCpu);
    awaitCommands();
    await([this] { return mLedger.answeredSinceCommand() >= kLastFrames; }, "frames are no longer answered");
}

void SwitchLoad::readEvents() {
    while (mReads) {
        const auto event = mClient.event(kPollMs);
        if (!event) continue;
        if (event->code == static_cast<uint32_t>(ipc::EventCode::HeartBeat)) mClient.showLife();
        if (event->code != static_cast<uint32_t>(ipc::EventCode::ModelType)) continue;
        mTypeInForce = event->modelType;
        mLedger.endCommand();
    }
}

// A frame that had to wait for a slot delays those after it.
void SwitchLoad::sendFrames() {
    uint64_t next = platform::monotonicMicroseconds();
    while (mSends) {
        mClient.frame(mPictures.width, mPictures.height, mPictures.pictures[mLedger.send()], 1, {}, false, false);
        const uint64_t now = platform::monotonicMicroseconds();
        next = std::max(next + kFrameUs, now);
        platform::sleepMilliseconds(static_cast<uint32_t>((next - now) / 1000));
    }
}

void SwitchLoad::readAnswers() {
    while (mReads) {
        const auto answer = mClient.ladonResult(kPollMs);
        if (!answer) continue;
        size_t nearest = 0;
        double least = std::numeric_limits<double>::max();
        for (size_t picture = 0; picture < mMasks.size(); ++picture) {
            const double apart = distance(mMasks[picture], answer->mask);
            if (apart >= least) continue;
            least = apart;
            nearest = picture;
        }
        mReport.farthestMask = std::max(mReport.farthestMask, least);
        if (least > kMaskTolerance) ++mReport.wrongMasks;
        mLedger.answer(nearest);
    }
}

}  // namespace zeltest
