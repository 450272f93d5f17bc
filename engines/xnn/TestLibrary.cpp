#include "engines/xnn/TestLibrary.h"

#include <sstream>

namespace xnn::test {

std::string testLibraryFile(const std::string& variant) {
    const char separator = platform::pathSeparator();
    return platform::executableDirectory() + separator + "xnn" + separator + variant + separator +
           platform::libraryFileName("xnn.dll");
}

TestLibrary::TestLibrary(const std::string& variant)
    : mFile(testLibraryFile(variant)), mLibrary(platform::loadLibrary(mFile, false)) {
    symbol<void()>("xnnTestReset")();
}

TestLibrary::~TestLibrary() {
    platform::freeLibrary(mLibrary);
}

std::string TestLibrary::folder() const {
    return mFile.substr(0, mFile.rfind(platform::pathSeparator()));
}

void TestLibrary::set(const std::string& key, const std::string& value) const {
    symbol<void(const char*, const char*)>("xnnTestSet")(key.c_str(), value.c_str());
}

void TestLibrary::actAsLadon(int height, int width) const {
    const std::string picture = std::to_string(height) + "x" + std::to_string(width);
    set("properties",
        "CACHE_DIR=std::filesystem::path,GPU_THROTTLE_HINT_LEVEL=std::string,MULTI_DEVICE_PRIORITIES=std::string");
    set("dims input", "1x4x" + picture);
    set("dims segmentation", "1x1x" + picture);
    set("dims gesture", "1x9");
    set("dims faces_and_landmarks", "1x1x9x16x1439");
    set("dims motion", "1x1");
    set("dims lut", "1x3x33x33x33");
    set("dims lut_vertices", "1x3x33");
    set("dims lut_confidence", "1x1");
}

std::vector<std::string> TestLibrary::takeCalls() const {
    using Take = void(void*, const char*);
    std::string text;
    symbol<void(void*, Take*)>("xnnTestCalls")(
        &text, [](void* out, const char* calls) { *static_cast<std::string*>(out) = calls; });
    std::vector<std::string> calls;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) calls.push_back(line);
    return calls;
}

}  // namespace xnn::test
