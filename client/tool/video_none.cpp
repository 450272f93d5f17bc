// Stands in for video where the tool is built without the libraries for it.

#include "client/tool/frame_source.h"

namespace zeltool {

namespace {

constexpr const char* kNoVideo =
    ": this build of zelclient reads pictures only; give it a picture, or a folder of pictures taken from the video";

}  // namespace

std::unique_ptr<FrameSource> openVideo(const std::string& path, std::string* error) {
    *error = "cannot read the video " + path + kNoVideo;
    return nullptr;
}

std::unique_ptr<FrameSource> openCamera(const std::string& camera, std::string* error) {
    *error = "cannot read the camera " + camera + kNoVideo;
    return nullptr;
}

std::unique_ptr<FrameSink> createVideo(const std::string& path, double, std::string* error) {
    *error = "cannot write the video " + path + ": this build of zelclient writes pictures only";
    return nullptr;
}

bool canDoVideo() {
    return false;
}

}  // namespace zeltool
