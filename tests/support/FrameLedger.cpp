#include "tests/support/FrameLedger.h"

namespace zeltest {

size_t FrameLedger::send() {
    const cm::LockGuard<cm::Mutex> lock(mLock);
    if (mStretches.back().commanded && mBegun == mEnded) {
        // One without frames would leave no answer to tell it by.
        if (mStretches.back().sent == 0) mStretches.pop_back();
        mStretches.emplace_back();
    }
    Stretch& stretch = mStretches.back();
    const size_t picture = stretch.sent % kPicturesOfSet;
    ++stretch.sent;
    if (!stretch.commanded) stretch.required = stretch.sent;
    return (mStretches.size() - 1) % kSets * kPicturesOfSet + picture;
}

// Frames that wait for their turn may still be overtaken by the command.
void FrameLedger::beginCommand() {
    const cm::LockGuard<cm::Mutex> lock(mLock);
    Stretch& stretch = mStretches.back();
    stretch.lastCommand = ++mBegun;
    if (stretch.commanded) return;
    stretch.commanded = true;
    stretch.firstCommand = mBegun;
    stretch.required = stretch.answers.size();
}

void FrameLedger::endCommand() {
    const cm::LockGuard<cm::Mutex> lock(mLock);
    ++mEnded;
}

size_t FrameLedger::commandsEnded() const {
    const cm::LockGuard<cm::Mutex> lock(mLock);
    return mEnded;
}

// The nearest stretch that shows the picture's set: one in between may have lost all of its frames.
void FrameLedger::answer(size_t picture) {
    const cm::LockGuard<cm::Mutex> lock(mLock);
    size_t stretch = mAnswering;
    while (stretch % kSets != picture / kPicturesOfSet) ++stretch;
    if (stretch >= mStretches.size()) {
        ++mStrays;
        return;
    }
    mAnswering = stretch;
    mStretches[stretch].answers.push_back(picture % kPicturesOfSet);
}

bool FrameLedger::upToDate() const {
    const cm::LockGuard<cm::Mutex> lock(mLock);
    const Stretch& last = mStretches.back();
    return !last.commanded && last.answers.size() >= last.sent;
}

FrameLedger::Totals FrameLedger::totals(const std::set<size_t>& costly) const {
    const cm::LockGuard<cm::Mutex> lock(mLock);
    Totals totals;
    totals.strays = mStrays;
    for (const Stretch& stretch : mStretches) settle(stretch, costly, totals);
    return totals;
}

// Each answer belongs to the next frame that shows its picture; frames that are passed over are lost.
void FrameLedger::settle(const Stretch& stretch, const std::set<size_t>& costly, Totals& totals) {
    const auto command = costly.lower_bound(stretch.firstCommand);
    const bool mayLose = stretch.commanded && command != costly.end() && *command <= stretch.lastCommand;
    const auto lose = [&](size_t frame) {
        ++(mayLose && frame >= stretch.required ? totals.lostInCostly : totals.lostElsewhere);
    };
    size_t next = 0;
    for (const size_t picture : stretch.answers) {
        size_t frame = next;
        while (frame < stretch.sent && frame % kPicturesOfSet != picture) ++frame;
        if (frame == stretch.sent) {
            ++totals.strays;
            continue;
        }
        ++totals.answered;
        for (; next < frame; ++next) lose(next);
        next = frame + 1;
    }
    for (; next < stretch.sent; ++next) lose(next);
    totals.sent += stretch.sent;
}

}  // namespace zeltest
