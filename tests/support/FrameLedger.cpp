#include "tests/support/FrameLedger.h"

#include <algorithm>

namespace zeltest {

size_t FrameLedger::send() {
    const cm::LockGuard<cm::Mutex> lock(mLock);
    if (!mStretches.back().marks.empty() && mBegun == mEnded) {
        // One without frames would leave no answer to tell it by.
        if (mStretches.back().sent == 0) mStretches.pop_back();
        if (mStretches.size() < mAnswering + kSets) mStretches.emplace_back();
    }
    const size_t picture = mStretches.back().sent++ % kPicturesOfSet;
    return (mStretches.size() - 1) % kSets * kPicturesOfSet + picture;
}

// Frames that wait for their turn may be overtaken by the command.
void FrameLedger::beginCommand() {
    const cm::LockGuard<cm::Mutex> lock(mLock);
    ++mBegun;
    for (size_t i = std::min(mAnswering, mStretches.size() - 1); i < mStretches.size(); ++i)
        mStretches[i].marks.push_back({mBegun, mStretches[i].answers.size()});
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

size_t FrameLedger::answeredSinceCommand() const {
    const cm::LockGuard<cm::Mutex> lock(mLock);
    const Stretch& last = mStretches.back();
    return last.marks.empty() ? last.answers.size() : 0;
}

bool FrameLedger::upToDate() const {
    const cm::LockGuard<cm::Mutex> lock(mLock);
    const Stretch& last = mStretches.back();
    return last.marks.empty() && last.answers.size() >= last.sent;
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
    const auto lose = [&](size_t frame) {
        const bool excused = std::any_of(stretch.marks.begin(), stretch.marks.end(), [&](const Mark& mark) {
            return frame >= mark.firstFrame && costly.count(mark.command) != 0;
        });
        ++(excused ? totals.lostInCostly : totals.lostElsewhere);
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
