#include <algorithm>
#include <filesystem>
#include <vector>

#include "client/tool/PictureFile.h"
#include "client/tool/frame_source.h"

namespace fs = std::filesystem;

namespace zeltool {

namespace {

class PictureSource final : public FrameSource {
  public:
    explicit PictureSource(std::vector<fs::path> files) : mFiles(std::move(files)) {}

    bool next(Image& frame) override {
        if (mNext == mFiles.size()) return false;
        return loadPicture(mFiles[mNext++].string(), frame, &mError);
    }
    uint64_t count() const override { return mFiles.size(); }
    std::string name() const override { return mNext ? mFiles[mNext - 1].stem().string() : ""; }

  private:
    std::vector<fs::path> mFiles;
    size_t mNext = 0;
};

}  // namespace

std::unique_ptr<FrameSource> openPictures(const std::string& path, std::string* error) {
    std::vector<fs::path> files;
    std::error_code failure;
    if (fs::is_directory(path, failure)) {
        for (const fs::directory_entry& entry : fs::directory_iterator(path, failure)) {
            if (isPictureName(entry.path().string())) files.push_back(entry.path());
        }
        std::sort(files.begin(), files.end());
        if (files.empty()) *error = "there is no picture in " + path;
    } else if (fs::exists(path, failure)) {
        files.emplace_back(path);
    } else {
        *error = "there is no " + path;
    }
    if (files.empty()) return nullptr;
    return std::make_unique<PictureSource>(std::move(files));
}

}  // namespace zeltool
