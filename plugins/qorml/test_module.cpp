// Modules for tests of those who load one. How one starts is chosen when it is built, by QORML_TEST_START; how it runs,
// by the first byte of a picture.

#include <stdexcept>
#include <vector>

#include "plugins/qorml/qorml.h"

namespace {

enum Start {
    kWorks,
    kNoModel,
    kRefuses,
    kThrowsInCreation,
    kThrowsInInitialise,
    kThrowsNumberInCreation,
    kThrowsNumberInInitialise,
    kThrowsNumberAtTheEnd
};
constexpr Start kStart = QORML_TEST_START;

int gLivingModels = 0;

// A mask is the picture's green plane, unless the first byte is one of these.
constexpr uint8_t kThrow = 1;
constexpr uint8_t kThrowNumber = 2;
constexpr uint8_t kNoMask = 3;
constexpr uint8_t kThrowNumberForResult = 4;
// Before there is a picture, its width.
constexpr int32_t kWidthThatThrowsNumber = 11;
constexpr int32_t kWidthWithoutBuffer = 13;

class TestModel final : public IQorMLModel {
  public:
    TestModel() { ++gLivingModels; }
    ~TestModel() { --gLivingModels; }

    int Initialise(int version, int options) override {
        if (kStart == kThrowsInInitialise) throw std::runtime_error("told to fail");
        if (kStart == kThrowsNumberInInitialise) throw 7;
        if (kStart == kRefuses) return 5;
        return version == kQorMLVersion && options == kQorMLOptions ? 0 : 1;
    }

    int FetchResult(ZelMLFrame* output) override {
        if (mPicture.front() == kThrowNumberForResult) throw 7;
        if (mMask.empty() || !isMask(*output)) return 1;
        output->data = mMask.data();
        return 0;
    }

    int PrepareInput(ZelMLFrame* input) override {
        mMask.clear();
        if (input->width == kWidthThatThrowsNumber) throw 7;
        if (input->format != kQorMLPicture || input->stride != input->width * 4) return 1;
        if (input->width == kWidthWithoutBuffer) return 1;
        mPicture.assign(static_cast<size_t>(input->stride) * static_cast<size_t>(input->height), 0);
        input->data = mPicture.data();
        return 0;
    }

    int Run(ZelMLFrame* output) override {
        if (mPicture.front() == kThrow) throw std::runtime_error("told to fail");
        if (mPicture.front() == kThrowNumber) throw 7;
        if (mPicture.front() == kNoMask || !isMask(*output)) return 1;
        for (size_t green = 1; green < mPicture.size(); green += 4) mMask.push_back(mPicture[green]);
        return 0;
    }

  private:
    static bool isMask(const ZelMLFrame& frame) { return frame.format == kQorMLMask && frame.stride == frame.width; }

    std::vector<uint8_t> mPicture;
    std::vector<uint8_t> mMask;
};

}  // namespace

extern "C" {

// Models of this module that have not been destroyed.
int LivingModels() {
    return gLivingModels;
}

void CreateQorMLModel(IQorMLModel** model) {
    if (kStart == kThrowsInCreation) throw std::runtime_error("told to fail");
    if (kStart == kThrowsNumberInCreation) throw 7;
    if (kStart != kNoModel) *model = new TestModel;
}

#ifndef QORML_TEST_NO_DESTROY
void DestroyQorMLModel(IQorMLModel* model) {
    delete static_cast<TestModel*>(model);
    if (kStart == kThrowsNumberAtTheEnd) throw 7;
}
#endif

}  // extern "C"
