#pragma once

#include <cstddef>
#include <set>
#include <vector>

#include "util/include/CmMutex.h"

namespace zeltest {

// Who answers for which frame, for a client that streams while it gives commands some of which may cost frames. An
// answer carries no number, only what was seen in the picture; so the ledger says which picture goes next, and from the
// pictures that come back, in order, it tells which frames were answered.
//
// Pictures come in sets. Those of one set follow each other until a command has ended; the frame after it begins the
// next set, unless frames of that many sets are still without an answer. So no answer from behind a command is taken
// for one of before it, however many frames it has cost. All functions may be called from any thread.
class FrameLedger {
  public:
    static constexpr size_t kSets = 8;
    static constexpr size_t kPicturesOfSet = 4;
    static constexpr size_t kPictures = kSets * kPicturesOfSet;

    struct Totals {
        size_t sent = 0;
        size_t answered = 0;
        // Frames without an answer: those under way while a command ran that may cost frames, and all others.
        size_t lostInCostly = 0;
        size_t lostElsewhere = 0;
        // Answers that fit no frame.
        size_t strays = 0;
    };

    // Notes a frame. Gives the number of its picture.
    size_t send() ZEL_EXCLUDES(mLock);
    // A command is about to be given; they are numbered from 1.
    void beginCommand() ZEL_EXCLUDES(mLock);
    // The oldest command under way has been reported as done.
    void endCommand() ZEL_EXCLUDES(mLock);
    size_t commandsEnded() const ZEL_EXCLUDES(mLock);
    // An answer that shows this picture.
    void answer(size_t picture) ZEL_EXCLUDES(mLock);

    // Frames that were answered of those since the end of the last command.
    size_t answeredSinceCommand() const ZEL_EXCLUDES(mLock);
    // Whether all of these have been.
    bool upToDate() const ZEL_EXCLUDES(mLock);
    // The account, given the numbers of the commands that may have cost frames.
    Totals totals(const std::set<size_t>& costly) const ZEL_EXCLUDES(mLock);

  private:
    // From `firstFrame` on frames were under way when the command was given.
    struct Mark {
        size_t command;
        size_t firstFrame;
    };
    // Frames that show one set, up to the end of commands that were given meanwhile.
    struct Stretch {
        size_t sent = 0;
        std::vector<Mark> marks;
        std::vector<size_t> answers;  // pictures within the set
    };

    static void settle(const Stretch& stretch, const std::set<size_t>& costly, Totals& totals);

    mutable cm::Mutex mLock;
    std::vector<Stretch> mStretches ZEL_GUARDED_BY(mLock) = std::vector<Stretch>(1);
    size_t mAnswering ZEL_GUARDED_BY(mLock) = 0;  // stretch of the last answer
    size_t mBegun ZEL_GUARDED_BY(mLock) = 0;
    size_t mEnded ZEL_GUARDED_BY(mLock) = 0;
    size_t mStrays ZEL_GUARDED_BY(mLock) = 0;
};

}  // namespace zeltest
