#pragma once

#include "client/tool/Picture.h"
#include "qorvp/VpImage.h"

// What the tool has the image library do, through one front object for the whole process. Any thread may call.
// std::runtime_error is thrown for what the library cannot do: a side above 40960 pixels, or no memory.
namespace zeltool {

// The picture in a size that is smaller in no direction: each pixel lies between its neighbours.
Image enlarged(const Image& picture, uint32_t width, uint32_t height);

// Softened by a blur of `sigma` pixels, at least 0.5, every channel alike.
Image blurred(const Image& picture, float sigma);

// `picture` over `background` where `mask` is, all of one size, the pictures of as many channels: the mean of both,
// weighted by mask / 256, so that 255 leaves a trace of the background.
Image composed(const Image& picture, const Image& mask, Image background);

// The pixels of a frame of 4:2:0 video: kFormatI420, kFormatYv12, kFormatNv12 or kFormatNv21, of an even size, its luma
// from 16 to 235. White is 253.
Image converted(qorvp::VpImage video);

}  // namespace zeltool
