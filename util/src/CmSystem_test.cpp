#include "util/include/CmSystem.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "platform/include/machine.h"
#include "platform/include/module.h"
#include "tests/support/TraceCapture.h"
#include "util/src/child_process.h"

namespace {

std::string withSeparators(std::string path) {
    for (char& c : path) {
        if (c == '/') c = platform::pathSeparator();
    }
    return path;
}

bool isWindows() {
    return platform::pathSeparator() == '\\';
}

const char* const kHome = isWindows() ? "C:\\users\\someone" : "/home/someone";

// The form for logs of each path in a process with that home.
std::string shown(const std::string& path, const std::string& home = kHome) {
    const ChildOutput output = runChild(
        {{"HOME", isWindows() ? "" : home}, {"USERPROFILE", isWindows() ? home : ""}, {"ZELHOST_TRACE", "-1"}}, {path});
    const size_t start = output.standardOutput.find('\n') + 1;
    return output.standardOutput.substr(start, output.standardOutput.size() - start - 1);
}

TEST(CmSystemTest, PathForLogsHidesTheHomeDirectory) {
    const std::string home = kHome;
    const std::string file = withSeparators("/app/qorml.dll");
    EXPECT_EQ(shown(home + file), "~" + file);
    EXPECT_EQ(shown(home), "~");
    EXPECT_EQ(shown(home + file, home + withSeparators("/")), "~" + file);
}

TEST(CmSystemTest, PathForLogsLeavesOtherPathsAlone) {
    const std::string home = kHome;
    EXPECT_EQ(shown(home + "else"), home + "else");
    EXPECT_EQ(shown("app.so"), "app.so");
    EXPECT_EQ(shown(home.substr(0, 5)), home.substr(0, 5));
    const std::string root = isWindows() ? "C:\\" : "/";
    EXPECT_EQ(shown(home, root), home);
    EXPECT_EQ(shown(home, ""), home);
}

TEST(CmSystemTest, PathForLogsComparesAsTheSystemDoes) {
    if (!isWindows()) {
        EXPECT_EQ(shown("/HOME/someone/x"), "/HOME/someone/x");
        return;
    }
    EXPECT_EQ(shown("c:/Users/SomeOne/x"), "~/x");
}

TEST(CmSystemTest, PathForLogsIsCutToWholeCharacters) {
    char out[6] = "xxxxx";
    EXPECT_EQ(kmo_get_filepath_trace("?abcd", out, sizeof out), 0);
    EXPECT_STREQ(out, "?abcd");
    EXPECT_EQ(kmo_get_filepath_trace("?abcde", out, sizeof out), ERANGE);
    EXPECT_STREQ(out, "?abcd");
    EXPECT_EQ(kmo_get_filepath_trace("?abc\xc3\xa4", out, sizeof out), ERANGE);
    EXPECT_STREQ(out, "?abc");
    EXPECT_EQ(kmo_get_filepath_trace("", out, sizeof out), 0);
    EXPECT_STREQ(out, "");
}

TEST(CmSystemTest, PathForLogsNeedsPathAndRoom) {
    char out[6] = "xxxxx";
    EXPECT_EQ(kmo_get_filepath_trace("path", nullptr, 6), EINVAL);
    EXPECT_EQ(kmo_get_filepath_trace("path", out, 0), EINVAL);
    EXPECT_STREQ(out, "xxxxx");
    EXPECT_EQ(kmo_get_filepath_trace(nullptr, out, sizeof out), EINVAL);
    EXPECT_STREQ(out, "");
}

// Told names of the libraries that lie beside the tests, under their directory in the second case.
constexpr char kLibrary[] = "util_test_library.dll";

std::string libraryPath() {
    return platform::executableDirectory() + platform::pathSeparator() + kLibrary;
}

void expectLoaded(void* library) {
    ASSERT_NE(library, nullptr) << platform::lastLibraryError();
    EXPECT_NE(platform::findSymbol(library, "util_test_library_answer"), nullptr);
    kmo_free_library_s(library);
}

TEST(CmSystemTest, LoadsALibraryByItsToldName) {
    expectLoaded(kmo_load_library_s(libraryPath().c_str(), enPathAppendNone, true));
    expectLoaded(kmo_load_library_s(libraryPath().c_str(), static_cast<enPathAppendType>(2), true));
}

TEST(CmSystemTest, LooksIntoTheProgramsDirectoryWhenAsked) {
    expectLoaded(kmo_load_library_s(kLibrary, enPathAppendProgram, true));
    expectLoaded(kmo_load_library_s(kLibrary, enPathAppendProgramFirst, true));
}

TEST(CmSystemTest, FailedLoadIsNullWithTheSystemsNumber) {
    const std::string missing = platform::executableDirectory() + platform::pathSeparator() + "no_such_library.dll";
    for (const auto type : {enPathAppendNone, enPathAppendProgram, enPathAppendProgramFirst}) {
        EXPECT_EQ(kmo_load_library_s(missing.c_str(), type, true), nullptr);
        EXPECT_EQ(platform::lastLibraryError(), 126u);
        EXPECT_EQ(kmo_load_library_s("no_such_library.dll", type, true), nullptr);
        EXPECT_EQ(platform::lastLibraryError(), 126u);
    }
    EXPECT_EQ(kmo_load_library_s(nullptr, enPathAppendNone, true), nullptr);
    EXPECT_EQ(kmo_load_library_s("", enPathAppendProgram, true), nullptr);
    kmo_free_library_s(nullptr);
}

TEST(CmSystemTest, LibrariesAreTracedWhileANotificationObjectLives) {
    const zeltest::TraceCapture trace;
    expectLoaded(kmo_load_library_s(libraryPath().c_str(), enPathAppendNone, true));
    EXPECT_TRUE(trace.lines().empty());
    {
        const kmo_AutoDllNotification_s outer;
        { const kmo_AutoDllNotification_s inner; }
        expectLoaded(kmo_load_library_s(libraryPath().c_str(), enPathAppendNone, true));
        EXPECT_EQ(trace.count(2, "kmo_load_library_s, loaded path="), 1);
        EXPECT_EQ(trace.count(2, "kmo_free_library_s, module=0x"), 1);
        EXPECT_EQ(kmo_load_library_s("no_such_library.dll", enPathAppendNone, true), nullptr);
    }
    expectLoaded(kmo_load_library_s(libraryPath().c_str(), enPathAppendNone, true));
    EXPECT_EQ(trace.lines().size(), 2u);
}

TEST(CmSystemTest, MessageHelperAddsWordsWhenTheyAreOn) {
    CSystemMessageHelper* const helper = CSystemMessageHelper::Instance();
    EXPECT_EQ(helper, CSystemMessageHelper::Instance());
    helper->Init(false);
    EXPECT_EQ(helper->describe(2), "2");
    helper->Init(true);
    EXPECT_EQ(helper->describe(126), "126 (the module or one that it needs was not found or could not be loaded)");
    EXPECT_EQ(helper->describe(127), "127 (the module has no such symbol)");
    const std::string words = helper->describe(2);
    EXPECT_EQ(words.substr(0, 3), "2 (");
    EXPECT_GT(words.size(), 6u);
    EXPECT_EQ(words.find_first_of("\r\n"), std::string::npos);
    helper->Init(false);
}

class ScriptedMachine : public platform::Machine {
  public:
    bool cpuCores(unsigned& physical, unsigned& logical) override {
        if (fails) return false;
        physical = 6;
        logical = 12;
        return true;
    }
    bool cpuFrequency(unsigned& megahertz) override {
        if (fails) return false;
        megahertz = 1600;
        return true;
    }
    std::vector<platform::Adapter> adapters() override { return list; }

    bool fails = false;
    std::vector<platform::Adapter> list;
};

class CmSystemMachineTest : public testing::Test {
  protected:
    void SetUp() override { platform::replaceMachine(&m_machine); }
    void TearDown() override { platform::replaceMachine(nullptr); }

    ScriptedMachine m_machine;
};

TEST_F(CmSystemMachineTest, ProcessorIsTheMachines) {
    unsigned physical = 0, logical = 0, megahertz = 0;
    EXPECT_EQ(get_cpu_core(physical, logical), 0);
    EXPECT_EQ(get_cpu_frequency(megahertz), 0);
    EXPECT_EQ(physical, 6u);
    EXPECT_EQ(logical, 12u);
    EXPECT_EQ(megahertz, 1600u);
}

TEST_F(CmSystemMachineTest, ProcessorThatCannotBeToldLeavesTheValues) {
    m_machine.fails = true;
    unsigned physical = 1, logical = 2, megahertz = 3;
    EXPECT_NE(get_cpu_core(physical, logical), 0);
    EXPECT_NE(get_cpu_frequency(megahertz), 0);
    EXPECT_EQ(physical, 1u);
    EXPECT_EQ(logical, 2u);
    EXPECT_EQ(megahertz, 3u);
}

TEST_F(CmSystemMachineTest, AdaptersFillEachVectorInOrder) {
    m_machine.list = {{"Intel UHD Graphics 770", 128, "31.0"}, {"Some adapter", 0, ""}};
    std::vector<std::string> names{"old"}, versions{"old", "older"};
    std::vector<unsigned> memory{9, 9, 9};
    EXPECT_EQ(getGpuInfo(names, memory, &versions), 0);
    EXPECT_EQ(names, (std::vector<std::string>{"Intel UHD Graphics 770", "Some adapter"}));
    EXPECT_EQ(memory, (std::vector<unsigned>{128, 0}));
    EXPECT_EQ(versions, (std::vector<std::string>{"31.0", ""}));
    EXPECT_EQ(getGpuInfo(names, memory, nullptr), 0);
    EXPECT_EQ(names.size(), 2u);
    EXPECT_EQ(memory.size(), 2u);
}

TEST_F(CmSystemMachineTest, NoAdapterEmptiesEachVector) {
    std::vector<std::string> names{"old"}, versions{"old"};
    std::vector<unsigned> memory{9};
    EXPECT_EQ(getGpuInfo(names, memory, &versions), 0);
    EXPECT_TRUE(names.empty() && memory.empty() && versions.empty());
}

TEST(CmSystemTest, TheRealMachineAnswers) {
    unsigned physical = 0, logical = 0;
    ASSERT_EQ(get_cpu_core(physical, logical), 0);
    EXPECT_GE(physical, 1u);
    EXPECT_GE(logical, physical);
}

}  // namespace
