#include "host/HostEngineFixture.h"

#include <condition_variable>
#include <cstring>
#include <map>
#include <mutex>

#include "engines/inference_engine/DeviceAlias.h"

using ipc::CommandCode;
using ipc::EventCode;

namespace {

std::string nameOf(const ipc::Event& event) {
    const char* text = reinterpret_cast<const char*>(event.text);
    return std::string(text, strnlen(text, sizeof event.text));
}

std::map<std::string, std::string>& engineVariables() {
    static std::map<std::string, std::string> variables;
    return variables;
}

// Where loads stand still.
class LoadGate {
  public:
    // For every thread but the one that serves.
    void close(std::thread::id serving) {
        const std::lock_guard<std::mutex> lock(mMutex);
        mServing = serving;
        mOpen = false;
    }
    void open() {
        const std::lock_guard<std::mutex> lock(mMutex);
        mOpen = true;
        mOpened.notify_all();
    }
    void pass() {
        std::unique_lock<std::mutex> lock(mMutex);
        mOpened.wait(lock, [this] { return mOpen || std::this_thread::get_id() == mServing; });
    }

  private:
    std::mutex mMutex;
    std::condition_variable mOpened;
    std::thread::id mServing;
    bool mOpen = true;
};

LoadGate& backgroundLoads() {
    static LoadGate gate;
    return gate;
}

// Two loads may ask at once.
std::string engineVariable(const char* name) {
    backgroundLoads().pass();
    const auto found = engineVariables().find(name);
    return found == engineVariables().end() ? std::string() : found->second;
}

}  // namespace

void HostEngineFixture::SetUp() {
    platform::replaceMachine(&mMachine);
    platform::replaceFolders(&mMachine);
    HostTest::SetUp();
    serve();
}

void HostEngineFixture::TearDown() {
    HostTest::TearDown();
    platform::replaceFolders(nullptr);
    platform::replaceMachine(nullptr);
}

std::vector<uint32_t> HostEngineFixture::eventsOf(uint32_t type, uint32_t capacity) {
    mClient->command(CommandCode::SetModelType, type, capacity);
    mClient->command(CommandCode::InitClient);
    std::vector<uint32_t> codes;
    mNames.clear();
    mTypes.clear();
    while (const auto event = mClient->event()) {
        if (event->code == static_cast<uint32_t>(EventCode::InitClientReply)) break;
        if (event->code == static_cast<uint32_t>(EventCode::HeartBeat)) {
            mClient->showLife();
            continue;
        }
        if (event->code == static_cast<uint32_t>(EventCode::ModelName)) mNames.push_back(nameOf(*event));
        if (event->code == static_cast<uint32_t>(EventCode::ModelType)) mTypes.push_back(event->modelType);
        codes.push_back(event->code);
    }
    return codes;
}

void HostGpuFixture::SetUp() {
    engineVariables() = {{"ZELHOST_DEVICE_ALIAS", "GPU=CPU"}};
    InferenceEngine::details::replaceVariableReader(engineVariable);
    mMachine.mAdapters = {{"Intel Arc", 8192, "1.2.3"}};
    HostEngineFixture::SetUp();
}

void HostGpuFixture::TearDown() {
    releaseBackgroundLoads();
    HostEngineFixture::TearDown();
    InferenceEngine::details::replaceVariableReader(nullptr);
}

void HostGpuFixture::setVariable(const std::string& name, const std::string& value) {
    engineVariables()[name] = value;
}

void HostGpuFixture::clearVariables() {
    engineVariables().clear();
}

void HostGpuFixture::holdBackgroundLoads() {
    backgroundLoads().close(mMain.get_id());
}

void HostGpuFixture::releaseBackgroundLoads() {
    backgroundLoads().open();
}
