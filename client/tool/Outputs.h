#pragma once

#include <memory>
#include <set>
#include <string>

#include "client/tool/Picture.h"
#include "client/tool/frame_source.h"

namespace zeltool {

// Where one kind of result goes: a picture file, a video, or a folder that takes "NAME-KIND.png" for each frame, where
// the second frame of a name is NAME-2 and so on. Failures are thrown as Failure.
class Output {
  public:
    // An empty path writes nothing. A path with a picture's extension is a file and takes one frame; with another
    // extension a video of the source's rate; without one, or where there is a folder, a folder, made if need be. What
    // is transparent is no video.
    Output(const std::string& path, const std::string& kind, const FrameSource& source, bool transparent = false);

    bool wanted() const { return mTarget != Target::Nothing; }
    void put(const std::string& name, const Image& picture);
    // Ends a video. To be called when all went well.
    void finish();

  private:
    enum class Target { Nothing, File, Folder, Video };

    // The file of a frame in the folder, one that no other frame has.
    std::string fileFor(const std::string& name);

    Target mTarget = Target::Nothing;
    std::string mPath;
    std::string mKind;
    std::unique_ptr<FrameSink> mVideo;
    std::set<std::string> mWritten;  // stems of the files in the folder, in small letters
};

}  // namespace zeltool
