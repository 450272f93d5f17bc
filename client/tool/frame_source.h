#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "client/tool/Picture.h"

// Where the tool's frames come from and where its videos go.
namespace zeltool {

// Frames one after the other. Not thread-safe.
class FrameSource {
  public:
    virtual ~FrameSource() = default;
    // The next frame; false at the end, and after a failure, which error() then tells.
    virtual bool next(Image& frame) = 0;
    // A line for people, "" while all is well.
    virtual std::string error() const { return mError; }
    // Frames in all, 0 when that is not known.
    virtual uint64_t count() const { return 0; }
    // Frames a second; 0 for single pictures, of which each stands for itself.
    virtual double rate() const { return 0; }
    // What the newest frame is called: a file's name without its extension, or a number.
    virtual std::string name() const = 0;

  protected:
    std::string mError;
};

// A video file that is being written.
class FrameSink {
  public:
    virtual ~FrameSink() = default;
    // Takes a frame of three channels. False, with error(), when it has not the size of the first one or cannot be
    // written.
    virtual bool put(const Image& frame) = 0;
    // Writes what is left; no frame may follow. A sink that ends without it tries the same.
    virtual bool finish() = 0;
    virtual std::string error() const { return mError; }

  protected:
    std::string mError;
};

// Picture files in the order given, and every picture of a folder in the order of their names. Null with *error when
// there is none.
std::unique_ptr<FrameSource> openPictures(const std::vector<std::string>& paths, std::string* error);

// A video file; a camera by its number or by the system's name for it. Null with *error when it cannot be opened,
// always so where the tool was built without video.
std::unique_ptr<FrameSource> openVideo(const std::string& path, std::string* error);
std::unique_ptr<FrameSource> openCamera(const std::string& camera, std::string* error);

// A video of that many frames a second, its format by the name's extension.
std::unique_ptr<FrameSink> createVideo(const std::string& path, double rate, std::string* error);

// Whether the four functions above can do anything but fail on videos and cameras.
bool canDoVideo();

}  // namespace zeltool
