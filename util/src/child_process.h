#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "platform/include/module.h"
#include "platform/include/process.h"
#include "platform/include/thread.h"

// For tests: what util_test_child wrote, lines ended by "\n" on every system.
struct ChildOutput {
    std::string standardOutput;
    std::string standardError;
};

inline std::string takeTextFile(const std::string& path) {
    std::string text;
    {
        std::ifstream file(path, std::ios::binary);
        text.assign(std::istreambuf_iterator<char>(file), {});
    }
    std::remove(path.c_str());
    std::erase(text, '\r');
    return text;
}

inline ChildOutput runChild(std::vector<std::pair<std::string, std::string>> environment,
                            const std::vector<std::string>& arguments = {}) {
    const std::string program = platform::executablePath();
    const std::string extension = program.ends_with(".exe") ? ".exe" : "";
    // A name is used once: a removed file may stay until the system has closed the last handle of the child before.
    static int number = 0;
    const std::string stem = testing::TempDir() + "util_test_" + std::to_string(platform::currentProcessId()) + "_" +
                             std::to_string(++number);
    platform::ProcessOptions options;
    options.environment = std::move(environment);
    options.standardOutput = stem + ".out";
    options.standardError = stem + ".err";
    std::string error;
    const auto child = platform::startProcess(
        platform::executableDirectory() + platform::pathSeparator() + "util_test_child" + extension, arguments, options,
        &error);
    EXPECT_NE(child, nullptr) << error;
    if (child == nullptr) return {};
    EXPECT_TRUE(child->waitForExit(60000));
    EXPECT_EQ(child->exitCode(), 0);
    return {takeTextFile(options.standardOutput), takeTextFile(options.standardError)};
}
