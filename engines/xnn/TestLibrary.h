#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/include/module.h"

namespace xnn::test {

// The file of the test library `variant`: "complete", "other_version", "throws" and "crashes" (where its log is asked
// for), or "without_" and an entry.
std::string testLibraryFile(const std::string& variant);

// A hold on one test library while it lives: what is set here, engines of that file see, and their calls are kept.
class TestLibrary {
  public:
    explicit TestLibrary(const std::string& variant = "complete");
    ~TestLibrary();
    TestLibrary(const TestLibrary&) = delete;
    TestLibrary& operator=(const TestLibrary&) = delete;

    const std::string& file() const { return mFile; }
    // Where it lies, alone.
    std::string folder() const;

    // Lists are separated by commas.
    // "fails": entries that leave an exception pending, "text": its text instead of "ENTRY failed";
    // "throws": entries that throw a number; "held": networks whose creation lasts until this is set anew;
    // "null creations": which creations give null, counted from 1;
    // "version", "engines", "properties" (NAME=TYPE): what the library tells;
    // "failing properties" (count, lengths, texts), "failing dims" (count, dims): which call of an entry fails;
    // "length", "number": told instead of each text's length and each list's;
    // "dims LAYER": a layer's dimensions, "1x9" for one; 1x4x2x3 unless set;
    // "logs": tells lines from a thread of its own, "null line": tells a null line;
    // "waiting ends": the handles whose ends wait until they are no longer listed here.
    void set(const std::string& key, const std::string& value) const;

    // From now on it has the layers and properties of a Ladon network, for pictures of that size. Any output is the
    // whole input, doubled, and zeros behind it.
    void actAsLadon(int height, int width) const;

    // The calls since the last time, "HANDLE ENTRY ARGUMENTS" with handles counted from 1.
    std::vector<std::string> takeCalls() const;

  private:
    template <class Function>
    Function* symbol(const char* name) const {
        return reinterpret_cast<Function*>(platform::findSymbol(mLibrary, name));
    }

    std::string mFile;
    platform::Library mLibrary;
};

}  // namespace xnn::test
