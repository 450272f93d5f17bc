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
