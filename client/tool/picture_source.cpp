#include <algorithm>
#include <filesystem>
#include <vector>

#include "client/tool/PictureFile.h"
#include "client/tool/file_paths.h"
#include "client/tool/frame_source.h"

namespace fs = std::filesystem;

namespace zeltool {

namespace {

class PictureSource final : public FrameSource {
  public:
    explicit PictureSource(std::vector<fs::path> files) : mFiles(std::move(files)) {}

    bool next(Image& frame) override {
        if (mNext == mFiles.size()) return false;
        return loadPicture(utf8Of(mFiles[mNext++]), frame, &mError);
    }
    uint64_t count() const override { return mFiles.size(); }
    std::string name() const override { return mNext ? utf8Of(mFiles[mNext - 1].stem()) : ""; }

  private:
    std::vector<fs::path> mFiles;
    size_t mNext = 0;
};

bool addPictures(const std::string& path, std::vector<fs::path>& files, std::string* error) {
    std::error_code failure;
    const fs::path told = pathOf(path);
    if (!fs::is_directory(told, failure)) {
        files.push_back(told);
        if (!fs::exists(told, failure)) *error = "there is no " + path;
        return error->empty();
    }
    std::vector<fs::path> found;
    for (fs::directory_iterator entry(told, failure), end; !failure && entry != end; entry.increment(failure)) {
        if (isPictureName(utf8Of(entry->path()))) found.push_back(entry->path());
    }
    if (failure) {
        *error = "cannot read the folder " + path + ": " + failure.message();
        return false;
    }
    std::sort(found.begin(), found.end());
    files.insert(files.end(), found.begin(), found.end());
    if (found.empty()) *error = "there is no picture in " + path;
    return !found.empty();
}

}  // namespace

std::unique_ptr<FrameSource> openPictures(const std::vector<std::string>& paths, std::string* error) {
    std::vector<fs::path> files;
    for (const std::string& path : paths) {
        if (!addPictures(path, files, error)) return nullptr;
    }
    return std::make_unique<PictureSource>(std::move(files));
}

}  // namespace zeltool
