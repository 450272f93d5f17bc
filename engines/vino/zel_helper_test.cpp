#include "engines/vino/ZelHelper.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "platform/filter_stack.h"
#include "platform/include/exception_filter.h"
#include "platform/include/guarded_memory.h"
#include "platform/include/module.h"
#include "plugins/qorml/TestModules.h"
#include "tests/support/TraceCapture.h"

namespace {

using zeltest::ModuleFolder;
using zeltest::ModuleWatch;

using Bytes = std::vector<uint8_t>;

constexpr const char* kNoModelLine = "zelipc>> ZelHelper::processByZelML failed, m_pZelMLModel == nullptr";

// Pictures of 4 bytes a pixel, and what the module makes of them.
class ZelHelperTest : public testing::Test {
  protected:
    static Bytes picture(int32_t width, int32_t height, uint8_t first = 200) {
        Bytes bytes(static_cast<size_t>(width * height) * 4);
        for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<uint8_t>(i);
        if (!bytes.empty()) bytes[0] = first;
        return bytes;
    }
    bool process(int32_t width, int32_t height, const uint8_t* data) {
        mMask = nullptr;
        return mHelper.processByZelML(width, height, data, width * height * 4, &mMask);
    }
    void expectFailedStart(const std::string& module, const std::string& line) {
        const ModuleFolder folder(module);
        mTrace.takeLines();
        EXPECT_FALSE(mHelper.Init());
        EXPECT_EQ(mTrace.count(0, line), 1) << module;
        EXPECT_FALSE(process(2, 1, picture(2, 1).data()));
        EXPECT_EQ(mTrace.count(0, kNoModelLine), 1) << module;
    }

    zeltest::TraceCapture mTrace;
    ZelHelper mHelper;
    uint8_t* mMask = nullptr;
};

TEST_F(ZelHelperTest, StartLeavesTheThreadItsStackForTheExceptionFilter) {
    // The real module, whose runtime takes it away.
    const std::string programs = platform::executableDirectory() + platform::pathSeparator() + "../bin";
    platform::replaceExecutableDirectory(programs);
    std::thread([this] {
        platform::prepareThreadForFilter();
        const size_t before = platform::test::stackForFilter();
        EXPECT_GE(before, 24u * 1024);
        EXPECT_TRUE(mHelper.Init());
        EXPECT_EQ(platform::test::stackForFilter(), before);
    }).join();
    mHelper.Release();
    platform::replaceExecutableDirectory("");
}

TEST_F(ZelHelperTest, MissingModuleIsTold) {
    expectFailedStart("missing", "zelipc>> ZelHelper::Init fail to querymethod");
    EXPECT_EQ(mTrace.count(0, "CQorModule::LoadModule open qorml.dll fail, error = 126,strPathName="), 1);
    EXPECT_FALSE(mTrace.contains("CQorModule::UnloadModule"));
}

TEST_F(ZelHelperTest, ModuleWithoutOneOfItsExportsIsLetGo) {
    expectFailedStart("no_destroy", "zelipc>> ZelHelper::Init fail to querymethod");
    EXPECT_EQ(mTrace.count(2, "CQorModule::UnloadModule(m_strModuleName) qorml.dll"), 1);
}

TEST_F(ZelHelperTest, ModuleThatMakesNoModelIsLetGo) {
    expectFailedStart("no_model", "zelipc>> ZelHelper::Init fail to create ml model");
    EXPECT_EQ(mTrace.count(2, "CQorModule::UnloadModule(m_strModuleName) qorml.dll"), 1);
}

TEST_F(ZelHelperTest, ModelThatRefusesToStartIsDestroyed) {
    const ModuleFolder folder("refuses");
    const ModuleWatch watch(folder);
    EXPECT_FALSE(mHelper.Init());
    EXPECT_EQ(mTrace.count(0, "zelipc>> ZelHelper::init init model failed, ret=5"), 1);
    EXPECT_EQ(watch.livingModels(), 0);
}

TEST_F(ZelHelperTest, ThrowingStartIsAFailedStart) {
    expectFailedStart("throws_in_creation", "zelipc>> ZelHelper::Init failed, the model threw: told to fail");
    const ModuleFolder folder("throws_in_initialise");
    const ModuleWatch watch(folder);
    EXPECT_FALSE(mHelper.Init());
    EXPECT_EQ(mTrace.count(0, "zelipc>> ZelHelper::Init failed, the model threw: told to fail"), 2);
    EXPECT_EQ(watch.livingModels(), 0);
}

TEST_F(ZelHelperTest, FrameGoesThroughTheModelInFourBytesAPixel) {
    const ModuleFolder folder("works");
    ASSERT_TRUE(mHelper.Init());
    ASSERT_TRUE(process(3, 1, picture(3, 1).data()));
    EXPECT_EQ(Bytes(mMask, mMask + 3), (Bytes{1, 5, 9}));
    EXPECT_EQ(mTrace.count(2, "zelipc>> ZelHelper::processByZelML tick = "), 1);
    ASSERT_TRUE(process(1, 2, picture(1, 2).data()));
    EXPECT_EQ(Bytes(mMask, mMask + 2), (Bytes{1, 5}));
}

TEST_F(ZelHelperTest, NothingIsReadBeyondTheFrame) {
    const ModuleFolder folder("works");
    ASSERT_TRUE(mHelper.Init());
    for (const int32_t width : {1, 7, 640}) {
        const platform::GuardedMemory frame(static_cast<size_t>(width) * 360 * 4);
        EXPECT_TRUE(process(width, 360, frame.data()));
    }
}

TEST_F(ZelHelperTest, NullDataHasTheLineOfANullModel) {
    EXPECT_FALSE(process(1, 1, picture(1, 1).data()));
    const ModuleFolder folder("works");
    ASSERT_TRUE(mHelper.Init());
    EXPECT_FALSE(process(1, 1, nullptr));
    EXPECT_EQ(mTrace.count(0, kNoModelLine), 2);
    EXPECT_EQ(mMask, nullptr);
}

TEST_F(ZelHelperTest, FailedFramesLeaveTheModelServing) {
    const ModuleFolder folder("works");
    ASSERT_TRUE(mHelper.Init());
    EXPECT_FALSE(process(2, 2, picture(2, 2, 1).data()));
    EXPECT_EQ(mTrace.count(0, "zelipc>> ZelHelper::processByZelML failed, the model threw: told to fail"), 1);
    EXPECT_FALSE(process(2, 2, picture(2, 2, 2).data()));
    EXPECT_EQ(mTrace.count(0, "zelipc>> ZelHelper::processByZelML failed, the model threw what is no std::exception"),
              1);
    EXPECT_FALSE(process(2, 2, picture(2, 2, 3).data()));
    EXPECT_EQ(mTrace.count(0, "zelipc>> ZelHelper::processByZelML failed, the model gave no mask"), 1);
    EXPECT_FALSE(process(13, 2, picture(13, 2).data()));
    EXPECT_EQ(mTrace.count(0, "zelipc>> ZelHelper::processByZelML failed, the model has no buffer for w = 13, h = 2"),
              1);
    EXPECT_TRUE(process(2, 2, picture(2, 2).data()));
}

TEST_F(ZelHelperTest, EveryModelIsDestroyedOnce) {
    const ModuleFolder folder("works");
    const ModuleWatch watch(folder);
    ASSERT_TRUE(mHelper.Init());
    ASSERT_TRUE(mHelper.Init()) << "again";
    EXPECT_EQ(watch.livingModels(), 1);
    {
        ZelHelper other;
        ASSERT_TRUE(other.Init());
        EXPECT_EQ(watch.livingModels(), 2);
        mHelper.swap(other);
    }
    EXPECT_EQ(watch.livingModels(), 1);
    EXPECT_TRUE(process(1, 1, picture(1, 1).data()));
    mHelper.Release();
    EXPECT_EQ(watch.livingModels(), 0);
    mHelper.Release();
    EXPECT_FALSE(process(1, 1, picture(1, 1).data()));
}

}  // namespace
