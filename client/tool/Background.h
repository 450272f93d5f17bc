#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "client/tool/Picture.h"

namespace zeltool {

// What lies behind the person: a colour, a picture, or the frame itself, blurred.
class Background {
  public:
    // `told` is "#rrggbb", "blur", "blur:SIGMA" or a picture file. Throws Failure: kUsage for what is none of these,
    // kInput for a picture that cannot be read.
    explicit Background(const std::string& told);

    // What lies behind the person of a frame, in the frame's size; good until the next.
    const Image& behind(const Image& frame);

  private:
    bool mBlur = false;
    std::optional<float> mSigma;  // what the frame's width asks for if none is told
    uint32_t mColour = 0;
    Image mPicture;
    Image mReady;
};

}  // namespace zeltool
