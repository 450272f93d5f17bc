// The tool as its users run it, on the fake host where nothing else is said.

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "client/tool/Picture.h"
#include "client/tool/PictureFile.h"
#include "client/tool/ToolFixture.h"

namespace fs = std::filesystem;

namespace {

using namespace zeltool;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

TEST_F(ToolTest, PersonIsPutOverAColour) {
    ASSERT_EQ(run({"segment", path("me.png"), "--out", path("out.png"), "--mask-out", path("mask.png"), "--cutout",
                   path("cut.png"), "--background", "#0a0b0c"}),
              0)
        << err;
    const Image composed = picture("out.png");
    ASSERT_EQ(composed.width, 64u);
    ASSERT_EQ(composed.height, 36u);
    EXPECT_EQ(composed.row(18)[0], 0x0a);
    EXPECT_EQ(composed.row(18)[1], 0x0b);
    // A mask of 255 leaves one part in 256 of the colour.
    EXPECT_EQ(composed.row(18)[3 * 60], 254);
    EXPECT_EQ(composed.row(18)[3 * 60 + 1], 49);
    EXPECT_EQ(picture("mask.png").row(5)[3 * 60], 255);
    EXPECT_EQ(picture("cut.png").width, 64u);
    EXPECT_THAT(out, AllOf(StartsWith("me  64x36  person 50.0 %"), HasSubstr("32x36 at 32,0")));
    EXPECT_THAT(err, IsEmpty());
}

TEST_F(ToolTest, LargerNetworkAndTallPicturesKeepTheirShape) {
    std::string error;
    Image tall = plainColour(30, 90, 0, 0, 0);
    for (uint32_t y = 45; y < 90; ++y) {
        for (uint32_t x = 0; x < 30; ++x) tall.row(y)[3 * x] = 255;
    }
    ASSERT_TRUE(savePicture(path("tall.png"), tall, &error)) << error;
    ASSERT_EQ(run({"segment", path("tall.png"), "--capacity", "1", "--json"}), 0) << err;
    EXPECT_THAT(out, StartsWith("{\"name\":\"tall\",\"width\":30,\"height\":90,\"coverage\":0.5000,"
                                "\"person\":{\"x\":0,\"y\":45,\"width\":30,\"height\":45},\"round_trip_us\":"));
}

TEST_F(ToolTest, FolderOfPicturesGoesIntoAFolder) {
    fs::create_directories(folder / "in");
    fs::copy(path("me.png"), folder / "in" / "b.png");
    fs::copy(path("me.png"), folder / "in" / "a.png");
    std::ofstream(folder / "in" / "notes.txt") << "not a picture";
    ASSERT_EQ(run({"segment", path("in"), "--out", path("results"), "--mask", path("results"), "--background", "blur",
                   "--json"}),
              0)
        << err;
    EXPECT_TRUE(fs::exists(folder / "results" / "a-composed.png"));
    EXPECT_TRUE(fs::exists(folder / "results" / "b-mask.png"));
    EXPECT_THAT(out, StartsWith("{\"name\":\"a\""));
    EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 2);
}

TEST_F(ToolTest, PictureIsABackgroundToo) {
    std::string error;
    ASSERT_TRUE(savePicture(path("wall.png"), plainColour(10, 300, 1, 2, 3), &error)) << error;
    ASSERT_EQ(run({"segment", path("me.png"), "--out", path("out.png"), "--background", path("wall.png")}), 0) << err;
    EXPECT_EQ(picture("out.png").row(3)[2], 3);
}

TEST_F(ToolTest, BackgroundIsBlurredAsFarAsItIsToldAndThePersonIsNot) {
    // The person, of full red, stands on the right; columns of black and green are behind.
    Image person = plainColour(64, 36, 0, 0, 0);
    for (size_t at = 0; at < person.bytes.size() / 3; ++at) {
        person.bytes[3 * at] = at % 64 < 32 ? 0 : 255;
        person.bytes[3 * at + 1] = at % 2 == 0 ? 0 : 200;
    }
    std::string error;
    ASSERT_TRUE(savePicture(path("person.png"), person, &error)) << error;
    const auto contrast = [this, &error](const std::string& told, uint32_t column) {
        EXPECT_EQ(run({"segment", path("person.png"), "--out", path("out.png"), "--background", told}), 0) << err;
        Image composed;
        EXPECT_TRUE(loadPicture(path("out.png"), composed, &error)) << error;
        return composed.empty() ? -1 : std::abs(composed.row(18)[3 * column + 1] - composed.row(18)[3 * column + 4]);
    };
    EXPECT_GT(contrast("blur:0.5", 10), 100);
    EXPECT_LT(contrast("blur:4", 10), 40);
    EXPECT_LT(contrast("blur", 10), 120);
    EXPECT_GT(contrast("blur:4", 50), 195);
}

TEST_F(ToolTest, BlurOfNoSensibleWidthIsRefused) {
    for (const char* command : {"segment", "ladon"}) {
        for (const char* told : {"blur:", "blur:0", "blur:soft"}) {
            EXPECT_EQ(run({command, path("me.png"), "--out", path("out.png"), "--background", told}), 1) << told;
            EXPECT_THAT(err, AllOf(StartsWith("zelclient: "), HasSubstr("blur:SIGMA"),
                                   EndsWith(std::string("not ") + told + "\n")));
        }
        EXPECT_EQ(run({command, path("me.png"), "--background", path("nowall.png")}), 2);
        EXPECT_THAT(err, HasSubstr("nowall.png"));
        EXPECT_EQ(run({command, path("me.png"), "--background", ""}), 1);
    }
    EXPECT_FALSE(fs::exists(path("out.png")));
}

TEST_F(ToolTest, FacesAreToldInPixelsOfThePictureAndDrawn) {
    // The frame for faces is 160x90: its pixel is 0.4 of one of this picture.
    ASSERT_EQ(run({"faces", path("me.png"), "--out", path("out.png"), "--json"}, "boxes=2"), 0) << err;
    EXPECT_THAT(out, StartsWith("{\"name\":\"me\",\"width\":64,\"height\":36,\"faces\":["
                                "{\"x\":0.0,\"y\":8.0,\"width\":12.0,\"height\":16.0},"
                                "{\"x\":8.0,\"y\":8.0,\"width\":12.0,\"height\":16.0}],\"round_trip_us\":"));
    const Image drawn = picture("out.png");
    EXPECT_EQ(drawn.width, 64u);
    EXPECT_NE(drawn.row(8)[3 * 3], 0) << "upper edge of the first face";
    EXPECT_EQ(drawn.row(30)[3 * 3], 0) << "below it";
    ASSERT_EQ(run({"faces", path("me.png")}), 0) << err;
    EXPECT_THAT(out, StartsWith("me  64x36  1 face  at 0,8 12x16  "));
}

TEST_F(ToolTest, FaceOfAPhotographIsFoundByTheRealHost) {
    fs::copy(ZEL_SAMPLE_PHOTOGRAPH, folder / "photograph.png");
    ASSERT_EQ(run({"faces", path("photograph.png"), "--json"}, "", false), 0) << err;
    const size_t list = out.find("\"faces\":[");
    ASSERT_NE(list, std::string::npos) << out;
    float x, y, width, height;
    ASSERT_EQ(std::sscanf(out.c_str() + list, "\"faces\":[{\"x\":%f,\"y\":%f,\"width\":%f,\"height\":%f}]", &x, &y,
                          &width, &height),
              4)
        << out;
    // Between hair and chin, and from cheek to cheek.
    EXPECT_NEAR(x + width / 2, 288, 16);
    EXPECT_NEAR(y + height / 2, 140, 16);
    EXPECT_NEAR(width, 128, 32);
    EXPECT_NEAR(height, 128, 32);
    ASSERT_EQ(run({"faces", path("me.png"), "--json"}, "", false), 0) << err;
    EXPECT_THAT(out, HasSubstr("\"faces\":[],"));
}

TEST_F(ToolTest, ModuleOfTheRealHostGivesTheMaskOfItsSegmentation) {
    fs::copy(ZEL_SAMPLE_PHOTOGRAPH, folder / "photograph.png");
    for (const char* capacity : {"0", "1"}) {
        for (const char* type : {"1", "3"}) {
            ASSERT_EQ(run({"segment", path("photograph.png"), "--type", type, "--capacity", capacity, "--mask-out",
                           path(std::string("mask") + type + ".png")},
                          "", false),
                      0)
                << err;
        }
        const Image module = picture("mask1.png");
        const Image segmentation = picture("mask3.png");
        ASSERT_EQ(module.bytes.size(), segmentation.bytes.size());
        int both = 0;
        int either = 0;
        for (size_t i = 0; i < module.bytes.size(); ++i) {
            both += module.bytes[i] > 127 && segmentation.bytes[i] > 127;
            either += module.bytes[i] > 127 || segmentation.bytes[i] > 127;
        }
        EXPECT_GT(either, 0);
        EXPECT_GE(both, 0.95 * either) << capacity;
    }
}

TEST_F(ToolTest, TallPicturesFacesLieWhereTheyAre) {
    std::string error;
    ASSERT_TRUE(savePicture(path("tall.png"), plainColour(90, 180, 0, 0, 0), &error)) << error;
    // It is 45 wide in the frame, from 58 on (57.5 rounded), so the face at 0 lies outside on the left.
    ASSERT_EQ(run({"faces", path("tall.png"), "--json"}), 0) << err;
    EXPECT_THAT(out, HasSubstr("{\"x\":-114.0,\"y\":40.0,\"width\":60.0,\"height\":80.0}"));
}

TEST_F(ToolTest, FrameForFacesThatFailsNowAndThenIsSentAgain) {
    EXPECT_EQ(run({"faces", path("me.png"), path("me.png"), path("me.png"), "--json"}, "fail-every=2"), 0) << err;
    EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 3);
    EXPECT_EQ(run({"faces", path("me.png")}, "fail-every=1"), 5);
    EXPECT_THAT(err, HasSubstr("no faces"));
    EXPECT_EQ(run({"faces", path("me.png")}, "bad-text=4"), 5);
    EXPECT_THAT(err, HasSubstr("empty text"));
}

TEST_F(ToolTest, EachThirdFrameOfAScreenHasRegions) {
    fs::create_directories(folder / "in");
    std::string error;
    for (int frame = 0; frame < 7; ++frame) {
        const std::string name = path("in/" + std::to_string(frame) + ".png");
        ASSERT_TRUE(savePicture(name, plainColour(1024, 576, 10, 10, 10), &error)) << error;
    }
    ASSERT_EQ(run({"content", path("in"), "--out", path("results"), "--json"}), 0) << err;
    std::istringstream lines(out);
    // The frame is 512x288, and the region begins where its grey says.
    const std::string region =
        "\"regions\":[{\"x\":20.0,\"y\":40.0,\"width\":440.0,\"height\":440.0,\"score\":0.912,"
        "\"class\":2}],\"round_trip_us\":";
    int number = 0;
    for (std::string line; std::getline(lines, line); ++number)
        EXPECT_THAT(line, HasSubstr(number % 3 == 2 ? region : "\"regions\":null,\"round_trip_us\":")) << number;
    EXPECT_EQ(number, 7);
    EXPECT_EQ(picture("results/000001-content.png").row(100)[3 * 20], 10) << "no result yet";
    EXPECT_NE(picture("results/000002-content.png").row(100)[3 * 20], 10) << "left edge of the region";
    EXPECT_NE(picture("results/000003-content.png").row(100)[3 * 20], 10) << "the last result stays";
    ASSERT_EQ(run({"content", path("in")}), 0) << err;
    EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 2);
    EXPECT_THAT(out, StartsWith("2  1024x576  1 region  class 2 0.91 at 20,40 440x440  "));
}

TEST_F(ToolTest, ScreenOfTooFewOrDifferentFramesIsRefused) {
    EXPECT_EQ(run({"content", path("me.png"), path("me.png")}), 2);
    EXPECT_THAT(err, HasSubstr("there were only 2"));
    std::string error;
    ASSERT_TRUE(savePicture(path("other.png"), plainColour(64, 37, 0, 0, 0), &error)) << error;
    EXPECT_EQ(run({"content", path("me.png"), path("other.png"), path("me.png")}), 2);
    EXPECT_THAT(err, HasSubstr("other is 64x37"));
    EXPECT_EQ(run({"content", path("me.png"), path("me.png"), path("me.png")}, "bad-text=1"), 5);
    EXPECT_THAT(err, HasSubstr("no regions"));
}

TEST_F(ToolTest, LadonTellsAndDrawsAllThatItsModelGives) {
    ASSERT_EQ(run({"ladon", path("me.png"), "--out", path("out.png"), "--json"}), 0) << err;
    // A share of 0.25 of the frame's sides is one of the picture's.
    EXPECT_THAT(out, StartsWith("{\"name\":\"me\",\"width\":64,\"height\":36,\"coverage\":0.5000,"
                                "\"gesture\":\"open palm\",\"gesture_scores\":[0.875,0.000,"));
    EXPECT_THAT(out, HasSubstr("\"motion\":0.2500,\"skip_run\":3,\"faces\":["
                               "{\"x\":16.0,\"y\":9.0,\"width\":16.0,\"height\":9.0,\"score\":0.900,"
                               "\"points\":[[32.0,18.0,-8.0],[32.0,18.0,-8.0],"));
    EXPECT_THAT(out,
                HasSubstr("{\"x\":0.0,\"y\":0.0,\"width\":32.0,\"height\":18.0,\"score\":0.600,\"points\":null}]"));
    EXPECT_THAT(out, HasSubstr("\"table_confidence\":null,"));
    const Image drawn = picture("out.png");
    EXPECT_NE(drawn.row(15)[3 * 16], 0) << "left edge of the face";
    EXPECT_EQ(drawn.row(19)[3 * 60], 174) << "the person is tinted";
    EXPECT_EQ(drawn.row(19)[3 * 10 + 1], 50) << "the rest is not";
    ASSERT_EQ(run({"ladon", path("me.png"), "--type", "9", "--capacity", "1"}), 0) << err;
    EXPECT_THAT(out,
                StartsWith("me  64x36  person 50.0 %  gesture open palm 0.88  motion 0.250  2 faces  0.90 at 16,9 "));
    ASSERT_EQ(run({"ladon", path("me.png"), "--type", "9", "--json"}), 0) << err;
    EXPECT_THAT(out, HasSubstr("\"table_confidence\":0.750,"));
}

TEST_F(ToolTest, LadonDrawsOverABackgroundInPlaceOfTheTint) {
    ASSERT_EQ(run({"ladon", path("me.png"), "--out", path("out.png"), "--background", "#0000ff"}), 0) << err;
    const Image drawn = picture("out.png");
    EXPECT_EQ(drawn.row(19)[3 * 10 + 2], 255) << "the background is new";
    EXPECT_EQ(drawn.row(19)[3 * 60], 254) << "the person is not tinted";
    EXPECT_GT(drawn.row(15)[3 * 16 + 1], 100) << "left edge of the face";
}

TEST_F(ToolTest, LadonWithoutFindingsIsNoFailure) {
    ASSERT_EQ(run({"ladon", path("me.png"), "--json"}, "no-number=1"), 0) << err;
    EXPECT_THAT(out, HasSubstr("\"gesture\":null,"));
    EXPECT_THAT(out, HasSubstr("\"motion\":0.0000,\"skip_run\":3,\"faces\":[],"));
    EXPECT_EQ(run({"ladon", path("me.png")}, "fail-every=1"), 5);
    EXPECT_EQ(run({"ladon", path("me.png"), "--type", "3"}), 1);
}

TEST_F(ToolTest, LutTellsAppliesAndWritesTheTable) {
    ASSERT_EQ(run({"lut", path("me.png"), "--out", path("out.png"), "--cube", path("me.cube"), "--json"}), 0) << err;
    EXPECT_THAT(out, StartsWith("{\"name\":\"me\",\"width\":64,\"height\":36,\"confidence\":0.750,"
                                "\"mean_before\":[0.500,0.196,0.196],\"mean_after\":[0.502,0.502,0.502],"));
    EXPECT_THAT(picture("out.png").bytes, testing::Each(128));
    EXPECT_THAT(textOf("me.cube"), StartsWith("TITLE \"me\"\nLUT_3D_SIZE 33\n0.500000 0.500000 0.500000\n"));
    ASSERT_EQ(run({"lut", path("me.png"), "--type", "10", "--capacity", "1"}), 0) << err;
    EXPECT_THAT(out, StartsWith("me  64x36  confidence 0.75  mean colour 0.500 0.196 0.196 -> 0.502 0.502 0.502  "));
}

TEST_F(ToolTest, LutWithoutATableIsTold) {
    EXPECT_EQ(run({"lut", path("me.png")}, "no-number=1"), 5);
    EXPECT_THAT(err, HasSubstr("no colour table"));
    EXPECT_EQ(run({"lut", path("me.png"), "--type", "7"}), 1);
    EXPECT_EQ(run({"lut", path("me.png"), "--cube", path("no/such/me.cube")}), 3);
    EXPECT_THAT(err, HasSubstr("me.cube"));
}

TEST_F(ToolTest, SeveralPicturesDoNotFitIntoOneFile) {
    fs::create_directories(folder / "in");
    fs::copy(path("me.png"), folder / "in" / "a.png");
    fs::copy(path("me.png"), folder / "in" / "b.png");
    EXPECT_EQ(run({"segment", path("in"), "--out", path("one.png")}), 1);
    EXPECT_THAT(err, HasSubstr("one picture only"));
    EXPECT_EQ(run({"faces", path("in/a.png"), path("in/b.png"), "--out", path("one.png")}), 1);
    std::ofstream(path("talk.mp4")) << "any";
    EXPECT_EQ(run({"faces", path("in/a.png"), path("talk.mp4")}), 2);
    EXPECT_THAT(err, HasSubstr("talk.mp4 is no picture"));
}

TEST_F(ToolTest, InputThatCannotBeReadIsTold) {
    EXPECT_EQ(run({"segment", path("none.png")}), 2);
    EXPECT_THAT(err, AllOf(StartsWith("zelclient: "), HasSubstr("none.png")));
    std::ofstream(path("broken.png")) << "this is no picture";
    EXPECT_EQ(run({"segment", path("broken.png")}), 2);
    EXPECT_THAT(err, HasSubstr("broken.png"));
    fs::create_directories(folder / "empty");
    EXPECT_EQ(run({"segment", path("empty")}), 2);
    std::ofstream(path("broken.mp4")) << "this is no video";
    EXPECT_EQ(run({"segment", path("broken.mp4")}), 2);
    EXPECT_THAT(err, HasSubstr("broken.mp4"));
    EXPECT_EQ(run({"segment", path("me.png"), "--background", path("nowall.png")}), 2);
    EXPECT_THAT(out, IsEmpty());
}

TEST_F(ToolTest, OutputThatCannotBeWrittenIsTold) {
    EXPECT_EQ(run({"segment", path("me.png"), "--out", path("no/such/out.png")}), 3);
    EXPECT_THAT(err, HasSubstr("out.png"));
}

TEST_F(ToolTest, CommandLinesThatMakeNoSenseAreTold) {
    EXPECT_EQ(run({}), 1);
    for (const char* command : {"segment", "ladon", "lut", "faces", "content"}) EXPECT_EQ(run({command}), 1);
    EXPECT_EQ(run({"segment", path("me.png"), "--capacity", "2"}), 1);
    for (const char* type : {"0", "4", "11", "-1", "three"}) {
        EXPECT_EQ(run({"segment", path("me.png"), "--type", type}), 1) << type;
        EXPECT_EQ(run({"bench", "--type", type}), 1) << type;
    }
    EXPECT_EQ(run({"segment", path("me.png"), "--background", "#12"}), 1);
    EXPECT_EQ(run({"segment", path("me.png"), "--camera", "0"}), 1);
    EXPECT_EQ(run({"paint", path("me.png")}), 1);
    EXPECT_THAT(err, Not(IsEmpty()));
}

TEST_F(ToolTest, HelpAndVersionGoToStdout) {
    EXPECT_EQ(run({"--help"}), 0);
    EXPECT_THAT(out, AllOf(HasSubstr("segment"), HasSubstr("bench"), HasSubstr("doctor"), HasSubstr("Exit codes"),
                           HasSubstr("  6  the tool itself failed")));
    for (const char* command : {"segment", "ladon", "lut", "faces", "content", "bench", "doctor"}) {
        EXPECT_EQ(run({command, "--help"}), 0);
        EXPECT_THAT(out, AllOf(HasSubstr("Examples:"), HasSubstr("Exit codes")));
    }
    EXPECT_EQ(run({"--version"}), 0);
    EXPECT_THAT(out, StartsWith("zelclient 0."));
}

TEST_F(ToolTest, HostThatDoesNotStartIsTold) {
    EXPECT_EQ(run({"segment", path("me.png"), "--host", path("nohost")}), 4);
    EXPECT_THAT(err, HasSubstr("nohost"));
    EXPECT_EQ(run({"segment", path("me.png")}, "quit=3"), 4);
    EXPECT_THAT(err, HasSubstr("ended with code 3"));
}

TEST_F(ToolTest, ModelThatIsRefusedIsTold) {
    EXPECT_EQ(run({"segment", path("me.png"), "--type", "5"}, "refuse=1"), 4);
    EXPECT_THAT(err, HasSubstr("model type 5"));
}

TEST_F(ToolTest, FrameWithoutAMaskIsTold) {
    EXPECT_EQ(run({"segment", path("me.png"), "--out", path("out.png")}, "fail-every=2"), 5);
    EXPECT_THAT(err, HasSubstr("no mask"));
    EXPECT_FALSE(fs::exists(path("out.png")));
}

TEST_F(ToolTest, FrameOfADeadHostIsSentAgain) {
    EXPECT_EQ(run({"segment", path("me.png"), "--json", "--repeat", "3"}, "die-after=3"), 0) << err;
}

TEST_F(ToolTest, BenchPrintsATableAndJson) {
    ASSERT_EQ(run({"bench", "--frames", "30"}), 0) << err;
    EXPECT_THAT(out, AllOf(HasSubstr("p50 ms"), HasSubstr("256x144"), HasSubstr("640x360"), HasSubstr("still")));
    ASSERT_EQ(run({"bench", path("me.png"), "--frames", "30", "--capacity", "1", "--json"}), 0) << err;
    EXPECT_THAT(out, AllOf(StartsWith("[\n"), HasSubstr("\"p99_us\":"), Not(HasSubstr("\"width\":256"))));
}

TEST_F(ToolTest, CrashOfTheHostIsToldWithItsFiles) {
    EXPECT_EQ(run({"segment", path("me.png")}, "die-at=1,leave=3"), 5);
    EXPECT_THAT(err, AllOf(HasSubstr("ended with code 9; it left the report "), HasSubstr(".txt and the dump "),
                           HasSubstr(".dmp")));
    EXPECT_EQ(run({"doctor", "--timeout", "2000"}, "quit=5,leave=1"), 4);
    EXPECT_THAT(out, AllOf(HasSubstr("ended with code 5; it left the report "),
                           HasSubstr(" UTC  EXCEPTION_ACCESS_VIOLATION at client_fake_host+0x1a2b  ")));
}

}  // namespace
