#pragma once

#include <filesystem>
#include <string>

namespace zeltool {

// A fresh folder in the temporary one that no other user can look into or put anything in; removed with the files in
// it.
class PrivateFolder {
  public:
    // Throws Failure when it cannot be made.
    PrivateFolder();
    ~PrivateFolder();
    PrivateFolder(const PrivateFolder&) = delete;
    PrivateFolder& operator=(const PrivateFolder&) = delete;

    // The path of a file in it, UTF-8.
    std::string path(const std::string& name) const;

  private:
    std::filesystem::path mFolder;
};

}  // namespace zeltool
