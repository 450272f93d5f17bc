// Videos through the tool.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "client/tool/ToolFixture.h"
#include "client/tool/frame_source.h"
#include "platform/test_support.h"

namespace fs = std::filesystem;

namespace {

using namespace zeltool;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;

class VideoTest : public ToolTest {
  protected:
    // All frames that can be read.
    std::vector<Image> framesOf(const std::string& name) const {
        std::string error;
        const auto video = openVideo(path(name), &error);
        EXPECT_TRUE(video) << error;
        std::vector<Image> frames;
        for (Image frame; video && video->next(frame);) frames.push_back(frame);
        EXPECT_EQ(video ? video->error() : "", "");
        return frames;
    }
    std::unique_ptr<FrameSink> create(const std::string& name) const {
        std::string error;
        auto video = createVideo(path(name), 25, &error);
        EXPECT_TRUE(video) << error;
        return video;
    }
    void make(const std::string& name, int frames) const {
        const auto video = create(name);
        const Image frame = picture("me.png");
        for (int count = 0; count < frames; ++count) ASSERT_TRUE(video->put(frame)) << video->error();
        ASSERT_TRUE(video->finish()) << video->error();
    }
};

TEST_F(VideoTest, GoesThroughEveryCommand) {
    make("talk.mkv", 12);
    ASSERT_EQ(run({"segment", path("talk.mkv"), "--out", path("out.mkv"), "--mask-out", path("masks"), "--frames", "10",
                   "--json"}),
              0)
        << err;
    EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 10);
    EXPECT_TRUE(fs::exists(folder / "masks" / "000010-mask.png"));
    const std::vector<Image> back = framesOf("out.mkv");
    ASSERT_EQ(back.size(), 10u);
    EXPECT_EQ(back[9].width, 64u);
    EXPECT_NEAR(back[9].row(18)[3 * 50], 255, 12);
    for (const char* command : {"ladon", "lut", "faces", "content"}) {
        ASSERT_EQ(
            run({command, path("talk.mkv"), "--out", path(std::string(command) + ".mkv"), "--frames", "7", "--json"}),
            0)
            << err;
        EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 7) << command;
        EXPECT_EQ(framesOf(std::string(command) + ".mkv").size(), 7u) << command;
    }
}

TEST_F(VideoTest, FrameOfAnotherSizeIsRefused) {
    for (const auto& [width, height] :
         {std::pair(64u, 35u), std::pair(63u, 36u), std::pair(640u, 360u), std::pair(2u, 2u)}) {
        const auto video = create("one.mkv");
        ASSERT_TRUE(video->put(picture("me.png"))) << video->error();
        EXPECT_FALSE(video->put(plainColour(width, height, 1, 2, 3)));
        EXPECT_THAT(video->error(), AllOf(HasSubstr("one.mkv"), HasSubstr("frames are 64x36"), HasSubstr("frame 2 is"),
                                          HasSubstr(std::to_string(width) + "x" + std::to_string(height))));
        EXPECT_TRUE(video->put(picture("me.png"))) << video->error();
        ASSERT_TRUE(video->finish()) << video->error();
        EXPECT_EQ(framesOf("one.mkv").size(), 2u);
    }
}

TEST_F(VideoTest, PicturesOfSeveralSizesAreNoVideo) {
    save("other.png", plainColour(320, 200, 255, 0, 0));
    EXPECT_EQ(run({"segment", path("me.png"), path("other.png"), "--out", path("out.mkv")}), 3);
    EXPECT_THAT(err, AllOf(HasSubstr("64x36"), HasSubstr("320x200"), HasSubstr("a folder takes pictures of any size")));
    EXPECT_EQ(framesOf("out.mkv").size(), 1u);
}

TEST_F(VideoTest, PictureOfAnySizeKeepsItsColours) {
    for (uint32_t width = 33; width <= 70; ++width) {
        const auto video = create("wide.mkv");
        for (int frame = 0; frame < 2; ++frame)
            ASSERT_TRUE(video->put(plainColour(width, 100 - width, 200, 100, 50))) << video->error();
        ASSERT_TRUE(video->finish()) << video->error();
        const std::vector<Image> frames = framesOf("wide.mkv");
        ASSERT_EQ(frames.size(), 2u) << width;
        EXPECT_EQ(frames[0].width, width & ~1u);
        EXPECT_EQ(frames[0].height, (100 - width) & ~1u);
        for (const uint32_t column : {0u, frames[0].width - 1}) {
            EXPECT_NEAR(frames[0].row(frames[0].height - 1)[3 * column], 200, 12) << width;
            EXPECT_NEAR(frames[0].row(frames[0].height - 1)[3 * column + 2], 50, 12) << width;
        }
    }
}

TEST_F(VideoTest, SizeThatChangesInMidVideoIsTakenOrRefused) {
    // One picture behind the other is a video of this format. The second has an odd width.
    save("a.jpg", picture("me.png"));
    save("b.jpg", plainColour(95, 50, 255, 0, 0));
    std::ofstream(path("talk.mjpeg"), std::ios::binary)
        << platform::test::readFile(path("a.jpg")) << platform::test::readFile(path("b.jpg"));
    ASSERT_EQ(run({"segment", path("talk.mjpeg"), "--out", path("results"), "--json"}), 0) << err;
    EXPECT_THAT(out, AllOf(HasSubstr("\"width\":64,\"height\":36"), HasSubstr("\"width\":95,\"height\":50")));
    EXPECT_EQ(picture("results/000002-composed.png").width, 95u);
    EXPECT_EQ(run({"segment", path("talk.mjpeg"), "--out", path("out.mkv")}), 3);
    EXPECT_THAT(err, AllOf(HasSubstr("64x36"), HasSubstr("95x50")));
}

TEST_F(VideoTest, SinkThatEndsEarlyLeavesWhatItTook) {
    for (const char* name : {"early.mp4", "early.mkv"}) {
        {
            const auto video = create(name);
            for (int frame = 0; frame < 5; ++frame) ASSERT_TRUE(video->put(picture("me.png"))) << video->error();
        }
        EXPECT_EQ(framesOf(name).size(), 5u) << name;
    }
    create("none.mp4");
    EXPECT_FALSE(fs::exists(path("none.mp4")));
    EXPECT_FALSE(create("no/such/folder.mp4")->put(picture("me.png")));
}

TEST_F(VideoTest, LastFrameIsKept) {
    for (const char* name : {"all.mp4", "all.mkv", "all.avi"}) {
        make(name, 5);
        EXPECT_EQ(framesOf(name).size(), 5u) << name;
    }
}

TEST_F(VideoTest, FailureInMidVideoLeavesWhatWasWritten) {
    make("talk.mkv", 8);
    EXPECT_EQ(run({"segment", path("talk.mkv"), "--out", path("out.mp4")}, "fail-every=6"), 5);
    EXPECT_EQ(framesOf("out.mp4").size(), 5u);
}

TEST_F(VideoTest, CutOutsAreNoVideo) {
    make("talk.mkv", 3);
    EXPECT_EQ(run({"segment", path("talk.mkv"), "--cutout", path("out.mkv")}), 1);
    EXPECT_THAT(err, HasSubstr("keeps no transparency; name a folder"));
    EXPECT_EQ(run({"segment", path("talk.mkv"), "--cutout", path("out.png")}), 1);
    EXPECT_THAT(err, EndsWith("takes one picture only; name a folder\n"));
}

}  // namespace
