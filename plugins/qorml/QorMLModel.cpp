#include "plugins/qorml/QorMLModel.h"

#include <cstdio>
#include <exception>

namespace qorml {

namespace {

constexpr int64_t kMostPixels = 640 * 360;
constexpr int32_t kPictureBytesPerPixel = 4;

// What `body` answers. Nothing is thrown across the interface.
template <class Body>
int guarded(const Body& body) {
    try {
        return body();
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "qorml: %s\n", failure.what());
        return QorMLModel::kRuntimeFailed;
    }
}

bool isPicture(const ZelMLFrame& frame) {
    return frame.format == kQorMLPicture && frame.width > 0 && frame.height > 0 &&
           int64_t{frame.width} * frame.height <= kMostPixels && frame.stride == frame.width * kPictureBytesPerPixel;
}

Size sizeOf(const ZelMLFrame& frame) {
    return {static_cast<size_t>(frame.width), static_cast<size_t>(frame.height)};
}

}  // namespace

int QorMLModel::Initialise(int version, int options) {
    if (version != kQorMLVersion || options != kQorMLOptions) {
        std::fprintf(stderr, "qorml: asked for version %d.%d, this is %d.%d\n", version, options, kQorMLVersion,
                     kQorMLOptions);
        return kUnknownVersion;
    }
    return guarded([this] {
        if (!mCore) mCore = startRuntime();
        mSmall = std::make_unique<SegmentationNetwork>(mCore.get(), smallNetwork());
        mLarge = std::make_unique<SegmentationNetwork>(mCore.get(), largeNetwork());
        return kDone;
    });
}

int QorMLModel::PrepareInput(ZelMLFrame* input) {
    mSize = {};
    mHasMask = false;
    input->data = nullptr;
    if (!mLarge) return kNotReady;
    if (!isPicture(*input)) return kBadFrame;
    return guarded([&] {
        mPicture.resize(sizeOf(*input).pixels() * kPictureBytesPerPixel);
        mMask.resize(sizeOf(*input).pixels());
        mSize = sizeOf(*input);
        input->data = mPicture.data();
        return kDone;
    });
}

int QorMLModel::Run(ZelMLFrame* output) {
    mHasMask = false;
    if (!tellsThePicture(*output)) return kBadFrame;
    return guarded([this] {
        networkFor(mSize).segment(mPicture.data(), mSize, mMask.data());
        mHasMask = true;
        return kDone;
    });
}

int QorMLModel::FetchResult(ZelMLFrame* output) {
    output->data = nullptr;
    if (!tellsThePicture(*output)) return kBadFrame;
    if (!mHasMask) return kNotReady;
    output->data = mMask.data();
    return kDone;
}

// Whether it is a mask for the picture prepared last.
bool QorMLModel::tellsThePicture(const ZelMLFrame& output) const {
    return output.format == kQorMLMask && output.width > 0 && output.height > 0 && sizeOf(output) == mSize &&
           output.stride == output.width;
}

SegmentationNetwork& QorMLModel::networkFor(Size size) const {
    const Size small = smallNetwork().size;
    return size.width <= small.width && size.height <= small.height ? *mSmall : *mLarge;
}

}  // namespace qorml
