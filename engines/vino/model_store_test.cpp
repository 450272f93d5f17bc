#include "engines/vino/ModelStore.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <map>

#include "platform/include/folders.h"
#include "platform/include/module.h"
#include "tests/support/TraceCapture.h"

using InferenceEngine::CNNNetwork;
using InferenceEngine::Core;
using InferenceEngine::details::InferenceEngineException;
using platform::PathKind;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

using Line = zeltest::TraceCapture::Line;

constexpr int kXmlId = 140;
constexpr int kWeightsId = 150;
constexpr int kNoSuchId = 99;

class FakeFolders : public platform::Folders {
  public:
    std::string temporary() override { return temporaryFolder; }
    std::string localData() override { return localDataFolder; }
    PathKind kindOf(const std::string& path) override {
        asked.push_back(path);
        if (fails) throw std::filesystem::filesystem_error("exists", path, std::make_error_code(std::errc::io_error));
        const auto found = kinds.find(path);
        return found == kinds.end() ? PathKind::kMissing : found->second;
    }

    std::string temporaryFolder = "/temp/";
    std::string localDataFolder = "/local";
    std::map<std::string, PathKind> kinds;
    std::vector<std::string> asked;
    bool fails = false;
};

class TestDataPathTest : public testing::Test {
  protected:
    TestDataPathTest() { platform::replaceFolders(&folders); }
    ~TestDataPathTest() override { platform::replaceFolders(nullptr); }

    void expectPath(const std::string& path) {
        trace.takeLines();
        EXPECT_EQ(getTestDataPath("gpucache"), path);
        EXPECT_THAT(trace.takeLines(), ElementsAre(Line{2, "zelipc>> getTestDataPath :" + path}));
    }

    const std::string local = std::string("/local") + platform::pathSeparator() + "gpucache";
    FakeFolders folders;
    zeltest::TraceCapture trace;
};

}  // namespace

TEST_F(TestDataPathTest, DirectoryInTheTemporaryFolderWins) {
    folders.kinds["/temp/gpucache"] = PathKind::kDirectory;
    expectPath("/temp/gpucache");
}

TEST_F(TestDataPathTest, AnythingElseThereGivesLocalData) {
    for (const PathKind kind : {PathKind::kMissing, PathKind::kFile, PathKind::kForeignDirectory}) {
        folders.kinds["/temp/gpucache"] = kind;
        expectPath(local);
    }
}

TEST_F(TestDataPathTest, LocalDataIsNotAskedForADirectory) {
    expectPath(local);
    EXPECT_THAT(folders.asked, ElementsAre("/temp/gpucache"));
}

TEST_F(TestDataPathTest, WithoutLocalDataTheTemporaryCandidateStays) {
    folders.localDataFolder.clear();
    expectPath("/temp/gpucache");
}

TEST_F(TestDataPathTest, WithoutATemporaryFolderLocalDataIsTaken) {
    folders.temporaryFolder.clear();
    expectPath(local);
    EXPECT_TRUE(folders.asked.empty());
}

TEST_F(TestDataPathTest, WithoutAnyFolderThePathIsEmptyAndLogged) {
    folders.temporaryFolder.clear();
    folders.localDataFolder.clear();
    expectPath("");
}

TEST_F(TestDataPathTest, FailingQueryIsNotCaught) {
    folders.fails = true;
    EXPECT_THROW(getTestDataPath("gpucache"), std::filesystem::filesystem_error);
}

TEST(SystemTestDataPathTest, NothingIsCreated) {
    const std::string path = getTestDataPath("zelhost_no_such_directory");
    EXPECT_EQ(platform::folders().kindOf(path), PathKind::kMissing) << path;
}

TEST(ModelStoreTest, PairIsReadFromTheExecutable) {
    Core core;
    const ModelPair pair(kXmlId, kWeightsId);
    EXPECT_GT(pair.xmlBytes(), 0u);
    EXPECT_GT(pair.weightsBytes(), 0u);
    const CNNNetwork network = pair.read(core);
    EXPECT_EQ(network.getName(), "Large_256144_Chan4_D5_V33_03012022U8");
    EXPECT_THAT(network.getInputsInfo().at("input_image")->getTensorDesc().getDims(), ElementsAre(1, 4, 144, 256));
    EXPECT_THAT(network.getOutputsInfo().at("output_mask")->getDims(), ElementsAre(1, 1, 144, 256));
}

TEST(ModelStoreTest, NetworkRunsAfterItsResourcesAreReleased) {
    Core core;
    auto request = core.LoadNetwork(loadNetwork(core, kXmlId, kWeightsId), "CPU").CreateInferRequest();
    const auto input = request.GetBlob("input_image");
    std::fill_n(input->buffer().as<float*>(), input->size(), 0.0f);
    request.Infer();
    const auto mask = request.GetBlob("output_mask");
    const float* values = mask->cbuffer().as<const float*>();
    EXPECT_TRUE(std::all_of(values, values + mask->size(), [](float v) { return v >= 0 && v <= 1; }));
}

TEST(ModelStoreTest, MissingResourceIsReported) {
    Core core;
    for (const auto& [xml, weights] : {std::pair(kNoSuchId, kWeightsId), std::pair(kXmlId, kNoSuchId)}) {
        try {
            loadNetwork(core, xml, weights);
            ADD_FAILURE() << "did not fail";
        } catch (const InferenceEngineException& e) {
            EXPECT_THAT(e.what(), HasSubstr("id 99"));
            EXPECT_EQ(e.getStatus(), InferenceEngine::NETWORK_NOT_READ);
        }
    }
}

TEST(ModelStoreTest, WeightsBlobCountsBytes) {
    using namespace InferenceEngine;
    const ModelPair pair(kXmlId, kWeightsId);
    EXPECT_EQ(pair.weightsBlob()->size(), pair.weightsBytes());
    EXPECT_EQ(pair.weightsBlob()->getTensorDesc().getPrecision(), Precision::FP32);
    EXPECT_EQ(pair.weightsBlob()->getTensorDesc().getLayout(), Layout::C);
}
