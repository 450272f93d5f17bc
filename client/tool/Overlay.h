#pragma once

#include <cstdint>
#include <string>

#include "client/include/zelclient.h"
#include "client/tool/Picture.h"

namespace zeltool {

struct Colour {
    uint8_t red;
    uint8_t green;
    uint8_t blue;
};

// Draws what was found over a picture of three channels. Coordinates are pixels of the picture; what lies outside it is
// not drawn. Lines and letters are as large as the picture asks for.
class Overlay {
  public:
    // `picture` is drawn on in place and outlives the overlay.
    explicit Overlay(Image& picture);

    // Colours the person of a mask of the picture's size.
    void tint(const Image& mask, Colour colour);
    void frame(const zelclient_rect& rect, Colour colour);
    void dot(float x, float y, Colour colour);
    // ASCII text on a dark ground. (x, y) is its top left corner, moved inwards where it would leave the picture; or
    // its bottom left one with `above`.
    void text(float x, float y, const std::string& line, Colour colour, bool above = false);
    // A bar along the lower edge, as long as `share`, 0 to 1, of the width, with a text over it.
    void bar(float share, const std::string& line, Colour colour);

    // The height of a line of text, in pixels.
    float lineHeight() const;

  private:
    void fill(float left, float top, float right, float bottom, Colour colour, uint32_t alpha = 255);

    Image& mPicture;
    const float mUnit;  // pixels: the width of a line, and the grain of letters
};

}  // namespace zeltool
