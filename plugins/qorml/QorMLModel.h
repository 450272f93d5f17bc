#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "plugins/qorml/SegmentationNetwork.h"
#include "plugins/qorml/qorml.h"

namespace qorml {

// The reference model: person segmentation on the processor. A picture that fits into 256x144 goes through the network
// of that size, any other one through that of 640x360. What fails is told on stderr.
class QorMLModel final : public IQorMLModel {
  public:
    // What an operation answers.
    enum Result : int { kDone = 0, kUnknownVersion = 1, kRuntimeFailed = 2, kBadFrame = 3, kNotReady = 4 };

    QorMLModel() = default;
    QorMLModel(const QorMLModel&) = delete;
    QorMLModel& operator=(const QorMLModel&) = delete;

    // Compiles both networks, so that no picture waits for that.
    int Initialise(int version, int options) override;
    int FetchResult(ZelMLFrame* output) override;
    int PrepareInput(ZelMLFrame* input) override;
    int Run(ZelMLFrame* output) override;

  private:
    bool tellsThePicture(const ZelMLFrame& output) const;
    SegmentationNetwork& networkFor(Size size) const;

    Core mCore;
    std::unique_ptr<SegmentationNetwork> mSmall;
    std::unique_ptr<SegmentationNetwork> mLarge;
    Size mSize;                     // of the picture prepared last, 0x0 when there is none
    std::vector<uint8_t> mPicture;  // 4 bytes a pixel
    std::vector<uint8_t> mMask;     // of that picture
    bool mHasMask = false;          // it has run
};

}  // namespace qorml
