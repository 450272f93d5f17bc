// background FRAME MASK WIDTH HEIGHT OUT: puts a person over the frame itself, blurred. FRAME holds the bytes of an
// NV12 frame of an even size, MASK a byte for each pixel, 255 on the person. OUT is a picture that most viewers open
// (PAM).

#include <qorvp/Format.h>
#include <qorvp/Parameters.h>
#include <qorvp/createFrameWork.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;

Bytes read(const char* path) {
    std::ifstream file(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(file), {});
}

// An image of one plane, rows without gaps.
qorvp::VpImage imageOf(uint32_t format, Bytes& bytes, int width, int height) {
    qorvp::VpImage image{};
    image.planes[0] = bytes.data();
    image.stride0 = static_cast<int32_t>(bytes.size() / static_cast<size_t>(height));
    image.width = width;
    image.height = height;
    image.format = format;
    return image;
}

qorvp::VpImage videoOf(Bytes& bytes, int width, int height) {
    qorvp::VpImage video = imageOf(qorvp::kFormatNv12, bytes, width, height);
    video.planes[1] = bytes.data() + static_cast<size_t>(width) * static_cast<size_t>(height);
    video.stride0 = width;
    video.stride1 = width;
    return video;
}

// `picture` becomes the frame's pixels, `background` the result; both of kFormatRgba.
bool blurBackground(qorvp::CVpFrameWork& vp, qorvp::VpImage frame, qorvp::VpImage picture, qorvp::VpImage background,
                    qorvp::VpImage mask) {
    const float sigma = 5;
    const qorvp::BlendParameter person = {mask};
    return vp.Process(qorvp::kConverter, &frame, &picture) == qorvp::kOk &&
           vp.SetParam(qorvp::kBlur, &sigma) == qorvp::kOk &&
           vp.Process(qorvp::kBlur, &picture, &background) == qorvp::kOk &&
           vp.SetParam(qorvp::kBlend, &person) == qorvp::kOk &&
           vp.Process(qorvp::kBlend, &picture, &background) == qorvp::kOk;
}

bool write(const char* path, const Bytes& pixels, int width, int height) {
    std::ofstream file(path, std::ios::binary);
    file << "P7\nWIDTH " << width << "\nHEIGHT " << height << "\nDEPTH 4\nMAXVAL 255\nTUPLTYPE RGB_ALPHA\nENDHDR\n";
    file.write(reinterpret_cast<const char*>(pixels.data()), static_cast<std::streamsize>(pixels.size()));
    return file.good();
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 6) {
        std::fputs("usage: background FRAME MASK WIDTH HEIGHT OUT\n", stderr);
        return 1;
    }
    Bytes frame = read(arguments[1]), mask = read(arguments[2]);
    const int width = std::atoi(arguments[3]), height = std::atoi(arguments[4]);
    const auto pixels = static_cast<size_t>(width) * static_cast<size_t>(height);
    const bool even = width >= 2 && height >= 2 && width % 2 == 0 && height % 2 == 0;
    if (!even || frame.size() != pixels / 2 * 3 || mask.size() != pixels) {
        std::fputs("background: the size is not even, or the files are missing or not of that size\n", stderr);
        return 1;
    }
    Bytes picture(pixels * 4), background(pixels * 4);
    const auto vp = qorvp::createFrameWork();
    const bool done = blurBackground(
        *vp, videoOf(frame, width, height), imageOf(qorvp::kFormatRgba, picture, width, height),
        imageOf(qorvp::kFormatRgba, background, width, height), imageOf(qorvp::kFormatGrey, mask, width, height));
    if (done && write(arguments[5], background, width, height)) return 0;
    std::fputs("background: it could not be made or written\n", stderr);
    return 1;
}
