#include "client/tool/Frames.h"

#include <algorithm>
#include <filesystem>

#include "client/tool/PictureFile.h"
#include "client/tool/Tool.h"
#include "client/tool/file_paths.h"

namespace fs = std::filesystem;

namespace zeltool {

namespace {

std::unique_ptr<FrameSource> openPaths(const std::vector<std::string>& paths, std::string* error) {
    std::error_code failure;
    const std::string& first = paths.front();
    if (paths.size() > 1) {
        const auto video = std::find_if_not(paths.begin(), paths.end(), isPictureName);
        if (video == paths.end()) return openPictures(paths, error);
        *error = *video + " is no picture; several inputs must all be pictures";
        return nullptr;
    }
    if (isPictureName(first) || fs::is_directory(pathOf(first), failure)) return openPictures(paths, error);
    if (fs::exists(pathOf(first), failure)) return openVideo(first, error);
    *error = "there is no " + first;
    return nullptr;
}

}  // namespace

Frames::Frames(const InputOptions& options) {
    std::string error;
    mSource = options.camera.empty() ? openPaths(options.paths, &error) : openCamera(options.camera, &error);
    if (!mSource) throw Failure{kInput, error};
    mLimit = stills() ? 0 : options.frames;
}

void Frames::each(const std::function<void(const std::string& name, const Image& frame)>& body) {
    Progress progress("frames", mLimit ? mLimit : mSource->count());
    uint64_t done = 0;
    for (Image frame; (mLimit == 0 || done < mLimit) && mSource->next(frame); progress.show(++done))
        body(mSource->name(), frame);
}

void Frames::finish() const {
    if (!mSource->error().empty()) throw Failure{kInput, mSource->error()};
}

}  // namespace zeltool
