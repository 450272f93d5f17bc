#include "client/tool/Background.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>

#include "client/tool/Composite.h"
#include "client/tool/PictureFile.h"
#include "client/tool/Tool.h"

namespace zeltool {

namespace {

const std::string kBlur = "blur";
constexpr float kLeastSigma = 0.5f;
constexpr float kLargestSigma = 100;  // what is beyond leaves no trace of any picture
// How far the blur reaches grows with the square of its sigma. This one hides what is written on a wall: it reaches
// over a fortieth of the picture's width.
constexpr float kWidthOfSigmaOne = 20;

bool isBlur(const std::string& told) {
    return told == kBlur || told.starts_with(kBlur + ":");
}

float parseSigma(const std::string& told) {
    float sigma = 0;
    const char* const end = told.data() + told.size();
    const auto [rest, error] = std::from_chars(told.data() + kBlur.size() + 1, end, sigma);
    // Not a number is in no range.
    if (error == std::errc() && rest == end && sigma >= kLeastSigma && sigma <= kLargestSigma) return sigma;
    throw Failure{kUsage,
                  "a blurred background is written blur or blur:SIGMA, with a SIGMA from 0.5 to 100, not " + told};
}

float sigmaFor(const Image& frame) {
    return std::max(1.0f, std::sqrt(static_cast<float>(frame.width) / kWidthOfSigmaOne));
}

uint32_t parseColour(const std::string& told) {
    const bool hex = told.find_first_not_of("0123456789abcdefABCDEF", 1) == std::string::npos;
    if (told.size() != 7 || !hex) throw Failure{kUsage, "a background colour is written #rrggbb, not " + told};
    return static_cast<uint32_t>(std::strtoul(told.c_str() + 1, nullptr, 16));
}

}  // namespace

Background::Background(const std::string& told) : mBlur(isBlur(told)) {
    std::string error;
    if (mBlur) {
        if (told != kBlur) mSigma = parseSigma(told);
    } else if (told.starts_with('#')) {
        mColour = parseColour(told);
    } else if (!loadPicture(told, mPicture, &error)) {
        throw Failure{kInput, error};
    }
}

const Image& Background::behind(const Image& frame) {
    if (mBlur) {
        mReady = blurred(frame, mSigma.value_or(sigmaFor(frame)));
    } else if (mReady.width != frame.width || mReady.height != frame.height) {
        const auto part = [this](int shift) { return static_cast<uint8_t>(mColour >> shift); };
        mReady = mPicture.empty() ? plainColour(frame.width, frame.height, part(16), part(8), part(0))
                                  : covering(mPicture, frame.width, frame.height);
    }
    return mReady;
}

}  // namespace zeltool
