#include "vp/src/BlendRow.h"

namespace qorvp {

void blendRow(const uint8_t* foreground, const uint8_t* mask, uint8_t* background, int width, int bytes) {
    for (int x = 0; x < width; ++x) {
        const int m = mask[x];
        for (int c = 0; c < bytes; ++c, ++foreground, ++background)
            *background = static_cast<uint8_t>(((256 - m) * *background + m * *foreground) >> 8);
    }
}

}  // namespace qorvp
