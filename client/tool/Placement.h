#pragma once

#include "client/include/zelclient.h"
#include "client/tool/Picture.h"

namespace zeltool {

// How a picture was brought into a frame for the host, and the way back: from pixels of the frame to those of the
// picture.
class Placement {
  public:
    // The picture fills `area` of the frame.
    Placement(const Image& picture, const Area& area)
        : mX(static_cast<float>(area.x)),
          mY(static_cast<float>(area.y)),
          mAcross(static_cast<float>(picture.width) / static_cast<float>(area.width)),
          mDown(static_cast<float>(picture.height) / static_cast<float>(area.height)) {}

    zelclient_rect back(const zelclient_rect& rect) const {
        return {x(rect.left), y(rect.top), x(rect.right), y(rect.bottom)};
    }
    zelclient_point back(const zelclient_point& point) const { return {x(point.x), y(point.y), point.z * mAcross}; }

  private:
    float x(float value) const { return (value - mX) * mAcross; }
    float y(float value) const { return (value - mY) * mDown; }

    float mX;
    float mY;
    float mAcross;
    float mDown;
};

}  // namespace zeltool
