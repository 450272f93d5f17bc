#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "client/tool/Picture.h"
#include "client/tool/frame_source.h"

namespace zeltool {

// Where a command's frames come from, as its command line says.
struct InputOptions {
    std::vector<std::string> paths;  // pictures, or one folder of pictures, or one video
    std::string camera;              // in place of paths
    uint64_t frames = 0;             // of a video or camera; 0: all
};

// The frames of a command, one after the other, with a progress bar. Failures are thrown as Failure.
class Frames {
  public:
    explicit Frames(const InputOptions& options);

    const FrameSource& source() const { return *mSource; }
    // Pictures that have nothing to do with each other, unlike the frames of a video.
    bool stills() const { return mSource->rate() == 0; }

    // Hands each frame to `body` with its name, up to the limit of a video.
    void each(const std::function<void(const std::string& name, const Image& frame)>& body);
    // Throws what ended the frames early. To be called when all that there was is written.
    void finish() const;

  private:
    std::unique_ptr<FrameSource> mSource;
    uint64_t mLimit;
};

}  // namespace zeltool
