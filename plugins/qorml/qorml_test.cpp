#include "plugins/qorml/qorml.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "engines/vino/ZelVinoHelper.h"
#include "platform/include/guarded_memory.h"
#include "platform/include/module.h"
#include "tests/support/SamplePhotograph.h"

namespace {

using Bytes = std::vector<uint8_t>;

constexpr const char* kExports[] = {"CreateQorMLModel", "DestroyQorMLModel"};

// The library as the host finds it: beside the programs.
class QorMLTest : public testing::Test {
  protected:
    QorMLTest() {
        const std::string folder = platform::executableDirectory() + platform::pathSeparator();
        mLibrary = platform::loadLibrary(folder + ".." + platform::pathSeparator() + "bin" + platform::pathSeparator() +
                                             platform::libraryFileName("qorml.dll"),
                                         true);
        mCreate = reinterpret_cast<decltype(mCreate)>(platform::findSymbol(mLibrary, kExports[0]));
        mDestroy = reinterpret_cast<decltype(mDestroy)>(platform::findSymbol(mLibrary, kExports[1]));
    }
    ~QorMLTest() override {
        if (mModel) mDestroy(mModel);
        platform::freeLibrary(mLibrary);
    }

    void SetUp() override {
        ASSERT_TRUE(mLibrary) << platform::lastLibraryError();
        ASSERT_TRUE(mCreate && mDestroy);
        mCreate(&mModel);
        ASSERT_TRUE(mModel);
    }

    static ZelMLFrame picture(int32_t width, int32_t height) {
        ZelMLFrame frame{};
        frame.format = kQorMLPicture;
        frame.stride = width * 4;
        frame.width = width;
        frame.height = height;
        return frame;
    }
    static ZelMLFrame mask(int32_t width, int32_t height) {
        ZelMLFrame frame{};
        frame.format = kQorMLMask;
        frame.stride = width;
        frame.width = width;
        frame.height = height;
        return frame;
    }

    // Red, green, blue to what the library reads.
    static Bytes fourBytesAPixel(const Bytes& rgb) {
        Bytes bgra;
        for (size_t i = 0; i < rgb.size(); i += 3) bgra.insert(bgra.end(), {rgb[i + 2], rgb[i + 1], rgb[i], 0});
        return bgra;
    }

    // The mask of a picture, copied to where nothing beyond it can be touched; empty when there is none.
    Bytes maskOf(int32_t width, int32_t height, const Bytes& pixels) {
        ZelMLFrame input = picture(width, height);
        EXPECT_EQ(mModel->PrepareInput(&input), 0);
        if (!input.data) return {};
        std::memcpy(input.data, pixels.data(), pixels.size());
        ZelMLFrame output = mask(width, height);
        EXPECT_EQ(mModel->Run(&output), 0);
        EXPECT_EQ(mModel->FetchResult(&output), 0);
        if (!output.data) return {};
        return {output.data, output.data + width * height};
    }
    Bytes maskOfPhotograph(int32_t width, int32_t height) {
        return maskOf(width, height, fourBytesAPixel(zeltest::samplePhotograph(width, height)));
    }

    // What the host's own segmentation makes of it, at the network's size.
    static Bytes segmentationMask(int32_t width, int32_t height, uint32_t performance) {
        ZelVinoHelper helper;
        helper.preInit("CPU", performance);
        EXPECT_TRUE(helper.init("CPU"));
        helper.setAutoSkipVBG(false);
        const Bytes frame = zeltest::samplePhotograph(width, height);
        uint8_t* mask = nullptr;
        for (int i = 0; i < 3; ++i)
            EXPECT_TRUE(helper.process(width, height, frame.data(), static_cast<int32_t>(frame.size()), &mask));
        return {mask, mask + width * height};
    }

    static double overlap(const Bytes& a, const Bytes& b) {
        int both = 0;
        int either = 0;
        for (size_t i = 0; i < a.size(); ++i) {
            both += a[i] > 127 && b[i] > 127;
            either += a[i] > 127 || b[i] > 127;
        }
        return either == 0 ? 0 : static_cast<double>(both) / either;
    }

    platform::Library mLibrary = nullptr;
    decltype(&CreateQorMLModel) mCreate = nullptr;
    decltype(&DestroyQorMLModel) mDestroy = nullptr;
    IQorMLModel* mModel = nullptr;
};

class StartedQorMLTest : public QorMLTest {
  protected:
    void SetUp() override {
        QorMLTest::SetUp();
        ASSERT_EQ(mModel->Initialise(kQorMLVersion, kQorMLOptions), 0);
    }
};

TEST_F(QorMLTest, NothingButTheTwoExportsIsVisible) {
    for (const char* name : {"qorml_small_xml", "ov_core_create", "_ZN5qorml12smallNetworkEv", "pthread_create"}) {
        void* const found = platform::findSymbol(mLibrary, name);
        // On Linux the search goes on in what the library needs.
        EXPECT_TRUE(!found || platform::modulePathOf(found) != platform::modulePathOf(reinterpret_cast<void*>(mCreate)))
            << name;
    }
}

TEST_F(QorMLTest, UnknownVersionIsRefusedAndNothingRuns) {
    EXPECT_NE(mModel->Initialise(kQorMLVersion + 1, kQorMLOptions), 0);
    EXPECT_NE(mModel->Initialise(kQorMLVersion, kQorMLOptions + 1), 0);
    ZelMLFrame input = picture(256, 144);
    EXPECT_NE(mModel->PrepareInput(&input), 0);
    EXPECT_EQ(input.data, nullptr);
    ZelMLFrame output = mask(256, 144);
    EXPECT_NE(mModel->Run(&output), 0);
    EXPECT_NE(mModel->FetchResult(&output), 0);
    EXPECT_EQ(output.data, nullptr);
}

TEST_F(StartedQorMLTest, MaskIsThatOfTheHostsSegmentation) {
    for (const bool large : {false, true}) {
        const int32_t width = large ? 640 : 256;
        const int32_t height = large ? 360 : 144;
        for (int i = 0; i < 2; ++i) maskOfPhotograph(width, height);
        EXPECT_GE(overlap(maskOfPhotograph(width, height), segmentationMask(width, height, large)), 0.95) << width;
    }
}

TEST_F(StartedQorMLTest, LargeMaskIsTheHostsToTheByte) {
    for (int i = 0; i < 2; ++i) maskOfPhotograph(640, 360);
    EXPECT_EQ(maskOfPhotograph(640, 360), segmentationMask(640, 360, 1));
}

TEST_F(StartedQorMLTest, PersonIsFoundAtOtherSizes) {
    const std::pair<int32_t, int32_t> kSizes[] = {{160, 90},  {255, 143}, {257, 145},  {320, 180},
                                                  {641, 359}, {480, 480}, {180, 1280}, {1280, 180}};
    for (const auto& [width, height] : kSizes) {
        const Bytes found = maskOfPhotograph(width, height);
        ASSERT_EQ(found.size(), static_cast<size_t>(width * height));
        const auto at = [&, w = width, h = height](double x, double y) {
            return int{found[static_cast<size_t>(y * h) * static_cast<size_t>(w) + static_cast<size_t>(x * w)]};
        };
        EXPECT_GT(at(0.42, 0.36), 200) << width << " face";
        EXPECT_GT(at(0.40, 0.89), 200) << width << " chest";
        EXPECT_LT(at(0.03, 0.05), 50) << width << " corner";
        EXPECT_LT(at(0.19, 0.28), 50) << width << " left of the head";
    }
}

TEST_F(StartedQorMLTest, SmallestAndLongestPicturesAreServed) {
    const std::pair<int32_t, int32_t> kSizes[] = {{1, 1}, {1, 230400}, {230400, 1}, {3, 2}};
    for (const auto& [width, height] : kSizes)
        EXPECT_EQ(maskOf(width, height, Bytes(static_cast<size_t>(width * height) * 4, 90)).size(),
                  static_cast<size_t>(width * height));
}

TEST_F(StartedQorMLTest, FourthByteOfAPixelIsNotLookedAt) {
    Bytes pixels = fourBytesAPixel(zeltest::samplePhotograph(640, 360));
    const Bytes before = maskOf(640, 360, pixels);
    for (size_t i = 3; i < pixels.size(); i += 4) pixels[i] = 255;
    maskOf(641, 1, Bytes(641 * 4));
    EXPECT_EQ(maskOf(640, 360, pixels), before);
}

TEST_F(StartedQorMLTest, MaskBeforeSteadiesTheNextOfTheSameSizeOnly) {
    const Bytes bright = fourBytesAPixel(zeltest::samplePhotograph(256, 144));
    Bytes dim = bright;
    for (uint8_t& byte : dim) byte = static_cast<uint8_t>(byte * 4 / 5);
    const Bytes fresh = maskOf(256, 144, dim);
    maskOfPhotograph(128, 72);
    maskOf(256, 144, bright);
    const Bytes steadied = maskOf(256, 144, dim);
    EXPECT_NE(steadied, fresh);
    maskOfPhotograph(128, 72);
    EXPECT_EQ(maskOf(256, 144, dim), fresh);
    // The other network's pictures are another matter.
    maskOfPhotograph(128, 72);
    maskOf(256, 144, bright);
    maskOfPhotograph(640, 360);
    EXPECT_EQ(maskOf(256, 144, dim), steadied);
}

TEST_F(StartedQorMLTest, FramesThatAreNoneAreRefusedAndTheNextIsServed) {
    const Bytes before = maskOfPhotograph(256, 144);
    std::vector<ZelMLFrame> wrong(8, picture(256, 144));
    wrong[0].format = kQorMLMask;
    wrong[1].stride = 256;
    wrong[2].width = 0;
    wrong[3].height = -144;
    wrong[4] = picture(640, 361);
    wrong[5] = picture(641, 360);
    wrong[6].stride = 0;
    wrong[7] = picture(0x1FFFFFFF, 2);
    for (ZelMLFrame& input : wrong) {
        EXPECT_NE(mModel->PrepareInput(&input), 0);
        EXPECT_EQ(input.data, nullptr);
        ZelMLFrame output = mask(256, 144);
        EXPECT_NE(mModel->Run(&output), 0);
        EXPECT_NE(mModel->FetchResult(&output), 0);
        EXPECT_EQ(output.data, nullptr);
    }
    EXPECT_EQ(maskOfPhotograph(256, 144).size(), before.size());
}

TEST_F(StartedQorMLTest, MaskIsFetchedAfterRunAndForItsOwnPictureOnly) {
    ZelMLFrame input = picture(16, 16);
    ASSERT_EQ(mModel->PrepareInput(&input), 0);
    ZelMLFrame output = mask(16, 16);
    EXPECT_NE(mModel->FetchResult(&output), 0) << "nothing has run";
    ZelMLFrame other = mask(16, 17);
    EXPECT_NE(mModel->Run(&other), 0) << "another size";
    EXPECT_EQ(mModel->Run(&output), 0);
    EXPECT_NE(mModel->FetchResult(&other), 0);
    EXPECT_EQ(mModel->FetchResult(&output), 0);
    EXPECT_NE(output.data, nullptr);
}

TEST_F(StartedQorMLTest, ModelsDoNotShareTheirMasks) {
    const Bytes first = maskOfPhotograph(256, 144);
    IQorMLModel* const earlier = mModel;
    mCreate(&mModel);
    ASSERT_TRUE(mModel != nullptr && mModel != earlier);
    ASSERT_EQ(mModel->Initialise(kQorMLVersion, kQorMLOptions), 0);
    EXPECT_EQ(maskOfPhotograph(256, 144), first);
    mDestroy(earlier);
}

}  // namespace
