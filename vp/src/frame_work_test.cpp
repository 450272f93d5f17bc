#include "qorvp/CVpFrameWork.h"

#include <gmock/gmock.h>

#include <atomic>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "qorvp/Format.h"

namespace {

using qorvp::CVpFrameWork;
using qorvp::kBottomUp;
using qorvp::kErrorArgument;
using qorvp::kErrorFailed;
using qorvp::kErrorUnsupported;
using qorvp::kOk;
using qorvp::VpImage;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr int32_t kAnswer = 4711;

// Notes what it is asked for, with the number that it is asked under.
class NotingStrategy : public qorvp::IStrategy {
  public:
    explicit NotingStrategy(std::vector<std::string>& calls) : mCalls(calls) {}
    ~NotingStrategy() override { mCalls.push_back("destroyed"); }

    int32_t Init(uint32_t number, void*) override { return note("Init", number); }
    int32_t Uninit(uint32_t number) override { return note("Uninit", number); }
    int32_t Reserved(uint32_t number) override { return note("Reserved", number); }
    int32_t Process(uint32_t number, VpImage* source, VpImage* destination) override {
        from = *source;
        to = *destination;
        destination->cropX = 77;
        source->cropX = 78;
        if (outOfMemory) throw std::bad_alloc();
        return note("Process", number);
    }
    int32_t SetParam(uint32_t number, const void*) override { return note("SetParam", number); }
    int32_t GetParam(uint32_t number, void*) override { return note("GetParam", number); }
    int32_t Reserved2(uint32_t number) override { return note("Reserved2", number); }

    VpImage from{};
    VpImage to{};
    int32_t answer = kAnswer;
    bool outOfMemory = false;

  private:
    int32_t note(const char* call, uint32_t number) {
        mCalls.push_back(call + (" " + std::to_string(number)));
        return answer;
    }

    std::vector<std::string>& mCalls;
};

class FrameWorkTest : public testing::Test {
  protected:
    // A strategy under that number, in place of one that is there.
    NotingStrategy& hold(uint32_t number) {
        auto strategy = std::make_unique<NotingStrategy>(mCalls);
        NotingStrategy& held = *strategy;
        mFrameWork.setStrategy(number, std::move(strategy));
        mCalls.clear();
        return held;
    }
    int32_t process(uint32_t number) { return mFrameWork.Process(number, &mSource, &mDestination); }

    std::vector<std::string> mCalls;
    CVpFrameWork mFrameWork;
    uint8_t mPixels[4] = {};
    VpImage mSource = {{mPixels}, 0, 2, 0, 0, 0, 0, 2, 2, qorvp::kFormatI420};
    VpImage mDestination = mSource;
};

}  // namespace

TEST_F(FrameWorkTest, NumberIsClampedFromItsLowByte) {
    for (const auto& [asked, held] : {std::pair<uint32_t, uint32_t>{0, 1},
                                      {1, 1},
                                      {18, 18},
                                      {19, 18},
                                      {255, 18},
                                      {256, 1},
                                      {258, 2},
                                      {0xFFFFFF13, 18}}) {
        std::vector<std::string> calls;
        CVpFrameWork frameWork;
        frameWork.setStrategy(held, std::make_unique<NotingStrategy>(calls));
        float value = 0;
        EXPECT_EQ(frameWork.SetParam(asked, &value), kAnswer) << asked;
        EXPECT_EQ(frameWork.GetParam(asked, &value), kAnswer) << asked;
        EXPECT_EQ(frameWork.Uninit(asked), kAnswer) << asked;
        EXPECT_EQ(frameWork.Process(asked, nullptr, nullptr), kAnswer) << asked;
        EXPECT_EQ(frameWork.Init(asked, nullptr), kAnswer) << asked;
        const std::string number = std::to_string(held);
        EXPECT_THAT(calls, ElementsAre("SetParam " + number, "GetParam " + number, "Uninit " + number,
                                       "Process " + number, "Uninit " + number, "Init " + number));
    }
}

TEST_F(FrameWorkTest, InitUninitsFirst) {
    hold(3);
    EXPECT_EQ(mFrameWork.Init(3, nullptr), kAnswer);
    EXPECT_THAT(mCalls, ElementsAre("Uninit 3", "Init 3"));
}

TEST_F(FrameWorkTest, EmptyNumberDoesNothing) {
    float value = 0;
    EXPECT_EQ(mFrameWork.Init(3, nullptr), kOk);
    EXPECT_EQ(mFrameWork.Uninit(3), kOk);
    EXPECT_EQ(mFrameWork.SetParam(3, &value), kOk);
    EXPECT_EQ(mFrameWork.GetParam(3, &value), kOk);
    EXPECT_EQ(process(3), kErrorUnsupported);
    EXPECT_EQ(mFrameWork.Reserved(3), kOk);
    EXPECT_EQ(mFrameWork.Reserved2(3), kOk);
}

TEST_F(FrameWorkTest, ReservedCallsReachNoStrategy) {
    hold(3);
    EXPECT_EQ(mFrameWork.Reserved(3), kOk);
    EXPECT_EQ(mFrameWork.Reserved2(3), kOk);
    EXPECT_THAT(mCalls, IsEmpty());
}

TEST_F(FrameWorkTest, NullParameterIsRefused) {
    hold(3);
    EXPECT_EQ(mFrameWork.SetParam(3, nullptr), kErrorArgument);
    EXPECT_EQ(mFrameWork.GetParam(3, nullptr), kErrorArgument);
    EXPECT_EQ(mFrameWork.SetParam(4, nullptr), kErrorArgument);
    EXPECT_THAT(mCalls, IsEmpty());
}

TEST_F(FrameWorkTest, NullImagesAreImagesOfZeros) {
    NotingStrategy& strategy = hold(3);
    EXPECT_EQ(mFrameWork.Process(3, nullptr, nullptr), kAnswer);
    EXPECT_EQ(strategy.from.planes[0], nullptr);
    EXPECT_EQ(strategy.to.width, 0);
    EXPECT_EQ(mFrameWork.Process(3, &mSource, nullptr), kAnswer);
    EXPECT_EQ(strategy.from.width, 2);
    EXPECT_EQ(strategy.to.format, 0u);
}

TEST_F(FrameWorkTest, ImagesWithoutAPlaneAreNotLookedAt) {
    hold(5);
    mSource = {};
    mSource.format = 7;
    mDestination = {};
    EXPECT_EQ(process(5), kAnswer);
}

TEST_F(FrameWorkTest, StrategiesFiveAndSixTakeSomeFormatsOnly) {
    for (const uint32_t number : {4, 5, 6, 7}) {
        hold(number);
        std::vector<uint32_t> taken;
        for (uint32_t format = 0; format < 64; ++format) {
            mSource.format = mDestination.format = format;
            if (process(number) == kAnswer) taken.push_back(format);
        }
        if (number == 5 || number == 6)
            EXPECT_THAT(taken, ElementsAre(9, 23, 24, 26, 29, 31)) << number;
        else
            EXPECT_EQ(taken.size(), 64u) << number;
        mSource.format = mDestination.format = 23 | kBottomUp;
        EXPECT_EQ(process(number), number == 5 || number == 6 ? kErrorArgument : kAnswer);
    }
}

TEST_F(FrameWorkTest, FormatsMayDifferForTheFirstStrategyOnly) {
    for (uint32_t number = 1; number <= 18; ++number) {
        hold(number);
        mDestination = mSource;
        mDestination.format = 24;
        EXPECT_EQ(process(number), number == 1 ? kAnswer : kErrorArgument) << number;
        mDestination = mSource;
        mDestination.format = 23 | kBottomUp;
        EXPECT_EQ(process(number), number == 1 ? kAnswer : kErrorArgument) << number;
        mDestination = mSource;
        EXPECT_EQ(process(number), kAnswer) << number;
    }
}

TEST_F(FrameWorkTest, GeometryOfBothImagesMustHold) {
    hold(3);
    const auto with = [](VpImage image, int32_t VpImage::*field, int32_t value) {
        image.*field = value;
        return image;
    };
    const VpImage good = mSource;
    const VpImage bad[] = {with(good, &VpImage::width, 0),     with(good, &VpImage::width, -1),
                           with(good, &VpImage::height, 0),    with(good, &VpImage::cropX, 2),
                           with(good, &VpImage::cropY, 2),     with(good, &VpImage::stride0, 1),
                           with(good, &VpImage::height, 40961)};
    for (const VpImage& image : bad) {
        VpImage fine = good, wrong = image;
        EXPECT_EQ(mFrameWork.Process(3, &wrong, &fine), kErrorArgument);
        EXPECT_EQ(mFrameWork.Process(3, &fine, &wrong), kErrorArgument);
        EXPECT_EQ(mFrameWork.Process(3, nullptr, &wrong), kErrorArgument);
    }
    EXPECT_THAT(mCalls, IsEmpty());
    for (const int32_t crop : {1, -1}) {
        for (int32_t VpImage::*const field : {&VpImage::cropX, &VpImage::cropY}) {
            mSource = with(good, field, crop);
            mDestination = with(good, field, crop);
            EXPECT_EQ(process(3), kAnswer) << crop;
        }
    }
}

TEST_F(FrameWorkTest, SidesGoUpTo40960) {
    hold(3);
    mSource.stride0 = 50000;
    mSource.width = mSource.height = 40960;
    EXPECT_EQ(process(3), kAnswer);
    mSource.width = 40961;
    EXPECT_EQ(process(3), kErrorArgument);
}

TEST_F(FrameWorkTest, OnlyStrategiesOneAndThirteenChangeTheDestinationsRecord) {
    for (uint32_t number = 1; number <= 18; ++number) {
        hold(number);
        mSource.cropX = mDestination.cropX = 0;
        EXPECT_EQ(process(number), kAnswer);
        EXPECT_EQ(mDestination.cropX, number == 1 || number == 13 ? 77 : 0) << number;
        EXPECT_EQ(mSource.cropX, 0) << number;
    }
}

TEST_F(FrameWorkTest, RecordComesBackFromAFailureToo) {
    for (const uint32_t number : {1, 13}) {
        hold(number).answer = kErrorFailed;
        mDestination.cropX = 0;
        EXPECT_EQ(process(number), kErrorFailed);
        EXPECT_EQ(mDestination.cropX, 77) << number;
        hold(number).outOfMemory = true;
        mDestination.cropX = 0;
        EXPECT_EQ(process(number), kErrorFailed);
        EXPECT_EQ(mDestination.cropX, 77) << number;
    }
}

TEST_F(FrameWorkTest, StrategyMayCallTheObjectBack) {
    struct Returning : qorvp::IStrategy {
        explicit Returning(CVpFrameWork& owner) : frameWork(owner) {}
        int32_t Process(uint32_t number, VpImage* source, VpImage* destination) override {
            float value = 0;
            EXPECT_EQ(frameWork.SetParam(number, &value), kAnswer);
            return frameWork.Process(4, source, destination);
        }
        int32_t SetParam(uint32_t, const void*) override { return kAnswer; }
        int32_t GetParam(uint32_t, void*) override { return kOk; }
        CVpFrameWork& frameWork;
    };
    const NotingStrategy& other = hold(4);
    mFrameWork.setStrategy(3, std::make_unique<Returning>(mFrameWork));
    EXPECT_EQ(process(3), kAnswer);
    EXPECT_THAT(mCalls, ElementsAre("Process 4"));
    EXPECT_EQ(other.from.width, 2);
}

TEST_F(FrameWorkTest, MissingMemoryIsAFailure) {
    hold(3).outOfMemory = true;
    EXPECT_EQ(process(3), kErrorFailed);
}

TEST_F(FrameWorkTest, EveryStrategyIsUninitedAndDestroyedAtTheEnd) {
    {
        CVpFrameWork frameWork;
        frameWork.setStrategy(2, std::make_unique<NotingStrategy>(mCalls));
        frameWork.setStrategy(18, std::make_unique<NotingStrategy>(mCalls));
    }
    EXPECT_THAT(mCalls, ElementsAre("Uninit 2", "destroyed", "Uninit 18", "destroyed"));
}

TEST_F(FrameWorkTest, OneCallRunsAtATime) {
    struct Counting : qorvp::IStrategy {
        int32_t Init(uint32_t, void*) override { return Process(0, nullptr, nullptr); }
        int32_t Uninit(uint32_t) override { return Process(0, nullptr, nullptr); }
        int32_t Process(uint32_t, VpImage*, VpImage*) override {
            if (++inside != 1) together = true;
            std::this_thread::yield();
            --inside;
            return kOk;
        }
        int32_t SetParam(uint32_t, const void*) override { return Process(0, nullptr, nullptr); }
        int32_t GetParam(uint32_t, void*) override { return Process(0, nullptr, nullptr); }
        std::atomic<int> inside{0};
        std::atomic<bool> together{false};
    };
    auto strategy = std::make_unique<Counting>();
    Counting& counting = *strategy;
    mFrameWork.setStrategy(3, std::move(strategy));
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; ++number) {
        threads.emplace_back([this] {
            float value = 0;
            for (int call = 0; call < 500; ++call) {
                mFrameWork.Process(3, nullptr, nullptr);
                mFrameWork.SetParam(3, &value);
                mFrameWork.GetParam(3, &value);
                mFrameWork.Init(3, nullptr);
                mFrameWork.Uninit(3);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_FALSE(counting.together);
}
