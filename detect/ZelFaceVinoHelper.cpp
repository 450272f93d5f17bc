#include "detect/ZelFaceVinoHelper.h"

#include <algorithm>
#include <iostream>
#include <stdexcept>
#include <vector>

#include "detect/ResultText.h"
#include "engines/vino/PixelLoops.h"
#include "platform/include/clock.h"
#include "util/include/CmTrace.h"

using namespace InferenceEngine;

namespace {

constexpr int kXmlId = 132;
constexpr int kWeightsId = 131;
constexpr size_t kChannels = 3;
constexpr int32_t kStatisticsFrames = 30;

}  // namespace

ZelFaceVinoHelper::ZelFaceVinoHelper()
    : ZelFaceVinoHelper(ownNetworks("zelipc face>>ZelFaceVinoHelper::ZelFaceVinoHelper, load bin size: ")) {}

ZelFaceVinoHelper::ZelFaceVinoHelper(const NetworkSource& source, int64_t longestWaitMs)
    : mLongestWaitMs(longestWaitMs), mLoaded(source(mCore, kXmlId, kWeightsId)) {}

void ZelFaceVinoHelper::init(const std::string& strDevType) {
    const CCmMutexGuard lock(mLock);
    if (!mLoaded.takeInput(RGB)) {
        std::cout << "wrong in input size" << std::endl;
        return;
    }
    mLoaded.outputs = mLoaded.network.getOutputsInfo();
    if (!outputsFit()) return;
    mLoaded.compile(mCore, mDevice);
    mLoaded.makeRequest();
    mInited = true;
    mInitDone.notify_all();
    QOR_INFO("zelipc face>>ZelFaceVinoHelper::init, strDevType = " << strDevType);
}

// Of the outputs, in the order of their names, the first are the boxes and the second the scores.
bool ZelFaceVinoHelper::outputsFit() {
    std::vector<DataPtr> found;
    for (const auto& [name, output] : mLoaded.outputs) {
        if (!output) throw std::logic_error("output data pointer is not valid");
        output->setPrecision(Precision::FP32);
        found.push_back(output);
    }
    const auto rows = static_cast<size_t>(mCandidateCount);
    const SizeVector& picture = mLoaded.inputDims();
    if (found.size() < 2 || found[0]->getDims() != SizeVector{1, rows, 4} ||
        found[1]->getDims() != SizeVector{1, rows, 2} || picture[0] != 1 || picture[1] != kChannels) {
        QOR_ERROR("zelipc face>>ZelFaceVinoHelper::init, network is no face detector, outputs: " << found.size());
        return false;
    }
    mBoxName = found[0]->getName();
    mScoreName = found[1]->getName();
    return true;
}

bool ZelFaceVinoHelper::processVino(int32_t, int32_t, const uint8_t* data, int32_t size, std::string& result) {
    if (!mInited) {
        QOR_ERROR("zelipc face>>ZelFaceVinoHelper::processVino, not inited.");
        return false;
    }
    const CCmMutexGuard lock(mLock);
    const Blob::Ptr input = mLoaded.inputBlob();
    if (!data || size < 0 || static_cast<size_t>(size) < input->size()) {
        QOR_ERROR("zelipc face>>ZelFaceVinoHelper::processVino, frame data too short, size = " << size);
        return false;
    }
    fillInput(*input, data);
    if (infer() != OK) {
        result.clear();
        QOR_INFO("zelipc face>>ZelFaceVinoHelper::processVino, inferRequest didn't get result.");
        return true;
    }
    decodeFaceOutputs(mLoaded.request.GetBlob(mScoreName)->cbuffer().as<const float*>(),
                      mLoaded.request.GetBlob(mBoxName)->cbuffer().as<const float*>());
    const SizeVector& dims = input->getTensorDesc().getDims();
    result = faceText(mFaces, mFaceCount, dims[3], dims[2]);
    QOR_INFO("zelipc face>>ZelFaceVinoHelper::processVino, convert res to jsonstring: " << result);
    return true;
}

// Channel c of the input is byte c of the pixels.
void ZelFaceVinoHelper::fillInput(const Blob& input, const uint8_t* data) {
    PixelLoops::active().fillCentredPlanes(data, input.size() / kChannels, input.buffer().as<float*>());
}

StatusCode ZelFaceVinoHelper::infer() {
    const uint32_t start = platform::tickCount();
    mLoaded.request.StartAsync();
    const StatusCode status = mLoaded.request.Wait(mLongestWaitMs);
    const uint32_t elapsed = platform::tickCount() - start;
    QOR_INFO("zelipc face>>ZelFaceVinoHelper::processVino, inference time: " << elapsed << "ms, statuscode:"
                                                                             << static_cast<int32_t>(status));
    countTime(elapsed);
    return status;
}

void ZelFaceVinoHelper::countTime(uint32_t milliseconds) {
    mStatMax = std::max(mStatMax, milliseconds);
    mStatSum += milliseconds;
    if (++mStatCount < kStatisticsFrames) return;
    QOR_INFO("zelipc face>>ZelFaceVinoHelper::processVino, average inference time within 1 min.: "
             << static_cast<double>(mStatSum) / mStatCount << "ms. Max: " << mStatMax << "ms");
    mStatCount = 0;
    mStatSum = 0;
    mStatMax = 0;
}

void ZelFaceVinoHelper::decodeFaceOutputs(const float* scores, const float* boxes) {
    mFaceCount = 0;
    if (mDecodeMode == 2) decodeSeveral(scores, boxes);
    if (mDecodeMode == 1) decodeBest(scores, boxes);
}

void ZelFaceVinoHelper::decodeSeveral(const float* scores, const float* boxes) {
    std::vector<DetectBox> candidates;
    for (int32_t i = 0; i < mCandidateCount; ++i, boxes += 4) {
        const float score = scores[i * 2 + 1];
        if (score > mScoreThreshold) candidates.push_back({boxes[0], boxes[1], boxes[2], boxes[3], score, 0});
    }
    mDetect.nonMaxSuppression(candidates, mFaces, &mFaceCount, mNmsThreshold, mCandidateCount, kMostFaces, true);
}

void ZelFaceVinoHelper::decodeBest(const float* scores, const float* boxes) {
    float best = 0;
    int32_t index = -1;
    for (int32_t i = 0; i < mCandidateCount - 1; ++i) {
        const float score = scores[i * 2 + 1];
        if (score > mScoreThreshold && score > best) {
            best = score;
            index = i;
        }
    }
    if (index < 0) return;
    std::cout << "max score:" << best << std::endl;
    const float* box = boxes + static_cast<ptrdiff_t>(index) * 4;
    mFaces[0].left = std::max(box[0], 0.0f);
    mFaces[0].top = std::max(box[1], 0.0f);
    mFaces[0].right = std::min(box[2], 1.0f);
    mFaces[0].bottom = std::min(box[3], 1.0f);
    mFaces[0].score = best;
    mFaceCount = 1;
}
