#include "tests/support/FrameLedger.h"

#include <gtest/gtest.h>

namespace zeltest {

namespace {

constexpr size_t kSet = FrameLedger::kPicturesOfSet;

// The pictures of so many frames.
std::vector<size_t> send(FrameLedger& ledger, size_t count) {
    std::vector<size_t> pictures;
    for (size_t i = 0; i < count; ++i) pictures.push_back(ledger.send());
    return pictures;
}

void answer(FrameLedger& ledger, const std::vector<size_t>& pictures) {
    for (const size_t picture : pictures) ledger.answer(picture);
}

void expectTotals(const FrameLedger& ledger, const std::set<size_t>& costly, const FrameLedger::Totals& expected) {
    const FrameLedger::Totals totals = ledger.totals(costly);
    EXPECT_EQ(totals.sent, expected.sent);
    EXPECT_EQ(totals.answered, expected.answered);
    EXPECT_EQ(totals.lostInCostly, expected.lostInCostly);
    EXPECT_EQ(totals.lostElsewhere, expected.lostElsewhere);
    EXPECT_EQ(totals.strays, expected.strays);
}

}  // namespace

TEST(FrameLedgerTest, AnsweredFramesAreNotLost) {
    FrameLedger ledger;
    expectTotals(ledger, {}, {});
    answer(ledger, send(ledger, 3 * kSet));
    EXPECT_TRUE(ledger.upToDate());
    expectTotals(ledger, {}, {.sent = 3 * kSet, .answered = 3 * kSet});
}

TEST(FrameLedgerTest, FrameWithoutAnAnswerIsLost) {
    FrameLedger ledger;
    std::vector<size_t> pictures = send(ledger, 10);
    EXPECT_FALSE(ledger.upToDate());
    pictures.erase(pictures.begin() + 4);
    answer(ledger, pictures);
    EXPECT_FALSE(ledger.upToDate());
    expectTotals(ledger, {1}, {.sent = 10, .answered = 9, .lostElsewhere = 1});
}

TEST(FrameLedgerTest, AnswerThatFitsNoFrameIsAStray) {
    FrameLedger ledger;
    answer(ledger, send(ledger, 2));
    ledger.answer(1);     // a second one for the last frame
    ledger.answer(kSet);  // a set that has not begun
    expectTotals(ledger, {}, {.sent = 2, .answered = 2, .strays = 2});
}

TEST(FrameLedgerTest, OnlyACostlyCommandMayLoseWhatWasUnderWay) {
    for (const bool costly : {false, true}) {
        FrameLedger ledger;
        std::vector<size_t> pictures = send(ledger, 5);
        pictures.pop_back();
        answer(ledger, pictures);  // the fifth is overtaken
        ledger.beginCommand();
        send(ledger, 20);
        ledger.endCommand();
        EXPECT_EQ(ledger.commandsEnded(), 1u);
        answer(ledger, send(ledger, 3));
        EXPECT_TRUE(ledger.upToDate());
        expectTotals(
            ledger, costly ? std::set<size_t>{1} : std::set<size_t>{2},
            {.sent = 28, .answered = 7, .lostInCostly = costly ? 21u : 0u, .lostElsewhere = costly ? 0u : 21u});
    }
}

TEST(FrameLedgerTest, FramesBeforeAndAfterACostlyCommandMustBeAnswered) {
    FrameLedger ledger;
    std::vector<size_t> before = send(ledger, 3);
    answer(ledger, {before[0], before[2]});
    ledger.beginCommand();
    ledger.beginCommand();
    ledger.endCommand();
    std::vector<size_t> during = send(ledger, 1);
    ledger.endCommand();
    answer(ledger, during);
    std::vector<size_t> after = send(ledger, 2);
    answer(ledger, {after[1]});
    expectTotals(ledger, {2}, {.sent = 6, .answered = 4, .lostElsewhere = 2});
}

TEST(FrameLedgerTest, FrameMayBeOvertakenByALaterCommandThanTheNext) {
    FrameLedger ledger;
    for (int command = 0; command < 3; ++command) {
        send(ledger, 1);
        ledger.beginCommand();
        ledger.endCommand();
    }
    answer(ledger, send(ledger, 1));
    expectTotals(ledger, {3}, {.sent = 4, .answered = 1, .lostInCostly = 3});
    expectTotals(ledger, {1}, {.sent = 4, .answered = 1, .lostInCostly = 1, .lostElsewhere = 2});
}

TEST(FrameLedgerTest, AnswersAreFoundBehindCommandsThatHaveCostAllOfTheirFrames) {
    for (size_t commands = 1; commands <= 3 * FrameLedger::kSets; ++commands) {
        FrameLedger ledger;
        for (size_t command = 0; command < commands; ++command) {
            send(ledger, kSet + 1);
            ledger.beginCommand();
            ledger.endCommand();
        }
        answer(ledger, send(ledger, 2));
        // A set of its own may have been free for them only now.
        answer(ledger, send(ledger, 2));
        EXPECT_TRUE(ledger.upToDate());
        EXPECT_GE(ledger.answeredSinceCommand(), 2u);
        expectTotals(ledger, {commands},
                     {.sent = commands * (kSet + 1) + 4, .answered = 4, .lostInCostly = commands * (kSet + 1)});
    }
}

}  // namespace zeltest
