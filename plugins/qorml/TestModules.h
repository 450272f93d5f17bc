#pragma once

#include <string>

#include "platform/include/module.h"

namespace zeltest {

// While it lives, the modules of this process come from the folder of one of the test modules: "works", "no_destroy",
// "no_model", "refuses", "throws_in_creation", "throws_in_initialise", "throws_number_in_creation",
// "throws_number_in_initialise", "throws_number_at_the_end"; any other name is a folder without one.
class ModuleFolder {
  public:
    explicit ModuleFolder(const std::string& name) : mFolder(testFolder() + "qorml_" + name) {
        platform::replaceExecutableDirectory(mFolder);
    }
    ~ModuleFolder() { platform::replaceExecutableDirectory(""); }
    ModuleFolder(const ModuleFolder&) = delete;
    ModuleFolder& operator=(const ModuleFolder&) = delete;

    // The module's file.
    std::string file() const { return mFolder + platform::pathSeparator() + platform::libraryFileName("qorml.dll"); }

  private:
    static std::string testFolder() {
        platform::replaceExecutableDirectory("");
        return platform::executableDirectory() + platform::pathSeparator();
    }

    const std::string mFolder;
};

// Keeps a test module loaded, to ask it how many of its models live.
class ModuleWatch {
  public:
    explicit ModuleWatch(const ModuleFolder& folder) : mLibrary(platform::loadLibrary(folder.file(), false)) {}
    ~ModuleWatch() { platform::freeLibrary(mLibrary); }
    ModuleWatch(const ModuleWatch&) = delete;
    ModuleWatch& operator=(const ModuleWatch&) = delete;

    // -1 when the module could not be loaded.
    int livingModels() const {
        const auto count = reinterpret_cast<int (*)()>(platform::findSymbol(mLibrary, "LivingModels"));
        return count ? count() : -1;
    }

  private:
    const platform::Library mLibrary;
};

}  // namespace zeltest
