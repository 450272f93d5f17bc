// The files that the tool reads and writes, and their names.

#include <filesystem>
#include <fstream>

#include "client/tool/ToolFixture.h"
#include "client/tool/file_paths.h"

namespace fs = std::filesystem;

namespace {

using namespace zeltool;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

class ToolFilesTest : public ToolTest {
  protected:
    // A picture of one colour, the fake host's mask of it is `red`.
    void plain(const std::string& name, uint8_t red) const {
        fs::create_directories(pathOf(path(name)).parent_path());
        save(name, plainColour(16, 9, red, 0, 0));
    }
    int maskIn(const std::string& name) const {
        const Image mask = picture(name);
        return mask.empty() ? -1 : mask.bytes[0];
    }
};

TEST_F(ToolFilesTest, PicturesOfOneNameHaveResultsOfTheirOwn) {
    plain("a/me.png", 10);
    plain("b/me.png", 20);
    plain("c/me.bmp", 30);
    ASSERT_EQ(run({"segment", path("a/me.png"), path("b/me.png"), path("c/me.bmp"), "--mask-out", path("res"),
                   "--cutout", path("res")}),
              0)
        << err;
    EXPECT_THAT(namesIn("res"), ElementsAre("me-2-cutout.png", "me-2-mask.png", "me-3-cutout.png", "me-3-mask.png",
                                            "me-cutout.png", "me-mask.png"));
    EXPECT_EQ(maskIn("res/me-mask.png"), 10);
    EXPECT_EQ(maskIn("res/me-2-mask.png"), 20);
    EXPECT_EQ(maskIn("res/me-3-mask.png"), 30);
    ASSERT_EQ(run({"segment", path("c/me.bmp"), "--mask-out", path("res")}), 0) << err;
    EXPECT_EQ(maskIn("res/me-mask.png"), 30) << "the next run begins anew";
}

TEST_F(ToolFilesTest, NameThatLooksLikeARepeatedOneKeepsItsResult) {
    plain("in/me-2.png", 20);
    plain("in/me.bmp", 30);
    plain("in/me.png", 40);
    ASSERT_EQ(run({"segment", path("in"), "--mask-out", path("res")}), 0) << err;
    EXPECT_THAT(namesIn("res"), ElementsAre("me-2-mask.png", "me-3-mask.png", "me-mask.png"));
    EXPECT_EQ(maskIn("res/me-2-mask.png"), 20);
    EXPECT_EQ(maskIn("res/me-mask.png"), 30);
    EXPECT_EQ(maskIn("res/me-3-mask.png"), 40);
}

TEST_F(ToolFilesTest, NumbersAndCasesThatBecomeAlikeHaveResultsOfTheirOwn) {
    plain("1.png", 10);
    plain("000001.png", 20);
    plain("a/me.png", 30);
    plain("b/ME.png", 40);
    ASSERT_EQ(run({"segment", path("1.png"), path("000001.png"), path("a/me.png"), path("b/ME.png"), "--mask-out",
                   path("res")}),
              0)
        << err;
    EXPECT_THAT(namesIn("res"), ElementsAre("000001-2-mask.png", "000001-mask.png", "ME-2-mask.png", "me-mask.png"));
    EXPECT_EQ(maskIn("res/000001-2-mask.png"), 20);
    EXPECT_EQ(maskIn("res/ME-2-mask.png"), 40);
}

TEST_F(ToolFilesTest, NamesOfAnyLettersAreReadAndWritten) {
    const std::string room =
        "Gr\xc3\xb6\xc3\x9f"
        "e";
    const std::string name = "\xe5\x90\x8d";
    const std::string input = room + "/" + name + ".png";
    plain(input, 255);
    ASSERT_EQ(run({"segment", path(input), "--out", path(room + "/res"), "--mask-out",
                   path(room + "/" + name + "2.jpg"), "--background", path(input), "--json"}),
              0)
        << err;
    EXPECT_THAT(out, StartsWith("{\"name\":\"" + name + "\","));
    EXPECT_THAT(namesIn(room), ElementsAre("res", name + ".png", name + "2.jpg"));
    EXPECT_THAT(namesIn(room + "/res"), ElementsAre(name + "-composed.png"));
    EXPECT_GT(maskIn(room + "/" + name + "2.jpg"), 250);
    ASSERT_EQ(run({"lut", path(room), "--out", path(name), "--cube", path(room + "/" + name + ".cube")}), 0) << err;
    EXPECT_THAT(namesIn(name), ElementsAre(name + "-lut.png", name + "2-lut.png"));
    EXPECT_THAT(textOf(room + "/" + name + ".cube"), StartsWith("TITLE \"" + name + "2\"\n"));
    EXPECT_EQ(run({"faces", path(room + "/none.png")}), 2);
    EXPECT_THAT(err, HasSubstr(room + "/none.png"));
}

TEST_F(ToolFilesTest, TemporaryFolderMayHaveAnyLetters) {
    temporary = path(
        "Gr\xc3\xb6\xc3\x9f"
        "e");
    fs::create_directories(pathOf(temporary));
    EXPECT_EQ(run({"doctor"}, "quit=127,noise=1"), 4);
    EXPECT_THAT(out, AllOf(HasSubstr("ended with code 127"), HasSubstr("noise on stderr")));
    EXPECT_TRUE(fs::is_empty(pathOf(temporary)));
}

TEST_F(ToolFilesTest, PicturesOfEveryFormatGoThroughFiles) {
    const Image me = picture("me.png");
    for (const char* name : {"again.png", "again.bmp"}) {
        save(name, me);
        EXPECT_EQ(picture(name).bytes, me.bytes) << name;
    }
    save("again.jpg", me);
    EXPECT_EQ(picture("again.jpg").width, me.width);
    std::ofstream(path("grey.pgm"), std::ios::binary) << "P5 2 1 255\n"
                                                      << "ab";
    EXPECT_THAT(picture("grey.pgm").bytes, ElementsAre('a', 'a', 'a', 'b', 'b', 'b'));
}

}  // namespace
