#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <ostream>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "tests/support/FrameLedger.h"
#include "tests/support/RawClient.h"

namespace zeltest {

// What a client sends: FrameLedger::kPictures pictures of one size, 3 bytes a pixel, whose masks differ.
struct LoadPictures {
    uint32_t width = 0;
    uint32_t height = 0;
    std::vector<std::vector<uint8_t>> pictures;
};

// The photograph of a person, moved round by a few columns from picture to picture, and mirrored for half of them.
LoadPictures movedPersons(uint32_t width, uint32_t height);

// What a load has seen.
struct LoadReport {
    FrameLedger::Totals frames;
    size_t switches = 0;  // engines put in place of the processor's
    size_t rebuilds = 0;  // commands that made the processor's engine anew
    size_t commands = 0;
    // Masks, compared with the picture's first one: mean absolute difference of a pixel.
    size_t wrongMasks = 0;      // that are further off than kMaskTolerance
    double farthestMask = 0;    // of all answers to their pictures' masks
    double nearestPicture = 0;  // of any two pictures' first masks
    double framesPerSecond = 0;
};
std::ostream& operator<<(std::ostream& out, const LoadReport& report);

// A client that streams 30 frames a second to a host with an inference library, and all the while chooses anew among
// the types that run it. It is told by the host's log what the choices led to.
class SwitchLoad {
  public:
    // How far a mask may be off: the last mask of another picture, or none, is part of the network's input.
    static constexpr double kMaskTolerance = 2;

    // `lines` gives the host's log so far; any thread. The host must have its library's path and no type in force.
    SwitchLoad(RawClient& client, LoadPictures pictures, std::function<std::vector<std::string>()> lines);

    // At least `seconds` of load, longer until an engine has been switched to and left again. The choices come from
    // `seed`. Raises std::runtime_error when the host does not do what must come.
    LoadReport run(uint32_t seconds, uint32_t seed);

  private:
    // What the log tells.
    struct Story {
        std::set<size_t> rebuilds;  // the numbers of their commands
        size_t commands = 0;
        size_t switches = 0;
        std::string device = "CPU";
        bool ignored = false;  // the last choice, since an engine was still being made
        bool ended = false;
    };

    Story story() const;
    void choose(uint32_t type);
    void awaitCommands();
    void await(const std::function<bool()>& done, const char* what) const;
    void learnMasks();
    std::vector<uint8_t> firstMask(size_t picture);
    void chooseAtRandom(uint32_t milliseconds, std::mt19937& random);
    void switchOnceMore();
    void settle(uint64_t microseconds);

    // Each on a thread of its own, until mEnds.
    void readEvents();
    void sendFrames();
    void readAnswers();

    RawClient& mClient;
    const LoadPictures mPictures;
    const std::function<std::vector<std::string>()> mLines;
    std::vector<std::vector<uint8_t>> mMasks;  // first ones of all pictures
    FrameLedger mLedger;
    LoadReport mReport;  // the masks' figures are the reader's
    std::atomic<uint32_t> mTypeInForce{0};
    std::atomic<bool> mSends{true};
    std::atomic<bool> mReads{true};
};

}  // namespace zeltest
