#include "engines/vino/QorModule.h"

#include <gtest/gtest.h>

#include <string>

#include "plugins/qorml/TestModules.h"
#include "tests/support/TraceCapture.h"

namespace {

using vreek::CQorModule;
using zeltest::ModuleFolder;

TEST(QorModuleTest, UnloadedModuleHasItsNameAndNoMethods) {
    CQorModule module("qorml.dll");
    EXPECT_STREQ(module.GetModuleName(), "qorml.dll");
    EXPECT_EQ(module.QueryMethod("CreateQorMLModel"), nullptr);
}

TEST(QorModuleTest, LoadedModuleTellsItsExportsUntilItsEnd) {
    zeltest::TraceCapture trace;
    {
        const ModuleFolder folder("works");
        CQorModule module("qorml.dll");
        ASSERT_TRUE(module.LoadModule());
        EXPECT_EQ(trace.count(2, "CQorModule::LoadModule(strPathName) qorml.dll, m_hModule= "), 1);
        EXPECT_NE(module.QueryMethod("CreateQorMLModel"), nullptr);
        EXPECT_EQ(module.QueryMethod("NoSuchMethod"), nullptr);
        EXPECT_STREQ(module.GetModuleName(), "qorml.dll");
        EXPECT_FALSE(trace.contains("UnloadModule"));
    }
    EXPECT_EQ(trace.lines().back(),
              (zeltest::TraceCapture::Line{2, "CQorModule::UnloadModule(m_strModuleName) qorml.dll"}));
    EXPECT_EQ(trace.count(0, ""), 0);
}

TEST(QorModuleTest, FailedLoadTellsErrorAndPath) {
    zeltest::TraceCapture trace;
    const ModuleFolder folder("missing");
    CQorModule module("qorml.dll");
    EXPECT_FALSE(module.LoadModule());
    std::string error;
    for (const auto& line : trace.lines())
        if (line.level == 0) error += line.text;
    EXPECT_EQ(error.rfind("CQorModule::LoadModule open qorml.dll fail, error = 126,strPathName=", 0), 0u) << error;
    EXPECT_NE(error.find(std::string("qorml_missing") + platform::pathSeparator() + "qorml.dll"), std::string::npos);
    EXPECT_TRUE(trace.contains("CQorModule::LoadModule(strPathName) qorml.dll, m_hModule= "));
    EXPECT_EQ(module.QueryMethod("CreateQorMLModel"), nullptr);
}

TEST(QorModuleTest, LongNameIsCut) {
    CQorModule module(std::string(600, 'm').c_str());
    EXPECT_EQ(module.GetModuleName(), std::string(511, 'm'));
    EXPECT_FALSE(module.LoadModule());
}

// Loads of the tests before count too, so this one only sees the end of the tracing.
TEST(QorModuleTest, EntryAndExitAreTracedForTheFirst150LoadsOnly) {
    const ModuleFolder folder("missing");
    CQorModule module("qorml.dll");
    zeltest::TraceCapture trace;
    for (int load = 0; load < 151; ++load) module.LoadModule();
    EXPECT_GT(trace.count(2, "CQorModule::LoadModule, enter, "), 0);
    EXPECT_LE(trace.count(2, "CQorModule::LoadModule, enter, "), 150);
    EXPECT_EQ(trace.count(2, "CQorModule::LoadModule, enter, "), trace.count(2, "CQorModule::LoadModule, leave, "));
    trace.takeLines();
    module.LoadModule();
    EXPECT_EQ(trace.count(2, "CQorModule::LoadModule, enter, "), 0);
    EXPECT_EQ(trace.count(0, "CQorModule::LoadModule open qorml.dll fail, error = "), 1);
}

}  // namespace
