// Results that go to a device without room.

#include <filesystem>

#include "client/tool/ToolFixture.h"
#include "client/tool/frame_source.h"

namespace fs = std::filesystem;

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

class FullDeviceTest : public ToolTest {
  protected:
    std::string full(const std::string& name) const {
        fs::create_symlink("/dev/full", folder / name);
        return path(name);
    }
};

TEST_F(FullDeviceTest, PictureThatDoesNotFitIsTold) {
    for (const char* name : {"full.png", "full.jpg", "full.bmp"}) {
        EXPECT_EQ(run({"faces", path("me.png"), "--out", full(name)}), 3);
        EXPECT_THAT(err, AllOf(StartsWith("zelclient: cannot write "), HasSubstr(name), HasSubstr("room in it?")));
    }
}

TEST_F(FullDeviceTest, TableThatDoesNotFitIsTold) {
    EXPECT_EQ(run({"lut", path("me.png"), "--cube", full("full.cube")}), 3);
    EXPECT_THAT(err, HasSubstr("full.cube"));
}

TEST_F(FullDeviceTest, VideoThatDoesNotFitIsTold) {
    if (!zeltool::canDoVideo()) GTEST_SKIP() << "built without video";
    for (const char* name : {"full.mkv", "full.avi"}) {
        EXPECT_EQ(run({"faces", path("me.png"), "--out", full(name)}), 3);
        EXPECT_THAT(err, AllOf(StartsWith("zelclient: cannot write the video "), HasSubstr(name)));
    }
}

TEST_F(FullDeviceTest, LinesThatDoNotFitAreTold) {
    standardOutput = "/dev/full";
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{"faces", path("me.png"), "--json"},
                                                      {"segment", path("me.png")},
                                                      {"--help"},
                                                      {"bench", "--frames", "1", "--capacity", "0"},
                                                      {"doctor"},
                                                      {"doctor", "--json"}}) {
        EXPECT_EQ(run(arguments), 3) << arguments[0];
        EXPECT_THAT(err, HasSubstr("standard output"));
    }
    EXPECT_EQ(run({"segment", path("none.png")}), 2) << "nothing was to be written";
}

}  // namespace
