#pragma once

#include <cstdint>
#include <memory>

#include "bench/vp/Image.h"
#include "qorvp/createFrameWork.h"

namespace zelbench::vp {

// The image library as programs see it. What it does not do raises std::runtime_error, which tells the answer.
class Library {
  public:
    // `value` points to what the strategy takes.
    void setParameter(uint32_t strategy, const void* value);
    void process(uint32_t strategy, const Image& from, const Image& to);

  private:
    std::unique_ptr<qorvp::CVpFrameWork> mFrameWork = qorvp::createFrameWork();
};

// What most rows work on: a source, and a destination for each side.
struct Stage {
    Stage(uint32_t fromFormat, int fromWidth, int fromHeight, uint32_t toFormat, int toWidth, int toHeight)
        : source(fromFormat, fromWidth, fromHeight),
          ours(toFormat, toWidth, toHeight),
          libyuv(toFormat, toWidth, toHeight),
          openCv(toFormat, toWidth, toHeight) {}

    // For the timing, once the results were checked: where an image lies in memory can be worth some percent.
    void shareDestination() {
        libyuv.shareMemoryOf(ours);
        openCv.shareMemoryOf(ours);
    }

    Library library;
    Image source, ours, libyuv, openCv;
};

}  // namespace zelbench::vp
