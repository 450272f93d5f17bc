#include "client/tool/Outputs.h"

#include <algorithm>
#include <cctype>
#include <filesystem>

#include "client/tool/PictureFile.h"
#include "client/tool/Tool.h"
#include "client/tool/file_paths.h"

namespace fs = std::filesystem;

namespace zeltool {

namespace {

constexpr size_t kNumberDigits = 6;

// Numbers so that they sort.
std::string padded(const std::string& name) {
    const bool number = !name.empty() && name.find_first_not_of("0123456789") == std::string::npos;
    return number && name.size() < kNumberDigits ? std::string(kNumberDigits - name.size(), '0') + name : name;
}

// Names that differ in the case of their letters are one name to many systems. Only English ones are looked at.
std::string inSmallLetters(std::string name) {
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return name;
}

Image inColour(const Image& picture) {
    if (picture.channels != 1) return picture;
    Image result(picture.width, picture.height, 3);
    for (size_t i = 0; i < picture.bytes.size(); ++i)
        result.bytes[3 * i] = result.bytes[3 * i + 1] = result.bytes[3 * i + 2] = picture.bytes[i];
    return result;
}

}  // namespace

Output::Output(const std::string& path, const std::string& kind, const FrameSource& source, bool transparent)
    : mPath(path), mKind(kind) {
    if (path.empty()) return;
    std::error_code failure;
    const bool picture = isPictureName(path);
    if (fs::is_directory(pathOf(path), failure) || pathOf(path).extension().empty()) {
        mTarget = Target::Folder;
        fs::create_directories(pathOf(path), failure);
        if (failure) throw Failure{kOutput, "cannot make the folder " + path + ": " + failure.message()};
    } else if (picture && source.count() == 1 && source.rate() == 0) {
        mTarget = Target::File;
    } else if (picture) {
        throw Failure{kUsage, path + " takes one picture only; name a folder" +
                                  (canDoVideo() && !transparent ? " or a video" : "")};
    } else if (transparent) {
        throw Failure{kUsage, path + " would be a video, which keeps no transparency; name a folder"};
    } else {
        mTarget = Target::Video;
        std::string error;
        mVideo = createVideo(path, source.rate() > 0 ? source.rate() : 1, &error);
        if (!mVideo) throw Failure{kOutput, error};
    }
}

void Output::put(const std::string& name, const Image& picture) {
    std::string error;
    if (mTarget == Target::Video) {
        if (!mVideo->put(inColour(picture))) throw Failure{kOutput, mVideo->error()};
        return;
    }
    const std::string path = mTarget == Target::File ? mPath : fileFor(name);
    if (!savePicture(path, picture, &error)) throw Failure{kOutput, error};
}

std::string Output::fileFor(const std::string& name) {
    const std::string stem = padded(name);
    std::string own = stem;
    for (int number = 2; !mWritten.insert(inSmallLetters(own)).second; ++number)
        own = stem + "-" + std::to_string(number);
    return utf8Of(pathOf(mPath) / pathOf(own + "-" + mKind + ".png"));
}

void Output::finish() {
    if (mVideo && !mVideo->finish()) throw Failure{kOutput, mVideo->error()};
}

}  // namespace zeltool
