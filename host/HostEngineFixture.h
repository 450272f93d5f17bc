#pragma once

#include <string>
#include <vector>

#include "host/HostFixture.h"
#include "platform/include/folders.h"
#include "platform/include/machine.h"

// A machine whose adapters the test chooses; the GPU plug-in lies beside the executable.
class ChosenMachine : public platform::Machine, public platform::Folders {
  public:
    bool cpuCores(unsigned& physical, unsigned& logical) override { return physical = 2, logical = 2, true; }
    bool cpuFrequency(unsigned& megahertz) override { return megahertz = 1000, true; }
    std::vector<platform::Adapter> adapters() override { return mAdapters; }
    std::string temporary() override { return mFolders.temporary(); }
    std::string localData() override { return mFolders.localData(); }
    platform::PathKind kindOf(const std::string& path) override {
        return path.find("clDNNPlugin") != std::string::npos ? platform::PathKind::kFile : mFolders.kindOf(path);
    }

    std::vector<platform::Adapter> mAdapters;

  private:
    platform::Folders& mFolders = platform::folders();
};

// A serving host on such a machine, at first without a GPU.
class HostEngineFixture : public HostTest {
  protected:
    void SetUp() override;
    void TearDown() override;

    // The codes of all events that a SetModelType caused, heart beats left out; a slow start survives them.
    std::vector<uint32_t> eventsOf(uint32_t type, uint32_t capacity);

    ChosenMachine mMachine;
    // Of the last eventsOf.
    std::vector<std::string> mNames;
    std::vector<uint32_t> mTypes;
};

// A machine with a GPU: the processor under its name, with real inference.
class HostGpuFixture : public HostEngineFixture {
  protected:
    void SetUp() override;
    void TearDown() override;

    // Variables of the engine's testing aids, in place of the environment.
    static void setVariable(const std::string& name, const std::string& value);
    static void clearVariables();

    // Background loads stand still, at the first variable they ask for, until they are released. Loads of the serving
    // thread go on.
    void holdBackgroundLoads();
    static void releaseBackgroundLoads();
};
