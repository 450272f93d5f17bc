#pragma once

#include <gmock/gmock.h>

#include <filesystem>
#include <string>
#include <vector>

#include "client/tool/Picture.h"

// Runs the tool as its users do, on the fake host where nothing else is said.
class ToolTest : public testing::Test {
  protected:
    // A folder of the test's own with a picture me.png.
    ToolTest();
    ~ToolTest() override;

    // The path of `name` in the test's folder, UTF-8 as all paths.
    std::string path(const std::string& name) const;

    // Runs the tool; what it wrote is in out and err, and its exit code is returned.
    int run(const std::vector<std::string>& arguments, const std::string& misbehaviour = "", bool withHost = true);

    std::string textOf(const std::string& name) const;
    zeltool::Image picture(const std::string& name) const;
    void save(const std::string& name, const zeltool::Image& picture) const;
    // Names in a folder, sorted.
    std::vector<std::string> namesIn(const std::string& name) const;

    std::filesystem::path folder;
    std::string temporary;       // the tool's temporary folder, one that nobody else's hosts leave anything in
    std::string standardOutput;  // what takes the tool's
    std::string out;
    std::string err;
};
