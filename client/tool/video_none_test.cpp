// The tool without the libraries for video.

#include <fstream>

#include "client/tool/ToolFixture.h"

namespace {

using testing::HasSubstr;

using NoVideoTest = ToolTest;

TEST_F(NoVideoTest, VideoAndCameraAreRefusedClearly) {
    std::ofstream(path("talk.mp4")) << "any";
    EXPECT_EQ(run({"segment", path("talk.mp4")}), 2);
    EXPECT_THAT(err, HasSubstr("reads pictures only"));
    EXPECT_EQ(run({"segment", "--camera", "0"}), 2);
    EXPECT_THAT(err, HasSubstr("reads pictures only"));
}

}  // namespace
