#include "engines/vino/HelperFixture.h"
#include "tests/support/AllocationCount.h"

namespace {

using zeltest::allocationsOf;

class HelperAllocationsTest : public HelperFixture {};

}  // namespace

TEST_F(HelperAllocationsTest, AllocationsAreCounted) {
    EXPECT_EQ(allocationsOf([] { delete new volatile int(1); }), 1u);
}

TEST_F(HelperAllocationsTest, InferredFrameAllocatesNoMoreThanItsInference) {
    InferenceEngine::Core core;
    auto request = core.LoadNetwork(mask_networks::make({}).read(core), "CPU").CreateInferRequest();
    const size_t ofInference = allocationsOf([&] { request.Infer(); });

    ZelVinoHelper helper(source());
    ASSERT_TRUE(helper.init("CPU"));
    const Bytes frames[] = {halfFrame(201), halfFrame(31)};
    size_t turn = 0;
    EXPECT_LE(allocationsOf([&] {
                  const Bytes& frame = frames[++turn % 2];
                  ASSERT_TRUE(helper.processUsingV5Model(kWidth, kHeight, frame.data(), kFrameBytes, &mask));
              }),
              ofInference);
}

TEST_F(HelperAllocationsTest, MaskOfALaterFrameIsKeptWithoutAllocation) {
    SkipLogic skip;
    const Bytes frame = halfFrame(201);
    const Bytes bytes = uniformFrame(200);
    const auto update = [&] { skip.update(kWidth, kHeight, bytes.data(), bytes.data(), frame.data()); };
    update();
    const size_t before = zeltest::allocationCount();
    for (int i = 0; i < 25; ++i) update();
    EXPECT_EQ(zeltest::allocationCount(), before);
}

TEST_F(HelperAllocationsTest, SkippedFrameAllocatesNothing) {
    ZelVinoHelper helper(source());
    ASSERT_TRUE(helper.init("CPU"));
    const Bytes frame = halfFrame(201);
    ASSERT_TRUE(process(helper, frame));
    for (int round = 0; round < 3; ++round) {
        mask = incoming.data();
        while (mask == incoming.data()) ASSERT_TRUE(process(helper, frame));
        mask = incoming.data();
        const size_t before = zeltest::allocationCount();
        for (int skipped = 0; skipped < 17; ++skipped) ASSERT_TRUE(process(helper, frame));
        EXPECT_EQ(zeltest::allocationCount(), before);
        EXPECT_EQ(mask, incoming.data());
    }
}
