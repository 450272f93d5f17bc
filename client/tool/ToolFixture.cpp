#include "client/tool/ToolFixture.h"

#include <algorithm>

#include "client/tool/PictureFile.h"
#include "client/tool/file_paths.h"
#include "platform/include/module.h"
#include "platform/include/process.h"
#include "platform/include/thread.h"
#include "platform/test_support.h"

namespace fs = std::filesystem;

using namespace zeltool;

ToolTest::ToolTest()
    : folder(fs::temp_directory_path() / ("zelclient_tool_" + std::to_string(platform::currentProcessId()) + "_" +
                                          testing::UnitTest::GetInstance()->current_test_info()->name())),
      temporary(path("temporary")),
      standardOutput(path("stdout")) {
    fs::create_directories(pathOf(temporary));
    // Left half dark, right half of full red: the fake host's mask is the red plane.
    Image picture = plainColour(64, 36, 0, 50, 50);
    for (uint32_t y = 0; y < 36; ++y) {
        for (uint32_t x = 32; x < 64; ++x) picture.row(y)[3 * x] = 255;
    }
    save("me.png", picture);
}

ToolTest::~ToolTest() {
    platform::test::removeFolder(folder);
}

std::string ToolTest::path(const std::string& name) const {
    return utf8Of(folder / pathOf(name));
}

int ToolTest::run(const std::vector<std::string>& arguments, const std::string& misbehaviour, bool withHost) {
    const std::string here = platform::executableDirectory() + platform::pathSeparator();
    platform::ProcessOptions options;
    options.environment = platform::test::temporaryFolderIn(temporary);
    options.environment.emplace_back("ZELFAKE", misbehaviour);
    if (withHost) options.environment.emplace_back("ZELHOST_PROGRAM", here + ZEL_FAKE_HOST);
    options.standardOutput = standardOutput;
    options.standardError = path("stderr");
    std::string error;
    auto process = platform::startProcess(here + "../bin/" + ZEL_CLIENT_TOOL, arguments, options, &error);
    EXPECT_TRUE(process) << error;
    if (!process) return -1;
    EXPECT_TRUE(process->waitForExit(120000));
    out = textOf("stdout");
    err = textOf("stderr");
    return process->exitCode();
}

std::string ToolTest::textOf(const std::string& name) const {
    std::string text = platform::test::readFile(path(name));
    std::erase(text, '\r');
    return text;
}

Image ToolTest::picture(const std::string& name) const {
    Image loaded;
    std::string error;
    EXPECT_TRUE(loadPicture(path(name), loaded, &error)) << error;
    return loaded;
}

void ToolTest::save(const std::string& name, const Image& picture) const {
    std::string error;
    EXPECT_TRUE(savePicture(path(name), picture, &error)) << error;
}

std::vector<std::string> ToolTest::namesIn(const std::string& name) const {
    std::vector<std::string> names;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder / pathOf(name)))
        names.push_back(utf8Of(entry.path().filename()));
    std::sort(names.begin(), names.end());
    return names;
}
