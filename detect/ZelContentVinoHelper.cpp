#include "detect/ZelContentVinoHelper.h"

#include <iostream>
#include <stdexcept>

#include "detect/ResultText.h"
#include "engines/vino/PixelLoops.h"
#include "platform/include/clock.h"
#include "util/include/CmTrace.h"

using namespace InferenceEngine;

namespace {

constexpr int kXmlId = 210;
constexpr int kWeightsId = 200;
constexpr uint8_t kPaddingGrey = 114;

SizeVector shape(std::initializer_list<int32_t> dims) {
    SizeVector result;
    for (const int32_t dim : dims) result.push_back(static_cast<size_t>(dim));
    return result;
}

}  // namespace

int32_t ZelContentVinoHelper::m_numframe = 0;

ZelContentVinoHelper::ZelContentVinoHelper()
    : ZelContentVinoHelper(ownNetworks("zelipc>>ZelContentVinoHelper::ZelContentVinoHelper, load bin size: ")) {}

ZelContentVinoHelper::ZelContentVinoHelper(const NetworkSource& source) : mLoaded(source(mCore, kXmlId, kWeightsId)) {}

void ZelContentVinoHelper::init(const std::string& strDevType) {
    const CCmMutexGuard lock(mLock);
    if (!mLoaded.takeInput(RAW)) {
        std::cout << "wrong in input size" << std::endl;
        return;
    }
    mLoaded.takeOutputs();
    mOutputName = "output";
    if (!shapesFit()) return;
    mBoxes.resize(static_cast<size_t>(mMaxBoxes));
    const uint32_t start = platform::tickCount();
    mLoaded.compile(mCore, mDevice);
    mLoaded.makeRequest();
    const uint32_t elapsed = platform::tickCount() - start;
    if (mStack.empty()) mStack.assign(static_cast<size_t>(mChannels) * planeBytes(), kPaddingGrey);
    mInited = true;
    mInitDone.notify_all();
    QOR_INFO("zelipc face>>ZelContentVinoHelper::init, strDevType = " << strDevType << ", it takes " << elapsed
                                                                      << " ms");
}

// The stack and the rows have these sizes, whatever the network.
bool ZelContentVinoHelper::shapesFit() {
    if (mLoaded.outputDims(mOutputName) == shape({1, mRowCount, mRowStride}) &&
        mLoaded.inputDims() == shape({1, mChannels, mHeight, mWidth})) {
        return true;
    }
    QOR_ERROR(
        "zelipc>>ZelContentVinoHelper::init, network is no content detector, outputs: " << mLoaded.outputs.size());
    return false;
}

bool ZelContentVinoHelper::processVino(int32_t width, int32_t height, const uint8_t* data, int32_t,
                                       std::string& result) {
    if (!mInited) {
        QOR_ERROR("zelipc>>ZelContentVinoHelper::processVino, not inited.");
        return false;
    }
    const CCmMutexGuard lock(mLock);
    const Blob::Ptr input = mLoaded.request.GetBlob(pictureInput());
    if (!stackFrame(width, height, data)) return false;
    fillInput(*input);
    findBoxes();
    result = contentText(mBoxes.data(), mBoxCount);
    QOR_INFO("zelipc >>ZelContentVinoHelper::processVino, convert res to jsonstring: " << result);
    return true;
}

std::string ZelContentVinoHelper::pictureInput() const {
    if (mLoaded.inputs.size() != 1 && mLoaded.inputs.size() != 2)
        throw std::logic_error("Sample supports topologies only with 1 or 2 inputs");
    std::string picture;
    for (const auto& [name, input] : mLoaded.inputs) {
        const SizeVector& dims = input->getTensorDesc().getDims();
        input->setPrecision(Precision::FP32);
        if (dims.size() == 4) {
            picture = name;
            input->setLayout(Layout::NCHW);
        } else if (dims.size() == 2 && dims[1] != 3 && dims[1] != 6) {
            throw std::logic_error("Invalid input info. Should be 3 or 6 values length");
        }
    }
    return picture;
}

// The first frame of a group becomes the last channel. True when the group is complete.
bool ZelContentVinoHelper::stackFrame(int32_t width, int32_t height, const uint8_t* data) {
    const auto plane = static_cast<size_t>(mChannels - m_numframe - 1) * planeBytes();
    if (!mDetect.padCenter(data, mStack.data() + plane, width, height, mWidth, mHeight)) {
        QOR_ERROR("zelipc>>ZelContentVinoHelper::processVino, frame not usable, w = "
                  << width << " h = " << height << ", at most: " << mWidth << " * " << mHeight);
        return false;
    }
    if (m_numframe < mChannels - 1) {
        ++m_numframe;
        QOR_INFO(
            "zelipc>>ZelContentVinoHelper::processVino, not enough frame to process , m_numframe =  " << m_numframe);
        return false;
    }
    m_numframe = 0;
    return true;
}

void ZelContentVinoHelper::fillInput(const Blob& input) const {
    PixelLoops::active().bytesToFractions(mStack.data(), mStack.size(), input.buffer().as<float*>());
}

void ZelContentVinoHelper::findBoxes() {
    const uint32_t start = platform::tickCount();
    mLoaded.request.Infer();
    auto* rows = mLoaded.request.GetBlob(mOutputName)->buffer().as<float*>();
    mDetect.postProcess(rows, mBoxes.data(), &mBoxCount, mRowCount, mObjectnessThreshold, mClassThreshold, mClassCount,
                        mRowStride, mMaxBoxes);
    const uint32_t elapsed = platform::tickCount() - start;
    QOR_INFO("zelipc>>ZelContentVinoHelper::processVino, inference time: " << elapsed << "ms");
}
