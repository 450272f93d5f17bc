#include "engines/xnn/PluginEngine.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <thread>
#include <type_traits>

#include "engines/xnn/TestLibrary.h"
#include "platform/include/text.h"
#include "platform/test_support.h"

namespace xnn::inference {

namespace {

using platform::test::TemporaryFolder;
using test::TestLibrary;
using Calls = std::vector<std::string>;

constexpr char kNoHandle[] = "Please create xnn library handle first of all!";

std::vector<std::wstring> gLoaded;

void* loadFirst(const wchar_t* path) {
    gLoaded.push_back(std::wstring(L"first loader: ") + path);
    return nullptr;
}

void* loadSecond(const wchar_t* path) {
    gLoaded.push_back(std::wstring(L"second loader: ") + path);
    return nullptr;
}

std::filesystem::path pathOf(const std::string& utf8) {
    return std::u8string(utf8.begin(), utf8.end());
}

void initialise(PluginEngine& engine, const std::string& file) {
    engine.init(pathOf(file), loadFirst, loadSecond);
}

// What `call` raises, "" when it raises nothing.
template <class Call>
std::string textOf(Call call) {
    try {
        call();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "";
}

std::string errorOfInit(const std::string& file) {
    PluginEngine engine;
    return textOf([&] { initialise(engine, file); });
}

// Lines on the standard error stream of `call`.
template <class Call>
std::string linesOf(Call call) {
    testing::internal::CaptureStderr();
    call();
    return testing::internal::GetCapturedStderr();
}

std::string missing(const std::string& entry) {
    return "GetProcAddress cannot locate method '" + entry + "': 127";
}

std::string warning(const std::string& version, const std::string& open, const std::string& close) {
    return "[XNN Warning] Program build with XNN header version" + open + "2025.06.23-8ad6a1c(x64)" + close +
           ", not match current use XNN dynamic library version" + open + version + close +
           ". If init() there have any issue, please make two versions same first.";
}

// An engine on the complete library, whose calls so far have been taken.
class PluginEngineTest : public testing::Test {
  protected:
    void SetUp() override {
        initialise(mEngine, mLibrary.file());
        mLibrary.takeCalls();
    }

    TestLibrary mLibrary;
    PluginEngine mEngine;
};

}  // namespace

// ---- init ----

TEST(PluginEngineInitTest, VersionIsProbedBeforeTheEnginesOwnHandleIsMade) {
    const TestLibrary library;
    {
        PluginEngine engine;
        EXPECT_EQ(linesOf([&] { initialise(engine, library.file()); }), "");
        EXPECT_EQ(library.takeCalls(), (Calls{"0 xnnCreateWithLibraryLoader", "1 xnnSelfVersion", "1 xnnSelfVersion",
                                              "1 xnnDestory", "0 xnnCreateWithLibraryLoader"}));
        EXPECT_EQ(engine.version(), "2025.06.23-8ad6a1c(x64)");
        EXPECT_EQ(library.takeCalls(), (Calls{"2 xnnSelfVersion", "2 xnnSelfVersion"}));
    }
    EXPECT_EQ(library.takeCalls(), Calls{"2 xnnDestory"});
}

TEST(PluginEngineInitTest, LibraryGetsBothLoaders) {
    const TestLibrary library;
    PluginEngine engine;
    gLoaded.clear();
    initialise(engine, library.file());
    const std::vector<std::wstring> once = {L"first loader: first", L"second loader: second"};
    EXPECT_EQ(gLoaded, (std::vector<std::wstring>{once[0], once[1], once[0], once[1]}));
}

TEST(PluginEngineInitTest, MissingFileIsToldWithItsPath) {
    const TemporaryFolder folder;
    EXPECT_EQ(errorOfInit(folder.path("missing")), folder.path("missing") + " not exists.");
}

TEST(PluginEngineInitTest, FileThatIsNoLibraryFailsAndItsReasonIsTold) {
    const TemporaryFolder folder;
    const std::string file = folder.write("text", "This is no library.");
    std::string error;
    const std::string lines = linesOf([&] { error = errorOfInit(file); });
    EXPECT_EQ(error, "Dynamic load xnn library failed, please check!");
    EXPECT_EQ(lines, file + " file is not a valid DLL. load_shared_object failed.\n");
}

TEST(PluginEngineInitTest, LibraryWithoutAnEntryIsRefusedByItsName) {
    EXPECT_EQ(errorOfInit(test::testLibraryFile("without_xnnCreateNetByFiles")), missing("xnnCreateNetByFiles"));
}

// What it has thrown must not be needed any more when the library has gone.
TEST(PluginEngineInitTest, ErrorOfTheLibrarysOwnTypeOutlivesTheLibrary) {
    const std::string error = textOf([] {
        PluginEngine engine;
        initialise(engine, test::testLibraryFile("throws"));
        engine.setLogCallback([](const std::string&) {});
    });
    EXPECT_EQ(error, "an error of the library's own type");
}

TEST(PluginEngineInitTest, LibraryThatIsTooOldIsRefused) {
    EXPECT_EQ(errorOfInit(test::testLibraryFile("without_xnnGetPluginModelVersionWithString")),
              missing("xnnGetPluginModelVersionWithString"));
}

TEST(PluginEngineInitTest, LibraryWithoutLayerPrecisionLoadsAndIsTold) {
    const TestLibrary library("without_xnnGetLayerPrecision");
    PluginEngine engine;
    EXPECT_EQ(linesOf([&] { initialise(engine, library.file()); }),
              "This XNN library no xnnGetLayerPrecision function:" + missing("xnnGetLayerPrecision") + "\n");
    engine.infer();
}

TEST(PluginEngineInitTest, LibraryWithoutLogLoadsAndTakesNoCallback) {
    const TestLibrary library("without_xnnSetLogCallback");
    PluginEngine engine;
    EXPECT_EQ(linesOf([&] { initialise(engine, library.file()); }),
              "This XNN library no xnnSetLogCallback function:" + missing("xnnSetLogCallback") + "\n");
    library.takeCalls();
    auto owned = std::make_shared<int>(0);
    const std::weak_ptr<int> dropped = owned;
    engine.setLogCallback([owned = std::move(owned)](const std::string&) { FAIL() << *owned; });
    EXPECT_TRUE(dropped.expired());
    EXPECT_TRUE(library.takeCalls().empty());
}

TEST(PluginEngineInitTest, OtherVersionIsToldTwiceAndUsed) {
    const TestLibrary library("other_version");
    PluginEngine engine;
    EXPECT_EQ(linesOf([&] { initialise(engine, library.file()); }), warning("2024.1", "(", ")") + "\n");
    Calls lines;
    engine.setLogCallback([&](const std::string& line) { lines.push_back(line); });
    EXPECT_EQ(lines, Calls{warning("2024.1", "[", "]")});
    EXPECT_EQ(engine.version(), "2024.1");
    engine.infer();
    engine.setLogCallback([](const std::string&) {});
}

TEST(PluginEngineInitTest, LibraryThatMakesNoHandleIsRefused) {
    const TestLibrary library;
    library.set("null creations", "1");
    EXPECT_EQ(errorOfInit(library.file()), "Create xnn engine failed, please check!");
    EXPECT_EQ(library.takeCalls(), Calls{"0 xnnCreateWithLibraryLoader"});
}

TEST(PluginEngineInitTest, SecondAttemptIsMadeWhenTheFirstMakesNoHandle) {
    const TestLibrary library;
    library.set("null creations", "2");
    PluginEngine engine;
    initialise(engine, library.file());
    library.takeCalls();
    engine.infer();
    EXPECT_EQ(library.takeCalls(), Calls{"3 xnnInfer"});
}

TEST(PluginEngineInitTest, ErrorOfTheSecondAttemptIsTheOneThatIsRaised) {
    const TestLibrary library;
    library.set("null creations", "2,3");
    EXPECT_EQ(errorOfInit(library.file()), "[wstring] Create xnn engine failed, please check!");
}

TEST(PluginEngineInitTest, EachAttemptNamesItsForm) {
    const TestLibrary library;
    library.set("null creations", "1,2");
    PluginEngine engine;
    EXPECT_EQ(textOf([&] { engine.private_init(library.file(), loadFirst, loadSecond); }),
              "[string] Create xnn engine failed, please check!");
    EXPECT_EQ(textOf([&] { engine.private_init(platform::widen(library.file()), loadFirst, loadSecond); }),
              "[wstring] Create xnn engine failed, please check!");
}

TEST(PluginEngineInitTest, ExceptionOfTheCreationComesBeforeTheMissingHandle) {
    const TestLibrary library;
    library.set("fails", "xnnCreateWithLibraryLoader");
    library.set("text", "no licence");
    library.set("null creations", "1");
    PluginEngine engine;
    EXPECT_EQ(textOf([&] { engine.private_init(library.file(), nullptr, nullptr); }), "no licence");
}

TEST(PluginEngineInitTest, HandleWithAPendingExceptionIsReleased) {
    const TestLibrary library;
    library.set("fails", "xnnCreateWithLibraryLoader");
    PluginEngine engine;
    EXPECT_EQ(textOf([&] { engine.private_init(library.file(), nullptr, nullptr); }),
              "xnnCreateWithLibraryLoader failed");
    EXPECT_EQ(library.takeCalls(), (Calls{"0 xnnCreateWithLibraryLoader", "1 xnnGetExceptionStringLength",
                                          "1 xnnGetExceptionString", "1 xnnResetExceptionString", "1 xnnDestory"}));
    EXPECT_EQ(textOf([&] { engine.infer(); }), kNoHandle);
}

TEST(PluginEngineInitTest, PathMayHaveNoNarrowForm) {
    const TemporaryFolder folder;
    const std::string file = folder.write("\xe7\xbd\x91/" + platform::libraryFileName("xnn.dll"),
                                          platform::test::readFile(test::testLibraryFile("complete")));
    PluginEngine engine;
    initialise(engine, file);
    EXPECT_EQ(engine.version(), kHeaderVersion);
}

TEST(PluginEngineInitTest, FailedInitLeavesTheEngineAsItWas) {
    const TestLibrary library;
    PluginEngine engine;
    initialise(engine, library.file());
    EXPECT_NE(textOf([&] { initialise(engine, test::testLibraryFile("without_xnnCreateNetByFiles")); }), "");
    EXPECT_EQ(engine.version(), kHeaderVersion);
    library.takeCalls();
    initialise(engine, library.file());
    EXPECT_EQ(library.takeCalls().back(), "2 xnnDestory");
}

TEST(PluginEngineInitTest, EngineMayBeHandedToAnotherThread) {
    const TestLibrary library;
    auto engine = std::make_unique<PluginEngine>();
    std::thread([&] { initialise(*engine, library.file()); }).join();
    EXPECT_EQ(engine->version(), kHeaderVersion);
}

// ---- the table ----

namespace {

// In the order in which they are looked up.
const Calls kAge = {"xnnGetPluginModelVersionLengthWithString", "xnnGetPluginModelVersionWithString",
                    "xnnGetPluginModelVersionLengthWithWstring", "xnnGetPluginModelVersionWithWstring"};
const Calls kTable = {"xnnCreate",
                      "xnnCreateWithLibraryLoader",
                      "xnnDestory",
                      "xnnRegisterModelAsInnerIDwithString",
                      "xnnRegisterModelAsInnerIDwithWString",
                      "xnnUnregisterInnerID",
                      "xnnGetSupportEngineNumber",
                      "xnnGetSupportEngineLength",
                      "xnnGetSupportEngine",
                      "xnnSelfVersion",
                      "xnnVersion",
                      "xnnGetSupportDeviceNumber",
                      "xnnGetSupportDeviceLength",
                      "xnnGetSupportDevice",
                      "xnnCreateNetByFiles",
                      "xnnCreateNetByFilesWithWstring",
                      "xnnCreateNetByBuffers",
                      "xnnRemoveNetwork",
                      "xnnGetSupportBuiltinModelNumber",
                      "xnnGetSupportBuiltinModelLength",
                      "xnnGetSupportBuiltinModelID",
                      "xnnCreateNetByBuiltin",
                      "xnnSwitchNetwork",
                      "xnnGetCreatedNetworkIdentifiersNumber",
                      "xnnGetCreatedNetworkIdentifierLength",
                      "xnnGetCreatedNetworkIdentifier",
                      "xnnGetNetworkEngineLength",
                      "xnnGetNetworkEngine",
                      "xnnGetNetworkDeviceLength",
                      "xnnGetNetworkDevice",
                      "xnnGetCurrentEngineLength",
                      "xnnGetCurrentEngine",
                      "xnnGetCurrentIdentifierLength",
                      "xnnGetCurrentIdentifier",
                      "xnnGetCurrentNetworkDeviceLength",
                      "xnnGetCurrentNetworkDevice",
                      "xnnSetLayerData",
                      "xnnGetLayerData",
                      "xnnGetInputLayerNumber",
                      "xnnGetInputLayerLength",
                      "xnnGetInputLayer",
                      "xnnGetOutputLayerNumber",
                      "xnnGetOutputLayerLength",
                      "xnnGetOutputLayer",
                      "xnnGetLayerDims",
                      "xnnInfer",
                      "xnnHasException",
                      "xnnGetExceptionStringLength",
                      "xnnGetExceptionString",
                      "xnnResetExceptionString",
                      "xnnGetEngineMutableProperties",
                      "xnnGetDeviceSupportPropertiesNumber",
                      "xnnGetDeviceSupportPropertiesByIndex",
                      "xnnGetDevicePropertyTypeID",
                      "xnnGetDevicePropertyTypeString",
                      "xnnGetDevicePropertyTypeUnorderedMap_String_Float",
                      "xnnGetDevicePropertyTypeGeneral",
                      "xnnSetEnginePropertyForNetwork",
                      "xnnGetLayerPrecision",
                      "xnnSetLogCallback"};

// The complete library with some of its entries under another name. The last character goes down by one, so that the
// names stay sorted as the system's search wants them.
class RenamedEntries {
  public:
    std::string without(const Calls& entries) {
        std::string content = mComplete;
        for (const std::string& entry : entries) rename(content, entry);
        return mFolder.write(platform::libraryFileName("renamed_" + std::to_string(++mCount) + ".dll"), content);
    }

  private:
    static void rename(std::string& content, const std::string& entry) {
        const std::string whole = '\0' + entry + '\0';
        ASSERT_NE(content.find(whole), std::string::npos) << entry;
        for (size_t at = content.find(whole); at != std::string::npos; at = content.find(whole, at + 1)) {
            --content[at + entry.size()];
        }
    }

    TemporaryFolder mFolder;
    const std::string mComplete = platform::test::readFile(test::testLibraryFile("complete"));
    int mCount = 0;
};

std::string errorWithout(RenamedEntries& renamed, const Calls& entries) {
    PluginEngine engine;
    return textOf([&] { engine.private_init(renamed.without(entries), nullptr, nullptr); });
}

}  // namespace

TEST(PluginEngineTableTest, EveryEntryIsNeededAndTheFirstMissingOneIsTold) {
    ASSERT_EQ(kTable.size(), 60u);
    Calls entries = kAge;
    entries.insert(entries.end(), kTable.begin(), kTable.end() - 2);
    RenamedEntries renamed;
    for (size_t i = 0; i < entries.size(); ++i) {
        EXPECT_EQ(errorWithout(renamed, {entries[i]}), missing(entries[i]));
        if (i == 0) continue;
        EXPECT_EQ(errorWithout(renamed, {entries[i - 1], entries[i]}), missing(entries[i - 1]));
    }
}

TEST(PluginEngineTableTest, LastTwoEntriesMayBeMissing) {
    RenamedEntries renamed;
    const Calls last = {"xnnGetLayerPrecision", "xnnSetLogCallback"};
    std::string error = "none";
    EXPECT_EQ(linesOf([&] { error = errorWithout(renamed, last); }),
              "This XNN library no xnnGetLayerPrecision function:" + missing(last[0]) + "\n" +
                  "This XNN library no xnnSetLogCallback function:" + missing(last[1]) + "\n");
    EXPECT_EQ(error, "");
}

TEST(PluginEngineTableTest, ProbeNeedsThreeEntries) {
    RenamedEntries renamed;
    EXPECT_EQ(errorOfInit(renamed.without({"xnnSelfVersion", "xnnCreateWithLibraryLoader"})),
              missing("xnnSelfVersion"));
    EXPECT_EQ(errorOfInit(renamed.without({"xnnCreateWithLibraryLoader", "xnnDestory"})),
              missing("xnnCreateWithLibraryLoader"));
    EXPECT_EQ(errorOfInit(renamed.without({"xnnDestory", "xnnCreate"})), missing("xnnDestory"));
}

// ---- without a handle ----

TEST(PluginEngineEmptyTest, OperationsNeedAHandle) {
    PluginEngine engine;
    const float value = 0;
    EXPECT_EQ(textOf([&] { engine.getSupportEngines(); }), kNoHandle);
    EXPECT_EQ(textOf([&] { engine.checkEngineName(""); }), kNoHandle);
    EXPECT_EQ(textOf([&] { engine.createNetwork("OpenVINO", "id", "CPU", {}, {}); }), kNoHandle);
    EXPECT_EQ(textOf([&] { engine.getLayerDims("input"); }), kNoHandle);
    EXPECT_EQ(textOf([&] { engine.getLayerData("input"); }), kNoHandle);
    EXPECT_EQ(textOf([&] { engine.setLayerData("input", &value, {1}); }), kNoHandle);
    EXPECT_EQ(textOf([&] { engine.infer(); }), kNoHandle);
    EXPECT_EQ(textOf([&] { engine.setLogCallback([](const std::string&) {}); }), kNoHandle);
    EXPECT_EQ(textOf([&] { engine.setLogCallback(nullptr); }), kNoHandle);
    EXPECT_EQ(textOf([&] { engine.version(); }), kNoHandle);
    EXPECT_TRUE(engine.getEngineMutableProperties("").empty());
    engine.checkException();
}

// ---- engines and their properties ----

TEST_F(PluginEngineTest, EnginesAreThoseThatTheLibraryLists) {
    EXPECT_EQ(mEngine.getSupportEngines(), (Calls{"OpenVINO", "Other"}));
    EXPECT_EQ(mLibrary.takeCalls(),
              (Calls{"2 xnnGetSupportEngineNumber", "2 xnnGetSupportEngineLength 0", "2 xnnGetSupportEngine 0",
                     "2 xnnGetSupportEngineLength 1", "2 xnnGetSupportEngine 1"}));
    mLibrary.set("engines", "");
    EXPECT_TRUE(mEngine.getSupportEngines().empty());
}

TEST_F(PluginEngineTest, ExceptionStopsTheListOfEnginesWhereItArises) {
    const Calls entries = {"xnnGetSupportEngineNumber", "xnnGetSupportEngineLength", "xnnGetSupportEngine"};
    for (size_t i = 0; i < entries.size(); ++i) {
        mLibrary.set("fails", entries[i]);
        EXPECT_EQ(textOf([&] { mEngine.getSupportEngines(); }), entries[i] + " failed");
        EXPECT_EQ(mLibrary.takeCalls().size(), i + 1 + 3) << "with the three calls for the exception";
    }
}

TEST_F(PluginEngineTest, EngineNameIsChecked) {
    mEngine.checkEngineName("Other");
    EXPECT_EQ(textOf([&] { mEngine.checkEngineName(""); }), "engine_name argument is a empty string. please check!");
    EXPECT_EQ(textOf([&] { mEngine.checkEngineName("openvino"); }),
              "[openvino] is not a supported Engine.\nSupported Engines: OpenVINO Other ");
    mLibrary.set("engines", "");
    EXPECT_EQ(textOf([&] { mEngine.checkEngineName("Other"); }),
              "[Other] is not a supported Engine.\nThis library Not Supported any Engine.");
}

TEST_F(PluginEngineTest, PropertiesHaveTheirTypes) {
    const std::map<std::string, std::string> expected = {
        {"CACHE_DIR", "std::filesystem::path"}, {"COUNT", "int"}, {"HINT", "std::string"}};
    EXPECT_EQ(mEngine.getEngineMutableProperties("OpenVINO"), expected);
    const Calls calls = mLibrary.takeCalls();
    ASSERT_EQ(calls.size(), 5u + 7u);
    EXPECT_EQ(Calls(calls.begin() + 5, calls.begin() + 8), (Calls{"2 xnnGetEngineMutableProperties -1 count OpenVINO",
                                                                  "2 xnnGetEngineMutableProperties 0 lengths OpenVINO",
                                                                  "2 xnnGetEngineMutableProperties 0 texts OpenVINO"}));
    mLibrary.set("properties", "");
    EXPECT_TRUE(mEngine.getEngineMutableProperties("OpenVINO").empty());
}

TEST_F(PluginEngineTest, PropertiesOfAnUnknownEngineAreNotAskedFor) {
    EXPECT_EQ(textOf([&] { mEngine.getEngineMutableProperties("None"); }),
              "[None] is not a supported Engine.\nSupported Engines: OpenVINO Other ");
    for (const std::string& call : mLibrary.takeCalls()) EXPECT_EQ(call.find("Properties"), std::string::npos);
}

TEST_F(PluginEngineTest, ExceptionStopsTheListOfPropertiesWhereItArises) {
    size_t expected = 5 + 1 + 3;
    for (const char* const what : {"count", "lengths", "texts"}) {
        mLibrary.set("fails", "");
        mLibrary.set("failing properties", what);
        EXPECT_EQ(textOf([&] { mEngine.getEngineMutableProperties("OpenVINO"); }),
                  "xnnGetEngineMutableProperties failed");
        EXPECT_EQ(mLibrary.takeCalls().size(), expected++) << what;
    }
}

// ---- networks ----

TEST_F(PluginEngineTest, NetworkIsCreatedFromDescriptionAndWeights) {
    mEngine.createNetwork("OpenVINO", "ladon_CPU", "CPU", {"<net/>", "weights"}, {});
    EXPECT_EQ(mLibrary.takeCalls(), Calls{"2 xnnCreateNetByBuffers OpenVINO ladon_CPU CPU [<net/>] [weights]"});
}

TEST_F(PluginEngineTest, OneBufferComesAlone) {
    mEngine.createNetwork("OpenVINO", "id", "CPU", {"<net/>"}, {});
    EXPECT_EQ(mLibrary.takeCalls(), Calls{"2 xnnCreateNetByBuffers OpenVINO id CPU [<net/>] null:0"});
}

TEST_F(PluginEngineTest, OtherEnginesGetTheFirstBufferAlone) {
    mEngine.createNetwork("Other", "id", "CPU", {"net", "weights"}, {});
    EXPECT_EQ(mLibrary.takeCalls(), Calls{"2 xnnCreateNetByBuffers Other id CPU [net] null:0"});
    mEngine.createNetwork("openvino", "id", "CPU", {"net", "weights"}, {});
    EXPECT_EQ(mLibrary.takeCalls(), Calls{"2 xnnCreateNetByBuffers openvino id CPU [net] null:0"});
}

TEST_F(PluginEngineTest, BuffersAreGivenWhereTheyLie) {
    const std::string weights("\0we\0ights", 9);
    mEngine.createNetwork("OpenVINO", "id", "CPU", {"", weights, "more"}, {});
    EXPECT_EQ(mLibrary.takeCalls(), Calls{"2 xnnCreateNetByBuffers OpenVINO id CPU [] [0we0ights]"});
}

TEST_F(PluginEngineTest, NetworkNeedsABuffer) {
    EXPECT_EQ(textOf([&] {
                  mEngine.createNetwork("OpenVINO", "id", "CPU", {}, {{"NONE", 1}});
              }),
              "model_buffers is empty");
    EXPECT_TRUE(mLibrary.takeCalls().empty());
}

namespace {

Calls withoutQuestions(Calls calls) {
    std::erase_if(calls, [](const std::string& call) { return call.find("xnnGet") != std::string::npos; });
    return calls;
}

}  // namespace

TEST_F(PluginEngineTest, PropertiesAreSetBeforeTheNetworkIsCreated) {
    const Properties properties = {{"CACHE_DIR", std::filesystem::path("/cache")}, {"HINT", std::string("LOW")}};
    mEngine.createNetwork("OpenVINO", "id", "CPU", {"net", "weights"}, properties);
    EXPECT_EQ(withoutQuestions(mLibrary.takeCalls()),
              (Calls{"2 xnnSetEnginePropertyForNetwork OpenVINO id CACHE_DIR std::filesystem::path /cache",
                     "2 xnnSetEnginePropertyForNetwork OpenVINO id HINT std::string LOW",
                     "2 xnnCreateNetByBuffers OpenVINO id CPU [net] [weights]"}));
}

TEST_F(PluginEngineTest, PropertyOfAnotherTypeIsNotSet) {
    mEngine.createNetwork("Other", "id", "CPU", {"net"}, {{"COUNT", 7}});
    EXPECT_EQ(withoutQuestions(mLibrary.takeCalls()), Calls{"2 xnnCreateNetByBuffers Other id CPU [net] null:0"});
}

TEST_F(PluginEngineTest, PropertyThatIsNotListedStopsTheCreation) {
    const Properties properties = {{"CACHE_DIR", std::filesystem::path("/cache")}, {"UNKNOWN", std::string()}};
    EXPECT_EQ(textOf([&] { mEngine.createNetwork("OpenVINO", "id", "CPU", {"net"}, properties); }),
              "OpenVINO no UNKNOWN property! Please check.");
    EXPECT_EQ(withoutQuestions(mLibrary.takeCalls()),
              Calls{"2 xnnSetEnginePropertyForNetwork OpenVINO id CACHE_DIR std::filesystem::path /cache"});
}

TEST_F(PluginEngineTest, PropertyOfAWrongTypeStopsTheCreation) {
    const auto errorWith = [&](const char* name, const std::any& value) {
        return textOf([&] { mEngine.createNetwork("OpenVINO", "id", "CPU", {"net"}, {{name, value}}); });
    };
    const std::string noPath =
        "CACHE_DIR need std::filesystem::path type, but the property_value is not! Please check.";
    const std::string noString = "HINT need std::string type, but the property_value is not! Please check.";
    EXPECT_EQ(errorWith("CACHE_DIR", std::string("/cache")), noPath);
    EXPECT_EQ(errorWith("CACHE_DIR", std::any()), noPath);
    EXPECT_EQ(errorWith("HINT", std::filesystem::path("LOW")), noString);
    EXPECT_EQ(errorWith("HINT", "LOW"), noString);
    EXPECT_TRUE(withoutQuestions(mLibrary.takeCalls()).empty());
}

TEST_F(PluginEngineTest, PropertiesNeedAKnownEngine) {
    EXPECT_EQ(textOf([&] {
                  mEngine.createNetwork("None", "id", "CPU", {"net"}, {{"HINT", std::string("LOW")}});
              }),
              "[None] is not a supported Engine.\nSupported Engines: OpenVINO Other ");
}

// ---- layers ----

TEST_F(PluginEngineTest, LayersTakeAndGiveData) {
    EXPECT_EQ(mEngine.getLayerDims("input"), (std::vector<uint64_t>{1, 4, 2, 3}));
    const float data[] = {1, 2, 3, 4, 5, 6};
    mEngine.setLayerData("input", data, {2, 3});
    mEngine.infer();
    const float* const result = mEngine.getLayerData("output");
    for (int i = 0; i < 6; ++i) EXPECT_EQ(result[i], 2 * data[i]);
    EXPECT_EQ(mLibrary.takeCalls(), (Calls{"2 xnnGetLayerDims input count", "2 xnnGetLayerDims input dims",
                                           "2 xnnSetLayerData input 2x3", "2 xnnInfer", "2 xnnGetLayerData output"}));
}

// ---- exceptions of the library ----

TEST_F(PluginEngineTest, ExceptionIsRaisedByTheCallThatMadeItAndReset) {
    const float value = 0;
    const auto expectRaised = [&](const std::string& entry, const std::function<void()>& call) {
        mLibrary.set("fails", entry);
        mLibrary.takeCalls();
        EXPECT_EQ(textOf(call), entry + " failed");
        const Calls calls = mLibrary.takeCalls();
        ASSERT_GE(calls.size(), 4u) << entry;
        EXPECT_EQ(Calls(calls.end() - 3, calls.end()),
                  (Calls{"2 xnnGetExceptionStringLength", "2 xnnGetExceptionString", "2 xnnResetExceptionString"}));
        EXPECT_EQ(textOf([&] { mEngine.checkException(); }), "") << entry;
    };
    expectRaised("xnnInfer", [&] { mEngine.infer(); });
    expectRaised("xnnSetLayerData", [&] { mEngine.setLayerData("input", &value, {1}); });
    expectRaised("xnnGetLayerData", [&] { mEngine.getLayerData("output"); });
    expectRaised("xnnGetLayerDims", [&] { mEngine.getLayerDims("input"); });
    expectRaised("xnnSelfVersion", [&] { mEngine.version(); });
    expectRaised("xnnSetLogCallback", [&] { mEngine.setLogCallback(nullptr); });
    expectRaised("xnnSetLogCallback", [&] { mEngine.setLogCallback([](const std::string&) {}); });
    expectRaised("xnnCreateNetByBuffers", [&] { mEngine.createNetwork("OpenVINO", "id", "CPU", {"net"}, {}); });
    expectRaised("xnnSetEnginePropertyForNetwork", [&] {
        mEngine.createNetwork("OpenVINO", "id", "CPU", {"net"}, {{"HINT", std::string("LOW")}});
    });
    mLibrary.set("fails", "");
    mLibrary.set("failing dims", "dims");
    EXPECT_EQ(textOf([&] { mEngine.getLayerDims("input"); }), "xnnGetLayerDims failed");
}

TEST_F(PluginEngineTest, NumbersThatCannotBeMeantAreRefused) {
    mLibrary.set("length", "2000000");
    const std::string length =
        "The xnn library told 2000000 as the length of a text. Please check that it fits this program.";
    EXPECT_EQ(textOf([&] { mEngine.version(); }), length);
    EXPECT_EQ(textOf([&] { mEngine.getSupportEngines(); }), length);
    mLibrary.set("fails", "xnnInfer");
    EXPECT_EQ(textOf([&] { mEngine.infer(); }), length);
    EXPECT_EQ(mLibrary.takeCalls().back(), "2 xnnResetExceptionString");
    mLibrary.set("fails", "");
    mLibrary.set("length", "");
    mLibrary.set("number", "2000");
    const std::string number = "The xnn library told 2000 as the number of ";
    const std::string check = ". Please check that it fits this program.";
    EXPECT_EQ(textOf([&] { mEngine.getLayerDims("input"); }), number + "dimensions" + check);
    EXPECT_EQ(textOf([&] { mEngine.getSupportEngines(); }), number + "engines" + check);
}

TEST_F(PluginEngineTest, NumbersBelowZeroAreNone) {
    mLibrary.set("number", "-1");
    EXPECT_TRUE(mEngine.getSupportEngines().empty());
    mLibrary.set("number", "");
    mLibrary.set("length", "-5");
    EXPECT_EQ(mEngine.getSupportEngines(), (Calls{"", ""}));
}

TEST_F(PluginEngineTest, TerminatorThatTheLibraryCountsIsNoPartOfAText) {
    mLibrary.set("version", "1.0");
    mLibrary.set("length", "4");
    EXPECT_EQ(mEngine.version(), "1.0");
}

// ---- log ----

TEST_F(PluginEngineTest, LogLinesReachTheCallback) {
    Calls lines;
    mEngine.setLogCallback([&](const std::string& line) { lines.push_back(line); });
    EXPECT_TRUE(lines.empty()) << "the versions are the same";
    mEngine.infer();
    EXPECT_EQ(lines, Calls{"inferred"});
    mEngine.setLogCallback(nullptr);
    mEngine.infer();
    EXPECT_EQ(lines, Calls{"inferred"});
    EXPECT_EQ(mLibrary.takeCalls(),
              (Calls{"2 xnnSetLogCallback callback", "2 xnnInfer", "2 xnnSetLogCallback null", "2 xnnInfer"}));
}

TEST_F(PluginEngineTest, NewCallbackTakesThePlaceOfEveryEngines) {
    PluginEngine other;
    initialise(other, mLibrary.file());
    auto owned = std::make_shared<int>(0);
    const std::weak_ptr<int> first = owned;
    mEngine.setLogCallback([owned = std::move(owned)](const std::string&) { ++*owned; });
    EXPECT_FALSE(first.expired());
    Calls lines;
    other.setLogCallback([&](const std::string& line) { lines.push_back(line); });
    EXPECT_TRUE(first.expired());
    mEngine.infer();
    EXPECT_EQ(lines, Calls{"inferred"});
    mEngine.setLogCallback([](const std::string&) {});
}

TEST_F(PluginEngineTest, CallbackThatThrowsDoesNotReachTheLibrary) {
    mEngine.setLogCallback([](const std::string&) { throw std::runtime_error("in the callback"); });
    EXPECT_EQ(textOf([&] { mEngine.infer(); }), "");
    mEngine.setLogCallback(nullptr);
}

TEST_F(PluginEngineTest, NullLineIsAnEmptyOne) {
    mLibrary.set("null line", "yes");
    Calls lines;
    mEngine.setLogCallback([&](const std::string& line) { lines.push_back(line); });
    EXPECT_EQ(lines, Calls{""});
    mEngine.setLogCallback(nullptr);
}

namespace {

// Counts lines from any thread.
class LineCount {
  public:
    void add() {
        const std::lock_guard lock(mMutex);
        ++mCount;
        mAdded.notify_all();
    }
    bool reaches(int count) {
        std::unique_lock lock(mMutex);
        return mAdded.wait_for(lock, std::chrono::seconds(60), [&] { return mCount >= count; });
    }

  private:
    std::mutex mMutex;
    std::condition_variable mAdded;
    int mCount = 0;
};

}  // namespace

TEST_F(PluginEngineTest, CallbackIsReplacedAndStoppedWhileAnotherThreadTellsLines) {
    mLibrary.set("logs", "yes");
    std::optional<PluginEngine> teller(std::in_place);
    initialise(*teller, mLibrary.file());
    const auto first = std::make_shared<LineCount>();
    teller->setLogCallback([first](const std::string&) { first->add(); });
    ASSERT_TRUE(first->reaches(3));
    // Replaced by another engine, whose library does not wait for the teller's.
    mLibrary.set("logs", "");
    for (int i = 0; i < 100; ++i) {
        const auto next = std::make_shared<LineCount>();
        mEngine.setLogCallback([next](const std::string&) { next->add(); });
        ASSERT_TRUE(next->reaches(1));
    }
    teller.reset();
    mEngine.setLogCallback([](const std::string&) {});
    EXPECT_EQ(first.use_count(), 1);
}

static_assert(!std::is_copy_constructible_v<PluginEngine>);

}  // namespace xnn::inference
