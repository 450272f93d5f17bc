#include "client/tool/Overlay.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include <stb/stb_easy_font.h>

#include "client/tool/Composite.h"

namespace zeltool {

namespace {

// One unit of line for so many pixels of the picture's longer side.
constexpr float kSidePerUnit = 320;
constexpr uint32_t kTintAlpha = 96;
constexpr uint32_t kGroundAlpha = 150;
constexpr float kLetterHeight = 12;       // units, the space between lines included
constexpr size_t kBytesPerLetter = 1024;  // more than the font makes of any
constexpr Colour kGround = {0, 0, 0};

void mix(uint8_t* pixel, Colour colour, uint32_t alpha) {
    const uint8_t over[] = {colour.red, colour.green, colour.blue};
    for (int c = 0; c < 3; ++c)
        pixel[c] = static_cast<uint8_t>((over[c] * alpha + pixel[c] * (255 - alpha) + 127) / 255);
}

// A rounded coordinate within 0..most; values that no picture has are cut first.
uint32_t pixelAt(float value, uint32_t most) {
    if (!(value > 0)) return 0;
    return static_cast<uint32_t>(std::lround(std::min(value, static_cast<float>(most))));
}

// As the font's source lays it out: a corner of a rectangle that is a part of a letter.
struct Corner {
    float x, y, z;
    uint8_t colour[4];
};

// Four corners for each rectangle, from the top left round.
std::vector<Corner> lettersOf(std::string line) {
    std::vector<Corner> corners(line.size() * kBytesPerLetter / sizeof(Corner));
    const int rectangles = stb_easy_font_print(0, 0, line.data(), nullptr, corners.data(),
                                               static_cast<int>(corners.size() * sizeof(Corner)));
    corners.resize(static_cast<size_t>(rectangles) * 4);
    return corners;
}

}  // namespace

Overlay::Overlay(Image& picture)
    : mPicture(picture),
      mUnit(std::max(1.0f, std::round(static_cast<float>(std::max(picture.width, picture.height)) / kSidePerUnit))) {}

float Overlay::lineHeight() const {
    return kLetterHeight * mUnit;
}

void Overlay::fill(float left, float top, float right, float bottom, Colour colour, uint32_t alpha) {
    const uint32_t firstColumn = pixelAt(left, mPicture.width), endColumn = pixelAt(right, mPicture.width);
    const uint32_t firstRow = pixelAt(top, mPicture.height), endRow = pixelAt(bottom, mPicture.height);
    for (uint32_t y = firstRow; y < endRow; ++y) {
        for (uint32_t x = firstColumn; x < endColumn; ++x) mix(mPicture.row(y) + size_t{3} * x, colour, alpha);
    }
}

void Overlay::tint(const Image& mask, Colour colour) {
    Image weights = mask;
    for (uint8_t& weight : weights.bytes) weight = static_cast<uint8_t>(weight * kTintAlpha / 255);
    const Image plain = plainColour(mask.width, mask.height, colour.red, colour.green, colour.blue);
    mPicture = composed(plain, weights, std::move(mPicture));
}

void Overlay::frame(const zelclient_rect& rect, Colour colour) {
    fill(rect.left, rect.top, rect.right, rect.top + mUnit, colour);
    fill(rect.left, rect.bottom - mUnit, rect.right, rect.bottom, colour);
    fill(rect.left, rect.top, rect.left + mUnit, rect.bottom, colour);
    fill(rect.right - mUnit, rect.top, rect.right, rect.bottom, colour);
}

void Overlay::dot(float x, float y, Colour colour) {
    const float half = mUnit / 2;
    fill(x - half, y - half, x + half, y + half, colour);
}

void Overlay::text(float x, float y, const std::string& line, Colour colour, bool above) {
    const std::vector<Corner> letters = lettersOf(line);
    float width = 0;
    for (const Corner& corner : letters) width = std::max(width, corner.x);
    const float height = lineHeight();
    const auto inwards = [](float at, float length, uint32_t side) {
        return std::max(0.0f, std::min(at, static_cast<float>(side) - length));
    };
    x = inwards(x, (width + 4) * mUnit, mPicture.width);
    y = inwards(above ? y - height : y, height, mPicture.height);
    fill(x, y, x + (width + 4) * mUnit, y + height, kGround, kGroundAlpha);
    const auto across = [&](float unit) { return x + (unit + 2) * mUnit; };
    const auto down = [&](float unit) { return y + (unit + 2) * mUnit; };
    for (size_t at = 0; at < letters.size(); at += 4)
        fill(across(letters[at].x), down(letters[at].y), across(letters[at + 2].x), down(letters[at + 2].y), colour);
}

void Overlay::bar(float share, const std::string& line, Colour colour) {
    const auto bottom = static_cast<float>(mPicture.height);
    const auto right = static_cast<float>(mPicture.width);
    const float top = bottom - 4 * mUnit;
    fill(0, top, right, bottom, kGround, kGroundAlpha);
    fill(0, top, right * std::clamp(share, 0.0f, 1.0f), bottom, colour);
    text(0, top, line, colour, true);
}

}  // namespace zeltool
